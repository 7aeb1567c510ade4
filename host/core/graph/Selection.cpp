// HSelectionList and the active selection of HGlobal.
//
// Lists hold node objects; entries whose node has been deleted are skipped by
// every query, so indices count live entries only.

#include <algorithm>

#include "HGlobal.h"
#include "HSelectionList.h"
#include "Node.h"

using namespace hostdetail;

namespace {

HSelectionList& activeList() {
  static auto* list = new HSelectionList();
  return *list;
}

// '*' matches any run of characters, '?' any one character.
bool wildcardMatch(const char* pattern, const char* text) {
  const char* star = nullptr;
  const char* resume = nullptr;
  while (*text) {
    if (*pattern == '?' || *pattern == *text) {
      ++pattern;
      ++text;
    } else if (*pattern == '*') {
      star = pattern++;
      resume = text;
    } else if (star) {
      pattern = star + 1;
      text = ++resume;
    } else {
      return false;
    }
  }
  while (*pattern == '*')
    ++pattern;
  return *pattern == '\0';
}

}  // namespace

namespace hostdetail {
void clearActiveSelection() {
  activeList().clear();
}
}  // namespace hostdetail

namespace {
// The stored position of the index-th live entry, or -1.
long livePosition(const std::vector<HObject>& items, unsigned index) {
  unsigned seen = 0;
  for (size_t i = 0; i < items.size(); ++i) {
    if (!nodeOf(items[i]))
      continue;
    if (seen++ == index)
      return long(i);
  }
  return -1;
}
}  // namespace

HStatus HSelectionList::add(const HString& matchString, bool) {
  const std::string& pattern = matchString.asStdString();
  std::vector<HObject> matches;
  if (pattern.find_first_of("*?") != std::string::npos) {
    if (pattern.find('|') == std::string::npos) {
      for (const HObject& node : nodesInCreationOrder()) {
        if (wildcardMatch(pattern.c_str(), nodeName(node).c_str()))
          matches.push_back(node);
      }
    }
  } else {
    HObject node = findNode(pattern);
    if (!node.isNull())
      matches.push_back(node);
  }
  if (matches.empty())
    return invalid("No object matches the name");
  for (const HObject& node : matches)
    add(node);
  return ok();
}

HStatus HSelectionList::add(const HObject& node, bool) {
  if (!nodeOf(node))
    return invalid("Object is not a node");
  if (!hasItem(node))
    fItems.push_back(node);
  return ok();
}

HStatus HSelectionList::add(const HDagPath& path, bool mergeWithExisting) {
  return add(path.node(), mergeWithExisting);
}

HStatus HSelectionList::remove(unsigned index) {
  long position = livePosition(fItems, index);
  if (position < 0)
    return invalid("Index out of range");
  fItems.erase(fItems.begin() + position);
  return ok();
}

HStatus HSelectionList::clear() {
  fItems.clear();
  return ok();
}

unsigned HSelectionList::length(HStatus* status) const {
  setOk(status);
  return unsigned(std::count_if(fItems.begin(), fItems.end(),
                                [](const HObject& o) { return nodeOf(o) != nullptr; }));
}

bool HSelectionList::isEmpty(HStatus* status) const {
  return length(status) == 0;
}

bool HSelectionList::hasItem(const HObject& node, HStatus* status) const {
  setOk(status);
  if (!nodeOf(node))
    return false;
  return std::find(fItems.begin(), fItems.end(), node) != fItems.end();
}

HStatus HSelectionList::getDependNode(unsigned index, HObject& node) const {
  long position = livePosition(fItems, index);
  if (position < 0)
    return invalid("Index out of range");
  node = fItems[size_t(position)];
  return ok();
}

HStatus HSelectionList::getDagPath(unsigned index, HDagPath& path, HObject&) const {
  long position = livePosition(fItems, index);
  if (position < 0)
    return invalid("Index out of range");
  return HDagPath::getAPathTo(fItems[size_t(position)], path);
}

HStatus HSelectionList::getSelectionStrings(HStringArray& names) const {
  names.clear();
  for (const HObject& item : fItems) {
    if (nodeOf(item))
      names.append(HString(nodeName(item)));
  }
  return ok();
}

// ---------------------------------------------------------------------------
// HGlobal

HStatus HGlobal::getActiveSelectionList(HSelectionList& list, bool) {
  list = activeList();
  return ok();
}

HStatus HGlobal::setActiveSelectionList(const HSelectionList& list, ListAdjustment adjustment) {
  HSelectionList& active = activeList();
  if (adjustment == kReplaceList) {
    active = list;
    return ok();
  }
  for (unsigned i = 0; i < list.length(); ++i) {
    HObject node;
    list.getDependNode(i, node);
    bool present = active.hasItem(node);
    if (adjustment == kAddToList || (adjustment == kXORWithList && !present)) {
      active.add(node);
    } else if (present && (adjustment == kRemoveFromList || adjustment == kXORWithList)) {
      for (unsigned j = 0; j < active.length(); ++j) {
        HObject other;
        active.getDependNode(j, other);
        if (other == node) {
          active.remove(j);
          break;
        }
      }
    }
  }
  return ok();
}

HStatus HGlobal::getSelectionListByName(const HString& name, HSelectionList& list) {
  return list.add(name);
}

HStatus HGlobal::clearSelectionList() {
  activeList().clear();
  return ok();
}
