#include <cstdio>
#include <string>

#include "facade/env_text.h"
#include "facade/host_environment.h"
#include "platform/os_version.h"

namespace orin {
namespace {

constexpr std::uint32_t kProductNameBytes = 128;
constexpr std::uint32_t kBuildNumberBytes = 64;
constexpr std::int32_t kWindows11Build = 22000;

}  // namespace

void GetOsProductName(std::string& out) {
  platform::OsVersionKey* key = platform::OpenOsVersionKey();
  if (key == nullptr) return;
  std::string name;
  if (platform::ReadOsVersionText(key, "ProductName", false, kProductNameBytes, name)) out = name;
  platform::CloseOsVersionKey(key);
}

std::int32_t GetOsBuildNumber() {
  platform::OsVersionKey* key = platform::OpenOsVersionKey();
  if (key == nullptr) return 0;
  std::string text;
  // Server 2022 reports a Windows 10 build but counts as 11. This return leaves the key open,
  // as the host always has.
  if (platform::ReadOsVersionText(key, "ProductName", true, kProductNameBytes, text) &&
      text.find("Windows Server 2022") != std::string::npos) {
    return kWindows11Build;
  }
  if (!platform::ReadOsVersionText(key, "CurrentBuildNumber", true, kBuildNumberBytes, text) &&
      !platform::ReadOsVersionText(key, "CurrentBuildNumber", true, kBuildNumberBytes, text)) {
    platform::CloseOsVersionKey(key);
    return 0;
  }
  platform::CloseOsVersionKey(key);
  const std::int64_t build = facade_detail::LeadingDecimal(text);
  return static_cast<std::int32_t>(build > INT32_MAX ? INT32_MAX : build < INT32_MIN ? INT32_MIN : build);
}

bool IsWindows11() {
  platform::VersionNumbers version;
  const platform::RtlVersionStatus status = platform::RtlVersionNumbers(version);
  if (status == platform::RtlVersionStatus::kNoLibrary) {
    std::printf("Failed to load ntdll.dll\n");
  } else if (status == platform::RtlVersionStatus::kNoFunction) {
    std::printf("Failed to get RtlGetNtVersionNumbers\n");
  }
  if (status != platform::RtlVersionStatus::kOk) platform::LegacyVersionNumbers(version);
  // The registry's build wins over whatever the version calls said.
  const std::int32_t build = GetOsBuildNumber();
  const auto major = static_cast<std::int32_t>(version.major);
  const auto minor = static_cast<std::int32_t>(version.minor);
  std::printf("Current os version: %d.%d BuildID: %d\n", major, minor, build);
  const bool win11 = major >= 10 && build >= kWindows11Build;
  std::printf(win11 ? "Current OS is win11.\n" : "Current OS is not win11.\n");
  return win11;
}

}  // namespace orin
