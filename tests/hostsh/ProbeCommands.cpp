// The probe plug-in, linked into the test program and loaded with
// HPluginManager::loadStatic.
//
//   probeArgs WORD...          records its words (no syntax)
//   probeCounter [-by N]       undoable: adds N (default 1) to the counter
//   probeFail [-quiet]         fails, with an error shown unless -quiet
//   probeBadUndo               undoable; its undo fails
//   probeRun TEXT [-undoable]  runs TEXT as commands from inside a command
//   probeSyntax ...            a syntax with every kind of flag; reports
//                              what the parser found

#include <string>

#include "HArgList.h"
#include "HArgParser.h"
#include "HFileIO.h"
#include "HFnPlugin.h"
#include "HIkSystem.h"
#include "HPluginManager.h"
#include "HPxCommand.h"
#include "HostshTestUtil.h"

namespace hostshtest {

ProbeLog& probeLog() {
  static ProbeLog log;
  return log;
}

namespace {

class Probe : public HPxCommand {
 public:
  Probe() { ++probeLog().alive; }
  ~Probe() override { --probeLog().alive; }
  bool hasSyntax() const override { return true; }
};

class Args : public Probe {
 public:
  HStatus doIt(const HArgList& args) override {
    probeLog().words.clear();
    probeLog().quoted.clear();
    for (unsigned i = 0; i < args.length(); ++i) {
      probeLog().words.push_back(args.asString(i).asStdString());
      probeLog().quoted.push_back(args.isQuoted(i));
      appendToResult(args.asString(i));
    }
    return HStatus(HStatus::kSuccess);
  }
  static void* creator() { return new Args(); }
};

class Counter : public Probe {
 public:
  bool isUndoable() const override { return true; }
  HStatus doIt(const HArgList& args) override {
    HArgParser parser(syntax(), args);
    if (parser.isFlagSet("-by"))
      parser.getFlagArgument("-by", 0, fBy);
    return redoIt();
  }
  HStatus redoIt() override {
    probeLog().counter += fBy;
    probeLog().calls.push_back("do counter " + std::to_string(fBy));
    setResult(probeLog().counter);
    return HStatus(HStatus::kSuccess);
  }
  HStatus undoIt() override {
    probeLog().counter -= fBy;
    probeLog().calls.push_back("undo counter " + std::to_string(fBy));
    return HStatus(HStatus::kSuccess);
  }
  static void* creator() { return new Counter(); }
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-b", "-by", HSyntax::kLong);
    return syntax;
  }

 private:
  int fBy = 1;
};

class Fail : public Probe {
 public:
  bool isUndoable() const override { return true; }
  HStatus doIt(const HArgList& args) override {
    probeLog().calls.push_back("do fail");
    if (args.flagIndex("-q", "-quiet") == HArgList::kInvalidArgIndex)
      displayError("the probe failed on purpose");
    return HStatus(HStatus::kFailure, "quiet probe failure");
  }
  static void* creator() { return new Fail(); }
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-q", "-quiet");
    return syntax;
  }
};

class BadUndo : public Probe {
 public:
  bool isUndoable() const override { return true; }
  HStatus doIt(const HArgList&) override {
    probeLog().calls.push_back("do badUndo");
    return HStatus(HStatus::kSuccess);
  }
  HStatus undoIt() override {
    probeLog().calls.push_back("undo badUndo");
    return HStatus(HStatus::kFailure, "cannot go back");
  }
  static void* creator() { return new BadUndo(); }
};

class RunText : public Probe {
 public:
  HStatus doIt(const HArgList& args) override {
    HArgParser parser(syntax(), args);
    HString text;
    parser.getCommandArgument(0, text);
    return HGlobal::executeCommand(text, false, parser.isFlagSet("-undoable"));
  }
  static void* creator() { return new RunText(); }
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-u", "-undoable");
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
};

// Reports every flag use and argument as "flag:value" results.
class SyntaxProbe : public Probe {
 public:
  HStatus doIt(const HArgList& args) override {
    HStatus status;
    HArgParser parser(syntax(), args, &status);
    if (!status)
      return status;
    const HSyntax s = syntax();
    for (const HSyntax::Flag& flag : s.flags()) {
      const unsigned uses = parser.numberOfFlagUses(flag.longName.asChar());
      for (unsigned use = 0; use < uses; ++use) {
        HArgList values;
        parser.getFlagArgumentList(flag.longName.asChar(), use, values);
        std::string text = flag.longName.asStdString() + ":";
        for (unsigned i = 0; i < values.length(); ++i)
          text += (i ? " " : "") + values.asString(i).asStdString();
        appendToResult(HString(text));
      }
    }
    for (unsigned i = 0; i < parser.numberOfCommandArguments(); ++i) {
      HString value;
      parser.getCommandArgument(i, value);
      appendToResult("arg:" + value);
    }
    return HStatus(HStatus::kSuccess);
  }
  static void* creator() { return new SyntaxProbe(); }
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addFlag("-n", "-name", HSyntax::kString);
    syntax.addFlag("-c", "-count", HSyntax::kLong);
    syntax.addFlag("-u", "-unsigned", HSyntax::kUnsigned);
    syntax.addFlag("-d", "-distance", HSyntax::kDistance);
    syntax.addFlag("-b", "-bool", HSyntax::kBoolean);
    syntax.addFlag("-p", "-point", HSyntax::kDouble, HSyntax::kDouble, HSyntax::kDouble);
    syntax.addFlag("-m", "-multi", HSyntax::kString);
    syntax.makeFlagMultiUse("-m");
    syntax.addFlag("-q", "-query");
    syntax.addArg(HSyntax::kDouble);
    syntax.addArg(HSyntax::kSelectionItem);
    syntax.setMinMaxArgs(1, 4);
    return syntax;
  }
};

HStatus initializeProbe(HObject object) {
  HFnPlugin plugin(object, "Host tests", "1.0");
  HStatus status;
  status = plugin.registerCommand("probeArgs", Args::creator);
  if (status)
    status = plugin.registerCommand("probeCounter", Counter::creator, Counter::newSyntax);
  if (status)
    status = plugin.registerCommand("probeFail", Fail::creator, Fail::newSyntax);
  if (status)
    status = plugin.registerCommand("probeBadUndo", BadUndo::creator);
  if (status)
    status = plugin.registerCommand("probeRun", RunText::creator, RunText::newSyntax);
  if (status)
    status = plugin.registerCommand("probeSyntax", SyntaxProbe::creator, SyntaxProbe::newSyntax);
  return status;
}

HStatus uninitializeProbe(HObject) {
  return HStatus(HStatus::kSuccess);
}

}  // namespace

void resetProbe() {
  // Using the animation library keeps it loaded: it holds the IK built-ins.
  HIkSystem::setSolvingSuspended(false);
  if (!HPluginManager::isLoaded("probe")) {
    ASSERT_TRUE(succeeded(HPluginManager::loadStatic("probe", initializeProbe, uninitializeProbe)));
  }
  HFileIO::newFile(true);
  probeLog() = ProbeLog{};
}

}  // namespace hostshtest
