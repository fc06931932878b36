#include "identity/CQuillCookiesMgr.h"

#include <cstdio>

#include "platform/files.h"
#include "platform/guid.h"
#include "platform/os.h"
#include "platform/profile.h"

namespace orin {
namespace {

constexpr const char* kSection = "User";
constexpr const char* kKey = "DevID";

}  // namespace

void CQuillCookiesMgr::ReadDevId(const char* iniPath, std::string& devId) {
  char buffer[520] = {};
  if (platform::ReadProfileString(kSection, kKey, "", buffer, sizeof buffer, iniPath) != 0) {
    devId = buffer;
  }
}

bool CQuillCookiesMgr::CreateAndSave(const char* iniPath, std::string& devId) {
  platform::Guid guid;
  if (!platform::CreateGuid(&guid)) return false;
  char text[260] = {};
  std::snprintf(text, sizeof text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(guid.data1), static_cast<unsigned>(guid.data2),
                static_cast<unsigned>(guid.data3), guid.data4[0], guid.data4[1], guid.data4[2],
                guid.data4[3], guid.data4[4], guid.data4[5], guid.data4[6], guid.data4[7]);
  const std::string id = std::string("dev_id_") + text;
  // Through the virtual slot, so a derived manager's storage is used.
  SaveDevId(iniPath, id);
  devId = id;
  return true;
}

// The three interface operations are where exceptions stop (a failed allocation, or an override
// of SaveDevId): each returns false then, with devId as it was.
bool CQuillCookiesMgr::GetOrCreateDevId(const char* iniPath, std::string& devId) try {
  std::string stored;
  ReadDevId(iniPath, stored);
  if (!stored.empty()) {
    devId = stored;
    return true;
  }
  return CreateAndSave(iniPath, devId);
} catch (...) {
  return false;
}

bool CQuillCookiesMgr::GetDevId(const char* iniPath, std::string& devId, bool createIfMissing) try {
  std::string stored;
  ReadDevId(iniPath, stored);
  if (!stored.empty()) {
    devId = stored;
    return true;
  }
  if (!createIfMissing) return false;
  return CreateAndSave(iniPath, devId);
} catch (...) {
  return false;
}

bool CQuillCookiesMgr::SaveDevId(const char* iniPath, const std::string& devId) try {
  if (iniPath == nullptr) return true;
  const std::string path = iniPath;
  const std::size_t sep = path.rfind(platform::kPathSep);
  if (sep != std::string::npos) {
    // One level only: a missing parent is left alone and the write below then fails quietly.
    const std::string folder = path.substr(0, sep);
    if (platform::QueryPath(folder.c_str()) == platform::PathStatus::kNotFound) {
      platform::CreateDir(folder.c_str());
    }
  }
  platform::WriteProfileString(kSection, kKey, devId.c_str(), iniPath);
  return true;
} catch (...) {
  return true;  // whatever the write did, as always
}

CQuillCookiesMgr* GetCookiesMgr() {
  static CQuillCookiesMgr instance;
  return &instance;
}

}  // namespace orin
