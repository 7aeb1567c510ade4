// Scene messages around new, open and save, and callback removal.

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "HFileIO.h"
#include "HSceneMessage.h"
#include "HostshTestUtil.h"

using namespace hostshtest;

namespace {

std::vector<int>& received() {
  static std::vector<int> messages;
  return messages;
}

void record(void* data) {
  received().push_back(*static_cast<int*>(data));
}

class MessagesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    resetProbe();
    received().clear();
    for (int code = HSceneMessage::kBeforeNew; code < HSceneMessage::kLast; ++code) {
      fCodes.push_back(code);
    }
    for (size_t i = 0; i < fCodes.size(); ++i) {
      HStatus status;
      fIds.push_back(HSceneMessage::addCallback(HSceneMessage::Message(fCodes[i]), record,
                                                &fCodes[i], &status));
      ASSERT_TRUE(succeeded(status));
      ASSERT_NE(fIds.back(), 0u);
    }
  }
  void TearDown() override {
    for (HCallbackId id : fIds)
      EXPECT_TRUE(succeeded(HMessage::removeCallback(id)));
  }
  std::string tempFile(const char* tag) {
    return ::testing::TempDir() + "messages_" + tag + std::to_string(getpid()) + ".hsa";
  }
  std::vector<int> fCodes;
  std::vector<HCallbackId> fIds;
};

TEST_F(MessagesTest, NewOpenAndSaveAreBracketed) {
  ASSERT_TRUE(succeeded(run("file -new")));
  EXPECT_EQ(received(), (std::vector<int>{1, 2}));
  const std::string path = tempFile("bracket");
  received().clear();
  ASSERT_TRUE(succeeded(run("file -save \"" + path + "\"")));
  EXPECT_EQ(received(), (std::vector<int>{7, 8}));
  received().clear();
  ASSERT_TRUE(succeeded(run("file -open \"" + path + "\"")));
  EXPECT_EQ(received(), (std::vector<int>{5, 6}));
  EXPECT_EQ(HFileIO::currentFile(), path);
  std::remove(path.c_str());
}

TEST_F(MessagesTest, AFileThatCannotBeReadSendsNothing) {
  Capture capture;
  EXPECT_FALSE(succeeded(run("file -open /nonexistent/scene.hsa")));
  EXPECT_TRUE(received().empty());
  // One that fails part-way announced the open but never completes it.
  const std::string path = tempFile("bad");
  std::ofstream(path) << "noSuchCommand\n";
  EXPECT_FALSE(succeeded(run("file -open \"" + path + "\"")));
  EXPECT_EQ(received(), std::vector<int>{5});
  std::remove(path.c_str());
}

TEST_F(MessagesTest, RemovingUnknownIdsFails) {
  EXPECT_FALSE(succeeded(HMessage::removeCallback(0)));
  EXPECT_FALSE(succeeded(HMessage::removeCallback(0xfffffffffull)));
  HStatus status;
  const HCallbackId id =
      HSceneMessage::addCallback(HSceneMessage::kAfterNew, record, &fCodes[0], &status);
  ASSERT_TRUE(succeeded(status));
  EXPECT_TRUE(succeeded(HMessage::removeCallback(id)));
  EXPECT_FALSE(succeeded(HMessage::removeCallback(id)));  // only once
  EXPECT_EQ(HSceneMessage::addCallback(HSceneMessage::kAfterNew, nullptr, nullptr, &status), 0u);
  EXPECT_FALSE(succeeded(status));
  EXPECT_EQ(HSceneMessage::addCallback(HSceneMessage::kLast, record, nullptr, &status), 0u);
  EXPECT_FALSE(succeeded(status));
}

// A callback may remove itself and others while a message is being sent.
HCallbackId gSelf = 0;
HCallbackId gOther = 0;
int gSelfCalls = 0;
void removeBoth(void*) {
  ++gSelfCalls;
  HMessage::removeCallback(gSelf);
  HMessage::removeCallback(gOther);
}
void neverCalled(void*) {
  ADD_FAILURE() << "a removed callback ran";
}

TEST_F(MessagesTest, CallbacksMayRemoveCallbacksDuringASend) {
  gSelf = HSceneMessage::addCallback(HSceneMessage::kAfterNew, removeBoth);
  gOther = HSceneMessage::addCallback(HSceneMessage::kAfterNew, neverCalled);
  ASSERT_TRUE(succeeded(run("file -new; file -new")));
  EXPECT_EQ(gSelfCalls, 1);
  EXPECT_EQ(received(), (std::vector<int>{1, 2, 1, 2}));
}

}  // namespace
