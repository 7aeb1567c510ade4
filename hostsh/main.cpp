// hostsh: the host application. Runs scripts and command strings in the
// host's command language, or prompts on a terminal.

#include <unistd.h>

#include <iostream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "Embed.h"
#include "HIkSystem.h"
#include "LineEditor.h"
#include "commands/CommandEngine.h"
#include "commands/CommandRegistry.h"
#ifdef HOSTSH_VIEWER
#include "ServeMain.h"
#endif

namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

void printUsage(std::ostream& out) {
  out << "Usage: hostsh [SCRIPT | FILE.py | -c COMMANDS]...\n"
         "       hostsh            (on a terminal: prompt for commands)\n"
         "       hostsh -          (run the commands read from standard input)\n"
         "\n"
         "Runs scripts and command strings in order and stops at the first command\n"
         "that fails. Each command's result is printed on its own line. A FILE.py\n"
         "runs as Python with hostpy on the same scene.\n"
         "\n"
         "Options:\n"
         "  -c COMMANDS  run a command string\n"
         "  -h, --help   show this help and the host's commands\n"
         "  --serve      serve a live viewport in the browser (hostsh --serve --help)\n"
         "\n"
         "Exit status: 0 when every command succeeded, 1 when one failed, 2 for bad usage.\n"
         "Plug-ins named without a path are searched as NAME.so in HOST_PLUGIN_PATH\n"
         "(folders separated by ':'), then in the host's plug-in folder\n"
         "(lib/host/plugins of an installed tree; the library folder of a build).\n"
         "\n"
         "Commands:\n";
  for (const HString& name : hostdetail::commandNames()) {
    if (const hostdetail::CommandInfo* info = hostdetail::findCommand(name))
      out << "  " << hostdetail::commandUsage(*info).asStdString() << '\n';
  }
}

hostdetail::RunOptions scriptOptions() {
  hostdetail::RunOptions options;
  options.printResults = true;
  return options;
}

// A line that asks to leave the prompt: exit or quit, alone on the line.
bool isExitLine(const std::string& line) {
  const size_t first = line.find_first_not_of(" \t");
  if (first == std::string::npos)
    return false;
  const size_t last = line.find_last_not_of(" \t;");
  const std::string word = line.substr(first, last + 1 - first);
  return word == "exit" || word == "quit";
}

int runInteractive() {
  std::cout << "hostsh " << HOSTSH_VERSION
            << ". Type 'help' for the commands, 'help COMMAND' for one, 'exit' to leave.\n";
  LineEditor editor;
  std::string line;
  int lineNumber = 0;
  while (editor.readLine("hostsh> ", line)) {
    if (isExitLine(line))
      return kExitSuccess;
    ++lineNumber;
    hostdetail::RunOptions options = scriptOptions();
    options.firstLine = lineNumber;
    // Errors are shown and the session goes on.
    hostdetail::runCommands(line, options);
  }
  std::cout << '\n';
  return kExitSuccess;
}

int runStandardInput() {
  const std::string text((std::istreambuf_iterator<char>(std::cin)),
                         std::istreambuf_iterator<char>());
  hostdetail::RunOptions options = scriptOptions();
  options.source = "<stdin>";
  return hostdetail::runCommands(text, options) ? kExitSuccess : kExitFailure;
}

bool isPythonFile(const std::string& path) {
  return path.size() > 3 && path.compare(path.size() - 3, 3, ".py") == 0;
}

}  // namespace

int run(int argc, char** argv) {
  // Keeps the animation library, which installs IK evaluation, linked in.
  HIkSystem::setSolvingSuspended(false);

  struct Step {
    bool isCommandString;
    std::string text;
  };
  for (int i = 1; i < argc; ++i) {
    if (std::string(argv[i]) == "--serve") {
#ifdef HOSTSH_VIEWER
      return viewer::serveMain(argc, argv);
#else
      std::cerr << "hostsh: this build has no viewer (--serve)\n";
      return kExitUsage;
#endif
    }
  }

  std::vector<Step> steps;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "-h" || arg == "--help") {
      printUsage(std::cout);
      return kExitSuccess;
    }
    if (arg == "-c") {
      if (i + 1 >= argc) {
        std::cerr << "hostsh: -c needs a command string\n";
        printUsage(std::cerr);
        return kExitUsage;
      }
      steps.push_back(Step{true, argv[++i]});
    } else if (arg == "-") {
      steps.push_back(Step{false, arg});
    } else if (arg.size() > 1 && arg[0] == '-') {
      std::cerr << "hostsh: unknown option " << arg << "\n";
      printUsage(std::cerr);
      return kExitUsage;
    } else {
      steps.push_back(Step{false, arg});
    }
  }

  if (steps.empty())
    return isatty(0) ? runInteractive() : runStandardInput();

  for (const Step& step : steps) {
    HStatus status;
    if (step.isCommandString)
      status = hostdetail::runCommands(step.text, scriptOptions());
    else if (step.text == "-")
      status = runStandardInput() == kExitSuccess ? HStatus(HStatus::kSuccess)
                                                  : HStatus(HStatus::kFailure);
    else if (isPythonFile(step.text))
      status = hostpy::runPythonFile(step.text);
    else
      status = hostdetail::runScriptFile(step.text, scriptOptions());
    if (!status)
      return kExitFailure;
  }
  return kExitSuccess;
}

int main(int argc, char** argv) {
  hostpy::installPython();
  int status = kExitFailure;
  try {
    status = run(argc, argv);
  } catch (const std::bad_alloc&) {
    // Commands report running out of memory themselves; this catches the
    // reading around them, so that the user gets a message, not a crash.
    std::cerr << "Error: out of memory: the scene is too large for this machine\n";
  }
  hostpy::shutdownPython();
  return status;
}
