#pragma once
#include "HMessage.h"

// Callbacks around scene-wide events.
class HSceneMessage : public HMessage {
 public:
  enum Message {
    kBeforeNew = 1,
    kAfterNew = 2,
    kBeforeImport = 3,
    kAfterImport = 4,
    kBeforeOpen = 5,
    kAfterOpen = 6,
    kBeforeSave = 7,
    kAfterSave = 8,
    kLast
  };
  using HBasicFunction = void (*)(void* clientData);

  // Installs a callback and returns its id (never 0; 0 on failure).
  static HCallbackId addCallback(Message message, HBasicFunction function,
                                 void* clientData = nullptr, HStatus* status = nullptr);
  // Host internal: runs every callback installed for the message, oldest first.
  static void hostSend(Message message);
};
