#include <string>

#include "facade/host_environment.h"
#include "facade/host_files.h"
#include "platform/profile.h"

namespace orin {
namespace {

constexpr std::uint32_t kValueBufferSize = 260;

// Without a Version.ini path every read gives its default.
std::int32_t ReadVersionInt(const std::string& path, const char* section, const char* key,
                            std::int32_t fallback) {
  if (path.empty()) return fallback;
  return static_cast<std::int32_t>(platform::ReadProfileIntUtf8(section, key, fallback, path.c_str()));
}

std::int32_t CodeForVariant(std::int32_t variant) {
  switch (variant) {
    case 2: return 51;
    case 3: return 53;
    case 4: return 54;
    case 5: return 55;
    case 8: return 50;
    case 9: return 52;
    case 10:
    case 11: return 100;
    case 17: return 1000;
    default: return 1001;
  }
}

}  // namespace

bool IsCopierEdition() {
  const std::string path = facade_detail::ShortVersionIniPath();
  if (path.empty()) return false;
  return platform::ReadProfileStringUtf8("cust", "cust_type", "null", kValueBufferSize,
                                         path.c_str()) == "QL_Copier";
}

std::int32_t GetEditionCode() {
  const std::string path = facade_detail::ShortVersionIniPath();
  const std::int32_t versionCode = ReadVersionInt(path, "VersionInfo", "versionCode", 17);
  const std::int32_t variant = ReadVersionInt(path, "ProductVersion", "v", 0);
  switch (versionCode) {
    case 2: return 1;
    case 3: return 2;
    case 4: return 3;
    case 5: return 4;
    case 6: return 5;
    case 7: return CodeForVariant(variant);
    case 8: return 50;
    case 9: return 8;
    default: return 1001;
  }
}

// An explicit 11 reads like a missing key and gives 3, deliberately; no host path gives 11.
std::int32_t GetProductVariant() {
  const char* path = GetVersionIniPath();
  if (path == nullptr) return 11;
  const auto variant =
      static_cast<std::int32_t>(platform::ReadProfileIntUtf8("ProductVersion", "v", 11, path));
  return variant == 11 ? 3 : variant;
}

}  // namespace orin
