// The command engine and HGlobal::executeCommand.

#include "CommandEngine.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <sstream>
#include <utility>
#include <vector>

#include "CommandLanguage.h"
#include "CommandRegistry.h"
#include "HArgParser.h"
#include "HGlobal.h"
#include "HPxCommand.h"
#include "graph/SceneInternal.h"

namespace hostdetail {

namespace {

std::atomic<std::ostream*> gOutputStream{nullptr};

// One running command. Errors shown while it runs (by it or by commands it
// runs in turn) are counted on every frame of the stack, so that the engine
// adds its own message only when nothing was said.
struct Frame {
  std::string command;
  std::string location;  // "file:line", or "" for commands typed or run from C++
  std::string source;    // the file the command was read from, or ""
  std::string pluginName;
  bool printResults = false;
  bool undoable = true;
  int errorsShown = 0;
  std::string firstError;
};

std::vector<Frame>& frames() {
  static auto* stack = new std::vector<Frame>();
  return *stack;
}

struct QueuedCommand {
  std::unique_ptr<HPxCommand> command;
  std::string name;
};

// done holds the undo steps oldest first; undone the redo steps, the next
// one to redo last. Commands reach undone only from done and a new command
// empties it, so done + undone never exceeds the length once done is kept
// within it. Deques, so that dropping the oldest step costs nothing.
struct UndoQueue {
  std::deque<QueuedCommand> done;
  std::deque<QueuedCommand> undone;
  bool recording = true;
  bool infinite = false;
  std::size_t length = kDefaultUndoLength;
};

UndoQueue& undoQueue() {
  static auto* queue = new UndoQueue();
  return *queue;
}

// Drops steps until the queue fits its length: the oldest undo steps first,
// then, when redo steps alone are too many, those furthest from being redone
// (redo replays in order, so the nearest must stay). Each dropped command is
// destroyed outside the queue, as a destructor may look at it.
void trimUndoQueue() {
  UndoQueue& queue = undoQueue();
  if (queue.infinite)
    return;
  while (queue.done.size() + queue.undone.size() > queue.length) {
    std::deque<QueuedCommand>& side = queue.done.empty() ? queue.undone : queue.done;
    QueuedCommand dropped = std::move(side.front());
    side.pop_front();
  }
}

int gEvaluationSuspensions = 0;

// Deep enough for any script that sources others; shallow enough that a
// script that sources itself fails cleanly long before the stack runs out.
constexpr size_t kMaxNesting = 64;

// The location of a command at line of source; text without a file of its
// own takes the location of the command that runs it.
std::string locationOf(const std::string& source, int line) {
  if (!source.empty())
    return source + ":" + std::to_string(line);
  for (auto it = frames().rbegin(); it != frames().rend(); ++it) {
    if (!it->location.empty())
      return it->location;
  }
  return std::string();
}

std::string composeMessage(const std::string& location, const std::string& command,
                           const std::string& text) {
  std::string message;
  if (!location.empty())
    message += location + ": ";
  if (!command.empty())
    message += command + ": ";
  return message + text;
}

// Writes "KIND: message" to the error stream; errors are counted on the
// frames that are running.
void emit(const char* kind, const std::string& message) {
  std::ostream& err = HStatus::errorStream();
  err << kind << ": " << message << '\n';
  err.flush();
  if (std::string(kind) != "Error")
    return;
  for (Frame& frame : frames()) {
    if (frame.errorsShown++ == 0)
      frame.firstError = message;
  }
}

HStatus failed(HStatus::HStatusCode code, const std::string& message) {
  return HStatus(code == HStatus::kSuccess ? HStatus::kFailure : code, message);
}

const char* argTypeName(HSyntax::HArgType type) {
  switch (type) {
    case HSyntax::kBoolean:
      return "on|off";
    case HSyntax::kLong:
    case HSyntax::kUnsigned:
      return "int";
    case HSyntax::kDouble:
      return "number";
    case HSyntax::kDistance:
      return "distance";
    case HSyntax::kAngle:
      return "angle";
    case HSyntax::kTime:
      return "time";
    case HSyntax::kSelectionItem:
      return "object";
    default:
      return "string";
  }
}

// Runs one call of an HPxCommand member, turning an escaping exception into
// a failure so that a faulty command cannot take the host down.
template <typename Call>
HStatus guarded(Call&& call) {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    // A scene too large for the machine stops the command that hit the limit;
    // what it had done is undone by whoever ran it (a file open puts the old
    // scene back), and the host goes on.
    return HStatus(HStatus::kFailure, "Out of memory: the scene is too large for this machine");
  } catch (const std::exception& e) {
    return HStatus(HStatus::kFailure, std::string("Unexpected exception: ") + e.what());
  } catch (...) {
    return HStatus(HStatus::kFailure, "Unexpected exception");
  }
}

HStatus runOne(const ParsedCommand& parsed, const RunOptions& options, HStringArray& result) {
  const std::string& name = parsed.words[0].text;
  const std::string location = locationOf(options.source, parsed.line);
  if (options.echo) {
    outputStream() << parsed.text << '\n';
    outputStream().flush();
  }
  const CommandInfo* info = findCommand(name);
  if (!info) {
    const std::string message = composeMessage(location, "", unknownCommandMessage(name));
    emit("Error", message);
    return HStatus(HStatus::kNotFound, message);
  }
  if (frames().size() >= kMaxNesting) {
    const std::string message =
        composeMessage(location, name,
                       "Commands are nested too deeply (a script that sources "
                       "itself?)");
    emit("Error", message);
    return HStatus(HStatus::kFailure, message);
  }
  // Copied: the command may unload the plug-in that registered it.
  const CommandInfo command = *info;
  HArgList args;
  for (size_t i = 1; i < parsed.words.size(); ++i)
    args.addArg(HString(parsed.words[i].text), parsed.words[i].quoted);
  HSyntax syntax;
  if (command.syntax)
    syntax = command.syntax();

  // The scene is solved before any command may read it.
  evaluateScene();

  std::unique_ptr<HPxCommand> object(static_cast<HPxCommand*>(command.creator()));
  frames().push_back(Frame{name, location, options.source, command.pluginName.asStdString(),
                           options.printResults, options.undoable, 0, std::string()});
  HStatus status(HStatus::kSuccess);
  if (!object) {
    status = HStatus(HStatus::kFailure, "The command could not be created");
  } else {
    object->hostSetup(HString(name), syntax);
    if (command.syntax) {
      HStatus parseStatus;
      HArgParser parser(syntax, args, &parseStatus);
      if (!parseStatus) {
        // A message that ends in a question ("Did you mean...?") takes no full stop.
        const std::string text = parser.errorMessage().asStdString();
        const bool question = !text.empty() && text.back() == '?';
        reportMessage("Error", text + (question ? " Usage: " : ". Usage: ") +
                                   commandUsage(command).asStdString());
        status = parseStatus;
      }
    }
    if (status)
      status = guarded([&] { return object->doIt(args); });
  }
  Frame frame = std::move(frames().back());
  frames().pop_back();

  if (!status) {
    std::string message = frame.firstError;
    if (frame.errorsShown == 0) {
      message = composeMessage(location, name, status.errorString().asStdString());
      emit("Error", message);
    }
    // Any object still held goes here, while its plug-in is surely loaded.
    object.reset();
    return failed(status.statusCode(), message);
  }

  result = object->currentResult();
  if (options.printResults && result.length() > 0) {
    outputStream() << formatResult(result) << '\n';
    outputStream().flush();
  }
  UndoQueue& queue = undoQueue();
  if (options.undoable && queue.recording && object->isUndoable()) {
    queue.done.push_back(QueuedCommand{std::move(object), name});
    // A new branch of history: what was undone can no longer be redone.
    std::deque<QueuedCommand> dropped = std::move(queue.undone);
    queue.undone.clear();
    trimUndoQueue();
  }
  object.reset();
  evaluateScene();
  return status;
}

// Runs one member of a queued command with undo recording off, so that the
// commands it runs in turn are not queued.
HStatus replay(QueuedCommand& entry, bool undo) {
  UndoQueue& queue = undoQueue();
  const bool wasRecording = queue.recording;
  queue.recording = false;
  HStatus status =
      guarded([&] { return undo ? entry.command->undoIt() : entry.command->redoIt(); });
  queue.recording = wasRecording;
  if (!status) {
    std::string text = std::string(undo ? "Undo" : "Redo") + " of " + entry.name +
                       " failed: " + status.errorString().asStdString();
    reportMessage("Error", text);
    return failed(status.statusCode(), text);
  }
  return status;
}

}  // namespace

