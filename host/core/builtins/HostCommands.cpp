// The host's own commands: undo and redo, scene files, scripts, printing,
// plug-ins and help. None of them is undoable.

#include <initializer_list>
#include <string>
#include <utility>

#include "HArgParser.h"
#include "HFileIO.h"
#include "HPluginManager.h"
#include "HPxCommand.h"
#include "commands/BuiltinSupport.h"
#include "commands/CommandEngine.h"
#include "commands/CommandRegistry.h"
#include "files/Export.h"
#include "files/SceneFiles.h"
#include "graph/Placeholders.h"
#include "graph/SceneInternal.h"

using namespace hostdetail;

namespace {

// Parses the arguments again with the command's own syntax (the engine has
// already refused those that do not fit it).
class HostCommand : public HPxCommand {
 public:
  bool hasSyntax() const override { return true; }

 protected:
  HArgParser parse(const HArgList& args) { return HArgParser(syntax(), args); }
  static std::string argument(const HArgParser& parser, unsigned index) {
    HString value;
    parser.getCommandArgument(index, value);
    return value.asStdString();
  }
  // The engine reports a failed status that no message has been shown for.
  static HStatus fail(const HStatus& status) { return status; }
};

HSyntax noArguments() {
  return HSyntax();
}

// The given flags (short and long name, no argument of their own) and at
// most one word, which the command reads itself.
HSyntax flagsAndOptionalWord(std::initializer_list<std::pair<const char*, const char*>> flags) {
  HSyntax syntax;
  for (const auto& flag : flags)
    syntax.addFlag(flag.first, flag.second);
  syntax.addArg(HSyntax::kString);
  syntax.setMinMaxArgs(0, 1);
  return syntax;
}

HSyntax oneString() {
  HSyntax syntax;
  syntax.addArg(HSyntax::kString);
  return syntax;
}

// ---------------------------------------------------------------------------

// A scene file being opened may not reach the undo queue: it belongs to the
// scene the file replaces.
class UndoCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList&) override {
    return isOpeningSceneFile() ? refuseWhileOpening() : undoCommand();
  }
};
void* createUndo() {
  return new UndoCommand();
}
BuiltinCommand gUndo("undo", createUndo, noArguments, "undo");

class RedoCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList&) override {
    return isOpeningSceneFile() ? refuseWhileOpening() : redoCommand();
  }
};
void* createRedo() {
  return new RedoCommand();
}
BuiltinCommand gRedo("redo", createRedo, noArguments, "redo");

// undoInfo -q -length | -q -infinity | -length N | -infinity on|off
//
// The undo queue's length, in the shape commercial hosts use. It is a setting
// of the session, not of the scene: files neither save nor change it.
class UndoInfoCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    HArgParser parser = parse(args);
    const bool length = parser.isFlagSet("-length");
    const bool infinity = parser.isFlagSet("-infinity");
    if (length == infinity) {
      return fail(HStatus(HStatus::kInvalidParameter,
                          "Give one of -length and -infinity (with -q to query it)"));
    }
    const bool query = parser.isFlagSet("-query");
    const unsigned count = parser.numberOfCommandArguments();
    if (query) {
      if (count > 0)
        return fail(HStatus(HStatus::kInvalidParameter, "A query takes no value"));
      if (length)
        setResult(int(undoLength()));
      else
        setResult(isUndoInfinite());
      return HStatus(HStatus::kSuccess);
    }
    if (count != 1) {
      return fail(HStatus(HStatus::kInvalidParameter, length ? "-length needs a number of steps"
                                                             : "-infinity needs on or off"));
    }
    const std::string word = argument(parser, 0);
    if (infinity) {
      bool on = false;
      if (!builtin::parseBool(word, on))
        return fail(HStatus(HStatus::kInvalidParameter, "'" + word + "' is not on or off"));
      setUndoInfinite(on);
      return HStatus(HStatus::kSuccess);
    }
    int steps = 0;
    if (!builtin::parseInt(word, steps) || steps < 0) {
      return fail(HStatus(HStatus::kInvalidParameter,
                          "'" + word + "' is not a number of steps (a whole number, 0 or more)"));
    }
    setUndoLength(std::size_t(steps));
    return HStatus(HStatus::kSuccess);
  }
};
void* createUndoInfo() {
  return new UndoInfoCommand();
}
HSyntax undoInfoSyntax() {
  return flagsAndOptionalWord({{"-q", "-query"}, {"-l", "-length"}, {"-in", "-infinity"}});
}
BuiltinCommand gUndoInfo("undoInfo", createUndoInfo, undoInfoSyntax,
                         "undoInfo -q -length | -q -infinity | -length N | -infinity on|off");

