#pragma once
// Small helpers shared by the extension module, the python command and
// hostsh's embedded interpreter. The caller holds the GIL.

#include <pybind11/pybind11.h>

#include <string>

namespace hostpy {

// "TypeName: message" of a Python exception, as a host error reads.
inline std::string exceptionText(pybind11::error_already_set& e) {
  std::string text = pybind11::str(e.type().attr("__name__"));
  const std::string message = pybind11::str(e.value());
  if (!message.empty())
    text += ": " + message;
  return text;
}

// Writes out what Python's own buffered stdout and stderr hold, so that
// Python's and the host's output come out in the order they were made.
inline void flushPythonStreams() {
  for (const char* name : {"stdout", "stderr"}) {
    pybind11::object stream = pybind11::module_::import("sys").attr(name);
    if (!stream.is_none() && pybind11::hasattr(stream, "flush"))
      stream.attr("flush")();
  }
}

}  // namespace hostpy