HString commandUsage(const CommandInfo& info) {
  if (!info.usage.isEmpty())
    return info.usage;
  std::string usage = info.name.asStdString();
  if (!info.syntax)
    return HString(usage + " ...");
  const HSyntax syntax = info.syntax();
  for (const HSyntax::Flag& flag : syntax.flags()) {
    usage += " [" + flag.shortName.asStdString() + "|" + flag.longName.asStdString();
    for (HSyntax::HArgType type : flag.argTypes)
      usage += std::string(" ") + argTypeName(type);
    usage += "]";
  }
  const std::vector<HSyntax::HArgType>& args = syntax.args();
  unsigned minimum = unsigned(args.size());
  unsigned maximum = unsigned(args.size());
  if (syntax.argsSetExplicitly()) {
    minimum = syntax.minArgs();
    maximum = syntax.maxArgs();
  }
  const unsigned shown = std::max<unsigned>(unsigned(args.size()), minimum);
  for (unsigned i = 0; i < shown; ++i) {
    HSyntax::HArgType type =
        i < args.size() ? args[i] : (args.empty() ? HSyntax::kString : args.back());
    std::string word = argTypeName(type);
    usage += " " + (i < minimum ? word : "[" + word + "]");
  }
  if (syntax.argsSetExplicitly() && (maximum == 0 || maximum > shown))
    usage += "...";
  return HString(usage);
}

