#pragma once
// The command language's `python "CODE"` command: runs Python source in the
// interpreter's __main__ namespace, so that scene scripts and Python tools
// share one scene and one set of Python globals.

namespace hostpy {

// Called before the command runs code when no interpreter is running yet:
// hostsh starts its embedded interpreter lazily through it. Null (the
// default) makes the command fail when Python is not running.
using InterpreterStarter = bool (*)();
void setInterpreterStarter(InterpreterStarter starter);

// Registers `python` unless a command of that name exists already (hostsh
// registers its own before any extension module is imported).
void registerPythonCommand();

}  // namespace hostpy
