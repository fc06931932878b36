#include <string>
#include <vector>

#include "engine_test_util.h"

namespace orin {
namespace {

using testing::EnginePtr;
using testing::EngineTest;
using testing::RecordingEngine;

using DispatchTest = EngineTest;

TEST_F(DispatchTest, NothingLeavesBeforeInitialization) {
  EnginePtr<RecordingEngine> engine(new RecordingEngine);
  engine->SetEventIds(3, 4);
  engine->SetEventDetailInt("k", 1);
  EXPECT_FALSE(engine->ReportNow(true));
  EXPECT_FALSE(engine->ReportNow(false));
  EXPECT_FALSE(engine->PostEvent(0));
  EXPECT_FALSE(engine->hasWorkerThread());
  // The pending event is left as it was.
  EXPECT_EQ(engine->pendingL(), 3);
  EXPECT_EQ(engine->eventDetails().size(), 1u);
  EXPECT_TRUE(engine->calls().empty());
  EXPECT_EQ(engine->queuedCount(), 0u);
}

TEST_F(DispatchTest, ReportNowFollowsTheDispatchTable) {
  struct Case {
    bool cacheOnly;
    bool forceCache;
    bool sendEnabled;
    std::vector<std::string> calls;
    bool result;
  };
  const Case cases[] = {
      {true, false, true, {"store"}, true},
      {false, false, true, {"submit"}, false},  // false even though the helper was launched
      {false, true, true, {"store"}, true},
      {false, false, false, {"store"}, true},
      {true, true, false, {"store"}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.cacheOnly << c.forceCache << c.sendEnabled);
    auto engine = MakeInitialized<RecordingEngine>();
    engine->SetForceCache(c.forceCache);
    engine->SetSendEnabled(c.sendEnabled);
    engine->SetEventIds(1, 2);
    EXPECT_EQ(engine->ReportNow(c.cacheOnly), c.result);
    EXPECT_EQ(engine->callNames(), c.calls);
    EXPECT_FALSE(engine->hasWorkerThread());
  }
}

TEST_F(DispatchTest, ReportNowSendsAnArrayOfOneAndWaits) {
  auto engine = MakeInitialized<RecordingEngine>();
  engine->SetCommonInt("w", 10);
  engine->SetEventIds(3, 12);
  engine->SetEventInt("t", 1700000000);
  engine->SetEventDetailInt64("size", 4294967301LL);
  EXPECT_FALSE(engine->ReportNow(false));
  const auto calls = engine->calls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_TRUE(calls[0].wait);
  const std::string id = engine->commonProperties().at("u").text;
  EXPECT_EQ(calls[0].text, "[{\"l\":3,\"n\":12,\"p\":{\"size\":5},\"t\":1700000000,\"u\":\"" + id +
                               "\",\"w\":10}]\n");
  // The launch failing changes nothing for the caller.
  engine->launchResult = false;
  EXPECT_FALSE(engine->ReportNow(false));
}

TEST_F(DispatchTest, ReportNowCachesTheEventInTheCacheFile) {
  auto engine = MakeInitialized<CQuillAnalyze>("src7");
  engine->SetCommonInt("w", 10);
  engine->SetEventIds(3, 12);
  engine->SetEventInt("t", 1700000000);
  engine->SetEventDetailInt64("size", 5);
  ASSERT_TRUE(engine->ReportNow(true));
  engine->SetEventIds(4, 1);
  engine->SetEventString("t", "later");
  ASSERT_TRUE(engine->ReportNow(true));

  const std::string id = engine->commonProperties().at("u").text;
  EXPECT_EQ(id.rfind("dev_id_", 0), 0u);
  EXPECT_EQ(CachedEvents(), (std::vector<std::string>{
                                "{\"l\":3,\"n\":12,\"p\":{\"size\":5,\"xid\":\"src7\"},\"t\":1700000000,"
                                "\"u\":\"" + id + "\",\"w\":10}\n",
                                "{\"l\":4,\"n\":1,\"p\":{\"xid\":\"src7\"},\"t\":\"later\",\"u\":\"" +
                                    id + "\",\"w\":10}\n"}));
}

TEST_F(DispatchTest, ReportNowReturnsTheCacheWriteResult) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  const std::string unwritable = dir.File("missing-folder") + platform::kPathSep + "KD_OF.dat";
  ASSERT_TRUE(engine->InitializeWithIdFile(unwritable, dir.File("id.ini"), "", nullptr));
  engine->SetEventIds(1, 1);
  EXPECT_FALSE(engine->ReportNow(true));
  // The failed event is gone, not kept for the next one.
  EXPECT_TRUE(engine->eventProperties().empty());
}

}  // namespace
}  // namespace orin