HStringArray commandFlagLines(const CommandInfo& info) {
  HStringArray lines;
  if (!info.syntax)
    return lines;
  const HSyntax syntax = info.syntax();
  for (const HSyntax::Flag& flag : syntax.flags()) {
    std::string line = "  " + flag.shortName.asStdString() + " " + flag.longName.asStdString();
    for (HSyntax::HArgType type : flag.argTypes)
      line += std::string(" ") + argTypeName(type);
    if (flag.argTypes.empty())
      line += " (no value)";
    if (flag.multiUse)
      line += " (may be repeated)";
    lines.append(HString(line));
  }
  return lines;
}

HStatus runCommands(const std::string& text, const RunOptions& options, HStringArray* lastResult) {
  CommandReader reader(text, options.firstLine);
  ParsedCommand parsed;
  HStringArray result;
  while (reader.next(parsed)) {
    HStatus status = runOne(parsed, options, result);
    if (!status)
      return status;
  }
  if (!reader.error().empty()) {
    const std::string message =
        composeMessage(locationOf(options.source, reader.errorLine()), "", reader.error());
    emit("Error", message);
    return HStatus(HStatus::kFailure, message);
  }
  if (lastResult)
    *lastResult = result;
  return HStatus(HStatus::kSuccess);
}

HStatus runScriptFile(const std::string& path, RunOptions options) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    const std::string message =
        composeMessage(locationOf("", 0), currentCommandName(), "Cannot read file: " + path);
    emit("Error", message);
    return HStatus(HStatus::kNotFound, message);
  }
  std::ostringstream text;
  text << in.rdbuf();
  options.source = path;
  options.firstLine = 1;
  return runCommands(text.str(), options);
}

std::ostream& outputStream() {
  std::ostream* stream = gOutputStream.load();
  return stream ? *stream : std::cout;
}

