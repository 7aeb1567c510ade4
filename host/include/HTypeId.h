#pragma once
// The unique numeric id of a node type.
class HTypeId {
 public:
  HTypeId() = default;
  explicit HTypeId(unsigned int id) : fId(id) {}
  unsigned int id() const { return fId; }
  bool operator==(const HTypeId& other) const { return fId == other.fId; }
  bool operator!=(const HTypeId& other) const { return fId != other.fId; }

 private:
  unsigned int fId = 0;
};
