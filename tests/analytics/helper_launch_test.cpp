#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "cache/CacheFileLock.h"
#include "platform/files.h"
#include "engine_test_util.h"

namespace orin {
namespace {

using testing::ControlHelper;
using testing::EnginePtr;
using testing::EngineTest;
using testing::ProgramFolder;
using testing::ReadBytes;
using testing::ReadHelperLog;
using testing::WaitUntil;
using testing::WriteBytes;

using Runs = std::vector<std::vector<std::string>>;

class HelperTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    ControlHelper(logPath());
  }
  std::string logPath() const { return dir.File("helper.log"); }
  Runs WaitForRuns(std::size_t count) {
    WaitUntil([&] { return ReadHelperLog(logPath()).size() >= count; });
    return ReadHelperLog(logPath());
  }
  static std::string HelperPath() { return ProgramFolder() + "orinhlp.exe"; }
};

TEST_F(HelperTest, HelperPathIsBesideTheHostExecutable) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  const char* first = engine->GetHelperPath();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(std::string(first), HelperPath());
  EXPECT_EQ(engine->GetHelperPath(), first);  // built once
}

TEST_F(HelperTest, CommandLinesAsTheHelperReceivesThem) {
  auto engine = MakeInitialized();
  EXPECT_TRUE(engine->LaunchCacheSubmit());
  ASSERT_EQ(WaitForRuns(1).size(), 1u);
  EXPECT_TRUE(engine->LaunchCacheUpdate());
  ASSERT_EQ(WaitForRuns(2).size(), 2u);

  Json::Value events(Json::arrayValue);
  Json::Value event;
  event["a"] = "b";
  event["n"] = 12;
  events.append(event);
  EXPECT_TRUE(engine->LaunchSubmit(events, false));
  const Runs runs = WaitForRuns(3);
  ASSERT_EQ(runs.size(), 3u);
  const std::string helper = engine->GetHelperPath();
  EXPECT_EQ(runs[0], (std::vector<std::string>{helper, "-submit_cache"}));
  EXPECT_EQ(runs[1], (std::vector<std::string>{helper, "-update_cache"}));
  // Quotes intact, no line feed.
  EXPECT_EQ(runs[2], (std::vector<std::string>{helper, "-submit", "[{\"a\":\"b\",\"n\":12}]"}));
}

TEST_F(HelperTest, CacheLaunchesNeedAnInitializedEngineWithSendingOn) {
  EnginePtr<CQuillAnalyze> fresh(new CQuillAnalyze);
  EXPECT_FALSE(fresh->LaunchCacheSubmit());
  EXPECT_FALSE(fresh->LaunchCacheUpdate());
  auto engine = MakeInitialized();
  engine->SetSendEnabled(false);
  EXPECT_FALSE(engine->LaunchCacheSubmit());
  EXPECT_FALSE(engine->LaunchCacheUpdate());
  // A submit makes no such test. Its run is the only one in the log: nothing ran before it.
  EXPECT_TRUE(engine->LaunchSubmit(Json::Value(Json::arrayValue), false));
  const Runs runs = WaitForRuns(1);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].at(1), "-submit");
  EXPECT_EQ(runs[0].at(2), "[]");
}

class NoHelperEngine : public CQuillAnalyze {
 public:
  const char* GetHelperPath() override { return path; }
  const char* path = nullptr;
};

TEST_F(HelperTest, NoHelperPathOrNoHelperMeansNoLaunch) {
  auto engine = MakeInitialized<NoHelperEngine>();
  EXPECT_FALSE(engine->LaunchCacheSubmit());
  EXPECT_FALSE(engine->LaunchCacheUpdate());
  EXPECT_FALSE(engine->LaunchSubmit(Json::Value(Json::arrayValue), true));
  const std::string missing = dir.File("no such helper.exe");
  engine->path = missing.c_str();
  EXPECT_FALSE(engine->LaunchCacheSubmit());
  EXPECT_FALSE(engine->LaunchSubmit(Json::Value(Json::arrayValue), false));
  engine->SetEventIds(1, 1);
  EXPECT_FALSE(engine->ReportNow(false));
  // The real helper still starts from a plain engine; its run is the first in the log.
  auto plain = MakeInitialized();
  EXPECT_TRUE(plain->LaunchCacheSubmit());
  EXPECT_EQ(WaitForRuns(1).size(), 1u);
}

