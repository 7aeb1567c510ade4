// Which handles an edit dirties is looked up in an index that structural edits
// keep up to date piece by piece. After random structural edits, every node's
// edit must dirty the same handles as with an index built from scratch.

#include <memory>
#include <random>

#include "AnimTestUtil.h"
#include "HDGModifier.h"
#include "HFnDagNode.h"
#include "HFnTransform.h"

using namespace animtest;

namespace {

class IkIndexTest : public IkTest {
 protected:
  std::vector<HObject> live(const std::vector<HObject>& objects) const {
    std::vector<HObject> out;
    for (const HObject& object : objects) {
      if (pathOf(object).isValid())
        out.push_back(object);
    }
    return out;
  }

  // For every live node, the live handles that hiding it dirties (those whose
  // chain holds it) and those that moving it dirties (also those below it).
  std::vector<std::vector<HObject>> dirtiedByEachNode() {
    std::vector<std::vector<HObject>> result;
    for (const HObject& node : live(fNodes)) {
      EXPECT_TRUE(succeeded(HIkSystem::evaluate()));
      HFnDependencyNode(node).findPlug("visibility").setValue(false);
      result.push_back(dirtyHandles());
      EXPECT_TRUE(succeeded(HIkSystem::evaluate()));
      HFnTransform(node).translateBy(HVector(0.0, 0.01, 0.0), HSpace::kTransform);
      result.push_back(dirtyHandles());
    }
    return result;
  }

  std::vector<HObject> dirtyHandles() const {
    std::vector<HObject> dirty;
    for (const HObject& handle : live(fHandles)) {
      if (HIkSystem::isDirty(handle))
        dirty.push_back(handle);
    }
    return dirty;
  }

  std::vector<HObject> fNodes;    // joints and transforms made by the test
  std::vector<HObject> fHandles;  // handles made by the test
};

TEST_F(IkIndexTest, RandomStructuralEditsDirtyWhatAFreshIndexDirties) {
  std::mt19937 random(7);
  auto pick = [&](const std::vector<HObject>& from) {
    return from[std::uniform_int_distribution<size_t>(0, from.size() - 1)(random)];
  };
  fSolver = HFnDependencyNode().create("recordingSolver");
  fNodes = {fJoint1, fJoint2, fJoint3};
  std::vector<std::unique_ptr<HDagModifier>> undoable;

  for (int step = 0; step < 400; ++step) {
    std::vector<HObject> nodes = live(fNodes);
    // Handles are made more often than anything else, so that chains abound.
    const int op = std::uniform_int_distribution<int>(0, 8)(random);
    switch (op > 6 ? 2 : op) {
      case 0: {  // a joint under a node, made directly
        HFnIkJoint fn;
        fNodes.push_back(fn.create(nodes.empty() || random() % 4 == 0 ? HObject() : pick(nodes)));
        fn.setTranslation(HVector(1.0, 0.5, 0.0), HSpace::kTransform);
        break;
      }
      case 1: {  // a transform under a node, made through a modifier as scripts do
        auto modifier = std::make_unique<HDagModifier>();
        fNodes.push_back(modifier->createNode(random() % 2 ? "transform" : "joint",
                                              nodes.empty() ? HObject() : pick(nodes)));
        modifier->doIt();
        undoable.push_back(std::move(modifier));
        break;
      }
      case 2: {  // a handle from a node down to one of its descendants
        if (nodes.empty())
          break;
        HObject start = pick(nodes);
        HDagPath end = pathOf(start);
        while (end.childCount() > 0 && (random() % 3) != 0)
          end.push(end.child(unsigned(random() % end.childCount())));
        if (!(end.node() == start) && HFnDagNode(end.node()).typeName() == HString("joint") &&
            HFnDagNode(start).typeName() == HString("joint")) {
          HFnIkHandle fn;
          HObject handle = fn.create(pathOf(start), end);
          if (!handle.isNull()) {
            fn.setSolver(fSolver);
            fHandles.push_back(handle);
          }
        }
        break;
      }
      case 3: {  // a deletion, kept for undo
        std::vector<HObject> all = nodes;
        for (const HObject& handle : live(fHandles))
          all.push_back(handle);
        if (all.empty())
          break;
        auto modifier = std::make_unique<HDagModifier>();
        modifier->deleteNode(pick(all));
        modifier->doIt();
        undoable.push_back(std::move(modifier));
        break;
      }
      case 4:  // the last modifier undone
        if (!undoable.empty()) {
          undoable.back()->undoIt();
          undoable.pop_back();
        }
        break;
      case 5: {  // a node moved under another (refused when that makes a cycle)
        if (nodes.size() < 2)
          break;
        HFnDagNode(pick(nodes)).setParent(random() % 4 == 0 ? HObject() : pick(nodes));
        break;
      }
      case 6: {  // a handle's chain made to start higher or lower above its effector
        std::vector<HObject> handles = live(fHandles);
        if (handles.empty())
          break;
        HFnIkHandle fn(pick(handles));
        HDagPath start;
        if (fn.getEffector(start).statusCode() != HStatus::kSuccess)
          break;
        for (unsigned up = 1 + unsigned(random() % 3); up > 0 && start.length() > 1; --up)
          start.pop();
        fn.setStartJoint(start);
        break;
      }
    }
    if (step % 10 != 9)
      continue;
    const auto kept = dirtiedByEachNode();
    // A link on a plain node makes the index stale: the next look-up rebuilds it.
    HObject plain = HFnTransform().create();
    ASSERT_TRUE(succeeded(hostdetail::setNodeLink(plain, "unrelated", HObject())));
    const auto rebuilt = dirtiedByEachNode();
    ASSERT_EQ(kept, rebuilt) << "after step " << step;
  }
}

}  // namespace
