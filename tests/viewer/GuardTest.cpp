// Attacks on the viewer server from other pages and processes: each is
// refused with a logged reason, the scene stays as it was, and the server
// goes on serving its own page.

#include <chrono>
#include <fstream>
#include <thread>

#include "ViewerFixture.h"

namespace {

class ViewerGuardTest : public ViewerFixture {
 protected:
  void SetUp() override {
    ViewerFixture::SetUp();
    before = scene();
    std::lock_guard<std::mutex> lock(logMutex());
    logLines().clear();
  }
  // After every attack: nothing changed and the page still loads.
  void TearDown() override {
    EXPECT_EQ(scene(), before);
    auto page = client("")->Get("/");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
  }
  // A raw request with the given head lines (Host is added unless present).
  std::string request(const std::string& method, const std::string& target,
                      std::vector<std::string> headers, const std::string& body = "") {
    std::string text = method + " " + target + " HTTP/1.1\r\n";
    bool hasHost = false;
    for (const std::string& h : headers)
      hasHost = hasHost || h.rfind("Host:", 0) == 0;
    if (!hasHost)
      headers.push_back("Host: " + hostHeader());
    for (const std::string& h : headers)
      text += h + "\r\n";
    text += "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n";
    return raw(text + body);
  }
  void expectRefusals(std::size_t count, const std::string& reason) {
    const std::vector<std::string> lines = log();
    EXPECT_EQ(lines.size(), count);
    for (const std::string& line : lines)
      EXPECT_NE(line.find(reason), std::string::npos) << line;
  }

