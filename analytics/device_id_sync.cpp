#include <json/value.h>

#include "analytics/CQuillAnalyze.h"
#include "analytics/endpoints.h"
#include "analytics/reply_scan.h"
#include "common/json_text.h"
#include "identity/CQuillCookiesMgr.h"
#include "platform/profile.h"
#include "platform/thread.h"

namespace orin {
namespace {

constexpr std::uint32_t kRetryPauseMs = 100;

bool Delivered(std::uint32_t status) { return status == 200 || status == 204; }

}  // namespace

void CQuillAnalyze::SyncDeviceId(const char* xid) try {
  PrepareUserConfig(false);
  const std::string config = GetUserConfigPath();
  IQuillCookiesMgr* cookies = GetCookiesMgr();
  std::string id;
  cookies->GetDevId(config.c_str(), id, false);
  const std::uint32_t suc = platform::ReadProfileInt("Net", "suc", 0, config.c_str());
  if (!id.empty() && suc != 0) return;

  const std::string stored = id;
  id.clear();
  const std::int32_t result = FetchDeviceId(xid, id);
  if (result == 0) {
    cookies->SaveDevId(config.c_str(), id);
    BackupCacheFile();
  } else if (stored.empty()) {
    cookies->GetDevId(config.c_str(), id, true);
  }
  // Written whenever the server was reached, usable answer or not: a stored id is not asked for
  // again on the next start.
  if (result != -1) platform::WriteProfileString("Net", "suc", "1", config.c_str());
} catch (...) {
}

std::int32_t CQuillAnalyze::FetchDeviceId(const char* xid, std::string& deviceId) {
  Json::Value root(Json::objectValue);
  root["xid"] = xid != nullptr ? xid : "";
  net::HttpRequestInfo request;
  request.host = kTrackingHost;
  request.path = kDeviceIdPath;
  request.headers = "content-type:application/json";
  request.body = ToFastText(root);
  request.secure = vidSecure_;
  net::HttpResponseInfo response;
  net::ErrorInfo error;
  if (!transport_(response, request, error)) return -1;
  if (!Delivered(response.statusCode) && response.body.empty()) {
    platform::SleepMs(kRetryPauseMs);
    net::ErrorInfo retryError;
    transport_(response, request, retryError);
    if (!Delivered(response.statusCode) && response.body.empty()) return 1;
  }
  // A body is read whatever the status: some servers put the id into an error reply.
  return ScanDeviceIdReply(response.body, deviceId) ? 0 : 1;
}

}  // namespace orin
