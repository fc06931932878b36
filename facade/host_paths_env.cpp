// Where the module's per-machine files live and which host files it reads, with the platform's
// separator. Paths are narrow text, but for the two host files reached the wide way (Version.ini
// here, Safekeep.exe in the version probe), which are UTF-8 so that a host folder of any name
// still finds them.
#include <cstdio>
#include <cstring>
#include <string>

#include "facade/host_environment.h"
#include "facade/host_files.h"
#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/last_error.h"
#include "platform/os.h"
#include "platform/profile.h"

namespace orin {
namespace {

using platform::kPathSep;

constexpr std::uint32_t kPathBufferSize = 260;
constexpr std::uint32_t kWidePathBufferSize = 1024;

std::string WithSep(const char* name) { return std::string(1, kPathSep) + name; }

// The common application-data folder + "QuillBR", created when only its last level is missing.
// createFailed tells a failed creation (already reported with `caller`) from the rest.
std::string QuillFolder(const char* caller, bool& createFailed) {
  char buffer[kPathBufferSize] = {};
  platform::CommonAppDataFolder(buffer, kPathBufferSize);
  // A bounded append: an over-long folder is cut rather than overrunning the buffer.
  std::string folder = std::string(buffer) + WithSep("QuillBR");
  if (folder.size() >= kPathBufferSize) folder.resize(kPathBufferSize - 1);
  createFailed = false;
  // Only a missing last level is created; a missing folder above it is left alone, silently.
  if (platform::QueryPath(folder.c_str()) == platform::PathStatus::kNotFound &&
      !platform::CreateDir(folder.c_str())) {
    std::printf("Failed to CreateDirectory by %s, %d", caller, platform::LastErrorCode());
    createFailed = true;
  }
  return folder;
}

// The cached forms keep their path even after a failed creation.
std::string DataPath(const char* fileName) {
  bool failed = false;
  return QuillFolder("GetLmAnalyticsPath()", failed) + fileName;
}

std::string UncachedDataPath(const std::string& fileName) {
  bool failed = false;
  const std::string folder = QuillFolder("GetUserConfig()", failed);
  return failed ? std::string() : folder + fileName;
}

// Version.ini beside the host, as built in a wide buffer of `size` characters; empty when the
// host path has no separator or the name does not fit.
std::string VersionIniIn(std::uint32_t size) {
  std::string path = platform::HostExecutablePathUtf8(size);
  const std::string::size_type lastSep = path.rfind(kPathSep);
  if (lastSep == std::string::npos) return std::string();
  path.replace(lastSep, std::string::npos, WithSep("Version.ini"));
  if (platform::WideLength(path) >= size) return std::string();
  return path;
}

}  // namespace

// The cached paths are made once, on first use, under the runtime's guard for function-local
// statics: the facade thread and a host thread may ask at the same time. They are never
// destroyed, since the module's thread may still use them while the process exits.
std::string GetUserDataFolder() {
  static const std::string& cache = *new std::string(DataPath(""));
  return cache;
}

std::string GetFirstSetupIniPath() {
  static const std::string& cache = *new std::string(DataPath(WithSep("BackupRecovery.ini").c_str()));
  return cache;
}

std::string GetCacheDataPath() {
  static const std::string& cache = *new std::string(DataPath(WithSep("KD_OF.dat").c_str()));
  return cache;
}

std::string GetUserConfig() { return UncachedDataPath(WithSep("usercfg.ini")); }

std::string GetMarketingIniPath() { return UncachedDataPath(WithSep("BackupRecovery.ini")); }

// Filled once like the cached paths: the host's own location does not change while it runs.
const char* GetVersionIniPath() {
  static const std::string path = VersionIniIn(kWidePathBufferSize);
  return path.empty() ? nullptr : path.c_str();
}

std::string facade_detail::ShortVersionIniPath() { return VersionIniIn(kPathBufferSize); }

// Deliberately inverted: one character other than "1" selects the secondary endpoint; "1",
// nothing, or anything longer keeps the primary one.
bool IsCollectSwitchSet() {
  static const std::string& path = *new std::string(platform::HostRelativePath("BackupRecovery.ini"));
  char value[kPathBufferSize] = {};
  platform::ReadProfileString("EventTap", "switch", "", value, kPathBufferSize, path.c_str());
  return std::strlen(value) == 1 && value[0] != '1';
}

}  // namespace orin
