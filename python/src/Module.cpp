// hostpy's native part: runs host commands from Python through the command
// engine and hands their results back as Python values.
//
// Every call keeps the GIL for its whole length. The host is single-threaded,
// so the GIL is what keeps two Python threads out of the scene at once, and
// a command may call back into Python (the python command) on this thread.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <charconv>
#include <cmath>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "commands/CommandEngine.h"
#include "commands/CommandLanguage.h"
#include "commands/CommandRegistry.h"
#include "HDagPath.h"
#include "HIkSystem.h"
#include "HMatrix.h"
#include "HSelectionList.h"
#include "HSyntax.h"
#include "PythonCommand.h"
#include "PythonText.h"

namespace py = pybind11;
using hostdetail::CommandInfo;

namespace {

// A failed command; becomes hostpy.CommandError with the host's message.
struct CommandFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string shortestText(double value) {
  char buffer[64];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, end.ptr);
}

std::string describe(py::handle value) {
  std::string text = py::repr(value);
  if (text.size() > 40)
    text = text.substr(0, 37) + "...";
  return std::string(py::str(py::type::of(value).attr("__name__"))) + " " + text;
}

bool isText(py::handle value) {
  return PyUnicode_Check(value.ptr());
}

bool isSequence(py::handle value) {
  return !isText(value) && !PyBytes_Check(value.ptr()) && PySequence_Check(value.ptr());
}

bool isNumber(py::handle value) {
  return !isSequence(value) && !isText(value) && PyNumber_Check(value.ptr());
}

// Builds the words of one command invocation. `what` names the flag or
// argument being converted in error messages.
class Invocation {
 public:
  explicit Invocation(const std::string& command) : fCommand(command) {}

  void flag(const std::string& name) { fText += " " + name; }

  // One value as a word of the given type; TypeError or ValueError naming
  // `what` when it cannot be one.
  void value(py::handle value, HSyntax::HArgType type, const std::string& what) {
    switch (type) {
      case HSyntax::kBoolean:
        if (!PyBool_Check(value.ptr()) && !PyIndex_Check(value.ptr()))
          typeError(what, "True or False", value);
        word(PyObject_IsTrue(value.ptr()) ? "on" : "off");
        return;
      case HSyntax::kLong:
      case HSyntax::kUnsigned:
        if (!PyIndex_Check(value.ptr()) || PyBool_Check(value.ptr()))
          typeError(what, "an int", value);
        word(std::string(py::str(py::int_(py::reinterpret_borrow<py::object>(value)))));
        return;
      case HSyntax::kDouble:
      case HSyntax::kDistance:
      case HSyntax::kAngle:
      case HSyntax::kTime:
        if (!isNumber(value) || PyBool_Check(value.ptr()))
          typeError(what, "a number", value);
        number(value, what);
        return;
      case HSyntax::kString:
        // Strings take numbers as typed (snapshot's -w 800).
        if (!isText(value) && !isNumber(value))
          typeError(what, "a string", value);
        loose(value, what);
        return;
      case HSyntax::kSelectionItem:
        if (!isText(value))
          typeError(what, "a name", value);
        word(value.cast<std::string>());
        return;
      default:
        loose(value, what);
    }
  }

  // A value whose type the syntax does not fix: strings, numbers and
  // booleans as words, sequences (tuples, lists, arrays) one word per item.
  void loose(py::handle value, const std::string& what) {
    if (isText(value)) {
      word(value.cast<std::string>());
    } else if (PyBool_Check(value.ptr())) {
      word(value.ptr() == Py_True ? "1" : "0");
    } else if (PyIndex_Check(value.ptr())) {
      word(std::string(py::str(py::int_(py::reinterpret_borrow<py::object>(value)))));
    } else if (isNumber(value)) {
      number(value, what);
    } else if (isSequence(value)) {
      for (py::handle item : py::reinterpret_borrow<py::iterable>(value))
        loose(item, what);
    } else {
      typeError(what, "a string, a number or a sequence of them", value);
    }
  }

