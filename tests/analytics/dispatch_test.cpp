// Where events go: ReportNow on the caller's thread, PostEvent through the queue and the worker,
// and the engine's lifetime.
#include "analytics/worker_gate.h"
#include "engine_test_util.h"

namespace orin {
namespace {

using testing::EnginePtr;
using testing::RecordingEngine;
using Names = std::vector<std::string>;

// Only ever used to show that something did NOT happen: a slow machine can make such a check
// weaker, never wrong.
constexpr std::uint32_t kSeveralWorkerPassesMs = 1600;

class DispatchTest : public testing::EngineTest {};

TEST_F(DispatchTest, ReportNowAndTheWorkerFollowTheDispatchTable) {
  const struct {
    std::int32_t dispatch;  // for ReportNow: 0 is cacheOnly true, 1 is false
    bool forceCache, sendEnabled;
    Names calls;
  } cases[] = {
      {0, false, true, {"store"}},  {1, false, true, {"submit"}},
      {2, false, true, {"store", "submit_cache"}}, {-1, false, true, {"store", "submit_cache"}},
      {7, false, true, {"store", "submit_cache"}}, {1, true, true, {"store"}},
      {2, true, true, {"store"}},   {1, false, false, {"store"}}, {2, false, false, {"store"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.dispatch << c.forceCache << c.sendEnabled);
    auto e = MakeInitialized<RecordingEngine>();
    e->SetCommonString("m", "app");  // opens the worker's gate
    e->SetForceCache(c.forceCache);
    e->SetSendEnabled(c.sendEnabled);
    if (c.dispatch == 0 || c.dispatch == 1) {
      e->SetEventIds(5, 6);
      // A send returns false even though the helper was launched.
      EXPECT_EQ(e->ReportNow(c.dispatch == 0), c.calls[0] == "store");
      EXPECT_EQ(e->callNames(), c.calls);
      EXPECT_EQ(e->calls()[0].wait, c.calls[0] == "submit");
    }
    const std::size_t before = e->calls().size();
    e->SetEventIds(5, 6);
    ASSERT_TRUE(e->PostEvent(c.dispatch));
    ASSERT_TRUE(e->WaitForCalls(before + c.calls.size()));
    e->StopWorker();
    EXPECT_EQ(e->callNames(before), c.calls);
    EXPECT_FALSE(e->calls()[before].wait);  // the worker never waits
  }
}

TEST_F(DispatchTest, SentAndCachedEventsCarryTheirJson) {
  auto e = MakeInitialized<RecordingEngine>();
  const std::string u = "\"u\":\"" + e->commonProperties().at("u").text + "\"";
  e->SetCommonInt("w", 10);
  for (bool cacheOnly : {false, true}) {
    e->SetEventIds(3, 12);
    e->SetEventInt("t", 1700000000);
    e->SetEventDetailInt64("size", 5);
    e->ReportNow(cacheOnly);
  }
  // A typical event, byte for byte.
  const std::string event = "{\"l\":3,\"n\":12,\"p\":{\"size\":5},\"t\":1700000000," + u + ",\"w\":10}";
  EXPECT_EQ(e->calls()[0].text, "[" + event + "]\n");
  EXPECT_EQ(CachedEvents(), "[" + event + "]\n");
  // A cache that cannot be written makes ReportNow(true) false, and the event is gone.
  e->SetCacheAndAddress(dir.File("none") + platform::kPathSep + "c.dat", "");
  e->SetEventIds(1, 1);
  EXPECT_FALSE(e->ReportNow(true));
  EXPECT_TRUE(e->eventProperties().empty());
}

TEST(WorkerGate, HoldsWhileTheMapIsEmptyOrUIsItsFirstKey) {
  const std::pair<Names, bool> cases[] = {{{}, true},          {{"u"}, true},  {{"u", "w", "xid"}, true},
                                          {{"m", "u"}, false}, {{"w"}, false}, {{"U", "u"}, false}};
  for (const auto& c : cases) {
    PropertyMap map;
    for (const std::string& key : c.first) map[key] = PropertyValue{};
    EXPECT_EQ(WorkerGateHolds(map), c.second) << c.first.size() << " keys";
  }
}

TEST_F(DispatchTest, WorkerWaitsWhileUIsTheFirstCommonKeyAndKeepsTheOrder) {
  auto e = MakeInitialized<RecordingEngine>();
  const std::string u = e->commonProperties().at("u").text;
  for (std::int32_t i = 1; i <= 3; ++i) {
    e->SetEventIds(i, 0);
    e->SetEventString("t", "x");
    ASSERT_TRUE(e->PostEvent(0));
  }
  platform::SleepMs(kSeveralWorkerPassesMs);
  e->SetCommonIntAt(1, 5);  // the gate looks at the key only, not its value
  e->SetCommonString("w", "after u");
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_TRUE(e->calls().empty());
  EXPECT_EQ(e->queuedCount(), 3u);

  e->SetCommonString("m", "app");
  ASSERT_TRUE(e->WaitForCalls(3));
  e->StopWorker();
  // Each event keeps what it was posted with.
  for (std::int32_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(e->calls()[i - 1].text,
              "{\"l\":" + std::to_string(i) + ",\"n\":0,\"t\":\"x\",\"u\":\"" + u + "\"}\n");
  }
}

TEST_F(DispatchTest, StoppedWorkerLeavesLaterEventsQueued) {
  auto e = MakeInitialized<RecordingEngine>();
  e->SetCommonString("m", "app");
  EXPECT_TRUE(e->StopWorker());  // no worker yet
  ASSERT_TRUE(e->PostEvent(0));
  ASSERT_TRUE(e->WaitForCalls(1));
  EXPECT_TRUE(e->StopWorker());
  EXPECT_FALSE(e->hasWorkerThread());
  EXPECT_TRUE(e->StopWorker());
  // The stop flag stays: a new worker starts and leaves at once.
  EXPECT_TRUE(e->PostEvent(0));
  EXPECT_TRUE(e->hasWorkerThread());
  EXPECT_TRUE(e->PostEvent(1));
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_EQ(e->calls().size(), 1u);
  EXPECT_EQ(e->queuedCount(), 2u);
}

TEST(Lifecycle, NothingLeavesBeforeInitialization) {
  EnginePtr<RecordingEngine> e(new RecordingEngine);
  e->SetEventIds(3, 4);
  EXPECT_FALSE(e->ReportNow(true) || e->ReportNow(false) || e->PostEvent(0));
  EXPECT_FALSE(e->hasWorkerThread());
  EXPECT_EQ(e->pendingL(), 3);  // the pending event is untouched
  EXPECT_TRUE(e->calls().empty());
}

TEST(Lifecycle, ProcessEngineIsStaticAndReleaseLeavesItAlone) {
  IQuillAnalyze* engine = GetAnalyzeEngine();
  engine->Release();  // deleting a static object would abort here
  EXPECT_EQ(GetAnalyzeEngine(), engine);
  EXPECT_EQ(engine->GetLastErrorCode(), 0);
}

class CountedEngine : public CQuillAnalyze {
 public:
  explicit CountedEngine(int& destroyed) : destroyed_(destroyed) {}
  ~CountedEngine() override { ++destroyed_; }
  int& destroyed_;
};

TEST(Lifecycle, ReleaseDeletesAHeapEngineThroughItsVirtualDestructor) {
  int destroyed = 0;
  IQuillAnalyze* engine = new CountedEngine(destroyed);
  engine->Release();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
}  // namespace orin
