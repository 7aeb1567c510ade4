#pragma once
// Type codes of scene objects, as reported by HObject::apiType and
// HDagPath::apiType.

class HFn {
 public:
  enum Type {
    kInvalid = 0,
    kBase = 1,
    kNamedObject = 2,
    kDependencyNode = 4,
    kAttribute = 5,
    kNumericAttribute = 6,
    kCompoundAttribute = 7,
    kEnumAttribute = 8,
    kTypedAttribute = 9,
    kPluginDependNode = 10,
    kDagNode = 107,
    kWorld = 108,
    kTransform = 110,
    kIkEffector = 119,
    kIkHandle = 120,
    kJoint = 121,
    kIkSolver = 355,
    kPluginIkSolver = 356,
    kPlugin = 600,
  };
};
