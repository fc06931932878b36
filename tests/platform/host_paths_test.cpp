#include "platform/host_paths.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/os.h"

namespace orin::platform {
namespace {

TEST(HostPaths, NameThisProgramAndCutLikeTheWin32Calls) {
  char full[1024];
  const std::uint32_t n = HostExecutablePath(full, sizeof full);
  const std::string path(full);
  ASSERT_EQ(path.size(), n);
  const std::string name = std::string(1, kPathSep) + "platform_tests" + (kIsWindows ? ".exe" : "");
  ASSERT_GT(path.size(), name.size());
  EXPECT_EQ(path.substr(path.size() - name.size()), name);
  // A short buffer gets size-1 characters and the NUL; the result is then the buffer size.
  for (const std::uint32_t size : {6u, n}) {
    std::string cut(size + 4, '#');
    EXPECT_EQ(HostExecutablePath(&cut[0], size), size);
    EXPECT_EQ(std::string(cut.c_str()), path.substr(0, size - 1));
  }

  char data[260];
  ASSERT_TRUE(CommonAppDataFolder(data, sizeof data));
  const std::string folder(data);
  ASSERT_FALSE(folder.empty());
  EXPECT_NE(folder.back(), kPathSep);
  EXPECT_EQ(kIsWindows ? folder.substr(1, 2) : folder.substr(0, 1),
            kIsWindows ? std::string(":") + kPathSep : "/");
  char tiny[2];
  EXPECT_FALSE(CommonAppDataFolder(tiny, sizeof tiny));
}

}  // namespace
}  // namespace orin::platform
