#include <cstdio>
#include <string>

#include "facade/env_text.h"
#include "facade/host_environment.h"
#include "platform/file_version.h"
#include "platform/host_paths.h"
#include "platform/os.h"

namespace orin {

// The version of "Safekeep.exe" beside the host, read as "%d.%d.%d" text and turned into a
// number; the file is reached by its wide path, so any host folder name will do.
std::int32_t GetProductVersionNumber() {
  const std::string path = platform::HostExecutablePathUtf8(1024);
  const std::string::size_type lastSep = path.rfind(platform::kPathSep);
  const std::string folder = lastSep == std::string::npos ? std::string() : path.substr(0, lastSep + 1);
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
