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

std::string script(const char* name) {
  return buildpaths::sourceDir() + "/tests/plugin/scripts/" + name;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

class HostshTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/veltraHostshXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    fDir = pattern;
  }
  void TearDown() override { std::system(("rm -rf '" + fDir + "'").c_str()); }

  // Runs hostsh on the scripts inside fDir, so relative scene paths land
  // there; gives the exit code, with standard output in `out`.
  int hostsh(const std::vector<std::string>& scripts, std::string& out) {
    const std::string binary = buildpaths::binaryDir();
    std::string command =
        "cd '" + fDir + "' && HOST_PLUGIN_PATH='" + binary + "/lib' '" + binary + "/bin/hostsh'";
    for (const std::string& s : scripts) {
      command += " '" + s + "'";
    }
    FILE* pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
    if (pipe == nullptr) {
      return -1;
    }
    char buffer[4096];
    for (size_t got = 0; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
      out.append(buffer, got);
    }
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string fDir;
};

TEST_F(HostshTest, ChainReachesItsHandleAcrossSaveAndOpen) {
  std::string out;
  ASSERT_EQ(hostsh({script("build_chain.hsa"), script("reopen_chain.hsa")}, out), 0) << out;
  // Every output line of three numbers is an effector position (xform -q -ws -t).
  std::vector<std::vector<double>> ends;
  std::istringstream lines(out);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream in(line);
    std::vector<double> values;
    for (double v = 0.0; in >> v;) {
      values.push_back(v);
    }
    if (values.size() == 3 && in.eof()) {
      ends.push_back(values);
    }
  }
  ASSERT_EQ(ends.size(), 4u) << out;
  const double goals[4][3] = {{2.5, 1.5, 0.7}, {2.5, 1.5, 0.7}, {1.0, 2.0, -1.0}, {-2.0, 0.5, 1.5}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_LT(
        std::hypot(ends[i][0] - goals[i][0], ends[i][1] - goals[i][1], ends[i][2] - goals[i][2]),
        1e-4)
        << "query " << i << "\n"
        << out;
  }
  // The saved scene carries the plug-in's stored data and needs the plug-in.
  const std::string saved = readFile(fDir + "/solved_chain.hsa");
  for (const char* piece :
       {"requires veltra", "wexelRestPose", "wexelRestPoleVector", "wexelAngleBias_Position"}) {
    EXPECT_NE(saved.find(piece), std::string::npos) << piece;
  }
}

}  // namespace