  nlohmann::json before;
};

const std::string kMove = "move -ws 0 3 2 legIk";

TEST_F(ViewerGuardTest, ApiRequestsWithoutTheRightTokenGet401) {
  const std::string token = kToken;
  const std::vector<std::vector<std::string>> headerSets = {
      {},                                                              // none at all
      {"Authorization: Bearer " + std::string(token.size(), 'a')},     // wrong, same length
      {"Authorization: Bearer " + token.substr(0, token.size() - 1)},  // one short
      {"Authorization: Bearer " + token + "0"},                        // one long
      {"Authorization: Bearer "},                                      // empty
      {"Authorization: Basic " + token},                               // wrong scheme
  };
  for (const auto& headers : headerSets) {
    EXPECT_EQ(statusOf(request("POST", "/api/command", headers, kMove)), 401);
    EXPECT_EQ(statusOf(request("GET", "/api/scene", headers)), 401);
  }
  EXPECT_EQ(statusOf(request("GET", "/api/events?token=nope", {})), 401);
  EXPECT_EQ(statusOf(request("POST", "/api/command?token=" + token.substr(1), {}, kMove)), 401);
  expectRefusals(headerSets.size() * 2 + 2, "401");
  // The query parameter is as good as the header (the event stream needs it).
  EXPECT_EQ(statusOf(request("GET", "/api/scene?token=" + token, {})), 200);
}

TEST_F(ViewerGuardTest, ForeignHostHeadersGet403EvenWithTheToken) {
  const std::string auth = "Authorization: Bearer " + std::string(kToken);
  const std::string port = std::to_string(this->port());
  for (const std::string& host :
       std::vector<std::string>{"evil.example:" + port, "evil.example", "127.0.0.1",
                                "127.0.0.1:" + std::to_string(this->port() + 1),
                                "localhost.evil.example:" + port, std::string("")}) {
    EXPECT_EQ(statusOf(request("POST", "/api/command", {auth, "Host: " + host}, kMove)), 403)
        << host;
    EXPECT_EQ(statusOf(request("GET", "/", {"Host: " + host})), 403) << host;
  }
  expectRefusals(12, "403");
  EXPECT_EQ(statusOf(request("GET", "/api/scene", {auth, "Host: LOCALHOST:" + port})), 200);
}

TEST_F(ViewerGuardTest, ForeignOriginsGet403AndNoCorsHeaders) {
  const std::string auth = "Authorization: Bearer " + std::string(kToken);
  const std::string port = std::to_string(this->port());
  for (const std::string& origin : {std::string("http://evil.example"), std::string("null"),
                                    "http://127.0.0.1:" + std::to_string(this->port() + 1),
                                    "https://127.0.0.1:" + port, "http://evil.example:" + port}) {
    const std::string answer = request("POST", "/api/command", {auth, "Origin: " + origin}, kMove);
    EXPECT_EQ(statusOf(answer), 403) << origin;
    EXPECT_EQ(answer.find("Access-Control"), std::string::npos);
  }
  expectRefusals(5, "Origin");
  EXPECT_EQ(statusOf(request("GET", "/api/scene", {auth, "Origin: http://" + hostHeader()})), 200);
}

TEST_F(ViewerGuardTest, PlainTextFormPostFromAnotherSiteRunsNothing) {
  // What a form on any web page can send to 127.0.0.1 without a preflight.
  const std::string target = buildpaths::binaryDir() + "/viewer-form-attack.hsa";
  std::remove(target.c_str());
  for (const char* type :
       {"text/plain", "application/x-www-form-urlencoded", "multipart/form-data"}) {
    const std::string answer =
        request("POST", "/api/command",
                {"Origin: http://evil.example", std::string("Content-Type: ") + type},
                kMove + "; file -save \"" + target + "\"");
    EXPECT_EQ(statusOf(answer), 403) << type;
  }
  // A browser that leaves the Origin out still has no token to send.
  EXPECT_EQ(statusOf(request("POST", "/api/command", {"Content-Type: text/plain"},
                             "file -save \"" + target + "\"")),
            401);
  EXPECT_FALSE(std::ifstream(target).good());
  EXPECT_EQ(log().size(), 4u);
}

TEST_F(ViewerGuardTest, PathTraversalInEveryEncodingGets404) {
  // The build folder's CMakeCache.txt lies two folders above the page's.
  for (const char* target :
       {"/../../CMakeCache.txt", "/vendor/../../../CMakeCache.txt", "/%2e%2e/%2e%2e/CMakeCache.txt",
        "/%2E%2E/%2E%2E/CMakeCache.txt", "/..%2f..%2fCMakeCache.txt", "/..%2F..%2FCMakeCache.txt",
        "/%252e%252e/%252e%252e/CMakeCache.txt", "/..%5c..%5cCMakeCache.txt",
        "/..\\..\\CMakeCache.txt", "/%c0%ae%c0%ae/%c0%ae%c0%ae/CMakeCache.txt",
        "/.%2e/.%2e/CMakeCache.txt", "//etc/passwd", "/etc/passwd", "/index.html%00.js",
        "/./index.html", "/vendor/", "/vendor", "/..", "/%2e"}) {
    const std::string answer = request("GET", target, {});
    EXPECT_EQ(statusOf(answer), 404) << target;
    EXPECT_EQ(answer.find("CMAKE_"), std::string::npos) << target;
    EXPECT_EQ(answer.find("root:"), std::string::npos) << target;
  }
  expectRefusals(19, "404");
}

TEST_F(ViewerGuardTest, BodiesOverOneMegabyteAreRefusedAndTheLimitItselfIsNot) {
  auto c = client();
  // A command text of exactly 1 MB: a comment, so it runs and does nothing.
  std::string atLimit = "// " + std::string(viewer::kMaxBodyBytes - 3, 'x');
  auto fits = c->Post("/api/command", atLimit, "text/plain");
  ASSERT_TRUE(fits);
  EXPECT_EQ(fits->status, 200);
  auto over = c->Post("/api/command", kMove + "; //" + std::string(viewer::kMaxBodyBytes, 'x'),
                      "text/plain");
  ASSERT_TRUE(over);
  EXPECT_EQ(over->status, 413);
  expectRefusals(1, "body over");
}

TEST_F(ViewerGuardTest, ConnectionsBeyondTheLimitAreClosedAndIdleOnesExpire) {
  std::vector<int> sockets;
  for (int i = 0; i < viewer::kMaxConnections + 8; ++i)
    sockets.push_back(connect());
  // Well inside the idle time, only those over the limit are gone.
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  std::vector<bool> gone(sockets.size(), false);
  int closed = 0;
  for (std::size_t i = 0; i < sockets.size(); ++i) {
    gone[i] = closedByServer(sockets[i], 0);
    closed += gone[i] ? 1 : 0;
  }
  EXPECT_EQ(closed, 8);
  // The fixture's idle time is 2 s: every remaining one goes.
  int expired = 0;
  for (std::size_t i = 0; i < sockets.size(); ++i)
    expired += !gone[i] && closedByServer(sockets[i], 3500) ? 1 : 0;
  EXPECT_EQ(expired, viewer::kMaxConnections);
  for (int sock : sockets)
    close(sock);
  std::size_t limit = 0;
  std::size_t idle = 0;
  for (const std::string& line : log()) {
    limit += line.find("connections open") != std::string::npos;
    idle += line.find("idle for 2 s") != std::string::npos;
  }
  EXPECT_EQ(limit, std::size_t(closed));
  EXPECT_EQ(limit + idle, std::size_t(viewer::kMaxConnections + 8));
}

}  // namespace
