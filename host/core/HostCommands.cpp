// The host's own commands: undo and redo, scene files, scripts, printing,
// plug-ins and help. None of them is undoable.

#include <string>

#include "CommandEngine.h"
#include "CommandRegistry.h"
#include "HArgParser.h"
#include "HFileIO.h"
#include "HPluginManager.h"
#include "HPxCommand.h"
#include "SceneFiles.h"
#include "SceneInternal.h"

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

// ---------------------------------------------------------------------------

class FileCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    HArgParser parser = parse(args);
    int actions = 0;
    for (const char* flag : {"-new", "-open", "-save", "-sceneName"})
      actions += parser.isFlagSet(flag) ? 1 : 0;
    if (actions != 1) {
      return fail(HStatus(HStatus::kInvalidParameter,
                          "Give one of -new, -open PATH, -save [PATH] and -sceneName"));
    }
    const std::string path = parser.numberOfCommandArguments() > 0 ? argument(parser, 0) : "";
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
      return HFileIO::open(HString(path));
    }
    const std::string target = path.empty() ? HFileIO::currentFile().asStdString() : path;
    if (target.empty()) {
      return fail(
          HStatus(HStatus::kInvalidParameter, "The scene has no file name: use file -save PATH"));
    }
    return HFileIO::saveAs(HString(target));
  }
};
void* createFile() {
  return new FileCommand();
}
HSyntax fileSyntax() {
  HSyntax syntax;
  syntax.addFlag("-n", "-new");
  syntax.addFlag("-o", "-open");
  syntax.addFlag("-s", "-save");
  syntax.addFlag("-f", "-force");
  syntax.addFlag("-sn", "-sceneName");
  syntax.addArg(HSyntax::kString);
  syntax.setMinMaxArgs(0, 1);
  return syntax;
}
BuiltinCommand gFile("file", createFile, fileSyntax,
                     "file -new [-force] | -open PATH | -save [PATH] | -sceneName");

// ---------------------------------------------------------------------------

class SourceCommand : public HostCommand {
 public:
  HStatus doIt(const HArgList& args) override {
    const std::string path = argument(parse(args), 0);
    return runScriptFile(path, nestedRunOptions());
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
      return fail(HStatus(HStatus::kNotFound, "Unknown command: " + name));
    setResult(commandUsage(*info));
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
