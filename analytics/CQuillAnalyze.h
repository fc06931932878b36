#pragma once
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

#include <json/value.h>
#include <orinpoint/EventRecord.h>
#include <orinpoint/IQuillAnalyze.h>

#include "net/http_client.h"
#include "platform/named_mutex.h"
#include "platform/thread.h"

namespace orin {

// The analytics engine. The host's thread fills and posts events; a lazily started worker thread
// drains the queue. The queue has its lock; what a point is made of (the property maps, the
// pending numbers) has another, since the facade's thread and the host's thread both fill and
// collect points. Neither lock is held across a file, a process start or the network; the rest
// of the state belongs to whichever thread runs Initialize. Every call the engine makes to one of its own
// virtual operations goes through the virtual table, so an override changes every path using it.
//
// Exceptions stop at the IQuillAnalyze operations: each catches whatever its work throws (an
// allocation, JsonCpp, an override of one of the engine's own operations) and returns false (or
// stores nothing); the worker's thread body does the same for each event, which is then dropped
// like any event that could not be dispatched. The engine's own operations let exceptions
// through to those boundaries.
//
// Lifetime: the process-wide engine (GetAnalyzeEngine) lives in static storage, so its Release
// does nothing; its worker is stopped at process exit, before anything it uses is destroyed. Any
// other engine must have been made with new; its Release deletes it. Call StopWorker before such
// an engine with a running worker goes away.
class CQuillAnalyze : public IQuillAnalyze {
 public:
  CQuillAnalyze();
  CQuillAnalyze(const CQuillAnalyze&) = delete;
  CQuillAnalyze& operator=(const CQuillAnalyze&) = delete;

  // IQuillAnalyze, in its order.
  bool Initialize(const std::string& cachePath, const std::string& collectAddress, bool ignored,
                  bool hostFlag, const char* xid) override;
  bool InitializeWithIdFile(const std::string& cachePath, const std::string& idFilePath,
                            const std::string& collectAddress, const char* xid) override;
  void SetRootPrefix(std::string prefix) override;
  void SetEventIds(std::int32_t l, std::int32_t n) override;
  void SetCommonStringAt(std::int32_t index, const std::string& value) override;
  void SetCommonString(std::string key, const std::string& value) override;
  void SetCommonInt64At(std::int32_t index, std::int64_t value) override;
  void SetCommonInt64(std::string key, std::int64_t value) override;
  void SetCommonIntAt(std::int32_t index, std::int32_t value) override;
  void SetCommonInt(std::string key, std::int32_t value) override;
  void SetEventStringAt(std::int32_t index, const std::string& value) override;
  void SetEventString(std::string key, const std::string& value) override;
  void SetEventInt64At(std::int32_t index, std::int64_t value) override;
  void SetEventInt64(std::string key, std::int64_t value) override;
  void SetEventIntAt(std::int32_t index, std::int32_t value) override;
  void SetEventInt(std::string key, std::int32_t value) override;
  void SetCommonDetailString(std::string key, const std::string& value) override;
  void SetCommonDetailInt64(std::string key, std::int64_t value) override;
  void SetCommonDetailInt(std::string key, std::int32_t value) override;
  void SetEventDetailString(std::string key, const std::string& value) override;
  void SetEventDetailInt64(std::string key, std::int64_t value) override;
  void SetEventDetailInt(std::string key, std::int32_t value) override;
  void SetForceCache(bool forceCache) override;
  void SetSendEnabled(bool sendEnabled) override;
  void SetAuxText(const std::string& value) override;
  bool ReportNow(bool cacheOnly) override;
  bool LaunchCacheSubmit() override;
  bool PostEvent(std::int32_t dispatch) override;
  bool StopWorker() override;
  std::int32_t GetLastErrorCode() override;
  void Release() override;
  const char* GetUserConfigPath() override;
  void ApplyUserExperience() override;
  void SyncDeviceId(const char* xid) override;

  // The engine's own operations, in their order; the destructor takes the first slot.
  virtual ~CQuillAnalyze();
  virtual void CollectEvent(EventRecord& record);
  virtual bool StoreEvent(const EventRecord& record);
  virtual bool SendEvent(const EventRecord& record, bool wait);
  virtual bool SetCacheAndAddress(const std::string& cachePath, const std::string& collectAddress);
  virtual void RequestStop();
  virtual void WorkerLoop();
  virtual bool EnsureVirtualId();
  virtual bool AppendJsonText(const Json::Value& value);
  virtual bool AppendTextToCache(const char* text);
  virtual void ClearEventProperties();
  virtual bool PrepareUserConfig(bool hostFlag);
  virtual bool LoadEndpoints();
  virtual const char* GetConfigIniPath();
  virtual bool IsSecondaryEndpoint();
  virtual bool LaunchSubmit(const Json::Value& events, bool wait);
  virtual const char* GetHelperPath();
  // Clears a text whose escaped form would not fit the launcher's 1024-byte buffer; a launch
  // refuses an empty text, so an oversized event is never cut into broken JSON.
  virtual void EscapeQuotes(std::string& text);
  virtual void StampEventTime();
  virtual bool IsUserExperienceOn();
  virtual bool RequestVirtualId(std::string& vid);
  virtual bool PostJson(const char* body);
  virtual bool BuildBindBody(std::string vid, std::string& out);
  virtual bool RebindVirtualId();
  virtual bool LaunchCacheUpdate();

