#pragma once
#include <cstdint>
#include <string>

// The analytics engine as its hosts see it. The order of the operations is part of the design:
// add nothing in between (slot rules, and how a virtual destructor shifts slots per compiler, in
// IAnalyticsFile.h). One host thread fills and posts events; the engine's worker thread only
// reads what was posted. No operation throws.

namespace orin {

class IQuillAnalyze {
 public:
  // Configuration.
  virtual bool Initialize(const std::string& cachePath, const std::string& collectAddress,
                          bool ignored, bool hostFlag, const char* xid) = 0;
  virtual bool InitializeWithIdFile(const std::string& cachePath, const std::string& idFilePath,
                                    const std::string& collectAddress, const char* xid) = 0;
  virtual void SetRootPrefix(std::string prefix) = 0;

  // Event intake. "At" forms name the key by its index in the short-key table (0..15).
  virtual void SetEventIds(std::int32_t l, std::int32_t n) = 0;
  virtual void SetCommonStringAt(std::int32_t index, const std::string& value) = 0;
  virtual void SetCommonString(std::string key, const std::string& value) = 0;
  virtual void SetCommonInt64At(std::int32_t index, std::int64_t value) = 0;
  virtual void SetCommonInt64(std::string key, std::int64_t value) = 0;
  virtual void SetCommonIntAt(std::int32_t index, std::int32_t value) = 0;
  virtual void SetCommonInt(std::string key, std::int32_t value) = 0;
  virtual void SetEventStringAt(std::int32_t index, const std::string& value) = 0;
  virtual void SetEventString(std::string key, const std::string& value) = 0;
  virtual void SetEventInt64At(std::int32_t index, std::int64_t value) = 0;
  virtual void SetEventInt64(std::string key, std::int64_t value) = 0;
  virtual void SetEventIntAt(std::int32_t index, std::int32_t value) = 0;
  virtual void SetEventInt(std::string key, std::int32_t value) = 0;
  virtual void SetCommonDetailString(std::string key, const std::string& value) = 0;
  virtual void SetCommonDetailInt64(std::string key, std::int64_t value) = 0;
  virtual void SetCommonDetailInt(std::string key, std::int32_t value) = 0;
  virtual void SetEventDetailString(std::string key, const std::string& value) = 0;
  virtual void SetEventDetailInt64(std::string key, std::int64_t value) = 0;
  virtual void SetEventDetailInt(std::string key, std::int32_t value) = 0;
  virtual void SetForceCache(bool forceCache) = 0;
  virtual void SetSendEnabled(bool sendEnabled) = 0;
  virtual void SetAuxText(const std::string& value) = 0;

  // Dispatch.
  virtual bool ReportNow(bool cacheOnly) = 0;
  virtual bool LaunchCacheSubmit() = 0;
  virtual bool PostEvent(std::int32_t dispatch) = 0;
  virtual bool StopWorker() = 0;
  virtual std::int32_t GetLastErrorCode() = 0;

  // Lifetime and user configuration.
  virtual void Release() = 0;
  virtual const char* GetUserConfigPath() = 0;
  virtual void ApplyUserExperience() = 0;
  virtual void SyncDeviceId(const char* xid) = 0;

 protected:
  // Not virtual: the implementation's own destructor takes the first slot after the interface's
  // (34; and 35 too under GCC and MinGW, which give a virtual destructor two entries).
  ~IQuillAnalyze() = default;
};

// The process-wide engine, built on first use and destroyed at module unload.
IQuillAnalyze* GetAnalyzeEngine();

}  // namespace orin
