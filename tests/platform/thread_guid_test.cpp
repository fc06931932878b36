#include "platform/guid.h"
#include "platform/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <set>
#include <string>
#include <tuple>

namespace orin::platform {
namespace {

constexpr std::uint32_t kForever = 0xFFFFFFFFu;

struct Gate {
  std::atomic<bool> open{false};
  std::atomic<int> runs{0};
};

unsigned WaitForGate(void* arg) {
  auto* gate = static_cast<Gate*>(arg);
  while (!gate->open.load()) SleepMs(1);
  gate->runs.fetch_add(1);
  return 7;
}

TEST(Threads, TimedWaitSeesTheThreadEnd) {
  Gate gate;
  ThreadHandle t = StartThread(&WaitForGate, &gate);
  ASSERT_NE(t, nullptr);
  EXPECT_FALSE(WaitThread(t, 0));
  EXPECT_FALSE(WaitThread(t, 20));
  gate.open = true;
  EXPECT_TRUE(WaitThread(t, kForever));
  EXPECT_TRUE(WaitThread(t, 0)) << "an ended thread stays ended";
  EXPECT_EQ(gate.runs.load(), 1);
  CloseThread(t);
}

TEST(Threads, ClosingBeforeTheEndLetsTheThreadFinish) {
  // Whichever side lets go last frees the shared state; run many so a race would show.
  static Gate gate;
  for (int i = 0; i < 50; ++i) {
    ThreadHandle t = StartThread(&WaitForGate, &gate);
    ASSERT_NE(t, nullptr);
    CloseThread(t);
  }
  gate.open = true;
  while (gate.runs.load() < 50) SleepMs(1);
  EXPECT_EQ(gate.runs.load(), 50);
  EXPECT_EQ(StartThread(nullptr, nullptr), nullptr);
  EXPECT_FALSE(WaitThread(nullptr, 0));
  CloseThread(nullptr);
}

TEST(Guids, AreRandomVersionFourWithTheStandardVariant) {
  std::set<std::tuple<std::uint32_t, std::uint16_t, std::uint16_t, std::string>> seen;
  for (int i = 0; i < 1000; ++i) {
    Guid g;
    std::memset(&g, 0, sizeof g);
    ASSERT_TRUE(CreateGuid(&g));
    EXPECT_EQ(g.data3 >> 12, 4) << "version nibble";
    EXPECT_EQ(g.data4[0] & 0xC0, 0x80) << "variant bits";
    seen.emplace(g.data1, g.data2, g.data3,
                 std::string(reinterpret_cast<const char*>(g.data4), sizeof g.data4));
  }
  EXPECT_EQ(seen.size(), 1000u);
  EXPECT_FALSE(CreateGuid(nullptr));
}

}  // namespace
}  // namespace orin::platform
