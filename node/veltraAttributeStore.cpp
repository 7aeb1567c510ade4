// Generic access to named attributes on the node behind an IK handle path:
// vector compounds, scalar arrays and vector arrays. Nothing is cached; every
// call builds its function set and plug afresh. The status of each host call
// that is given a status replaces the result, so the last such call decides.

#include <HDGContext.h>
#include <HFnDependencyNode.h>
#include <HPlug.h>

#include "veltraData.h"

namespace veltraData {

namespace {

// The plug of a named attribute, with the lookup's status. A missing attribute
// still yields a (null) plug, whose shape tests then fail.
HPlug findAttributePlug(const HDagPath& handle, const HString& name, HStatus& status) {
  const HObject node = handle.node();
  HFnDependencyNode fnNode(node);
  const HObject attribute = fnNode.attribute(name, &status);
  return HPlug(node, attribute);
}

template <class Array>
HStatus readScalarArray(const HDagPath& handle, const HString& name, Array& values) {
  HStatus result;
  const unsigned count = values.length();
  const HPlug plug = findAttributePlug(handle, name, result);
  if (!plug.isArray()) {
    return HStatus(HStatus::kFailure);
  }
  for (unsigned i = 0; i < count; ++i) {
    const HPlug element = plug.elementByLogicalIndex(i, &result);
    result = element.getValue(values[i], HDGContext::fsNormal);
  }
  return result;
}

template <class Array>
HStatus writeScalarArray(const HDagPath& handle, const HString& name, const Array& values) {
  HStatus result;
  const unsigned count = values.length();
  const HPlug plug = findAttributePlug(handle, name, result);
  if (!plug.isArray()) {
    return HStatus(HStatus::kFailure);
  }
  for (unsigned i = 0; i < count; ++i) {
    const HPlug element = plug.elementByLogicalIndex(i, &result);
    result = element.setValue(values[i]);
  }
  return result;
}

}  // namespace

bool attributeExists(const HDagPath& handle, const HString& name) {
  HStatus status;
  HFnDependencyNode fnNode(handle.node());
  fnNode.attribute(name, &status);
  return status == HStatus::kSuccess;
}

HStatus getCompAttr(const HDagPath& handle, const HString& name, HVector& value) {
  HStatus result;
  const HPlug plug = findAttributePlug(handle, name, result);
  if (plug.isCompound()) {
    for (unsigned i = 0; i < 3; ++i) {
      const HPlug component = plug.child(i, &result);
      result = component.getValue(value[i], HDGContext::fsNormal);
    }
  }
  return result;
}

HStatus setCompAttr(const HDagPath& handle, const HString& name, const HVector& value) {
  HStatus result;
  const HObject node = handle.node();
  HFnDependencyNode fnNode(node, &result);
  const HObject attribute = fnNode.attribute(name, &result);
  const HPlug plug(node, attribute);
  for (unsigned i = 0; i < 3; ++i) {
    if (!plug.isCompound()) {
      return HStatus(HStatus::kFailure);
    }
    const HPlug component = plug.child(i, &result);
    // The write's own status is deliberately not taken: the result reports
    // whether the attribute and its components were found.
    component.setValue(value[i]);
  }
  return result;
}

HStatus getArrayAttr(const HDagPath& handle, const HString& name, HIntArray& values) {
  return readScalarArray(handle, name, values);
}

HStatus getArrayAttr(const HDagPath& handle, const HString& name, HDoubleArray& values) {
  return readScalarArray(handle, name, values);
}

HStatus setArrayAttr(const HDagPath& handle, const HString& name, const HIntArray& values) {
  return writeScalarArray(handle, name, values);
}

HStatus setArrayAttr(const HDagPath& handle, const HString& name, const HDoubleArray& values) {
  return writeScalarArray(handle, name, values);
}

HStatus getArrayCompAttr(const HDagPath& handle, const HString& name, HVectorArray& values) {
  HStatus result;
  const unsigned count = values.length();
  const HPlug plug = findAttributePlug(handle, name, result);
  if (!plug.isArray()) {
    return HStatus(HStatus::kFailure);
  }
  for (unsigned i = 0; i < count; ++i) {
    const HPlug element = plug.elementByLogicalIndex(i, &result);
    if (!element.isCompound()) {
      // A malformed element fails this element only; later good elements
      // decide the final result.
      result = HStatus(HStatus::kFailure);
      continue;
    }
    for (unsigned c = 0; c < 3; ++c) {
      result = element.child(c).getValue(values[i][c], HDGContext::fsNormal);
    }
  }
  return result;
}

HStatus setArrayCompAttr(const HDagPath& handle, const HString& name, const HVectorArray& values) {
  HStatus result;
  const unsigned count = values.length();
  const HPlug plug = findAttributePlug(handle, name, result);
  if (!plug.isArray()) {
    return HStatus(HStatus::kFailure);
  }
  for (unsigned i = 0; i < count; ++i) {
    const HPlug element = plug.elementByLogicalIndex(i, &result);
    if (!element.isCompound()) {
      result = HStatus(HStatus::kFailure);
      continue;
    }
    for (unsigned c = 0; c < 3; ++c) {
      result = element.child(c).setValue(values[i][c]);
    }
  }
  return result;
}

HStatus addHandleAttribute(const HDagPath& handle, const HObject& attribute,
                           HDGModifier* modifier) {
  const HObject node = handle.node();
  if (modifier != nullptr) {
    const HStatus status =
        modifier->addAttribute(node, attribute, HFnDependencyNode::kLocalDynamicAttr);
    if (status != HStatus::kSuccess) {
      return status;
    }
    return modifier->doIt();
  }
  HFnDependencyNode fnNode(node);
  return fnNode.addAttribute(attribute, HFnDependencyNode::kLocalDynamicAttr);
}

}  // namespace veltraData
