// Behaviour only the POSIX backend has: environment overrides, reaping, file-system corners.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/process.h"
#include "platform/profile.h"
#include "platform/thread.h"
#include "tests/platform/scratch_dir.h"

namespace orin::platform {
namespace {

using orin::testing::ReadText;
using orin::testing::ScratchDir;
using orin::testing::WriteText;

template <typename F>
std::string Call(F f) {
  char buffer[512] = {};
  return f(buffer, 260) ? std::string(buffer) : std::string("<failed>");
}

TEST(PosixHostPaths, EnvironmentMovesTheFolders) {
  char real[512] = {};
  ASSERT_GT(readlink("/proc/self/exe", real, sizeof real - 1), 0);
  const auto exe = [](char* b, std::uint32_t n) { return HostExecutablePath(b, n) > 0; };
  setenv("ORIN_HOST_DIR", "/opt/host/", 1);
  setenv("ORIN_COMMON_APPDATA", "/srv/shared", 1);
  EXPECT_EQ(Call(exe), "/opt/host/platform_tests");
  EXPECT_EQ(Call(CommonAppDataFolder), "/srv/shared");
  unsetenv("ORIN_HOST_DIR");
  unsetenv("ORIN_COMMON_APPDATA");
  EXPECT_EQ(Call(exe), real);
  EXPECT_EQ(Call(CommonAppDataFolder), "/var/lib");
}

// State letter of a process from /proc, or 0 once it is gone (reaped).
char StateOf(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
  std::string stat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const std::size_t close = stat.rfind(')');
  return close == std::string::npos || close + 2 >= stat.size() ? '\0' : stat[close + 2];
}

TEST(PosixProcess, ClosedChildIsReapedOnceItEnds) {
  char self[512] = {};
  ASSERT_GT(HostExecutablePath(self, sizeof self), 0u);
  std::string exe(self);
  exe = exe.substr(0, exe.rfind('/') + 1) + "orin_argdump";
  ProcessHandle child = StartProcess(exe + " --sleep 300");
  ASSERT_NE(child, nullptr);
  std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
  pid_t pid = 0;
  while (children >> pid) {
  }
  ASSERT_NE(pid, 0);
  CloseProcess(child);  // still running: must not block, must not leave a zombie behind
  // Only a leak loops here, until the ctest time-out.
  while (StateOf(pid) != '\0') SleepMs(10);
  EXPECT_EQ(StateOf(pid), '\0');
}

TEST(PosixFiles, MoveAcrossFileSystemsCopies) {
  ScratchDir dir;
  struct stat a, b;
  if (stat(dir.path().c_str(), &a) != 0 || stat("/dev/shm", &b) != 0 || a.st_dev == b.st_dev) {
    GTEST_SKIP() << "no second file system to move across";
  }
  const std::string from = dir.File("cache.dat");
  const std::string to = "/dev/shm/orin-move-test-" + std::to_string(getpid());
  WriteText(from, "payload");
  ASSERT_TRUE(MoveFileReplacing(from.c_str(), to.c_str()));
  EXPECT_EQ(ReadText(to), "payload");
  EXPECT_NE(access(from.c_str(), F_OK), 0);
  unlink(to.c_str());
}

TEST(PosixProfile, WritesThroughLinksKeepsTheModeAndLeavesNoTemporary) {
  ScratchDir dir;
  const std::string real = dir.File("real.ini");
  const std::string link = dir.File("link.ini");
  WriteText(real, "[A]\nx=1\n");
  ASSERT_EQ(chmod(real.c_str(), 0640), 0);
  ASSERT_EQ(symlink(real.c_str(), link.c_str()), 0);
  ASSERT_TRUE(WriteProfileString("A", "y", "2", link.c_str()));
  struct stat st;
  ASSERT_EQ(lstat(link.c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  ASSERT_EQ(stat(real.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(ReadText(real), "[A]\nx=1\ny=2\n");
  const auto entries = std::distance(std::filesystem::directory_iterator(dir.path()),
                                     std::filesystem::directory_iterator());
  EXPECT_EQ(entries, 2);
}

}  // namespace
}  // namespace orin::platform