void setOutputStream(std::ostream* stream) {
  gOutputStream.store(stream);
}

std::string formatResult(const HStringArray& result) {
  bool numbers = result.length() > 1;
  for (const HString& value : result) {
    if (!value.isDouble())
      numbers = false;
  }
  std::string text;
  for (unsigned i = 0; i < result.length(); ++i) {
    if (i > 0)
      text += numbers ? ' ' : '\n';
    text += result[i].asStdString();
  }
  return text;
}

// ---------------------------------------------------------------------------
// Undo queue

void setUndoRecording(bool on) {
  undoQueue().recording = on;
}

bool isUndoRecording() {
  return undoQueue().recording;
}

HStatus undoCommand(bool* done) {
  UndoQueue& queue = undoQueue();
  if (done)
    *done = false;
  if (queue.done.empty()) {
    reportMessage("Warning", "There are no more commands to undo.");
    return HStatus(HStatus::kSuccess);
  }
  QueuedCommand entry = std::move(queue.done.back());
  queue.done.pop_back();
  HStatus status = replay(entry, true);
  // A command whose undo failed stays where it was: its state is unknown,
  // and a later attempt may succeed.
  (status ? queue.undone : queue.done).push_back(std::move(entry));
  if (done)
    *done = bool(status);
  return status;
}

HStatus redoCommand(bool* done) {
  UndoQueue& queue = undoQueue();
  if (done)
    *done = false;
  if (queue.undone.empty()) {
    reportMessage("Warning", "There are no more commands to redo.");
    return HStatus(HStatus::kSuccess);
  }
  QueuedCommand entry = std::move(queue.undone.back());
  queue.undone.pop_back();
  HStatus status = replay(entry, false);
  (status ? queue.done : queue.undone).push_back(std::move(entry));
  if (done)
    *done = bool(status);
  return status;
}

void clearUndoQueue() {
  UndoQueue& queue = undoQueue();
  // Moved out first: a destructor may run commands that look at the queue.
  std::deque<QueuedCommand> done = std::move(queue.done);
  std::deque<QueuedCommand> undone = std::move(queue.undone);
  queue.done.clear();
  queue.undone.clear();
  // Newest first, the reverse of the order they were made in.
  while (!undone.empty())
    undone.pop_back();
  while (!done.empty())
    done.pop_back();
}

void setUndoLength(std::size_t length) {
  undoQueue().length = length;
  trimUndoQueue();
}

std::size_t undoLength() {
  return undoQueue().length;
}

void setUndoInfinite(bool on) {
  undoQueue().infinite = on;
  trimUndoQueue();
}

bool isUndoInfinite() {
  return undoQueue().infinite;
}

void discardRedoSteps() {
  UndoQueue& queue = undoQueue();
  std::deque<QueuedCommand> undone = std::move(queue.undone);
  queue.undone.clear();
  while (!undone.empty())
    undone.pop_back();
}

std::size_t undoDepth() {
  return undoQueue().done.size();
}

std::size_t redoDepth() {
  return undoQueue().undone.size();
}

HStringArray undoQueueNames() {
  HStringArray names;
  for (const QueuedCommand& entry : undoQueue().done)
    names.append(HString(entry.name));
  return names;
}

namespace {

// Several queued commands as one undo step. It is only ever replayed with
// recording off (see replay), so its parts queue nothing of their own.
class GroupedCommand : public HPxCommand {
 public:
  explicit GroupedCommand(std::vector<QueuedCommand> parts) : fParts(std::move(parts)) {}
  ~GroupedCommand() override {
    while (!fParts.empty())
      fParts.pop_back();
  }
  HStatus doIt(const HArgList&) override { return HStatus(HStatus::kSuccess); }
  bool isUndoable() const override { return true; }
  HStatus undoIt() override {
    for (auto it = fParts.rbegin(); it != fParts.rend(); ++it) {
      HStatus status = it->command->undoIt();
      if (!status)
        return status;
    }
    return HStatus(HStatus::kSuccess);
  }
  HStatus redoIt() override {
    for (QueuedCommand& part : fParts) {
      HStatus status = part.command->redoIt();
      if (!status)
        return status;
    }
    return HStatus(HStatus::kSuccess);
  }

