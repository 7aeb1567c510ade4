// The shared fixture of the animation tests.

#include "AnimTestUtil.h"

#include "HFnCompoundAttribute.h"
#include "HFnNumericAttribute.h"

namespace animtest {

HStatus RecordingSolver::doSolve() {
  Call call;
  call.preSolved = fPreSolved;
  HIkHandleGroup* group = handleGroup();
  for (unsigned i = 0; group && i < group->handleCount(); ++i)
    call.handles.push_back(group->handle(i));
  calls().push_back(call);
  if (editsDuringSolve() && group && group->handleCount()) {
    // What a solver does on a first solve: mark the handle, store a rest pose,
    // and pose the chain.
    HObject handle = group->handle(0);
    HFnDependencyNode fnHandle(handle);
    if (!fnHandle.hasAttribute("solvedOnce")) {
      HFnNumericAttribute fn;
      fnHandle.addAttribute(fn.create("solvedOnce", "so1", HFnNumericData::kInt, 1.0));
    }
    HFnIkHandle fnIk(handle);
    HDagPath joint;
    fnIk.getStartJoint(joint);
    HFnIkJoint fnJoint(joint);
    double angles[3] = {0.1, 0.2, 0.3};
    fnJoint.setPreferedAngle(angles);
    fnJoint.rotateBy(HQuaternion(0.05, HVector(0, 0, 1)), HSpace::kObject);
  }
  return HStatus(HStatus::kSuccess);
}

void* recordingCreator() {
  return new RecordingSolver();
}

namespace {
HStatus noInit() {
  return HStatus(HStatus::kSuccess);
}
}  // namespace

void IkTest::SetUp() {
  hostdetail::resetScene();
  HIkSystem::setSolvingSuspended(false);
  RecordingSolver::calls().clear();
  RecordingSolver::editsDuringSolve() = false;
  RecordingSolver::snaps() = 0;
  hostdetail::PluginRecord record;
  record.name = "recordingPlugin";
  fPlugin = hostdetail::addPluginRecord(record);
  HFnPlugin fn;
  fn.setObject(fPlugin);
  ASSERT_TRUE(succeeded(fn.registerNode("recordingSolver", HTypeId(kRecordingTypeId),
                                        recordingCreator, noInit, HPxNode::kIkSolverNode)));
  HFnIkJoint fnJoint;
  fJoint1 = fnJoint.create();
  fJoint2 = fnJoint.create(fJoint1);
  fnJoint.setTranslation(HVector(2, 0, 0), HSpace::kTransform);
  fJoint3 = fnJoint.create(fJoint2);
  fnJoint.setTranslation(HVector(2, 0, 0), HSpace::kTransform);
  HFnIkJoint(fJoint2).setRotation(HEulerRotation(0, 0, 0.6));
  HFnIkJoint(fJoint1).setTranslation(HVector(1, 1, 0), HSpace::kTransform);
}

void IkTest::TearDown() {
  hostdetail::resetScene();
  HFnPlugin fn;
  fn.setObject(fPlugin);
  fn.deregisterNode(HTypeId(kRecordingTypeId));
  hostdetail::removePluginRecord(fPlugin);
}

HObject IkTest::makeHandle(bool withSolver) {
  HFnIkHandle fn;
  HStatus status;
  HObject handle = fn.create(pathOf(fJoint1), pathOf(fJoint3), &status);
  EXPECT_TRUE(succeeded(status));
  if (withSolver) {
    HFnDependencyNode fnNode;
    fSolver = fnNode.create("recordingSolver", "", &status);
    EXPECT_TRUE(succeeded(status));
    EXPECT_TRUE(succeeded(fn.setSolver(fSolver)));
  }
  return handle;
}

}  // namespace animtest
