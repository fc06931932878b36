// Behaviour that only the POSIX backend has: environment overrides, reaping, file-system corners.
#include <gtest/gtest.h>

#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

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

class EnvVar {
 public:
  EnvVar(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    had_ = old != nullptr;
    if (had_) old_ = old;
    if (value != nullptr) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~EnvVar() {
    if (had_) {
      setenv(name_, old_.c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* name_;
  bool had_ = false;
  std::string old_;
};

TEST(PosixHostPaths, EnvironmentMovesTheFolders) {
  char buffer[512];
  {
    EnvVar dir("ORIN_HOST_DIR", "/opt/host/");
    ASSERT_GT(HostExecutablePath(buffer, sizeof buffer), 0u);
    EXPECT_EQ(std::string(buffer), "/opt/host/platform_tests");
  }
  {
    EnvVar dir("ORIN_HOST_DIR", nullptr);
    ASSERT_GT(HostExecutablePath(buffer, sizeof buffer), 0u);
    char real[512] = {};
    ASSERT_GT(readlink("/proc/self/exe", real, sizeof real - 1), 0);
    EXPECT_EQ(std::string(buffer), real);
  }
  {
    EnvVar data("ORIN_COMMON_APPDATA", "/srv/shared");
    ASSERT_TRUE(CommonAppDataFolder(buffer, 260));
    EXPECT_EQ(std::string(buffer), "/srv/shared");
  }
  {
    EnvVar data("ORIN_COMMON_APPDATA", nullptr);
    ASSERT_TRUE(CommonAppDataFolder(buffer, 260));
    EXPECT_EQ(std::string(buffer), "/var/lib");
  }
}

std::vector<pid_t> Children() {
  std::vector<pid_t> pids;
  std::ifstream in("/proc/self/task/" + std::to_string(getpid()) + "/children");
  pid_t p;
  while (in >> p) pids.push_back(p);
  return pids;
}

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
  const std::vector<pid_t> before = Children();
  ProcessHandle child = StartProcess(exe + " --sleep 300");
  ASSERT_NE(child, nullptr);
  std::vector<pid_t> after = Children();
  pid_t pid = 0;
  for (pid_t p : after) {
    bool old = false;
    for (pid_t q : before) old = old || q == p;
    if (!old) pid = p;
  }
  ASSERT_NE(pid, 0);
  CloseProcess(child);  // still running: must not block, must not leave a zombie
  // The background reaper removes it from the process table; only a leak would loop until the
  // ctest time-out.
  while (StateOf(pid) != '\0') SleepMs(10);
  EXPECT_EQ(StateOf(pid), '\0');
}

TEST(PosixFiles, MoveAcrossFileSystemsCopies) {
  ScratchDir dir;
  struct stat a;
  struct stat b;
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

TEST(PosixProfile, WritesThroughLinksAndKeepsTheFileMode) {
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
  // No temporary file is left beside it.
  DIR* d = opendir(dir.path().c_str());
  ASSERT_NE(d, nullptr);
  int entries = 0;
  while (dirent* e = readdir(d)) entries += e->d_name[0] != '.';
  closedir(d);
  EXPECT_EQ(entries, 2);
}

}  // namespace
}  // namespace orin::platform
