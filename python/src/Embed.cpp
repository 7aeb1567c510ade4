#include "Embed.h"

#include <pybind11/embed.h>

#include <iostream>

#include "commands/CommandEngine.h"
#include "PythonCommand.h"
#include "PythonText.h"

namespace py = pybind11;

namespace hostpy {

namespace {

bool gStarted = false;

bool startInterpreter() {
  if (Py_IsInitialized())
    return true;
  try {
    py::initialize_interpreter();
    gStarted = true;
    // The build's package comes after PYTHONPATH, so an installed or
    // explicitly chosen hostpy wins.
    py::module_::import("sys").attr("path").attr("append")(HOSTPY_BUILD_PATH);
    // Typed code (the python command) finds the commands ready, as in the
    // script editors of animation hosts.
    py::exec("import hostpy\nfrom hostpy import cmds\n");
  } catch (const std::exception& e) {
    std::cerr << "Error: Python could not start: " << e.what() << '\n';
    return false;
  }
  return true;
}

}  // namespace

void installPython() {
  setInterpreterStarter(&startInterpreter);
  registerPythonCommand();
}

HStatus runPythonFile(const std::string& path) {
  if (!startInterpreter())
    return HStatus(HStatus::kFailure, "Python is not available");
  hostdetail::outputStream().flush();
  py::gil_scoped_acquire gil;
  HStatus status(HStatus::kSuccess);
  try {
    py::module_ sys = py::module_::import("sys");
    py::list argv;
    argv.append(path);
    sys.attr("argv") = argv;
    py::module_::import("runpy").attr("run_path")(path, py::arg("run_name") = "__main__");
  } catch (py::error_already_set& e) {
    if (e.matches(PyExc_SystemExit)) {
      py::object code = e.value().attr("code");
      const bool clean =
          code.is_none() || (PyLong_Check(code.ptr()) && code.cast<long>() == 0);
      if (!clean)
        status = HStatus(HStatus::kFailure, exceptionText(e));
    } else {
      py::module_::import("traceback")
          .attr("print_exception")(e.type(), e.value(), e.trace());
      status = HStatus(HStatus::kFailure, exceptionText(e));
    }
  }
  flushPythonStreams();
  return status;
}

void shutdownPython() {
  if (!gStarted)
    return;
  {
    py::gil_scoped_acquire gil;
    flushPythonStreams();
  }
  py::finalize_interpreter();
  gStarted = false;
}

}  // namespace hostpy