 private:
  std::vector<QueuedCommand> fParts;
};

}  // namespace

void groupNewestUndo(std::size_t count, const std::string& name) {
  auto& done = undoQueue().done;
  count = std::min(count, done.size());
  if (count == 0)
    return;
  const auto first = done.end() - std::ptrdiff_t(count);
  std::vector<QueuedCommand> parts(std::make_move_iterator(first),
                                   std::make_move_iterator(done.end()));
  done.erase(first, done.end());
  done.push_back(QueuedCommand{std::make_unique<GroupedCommand>(std::move(parts)), name});
}

// ---------------------------------------------------------------------------
// Evaluation

void suspendEvaluation() {
  ++gEvaluationSuspensions;
}

void resumeEvaluation() {
  if (gEvaluationSuspensions > 0)
    --gEvaluationSuspensions;
}

bool isEvaluationSuspended() {
  return gEvaluationSuspensions > 0;
}

void evaluateScene() {
  if (gEvaluationSuspensions == 0)
    runEvaluationHook();
}

// ---------------------------------------------------------------------------
// Messages

void reportMessage(const char* kind, const std::string& text) {
  // Solves on several threads may warn at once; one message at a time.
  static std::mutex lock;
  const std::lock_guard<std::mutex> guard(lock);
  if (frames().empty()) {
    emit(kind, text);
    return;
  }
  const Frame& top = frames().back();
  emit(kind, composeMessage(top.location, top.command, text));
}

std::string pathFromReadingFile(const std::string& path) {
  if (path.empty() || path[0] == '/')
    return path;
  for (auto it = frames().rbegin(); it != frames().rend(); ++it) {
    if (it->source.empty())
      continue;
    const size_t slash = it->source.rfind('/');
    if (slash == std::string::npos)
      return path;  // the file's folder is the working folder
    const std::string beside = it->source.substr(0, slash + 1) + path;
    struct stat info;
    return stat(beside.c_str(), &info) == 0 ? beside : path;
  }
  return path;
}

std::string currentCommandName() {
  return frames().empty() ? std::string() : frames().back().command;
}

RunOptions nestedRunOptions() {
  RunOptions options;
  if (!frames().empty()) {
    options.printResults = frames().back().printResults;
    options.undoable = frames().back().undoable;
  }
  return options;
}

bool isPluginCommandRunning(const std::string& pluginName) {
  for (const Frame& frame : frames()) {
    if (frame.pluginName == pluginName)
      return true;
  }
  return false;
}

}  // namespace hostdetail

// ---------------------------------------------------------------------------
// HGlobal

using namespace hostdetail;

HStatus HGlobal::executeCommand(const HString& command, bool displayEnabled, bool undoEnabled) {
  HStringArray unused;
  return executeCommand(command, unused, displayEnabled, undoEnabled);
}

HStatus HGlobal::executeCommand(const HString& command, HString& result, bool displayEnabled,
                                bool undoEnabled) {
  HStringArray values;
  HStatus status = executeCommand(command, values, displayEnabled, undoEnabled);
  result.clear();
  for (unsigned i = 0; i < values.length(); ++i) {
    if (i > 0)
      result += ' ';
    result += values[i];
  }
  return status;
}

HStatus HGlobal::executeCommand(const HString& command, HStringArray& result, bool displayEnabled,
                                bool undoEnabled) {
  RunOptions options;
  options.echo = displayEnabled;
  options.printResults = displayEnabled;
  options.undoable = undoEnabled;
  result.clear();
  return runCommands(command.asStdString(), options, &result);
}

void HGlobal::displayWarning(const HString& text) {
  reportMessage("Warning", text.asStdString());
}

void HGlobal::displayError(const HString& text) {
  reportMessage("Error", text.asStdString());
}
