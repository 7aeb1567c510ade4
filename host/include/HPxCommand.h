#pragma once
#include "HArgList.h"
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"
#include "HSyntax.h"

// Base of commands. The host creates one object per invocation, parses its
// arguments, runs doIt; an undoable command whose doIt succeeded goes onto the
// undo queue, where undo and redo call undoIt and redoIt. Others are deleted
// at once.
class HPxCommand {
 public:
  HPxCommand() = default;
  virtual ~HPxCommand() = default;
  HPxCommand(const HPxCommand&) = delete;
  HPxCommand& operator=(const HPxCommand&) = delete;

  virtual HStatus doIt(const HArgList& args) = 0;
  virtual HStatus undoIt() { return HStatus(HStatus::kSuccess); }
  virtual HStatus redoIt() { return HStatus(HStatus::kSuccess); }
  virtual bool isUndoable() const { return false; }
  virtual bool hasSyntax() const { return false; }

  // The syntax the command was registered with (empty without one).
  HSyntax syntax() const { return fSyntax; }
  HString commandName() const { return fName; }

  // Print "Error: COMMAND: text" (warnings "Warning: COMMAND: text") to the
  // host's error output, COMMAND being the command that is running; outside
  // any command "Error: text". addName is accepted for compatibility.
  static void displayError(const HString& text, bool addName = false);
  static void displayWarning(const HString& text, bool addName = false);
  static void displayInfo(const HString& text);

  void clearResult();
  void setResult(const HString& value);
  void setResult(const char* value);
  void setResult(double value);
  void setResult(int value);
  void setResult(bool value);
  void appendToResult(const HString& value);
  void appendToResult(double value);
  void appendToResult(int value);
  const HStringArray& currentResult() const { return fResult; }

  // Host internals: set before doIt.
  void hostSetup(const HString& name, const HSyntax& syntax) {
    fName = name;
    fSyntax = syntax;
  }

 private:
  HString fName;
  HSyntax fSyntax;
  HStringArray fResult;
};
