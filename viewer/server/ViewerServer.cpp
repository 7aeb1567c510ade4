#include "ViewerServer.h"

#include <climits>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "GuardedHttpServer.h"
#include "HostSession.h"
#include "RequestGuards.h"

namespace viewer {

namespace {

// Keep-alive comments on an idle event stream, so that proxies and the
// browser see the connection alive; the stream checks for stop() between.
constexpr auto kEventWait = std::chrono::milliseconds(500);
constexpr int kEventWaitsPerComment = 30;

std::string jsonText(const nlohmann::json& value) {
  // Command output may hold any bytes the user typed; invalid UTF-8 is
  // replaced rather than thrown on.
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string bearerToken(const httplib::Request& request) {
  const std::string header = request.get_header_value("Authorization");
  const std::string scheme = "Bearer ";
  if (header.compare(0, scheme.size(), scheme) == 0)
    return header.substr(scheme.size());
  return request.get_param_value("token");
}

// Why httplib refused a request by itself.
std::string reasonFor(int status) {
  switch (status) {
    case 400:
      return "malformed request";
    case 413:
      return "body over " + std::to_string(kMaxBodyBytes) + " bytes";
    case 414:
      return "address too long";
    default:
      return "refused with status " + std::to_string(status);
  }
}

bool hasBearerOrParam(const httplib::Request& request) {
  return request.has_header("Authorization") || request.has_param("token");
}

}  // namespace

class ViewerServer::Impl {
 public:
  Impl(HostSession& session, ServerOptions options)
      : fSession(session),
        fOptions(std::move(options)),
        fHttp(kMaxConnections, fOptions.idleSeconds) {}

  bool start(std::string& error);
  void stop();
  int port() const { return fPort; }
  const std::string& token() const { return fOptions.token; }
  std::string pageAddress() const {
    const std::string host = fOptions.address == "0.0.0.0" ? "127.0.0.1" : fOptions.address;
    return "http://" + host + ":" + std::to_string(fPort) + "/?token=" + fOptions.token;
  }

 private:
  void installRoutes();
  void refuse(const httplib::Request& request, httplib::Response& response, int status,
              const std::string& reason);
  void logRefusal(const std::string& line);
  httplib::Server::HandlerResponse checkRequest(const httplib::Request& request,
                                                httplib::Response& response);
  void runCommand(const httplib::Request& request, httplib::Response& response);
  void serveEvents(httplib::Response& response);
  void serveFile(const httplib::Request& request, httplib::Response& response);

