#pragma once
#include "HSelectionList.h"
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"

// Host-wide services: the active selection and running commands.
class HGlobal {
 public:
  enum ListAdjustment { kReplaceList = 0, kXORWithList = 1, kAddToList = 2, kRemoveFromList = 3 };

  static HStatus getActiveSelectionList(HSelectionList& list,
                                        bool orderedSelectionIfAvailable = false);
  static HStatus setActiveSelectionList(const HSelectionList& list,
                                        ListAdjustment adjustment = kReplaceList);
  static HStatus getSelectionListByName(const HString& name, HSelectionList& list);
  static HStatus clearSelectionList();

  // Runs text in the host's command language. displayEnabled echoes the
  // commands and their results to the host's output; undoEnabled puts
  // undoable commands onto the undo queue.
  static HStatus executeCommand(const HString& command, bool displayEnabled = false,
                                bool undoEnabled = false);
  static HStatus executeCommand(const HString& command, HString& result,
                                bool displayEnabled = false, bool undoEnabled = false);
  static HStatus executeCommand(const HString& command, HStringArray& result,
                                bool displayEnabled = false, bool undoEnabled = false);

  // "Warning: text" and "Error: text" on the host's error output (the stream
  // HStatus::perror writes to), with the location and name of the command
  // running, if any, before the text: for nodes and tools that are no command.
  static void displayWarning(const HString& text);
  static void displayError(const HString& text);
};
