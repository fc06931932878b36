#pragma once
#include <string>

namespace orin {

// The machine's device id ("dev_id_" + lower-case GUID) kept in [User] "DevID" of an INI file.
// Stateless; one process-wide instance (GetCookiesMgr); safe from any thread.
class IQuillCookiesMgr {
 public:
  virtual bool GetOrCreateDevId(const char* iniPath, std::string& devId) = 0;
  virtual bool GetDevId(const char* iniPath, std::string& devId, bool createIfMissing) = 0;
  virtual bool SaveDevId(const char* iniPath, const std::string& devId) = 0;

 protected:
  ~IQuillCookiesMgr() = default;
};

}  // namespace orin
