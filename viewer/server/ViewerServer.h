#pragma once
// The viewer's HTTP server: the page's files and the JSON API over the shared
// host session, guarded so that only the page it hands out can use it.
//
//   GET  /api/scene    the scene JSON (see SceneJson.h) with its version
//   POST /api/command  command text (or JSON {"command", "undoable"}) ->
//                      {"ok", "result", "output", "version"} or {"ok": false, "error"};
//                      ?undoable=0 keeps it off the undo queue, ?scene=1 adds
//                      the scene JSON as "scene"
//   GET  /api/events   server-sent events: "version" with each new version
//   GET  /...          the page's files
//
// Every /api/ request carries the token (Authorization: Bearer, or the token
// query parameter); every request names this server in Host and, if it has
// an Origin, this server's own origin. Refusals are logged one line each.

#include <functional>
#include <memory>
#include <string>

namespace viewer {

class HostSession;

// Limits that keep one client from starving the others or the host.
constexpr std::size_t kMaxBodyBytes = 1 << 20;
constexpr int kIdleSeconds = 60;
constexpr int kMaxConnections = 32;
constexpr int kDefaultPort = 8765;

struct ServerOptions {
  std::string address = "127.0.0.1";  // where to listen
  int port = kDefaultPort;            // 0: any free port
  std::string token;                  // empty: a new random one
  std::string pageDir;                // the page's files
  int idleSeconds = kIdleSeconds;     // an idle connection is closed after this
  // Receives each refusal as one line; null writes them to standard error.
  std::function<void(const std::string&)> log;
};

class ViewerServer {
 public:
  ViewerServer(HostSession& session, ServerOptions options);
  ~ViewerServer();
  ViewerServer(const ViewerServer&) = delete;
  ViewerServer& operator=(const ViewerServer&) = delete;

  // Binds and starts serving on a thread of its own; false with a message
  // when the address cannot be bound or the page folder is missing.
  bool start(std::string& error);
  // Stops accepting, closes every connection and waits for the threads.
  void stop();

  int port() const;
  const std::string& token() const;
  // The address a user opens: http://ADDRESS:PORT/?token=TOKEN
  std::string pageAddress() const;

 private:
  class Impl;
  std::unique_ptr<Impl> fImpl;
};

}  // namespace viewer
