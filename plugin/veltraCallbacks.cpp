// Scene callbacks that keep a solver node named "veltra" in every new or
// opened scene, so that scripts and rigs can name it as their solver.

#include <HGlobal.h>
#include <HSceneMessage.h>
#include <HSelectionList.h>

#include "veltraCallbacks.h"

HCallbackId veltraCallbacks::fAfterNewId = 0;
HCallbackId veltraCallbacks::fAfterOpenId = 0;
bool veltraCallbacks::fCallbacksInstalled = false;

namespace {
const char* const kCreateCommand = "createNode -n veltra veltra";

// Creates the node without disturbing the user's selection, which the
// creation would otherwise replace. Failures go unreported: a callback has no
// one to report to.
void createPreservingSelection(HSelectionList& saved) {
  HGlobal::getActiveSelectionList(saved, false);
  HGlobal::executeCommand(kCreateCommand, false, false);
  HGlobal::setActiveSelectionList(saved, HGlobal::kReplaceList);
}
}  // namespace

veltraCallbacks::veltraCallbacks() = default;

veltraCallbacks::~veltraCallbacks() = default;

void* veltraCallbacks::creator() {
  return new veltraCallbacks();
}

HStatus veltraCallbacks::doIt(const HArgList& args) {
  (void)args;
  if (!fCallbacksInstalled) {
    fAfterNewId = HSceneMessage::addCallback(HSceneMessage::kAfterNew, createVeltraAfterNew);
    fAfterOpenId = HSceneMessage::addCallback(HSceneMessage::kAfterOpen, createVeltraAfterOpen);
    fCallbacksInstalled = true;
  }
  return HStatus(HStatus::kSuccess);
}

HStatus veltraCallbacks::removeCallbacks() {
  if (!fCallbacksInstalled) {
    return HStatus(HStatus::kSuccess);
  }
  HStatus status = HMessage::removeCallback(fAfterNewId);
  if (status != HStatus::kSuccess) {
    return status;
  }
  status = HMessage::removeCallback(fAfterOpenId);
  if (status == HStatus::kSuccess) {
    // Nothing is installed any more: a later removal (an unload retried after a
    // failed deregistration) must not try to remove these ids again, and a
    // later run of the command must install afresh.
    fAfterNewId = 0;
    fAfterOpenId = 0;
    fCallbacksInstalled = false;
  }
  return status;
}

void veltraCallbacks::createVeltraAfterNew(void* clientData) {
  (void)clientData;
  // A new scene is empty, so the node is always created.
  HSelectionList saved;
  createPreservingSelection(saved);
}

void veltraCallbacks::createVeltraAfterOpen(void* clientData) {
  (void)clientData;
  // Any object already named "veltra" counts, whatever its type: the scene
  // either has the solver or a name clash the user made on purpose.
  HSelectionList list;
  HGlobal::getSelectionListByName("veltra", list);
  if (list.length() > 0) {
    return;
  }
  createPreservingSelection(list);
}
