#pragma once
// An httplib server that owns its connections' lifetime: at most
// kMaxConnections at once (more are closed at once), a connection that sends
// nothing for kIdleSeconds is closed, and requests on one connection are
// handled one after the other. stop() ends idle connections promptly.
// Nothing is sent compressed.

#include <httplib.h>

#include <atomic>
#include <functional>
#include <string>

namespace viewer {

class GuardedHttpServer : public httplib::Server {
 public:
  GuardedHttpServer(int maxConnections, int idleSeconds);
  // Receives one line per connection refused or closed for idleness.
  std::function<void(const std::string&)> onRefusal;
  int openConnections() const { return fOpen.load(); }
  // httplib listens with a backlog of 5, so a burst of connections waits
  // seconds for SYN retries; after binding, this lets the kernel queue more.
  void widenBacklog();
  // Called from a handler: the connection closes after this response (httplib
  // keeps it open even after a request it could not read).
  static void closeAfterResponse();

 private:
  // Replaces httplib's own loop (a virtual of the base) to add the limits.
  bool process_and_close_socket(socket_t sock) override;
  bool isStopping() const { return svr_sock_ == INVALID_SOCKET; }
  // Waits up to the idle time for the next request, in short steps so that
  // stop() is not held up by an idle connection.
  bool waitForRequest(socket_t sock, bool buffered) const;

  const int fMaxConnections;
  const int fIdleSeconds;
  std::atomic<int> fOpen{0};
};

}  // namespace viewer
