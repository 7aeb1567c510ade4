#pragma once
// The command `veltraRestPose HANDLE`: makes the current pose of the named IK
// handle's chain its rest pose, with undo and redo.

#include <memory>

#include <HArgList.h>
#include <HDGModifier.h>
#include <HDagPath.h>
#include <HPxCommand.h>
#include <HStatus.h>
#include <HString.h>
#include <HSyntax.h>
#include <HVectorArray.h>

class veltraRestPose : public HPxCommand {
 public:
  veltraRestPose();
  ~veltraRestPose() override;

  HStatus doIt(const HArgList& args) override;
  // Both always succeed: a handle that no longer resolves is passed over quietly.
  HStatus undoIt() override;
  HStatus redoIt() override;
  bool isUndoable() const override { return true; }
  bool hasSyntax() const override { return true; }

  static void* creator();
  // One string argument: the IK handle's name.
  static HSyntax newSyntax();

  // The path of the object of that name; empty when the name matches nothing.
  HDagPath ikHandle(const HString& name);

 private:
  // Looked up again by name on every undo and redo; no path is kept.
  HString fHandleName;
  // Set when a redo had to create the rest-pose marker through fModifier.
  bool fCreated = false;
  // Holds the marker's addition, for undo. A redo that must create the marker
  // again starts a fresh modifier, so that it never replays an earlier,
  // undone addition next to the new one.
  std::unique_ptr<HDGModifier> fModifier;
  // The rest pose a redo replaced; after an undo, the one the undo took away.
  HVectorArray fSavedRestPose;
};
