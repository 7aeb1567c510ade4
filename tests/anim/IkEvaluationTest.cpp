// IK evaluation: which edits dirty a handle, and how the solver is called.

#include "AnimTestUtil.h"
#include "HDGModifier.h"
#include "HFnDagNode.h"
#include "HFnNumericAttribute.h"

using namespace animtest;

namespace {

class IkEvaluationTest : public IkTest {
 protected:
  void SetUp() override {
    IkTest::SetUp();
    fHandle = makeHandle(true);
    ASSERT_TRUE(succeeded(HIkSystem::evaluate()));
    RecordingSolver::calls().clear();
  }

  // Evaluates and tells whether the solver was called for the handle.
  bool solvedAfter() {
    RecordingSolver::calls().clear();
    EXPECT_TRUE(succeeded(HIkSystem::evaluate()));
    for (auto& call : RecordingSolver::calls()) {
      if (call.handles.size() == 1 && call.handles[0] == fHandle)
        return true;
    }
    return false;
  }

  // A second three-joint chain with a handle on the same solver; middle is
  // set to its inner joint.
  HObject makeOtherChain(HObject& middle) {
    HFnIkJoint fnJoint;
    HObject root = fnJoint.create();
    middle = fnJoint.create(root);
    fnJoint.setTranslation(HVector(1, 0, 0), HSpace::kTransform);
    HObject end = fnJoint.create(middle);
    fnJoint.setTranslation(HVector(1, 0, 0), HSpace::kTransform);
    HFnIkHandle fn;
    HObject handle = fn.create(pathOf(root), pathOf(end));
    fn.setSolver(fSolver);
    return handle;
  }

