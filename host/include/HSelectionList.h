#pragma once
#include <vector>

#include "HDagPath.h"
#include "HObject.h"
#include "HStatus.h"
#include "HString.h"
#include "HStringArray.h"

// An ordered list of nodes without duplicates. Entries whose node has been
// deleted are skipped: length and indices count live entries only.
class HSelectionList {
 public:
  enum MergeStrategy { kMergeNormal = 0, kXORWithList = 1, kRemoveFromList = 2 };

  HSelectionList() = default;

  // Adds every node whose name matches (a name with * and ? wildcards, or a
  // "|a|b" path), in creation order; fails with kInvalidParameter when
  // nothing matches. Wildcards do not apply inside paths.
  HStatus add(const HString& matchString, bool searchChildNamespacesToo = false);
  HStatus add(const HObject& node, bool mergeWithExisting = true);
  HStatus add(const HDagPath& path, bool mergeWithExisting = true);
  HStatus remove(unsigned index);
  HStatus clear();
  unsigned length(HStatus* status = nullptr) const;
  bool isEmpty(HStatus* status = nullptr) const;
  bool hasItem(const HObject& node, HStatus* status = nullptr) const;
  HStatus getDependNode(unsigned index, HObject& node) const;
  // Fails when the entry is not a DAG node.
  HStatus getDagPath(unsigned index, HDagPath& path,
                     HObject& component = const_cast<HObject&>(HObject::kNullObj)) const;
  HStatus getSelectionStrings(HStringArray& names) const;
  bool operator==(const HSelectionList& other) const { return fItems == other.fItems; }

 private:
  std::vector<HObject> fItems;
};
