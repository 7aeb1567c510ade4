// The viewer's API as the page uses it: the scene, commands, the event stream,
// the page's files and the answers to bad requests.

#include <atomic>
#include <chrono>
#include <thread>

#include "ViewerFixture.h"

namespace {

using ViewerApiTest = ViewerFixture;

void expectNear(const std::vector<double>& actual, const std::vector<double>& expected,
                double tolerance) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i)
    EXPECT_NEAR(actual[i], expected[i], tolerance) << "component " << i;
}

TEST_F(ViewerApiTest, SceneListsEveryDagNodeWithItsWorldMatrixAndHandleInputs) {
  const nlohmann::json s = scene();
  EXPECT_GT(s["version"].get<int>(), 0);
  std::vector<std::string> names;
  for (const nlohmann::json& n : s["nodes"]) {
    names.push_back(n["name"]);
    EXPECT_EQ(n["matrix"].size(), 16u);
  }
  // Parents first; the solver node is no DAG node and is left out.
  EXPECT_EQ(names, (std::vector<std::string>{"hip", "knee", "ankle", "effector1", "legIk"}));
  EXPECT_TRUE(node(s, "hip")["parent"].is_null());
  EXPECT_EQ(node(s, "effector1")["parent"], "knee");
  EXPECT_EQ(node(s, "effector1")["type"], "ikEffector");
  expectNear(position(s, "knee"), {0, 5, 0.6}, 1e-9);

  const nlohmann::json& ik = node(s, "legIk")["ik"];
  EXPECT_EQ(ik["startJoint"], "hip");
  EXPECT_EQ(ik["effector"], "effector1");
  EXPECT_EQ(ik["chain"], nlohmann::json({"hip", "knee"}));
  EXPECT_EQ(ik["solver"], "veltra");
  EXPECT_EQ(ik["twist"], 0.0);
  // The knee sits forward, so the pole vector points along +Z.
  expectNear(ik["poleVector"].get<std::vector<double>>(), {0, 0, 1}, 1e-9);
  ASSERT_EQ(ik["ramp"].size(), 1u);
  EXPECT_EQ(ik["ramp"][0]["index"], 0);
  EXPECT_NEAR(ik["ramp"][0]["value"].get<double>(), 0.5, 1e-6);
}

TEST_F(ViewerApiTest, CommandRunsSolvesAndMovesTheVersionOn) {
  const int before = scene()["version"];
  const nlohmann::json reply =
      command("move -ws 0 3 2 legIk; setAttr legIk.twist 30; getAttr legIk.twist");
  ASSERT_TRUE(reply["ok"]) << reply.dump();
  EXPECT_EQ(reply["result"], "30");
  EXPECT_GT(reply["version"].get<int>(), before);
  const nlohmann::json s = scene();
  EXPECT_EQ(s["version"], reply["version"]);
  expectNear(position(s, "effector1"), {0, 3, 2}, 1e-4);
  EXPECT_NEAR(node(s, "legIk")["ik"]["twist"].get<double>(), 30.0, 1e-9);

  // A query changes nothing, so the version stays.
  EXPECT_EQ(command("xform -q -ws -t legIk")["version"], reply["version"]);
  // Undo through the API takes back the last command only.
  ASSERT_TRUE(command("undo")["ok"]);
  EXPECT_NEAR(node(scene(), "legIk")["ik"]["twist"].get<double>(), 0.0, 1e-9);
}

TEST_F(ViewerApiTest, FailedRequestLeavesTheSceneAsItWas) {
  const nlohmann::json before = scene();
  for (const char* text :
       {"move -ws 0 3 3 legIk; setAttr nosuch.tx 1", "setAttr legIk.twist 45; bogusCommand",
        "move -ws 0 1 1 legIk; \"open"}) {
    const nlohmann::json reply = command(text);
    EXPECT_FALSE(reply["ok"]) << text;
    EXPECT_FALSE(reply["error"].get<std::string>().empty()) << text;
    EXPECT_EQ(scene(), before) << text;
  }
  // What was taken back cannot be redone either.
  EXPECT_TRUE(command("redo")["ok"]);
  EXPECT_EQ(scene()["nodes"], before["nodes"]);
}

TEST_F(ViewerApiTest, PreviewsStayOffTheUndoQueue) {
  ASSERT_TRUE(command("move -ws 0 3 2 legIk", "?undoable=0")["ok"]);
  expectNear(position(scene(), "effector1"), {0, 3, 2}, 1e-4);
  const nlohmann::json undo = command("undo");
  EXPECT_NE(undo["output"].get<std::string>().find("no more commands to undo"), std::string::npos);
  // scene=1 answers with the scene the command left.
  const nlohmann::json withScene = command("move -ws 0 4 1 legIk", "?scene=1");
  expectNear(position(withScene["scene"], "legIk"), {0, 4, 1}, 1e-12);
}

