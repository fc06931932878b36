#pragma once
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <memory>

#include <orinpoint/IEventTap.h>

#include "cache/CacheFileLock.h"

// What orinhost does as a host: load the module at run time, call its facade, wait for the
// module's thread, and show the cache. One session per process, like the product itself.

namespace orin::orinhost {

class HostSession {
 public:
  HostSession(std::ostream& out, std::ostream& err) : out_(out), err_(err) {}

  // Loads the module and takes its export; false (with a line on err) when either fails.
  // The cache is counted first, so later waits know what is new.
  bool Load(const std::string& modulePath);
  // Runs one call on the facade: "point L N", "param KIND NAME VALUE", "record", "submit",
  // "prepsubmit", "prepare L N", "now", "submitnow", "wait COUNT" (until COUNT new events are
  // cached), "cached COUNT" (exactly COUNT new events are cached at this moment), "sleep MS",
  // "unload" (the host lets the module go: FreeLibrary / dlclose; only "wait", "cached",
  // "sleep" and the cache lock work after it), "lockcache" / "unlockcache" (this process holds
  // the cache's cross-process mutex, as another process appending would). Returns false for a word it does not know, a number that is not
  // one, or a "cached" count that does not match.
  bool Run(const std::vector<std::string>& op);
  // Waits until `expected` events more than at Load are in the cache; false on time-out.
  bool WaitForEvents(std::int32_t expected);
  // Prints the cache, decoded, one event per line.
  void PrintCache();

  void set_timeout_ms(std::int32_t ms) { timeoutMs_ = ms; }
  std::int32_t added_events() const { return added_; }
  const std::string& cache_path() const { return cachePath_; }

 private:
  std::int32_t CountCachedEvents() const;

  std::ostream& out_;
  std::ostream& err_;
  IEventTap* tap_ = nullptr;
  void* module_ = nullptr;
  std::unique_ptr<CacheFileLock> cacheLock_;
  std::string cachePath_;
  std::int32_t baseline_ = 0;
  std::int32_t added_ = 0;  // events the calls so far will cache
  std::int32_t timeoutMs_ = 30000;
};

// Where the module keeps its cache for a host in this folder: [Analyze] "Cache" of OrAnacfg.ini
// beside the host when set, else the shared data folder's file.
std::string ModuleCachePath();
// The module file beside this program: orinpoint.dll on Windows, liborinpoint.so elsewhere.
std::string DefaultModulePath();

}  // namespace orin::orinhost
