#include "Embed.h"

#include <pybind11/embed.h>

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "commands/CommandEngine.h"
#include "PythonCommand.h"
#include "PythonText.h"

namespace py = pybind11;

namespace hostpy {

namespace {

bool gStarted = false;

// The package installed with hostsh, found from where hostsh lies so that a
// moved tree uses its own; "" when there is none (hostsh runs from a build).
std::string installedPackagePath() {
  char exe[4096] = {0};
  const ssize_t got = readlink("/proc/self/exe", exe, sizeof exe - 1);
  if (got <= 0)
    return "";
  const std::string path(exe, size_t(got));
  char* resolved = realpath((path.substr(0, path.rfind('/') + 1) + HOSTPY_INSTALL_PATH).c_str(),
                            nullptr);
  if (resolved == nullptr)
    return "";
  const std::string folder(resolved);
  std::free(resolved);
  return folder;
}

bool startInterpreter() {
  if (Py_IsInitialized())
    return true;
  try {
    py::initialize_interpreter();
    gStarted = true;
    // PYTHONPATH comes first, so an explicitly chosen hostpy wins; then the
    // package installed beside this hostsh, or else the build's (an installed
    // hostsh never looks into the folders of the machine that built it).
    const std::string installed = installedPackagePath();
    py::module_::import("sys").attr("path").attr("append")(
        installed.empty() ? std::string(HOSTPY_BUILD_PATH) : installed);
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
