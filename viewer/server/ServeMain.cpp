#include "ServeMain.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

#include "HostSession.h"
#include "ViewerServer.h"

namespace viewer {

namespace {

volatile std::sig_atomic_t gInterrupted = 0;

void onInterrupt(int) {
  gInterrupted = 1;
}

void printServeUsage(std::ostream& out) {
  out << "Usage: hostsh --serve [--port N] [--host ADDR] [--token VALUE] [SCENE]\n"
         "Loads SCENE (a scene file or script), serves the live viewport at\n"
         "http://127.0.0.1:N/ (default port "
      << kDefaultPort
      << "; 0 picks a free one) and prints the address to open, with its token.\n"
         "Commands typed here run on the same scene; Ctrl-C stops.\n";
}

// The page's files, installed beside the programs: BIN/../share/viewer.
std::string defaultPageDir() {
  char exe[4096] = {0};
  const ssize_t got = readlink("/proc/self/exe", exe, sizeof exe - 1);
  std::string path = got > 0 ? std::string(exe, std::size_t(got)) : std::string("./hostsh");
  for (int up = 0; up < 2; ++up) {
    const std::size_t slash = path.rfind('/');
    path = slash == std::string::npos ? std::string(".") : path.substr(0, slash);
  }
  return path + "/share/viewer";
}

bool parsePort(const std::string& text, int& port) {
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || value < 0 || value > 65535)
    return false;
  port = int(value);
  return true;
}

// Reads what arrives on standard input and runs each complete line; returns
// false at end of input. Polls briefly so that an interrupt is noticed.
bool pumpInput(HostSession& session, std::string& pending, int& lineNumber, bool prompt) {
  pollfd entry{0, POLLIN, 0};
  if (poll(&entry, 1, 200) <= 0)
    return true;
  char buffer[4096];
  const ssize_t got = read(0, buffer, sizeof buffer);
  if (got <= 0) {
    if (!pending.empty())
      session.runTerminalLine(pending, ++lineNumber);
    pending.clear();
    return false;
  }
  pending.append(buffer, std::size_t(got));
  std::size_t newline;
  while ((newline = pending.find('\n')) != std::string::npos) {
    const std::string line = pending.substr(0, newline);
    pending.erase(0, newline + 1);
    session.runTerminalLine(line, ++lineNumber);
    if (prompt)
      std::cout << "hostsh> " << std::flush;
  }
  return true;
}

}  // namespace

int serveMain(int argc, char** argv) {
  ServerOptions options;
  options.pageDir = defaultPageDir();
  std::string scene;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "--serve") {
      continue;
    } else if (arg == "-h" || arg == "--help") {
      printServeUsage(std::cout);
      return 0;
    } else if (arg == "--port" && hasValue) {
      if (!parsePort(argv[++i], options.port)) {
        std::cerr << "hostsh: --port needs a number from 0 to 65535, not " << argv[i] << "\n";
        return 2;
      }
    } else if (arg == "--host" && hasValue) {
      options.address = argv[++i];
    } else if (arg == "--token" && hasValue) {
      options.token = argv[++i];
      if (options.token.empty()) {
        std::cerr << "hostsh: --token needs a value\n";
        return 2;
      }
    } else if (arg.size() > 1 && arg[0] == '-') {
      std::cerr << "hostsh: unknown or incomplete option " << arg << " for --serve\n";
      printServeUsage(std::cerr);
      return 2;
    } else if (scene.empty()) {
      scene = arg;
    } else {
      std::cerr << "hostsh: --serve takes one scene, not " << arg << "\n";
      return 2;
    }
  }

  HostSession session;
  if (!scene.empty() && !session.runScript(scene))
    return 1;

  ViewerServer server(session, options);
  std::string error;
  if (!server.start(error)) {
    std::cerr << "hostsh: " << error << "\n";
    return 1;
  }
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);

  std::cout << "Viewer: " << server.pageAddress() << std::endl;
  const bool terminal = isatty(0);
  if (terminal)
    std::cout << "hostsh> " << std::flush;
  std::string pending;
  int lineNumber = 0;
  bool reading = true;
  while (!gInterrupted) {
    if (reading) {
      reading = pumpInput(session, pending, lineNumber, terminal);
      // End of input at a terminal (Ctrl-D) ends the session as the prompt
      // does; piped input that ends leaves the server running.
      if (!reading && terminal)
        break;
    } else {
      poll(nullptr, 0, 200);
    }
  }
  std::cout << "\nhostsh: stopping the viewer\n";
  session.shutdown();
  server.stop();
  return 0;
}

}  // namespace viewer
