// The plug-in end to end: hostsh runs scene scripts that load veltra.so by
// name from HOST_PLUGIN_PATH, as a user's session would.

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "BuildPaths.h"

namespace {

using buildpaths::binaryDir;

struct ScriptRun {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// The scripts sit beside this source file.
std::string script(const char* name) {
  std::string dir = __FILE__;
  dir = dir.substr(0, dir.rfind('/'));
  return dir + "/scripts/" + name;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Runs hostsh on the scripts inside `workDir`, so relative scene paths land there.
ScriptRun hostsh(const std::vector<std::string>& scripts, const std::string& workDir) {
  const std::string binary = binaryDir();
  const std::string errPath = workDir + "/stderr.txt";
  std::string command =
      "cd '" + workDir + "' && HOST_PLUGIN_PATH='" + binary + "/lib' '" + binary + "/bin/hostsh'";
  for (const std::string& s : scripts) {
    command += " '" + s + "'";
  }
  command += " 2>'" + errPath + "' </dev/null";
  ScriptRun run;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    return run;
  }
  char buffer[4096];
  size_t got = 0;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
    run.out.append(buffer, got);
  }
  const int status = pclose(pipe);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.err = readFile(errPath);
  return run;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    result.push_back(line);
  }
  return result;
}

// Every output line that holds exactly three numbers (xform -q -ws -t).
std::vector<std::vector<double>> triples(const std::string& out) {
  std::vector<std::vector<double>> result;
  for (const std::string& line : lines(out)) {
    std::istringstream in(line);
    std::vector<double> values;
    double v = 0.0;
    while (in >> v) {
      values.push_back(v);
    }
    if (values.size() == 3 && in.eof()) {
      result.push_back(values);
    }
  }
  return result;
}

class HostshTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/veltraHostshXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    fDir = pattern;
  }
  void TearDown() override { std::system(("rm -rf '" + fDir + "'").c_str()); }
  std::string fDir;
};

double distance(const std::vector<double>& a, const std::vector<double>& b) {
  return std::sqrt((a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) +
                   (a[2] - b[2]) * (a[2] - b[2]));
}

TEST_F(HostshTest, ChainReachesItsHandleAcrossSaveAndOpen) {
  const ScriptRun run = hostsh({script("build_chain.hsa"), script("reopen_chain.hsa")}, fDir);
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const std::vector<std::vector<double>> ends = triples(run.out);
  ASSERT_EQ(ends.size(), 4u) << run.out;
  const std::vector<std::vector<double>> goals = {
      {2.5, 1.5, 0.7}, {2.5, 1.5, 0.7}, {1.0, 2.0, -1.0}, {-2.0, 0.5, 1.5}};
  for (size_t i = 0; i < goals.size(); ++i) {
    EXPECT_LT(distance(ends[i], goals[i]), 1e-4) << "query " << i << "\n" << run.out;
  }
  // The saved scene carries the plug-in's stored data and needs the plug-in.
  const std::string saved = readFile(fDir + "/solved_chain.hsa");
  EXPECT_NE(saved.find("requires veltra"), std::string::npos);
  EXPECT_NE(saved.find("wexelRestPose"), std::string::npos);
  EXPECT_NE(saved.find("wexelRestPoleVector"), std::string::npos);
  EXPECT_NE(saved.find("wexelAngleBias_Position"), std::string::npos);
}

TEST_F(HostshTest, RestPoseOnAJointStopsTheScript) {
  const ScriptRun run = hostsh({script("rest_pose_on_joint.hsa")}, fDir);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("Command argument is not an IK handle."), std::string::npos) << run.err;
  EXPECT_NE(run.err.find("rest_pose_on_joint.hsa:"), std::string::npos) << run.err;
  EXPECT_EQ(run.out.find("not reached"), std::string::npos);
}

TEST_F(HostshTest, RestPoseUndoAndRedoTheMarker) {
  const ScriptRun run = hostsh({script("rest_pose_undo.hsa")}, fDir);
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const std::string& out = run.out;
  const size_t afterUndo = out.find("after undo");
  const size_t afterRedo = out.find("after redo");
  ASSERT_NE(afterUndo, std::string::npos) << out;
  ASSERT_NE(afterRedo, std::string::npos) << out;
  const size_t first = out.find("wexelRestPose");
  EXPECT_LT(first, afterUndo) << out;
  EXPECT_EQ(out.find("wexelRestPose", afterUndo), out.find("wexelRestPose", afterRedo)) << out;
  EXPECT_NE(out.find("wexelRestPose", afterRedo), std::string::npos) << out;
  // The captured preferred angle is the joint's 30 degree rotation.
  EXPECT_NE(out.find("30"), std::string::npos) << out;
}

TEST_F(HostshTest, CallbacksGiveEveryNewSceneOneSolver) {
  const ScriptRun run = hostsh({script("callbacks.hsa")}, fDir);
  ASSERT_EQ(run.exitCode, 0) << run.err;
  // Output after the markers: the solver nodes, then the selection, which the
  // callback must leave as the new scene had it (empty).
  std::vector<std::string> solvers;
  std::vector<std::string> selected;
  std::vector<std::string>* section = nullptr;
  for (const std::string& line : lines(run.out)) {
    if (line == "solvers:") {
      section = &solvers;
    } else if (line == "selected:") {
      section = &selected;
    } else if (section != nullptr && !line.empty()) {
      section->push_back(line);
    }
  }
  EXPECT_EQ(solvers, std::vector<std::string>{"veltra"}) << run.out;
  EXPECT_TRUE(selected.empty()) << run.out;
}

}  // namespace
