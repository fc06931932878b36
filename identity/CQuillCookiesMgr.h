#pragma once
#include <string>

#include <orinpoint/IQuillCookiesMgr.h>

namespace orin {

// Keeps the device id in [User] "DevID" of the INI file each caller names. Holds no state, so
// concurrent calls are safe; two first-time callers may each make an id (the last write wins).
class CQuillCookiesMgr : public IQuillCookiesMgr {
 public:
  CQuillCookiesMgr() = default;

  bool GetOrCreateDevId(const char* iniPath, std::string& devId) override;
  bool GetDevId(const char* iniPath, std::string& devId, bool createIfMissing) override;
  bool SaveDevId(const char* iniPath, const std::string& devId) override;
  virtual ~CQuillCookiesMgr() = default;

  // Assigns devId only when the key holds a non-empty value.
  void ReadDevId(const char* iniPath, std::string& devId);

 private:
  bool CreateAndSave(const char* iniPath, std::string& devId);
};

// The process-wide instance, built on first use and destroyed at unload.
CQuillCookiesMgr* GetCookiesMgr();

}  // namespace orin
