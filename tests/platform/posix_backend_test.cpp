// Behaviour only the POSIX backend has: environment overrides, reaping, file-system corners.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "platform/thread.h"
#include "support/TempDir.h"

namespace orin::platform {
namespace {

using namespace orin::testing;

TEST(PosixBackend, EnvironmentMovesTheFolders) {
  char real[512] = {};
  char buffer[512] = {};
  ASSERT_GT(readlink("/proc/self/exe", real, sizeof real - 1), 0);
  setenv("ORIN_HOST_DIR", "/opt/host/", 1);
  setenv("ORIN_COMMON_APPDATA", "/srv/shared", 1);
  HostExecutablePath(buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "/opt/host/platform_tests");
  EXPECT_TRUE(CommonAppDataFolder(buffer, 260));
  EXPECT_STREQ(buffer, "/srv/shared");
  unsetenv("ORIN_HOST_DIR");
  unsetenv("ORIN_COMMON_APPDATA");
  HostExecutablePath(buffer, sizeof buffer);
  EXPECT_STREQ(buffer, real);
  EXPECT_TRUE(CommonAppDataFolder(buffer, 260));
  EXPECT_STREQ(buffer, "/var/lib");
}

TEST(PosixBackend, ClosedChildIsReapedOnceItEnds) {
  char self[512] = {};
  const std::string exe(self, HostExecutablePath(self, sizeof self));
  const std::string folder = exe.substr(0, exe.rfind('/') + 1);
  ProcessHandle child = StartProcess(folder + "orin_argdump --sleep 300");
  ASSERT_NE(child, nullptr);
  std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
  pid_t pid = 0;
  while (children >> pid) {
  }
  ASSERT_NE(pid, 0);
  CloseProcess(child);  // still running: must not block, must not leave a zombie behind
  // Gone from the process table once reaped; only a leak loops on until the ctest time-out.
  const std::string stat = "/proc/" + std::to_string(pid) + "/stat";
  while (access(stat.c_str(), F_OK) == 0) SleepMs(10);
}

TEST(PosixBackend, MoveAcrossFileSystemsCopies) {
  TempDir dir;
  struct stat a, b;
  if (stat(dir.path().c_str(), &a) != 0 || stat("/dev/shm", &b) != 0 || a.st_dev == b.st_dev) {
    GTEST_SKIP() << "no second file system to move across";
  }
  const std::string from = dir.File("cache.dat");
  const std::string to = "/dev/shm/orin-move-test-" + std::to_string(getpid());
  WriteBytes(from, "payload");
  ASSERT_TRUE(MoveFileReplacing(from.c_str(), to.c_str()));
  EXPECT_EQ(ReadBytes(to), "payload");
  EXPECT_FALSE(Exists(from));
  unlink(to.c_str());
}

TEST(PosixBackend, ProfileWritesGoThroughLinksAndKeepTheMode) {
  TempDir dir;
  const std::string real = dir.File("real.ini");
  const std::string link = dir.File("link.ini");
  WriteBytes(real, "[A]\nx=1\n");
  ASSERT_EQ(chmod(real.c_str(), 0640), 0);
  ASSERT_EQ(symlink(real.c_str(), link.c_str()), 0);
  ASSERT_TRUE(WriteProfileString("A", "y", "2", link.c_str()));
  struct stat st;
  ASSERT_EQ(lstat(link.c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  ASSERT_EQ(stat(real.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(ReadBytes(real), "[A]\nx=1\ny=2\n");
}

}  // namespace
}  // namespace orin::platform
