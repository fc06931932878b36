#include "helper/quarantine.h"

#include <cinttypes>
#include <cstdio>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "common/json_text.h"
#include "helper/inflight.h"
#include "platform/checksum.h"
#include "platform/durable_append.h"
#include "platform/files.h"

namespace orin::helper {
namespace {

std::string RefusedPath(const std::string& cachePath) { return cachePath + ".refused"; }

// The same records make the same body, so the checksum and size find the batch again next run.
int CountRefusal(const std::string& path, const std::string& body) {
  const std::uint32_t sum = platform::Crc32(body.data(), static_cast<std::int32_t>(body.size()));
  unsigned long long size = 0;
  std::uint32_t seenSum = 0;
  int tries = 0;
  if (std::FILE* f = std::fopen(path.c_str(), "rb")) {
    if (std::fscanf(f, "%" SCNx32 " %llu %d", &seenSum, &size, &tries) != 3 || seenSum != sum ||
        size != body.size() || tries < 0) {
      tries = 0;
    }
    std::fclose(f);
  }
  ++tries;
  if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fprintf(f, "%08" PRIx32 " %llu %d\n", sum, static_cast<unsigned long long>(body.size()),
                 tries);
    std::fclose(f);
  }
  return tries;
}

// The events as cache records, built by the cache's own writer in a scratch file and appended to
// the quarantine file in one durable write.
template <typename Write>
bool AppendToQuarantine(const std::string& cachePath, Write write) {
  const std::string scratch = QuarantinePath(cachePath) + ".next";
  platform::RemoveFile(scratch.c_str());
  CAnalyticsFile writer;
  bool ok = write(writer, scratch.c_str());
  std::string bytes;
  ok = ok && ReadWholeFile(scratch, bytes) && platform::AppendDurably(QuarantinePath(cachePath), bytes);
  platform::RemoveFile(scratch.c_str());
  return ok;
}

}  // namespace

std::string QuarantinePath(const std::string& cachePath) { return cachePath + ".quarantine"; }

bool SetAsideWhenRefusedForGood(const std::string& cachePath, const std::string& body,
                                const PostOutcome& outcome, const Report& report) {
  if (!outcome.refusedForGood) return false;
  const int tries = CountRefusal(RefusedPath(cachePath), body);
  report.Note("batch refused for good (status " + std::to_string(outcome.status) + "), try " +
              std::to_string(tries) + " of " + std::to_string(kTriesBeforeQuarantine));
  if (tries < kTriesBeforeQuarantine) return false;
  Json::Value events;
  if (!ParseJsonText(body.data(), body.data() + body.size(), events) || !events.isArray() ||
      !AppendToQuarantine(cachePath, [&events](CAnalyticsFile& writer, const char* path) {
        bool ok = true;
        for (const Json::Value& event : events) ok = ok && writer.AppendEvent(path, event);
        return ok;
      })) {
    report.Note("cannot set the refused batch aside in " + QuarantinePath(cachePath));
    return false;
  }
  platform::RemoveFile(RefusedPath(cachePath).c_str());
  report.Note(std::to_string(events.size()) + " events set aside in " + QuarantinePath(cachePath));
  return true;
}

void ForgetRefusals(const std::string& cachePath) {
  platform::RemoveFile(RefusedPath(cachePath).c_str());
}

bool SetAsideText(const std::string& cachePath, const std::string& text) {
  return AppendToQuarantine(cachePath, [&text](CAnalyticsFile& writer, const char* path) {
    return writer.AppendText(path, text.c_str());
  });
}

}  // namespace orin::helper
