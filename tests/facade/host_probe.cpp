// Test child: runs host probes in a fresh process, so each run sees its own folder beside the
// executable and its own cached paths. "host_probe OUT [NAME=VALUE...] PROBE..." sets the
// variables, sends stdout (the probes' own messages included) to OUT and prints "probe=result"
// lines in the order asked.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "facade/host_environment.h"

namespace {

std::string Run(const std::string& probe) {
  using namespace orin;
  if (probe == "folder") return GetUserDataFolder();
  if (probe == "usercfg") return GetUserConfig();
  if (probe == "marketing-ini") return GetMarketingIniPath();
  if (probe == "product-id") return GetMarketingProductId();
  if (probe == "switch") return std::to_string(IsCollectSwitchSet());
  if (probe == "edition") return std::to_string(GetEditionCode());
  if (probe == "variant") return std::to_string(GetProductVariant());
  if (probe == "copier") return std::to_string(IsCopierEdition());
  if (probe == "version") return std::to_string(GetProductVersionNumber());
  if (probe == "os-build") return std::to_string(GetOsBuildNumber());
  if (probe == "win11") return std::to_string(IsWindows11());
  if (probe == "os-name") {
    std::string name = "(unchanged)";
    GetOsProductName(name);
    return name;
  }
  return "?";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || std::freopen(argv[1], "w", stdout) == nullptr) return 2;
  for (int i = 2; i < argc; ++i) {
    if (std::strchr(argv[i], '=') != nullptr) {
      putenv(argv[i]);
    } else {
      const std::string result = Run(argv[i]);
      std::printf("%s=%s\n", argv[i], result.c_str());
    }
  }
  return std::fclose(stdout) == 0 ? 0 : 3;
}
