#pragma once
// The command engine: runs command-language text command by command, keeps
// the undo queue, reports errors with their location and prints results.
// HGlobal::executeCommand, the built-in commands, HFileIO and hostsh all run
// commands through it.

#include <cstddef>
#include <iosfwd>
#include <string>

#include "CommandRegistry.h"
#include "HStatus.h"
#include "HStringArray.h"

namespace hostdetail {

struct RunOptions {
  // Name shown in error locations ("Error: NAME:LINE: ..."); empty when the
  // text does not come from a file (commands typed or run from C++).
  std::string source;
  int firstLine = 1;
  bool echo = false;          // write each command's text to the output first
  bool printResults = false;  // write each command's result to the output
  bool undoable = true;       // queue undoable commands (if recording is on)
};

// Runs the commands of text in order and stops at the first failure, which
// has then been reported on the error stream. The failed status carries the
// reported message (without "Error: "). lastResult, when given, receives the
// result of the last command that ran.
HStatus runCommands(const std::string& text, const RunOptions& options,
                    HStringArray* lastResult = nullptr);
// The one-line usage of a command: the registered text, or one made from
// its syntax.
HString commandUsage(const CommandInfo& info);
// One line per flag of the command's syntax, "  -n -name string", in the
// order the syntax declares them; empty for a command without a syntax.
HStringArray commandFlagLines(const CommandInfo& info);

// Reads a script file and runs it with its path as the source.
HStatus runScriptFile(const std::string& path, RunOptions options);

// Where results, print and echo go: std::cout unless redirected (null
// restores std::cout).
std::ostream& outputStream();
void setOutputStream(std::ostream* stream);

// A result as printed: one line per value, except that a result of several
// numbers (a vector, a matrix) is one line of values separated by spaces.
std::string formatResult(const HStringArray& result);

// ---------------------------------------------------------------------------
// Undo queue. Commands run while recording is off are never queued.

void setUndoRecording(bool on);
bool isUndoRecording();
// Undoes the newest done command (it moves to the redo side). Nothing to
// undo is no error: a warning is shown and done is set false.
HStatus undoCommand(bool* done = nullptr);
HStatus redoCommand(bool* done = nullptr);
// The queue keeps at most `length` steps (undo and redo steps together);
// a new step beyond it drops the oldest. Setting a smaller length drops
// steps at once. Infinite lifts the limit while on (the length is kept for
// when it goes off again). Length 0 keeps nothing. Neither belongs to a
// scene: both last for the session.
constexpr std::size_t kDefaultUndoLength = 1000;
void setUndoLength(std::size_t length);
std::size_t undoLength();
void setUndoInfinite(bool on);
bool isUndoInfinite();
// Deletes every queued command (new scene, open, plug-in unload).
void clearUndoQueue();
// Deletes the redo side only: steps that were undone to take back a request
// that failed part-way must not come back with redo.
void discardRedoSteps();
std::size_t undoDepth();
std::size_t redoDepth();
// The names of the queued commands, oldest first (for tests and tools).
HStringArray undoQueueNames();
// Makes the newest `count` queued commands one undo step called name: undo
// reverses them newest first, redo does them again oldest first. Scripting
// layers use it so that a tool's many commands undo as one. A count larger
// than the queue takes the whole queue; 0 changes nothing.
void groupNewestUndo(std::size_t count, const std::string& name);

// ---------------------------------------------------------------------------
// Evaluation. The engine runs the core's evaluation hook before and after
// every command, unless suspended (a scene file being read). Suspensions
// nest.

void suspendEvaluation();
void resumeEvaluation();
bool isEvaluationSuspended();
void evaluateScene();

// ---------------------------------------------------------------------------
// Error reporting of the command running.

// "Error: LOCATION: COMMAND: text" (location and command when known) on the
// error stream; kind is "Error", "Warning".
void reportMessage(const char* kind, const std::string& text);
// A path named by a command being read from a file: a relative one is taken
// from that file's folder when something is there, else from the working
// folder, so that a scene and the files it sources can live together.
std::string pathFromReadingFile(const std::string& path);
// The name of the innermost running command ("" outside commands).
std::string currentCommandName();
// Options for text that the running command runs as part of itself (source):
// results printed and undo queued as for the command.
RunOptions nestedRunOptions();
// Whether a command of the plug-in is running (its code is on the stack).
bool isPluginCommandRunning(const std::string& pluginName);

}  // namespace hostdetail
