#include <string>
#include <vector>

#include "analytics/worker_gate.h"
#include "engine_test_util.h"

namespace orin {
namespace {

using testing::EnginePtr;
using testing::EngineTest;
using testing::RecordingEngine;

using WorkerTest = EngineTest;

// Long enough for the idle worker to pass its gate a few times. Only ever used to show that
// something did NOT happen, so a slow machine can make such a check weaker, never wrong.
constexpr std::uint32_t kSeveralWorkerPassesMs = 1600;

TEST(WorkerGate, HoldsWhileTheMapIsEmptyOrUIsItsFirstKey) {
  struct Case {
    std::vector<const char*> keys;
    bool holds;
  };
  const Case cases[] = {
      {{}, true},
      {{"u"}, true},
      {{"u", "w"}, true},
      {{"u", "xid", "zz"}, true},
      {{"m", "u"}, false},
      {{"w"}, false},
      {{"m", "o", "w"}, false},
      {{"U", "u"}, false},  // byte order: "U" sorts first
  };
  for (const Case& c : cases) {
    PropertyMap map;
    for (const char* key : c.keys) map[key] = PropertyValue{};
    EXPECT_EQ(WorkerGateHolds(map), c.holds) << c.keys.size() << " keys";
  }
}

TEST_F(WorkerTest, DispatchTableThroughTheQueue) {
  struct Case {
    std::int32_t dispatch;
    bool forceCache;
    bool sendEnabled;
    std::vector<std::string> calls;
  };
  const Case cases[] = {
      {0, false, true, {"store"}},
      {1, false, true, {"submit"}},
      {2, false, true, {"store", "submit_cache"}},
      {-1, false, true, {"store", "submit_cache"}},
      {7, false, true, {"store", "submit_cache"}},
      {1, true, true, {"store"}},
      {2, true, true, {"store"}},
      {1, false, false, {"store"}},
      {2, false, false, {"store"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.dispatch << c.forceCache << c.sendEnabled);
    auto engine = MakeInitialized<RecordingEngine>();
    engine->SetCommonString("m", "app");  // opens the gate
    engine->SetForceCache(c.forceCache);
    engine->SetSendEnabled(c.sendEnabled);
    engine->SetEventIds(5, 6);
    ASSERT_TRUE(engine->PostEvent(c.dispatch));
    EXPECT_TRUE(engine->hasWorkerThread());
    ASSERT_TRUE(engine->WaitForCalls(c.calls.size()));
    EXPECT_TRUE(engine->StopWorker());
    EXPECT_EQ(engine->callNames(), c.calls);
    const auto calls = engine->calls();
    if (calls[0].what == "submit") {
      EXPECT_FALSE(calls[0].wait);  // the worker never waits for the helper
      EXPECT_EQ(calls[0].text.substr(0, 15), "[{\"l\":5,\"m\":\"ap");
    }
  }
}

TEST_F(WorkerTest, EventsLeaveInOrderOfArrivalAndCarryTheirOwnProperties) {
  auto engine = MakeInitialized<RecordingEngine>();
  engine->SetCommonString("m", "app");
  for (std::int32_t i = 1; i <= 3; ++i) {
    engine->SetEventIds(i, 0);
    engine->SetEventString("t", "fixed");
    engine->SetEventDetailInt("i", i);
    ASSERT_TRUE(engine->PostEvent(0));
  }
  ASSERT_TRUE(engine->WaitForCalls(3));
  engine->StopWorker();
  const auto calls = engine->calls();
  const std::string id = engine->commonProperties().at("u").text;
  for (std::int32_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(calls[i - 1].text, "{\"l\":" + std::to_string(i) + ",\"m\":\"app\",\"n\":0,\"p\":{\"i\":" +
                                     std::to_string(i) + "},\"t\":\"fixed\",\"u\":\"" + id + "\"}\n");
  }
  EXPECT_EQ(CachedEvents().size(), 3u);
}

TEST_F(WorkerTest, GateHoldsWhileUIsTheOnlyCommonPropertyAndOpensWithM) {
  auto engine = MakeInitialized<RecordingEngine>();
  ASSERT_EQ(engine->commonProperties().size(), 1u);  // just "u"
  const std::string id = engine->commonProperties().at("u").text;
  ASSERT_TRUE(engine->PostEvent(0));
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_TRUE(engine->calls().empty());
  EXPECT_EQ(engine->queuedCount(), 1u);

  // Replacing the value of "u" changes nothing: the gate looks at the key only.
  engine->SetCommonIntAt(1, 5);
  engine->SetCommonString("w", "after u");
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_TRUE(engine->calls().empty());

  engine->SetCommonString("m", "app");
  ASSERT_TRUE(engine->WaitForCalls(1));
  engine->StopWorker();
  EXPECT_EQ(engine->queuedCount(), 0u);
  // The event keeps the "u" it was posted with.
  EXPECT_NE(engine->calls()[0].text.find("\"u\":\"" + id + "\""), std::string::npos);
}

TEST_F(WorkerTest, StopWorkerTwice) {
  auto engine = MakeInitialized<RecordingEngine>();
  EXPECT_TRUE(engine->StopWorker());  // no worker yet
  ASSERT_TRUE(engine->PostEvent(0));
  EXPECT_TRUE(engine->hasWorkerThread());
  EXPECT_TRUE(engine->StopWorker());
  EXPECT_FALSE(engine->hasWorkerThread());
  EXPECT_TRUE(engine->StopWorker());
  EXPECT_FALSE(engine->hasWorkerThread());
}

TEST_F(WorkerTest, EventsPostedAfterStopAreKeptButNeverDispatched) {
  auto engine = MakeInitialized<RecordingEngine>();
  engine->SetCommonString("m", "app");
  ASSERT_TRUE(engine->PostEvent(0));
  ASSERT_TRUE(engine->WaitForCalls(1));
  engine->StopWorker();

  EXPECT_TRUE(engine->PostEvent(0));
  EXPECT_TRUE(engine->hasWorkerThread());  // a new worker, which leaves at once
  EXPECT_TRUE(engine->PostEvent(1));
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_EQ(engine->calls().size(), 1u);
  EXPECT_EQ(engine->queuedCount(), 2u);
  EXPECT_TRUE(engine->StopWorker());
}

TEST_F(WorkerTest, RequestStopOnlySetsTheFlag) {
  auto engine = MakeInitialized<RecordingEngine>();
  engine->SetCommonString("m", "app");
  engine->RequestStop();
  EXPECT_FALSE(engine->hasWorkerThread());
  EXPECT_TRUE(engine->PostEvent(0));
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_TRUE(engine->calls().empty());
  EXPECT_EQ(engine->queuedCount(), 1u);
}

// The worker reaches the engine's operations through the virtual table, and so does PostEvent.
class CollectSpy : public RecordingEngine {
 public:
  void CollectEvent(EventRecord& record) override {
    RecordingEngine::CollectEvent(record);
    record.properties["spy"] = PropertyValue{kPropertyText, 0, "seen"};
  }
};

TEST_F(WorkerTest, DerivedCollectEventShapesQueuedEvents) {
  auto engine = MakeInitialized<CollectSpy>();
  engine->SetCommonString("m", "app");
  ASSERT_TRUE(engine->PostEvent(0));
  ASSERT_TRUE(engine->WaitForCalls(1));
  engine->StopWorker();
  EXPECT_NE(engine->calls()[0].text.find("\"spy\":\"seen\""), std::string::npos);
}

}  // namespace
}  // namespace orin
