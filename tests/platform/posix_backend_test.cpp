// Behaviour only the POSIX backend has: environment overrides, reaping, symbolic links.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/host_paths.h"
#include "platform/process.h"
#include "platform/posix/text_convert.h"
#include "platform/profile.h"
#include "support/TempDir.h"

namespace orin::platform {
namespace {

TEST(PosixBackend, EnvironmentMovesTheFolders) {
  char buffer[512] = {};
  setenv("ORIN_HOST_DIR", "/opt/host/", 1);
  setenv("ORIN_COMMON_APPDATA", "/srv/shared/", 1);
  HostExecutablePath(buffer, sizeof buffer);
  EXPECT_STREQ(buffer, "/opt/host/platform_tests");
  EXPECT_TRUE(CommonAppDataFolder(buffer, 260));
  EXPECT_STREQ(buffer, "/srv/shared");
  unsetenv("ORIN_HOST_DIR");
  unsetenv("ORIN_COMMON_APPDATA");
  EXPECT_TRUE(CommonAppDataFolder(buffer, 260));
  EXPECT_STREQ(buffer, "/var/lib");
}

TEST(PosixBackend, ClosedChildIsReapedOnceItEnds) {
  ProcessHandle child = StartProcess("/bin/sleep 600");
  ASSERT_NE(child, nullptr);
  std::ifstream children("/proc/self/task/" + std::to_string(getpid()) + "/children");
  pid_t pid = 0;
  while (children >> pid) {
  }
  ASSERT_NE(pid, 0);
  CloseProcess(child);  // still running: must not block, must not leave a zombie behind
  ASSERT_EQ(kill(pid, SIGTERM), 0);
  // Gone from the process table once reaped; only a leak loops on until the ctest time-out.
  const std::string stat = "/proc/" + std::to_string(pid) + "/stat";
  while (access(stat.c_str(), F_OK) == 0) usleep(10000);
}

TEST(PosixBackend, ProfileWritesGoThroughLinksAndKeepTheMode) {
  orin::testing::TempDir dir;
  const std::string real = dir.File("real.ini");
  const std::string link = dir.File("link.ini");
  orin::testing::WriteBytes(real, "[A]\nx=1\n");
  ASSERT_EQ(chmod(real.c_str(), 0640), 0);
  ASSERT_EQ(symlink(real.c_str(), link.c_str()), 0);
  ASSERT_TRUE(WriteProfileString("A", "y", "2", link.c_str()));
  struct stat st;
  ASSERT_EQ(lstat(link.c_str(), &st), 0);
  EXPECT_TRUE(S_ISLNK(st.st_mode));
  ASSERT_EQ(stat(real.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_EQ(orin::testing::ReadBytes(real), "[A]\nx=1\ny=2\n");
}

// A host text that is no UTF-8 is read in the locale's code set; what that set lacks is lost a
// byte at a time.
TEST(PosixBackend, HostTextsComeFromTheLocalesCodeSet) {
  const struct {
    const char* text;
    const char* codeSet;
    const char* expect;
  } cases[] = {
      {"gr\xF6\xDF" "e", "CP1252", u8"größe"},
      {"\x80", "CP1252", u8"€"},
      {"a\x81z", "CP1252", u8"a\uFFFDz"},  // 0x81 is no cp1252 character
      {"\xD0\xE5\xE7", "CP1251", u8"Рез"},
      {"\xC0\xE9", "ISO-8859-1", u8"Àé"},
      {"x\xFFy", "NO-SUCH-SET", u8"x\uFFFDy"},
      // Past U+10FFFF, and a five-byte form: every byte on its own.
      {"\xF4\x90\x80\x80" "big", "UTF-8", u8"\uFFFD\uFFFD\uFFFD\uFFFDbig"},
      {"\xF8\x88\x80\x80\x80", "utf8", u8"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {u8"gr\u00F6\u00DFe \U0001F600", "UTF-8", u8"gr\u00F6\u00DFe \U0001F600"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(posix::TextToUtf8From(c.text, c.codeSet), c.expect) << c.codeSet;
  }
}

}  // namespace
}  // namespace orin::platform
