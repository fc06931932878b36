// Events: the setters, the merge into a record, the time stamp and the JSON text; then where they
// go: ReportNow on the caller's thread, PostEvent through the queue and the worker.
#include <ctime>

#include "analytics/worker_gate.h"
#include "engine_test_util.h"
#include "platform/process.h"

namespace orin {
namespace {

using testing::RecordingEngine;
using Names = std::vector<std::string>;
using DispatchTest = testing::EngineTest;

// Only shows that something did NOT happen: a slow machine weakens such a check, never breaks it.
constexpr std::uint32_t kSeveralWorkerPassesMs = 1600;

TEST(EventJson, MembersInByteOrderWithNumbersCutToTheirLow32BitsSigned) {
  EventRecord r;
  r.l = -1;
  // Text ignores the number, an unknown kind writes nothing, and without details there is no "p".
  r.properties = {{"Z", {kPropertyInt, 4294967301LL, ""}}, {"b", {kPropertyText, 7, "seven"}},
                  {"c", {9, 7, "x"}}, {"d", {kPropertyInt64, 2147483648LL, ""}},
                  {"e", {kPropertyInt64, -4294967296LL, ""}}};
  EXPECT_EQ(ToFastText(BuildEventJson(r)),
            "{\"Z\":5,\"b\":\"seven\",\"d\":-2147483648,\"e\":0,\"l\":-1,\"n\":0}\n");
  // Properties named "l", "n" or "p" overwrite what was written under that name; details win "p".
  r.properties = {{"l", {kPropertyText, 0, "ell"}}, {"n", {kPropertyInt, 99, ""}},
                  {"p", {kPropertyText, 0, "q"}}};
  EXPECT_EQ(ToFastText(BuildEventJson(r)), "{\"l\":\"ell\",\"n\":99,\"p\":\"q\"}\n");
  r.details["k"] = {kPropertyInt64, 4294967301LL, ""};
  EXPECT_EQ(ToFastText(BuildEventJson(r)), "{\"l\":\"ell\",\"n\":99,\"p\":{\"k\":5}}\n");
}

// The index forms must reach the key forms through the virtual table.
class KeyFormSpy : public CQuillAnalyze {
 public:
  void SetEventInt(std::string key, std::int32_t value) override {
    seen += key + " ";
    CQuillAnalyze::SetEventInt(key, value);
  }
  std::string seen;
};

// Every setter writes one entry of its kind into its own map; the index forms name their key
// through the short-key table, whose ends name nothing.
TEST(Intake, EverySetterWritesItsMapWithItsKindAndIndexFormsUseTheShortKeyTable) {
  enum Map { kCommon, kEvent, kCommonDetail, kEventDetail };
  const std::int64_t big = 4294967301LL;
  using E = CQuillAnalyze;
  const struct {
    void (*set)(E&);
    Map map;
    const char* key;
    PropertyValue value;
  } cases[] = {
      {[](E& e) { e.SetCommonString("k", "v"); }, kCommon, "k", {kPropertyText, 0, "v"}},
      {[](E& e) { e.SetCommonInt64("k", 4294967301LL); }, kCommon, "k", {kPropertyInt64, big, ""}},
      {[](E& e) { e.SetCommonInt("k", -3); }, kCommon, "k", {kPropertyInt, -3, ""}},
      {[](E& e) { e.SetEventString("k", "v"); }, kEvent, "k", {kPropertyText, 0, "v"}},
      {[](E& e) { e.SetEventInt64("k", 4294967301LL); }, kEvent, "k", {kPropertyInt64, big, ""}},
      {[](E& e) { e.SetEventInt("k", -3); }, kEvent, "k", {kPropertyInt, -3, ""}},
      {[](E& e) { e.SetCommonDetailString("k", "v"); }, kCommonDetail, "k", {kPropertyText, 0, "v"}},
      {[](E& e) { e.SetCommonDetailInt64("k", 4294967301LL); }, kCommonDetail, "k", {kPropertyInt64, big, ""}},
      // This setter has always stored kind 1.
      {[](E& e) { e.SetCommonDetailInt("k", -3); }, kCommonDetail, "k", {kPropertyInt64, -3, ""}},
      {[](E& e) { e.SetEventDetailString("k", "v"); }, kEventDetail, "k", {kPropertyText, 0, "v"}},
      {[](E& e) { e.SetEventDetailInt64("k", 4294967301LL); }, kEventDetail, "k", {kPropertyInt64, big, ""}},
      {[](E& e) { e.SetEventDetailInt("k", -3); }, kEventDetail, "k", {kPropertyInt, -3, ""}},
      {[](E& e) { e.SetCommonStringAt(0, "v"); }, kCommon, "m", {kPropertyText, 0, "v"}},
      {[](E& e) { e.SetCommonInt64At(4, 4294967301LL); }, kCommon, "re", {kPropertyInt64, big, ""}},
      {[](E& e) { e.SetCommonIntAt(15, -3); }, kCommon, "p", {kPropertyInt, -3, ""}},
      {[](E& e) { e.SetEventStringAt(11, "v"); }, kEvent, "c", {kPropertyText, 0, "v"}},
      {[](E& e) { e.SetEventInt64At(5, 4294967301LL); }, kEvent, "v", {kPropertyInt64, big, ""}},
      {[](E& e) { e.SetEventIntAt(14, -3); }, kEvent, "t", {kPropertyInt, -3, ""}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << "map " << c.map << ", key " << c.key);
    E e;
    c.set(e);
    const PropertyMap* maps[] = {&e.commonProperties(), &e.eventProperties(), &e.commonDetails(),
                                 &e.eventDetails()};
    for (int m = 0; m < 4; ++m) ASSERT_EQ(maps[m]->size(), m == c.map ? 1u : 0u) << m;
    const auto& [key, value] = *maps[c.map]->begin();
    EXPECT_EQ(key, c.key);
    EXPECT_EQ(value.kind, c.value.kind);
    EXPECT_EQ(value.number, c.value.number);
    EXPECT_EQ(value.text, c.value.text);
  }
  KeyFormSpy spy;
  for (std::int32_t i = -1; i <= 16; ++i) spy.SetEventIntAt(i, i);  // -1 and 16 name no key
  EXPECT_EQ(spy.seen, "m u o w re v s la i id r c l n t p ");
}

TEST(Intake, EventValuesWinAndOnlySetEventIdsStampsTheTimeWhenAbsent) {
  CQuillAnalyze e;
  e.SetCommonString("k", "common");
  e.SetCommonDetailInt("cd", -1);
  e.SetCommonDetailString("d", "common");
  e.SetEventString("k", "event");
  e.SetEventDetailInt("d", 2);
  const std::int64_t before = std::time(nullptr);
  e.SetEventIds(4, 5);
  const std::int64_t stamp = e.eventProperties().at("t").number;
  EXPECT_TRUE(stamp >= before && stamp <= std::time(nullptr));
  e.SetEventInt("t", 3);
  e.SetEventIds(4, 5);  // an existing stamp stays
  EventRecord r;
  e.CollectEvent(r);
  EXPECT_EQ(ToFastText(BuildEventJson(r)),
            "{\"k\":\"event\",\"l\":4,\"n\":5,\"p\":{\"cd\":-1,\"d\":2},\"t\":3}\n");
  EventRecord next;  // only the common values remain, and without SetEventIds there is no "t"
  e.CollectEvent(next);
  EXPECT_EQ(ToFastText(BuildEventJson(next)),
            "{\"k\":\"common\",\"l\":0,\"n\":0,\"p\":{\"cd\":-1,\"d\":\"common\"}}\n");
}

TEST_F(DispatchTest, ReportNowAndTheWorkerFollowTheDispatchTableOnceInitializedAndOutliveAThrowingStore) {
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
      // A send returns false even though the helper was launched; ReportNow waits for it.
      const bool sends = c.calls[0] == "submit";
      EXPECT_EQ(e->ReportNow(c.dispatch == 0), !sends);
      EXPECT_EQ(e->calls(), sends ? Names{"submit wait"} : c.calls);
    }
    const std::size_t before = e->calls().size();
    ASSERT_TRUE(e->PostEvent(c.dispatch));
    ASSERT_TRUE(testing::WaitUntil([&] { return e->calls(before).size() >= c.calls.size(); }));
    e->StopWorker();
    EXPECT_EQ(e->calls(before), c.calls);  // the worker never waits
  }
  // A store that throws stops at the interface, and the worker goes on with the next event.
  auto e = MakeInitialized<RecordingEngine>();
  e->SetCommonString("m", "app");
  e->throwsLeft = 2;
  EXPECT_FALSE(e->ReportNow(true));
  e->SetEventIds(1, 0);
  ASSERT_TRUE(e->PostEvent(0));  // dropped by the worker
  e->SetEventIds(2, 0);
  ASSERT_TRUE(e->PostEvent(0));
  ASSERT_TRUE(testing::WaitUntil([&] { return !e->calls().empty(); }));
  e->StopWorker();
  EXPECT_EQ(e->calls(), Names{"store"});
  EXPECT_EQ(e->text(0).substr(0, 6), "{\"l\":2");
  // So does a cache that cannot be written.
  e->SetCacheAndAddress(dir.File("none") + platform::kPathSep + "c.dat", "");
  EXPECT_FALSE(e->ReportNow(true));
  // Before initialization nothing leaves, and the pending event is untouched.
  RecordingEngine idle;
  idle.SetEventIds(3, 4);
  EXPECT_FALSE(idle.ReportNow(true) || idle.ReportNow(false) || idle.PostEvent(0));
  EXPECT_FALSE(idle.hasWorkerThread());
  EXPECT_EQ(idle.pendingL(), 3);
  EXPECT_TRUE(idle.calls().empty());
}