TEST_F(ViewerApiTest, JsonBodiesAreReadAndBadOnesRefused) {
  auto c = client();
  auto good =
      c->Post("/api/command", R"({"command": "setAttr legIk.twist 10"})", "application/json");
  ASSERT_TRUE(good);
  EXPECT_EQ(good->status, 200);
  const nlohmann::json before = scene();
  for (const char* body : {"{", "[]", R"({"cmd": "x"})", R"({"command": 3})",
                           R"({"command": "setAttr legIk.twist 20", "undoable": "no"})"}) {
    auto result = c->Post("/api/command", body, "application/json");
    ASSERT_TRUE(result) << body;
    EXPECT_EQ(result->status, 400) << body;
    EXPECT_NE(result->body.find("bad JSON"), std::string::npos) << body;
  }
  auto empty = c->Post("/api/command", "  \n", "text/plain");
  EXPECT_EQ(empty->status, 400);
  EXPECT_EQ(scene(), before);
  EXPECT_EQ(log().size(), 6u);
}

TEST_F(ViewerApiTest, UnknownRoutesAndMethodsGetFourHundreds) {
  auto c = client();
  struct Case {
    const char* method;
    const char* path;
    int status;
  };
  for (const Case& k : {Case{"GET", "/api/nothing", 404}, Case{"GET", "/api/command", 405},
                        Case{"DELETE", "/api/scene", 405}, Case{"PUT", "/index.html", 404},
                        Case{"POST", "/api/scene", 405}, Case{"GET", "/missing.js", 404}}) {
    httplib::Request request;
    request.method = k.method;
    request.path = k.path;
    auto result = c->send(request);
    ASSERT_TRUE(result) << k.method << " " << k.path;
    EXPECT_EQ(result->status, k.status) << k.method << " " << k.path;
    EXPECT_EQ(nlohmann::json::parse(result->body)["ok"], false);
  }
  EXPECT_EQ(statusOf(raw("NONSENSE\r\n\r\n")), 400);
  std::size_t refused = 0;
  for (const std::string& line : log())
    refused += line.find("idle for") == std::string::npos;
  EXPECT_EQ(refused, 7u);
}

TEST_F(ViewerApiTest, PageFilesAreServedWithTheirTypesAndNoCors) {
  auto c = client("");
  for (const auto& [path, type] : std::vector<std::pair<std::string, std::string>>{
           {"/", "text/html"},
           {"/viewer.js", "text/javascript"},
           {"/vendor/three.module.js", "text/javascript"},
           {"/viewer.css", "text/css"}}) {
    auto result = c->Get(path.c_str());
    ASSERT_TRUE(result) << path;
    EXPECT_EQ(result->status, 200) << path;
    EXPECT_EQ(result->get_header_value("Content-Type").rfind(type, 0), 0u) << path;
    EXPECT_FALSE(result->has_header("Access-Control-Allow-Origin"));
  }
}

// Compressing costs more than loopback saves: brotli took 20 ms a scene and
// capped a drag's update rate, so answers go out plain whatever is offered.
TEST_F(ViewerApiTest, AnswersGoOutUncompressedWhateverTheBrowserOffers) {
  auto c = client();
  const httplib::Headers offer{{"Accept-Encoding", "gzip, deflate, br, zstd"}};
  for (const std::string path : {"/api/scene", "/viewer.js", "/vendor/three.module.js"}) {
    auto result = c->Get(path.c_str(), offer);
    ASSERT_TRUE(result) << path;
    EXPECT_EQ(result->status, 200) << path;
    EXPECT_FALSE(result->has_header("Content-Encoding")) << path;
  }
  auto moved =
      c->Post("/api/command?undoable=0&scene=1", offer, "move -ws 0 3 2 legIk", "text/plain");
  ASSERT_TRUE(moved);
  EXPECT_FALSE(moved->has_header("Content-Encoding"));
  EXPECT_TRUE(nlohmann::json::parse(moved->body).contains("scene"));
}

TEST_F(ViewerApiTest, EventStreamAnnouncesEveryChangeFromPagesAndTerminal) {
  std::mutex mutex;
  std::string received;
  std::atomic<bool> stop{false};
  std::thread reader([&] {
    auto c = client();
    c->Get("/api/events?token=" + std::string(kToken), [&](const char* data, size_t length) {
      std::lock_guard<std::mutex> lock(mutex);
      received.append(data, length);
      return !stop.load();
    });
  });
  const auto waitFor = [&](const std::string& text) {
    for (int i = 0; i < 100; ++i) {
      {
        std::lock_guard<std::mutex> lock(mutex);
        if (received.find(text) != std::string::npos)
          return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  };
  const int start = scene()["version"];
  EXPECT_TRUE(waitFor("event: version\ndata: " + std::to_string(start) + "\n\n"));
  const int afterPage = command("move -ws 0 3 2 legIk")["version"];
  EXPECT_TRUE(waitFor("data: " + std::to_string(afterPage) + "\n"));
  ASSERT_TRUE(session->runTerminalLine("setAttr legIk.twist 15", 1));
  EXPECT_TRUE(waitFor("data: " + std::to_string(afterPage + 1) + "\n"));
  stop = true;
  command("setAttr legIk.twist 0");  // one more event, so the reader sees stop
  reader.join();
}

}  // namespace
