#include <cstdio>
#include <cstring>
#include <string>

#include "facade/env_text.h"
#include "facade/host_environment.h"
#include "platform/file_version.h"
#include "platform/host_paths.h"
#include "platform/os.h"

namespace orin {

// The version of "Safekeep.exe" beside the host, read as "%d.%d.%d" text and turned into a
// number; the file is opened by its narrow path.
std::int32_t GetProductVersionNumber() {
  char path[1024] = {};
  platform::HostExecutablePath(path, sizeof path);
  char* lastSep = std::strrchr(path, platform::kPathSep);
  const std::string folder = lastSep == nullptr ? std::string() : std::string(path, lastSep + 1);
  const std::string exe = folder + "Safekeep.exe";

  std::string text;
  platform::FileVersion version;
  if (platform::ReadFileVersion(exe.c_str(), version)) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%d.%d.%d", version.part[0], version.part[1],
                  version.part[2]);
    text = buffer;
  }
  return facade_detail::ProductVersionFromText(text);
}

}  // namespace orin
