#include "PythonCommand.h"

#include <pybind11/eval.h>
#include <pybind11/pybind11.h>

#include <string>

#include "commands/CommandEngine.h"
#include "commands/CommandRegistry.h"
#include "HPxCommand.h"
#include "HSyntax.h"
#include "PythonText.h"

namespace py = pybind11;

namespace hostpy {

namespace {

InterpreterStarter gStarter = nullptr;

class PythonCommand : public HPxCommand {
 public:
  static void* creator() { return new PythonCommand(); }
  static HSyntax newSyntax() {
    HSyntax syntax;
    syntax.addArg(HSyntax::kString);
    return syntax;
  }
  bool hasSyntax() const override { return true; }

  HStatus doIt(const HArgList& args) override {
    if (!Py_IsInitialized() && !(gStarter && gStarter()))
      return HStatus(HStatus::kFailure, "Python is not available");
    const std::string code = args.asString(0).asStdString();
    // Whatever the host printed so far comes before what the code prints.
    hostdetail::outputStream().flush();
    py::gil_scoped_acquire gil;
    try {
      py::object globals = py::module_::import("__main__").attr("__dict__");
      py::exec(code, globals);
      flushPythonStreams();
    } catch (py::error_already_set& e) {
      flushPythonStreams();
      return HStatus(HStatus::kFailure, exceptionText(e));
    }
    return HStatus(HStatus::kSuccess);
  }
};

}  // namespace

void setInterpreterStarter(InterpreterStarter starter) {
  gStarter = starter;
}

void registerPythonCommand() {
  if (hostdetail::findCommand("python"))
    return;
  hostdetail::CommandInfo info;
  info.name = "python";
  info.creator = &PythonCommand::creator;
  info.syntax = &PythonCommand::newSyntax;
  info.usage = "python CODE";
  hostdetail::registerCommand(info);
}

}  // namespace hostpy