  HObject fHandle;
};

TEST_F(IkEvaluationTest, NewHandleIsSolvedWithItselfInTheGroup) {
  // A second handle on its own chain, fresh and dirty.
  HObject middle;
  HObject other = makeOtherChain(middle);
  EXPECT_TRUE(HIkSystem::isDirty(other));
  EXPECT_FALSE(HIkSystem::isDirty(fHandle));
  ASSERT_TRUE(succeeded(HIkSystem::evaluate()));
  ASSERT_EQ(RecordingSolver::calls().size(), 1u);
  const auto& call = RecordingSolver::calls()[0];
  ASSERT_EQ(call.handles.size(), 1u);
  EXPECT_EQ(call.handles[0], other);
  EXPECT_TRUE(call.preSolved);
  EXPECT_FALSE(HIkSystem::isDirty(other));
  EXPECT_EQ(static_cast<HPxIkSolverNode*>(HFnDependencyNode(fSolver).userNode())->handleGroup(),
            nullptr);
  // Nothing dirty: nothing solved.
  EXPECT_FALSE(solvedAfter());
  EXPECT_TRUE(RecordingSolver::calls().empty());
}

TEST_F(IkEvaluationTest, EditingChainRotationsDoesNotDirty) {
  HFnIkJoint(fJoint1).setRotation(HEulerRotation(0.1, 0.2, 0.3));
  ASSERT_TRUE(succeeded(plug(fJoint1, "rotate").child(0).setValue(0.5)));
  EXPECT_FALSE(HIkSystem::isDirty(fHandle));
  EXPECT_FALSE(solvedAfter());
}

TEST_F(IkEvaluationTest, HandleEditsDirty) {
  plug(fHandle, "twist").setValue(0.3);
  EXPECT_TRUE(solvedAfter());
  plug(fHandle, "pvz").setValue(0.5);
  EXPECT_TRUE(solvedAfter());
  HFnTransform(fHandle).translateBy(HVector(0.1, 0, 0), HSpace::kWorld);
  EXPECT_TRUE(solvedAfter());
  HFnNumericAttribute fn;
  HFnDependencyNode(fHandle).addAttribute(fn.create("extra", "ex", HFnNumericData::kDouble));
  EXPECT_TRUE(solvedAfter());
  HFnIkHandle(fHandle).setSolver(HFnDependencyNode().create("recordingSolver"));
  EXPECT_TRUE(solvedAfter());
}

TEST_F(IkEvaluationTest, ChainShapeAndPreferredAnglesDirty) {
  double angles[3] = {0, 0, 0.2};
  HFnIkJoint(fJoint2).setPreferedAngle(angles);
  EXPECT_TRUE(solvedAfter());
  plug(fJoint3, "tx").setValue(2.5);  // bone length
  EXPECT_TRUE(solvedAfter());
  plug(fJoint2, "joz").setValue(0.1);
  EXPECT_TRUE(solvedAfter());
  plug(fJoint2, "radius").setValue(3.0);
  EXPECT_TRUE(solvedAfter());
}

TEST_F(IkEvaluationTest, TransformsAboveDirty) {
  HObject top = HFnTransform().create();
  HFnDagNode(fJoint1).setParent(top);
  EXPECT_TRUE(solvedAfter());
  HFnTransform(top).setTranslation(HVector(0, 1, 0), HSpace::kTransform);
  EXPECT_TRUE(solvedAfter());
  plug(top, "visibility").setValue(false);  // not a transform change
  EXPECT_FALSE(solvedAfter());
  // A handle under a moving group is dirty when the group moves.
  HObject group = HFnTransform().create();
  HFnDagNode(fHandle).setParent(group);
  EXPECT_TRUE(solvedAfter());
  HFnTransform(group).rotateBy(HQuaternion(0.2, HVector(1, 0, 0)), HSpace::kTransform);
  EXPECT_TRUE(solvedAfter());
  // A node elsewhere does not.
  HObject elsewhere = HFnTransform().create();
  EXPECT_FALSE(solvedAfter());
  HFnTransform(elsewhere).setTranslation(HVector(4, 4, 4), HSpace::kTransform);
  EXPECT_FALSE(solvedAfter());
}

TEST_F(IkEvaluationTest, DisabledOrSolverlessHandlesStayDirty) {
  plug(fHandle, "solverEnable").setValue(false);
  EXPECT_FALSE(solvedAfter());
  EXPECT_TRUE(HIkSystem::isDirty(fHandle));
  EXPECT_FALSE(succeeded(HIkSystem::solveHandle(fHandle)));
  plug(fHandle, "solverEnable").setValue(true);
  EXPECT_TRUE(solvedAfter());
  HFnIkHandle(fHandle).setSolver(HObject());
  EXPECT_FALSE(solvedAfter());
  EXPECT_TRUE(HIkSystem::isDirty(fHandle));
}

TEST_F(IkEvaluationTest, ChangesMadeByItsOwnSolveDoNotLeaveItDirty) {
  RecordingSolver::editsDuringSolve() = true;
  HIkSystem::markDirty(fHandle);
  EXPECT_TRUE(solvedAfter());
  EXPECT_TRUE(HFnDependencyNode(fHandle).hasAttribute("solvedOnce"));
  EXPECT_FALSE(HIkSystem::isDirty(fHandle));
  EXPECT_FALSE(solvedAfter());
}

TEST_F(IkEvaluationTest, SuspendedSolvingWaitsAndTheCoreHookSolves) {
  plug(fHandle, "twist").setValue(0.5);
  HIkSystem::setSolvingSuspended(true);
  EXPECT_TRUE(HIkSystem::isSolvingSuspended());
  EXPECT_FALSE(solvedAfter());
  HIkSystem::setSolvingSuspended(false);
  EXPECT_TRUE(solvedAfter());
  // The core's evaluation hook solves what is dirty.
  plug(fHandle, "twist").setValue(0.7);
  RecordingSolver::calls().clear();
  hostdetail::runEvaluationHook();
  ASSERT_EQ(RecordingSolver::calls().size(), 1u);
  EXPECT_EQ(RecordingSolver::calls()[0].handles[0], fHandle);
}

TEST_F(IkEvaluationTest, UndoneDeletionBringsTheHandleBackDirty) {
  HDGModifier modifier;
  modifier.deleteNode(fHandle);
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_FALSE(HIkSystem::isDirty(fHandle));
  EXPECT_FALSE(solvedAfter());
  ASSERT_TRUE(succeeded(modifier.undoIt()));
  EXPECT_TRUE(HIkSystem::isDirty(fHandle));
  EXPECT_TRUE(solvedAfter());
}

TEST_F(IkEvaluationTest, UndoneDeletionOfTheEffectorRestoresTheChain) {
  HDagPath effector;
  HFnIkHandle(fHandle).getEffector(effector);
  HDGModifier modifier;
  modifier.deleteNode(effector.node());
  ASSERT_TRUE(succeeded(modifier.doIt()));
  plug(fJoint2, "radius").setValue(2.0);  // the scene is looked at without the effector
  solvedAfter();
  ASSERT_TRUE(succeeded(modifier.undoIt()));
  solvedAfter();
  HFnIkJoint(fJoint2).setRotation(HEulerRotation(0.0, 0.0, 0.9));
  EXPECT_FALSE(HIkSystem::isDirty(fHandle));
  plug(fJoint2, "radius").setValue(3.0);
  EXPECT_TRUE(HIkSystem::isDirty(fHandle));
}

TEST_F(IkEvaluationTest, DeletionsInARowDirtyTheHandlesTheyTouch) {
  // A second chain and handle, solved, then nodes deleted one after another
  // without an evaluation in between.
  HObject b;
  HObject other = makeOtherChain(b);
  HDagPath effector;
  HFnIkHandle(fHandle).getEffector(effector);
  HObject unrelated = HFnTransform().create();
  ASSERT_TRUE(succeeded(HIkSystem::evaluate()));

  HDGModifier modifier;
  modifier.deleteNode(unrelated);
  ASSERT_TRUE(succeeded(modifier.doIt()));
  EXPECT_FALSE(HIkSystem::isDirty(fHandle));
  HDGModifier second;
  second.deleteNode(effector.node());
  ASSERT_TRUE(succeeded(second.doIt()));
  EXPECT_TRUE(HIkSystem::isDirty(fHandle));
  EXPECT_FALSE(HIkSystem::isDirty(other));
  // The other chain still answers to its own edits, and only to them.
  plug(b, "radius").setValue(2.0);
  EXPECT_TRUE(HIkSystem::isDirty(other));
  ASSERT_TRUE(succeeded(HIkSystem::evaluate()));
  plug(fJoint2, "radius").setValue(2.0);
  EXPECT_FALSE(HIkSystem::isDirty(other));
}

TEST_F(IkEvaluationTest, AShortenedChainNoLongerAnswersToItsOldRoot) {
  ASSERT_TRUE(succeeded(HIkSystem::evaluate()));
  ASSERT_TRUE(succeeded(HFnIkHandle(fHandle).setStartJoint(pathOf(fJoint2))));
  ASSERT_TRUE(succeeded(HIkSystem::evaluate()));
  plug(fJoint1, "radius").setValue(2.0);  // above the chain now, and not a transform change
  EXPECT_FALSE(HIkSystem::isDirty(fHandle));
  plug(fJoint2, "radius").setValue(2.0);
  EXPECT_TRUE(HIkSystem::isDirty(fHandle));
  ASSERT_TRUE(succeeded(HIkSystem::evaluate()));
  HFnTransform(fJoint1).setTranslation(HVector(0, 2, 0), HSpace::kTransform);
  EXPECT_TRUE(HIkSystem::isDirty(fHandle));
}

TEST_F(IkEvaluationTest, HandleGroupHoldsHandlesOnly) {
  HIkHandleGroup group;
  EXPECT_FALSE(succeeded(group.addHandle(fJoint1)));
  ASSERT_TRUE(succeeded(group.addHandle(fHandle)));
  EXPECT_FALSE(succeeded(group.addHandle(fHandle)));
  EXPECT_EQ(group.handleCount(), 1u);
  EXPECT_TRUE(group.handle(1).isNull());
  auto* solver = static_cast<HPxIkSolverNode*>(HFnDependencyNode(fSolver).userNode());
  EXPECT_EQ(solver->solverTypeName(), HString("recordingSolver"));
  EXPECT_EQ(fSolver.apiType(), HFn::kPluginIkSolver);
  EXPECT_TRUE(fSolver.hasFn(HFn::kIkSolver));
}

}  // namespace
