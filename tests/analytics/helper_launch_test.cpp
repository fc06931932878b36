// The helper process as it really starts (the stand-in "orinhlp.exe" beside the test program),
// and the cache file maintenance around it.
#include <atomic>
#include <thread>

#include "cache/CacheFileLock.h"
#include "engine_test_util.h"
#include "platform/files.h"

namespace orin {
namespace {

using testing::ReadBytes;
using testing::ReadHelperLog;
using Runs = std::vector<std::vector<std::string>>;

class HelperTest : public testing::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    testing::ControlHelper(log());
  }
  std::string log() const { return dir.File("helper.log"); }
  Runs WaitForRuns(std::size_t count) {
    testing::WaitUntil([&] { return ReadHelperLog(log()).size() >= count; });
    return ReadHelperLog(log());
  }
};

class HelperPathEngine : public CQuillAnalyze {
 public:
  const char* GetHelperPath() override { return path; }
  const char* path = nullptr;
};

TEST_F(HelperTest, CommandLinesAsTheHelperReceivesThem) {
  auto e = MakeInitialized();
  const std::string helper = e->GetHelperPath();
  EXPECT_EQ(helper, testing::ProgramFolder() + "orinhlp.exe");
  EXPECT_EQ(e->GetHelperPath(), e->GetHelperPath());  // built once

  // Refused launches start nothing: the log holds only the runs that follow.
  e->SetSendEnabled(false);
  EXPECT_FALSE(e->LaunchCacheSubmit());
  EXPECT_FALSE(e->LaunchCacheUpdate());
  e->SetSendEnabled(true);
  EXPECT_FALSE(CQuillAnalyze().LaunchCacheSubmit());  // not initialized
  Json::Value tooLong(Json::arrayValue);
  tooLong.append(std::string(1100, 'x'));
  EXPECT_FALSE(e->LaunchSubmit(tooLong, false));
  auto noPath = MakeInitialized<HelperPathEngine>();
  EXPECT_FALSE(noPath->LaunchCacheSubmit());
  EXPECT_FALSE(noPath->LaunchSubmit(Json::Value(Json::arrayValue), true));
  const std::string missing = dir.File("no helper.exe");
  noPath->path = missing.c_str();
  EXPECT_FALSE(noPath->LaunchCacheUpdate());

  EXPECT_TRUE(e->LaunchCacheSubmit());
  ASSERT_EQ(WaitForRuns(1).size(), 1u);
  EXPECT_TRUE(e->LaunchCacheUpdate());
  ASSERT_EQ(WaitForRuns(2).size(), 2u);
  Json::Value events(Json::arrayValue);
  events[0]["a"] = "b";
  events[0]["n"] = 12;
  e->SetSendEnabled(false);  // a submit makes no such test
  EXPECT_TRUE(e->LaunchSubmit(events, false));
  EXPECT_EQ(WaitForRuns(3), (Runs{{helper, "-submit_cache"},
                                  {helper, "-update_cache"},
                                  {helper, "-submit", "[{\"a\":\"b\",\"n\":12}]"}}));
}

TEST(EscapeQuotes, StopsAtTheLineFeedEscapesQuotesAndRefusesWhatCannotFit) {
  const std::pair<std::string, std::string> cases[] = {
      {"x\ny", "x"},
      {"{\"a\":\"b\"}\n", "{\\\"a\\\":\\\"b\\\"}"},
      {"back\\slash\ttab\rcr", "back\\slash\ttab\rcr"},
      {"\nlater", ""},
      {std::string(1023, 'a') + "\n" + std::string(5000, 'b'), std::string(1023, 'a')},
      {std::string(1021, 'a') + "\"", std::string(1021, 'a') + "\\\""},  // exactly 1023
      {std::string(1024, 'a'), ""},
      {std::string(1022, 'a') + "\"", ""},
      {std::string(100000, '"'), ""},
  };
  CQuillAnalyze engine;
  for (const auto& c : cases) {
    std::string text = c.first;
    engine.EscapeQuotes(text);
    EXPECT_EQ(text, c.second) << "input of " << c.first.size() << " characters";
  }
}

TEST_F(HelperTest, SubmitWithWaitWaitsForAQuickHelper) {
  testing::ControlHelper(log(), 1000);
  EXPECT_TRUE(MakeInitialized()->LaunchSubmit(Json::Value(Json::arrayValue), true));
  EXPECT_EQ(ReadHelperLog(log()).size(), 1u);
}

TEST_F(HelperTest, SubmitWithWaitGivesUpOnASlowHelperAndLeavesItRunning) {
  // Far beyond the 20 s the launcher waits, so the helper is still asleep when it returns.
  testing::ControlHelper(log(), 32000);
  EXPECT_TRUE(MakeInitialized()->LaunchSubmit(Json::Value(Json::arrayValue), true));
  EXPECT_TRUE(ReadHelperLog(log()).empty());
  EXPECT_TRUE(testing::WaitUntil([&] { return ReadHelperLog(log()).size() == 1; }, 90000));
}

TEST_F(HelperTest, AppendTextToCacheWritesUnchangedUnderTheCacheLock) {
  auto e = MakeInitialized();
  CacheFileLock lock;
  ASSERT_TRUE(lock.Lock());
  std::atomic<bool> done{false};
  std::thread writer([&] { done = e->AppendTextToCache("first"); });
  platform::SleepMs(500);
  EXPECT_FALSE(done);
  lock.Unlock();
  writer.join();
  Json::Value value;
  value["k"] = 1;
  EXPECT_TRUE(done && e->AppendTextToCache("\"second\"\n") && e->AppendJsonText(value));
  EXPECT_EQ(ReadBytes(cachePath()), "first\"second\"\n{\"k\":1}\n");
  EXPECT_FALSE(e->AppendTextToCache(nullptr) || CQuillAnalyze().AppendTextToCache("x"));
}

TEST_F(HelperTest, BackupReplacesTheEarlierBackupAndStartsTheUpdate) {
  auto e = MakeInitialized();
  const std::string backup = cachePath() + "-bak";
  testing::WriteBytes(backup, "old");
  testing::WriteBytes(cachePath(), "new");
  e->BackupCacheFile();
  EXPECT_EQ(ReadBytes(backup), "new");
  EXPECT_EQ(platform::QueryPath(cachePath().c_str()), platform::PathStatus::kNotFound);
  ASSERT_EQ(WaitForRuns(1).size(), 1u);
  // Without a cache file the backup stays and the helper is still started.
  e->BackupCacheFile();
  EXPECT_EQ(ReadBytes(backup), "new");
  const std::vector<std::string> update{e->GetHelperPath(), "-update_cache"};
  EXPECT_EQ(WaitForRuns(2), (Runs{update, update}));
}

}  // namespace
}  // namespace orin
