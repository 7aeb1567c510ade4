#pragma once
// The prompt's line editor: editing keys, a history kept across sessions in
// ~/.hostsh_history, and tab completion of commands, flags, node names and
// attribute names. Built on libedit's readline interface; used only when
// standard input is a terminal.

#include <string>

class LineEditor {
 public:
  // Loads the history file (a missing one is an empty history).
  LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Shows the prompt and reads one line, editing keys and history at hand.
  // Ctrl-C drops the line typed so far and prompts again. False at the end
  // of input (Ctrl-D on an empty line). A line that is not
  // blank and not the same as the one before goes into the history, which
  // is saved at once, so that a session that is killed keeps it too.
  bool readLine(const char* prompt, std::string& line);

  // How many lines the history file keeps; older ones are dropped.
  static constexpr int kHistoryLength = 1000;

 private:
  std::string fHistoryPath;  // empty when HOME is not set: no history file
  bool fWarned = false;
};
