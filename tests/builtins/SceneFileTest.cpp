// Saving and opening scene files: save -> open -> save gives the same bytes,
// and every double comes back to the bit, checked through the C++ API.

#include <cstdio>
#include <fstream>
#include <map>
#include <random>

#include "BuiltinsFixture.h"
#include "HFnAttribute.h"
#include "HFnIkHandle.h"
#include "HFnTransform.h"
#include "HIntArray.h"

namespace builtinstest {
namespace {

std::string sourcePath(const std::string& name) {
  const char* dir = std::getenv("VELTRA_SOURCE_DIR");
  return std::string(dir ? dir : ".") + "/tests/builtins/" + name;
}

std::string tempPath(const std::string& name) {
  return testing::TempDir() + "builtins_" + name;
}

std::string fileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Every numeric leaf of every node, by plug name, as the C++ API reads it,
// with its lock; independent of the scene writer.
std::map<std::string, std::string> sceneValues() {
  std::map<std::string, std::string> out;
  HSelectionList all;
  all.add("*");
  for (unsigned n = 0; n < all.length(); ++n) {
    HObject object;
    all.getDependNode(n, object);
    HFnDependencyNode fn(object);
    std::vector<HPlug> pending;
    for (unsigned a = 0; a < fn.attributeCount(); ++a) {
      HFnAttribute attribute(fn.attribute(a));
      if (attribute.parent().isNull())
        pending.push_back(fn.findPlug(fn.attribute(a)));
    }
    while (!pending.empty()) {
      HPlug plug = pending.back();
      pending.pop_back();
      std::string entry = plug.isLocked() ? "locked " : "";
      if (plug.isArray()) {
        HIntArray indices;
        plug.getExistingArrayAttributeIndices(indices);
        for (unsigned i = 0; i < indices.length(); ++i)
          pending.push_back(plug.elementByLogicalIndex(unsigned(indices[i])));
      } else if (plug.isCompound()) {
        for (unsigned i = 0; i < plug.numChildren(); ++i)
          pending.push_back(plug.child(i));
      } else {
        double number = 0.0;
        HString text;
        if (plug.getValue(number).statusCode() == HStatus::kSuccess) {
          unsigned long long bits = 0;
          std::memcpy(&bits, &number, sizeof bits);
          entry += std::to_string(bits);
        } else if (plug.getValue(text).statusCode() == HStatus::kSuccess) {
          entry += text.asStdString();
        }
      }
      out[plug.name().asStdString()] = entry;
    }
  }
  return out;
}

// Saves, opens and saves again; the two files and the values must agree.
void expectRoundTrip(const std::string& name) {
  const std::map<std::string, std::string> before = sceneValues();
  const std::string first = tempPath(name + "_1.hsa"), second = tempPath(name + "_2.hsa");
  ASSERT_TRUE(HFileIO::saveAs(HString(first)).statusCode() == HStatus::kSuccess);
  ASSERT_TRUE(HFileIO::open(HString(first)).statusCode() == HStatus::kSuccess);
  EXPECT_EQ(sceneValues(), before);
  ASSERT_TRUE(HFileIO::saveAs(HString(second)).statusCode() == HStatus::kSuccess);
  EXPECT_EQ(fileText(first), fileText(second));
  EXPECT_FALSE(fileText(first).empty());
  std::remove(first.c_str());
  std::remove(second.c_str());
}

TEST_F(BuiltinsTest, ARigScriptSurvivesSaveAndOpenByteForByte) {
  run("source \"" + sourcePath("rig.hsa") + "\"");
  const std::string text = sceneText();
  expectRoundTrip("rig");
  EXPECT_EQ(sceneText(), text);
  // What the file gave back, read through the C++ API.
  EXPECT_EQ(HFnIkHandle(node("arm1Ik")).solver(), node("countingSolver1"));
  HDagPath start;
  HFnIkHandle(node("arm1Ik")).getStartJoint(start);
  EXPECT_EQ(start.node(), node("shoulder1"));
  EXPECT_TRUE(plug("arm1Ik", "wexelAngleBias[1].wexelAngleBias_Position").isLocked());
  EXPECT_FALSE(plug("arm1Ik", "wexelAngleBias[1].wexelAngleBias_FloatValue").isLocked());
  EXPECT_EQ(value("arm1Ik", "wexelAngleBias[1].wexelAngleBias_FloatValue"), double(0.3333f));
  EXPECT_EQ(runOne("getAttr -asString rig2.side"), "Right");
  EXPECT_EQ(runOne("getAttr rig2.note"), "left \"arm\" \\ rig");
  EXPECT_TRUE(
      HFnAttribute(HFnDependencyNode(node("arm1Ik")).attribute("wexelRestPose")).isHidden());
  EXPECT_EQ(run("getAttr rig2.weights"), (std::vector<std::string>{"0.25", "-0"}));
  // The connected plug keeps the value it holds itself for when it is freed.
  EXPECT_EQ(value("elbow12", "scaleX"), 0.0);
  run("disconnectAttr rig2.translateY elbow12.scaleX");
  EXPECT_EQ(value("elbow12", "scaleX"), 3.0);
}

TEST_F(BuiltinsTest, RandomAnglesAndDistancesComeBackToTheBit) {
  std::mt19937_64 random(20240611);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_int_distribution<int> exponent(-30, 30);
  auto any = [&] { return std::ldexp(unit(random), exponent(random)); };
  run("createNode transform -n hub1");
  for (int i = 0; i < 150; ++i) {
    std::string name = runOne("createNode joint -p hub1");
    HObject joint = node(name.c_str());
    HFnTransform fn(joint);
    fn.setRotation(HEulerRotation(any(), any(), any()));
    fn.setTranslation(HVector(any(), any(), any()), HSpace::kTransform);
    HFnDependencyNode dep(joint);
    dep.findPlug("jointOrientX").setValue(unit(random) * 7.0);
    dep.findPlug("preferredAngleZ").setValue(any());
    dep.findPlug("scaleY").setValue(any());
  }
  expectRoundTrip("random");
}

TEST_F(BuiltinsTest, DegreesTypedInCommandsMatchRadiansComputedInCode) {
  run("createNode transform -n t");
  const double kPi = 3.141592653589793;
  const std::pair<const char*, double> cases[] = {
      {"90", kPi / 2}, {"-45", -kPi / 4}, {"360", 2 * kPi}};
  for (auto& c : cases) {
    run(std::string("setAttr t.rotateY ") + c.first);
    EXPECT_TRUE(sameBits(value("t", "rotateY"), c.second)) << c.first;
    EXPECT_EQ(runOne("getAttr t.rotateY"), c.first);
  }
  // Whatever the radians, getAttr's degrees read back to them exactly.
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> angle(-20.0, 20.0);
  for (int i = 0; i < 2000; ++i) {
    double radians = angle(random);
    plug("t", "rotateZ").setValue(radians);
    std::string degrees = runOne("getAttr t.rotateZ");
    run("setAttr t.rotateX " + degrees);
    ASSERT_TRUE(sameBits(value("t", "rotateX"), radians)) << degrees;
  }
}

TEST_F(BuiltinsTest, OpenRunsThePluginRequirementsFirst) {
  run("createNode countingSolver -n solver7");
  const std::string text = sceneText();
  EXPECT_EQ(text.find("requires countingSolver \"2.5\"\n"), text.find('\n') + 1);
  EXPECT_LT(text.find("requires"), text.find("createNode countingSolver -n solver7"));
  expectRoundTrip("requires");
}

// Node names allow letters, digits and _ only, so string values carry the
// awkward characters: each must come back byte for byte.
TEST_F(BuiltinsTest, StringsWithEscapedCharactersComeBackExactly) {
  run("createNode transform -n box; addAttr -ln note -dt string box");
  run("addAttr -ln notes -dt string -m box");
  const std::string texts[] = {"tab\there",  "two\nlines\n", "back\\slash\\n",
                               "say \"hi\"", "\\\"\t\n\\",   "ends with \\"};
  for (const std::string& text : texts) {
    ASSERT_EQ(plug("box", "note").setValue(HString(text)), HStatus::kSuccess);
    ASSERT_EQ(plug("box", "notes").elementByLogicalIndex(2).setValue(HString(text)),
              HStatus::kSuccess);
    expectRoundTrip("strings");
    HString note, element;
    plug("box", "note").getValue(note);
    plug("box", "notes").elementByLogicalIndex(2).getValue(element);
    EXPECT_EQ(note.asStdString(), text);
    EXPECT_EQ(element.asStdString(), text);
  }
}

TEST_F(BuiltinsTest, AnUnterminatedStringIsReportedOnItsOwnLine) {
  const std::string path = tempPath("unterminated.hsa");
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      << "createNode transform -n box\naddAttr -ln note -dt string box\n"
      << "setAttr -type string box.note \"never closed\n\ncreateNode transform -n b\n"
      << "print \"a later \\\"quote\\\"\"\n";
  fErrors.str("");
  EXPECT_NE(HFileIO::open(HString(path)).statusCode(), HStatus::kSuccess);
  EXPECT_NE(fErrors.str().find("Error: " + path + ":3: Unterminated string"), std::string::npos)
      << fErrors.str();
  EXPECT_TRUE(node("box").isNull());
  std::remove(path.c_str());
}

TEST_F(BuiltinsTest, ValuesOfNonStorableAttributesAreNotSaved) {
  run("createNode transform -n box; addAttr -ln keep -at double box");
  run("addAttr -ln scratch -at double -s off box; addAttr -ln scratches -at double -m -s off box");
  run("addAttr -ln scratchPair -at compound -nc 1 -s off box");
  run("addAttr -ln inPair -at double -p scratchPair box");
  run("setAttr box.keep 4; setAttr box.scratch 5; setAttr box.scratches[3] 6; "
      "setAttr box.inPair 7");
  const std::string text = sceneText();
  EXPECT_NE(text.find("setAttr box.keep 4\n"), std::string::npos) << text;
  for (const char* unsaved :
       {"box.scratch ", "box.scratches[", "box.scratchPair.inPair ", "box.inPair "})
    EXPECT_EQ(text.find(std::string("setAttr ") + unsaved), std::string::npos) << text;
  // The definitions are kept, so the attributes come back with their defaults.
  const std::string path = tempPath("unstored.hsa");
  ASSERT_EQ(HFileIO::saveAs(HString(path)).statusCode(), HStatus::kSuccess);
  ASSERT_EQ(HFileIO::open(HString(path)).statusCode(), HStatus::kSuccess);
  EXPECT_EQ(sceneText(), text);
  EXPECT_EQ(value("box", "keep"), 4.0);
  EXPECT_EQ(value("box", "scratch"), 0.0);
  EXPECT_EQ(value("box", "inPair"), 0.0);
  EXPECT_EQ(run("getAttr -size box.scratches"), std::vector<std::string>{"0"});
  std::remove(path.c_str());
}

}  // namespace
}  // namespace builtinstest
