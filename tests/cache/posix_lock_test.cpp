// The cache lock where only the POSIX backend can be made to fail: a lock folder that is missing.
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "cache/record_scanner.h"
#include "platform/process.h"
#include "support/Programs.h"
#include "support/TempDir.h"

namespace orin {
namespace {

TEST(CacheLockPosix, AppendsAreWrittenWhenTheLockCannotBeTaken) {
  testing::TempDir dir;
  const std::string cache = dir.File("KD_OF.dat");
  // The child reads it when it first opens the mutex; this process has long opened its own.
  setenv("ORIN_LOCK_DIR", dir.File("no such folder").c_str(), 1);
  platform::ProcessHandle child =
      platform::StartProcess(testing::ChildProgram("cache_append_worker") + " \"" + cache + "\" 5 7");
  unsetenv("ORIN_LOCK_DIR");
  ASSERT_NE(child, nullptr);
  EXPECT_TRUE(platform::WaitProcess(child, 600000));
  platform::CloseProcess(child);
  const std::string bytes = testing::ReadBytes(cache);
  const auto records = ScanCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  ASSERT_EQ(records.size(), 5u);
  for (const ScannedRecord& r : records) EXPECT_EQ(r.status, RecordStatus::kOk);
}

}  // namespace
}  // namespace orin
