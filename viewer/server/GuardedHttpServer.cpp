#include "GuardedHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace viewer {

namespace {

constexpr int kReadTimeoutMs = 10000;
constexpr int kWriteTimeoutMs = 10000;
constexpr int kStopCheckMs = 200;

bool waitOn(int sock, short events, int timeoutMs) {
  pollfd entry{sock, events, 0};
  int ready;
  do {
    ready = poll(&entry, 1, timeoutMs);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

void addressOf(const sockaddr_storage& address, std::string& ip, int& port) {
  char text[INET6_ADDRSTRLEN] = {0};
  if (address.ss_family == AF_INET) {
    const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
    inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text);
    port = ntohs(v4->sin_port);
  } else if (address.ss_family == AF_INET6) {
    const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
    inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof text);
    port = ntohs(v6->sin6_port);
  }
  ip = text;
}

// A connection's byte stream, read through a small buffer: httplib reads
// request lines a byte at a time.
class ConnectionStream : public httplib::Stream {
 public:
  explicit ConnectionStream(int sock) : fSock(sock) {}

  bool is_readable() const override {
    return fStart < fEnd || waitOn(fSock, POLLIN, kReadTimeoutMs);
  }
  bool is_writable() const override { return waitOn(fSock, POLLOUT, kWriteTimeoutMs); }

  ssize_t read(char* ptr, size_t size) override {
    if (fStart == fEnd) {
      if (!waitOn(fSock, POLLIN, kReadTimeoutMs))
        return -1;
      ssize_t got;
      do {
        got = recv(fSock, fBuffer, sizeof fBuffer, 0);
      } while (got < 0 && errno == EINTR);
      if (got <= 0)
        return got;
      fStart = 0;
      fEnd = std::size_t(got);
    }
    const std::size_t n = std::min(size, fEnd - fStart);
    std::memcpy(ptr, fBuffer + fStart, n);
    fStart += n;
    return ssize_t(n);
  }

  ssize_t write(const char* ptr, size_t size) override {
    if (!is_writable())
      return -1;
    ssize_t sent;
    do {
      sent = send(fSock, ptr, size, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent;
  }

  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getpeername(fSock, reinterpret_cast<sockaddr*>(&address), &length) == 0)
      addressOf(address, ip, port);
  }
  void get_local_ip_and_port(std::string& ip, int& port) const override {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (getsockname(fSock, reinterpret_cast<sockaddr*>(&address), &length) == 0)
      addressOf(address, ip, port);
  }
  socket_t socket() const override { return fSock; }

  bool hasBuffered() const { return fStart < fEnd; }

 private:
  int fSock;
  char fBuffer[4096];
  std::size_t fStart = 0;
  std::size_t fEnd = 0;
};

// Each connection is served on one thread, so a flag per thread is one per
// connection while a request is handled.
thread_local bool tCloseAfterResponse = false;

void closeSocket(socket_t sock) {
  shutdown(sock, SHUT_RDWR);
  close(sock);
}

}  // namespace

GuardedHttpServer::GuardedHttpServer(int maxConnections, int idleSeconds)
    : fMaxConnections(maxConnections), fIdleSeconds(idleSeconds) {
  // A few workers beyond the limit, so that refusing a connection never
  // waits for one of the open ones to end.
  const int workers = maxConnections + 4;
  new_task_queue = [workers] { return new httplib::ThreadPool(std::size_t(workers)); };
}

void GuardedHttpServer::closeAfterResponse() {
  tCloseAfterResponse = true;
}

void GuardedHttpServer::widenBacklog() {
  ::listen(svr_sock_, SOMAXCONN);
}

bool GuardedHttpServer::waitForRequest(socket_t sock, bool buffered) const {
  if (buffered)
    return true;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(fIdleSeconds);
  while (!isStopping()) {
    if (waitOn(sock, POLLIN, kStopCheckMs))
      return true;
    if (std::chrono::steady_clock::now() >= deadline)
      return false;
  }
  return false;
}

bool GuardedHttpServer::process_and_close_socket(socket_t sock) {
  std::string peer;
  int peerPort = 0;
  ConnectionStream stream(sock);
  stream.get_remote_ip_and_port(peer, peerPort);
  if (fOpen.fetch_add(1) >= fMaxConnections) {
    fOpen.fetch_sub(1);
    closeSocket(sock);
    if (onRefusal)
      onRefusal("connection from " + peer + " closed: already " + std::to_string(fMaxConnections) +
                " connections open");
    return false;
  }
  // httplib writes a response's head and body separately; with Nagle's
  // algorithm the body then waits for a delayed ACK, 40 ms per request.
  const int on = 1;
  setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  bool ok = true;
  while (!isStopping()) {
    if (!waitForRequest(sock, stream.hasBuffered())) {
      if (!isStopping() && onRefusal)
        onRefusal("connection from " + peer + " closed: idle for " +
                  std::to_string(fIdleSeconds) + " s");
      break;
    }
    bool closed = false;
    tCloseAfterResponse = false;
    ok = process_request(stream, false, closed, [](httplib::Request& request) {
      // Answers go out uncompressed: Debian's httplib compresses with brotli
      // at its slowest setting, some 20 ms for a 4 KB scene and seconds for
      // three.js, far more than sending the bytes costs.
      request.headers.erase("Accept-Encoding");
    });
    if (!ok || closed || tCloseAfterResponse)
      break;
  }
  closeSocket(sock);
  fOpen.fetch_sub(1);
  return ok;
}

}  // namespace viewer
