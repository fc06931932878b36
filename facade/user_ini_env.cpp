// Values kept in the shared BackupRecovery.ini of the data folder: marketing ids and the date of
// the first setup.
#include <cstdio>
#include <ctime>
#include <string>

#include "facade/env_text.h"
#include "facade/host_environment.h"
#include "platform/local_time.h"
#include "platform/os.h"
#include "platform/profile.h"

namespace orin {
namespace {

constexpr std::uint32_t kValueBufferSize = 260;

std::string ReadValue(const char* section, const char* key, const char* fallback,
                      const std::string& path) {
  char value[kValueBufferSize] = {};
  platform::ReadProfileString(section, key, fallback, value, kValueBufferSize, path.c_str());
  return value;
}

// The current time as the host takes it: through local time and back.
std::int64_t LocalNow() {
  std::time_t now = std::time(nullptr);
  std::tm local{};
  if (platform::LocalTime(now, local)) {
    const std::time_t back = std::mktime(&local);
    if (back != std::time_t(-1)) now = back;
  }
  return static_cast<std::int64_t>(now);
}

}  // namespace

void GetMarketingSourceId(std::string& out) {
  const std::string path = GetUserDataFolder() + platform::kPathSep + "BackupRecovery.ini";
  std::string value = ReadValue("Marketing", "SourceID", "", path);
  if (value.empty()) value = ReadValue("Marketing", "NewXid", "", path);
  if (!value.empty()) out = value;
}

std::string GetMarketingProductId() {
  const std::string path = GetMarketingIniPath();
  // No folder, no file: both reads would give their empty defaults.
  if (path.empty()) return "null";
  std::string value = ReadValue("Marketing", "NewPid", "", path);
  if (value.empty()) value = ReadValue("KDPointInfo", "DqId", "", path);
  return value.empty() ? "null" : value;
}

std::int32_t GetFirstSetupInfo(std::int64_t& firstSetupTime) {
  const std::string path = GetFirstSetupIniPath();
  std::int64_t first = facade_detail::LeadingDecimal(ReadValue("Date", "FirstSetup", "0", path));
  if (first == 0) {
    first = LocalNow();
    char text[32];
    std::snprintf(text, sizeof text, "%lld", static_cast<long long>(first));
    platform::WriteProfileString("Date", "FirstSetup", text, path.c_str());
  }
  firstSetupTime = first;
  const std::int64_t now = static_cast<std::int64_t>(std::time(nullptr));
  // Both quotients are taken as int32, as the host does; the difference is then an int32 again.
  const auto today = static_cast<std::int32_t>(now / 24 / 3600);
  const auto setupDay = static_cast<std::int32_t>(first / 86400);
  return static_cast<std::int32_t>(std::int64_t(today) - setupDay);
}

}  // namespace orin