TEST(EscapeQuotes, RewritesTheTextInPlace) {
  struct Case {
    std::string in;
    std::string out;
  };
  const Case cases[] = {
      {"x\ny", "x"},
      {"{\"a\":\"b\"}\n", "{\\\"a\\\":\\\"b\\\"}"},
      {"back\\slash\ttab\rcr", "back\\slash\ttab\rcr"},
      {"", ""},
      {"\nlater", ""},
      {std::string(1023, 'a'), std::string(1023, 'a')},
      {std::string(1023, 'a') + "\n" + std::string(5000, 'b'), std::string(1023, 'a')},
      {std::string(511, '"') + "z", [] {
         std::string s;
         for (int i = 0; i < 511; ++i) s += "\\\"";
         return s + "z";
       }()},
      // Escaped forms longer than 1023 characters are refused: the text comes back empty.
      {std::string(1024, 'a'), ""},
      {std::string(512, '"'), ""},
      {std::string(1022, 'a') + "\"", ""},
      {std::string(100000, 'q'), ""},
  };
  CQuillAnalyze engine;
  for (const Case& c : cases) {
    std::string text = c.in;
    engine.EscapeQuotes(text);
    EXPECT_EQ(text, c.out) << "input of " << c.in.size() << " characters";
  }
}

TEST_F(HelperTest, TooLongEventIsRefusedAndStartsNothing) {
  auto engine = MakeInitialized();
  Json::Value events(Json::arrayValue);
  events.append(Json::Value(std::string(2000, 'x')));
  EXPECT_FALSE(engine->LaunchSubmit(events, false));
  engine->SetEventIds(1, 1);
  engine->SetEventString("big", std::string(1100, 'y'));
  EXPECT_FALSE(engine->ReportNow(false));
  EXPECT_TRUE(engine->LaunchCacheSubmit());
  const Runs runs = WaitForRuns(1);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].at(1), "-submit_cache");
}

TEST_F(HelperTest, SubmitWithWaitReturnsAfterAQuickHelperEnded) {
  ControlHelper(logPath(), 1000);
  auto engine = MakeInitialized();
  EXPECT_TRUE(engine->LaunchSubmit(Json::Value(Json::arrayValue), true));
  EXPECT_EQ(ReadHelperLog(logPath()).size(), 1u);
}

TEST_F(HelperTest, SubmitWithWaitGivesUpOnASlowHelperAndLeavesItRunning) {
  // Far beyond the 20 s the launcher waits, so the helper is still asleep when it returns.
  ControlHelper(logPath(), 32000);
  auto engine = MakeInitialized();
  EXPECT_TRUE(engine->LaunchSubmit(Json::Value(Json::arrayValue), true));
  EXPECT_TRUE(ReadHelperLog(logPath()).empty());
  // Not killed: it finishes on its own later.
  EXPECT_TRUE(WaitUntil([&] { return ReadHelperLog(logPath()).size() == 1; }, 90000));
}

TEST_F(HelperTest, AppendTextToCacheAppendsTheTextUnchanged) {
  auto engine = MakeInitialized();
  EXPECT_TRUE(engine->AppendTextToCache("first"));
  EXPECT_TRUE(engine->AppendTextToCache("\"second\"\n"));
  EXPECT_TRUE(engine->AppendTextToCache(""));
  Json::Value value;
  value["k"] = 1;
  EXPECT_TRUE(engine->AppendJsonText(value));
  EXPECT_EQ(ReadBytes(cachePath()), "first\"second\"\n{\"k\":1}\n");
  EXPECT_FALSE(engine->AppendTextToCache(nullptr));

  EnginePtr<CQuillAnalyze> unset(new CQuillAnalyze);  // no cache path
  EXPECT_FALSE(unset->AppendTextToCache("x"));
  auto unwritable = MakeInitialized();
  unwritable->SetCacheAndAddress(dir.File("none") + platform::kPathSep + "c.dat", "");
  EXPECT_FALSE(unwritable->AppendTextToCache("x"));
}

TEST_F(HelperTest, AppendTextToCacheWaitsForTheCacheLock) {
  auto engine = MakeInitialized();
  CacheFileLock lock;
  ASSERT_TRUE(lock.Lock());
  std::atomic<bool> done{false};
  std::thread writer([&] {
    EXPECT_TRUE(engine->AppendTextToCache("locked"));
    done = true;
  });
  platform::SleepMs(500);
  EXPECT_FALSE(done);
  EXPECT_EQ(ReadBytes(cachePath()), "");
  lock.Unlock();
  writer.join();
  EXPECT_EQ(ReadBytes(cachePath()), "locked");
}

TEST_F(HelperTest, BackupReplacesTheEarlierBackupAndStartsTheUpdate) {
  auto engine = MakeInitialized();
  const std::string backup = cachePath() + "-bak";
  WriteBytes(backup, "old");
  WriteBytes(cachePath(), "new");
  engine->BackupCacheFile();
  EXPECT_EQ(ReadBytes(backup), "new");
  EXPECT_EQ(platform::QueryPath(cachePath().c_str()), platform::PathStatus::kNotFound);
  Runs runs = WaitForRuns(1);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].at(1), "-update_cache");

  // Without a cache file the backup stays as it is and the helper is still started.
  engine->BackupCacheFile();
  EXPECT_EQ(ReadBytes(backup), "new");
  EXPECT_EQ(WaitForRuns(2).size(), 2u);
}

}  // namespace
}  // namespace orin
