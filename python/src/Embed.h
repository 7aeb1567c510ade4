#pragma once
// hostsh's embedded Python: the interpreter starts on first need (a Python
// file or the python command), so hostsh's other paths never load it.

#include <string>

#include "HStatus.h"

namespace hostpy {

// Registers the python command with a lazily started interpreter.
void installPython();
// Runs a Python file as __main__ with hostpy importable, on the scene
// hostsh holds. A raised exception is printed as a traceback and fails.
HStatus runPythonFile(const std::string& path);
// Stops the interpreter if it was started (flushing its output).
void shutdownPython();

}  // namespace hostpy
