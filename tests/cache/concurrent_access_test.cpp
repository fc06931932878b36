#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "cache/CacheFileLock.h"
#include "cache/record_scanner.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/process.h"
#include "support/TempDir.h"

namespace orin {
namespace {

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

std::string WorkerPath() {
  char self[1024] = {};
  const std::uint32_t n = platform::HostExecutablePath(self, sizeof self);
  std::string path(self, n);
  path.resize(path.find_last_of(platform::kPathSep) + 1);
  return path + (platform::kIsWindows ? "cache_append_worker.exe" : "cache_append_worker");
}

// Real processes appending at once: every record comes out whole, none lost, each writer's
// events in its own order.
TEST(CacheMultiProcess, FourWritersGiveEightThousandWholeRecords) {
  constexpr int kWriters = 4;
  constexpr int kEach = 2000;
  testing::TempDir dir;
  const std::string cache = dir.File("KD_OF.dat");

  std::vector<platform::ProcessHandle> children;
  for (int w = 0; w < kWriters; ++w) {
    const std::string line = "\"" + WorkerPath() + "\" \"" + cache + "\" " +
                             std::to_string(kEach) + " " + std::to_string(w);
    platform::ProcessHandle child = platform::StartProcess(line);
    ASSERT_NE(child, nullptr) << line;
    children.push_back(child);
  }
  for (platform::ProcessHandle child : children) {
    // A bound only so that a hung writer fails the test instead of hanging it.
    EXPECT_TRUE(platform::WaitProcess(child, 600000));
    platform::CloseProcess(child);
  }

  const std::string bytes = testing::ReadBytes(cache);
  const auto scanned = ScanCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  ASSERT_EQ(scanned.size(), static_cast<std::size_t>(kWriters * kEach));
  for (const ScannedRecord& r : scanned) ASSERT_EQ(r.status, RecordStatus::kOk) << r.offset;

  CAnalyticsFile file;
  ASSERT_TRUE(file.LoadFile(cache.c_str()));
  Json::Value events;
  std::int32_t count = kWriters * kEach + 1;
  ASSERT_TRUE(file.ReadNextBatch(events, count));
  ASSERT_EQ(count, kWriters * kEach);
  ASSERT_EQ(events.size(), static_cast<Json::ArrayIndex>(kWriters * kEach));
  std::map<int, int> next;
  for (const Json::Value& e : events) {
    const int writer = e["l"].asInt();
    ASSERT_EQ(e["n"].asInt(), next[writer]++) << "writer " << writer;
  }
  for (int w = 0; w < kWriters; ++w) EXPECT_EQ(next[w], kEach);
}

}  // namespace
}  // namespace orin
