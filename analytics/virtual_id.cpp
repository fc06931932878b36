#include <set>

#include <json/value.h>

#include "analytics/CQuillAnalyze.h"
#include "analytics/reply_scan.h"
#include "common/json_text.h"
#include "platform/profile.h"

namespace orin {
namespace {

constexpr std::uint32_t kIniBufferSize = 260;
constexpr std::int32_t kAlreadyExists = 183;  // ERROR_ALREADY_EXISTS
constexpr const wchar_t* kBindMutexName = L"QUILL_ORINLYTICS_BIND_VIRTUAL_ID";

bool Delivered(std::uint32_t status) { return status == 200 || status == 204; }

std::string ReadStoredVid(const char* config) {
  char buffer[kIniBufferSize] = {};
  platform::ReadProfileString("Vid", "vid", "0", buffer, kIniBufferSize, config);
  return buffer;
}

}  // namespace

bool CQuillAnalyze::EnsureVirtualId() {
  const std::string config = GetUserConfigPath();
  std::string vid = ReadStoredVid(config.c_str());
  firstRun_ = platform::ReadProfileInt("Flag", "execed", 0, config.c_str()) == 0;
  if (!firstRun_ && vid != "0") return true;

  if (vid == "0") {
    firstRun_ = true;
    if (!RequestVirtualId(vid)) return false;
    // Kept even if the bind below fails: the next start then only binds.
    platform::WriteProfileString("Vid", "vid", vid.c_str(), config.c_str());
  }
  std::string body;
  if (!BuildBindBody(vid, body)) return false;
  if (!PostJson(body.c_str())) return false;
  platform::WriteProfileString("Flag", "execed", "1", config.c_str());
  return true;
}

bool CQuillAnalyze::RequestVirtualId(std::string& vid) {
  net::HttpRequestInfo request;
  request.host = vidHost_;
  request.path = vidPath_;
  // The multipart type on a GET without a body is what the endpoint has always been sent.
  request.headers = "content-type:multipart/form-data";
  request.useGet = true;
  request.secure = vidSecure_;
  net::HttpResponseInfo response;
  net::ErrorInfo error;
  transport_(response, request, error);
  if (!Delivered(response.statusCode)) return false;
  return ScanVidReply(response.body, vid);
}

bool CQuillAnalyze::PostJson(const char* body) {
  net::HttpRequestInfo request;
  request.host = vidHost_;
  request.path = vidPath_;
  request.headers = "content-type:application/json";
  request.body = body != nullptr ? body : "";
  request.secure = vidSecure_;
  request.skipReply = true;
  net::HttpResponseInfo response;
  net::ErrorInfo error;
  transport_(response, request, error);
  return Delivered(response.statusCode);
}

bool CQuillAnalyze::BuildBindBody(std::string vid, std::string& out) {
  const bool firstRun = firstRun_;
  std::set<std::string> ids;
  if (firstRun) ids.insert(deviceId_);
  Json::Value root(Json::objectValue);
  root["vid"] = vid;
  for (const std::string& id : ids) {
    if (!firstRun && id == deviceId_) continue;
    root["dev_ids"].append(id);
  }
  out = ToFastText(root);
  return true;
}

bool CQuillAnalyze::RebindVirtualId() {
  const std::string vid = ReadStoredVid(GetUserConfigPath());
  if (vid == "0") return false;
  std::string body;
  if (!BuildBindBody(vid, body)) return false;
  return PostJson(body.c_str());
}

// Never closed or released: the binding holds it until its thread ends. The engine's own error
// field, not the system's, is compared, so "already there" does not happen in practice.
platform::MutexHandle CQuillAnalyze::AcquireBindMutex() {
  platform::MutexHandle handle = platform::CreateOwnedNamedMutex(kBindMutexName);
  if (handle == nullptr) return nullptr;
  if (GetLastErrorCode() == kAlreadyExists) return platform::InvalidMutexHandle();
  return handle;
}

// The thread body is a boundary: nothing thrown in the exchange may end the host.
unsigned CQuillAnalyze::VirtualIdThread(void* engine) try {
  auto* self = static_cast<CQuillAnalyze*>(engine);
  if (self->AcquireBindMutex() == platform::InvalidMutexHandle()) return 0;
  // A first binding is posted twice; on later starts the stored vid is posted once.
  if (self->EnsureVirtualId()) self->RebindVirtualId();
  return 0;
} catch (...) {
  return 0;
}

}  // namespace orin
