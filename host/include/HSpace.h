#pragma once

// The frame in which a transform operation is expressed. kObject and
// kPreTransform are the same frame: the one after the rotate orientation and
// before the existing rotation.
class HSpace {
 public:
  enum Space {
    kInvalid = 0,
    kTransform = 1,
    kPreTransform = 2,
    kObject = 2,
    kPostTransform = 3,
    kWorld = 4,
    kLast
  };
};