  const std::string& text() const { return fText; }

 private:
  void word(const std::string& text) { fText += " " + hostdetail::quoteWord(text); }

  void number(py::handle value, const std::string& what) {
    const double x = PyFloat_AsDouble(value.ptr());
    if (x == -1.0 && PyErr_Occurred())
      throw py::error_already_set();
    // No NaN or infinity ever reaches a scene.
    if (!std::isfinite(x))
      throw py::value_error(fCommand + ": " + what + " must be a finite number, got " +
                            describe(value));
    word(shortestText(x));
  }

  [[noreturn]] void typeError(const std::string& what, const char* expected, py::handle value) {
    throw py::type_error(fCommand + ": " + what + " expects " + expected + ", got " +
                         describe(value));
  }

  std::string fCommand;
  std::string fText;
};

const HSyntax::Flag* findFlag(const HSyntax& syntax, const std::string& name) {
  for (const HSyntax::Flag& flag : syntax.flags()) {
    if (flag.shortName.asStdString() == "-" + name || flag.longName.asStdString() == "-" + name)
      return &flag;
  }
  return nullptr;
}

std::string flagNames(const HSyntax::Flag& flag) {
  return flag.shortName.asStdString() + "/" + flag.longName.asStdString();
}

// One keyword argument: True sets a flag without arguments (False leaves it
// out), a flag with arguments takes one value or a sequence of as many as it
// has, and a multi-use flag a list of those for several uses. A flag without
// arguments may still be given values (xform's -t when editing): they
// follow it as words.
void addFlag(Invocation& call, const HSyntax* syntax, std::string key, py::handle value,
             const std::string& command) {
  if (key.size() > 1 && key.back() == '_')
    key.pop_back();  // as_=True for -as: Python keywords need the underscore
  if (value.is_none())
    return;
  const HSyntax::Flag* flag = syntax ? findFlag(*syntax, key) : nullptr;
  if (syntax && !flag) {
    std::string known;
    for (const HSyntax::Flag& f : syntax->flags())
      known += (known.empty() ? "" : ", ") + flagNames(f);
    throw py::type_error(command + ": unknown flag '" + key + "'" +
                         (known.empty() ? " (it has no flags)" : " (flags: " + known + ")"));
  }
  const std::string name = flag ? flag->longName.asStdString() : "-" + key;
  const std::string what = "flag " + (flag ? flagNames(*flag) : name);
  if (!flag || flag->argTypes.empty()) {
    if (PyBool_Check(value.ptr())) {
      if (value.ptr() == Py_True)
        call.flag(name);
      return;
    }
    call.flag(name);
    call.loose(value, what);
    return;
  }
  const size_t count = flag->argTypes.size();
  std::vector<py::handle> uses{value};
  if (flag->multiUse && PyList_Check(value.ptr())) {
    uses.clear();
    for (py::handle use : value)
      uses.push_back(use);
  }
  for (py::handle use : uses) {
    call.flag(name);
    if (count == 1 && !(isSequence(use) && py::len(use) == 1)) {
      call.value(use, flag->argTypes[0], what);
      continue;
    }
    if (!isSequence(use) || py::len(use) != count)
      throw py::type_error(command + ": " + what + " takes " + std::to_string(count) +
                           (count == 1 ? " value" : " values") + ", got " + describe(use));
    py::sequence items = py::reinterpret_borrow<py::sequence>(use);
    for (size_t i = 0; i < count; ++i)
      call.value(items[i], flag->argTypes[i], what);
  }
}

// The type the syntax gives command argument i (kInvalidArgType when it
// leaves it open).
HSyntax::HArgType argumentType(const HSyntax* syntax, size_t i) {
  if (!syntax || syntax->args().empty())
    return HSyntax::kInvalidArgType;
  const auto& args = syntax->args();
  const HSyntax::HArgType type = i < args.size() ? args[i] : args.back();
  // Strings take numbers as typed too (setAttr's values, print).
  return type == HSyntax::kString ? HSyntax::kInvalidArgType : type;
}

