#pragma once
// Runs built-in commands the way scripts do (through HGlobal::executeCommand,
// with undo recording), captures their errors, and reads the scene back
// through the C++ API and the scene writer.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "HDagPath.h"
#include "HFileIO.h"
#include "HFnDependencyNode.h"
#include "HFnPlugin.h"
#include "HGlobal.h"
#include "HMatrix.h"
#include "HPlug.h"
#include "HPluginManager.h"
#include "HPxIkSolverNode.h"
#include "HSelectionList.h"
#include "HStatus.h"
#include "HStringArray.h"
#include "HVector.h"

namespace builtinstest {

// A solver that leaves the chain alone and counts its solves, so that
// ikHandle -sol has a solver type to find and create.
struct CountingSolver : HPxIkSolverNode {
  static int& solves() {
    static int count = 0;
    return count;
  }
  HStatus doSolve() override {
    ++solves();
    return HStatus(HStatus::kSuccess);
  }
  static void* creator() { return static_cast<HPxNode*>(new CountingSolver()); }
};

inline HStatus initSolverPlugin(HObject plugin) {
  HFnPlugin fn(plugin, "Tests", "2.5", "Any");
  return fn.registerNode("countingSolver", HTypeId(0x7e570001), CountingSolver::creator, nullptr,
                         HPxNode::kIkSolverNode);
}

inline HStatus uninitSolverPlugin(HObject plugin) {
  HFnPlugin fn(plugin);
  return fn.deregisterNode(HTypeId(0x7e570001));
}

inline bool sameBits(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

class BuiltinsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HPluginManager::isLoaded("countingSolver"))
      HPluginManager::loadStatic("countingSolver", initSolverPlugin, uninitSolverPlugin);
    HStatus::setErrorStream(&fErrors);
    HFileIO::newFile(true);
  }
  void TearDown() override {
    HFileIO::newFile(true);
    HStatus::setErrorStream(nullptr);
  }

  // Runs commands that must succeed; their last result.
  std::vector<std::string> run(const std::string& text) {
    HStringArray result;
    HStatus status = HGlobal::executeCommand(HString(text), result, false, true);
    EXPECT_TRUE(status.statusCode() == HStatus::kSuccess) << text << "\n" << fErrors.str();
    std::vector<std::string> out;
    for (unsigned i = 0; i < result.length(); ++i)
      out.push_back(result[i].asStdString());
    return out;
  }
  std::string runOne(const std::string& text) {
    std::vector<std::string> out = run(text);
    return out.empty() ? std::string() : out[0];
  }
  // Runs commands that must fail; the error text they showed.
  std::string fails(const std::string& text) {
    fErrors.str("");
    HStatus status = HGlobal::executeCommand(HString(text), false, true);
    EXPECT_FALSE(status.statusCode() == HStatus::kSuccess) << text;
    return fErrors.str();
  }
  std::vector<double> numbers(const std::string& text) {
    std::vector<double> out;
    for (const std::string& word : run(text))
      out.push_back(std::strtod(word.c_str(), nullptr));
    return out;
  }

  static std::string sceneText() { return HFileIO::sceneAsText().asStdString(); }

  static HObject node(const char* name) {
    HSelectionList list;
    HObject object;
    if (list.add(name).statusCode() == HStatus::kSuccess)
      list.getDependNode(0, object);
    return object;
  }
  static HPlug plug(const char* nodeName, const char* plugName) {
    return HFnDependencyNode(node(nodeName)).findPlug(plugName);
  }
  static double value(const char* nodeName, const char* plugName) {
    double v = 0.0;
    plug(nodeName, plugName).getValue(v);
    return v;
  }
  static HVector worldPosition(const char* name) {
    HDagPath path;
    HDagPath::getAPathTo(node(name), path);
    HMatrix m = path.inclusiveMatrix();
    return HVector(m[3][0], m[3][1], m[3][2]);
  }
  static std::string parentName(const char* name) {
    HDagPath path;
    HDagPath::getAPathTo(node(name), path);
    if (path.length() < 2)
      return std::string();
    path.pop();
    return HFnDependencyNode(path.node()).name().asStdString();
  }

  std::ostringstream fErrors;
};

}  // namespace builtinstest
