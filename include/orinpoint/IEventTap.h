#pragma once
/*
 * The one header a host needs: the usage-analytics facade and the module's single export.
 *
 * Load the module (orinpoint.dll / liborinpoint.so), take GetOrinPointObj, call it once and keep
 * the pointer for the life of the process. The object belongs to the module; never delete it.
 * Report from one host thread at a time: the setters fill one pending point that the next
 * posting call (SubmitCache, RecordPoint, PrepareAndSubmitCache) hands to the module's own
 * thread. ReportPointNow and SubmitCacheNow do their work on the calling thread.
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
  // Reports the prepared point on the calling thread.
  virtual void ReportPointNow() = 0;
  // Starts the helper executable's cache upload on the calling thread.
  virtual void SubmitCacheNow() = 0;
  // kind 0 attaches one named number to the pending point; names must be shorter than 260 bytes.
  // Any other call is ignored.
  virtual void SetPointParam(int32_t kind, const char* name, int32_t value) = 0;

 protected:
  ~IEventTap() {}
};

extern "C" {
// The process-wide facade; never null. The first call starts the module.
IEventTap* GetOrinPointObj(void);
// The export's type, for hosts that look it up at run time.
typedef IEventTap* (*GetOrinPointObjFn)(void);
}