  // The one way the engine reaches the network; net::PostRequest unless a test replaces it
  // before the engine is used.
  using HttpTransport = std::function<bool(net::HttpResponseInfo&, const net::HttpRequestInfo&,
                                           net::ErrorInfo&)>;
  void SetHttpTransport(HttpTransport transport) { transport_ = std::move(transport); }

  // Asks the tracking host for a device id: 0 with deviceId set, 1 when the server answered
  // without a usable id, -1 when the request could not be sent.
  std::int32_t FetchDeviceId(const char* xid, std::string& deviceId);
  // The binding's named mutex: a handle, nullptr, or InvalidMutexHandle() for "already there".
  platform::MutexHandle AcquireBindMutex();
  // Thread body (argument: the engine): binds the virtual id, then posts the binding once more.
  static unsigned VirtualIdThread(void* engine);

  // Runs `fill` (setter calls) under the state lock, so another thread's point cannot mix into
  // it. FillAndReport also collects the point in the same hold, as ReportNow does, and stores or
  // hands it over after the lock is released; ReportNow is FillAndReport with nothing to fill.
  void FillEvent(const std::function<void()>& fill);
  bool FillAndReport(const std::function<void()>& fill, bool cacheOnly);

  // Splits a virtual-id URL into host, path and scheme; a URL without a path changes nothing.
  void ParseVidUrl(const std::string& url);
  // Moves the cache file to its "-bak" name under the cache lock, then starts the cache update.
  void BackupCacheFile();
  // Path of BackupRecovery.ini beside the host executable; computed once per process.
  static const char* GetBackupRecoveryIniPath();

  // Read-only views of the state, for hosts' diagnostics and tests.
  bool isInitialized() const { return initialized_; }
  bool isFirstRun() const { return firstRun_; }
  bool isVidSecure() const { return vidSecure_; }
  std::string cachePath() const { return CachePath(); }
  const std::string& collectAddress() const { return collectAddress_; }
  const std::string& resAddress() const { return resAddress_; }
  const std::string& vidHost() const { return vidHost_; }
  const std::string& vidPath() const { return vidPath_; }
  const std::string& deviceId() const { return deviceId_; }
  const std::string& auxText() const { return auxText_; }
  const std::string& rootPrefix() const { return rootPrefix_; }
  std::int32_t pendingL() const { return pendingL_; }
  std::int32_t pendingN() const { return pendingN_; }
  const PropertyMap& commonProperties() const { return commonProperties_; }
  const PropertyMap& eventProperties() const { return eventProperties_; }
  const PropertyMap& commonDetails() const { return commonDetails_; }
  const PropertyMap& eventDetails() const { return eventDetails_; }
  bool hasWorkerThread() const { return workerThread_ != InvalidThread(); }
  std::size_t queuedCount();

  // "No worker runs"; distinct from nullptr, which a failed start leaves behind.
  static platform::ThreadHandle InvalidThread();

 private:
  friend IQuillAnalyze* GetAnalyzeEngine();

  // map[key] = value under the state lock.
  void Put(PropertyMap& map, std::string key, PropertyValue value);
  // The worker's dispatch table for one record taken from the queue.
  void DispatchQueued(const EventRecord& record);
  // Starts the helper with a complete command line; waits up to 20 s when asked.
  bool StartHelper(const std::string& commandLine, bool wait);
  // The cache-submit and cache-update launches: refused while uninitialized or sending is off.
  bool LaunchCacheHelper(const char* option);
  // The worker reads the cache path while the host's thread may set it again.
  std::string CachePath() const;
  void SetCachePath(std::string path);
  // The last step of both initializations: the device id and the source id into the common
  // values, and the engine on.
  void FinishInitialize(const std::string& deviceId, const char* xid);
  // Exit handlers and static destructors run while other threads still do (POSIX), so the
  // process-wide engine stops its worker from an exit handler registered after every object the
  // worker uses has been built: it runs before any of them is destroyed.
  void StopWorkerAtExit();

  platform::ThreadHandle workerThread_;
  std::atomic<bool> stopRequested_{false};
  std::atomic<bool> sendEnabled_{true};
  std::atomic<bool> forceCache_{false};
  std::atomic<bool> initialized_{false};
  bool vidSecure_ = false;
  // Also written by VirtualIdThread.
  std::atomic<bool> firstRun_{true};
  std::string cachePath_;  // written under cachePathLock_; read under it off the host's thread
  mutable std::mutex cachePathLock_;
  std::string userConfigPath_;
  std::string collectAddress_;
  std::string resAddress_;
  std::string vidHost_;
  std::string vidPath_;
  std::string deviceId_;
  std::string reserved_;
  std::int32_t pendingL_ = 0;
  std::int32_t pendingN_ = 0;
  PropertyMap commonProperties_;
  PropertyMap eventProperties_;
  PropertyMap commonDetails_;
  PropertyMap eventDetails_;
  std::string auxText_;
  std::int32_t lastError_ = 0;
  std::deque<EventRecord> queue_;
  std::mutex queueLock_;
  // Recursive: setters reach other setters, and a fill calls them while holding it.
  mutable std::recursive_mutex stateLock_;
  std::string rootPrefix_;
  bool processWide_ = false;
  HttpTransport transport_ = net::PostRequest;
};

}  // namespace orin
