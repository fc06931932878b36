#include "platform/guid.h"
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>

namespace orin::platform {
namespace {

std::atomic<bool> gOpen{false};
std::atomic<int> gRuns{0};

unsigned WaitForGate(void*) {
  while (!gOpen.load()) SleepMs(1);
  gRuns.fetch_add(1);
  return 7;
}

TEST(Threads, TimedWaitsSeeTheEndAndEarlyCloseIsSafe) {
  ThreadHandle t = StartThread(&WaitForGate, nullptr);
  ASSERT_NE(t, nullptr);
  EXPECT_FALSE(WaitThread(t, 0));
  EXPECT_FALSE(WaitThread(t, 20));
  // Handles closed while their threads still run: whichever side lets go last frees the state.
  for (int i = 0; i < 50; ++i) {
    ThreadHandle early = StartThread(&WaitForGate, nullptr);
    ASSERT_NE(early, nullptr);
    CloseThread(early);
  }
  gOpen = true;
  EXPECT_TRUE(WaitThread(t, 0xFFFFFFFFu));
  EXPECT_TRUE(WaitThread(t, 0)) << "an ended thread stays ended";
  CloseThread(t);
  while (gRuns.load() < 51) SleepMs(1);
  EXPECT_EQ(gRuns.load(), 51);
  EXPECT_EQ(StartThread(nullptr, nullptr), nullptr);
  EXPECT_FALSE(WaitThread(nullptr, 0));
}

TEST(Guids, AreRandomVersionFourWithTheStandardVariant) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    Guid g{};
    ASSERT_TRUE(CreateGuid(&g));
    EXPECT_EQ(g.data3 >> 12, 4) << "version nibble";
    EXPECT_EQ(g.data4[0] & 0xC0, 0x80) << "variant bits";
    seen.insert(std::to_string(g.data1) + "-" + std::to_string(g.data2) + "-" +
                std::to_string(g.data3) + "-" + std::string(g.data4, g.data4 + 8));
  }
  EXPECT_EQ(seen.size(), 1000u);
  EXPECT_FALSE(CreateGuid(nullptr));
}

}  // namespace
}  // namespace orin::platform
