#include <atomic>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "analytics/CQuillAnalyze.h"
#include "cache/CAnalyticsFile.h"
#include "cache/CacheFileLock.h"
#include "platform/files.h"
#include "support/HostFiles.h"

namespace orin {
namespace {

using namespace orin::testing;

// Each lock object holds its own handle, so two threads of one process exclude each other just as
// two processes do.
TEST(CacheLock, HoldersInOneProcessExcludeEachOtherAndAStrayUnlockIsHarmless) {
  CacheFileLock never;
  never.Unlock();
  std::atomic<int> inside{0}, overlaps{0}, acquired{0};
  auto worker = [&] {
    for (int i = 0; i < 500; ++i) {
      CacheFileLock lock;
      if (!lock.Lock()) continue;
      ++acquired;
      if (inside.fetch_add(1) != 0) ++overlaps;
      std::this_thread::yield();
      inside.fetch_sub(1);
      lock.Unlock();
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) threads.emplace_back(worker);
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(acquired.load(), 1500);
  EXPECT_EQ(overlaps.load(), 0);
}

// The name is spelled out here rather than taken from the code: every process sharing the cache
// must use exactly this one, forward slash included.
TEST(CacheLock, AppendWaitsForAnotherProcessHoldingTheNamedMutexButNotOnceItIsKilled) {
  testing::TempDir dir;
  const std::string marker = dir.File("held"), cache = dir.File("KD_OF.dat");
  platform::ProcessHandle holder = platform::StartProcess(
      ChildProgram("cache_append_worker") + " hold GLOBAL/{C5FD4B75-0292-4B34-9408-0B6CFB5FAE48} \"" +
      marker + "\"");
  ASSERT_NE(holder, nullptr);
  ASSERT_TRUE(WaitUntil([&] { return Exists(marker); }));

  CAnalyticsFile file;
  std::atomic<bool> done{false};
  std::thread appender([&] { done = file.AppendText(cache.c_str(), "{\"n\":1}"); });
  platform::SleepMs(1000);
  EXPECT_FALSE(done) << "appended while another process held the cache mutex";
  // Killed while holding it: the mutex is abandoned, and the append goes ahead.
  EXPECT_TRUE(platform::KillProcess(holder));
  const bool finished = WaitUntil([&] { return done.load(); });
  EXPECT_TRUE(finished) << "a killed holder still blocks the cache";
  finished ? appender.join() : appender.detach();
  platform::WaitProcess(holder, 60000);
  platform::CloseProcess(holder);
  EXPECT_EQ(ReadBytes(cache).size(), 4u + 7u);
}

// Real processes append while this one delivers: it loads, hands out a batch, sometimes takes it
// back as a failed upload, and rewrites the file with the rest (all under the cache lock, as a
// deliverer that must not lose appends does), and now and then the engine moves the file aside.
// Every record must end up delivered, moved or still in the file: exactly once, and whole.
TEST(CacheMultiProcess, AppendsRacingRewritesAndBackupsAreAllDeliveredMovedOrKept) {
  constexpr int kWriters = 3;
  constexpr int kEach = 1500;
  testing::TempDir dir;
  const std::string cache = dir.File("KD_OF.dat"), backup = cache + "-bak";
  CQuillAnalyze engine;
  engine.SetCacheAndAddress(cache, "");

  std::vector<platform::ProcessHandle> children;
  for (int w = 0; w < kWriters; ++w) {
    const std::string line = ChildProgram("cache_append_worker") + " \"" + cache + "\" " +
                             std::to_string(kEach) + " " + std::to_string(w);
    platform::ProcessHandle child = platform::StartProcess(line);
    ASSERT_NE(child, nullptr) << line;
    children.push_back(child);
  }

  std::map<std::pair<int, int>, int> seen;  // (writer, number) -> times seen
  auto note = [&](const Json::Value& e) { ++seen[{e["l"].asInt(), e["n"].asInt()}]; };
  // Every record whole and parsing: CacheEvents fails the test otherwise.
  auto noteFile = [&](const std::string& path) {
    for (const Json::Value& e : testing::CacheEvents(path)) note(e);
  };

  CAnalyticsFile file;
  bool writing = true;
  for (int round = 0; writing; ++round) {
    writing = false;
    for (platform::ProcessHandle child : children) writing |= !platform::WaitProcess(child, 0);
    {
      CacheFileLock lock;
      lock.Lock();
      if (file.LoadFile(cache.c_str())) {
        Json::Value batch;
        std::int32_t count = 50;
        if (file.ReadNextBatch(batch, count)) {
          if (round % 3 == 0) {
            file.PutBack(count);
          } else {
            for (const Json::Value& e : batch) note(e);
          }
        }
        if (file.CommitConsumed(cache.c_str())) platform::RemoveFile(cache.c_str());
      }
    }
    if (round % 5 == 4) {
      engine.BackupCacheFile();
      noteFile(backup);
      platform::RemoveFile(backup.c_str());
    }
  }
  for (platform::ProcessHandle child : children) platform::CloseProcess(child);
  noteFile(cache);
  std::remove((testing::ProgramFolder() + "OrAnacfg.ini").c_str());

  int onceEach = 0;  // writers' records seen exactly once
  for (const auto& [key, times] : seen) onceEach += key.first < kWriters && key.second < kEach && times == 1;
  EXPECT_EQ(onceEach, kWriters * kEach);
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kWriters * kEach));
}

// A full disk (POSIX: ulimit -f, SIGXFSZ ignored) stops an append part-way: the append fails and
// is cut back, so the records appended once there is room again follow whole records only. A
// lock that cannot be taken (its folder missing) does not stop appends.
TEST(CacheMultiProcess, AppendsOnAFullDiskFailWholeAndWithoutTheLockStillGoAhead) {
  if (platform::kIsWindows) GTEST_SKIP() << "the file-size limit and the lock folder are POSIX's";
  testing::TempDir dir;
  const std::string cache = dir.File("KD_OF.dat");
  const auto append = [&](const std::string& limit, int count, int tag) {
    const std::string line = "/bin/sh -c \"" + limit + "exec '" + ChildProgram("cache_append_worker") +
                             "' '" + cache + "' " + std::to_string(count) + " " +
                             std::to_string(tag) + "\"";
    return testing::ExitCodeOf(platform::StartProcess(line));
  };
  EXPECT_EQ(append("ulimit -f 16; trap '' XFSZ; ", 500, 1), 1);
  EXPECT_EQ(append("", 10, 2), 0);
  EXPECT_EQ(append("export ORIN_LOCK_DIR='" + dir.File("no such folder") + "'; ", 5, 3), 0);

  std::map<int, int> perTag;
  for (const Json::Value& e : testing::CacheEvents(cache)) ++perTag[e["l"].asInt()];
  EXPECT_GT(perTag[1], 0);
  EXPECT_LT(perTag[1], 500);
  EXPECT_EQ(perTag[2], 10);
  EXPECT_EQ(perTag[3], 5);
}

}  // namespace
}  // namespace orin
