#pragma once
// A viewer server on a free port over a leg scene (hip, knee, ankle, handle
// legIk solved by veltra), rebuilt before every test, with helpers to send
// requests as a well-behaved page or byte for byte as an attacker would.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "BuildPaths.h"
#include "HostSession.h"
#include "ViewerServer.h"

class ViewerFixture : public ::testing::Test {
 protected:
  static constexpr const char* kToken = "0123456789abcdef0123456789abcdef";

  static void SetUpTestSuite() {
    session = new viewer::HostSession();
    viewer::ServerOptions options;
    options.port = 0;
    options.token = kToken;
    options.pageDir = buildpaths::binaryDir() + "/share/viewer";
    options.idleSeconds = 2;
    options.log = [](const std::string& line) {
      std::lock_guard<std::mutex> lock(logMutex());
      logLines().push_back(line);
    };
    server = new viewer::ViewerServer(*session, options);
    std::string error;
    ASSERT_TRUE(server->start(error)) << error;
  }
  static void TearDownTestSuite() {
    delete server;
    delete session;
    server = nullptr;
    session = nullptr;
  }

  void SetUp() override {
    const viewer::CommandReply reply = session->runRequest(
        "file -new -f; loadPlugin \"" + buildpaths::pluginPath() +
            "\"; createNode veltra -n veltra; joint -p 0 10 0 -n hip; joint -p 0 5 0.6 -n knee; "
            "joint -p 0 0 0 -n ankle; select -cl; ikHandle -sj hip -ee ankle -sol veltra -n legIk",
        false);
    ASSERT_TRUE(reply.ok) << reply.error;
    std::lock_guard<std::mutex> lock(logMutex());
    logLines().clear();
  }

  static std::mutex& logMutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::vector<std::string>& logLines() {
    static std::vector<std::string> lines;
    return lines;
  }
  static std::vector<std::string> log() {
    std::lock_guard<std::mutex> lock(logMutex());
    return logLines();
  }

  int port() const { return server->port(); }
  std::string hostHeader() const { return "127.0.0.1:" + std::to_string(port()); }

  // A client as the page is: the token in a header.
  std::unique_ptr<httplib::Client> client(const std::string& token = kToken) const {
    auto c = std::make_unique<httplib::Client>("127.0.0.1", port());
    c->set_read_timeout(10, 0);
    if (!token.empty())
      c->set_default_headers({{"Authorization", "Bearer " + token}});
    return c;
  }

  nlohmann::json scene() const {
    auto result = client()->Get("/api/scene");
    EXPECT_TRUE(result && result->status == 200);
    return result ? nlohmann::json::parse(result->body) : nlohmann::json();
  }
  static const nlohmann::json& node(const nlohmann::json& scene, const std::string& name) {
    for (const nlohmann::json& n : scene["nodes"]) {
      if (n["name"] == name)
        return n;
    }
    static const nlohmann::json none;
    ADD_FAILURE() << "no node " << name;
    return none;
  }
  static std::vector<double> position(const nlohmann::json& scene, const std::string& name) {
    const nlohmann::json& m = node(scene, name)["matrix"];
    return {m[12].get<double>(), m[13].get<double>(), m[14].get<double>()};
  }
  nlohmann::json command(const std::string& text, const std::string& query = "") const {
    auto result = client()->Post(("/api/command" + query).c_str(), text, "text/plain");
    EXPECT_TRUE(result && result->status == 200);
    return result ? nlohmann::json::parse(result->body) : nlohmann::json();
  }

  int connect() const {
    const int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return sock;
  }
  // Whether the server closed the socket within timeoutMs.
  static bool closedByServer(int sock, int timeoutMs) {
    pollfd entry{sock, POLLIN, 0};
    if (poll(&entry, 1, timeoutMs) <= 0)
      return false;
    char byte;
    return recv(sock, &byte, 1, 0) <= 0;
  }
  // Sends bytes exactly as given and returns the whole answer (the server
  // closes after it: the request asks for that).
  std::string raw(const std::string& request) const {
    const int sock = connect();
    send(sock, request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    char buffer[4096];
    pollfd entry{sock, POLLIN, 0};
    while (poll(&entry, 1, 5000) > 0) {
      const ssize_t got = recv(sock, buffer, sizeof buffer, 0);
      if (got <= 0)
        break;
      answer.append(buffer, std::size_t(got));
    }
    close(sock);
    return answer;
  }
  static int statusOf(const std::string& answer) {
    return answer.size() > 12 ? std::atoi(answer.substr(9, 3).c_str()) : 0;
  }

  static viewer::HostSession* session;
  static viewer::ViewerServer* server;
};

inline viewer::HostSession* ViewerFixture::session = nullptr;
inline viewer::ViewerServer* ViewerFixture::server = nullptr;
