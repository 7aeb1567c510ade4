#pragma once
// The command `veltraCallbacks`: installs scene callbacks that give every new
// or opened scene a solver node named "veltra". Not undoable; running it again
// changes nothing.

#include <HArgList.h>
#include <HMessage.h>
#include <HPxCommand.h>
#include <HStatus.h>

class veltraCallbacks : public HPxCommand {
 public:
  veltraCallbacks();
  ~veltraCallbacks() override;

  // Installs both callbacks once; always succeeds.
  HStatus doIt(const HArgList& args) override;

  static void* creator();
  // Removes the installed callbacks; success when none were installed.
  static HStatus removeCallbacks();
  static void createVeltraAfterNew(void* clientData);
  static void createVeltraAfterOpen(void* clientData);

  static HCallbackId fAfterNewId;
  static HCallbackId fAfterOpenId;
  static bool fCallbacksInstalled;
};