// ---------------------------------------------------------------------------

// file -new | -open PATH | -save [PATH] | -sceneName
//      | -export PATH [-frameRange START END]
//
// -export writes the scene in another application's format, chosen by the
// path's extension (files/Export.h); with -frameRange it samples every frame
// from START to END through the time module.
class FileCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    HArgParser parser = parse(args);
    int actions = 0;
    for (const char* flag : {"-new", "-open", "-save", "-sceneName", "-export"})
      actions += parser.isFlagSet(flag) ? 1 : 0;
    if (actions != 1) {
      return fail(
          HStatus(HStatus::kInvalidParameter,
                  "Give one of -new, -open PATH, -save [PATH], -sceneName and -export PATH"));
    }
    const std::string path = parser.numberOfCommandArguments() > 0 ? argument(parser, 0) : "";
    if (parser.isFlagSet("-frameRange") && !parser.isFlagSet("-export"))
      return fail(HStatus(HStatus::kInvalidParameter, "-frameRange goes with -export PATH"));
    if (parser.isFlagSet("-export"))
      return exportFile(parser, path);
    if (parser.isFlagSet("-sceneName")) {
      setResult(HFileIO::currentFile());
      return HStatus(HStatus::kSuccess);
    }
    if (parser.isFlagSet("-new")) {
      if (!path.empty())
        return fail(HStatus(HStatus::kInvalidParameter, "-new takes no path"));
      return HFileIO::newFile(true);
    }
    if (parser.isFlagSet("-open")) {
      if (path.empty())
        return fail(HStatus(HStatus::kInvalidParameter, "-open needs the path of a scene file"));
      return HFileIO::open(HString(pathFromReadingFile(path)));
    }
    const std::string target = path.empty() ? HFileIO::currentFile().asStdString() : path;
    if (target.empty()) {
      return fail(
          HStatus(HStatus::kInvalidParameter, "The scene has no file name: use file -save PATH"));
    }
    return HFileIO::saveAs(HString(target));
  }

 private:
  HStatus exportFile(const HArgParser& parser, const std::string& path) {
    if (path.empty())
      return fail(
          HStatus(HStatus::kInvalidParameter, "-export needs the path of the file to write"));
    // A file being opened is not solved until it has all run, so it would
    // export unsolved poses.
    if (isOpeningSceneFile())
      return refuseWhileOpening();
    if (!parser.isFlagSet("-frameRange"))
      return exportScene(path, nullptr);
    double range[2] = {0.0, 0.0};
    for (unsigned i = 0; i < 2; ++i) {
      HString word;
      parser.getFlagArgument("-frameRange", i, word);
      if (!builtin::parseDouble(word.asStdString(), range[i])) {
        return fail(HStatus(HStatus::kInvalidParameter,
                            "'" + word.asStdString() + "' is not a frame number for -frameRange"));
      }
    }
    return exportScene(path, range);
  }
};
void* createFile() {
  return new FileCommand();
}
HSyntax fileSyntax() {
  HSyntax syntax = flagsAndOptionalWord({{"-n", "-new"},
                                         {"-o", "-open"},
                                         {"-s", "-save"},
                                         {"-f", "-force"},
                                         {"-sn", "-sceneName"},
                                         {"-ex", "-export"}});
  syntax.addFlag("-fr", "-frameRange", HSyntax::kString, HSyntax::kString);
  return syntax;
}
BuiltinCommand gFile("file", createFile, fileSyntax,
                     "file -new [-force] | -open PATH | -save [PATH] | -sceneName | "
                     "-export PATH.gltf|PATH.glb [-frameRange START END]");

// ---------------------------------------------------------------------------

class SourceCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    const std::string path = argument(parse(args), 0);
    return runScriptFile(pathFromReadingFile(path), nestedRunOptions());
  }
};
void* createSource() {
  return new SourceCommand();
}
BuiltinCommand gSource("source", createSource, oneString, "source PATH");

// Writes its arguments, separated by spaces, as one line of output.
class PrintCommand : public HPxCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    std::string line;
    for (unsigned i = 0; i < args.length(); ++i) {
      if (i > 0)
        line += ' ';
      line += args.asString(i).asStdString();
    }
    outputStream() << line << '\n';
    outputStream().flush();
    return HStatus(HStatus::kSuccess);
  }
};
void* createPrint() {
  return new PrintCommand();
}
BuiltinCommand gPrint("print", createPrint, nullptr, "print WORD...");

// ---------------------------------------------------------------------------

class LoadPluginCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    HStatus status;
    const HString name = HPluginManager::load(HString(argument(parse(args), 0)), &status);
    if (!status)
      return fail(status);
    setResult(name);
    return status;
  }
};
void* createLoadPlugin() {
  return new LoadPluginCommand();
}
BuiltinCommand gLoadPlugin("loadPlugin", createLoadPlugin, oneString, "loadPlugin PATH|NAME");

class UnloadPluginCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    return HPluginManager::unload(HString(argument(parse(args), 0)));
  }
};
void* createUnloadPlugin() {
  return new UnloadPluginCommand();
}
BuiltinCommand gUnloadPlugin("unloadPlugin", createUnloadPlugin, oneString, "unloadPlugin NAME");

// Scene files start with one line per plug-in they need. In a file being
// opened, a plug-in that cannot be loaded is no error: the scene opens with
// its nodes kept as placeholders, as users of animation hosts expect.
class RequiresCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    HArgParser parser = parse(args);
    const std::string name = argument(parser, 0);
    const bool versioned = parser.numberOfCommandArguments() > 1;
    const std::string wanted = versioned ? argument(parser, 1) : std::string();
    if (!HPluginManager::isLoaded(HString(name))) {
      HStatus status;
      HPluginManager::load(HString(name), &status);
      if (!status && !isOpeningSceneFile())
        return fail(status);
      if (!status) {
        displayWarning(HString("Plug-in " + name + " is missing (" +
                               status.errorString().asStdString() +
                               "); its nodes are kept as placeholders and saved unchanged"));
        noteMissingPlugin(name, versioned ? &wanted : nullptr);
        return HStatus(HStatus::kSuccess);
      }
    }
    if (versioned) {
      const PluginRecord* record = pluginRecord(name);
      if (record && record->version != wanted) {
        displayWarning(HString("Plug-in " + name + " " + record->version +
                               " is loaded; the scene asks for version " + wanted));
      }
    }
    return HStatus(HStatus::kSuccess);
  }
};
void* createRequires() {
  return new RequiresCommand();
}
HSyntax requiresSyntax() {
  HSyntax syntax;
  syntax.addArg(HSyntax::kString);
  syntax.setMinMaxArgs(1, 2);
  return syntax;
}
BuiltinCommand gRequires("requires", createRequires, requiresSyntax, "requires PLUGIN [VERSION]");

// The usage line of one command, or of every command in name order.
class HelpCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    HArgParser parser = parse(args);
    if (parser.numberOfCommandArguments() == 0) {
      for (const HString& name : commandNames()) {
        if (const CommandInfo* info = findCommand(name))
          appendToResult(commandUsage(*info));
      }
      return HStatus(HStatus::kSuccess);
    }
    const std::string name = argument(parser, 0);
    const CommandInfo* info = findCommand(HString(name));
    if (!info)
      return fail(HStatus(HStatus::kNotFound, unknownCommandMessage(name)));
    // The usage line, then every flag with the type of its values.
    appendToResult(commandUsage(*info));
    for (const HString& line : commandFlagLines(*info))
      appendToResult(line);
    return HStatus(HStatus::kSuccess);
  }
};
void* createHelp() {
  return new HelpCommand();
}
HSyntax helpSyntax() {
  HSyntax syntax;
  syntax.addArg(HSyntax::kString);
  syntax.setMinMaxArgs(0, 1);
  return syntax;
}
BuiltinCommand gHelp("help", createHelp, helpSyntax, "help [COMMAND]");

}  // namespace