// Commands whose result is a list of names however many there are.
bool returnsList(const std::string& command) {
  static const std::set<std::string> lists{"ls", "listAttr"};
  return lists.count(command) > 0;
}

// Results come from the engine as words: numbers become floats (a tuple when
// there are several: a vector or a matrix), a single name a str, several
// values or the result of a listing command a list.
py::object toPython(const std::string& command, const HStringArray& result) {
  const bool list = returnsList(command);
  bool numbers = !list;
  for (const HString& value : result)
    numbers = numbers && value.isDouble();
  if (result.length() == 0)
    return list ? py::object(py::list()) : py::object(py::none());
  if (numbers) {
    if (result.length() == 1)
      return py::float_(result[0].asDouble());
    py::tuple values(result.length());
    for (unsigned i = 0; i < result.length(); ++i)
      values[i] = py::float_(result[i].asDouble());
    return std::move(values);
  }
  if (result.length() == 1 && !list)
    return py::str(result[0].asStdString());
  py::list values;
  for (const HString& value : result) {
    if (!list && value.isDouble())
      values.append(py::float_(value.asDouble()));
    else
      values.append(py::str(value.asStdString()));
  }
  return std::move(values);
}

// Sends the host's error stream to a buffer while a command runs from
// Python: the exception carries the error, so it is not printed as well.
// Warnings are passed on to Python's stderr.
class ErrorCapture {
 public:
  ErrorCapture() : fPrevious(&HStatus::errorStream()) { HStatus::setErrorStream(&fBuffer); }
  ~ErrorCapture() { HStatus::setErrorStream(fPrevious); }
  std::string warnings() const {
    std::istringstream lines(fBuffer.str());
    std::string line, text;
    while (std::getline(lines, line)) {
      if (line.rfind("Warning: ", 0) == 0)
        text += line + "\n";
    }
    return text;
  }

 private:
  std::ostringstream fBuffer;
  std::ostream* fPrevious;
};

py::object run(const std::string& command, py::tuple args, py::dict flags) {
  const CommandInfo* info = hostdetail::findCommand(HString(command));
  if (!info)
    throw CommandFailure(hostdetail::unknownCommandMessage(command));
  HSyntax syntax;
  const bool hasSyntax = info->syntax != nullptr;
  if (hasSyntax)
    syntax = info->syntax();
  const HSyntax* checked = hasSyntax ? &syntax : nullptr;

  Invocation call(command);
  for (auto item : flags)
    addFlag(call, checked, item.first.cast<std::string>(), item.second, command);
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string what = "argument " + std::to_string(i + 1);
    const HSyntax::HArgType type = argumentType(checked, i);
    if (type == HSyntax::kInvalidArgType)
      call.loose(args[i], what);
    else
      call.value(args[i], type, what);
  }

  hostpy::flushPythonStreams();
  HStringArray result;
  HStatus status;
  std::string warnings;
  {
    ErrorCapture capture;
    status = hostdetail::runCommands(command + call.text(), hostdetail::RunOptions(), &result);
    warnings = capture.warnings();
  }
  hostdetail::outputStream().flush();
  if (!warnings.empty())
    py::module_::import("sys").attr("stderr").attr("write")(warnings);
  if (!status)
    throw CommandFailure(status.errorString().asStdString());
  return toPython(command, result);
}

const char* pythonTypeName(HSyntax::HArgType type) {
  switch (type) {
    case HSyntax::kBoolean:
      return "bool";
    case HSyntax::kLong:
    case HSyntax::kUnsigned:
      return "int";
    case HSyntax::kString:
    case HSyntax::kSelectionItem:
      return "str";
    default:
      return "float";
  }
}

