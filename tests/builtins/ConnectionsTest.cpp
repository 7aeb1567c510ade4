// Connections through the commands a rigger types: connect, disconnect and
// delete either end, each undone and redone, into array elements and
// compound children, cycles refused; a destination always reads its source,
// and a saved scene lists the connections in the order they were made.

#include <gtest/gtest.h>

#include <sstream>

#include "BuiltinsFixture.h"

namespace builtinstest {
namespace {

class ConnectionsTest : public BuiltinsTest {
 protected:
  void SetUp() override {
    BuiltinsTest::SetUp();
    run("createNode transform -n a; createNode transform -n b; createNode transform -n c");
    run("setAttr a.translateX 2; setAttr b.translateY 5");
  }
  double get(const std::string& plug) { return std::stod(runOne("getAttr " + plug)); }
  // The connectAttr lines of a save, in order.
  std::string savedConnections() {
    std::string lines;
    std::istringstream text(HFileIO::sceneAsText().asStdString());
    for (std::string line; std::getline(text, line);) {
      if (line.rfind("connectAttr", 0) == 0)
        lines += line + "\n";
    }
    return lines;
  }
};

TEST_F(ConnectionsTest, EditsOfEitherEndAreUndoneAndRedone) {
  run("connectAttr a.translateX b.translateX");
  EXPECT_EQ(get("b.translateX"), 2.0);
  run("setAttr a.translateX 3");
  EXPECT_EQ(get("b.translateX"), 3.0);

  // Deleting the source, then the destination: the connection goes with
  // either and comes back with undo.
  for (const char* end : {"a", "b"}) {
    run(std::string("delete ") + end);
    EXPECT_EQ(savedConnections(), "") << end;
    run("undo");
    run("setAttr a.translateX 4");
    EXPECT_EQ(get("b.translateX"), 4.0) << end;
  }
  // Disconnected, the destination reads its own value again; undo and redo
  // of the disconnect switch between the two.
  run("disconnectAttr a.translateX b.translateX");
  EXPECT_EQ(get("b.translateX"), 0.0);
  run("undo");
  EXPECT_EQ(get("b.translateX"), 4.0);
  run("redo");
  EXPECT_EQ(get("b.translateX"), 0.0);
  EXPECT_EQ(savedConnections(), "");
  // Undo of the connection itself.
  run("connectAttr a.translateY b.translateY; undo");
  EXPECT_EQ(get("b.translateY"), 5.0);
  EXPECT_EQ(savedConnections(), "");
}

TEST_F(ConnectionsTest, ElementsChildrenCyclesAndOrder) {
  run("addAttr -ln weights -at double -m b");
  run("connectAttr a.translateX b.weights[3]");
  run("connectAttr c.translate a.rotate");
  run("connectAttr a.rotateY b.scaleZ");
  EXPECT_EQ(get("b.weights[3]"), 2.0);
  run("setAttr c.translateY 0.5");
  EXPECT_NEAR(get("b.scaleZ"), 0.5, 1e-12);  // c.ty feeds a.ry (degrees both ways)

  // Around a loop, or into an occupied destination: refused, nothing changes.
  const std::string before = savedConnections();
  fails("connectAttr b.scale c.translate");
  fails("connectAttr b.scaleZ c.translateZ");
  fails("connectAttr c.translateX b.weights[3]");
  EXPECT_EQ(savedConnections(), before);
  EXPECT_EQ(before,
            "connectAttr a.translateX b.weights[3]\nconnectAttr c.translate a.rotate\n"
            "connectAttr a.rotateY b.scaleZ\n");

  // A deleted middle node takes both of its connections; undo puts them back
  // where they were in the order of making.
  run("delete a");
  EXPECT_EQ(savedConnections(), "");
  run("undo");
  EXPECT_EQ(savedConnections(), before);
}

}  // namespace
}  // namespace builtinstest
