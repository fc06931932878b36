#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "cache/CacheFileLock.h"

namespace orin {
namespace {

// Each lock object holds its own handle, so two threads of one process exclude each other just as
// two processes do.
TEST(CacheLock, ExcludesOtherHoldersInTheSameProcess) {
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  std::atomic<int> acquired{0};
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

TEST(CacheLock, UnlockWithoutLockIsHarmlessAndTheLockCanBeTakenAgain) {
  CacheFileLock never;
  never.Unlock();
  never.Unlock();
  CacheFileLock lock;
  ASSERT_TRUE(lock.Lock());
  lock.Unlock();
  ASSERT_TRUE(lock.Lock());
  lock.Unlock();
}

}  // namespace
}  // namespace orin