// The docstring of a command's function: its usage and how its flags are
// given from Python.
std::string commandDoc(const CommandInfo& info) {
  std::string doc = hostdetail::commandUsage(info).asStdString() + "\n";
  if (!info.syntax)
    return doc + "\nArguments are passed to the command as words.\n";
  const HSyntax syntax = info.syntax();
  if (syntax.flags().empty())
    return doc;
  doc += "\nFlags (keyword arguments by long or short name):\n";
  for (const HSyntax::Flag& flag : syntax.flags()) {
    doc += "  " + flag.longName.asStdString().substr(1) + ", " +
           flag.shortName.asStdString().substr(1);
    std::string values;
    for (HSyntax::HArgType type : flag.argTypes)
      values += std::string(values.empty() ? "" : ", ") + pythonTypeName(type);
    doc += flag.argTypes.size() > 1 ? ": (" + values + ")" : ": " + (values.empty() ? "True" : values);
    if (flag.multiUse)
      doc += ", a list for several uses";
    doc += "\n";
  }
  return doc;
}

py::array_t<double> worldPositions(py::object names) {
  std::vector<std::string> list;
  if (isText(names))
    list.push_back(names.cast<std::string>());
  else if (isSequence(names))
    for (py::handle name : names) {
      if (!isText(name))
        throw py::type_error("world_positions: names must be strings, got " + describe(name));
      list.push_back(name.cast<std::string>());
    }
  else
    throw py::type_error("world_positions: expects a name or a sequence of names, got " +
                         describe(names));
  // Reads through the C++ API do not solve; the scene is solved first, as
  // before any command.
  hostdetail::evaluateScene();
  py::array_t<double> positions({py::ssize_t(list.size()), py::ssize_t(3)});
  auto out = positions.mutable_unchecked<2>();
  for (size_t i = 0; i < list.size(); ++i) {
    HSelectionList selection;
    HDagPath path;
    HStatus status = selection.add(HString(list[i]));
    if (status)
      status = selection.getDagPath(0, path);
    if (!status)
      throw CommandFailure("world_positions: '" + list[i] + "' is not a DAG node");
    const HMatrix world = path.inclusiveMatrix();
    for (int k = 0; k < 3; ++k)
      out(py::ssize_t(i), k) = world[3][k];
  }
  return positions;
}

}  // namespace

PYBIND11_MODULE(_hostpy, m) {
  m.doc() = "The native part of hostpy; use the hostpy package.";
  py::register_exception<CommandFailure>(m, "CommandError", PyExc_RuntimeError);
  // A call into the animation library keeps it linked: loading it registers
  // joint and ikHandle and installs IK evaluation, as in hostsh.
  HIkSystem::setSolvingSuspended(false);
  hostpy::registerPythonCommand();

  m.def("run", &run, py::arg("command"), py::arg("args"), py::arg("flags"),
        "Runs one command with positional arguments and flags; returns its result.");
  m.def("unknown_command_message", &hostdetail::unknownCommandMessage);
  m.def("has_command", [](const std::string& name) {
    return hostdetail::findCommand(HString(name)) != nullptr;
  });
  m.def("command_names", [] {
    std::vector<std::string> names;
    for (const HString& name : hostdetail::commandNames())
      names.push_back(name.asStdString());
    return names;
  });
  m.def("command_doc", [](const std::string& name) -> py::object {
    const CommandInfo* info = hostdetail::findCommand(HString(name));
    return info ? py::object(py::str(commandDoc(*info))) : py::object(py::none());
  });
  m.def("undo_depth", [] { return hostdetail::undoDepth(); });
  m.def("group_undo", [](size_t count, const std::string& name) {
    hostdetail::groupNewestUndo(count, name);
  });
  m.def("world_positions", &worldPositions, py::arg("names"),
        "The world positions of DAG nodes as an n x 3 float64 array.");
}
