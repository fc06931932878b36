#pragma once
/*
 * The one header a host needs: the usage-analytics facade and the module's single export.
 *
 * Load the module (orinpoint.dll / liborinpoint.so), take GetOrinPointObj, call it once and keep
 * the pointer for the life of the process. The object belongs to the module; never delete it.
 * The module stays loaded once started, even if the host unloads it: its own thread runs inside
 * it until the process ends. Report from one host thread at a time: the setters fill one pending
 * point that the next posting call (SubmitCache, RecordPoint, PrepareAndSubmitCache) hands to
 * the module's own thread.
 *
 * What each call costs the calling thread:
 * - SetPoint, PreparePoint, SetPointParam: a few stores into the pending point.
 * - SubmitCache, RecordPoint, PrepareAndSubmitCache: a short lock, a push onto the module's queue
 *   and a wake of its thread. The queue holds at most 16,384 requests; posts beyond that (the
 *   module's thread stuck, say, on the cache mutex another process holds) are dropped.
 * - ReportPointNow, SubmitCacheNow: until the module's start-up has finished (it includes a
 *   device-id exchange with the tracking service, which can take as long as the network makes
 *   it), the same as a post: the work is queued and done right after the start-up. Afterwards
 *   the work runs on the calling thread: ReportPointNow reads two INI files and appends to the
 *   cache file under a cross-process mutex (waiting for any other process holding it);
 *   SubmitCacheNow reads an INI file, starts the helper executable and then sleeps 500 ms.
 *
 * Points still queued when the process exits are not written: the module's thread is ended with
 * the process. How many of a burst survive depends on the scheduler (five runs on Linux that
 * posted 200 points and exited at once kept none four times and all 200 once). A point that must survive an
 * exit should be reported with PreparePoint + ReportPointNow once the module has started: the
 * point is then in the cache file when the call returns.
 *
 * The operations below are the whole interface, in the order of their virtual slots (slot 0 is
 * SetPoint); nothing precedes them, not even a destructor, so a host built by any compiler that
 * follows the platform's C++ ABI (MSVC, GCC, Clang, MinGW) calls the same code. Only 32-bit
 * integers and NUL-terminated narrow texts cross this boundary.
 */
#include <stdint.h>

class IEventTap {
 public:
  // Stores the point's two numbers in the pending point; nothing is queued.
  virtual void SetPoint(int32_t first, int32_t second) = 0;
  // Queues a start of the helper executable, which uploads the cached points.
  virtual void SubmitCache() = 0;
  // Queues the pending point for the cache file.
  virtual void RecordPoint() = 0;
  // Queues the pending point's description and a cache upload; the point itself is cached by
  // the next report.
  virtual void PrepareAndSubmitCache() = 0;
  // Stores the numbers for ReportPointNow without queueing anything.
  virtual void PreparePoint(int32_t first, int32_t second) = 0;
  // Reports the prepared point: on the calling thread once the module has started, else right
  // after the start-up on the module's thread (see the costs above).
  virtual void ReportPointNow() = 0;
  // Starts the helper executable's cache upload: on the calling thread once the module has
  // started, else right after the start-up on the module's thread.
  virtual void SubmitCacheNow() = 0;
  // kind 0 attaches one named number to the pending point; names must be shorter than 260 bytes.
  // Any other call is ignored.
  virtual void SetPointParam(int32_t kind, const char* name, int32_t value) = 0;

 protected:
  ~IEventTap() {}
};

extern "C" {
// The process-wide facade; never null. The first call starts the module and returns without
// waiting for its start-up; if the module cannot start, every call on the result does nothing.
IEventTap* GetOrinPointObj(void);
// The export's type, for hosts that look it up at run time.
typedef IEventTap* (*GetOrinPointObjFn)(void);
}
