#include "platform/os_version.h"

#include <cstdlib>
#include <cstring>
#include <fstream>

#include <sys/utsname.h>

namespace orin::platform {

// Nothing to hold open: the "key" stands for the os-release file, which every read opens afresh.
struct OsVersionKey {};

namespace {

OsVersionKey gKey;

std::string OsReleasePath() {
  const char* env = std::getenv("ORIN_OS_RELEASE");
  if (env != nullptr && *env != '\0') return env;
  if (std::ifstream("/etc/os-release").is_open()) return "/etc/os-release";
  return "/usr/lib/os-release";
}

// A shell-style value: one pair of quotes removed, backslash escapes inside double quotes undone.
std::string Unquote(const std::string& raw) {
  if (raw.size() < 2 || (raw[0] != '"' && raw[0] != '\'') || raw.back() != raw[0]) return raw;
  const std::string inner = raw.substr(1, raw.size() - 2);
  if (raw[0] == '\'') return inner;
  std::string out;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    if (inner[i] == '\\' && i + 1 < inner.size()) ++i;
    out += inner[i];
  }
  return out;
}

bool PrettyName(std::string& out) {
  std::ifstream in(OsReleasePath());
  std::string line;
  while (std::getline(in, line)) {
    if (line.compare(0, 12, "PRETTY_NAME=") == 0) {
      out = Unquote(line.substr(12));
      return true;
    }
  }
  return false;
}

}  // namespace

OsVersionKey* OpenOsVersionKey() {
  return std::ifstream(OsReleasePath()).is_open() ? &gKey : nullptr;
}

bool ReadOsVersionText(OsVersionKey* key, const char* name, bool wide, std::uint32_t bufferBytes,
                       std::string& out) {
  if (key == nullptr || name == nullptr) return false;
  std::string value;
  if (std::strcmp(name, "ProductName") == 0) {
    if (!PrettyName(value)) return false;
  } else if (std::strcmp(name, "CurrentBuildNumber") == 0) {
    value = "0";
  } else {
    return false;
  }
  const std::uint64_t needed = (std::uint64_t(value.size()) + 1) * (wide ? 2 : 1);
  if (needed > bufferBytes) return false;
  out = value;
  return true;
}

void CloseOsVersionKey(OsVersionKey*) {}

RtlVersionStatus RtlVersionNumbers(VersionNumbers& out) {
  return LegacyVersionNumbers(out) ? RtlVersionStatus::kOk : RtlVersionStatus::kNoFunction;
}

bool LegacyVersionNumbers(VersionNumbers& out) {
  struct utsname names;
  if (::uname(&names) != 0) return false;
  char* end = nullptr;
  const unsigned long major = std::strtoul(names.release, &end, 10);
  const unsigned long minor = (end != nullptr && *end == '.') ? std::strtoul(end + 1, nullptr, 10) : 0;
  out.major = static_cast<std::uint32_t>(major);
  out.minor = static_cast<std::uint32_t>(minor);
  out.build = 0;
  return true;
}

}  // namespace orin::platform
