#include <cstring>
#include <utility>

#include "analytics/CQuillAnalyze.h"
#include "analytics/endpoints.h"
#include "identity/CQuillCookiesMgr.h"
#include "platform/files.h"
#include "platform/host_paths.h"
#include "platform/os.h"
#include "platform/profile.h"

namespace orin {
namespace {

using platform::kPathSep;

constexpr std::uint32_t kIniBufferSize = 260;
constexpr std::uint32_t kPathBufferSize = 260;
constexpr std::int32_t kPathNotFound = 2;  // ERROR_FILE_NOT_FOUND

std::string ReadIniString(const char* section, const char* key, const std::string& fallback,
                          const char* path) {
  char buffer[kIniBufferSize] = {};
  platform::ReadProfileString(section, key, fallback.c_str(), buffer, kIniBufferSize, path);
  return buffer;
}

std::string UrlOf(const char* host, const char* path) {
  return std::string("https://") + host + path;
}

}  // namespace

// The cached paths are never destroyed: the module's threads may use them while the exit runs.
const char* CQuillAnalyze::GetConfigIniPath() {
  static std::string& cached = *new std::string;
  if (cached.empty()) cached = platform::HostRelativePath("OrAnacfg.ini");
  return cached.c_str();
}

const char* CQuillAnalyze::GetBackupRecoveryIniPath() {
  static std::string& cached = *new std::string;
  if (cached.empty()) cached = platform::HostRelativePath("BackupRecovery.ini");
  return cached.c_str();
}

// Deliberately inverted: one character other than "1" selects the secondary host; "1", nothing,
// or anything longer keeps the primary one.
bool CQuillAnalyze::IsSecondaryEndpoint() {
  const std::string value = ReadIniString("EventTap", "switch", "", GetBackupRecoveryIniPath());
  return value.size() == 1 && value[0] != '1';
}

bool CQuillAnalyze::IsUserExperienceOn() {
  const std::string configPath = GetConfigIniPath();
  const std::size_t lastSep = configPath.rfind(kPathSep);
  const std::string otherIni = (lastSep == std::string::npos)
                                   ? std::string(".") + kPathSep + "other.ini"
                                   : configPath.substr(0, lastSep) + kPathSep + "other.ini";
  return platform::ReadProfileInt("UserExperience", "ExperienceValue", 1, otherIni.c_str()) == 1;
}

bool CQuillAnalyze::LoadEndpoints() {
  const char* host = IsSecondaryEndpoint() ? kSecondaryCollectHost : kPrimaryCollectHost;
  const std::string vidUrl = UrlOf(host, kVidPath);
  const std::string collectUrl = UrlOf(host, kCollectPath);
  const char* ini = GetConfigIniPath();
  if (ini == nullptr || *ini == '\0') return false;
  SetCachePath(ReadIniString("Analyze", "Cache", "", ini));
  collectAddress_ = ReadIniString("Analyze", "Address", collectUrl, ini);
  userConfigPath_ = ReadIniString("Analyze", "usercfg", "", ini);
  resAddress_ = ReadIniString("Analyze", "ResAddress", collectUrl, ini);
  const std::string vidAddress = ReadIniString("Vid", "Address", vidUrl, ini);
  ParseVidUrl(vidAddress);
  return !cachePath_.empty() && !collectAddress_.empty();
}

void CQuillAnalyze::ParseVidUrl(const std::string& url) {
  vidSecure_ = false;
  bool secure = true;
  std::string::size_type at = url.find("https://");
  std::string rest;
  if (at != std::string::npos) {
    rest = url.substr(at + 8);
  } else if ((at = url.find("http://")) != std::string::npos) {
    rest = url.substr(at + 7);
    secure = false;
  } else {
    return;
  }
  // No port parsing: a ":port" stays part of the host.
  const std::string::size_type slash = rest.find('/');
  if (slash == std::string::npos) return;
  vidHost_ = rest.substr(0, slash);
  vidPath_ = rest.substr(slash);
  vidSecure_ = secure;
}

bool CQuillAnalyze::PrepareUserConfig(bool hostFlag) {
  LoadEndpoints();
  // A path already recorded is kept (the prefixed form it would get under a host is not used).
  if (!userConfigPath_.empty()) return true;

  firstRun_ = true;
  char appData[kPathBufferSize] = {};
  platform::CommonAppDataFolder(appData, kPathBufferSize);
  std::string folder = std::string(appData) + kPathSep + "QuillBR";
  // Under a host the drive ("C:") gives way to the root prefix.
  if (hostFlag) folder = rootPrefix_ + (folder.size() > 2 ? folder.substr(2) : std::string());

  // The error code read here is the engine's own, which stays 0: the folder is in practice never
  // created here, and must exist before the INI writes below can succeed.
  if (platform::QueryPath(folder.c_str()) != platform::PathStatus::kExists &&
      GetLastErrorCode() == kPathNotFound) {
    if (!platform::CreateDir(folder.c_str())) return true;
  }
  userConfigPath_ = folder + kPathSep + "usercfg.ini";
  // Under a host the placement is not remembered, so it is made afresh on every start.
  if (!hostFlag) {
    platform::WriteProfileString("Analyze", "usercfg", userConfigPath_.c_str(), GetConfigIniPath());
  }
  return true;
}

bool CQuillAnalyze::SetCacheAndAddress(const std::string& cachePath,
                                       const std::string& collectAddress) {
  if (!cachePath.empty()) {
    platform::WriteProfileString("Analyze", "Cache", cachePath.c_str(), GetConfigIniPath());
    SetCachePath(cachePath);
  }
  if (!collectAddress.empty()) {
    platform::WriteProfileString("Analyze", "Address", collectAddress.c_str(), GetConfigIniPath());
    collectAddress_ = collectAddress;
  }
  return true;
}

// Under a host (hostFlag) no exchange is made: the stored id is only read.
bool CQuillAnalyze::Initialize(const std::string& cachePath, const std::string& collectAddress,
                               bool /*ignored*/, bool hostFlag, const char* xid) try {
  if (!IsUserExperienceOn()) return false;
  PrepareUserConfig(hostFlag);

  // When OrAnacfg.ini already names both, the file wins over the arguments.
  if (cachePath_.empty() || collectAddress_.empty()) {
    if (cachePath.empty() && collectAddress.empty()) return false;
    const std::string address = collectAddress_.empty() ? collectAddress : collectAddress_;
    if (!SetCacheAndAddress(cachePath, address)) return false;
  }

  std::string deviceId;
  IQuillCookiesMgr* cookies = GetCookiesMgr();
  if (!hostFlag) {
    SyncDeviceId(xid);
    if (!cookies->GetDevId(userConfigPath_.c_str(), deviceId, false) && deviceId.empty()) {
      cookies->GetDevId(userConfigPath_.c_str(), deviceId, true);
    }
    if (deviceId.empty()) return false;
    deviceId_ = deviceId;
  } else {
    // Under a host the id only goes into the events; the member stays as it was.
    if (!cookies->GetDevId(userConfigPath_.c_str(), deviceId, false)) return false;
  }

  FinishInitialize(deviceId, xid);
  return true;
} catch (...) {
  return false;
}

// Needs neither other.ini nor usercfg.ini: the caller names every file.
bool CQuillAnalyze::InitializeWithIdFile(const std::string& cachePath,
                                         const std::string& idFilePath,
                                         const std::string& collectAddress, const char* xid) try {
  if (!SetCacheAndAddress(cachePath, collectAddress)) return false;
  std::string deviceId;
  if (!GetCookiesMgr()->GetDevId(idFilePath.c_str(), deviceId, true)) return false;
  SetCachePath(cachePath);
  collectAddress_ = collectAddress;
  FinishInitialize(deviceId, xid);
  return true;
} catch (...) {
  return false;
}

void CQuillAnalyze::FinishInitialize(const std::string& deviceId, const char* xid) {
  Put(commonProperties_, "u", PropertyValue{kPropertyText, 0, deviceId});
  if (xid != nullptr && *xid != '\0') {
    Put(commonDetails_, "xid", PropertyValue{kPropertyText, 0, xid});
  }
  initialized_ = true;
}

const char* CQuillAnalyze::GetUserConfigPath() { return userConfigPath_.c_str(); }

// Can only turn the engine off; a new Initialize turns it on again.
void CQuillAnalyze::ApplyUserExperience() try {
  if (!IsUserExperienceOn()) initialized_ = false;
} catch (...) {
}

void CQuillAnalyze::SetRootPrefix(std::string prefix) { rootPrefix_ = std::move(prefix); }

}  // namespace orin
