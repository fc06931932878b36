#include "helper/helper_settings.h"

#include "analytics/CQuillAnalyze.h"
#include "identity/CQuillCookiesMgr.h"

namespace orin::helper {

// The engine already knows where OrAnacfg.ini lies (beside the running executable, which here is
// the helper), its keys, defaults and the experience switch; the helper reads them through it.
Settings ReadSettings() {
  CQuillAnalyze engine;
  engine.LoadEndpoints();
  Settings s;
  s.cachePath = engine.cachePath();
  s.address = engine.collectAddress();
  const char* userConfig = engine.GetUserConfigPath();
  s.userConfigPath = userConfig != nullptr ? userConfig : "";
  s.experienceOn = engine.IsUserExperienceOn();
  return s;
}

bool SplitAddress(const std::string& url, Endpoint& out) {
  if (url.find("https://") == std::string::npos && url.find("http://") == std::string::npos) {
    return false;
  }
  CQuillAnalyze engine;
  engine.ParseVidUrl(url);
  if (engine.vidHost().empty() || engine.vidPath().empty()) return false;
  out.host = engine.vidHost();
  out.path = engine.vidPath();
  out.secure = engine.isVidSecure();
  return true;
}

std::string ReadDeviceId(const std::string& userConfigPath) {
  std::string id;
  if (userConfigPath.empty()) return id;
  if (!GetCookiesMgr()->GetDevId(userConfigPath.c_str(), id, false)) id.clear();
  return id;
}

}  // namespace orin::helper