  HostSession& fSession;
  ServerOptions fOptions;
  GuardedHttpServer fHttp;
  std::thread fThread;
  std::vector<std::string> fAllowedHosts;
  std::string fPageDir;  // real path
  int fPort = 0;
  std::mutex fLogMutex;
  std::atomic<bool> fStopping{false};
};

void ViewerServer::Impl::logRefusal(const std::string& line) {
  std::lock_guard<std::mutex> lock(fLogMutex);
  if (fOptions.log) {
    fOptions.log(line);
  } else {
    std::cerr << "hostsh: refused: " << line << std::endl;
  }
}

void ViewerServer::Impl::refuse(const httplib::Request& request, httplib::Response& response,
                                int status, const std::string& reason) {
  // The path only: the query may hold a token.
  const std::string what = request.method.empty() ? "request" : request.method + " " + request.path;
  logRefusal(std::to_string(status) + " " + what + " from " +
             (request.remote_addr.empty() ? "a client" : request.remote_addr) + ": " + reason);
  response.status = status;
  response.set_content(jsonText({{"ok", false}, {"error", reason}}), "application/json");
}

httplib::Server::HandlerResponse ViewerServer::Impl::checkRequest(const httplib::Request& request,
                                                                  httplib::Response& response) {
  using Result = httplib::Server::HandlerResponse;
  if (!isAllowedHost(fAllowedHosts, request.get_header_value("Host"))) {
    refuse(request, response, 403, "Host \"" + request.get_header_value("Host") +
                                       "\" is not this server's address");
    return Result::Handled;
  }
  if (request.has_header("Origin") &&
      !isAllowedOrigin(fAllowedHosts, request.get_header_value("Origin"))) {
    refuse(request, response, 403,
           "Origin \"" + request.get_header_value("Origin") + "\" is not this server's page");
    return Result::Handled;
  }
  if (request.path.compare(0, 5, "/api/") == 0 || request.path == "/api") {
    if (!hasBearerOrParam(request)) {
      refuse(request, response, 401, "no token: open the address hostsh printed");
      return Result::Handled;
    }
    if (!sameToken(fOptions.token, bearerToken(request))) {
      refuse(request, response, 401, "wrong token");
      return Result::Handled;
    }
  }
  return Result::Unhandled;
}

void ViewerServer::Impl::runCommand(const httplib::Request& request, httplib::Response& response) {
  std::string commandText = request.body;
  bool undoable = request.get_param_value("undoable") != "0";
  if (request.get_header_value("Content-Type").compare(0, 16, "application/json") == 0) {
    const nlohmann::json body = nlohmann::json::parse(request.body, nullptr, false);
    if (body.is_discarded() || !body.is_object() || !body.contains("command") ||
        !body["command"].is_string() ||
        (body.contains("undoable") && !body["undoable"].is_boolean())) {
      refuse(request, response, 400,
             "bad JSON: expected {\"command\": TEXT} with an optional boolean \"undoable\"");
      return;
    }
    commandText = body["command"].get<std::string>();
    undoable = body.value("undoable", true);
  }
  if (commandText.find_first_not_of(" \t\r\n") == std::string::npos) {
    refuse(request, response, 400, "no command given");
    return;
  }
  const CommandReply reply = fSession.runRequest(commandText, undoable);
  nlohmann::json answer{{"ok", reply.ok}, {"output", reply.output}, {"version", reply.version}};
  if (reply.ok)
    answer["result"] = reply.result;
  else
    answer["error"] = reply.error;
  std::string text = jsonText(answer);
  // scene=1 saves a page the second request for what its command changed.
  if (request.get_param_value("scene") == "1")
    text.insert(text.size() - 1, ",\"scene\":" + fSession.sceneText());
  // A failed command is an answer, not a refused request: the host spoke.
  response.set_content(text, "application/json");
}

void ViewerServer::Impl::serveEvents(httplib::Response& response) {
  response.set_header("Cache-Control", "no-store");
  auto sent = std::make_shared<std::uint64_t>(0);
  auto waits = std::make_shared<int>(0);
  response.set_chunked_content_provider(
      "text/event-stream", [this, sent, waits](size_t, httplib::DataSink& sink) {
        if (fStopping || fSession.isShutDown()) {
          sink.done();
          return true;
        }
        const std::uint64_t now =
            *sent == 0 ? fSession.version() : fSession.waitForChange(*sent, kEventWait);
        std::string message;
        if (now != *sent) {
          *sent = now;
          *waits = 0;
          message = "event: version\ndata: " + std::to_string(now) + "\n\n";
        } else if (++*waits >= kEventWaitsPerComment) {
          *waits = 0;
          message = ": still here\n\n";
        }
        if (!message.empty() && !sink.write(message.data(), message.size()))
          return false;
        return sink.is_writable();
      });
}

void ViewerServer::Impl::serveFile(const httplib::Request& request, httplib::Response& response) {
  const std::string file = resolvePageFile(fPageDir, request.target, request.path);
  if (file.empty()) {
    refuse(request, response, 404, "no such page file");
    return;
  }
  std::ifstream in(file, std::ios::binary);
  std::ostringstream data;
  data << in.rdbuf();
  if (!in) {
    refuse(request, response, 404, "page file cannot be read");
    return;
  }
  response.set_content(data.str(), contentTypeOf(file).c_str());
}

void ViewerServer::Impl::installRoutes() {
  fHttp.onRefusal = [this](const std::string& line) { logRefusal(line); };
  fHttp.set_payload_max_length(kMaxBodyBytes);
  fHttp.set_read_timeout(10, 0);
  fHttp.set_write_timeout(10, 0);
  // No CORS headers, ever: other origins get nothing they could read.
  fHttp.set_default_headers({{"X-Content-Type-Options", "nosniff"},
                             {"Cache-Control", "no-store"},
                             {"Content-Security-Policy",
                              "default-src 'self'; img-src 'self' data:; style-src 'self' "
                              "'unsafe-inline'; frame-ancestors 'none'"},
                             {"X-Frame-Options", "DENY"},
                             {"Referrer-Policy", "no-referrer"}});
  fHttp.set_pre_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        return checkRequest(request, response);
      });