TEST_F(DispatchTest, WorkerWaitsWhileUIsTheFirstCommonKeyAndStopsForGood) {
  const std::pair<Names, bool> cases[] = {{{}, true},     {{"u", "w"}, true}, {{"m", "u"}, false},
                                          {{"w"}, false}, {{"U", "u"}, false}};
  for (const auto& c : cases) {  // whether the gate holds for these common keys
    PropertyMap map;
    for (const std::string& key : c.first) map[key];
    EXPECT_EQ(WorkerGateHolds(map), c.second) << c.first.size() << " keys";
  }

  auto e = MakeInitialized<RecordingEngine>();
  EXPECT_TRUE(e->StopWorker());  // no worker yet
  std::string posted;  // sent as arrays, each with what it was posted with
  for (std::int32_t i = 1; i <= 3; ++i) {
    e->SetEventIds(i, 0);
    e->SetEventString("t", "x");
    ASSERT_TRUE(e->PostEvent(1));
    posted += "[{\"l\":" + std::to_string(i) + ",\"n\":0,\"t\":\"x\",\"u\":\"" +
              e->commonProperties().at("u").text + "\"}]\n";
  }
  e->SetCommonIntAt(1, 5);  // the gate looks at the key only, not its value
  e->SetCommonString("w", "after u");
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_TRUE(e->calls().empty());
  e->SetCommonString("m", "app");
  ASSERT_TRUE(testing::WaitUntil([&] { return e->calls().size() >= 3; }));
  EXPECT_EQ(e->text(0) + e->text(1) + e->text(2), posted);

  EXPECT_TRUE(e->StopWorker());
  EXPECT_TRUE(e->StopWorker());
  // The stop flag stays: a new worker starts and leaves at once, so later events stay queued.
  EXPECT_TRUE(e->PostEvent(0) && e->PostEvent(1));
  platform::SleepMs(kSeveralWorkerPassesMs);
  EXPECT_EQ(e->calls().size(), 3u);
  EXPECT_EQ(e->queuedCount(), 2u);
}

// Without StopWorker the worker would run on through the exit-time destructors (POSIX).
TEST_F(DispatchTest, AHostMayExitWhileTheProcessWideWorkerRuns) {
  const std::string report = dir.File("report.txt");
  platform::ProcessHandle child =
      platform::StartProcess(testing::ChildProgram("engine_exit_with_worker") + " \"" + cachePath() +
                             "\" \"" + dir.File("id.ini") + "\" \"" + report + "\"");
  ASSERT_NE(child, nullptr);
  EXPECT_TRUE(platform::WaitProcess(child, 600000));
  platform::CloseProcess(child);
  EXPECT_EQ(testing::ReadBytes(report), "quiet");
  EXPECT_GT(testing::ReadBytes(cachePath()).size(), 0u);
}

}  // namespace
}  // namespace orin
