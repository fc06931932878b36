#include "platform/host_paths.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/os.h"

namespace orin::platform {
namespace {

TEST(HostExecutablePath, NamesThisProgramAndTruncatesLikeTheWin32Call) {
  char full[1024];
  std::memset(full, '#', sizeof full);
  const std::uint32_t n = HostExecutablePath(full, sizeof full);
  ASSERT_GT(n, 0u);
  ASSERT_EQ(std::strlen(full), n);
  const std::string path(full);
  const std::string name = std::string("platform_tests") + (kIsWindows ? ".exe" : "");
  ASSERT_GE(path.size(), name.size() + 1);
  EXPECT_EQ(path.substr(path.size() - name.size()), name);
  EXPECT_EQ(path[path.size() - name.size() - 1], kPathSep);

  // A short buffer gets size-1 characters and the NUL; the result is then the buffer size.
  char small[8];
  std::memset(small, '#', sizeof small);
  EXPECT_EQ(HostExecutablePath(small, 6), 6u);
  EXPECT_EQ(std::string(small), path.substr(0, 5));
  EXPECT_EQ(small[6], '#');
  // Exactly the length: no room for the NUL, so it is cut as well.
  std::string exact(n + 4, '#');
  EXPECT_EQ(HostExecutablePath(&exact[0], n), n);
  EXPECT_EQ(std::string(exact.c_str()), path.substr(0, n - 1));
}

TEST(CommonAppDataFolder, GivesAnAbsoluteFolder) {
  char buffer[260];
  ASSERT_TRUE(CommonAppDataFolder(buffer, sizeof buffer));
  const std::string folder(buffer);
  ASSERT_FALSE(folder.empty());
  EXPECT_NE(folder.back(), kPathSep);
  if (kIsWindows) {
    EXPECT_EQ(folder.substr(1, 2), std::string(":") + kPathSep);
  } else {
    EXPECT_EQ(folder[0], '/');
  }
  char tiny[2];
  EXPECT_FALSE(CommonAppDataFolder(tiny, sizeof tiny));
}

}  // namespace
}  // namespace orin::platform