  fHttp.Get("/api/scene", [this](const httplib::Request&, httplib::Response& response) {
    response.set_content(fSession.sceneText(), "application/json");
  });
  fHttp.Post("/api/command", [this](const httplib::Request& request, httplib::Response& response) {
    runCommand(request, response);
  });
  fHttp.Get("/api/events", [this](const httplib::Request&, httplib::Response& response) {
    serveEvents(response);
  });
  const auto wrongMethod = [this](const httplib::Request& request, httplib::Response& response) {
    const bool known = request.path == "/api/scene" || request.path == "/api/command" ||
                       request.path == "/api/events";
    refuse(request, response, known ? 405 : 404,
           known ? "method not allowed on " + request.path : "unknown route " + request.path);
  };
  fHttp.Get("/api/.*", wrongMethod);
  fHttp.Post("/.*", wrongMethod);
  fHttp.Put("/.*", wrongMethod);
  fHttp.Patch("/.*", wrongMethod);
  fHttp.Delete("/.*", wrongMethod);
  fHttp.Options("/.*", wrongMethod);
  fHttp.Get("/.*", [this](const httplib::Request& request, httplib::Response& response) {
    serveFile(request, response);
  });

  // What httplib answers by itself (a request it cannot parse, a body over
  // the limit) gets a message and a log line like every other refusal.
  fHttp.set_error_handler([this](const httplib::Request& request, httplib::Response& response) {
    if (!response.body.empty())
      return;
    const int status = response.status;
    // After a request it could not read, the stream's framing is lost.
    if (status == 400)
      GuardedHttpServer::closeAfterResponse();
    refuse(request, response, status, reasonFor(status));
  });
  fHttp.set_exception_handler(
      [this](const httplib::Request& request, httplib::Response& response, std::exception_ptr) {
        refuse(request, response, 500, "internal error");
      });
}

bool ViewerServer::Impl::start(std::string& error) {
  if (fOptions.token.empty())
    fOptions.token = makeToken();
  if (!isUsableToken(fOptions.token)) {
    error = "the token must be letters, digits, '-', '_', '.' or '~' (at most 256)";
    return false;
  }
  char resolved[PATH_MAX];
  if (fOptions.pageDir.empty() || realpath(fOptions.pageDir.c_str(), resolved) == nullptr) {
    error = "the page folder " + fOptions.pageDir + " is missing (build the viewerPage target)";
    return false;
  }
  fPageDir = resolved;
  installRoutes();
  if (fOptions.port == 0) {
    fPort = fHttp.bind_to_any_port(fOptions.address);
  } else {
    fPort = fHttp.bind_to_port(fOptions.address, fOptions.port) ? fOptions.port : -1;
  }
  if (fPort <= 0) {
    error = "cannot listen on " + fOptions.address + ":" + std::to_string(fOptions.port);
    return false;
  }
  fHttp.widenBacklog();
  fAllowedHosts = allowedHosts(fOptions.address, fPort);
  fThread = std::thread([this] { fHttp.listen_after_bind(); });
  // stop() only stops a server that has started listening.
  while (!fHttp.is_running())
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return true;
}

void ViewerServer::Impl::stop() {
  fStopping = true;
  fHttp.stop();
  if (fThread.joinable())
    fThread.join();
}

ViewerServer::ViewerServer(HostSession& session, ServerOptions options)
    : fImpl(std::make_unique<Impl>(session, std::move(options))) {}

ViewerServer::~ViewerServer() {
  stop();
}

bool ViewerServer::start(std::string& error) {
  return fImpl->start(error);
}

void ViewerServer::stop() {
  fImpl->stop();
}

int ViewerServer::port() const {
  return fImpl->port();
}

const std::string& ViewerServer::token() const {
  return fImpl->token();
}

std::string ViewerServer::pageAddress() const {
  return fImpl->pageAddress();
}

}  // namespace viewer
