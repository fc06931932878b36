#pragma once
#include <cstdint>
#include <string>

// What the helper needs from the files it shares with the module, read afresh on every run.

namespace orin::helper {

struct Endpoint {
  std::string host;
  std::string path;
  bool secure = false;
};

struct Settings {
  std::string cachePath;       // [Analyze] "Cache" of OrAnacfg.ini beside the helper
  std::string address;         // [Analyze] "Address"; the module's built-in URL when absent
  std::string userConfigPath;  // [Analyze] "usercfg"
  bool experienceOn = true;    // [UserExperience] "ExperienceValue" of other.ini, 1 = on
  // Time limits of this run (command-line options; the module never passes them).
  std::uint32_t requestDeadlineMs = 120000;  // one collect request, redirects included
  std::uint32_t lockWaitMs = 30000;          // for a running helper to finish
};

// Reads OrAnacfg.ini and other.ini beside the running executable, as the module's engine does.
Settings ReadSettings();

// Splits an http:// or https:// URL the way the engine splits its own; false when it has no
// scheme or no path.
bool SplitAddress(const std::string& url, Endpoint& out);

// The device id ([User] "DevID") of usercfg.ini; empty when there is none.
std::string ReadDeviceId(const std::string& userConfigPath);

}  // namespace orin::helper
