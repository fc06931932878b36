#include "tools/orincache/commands.h"

#include <cinttypes>
#include <cstdio>
#include <optional>
#include <ostream>
#include <sstream>
#include <vector>

#include <json/value.h>

#include "cache/CAnalyticsFile.h"
#include "cache/record_scanner.h"
#include "common/json_text.h"
#include "helper/progress_record.h"

namespace orin::orincache {
namespace {

bool ReadAll(const std::string& path, std::string& bytes, std::ostream& err) {
  std::FILE* f = std::fopen(path.c_str(), "rb");
  bool ok = f != nullptr;
  if (ok) {
    char block[65536];
    std::size_t got;
    while ((got = std::fread(block, 1, sizeof block, f)) > 0) bytes.append(block, got);
    ok = std::ferror(f) == 0;  // a folder opens on some systems but cannot be read
    std::fclose(f);
  }
  if (!ok) err << "orincache: cannot read " << path << '\n';
  return ok;
}

std::optional<std::vector<ScannedRecord>> Scan(const std::string& path, std::ostream& err) {
  std::string bytes;
  if (!ReadAll(path, bytes, err)) return std::nullopt;
  return ScanCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()));
}

// One line per event: the writer's own line as stored, or a compact re-rendering when the text
// spans several lines.
std::string OneLine(const std::string& text) {
  std::string line = text;
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  if (line.find('\n') == std::string::npos) return line;
  Json::Value value;
  ParseJsonText(text.data(), text.data() + text.size(), value);
  line = ToFastText(value);
  if (!line.empty() && line.back() == '\n') line.pop_back();
  return line;
}

// Whole records of a file and the bytes of its damaged stretches; false when it is absent.
bool Count(const std::string& path, std::int64_t& events, std::int64_t& damagedBytes) {
  std::string bytes;
  std::ostringstream absent;  // an absent file is an answer here, not an error
  if (!ReadAll(path, bytes, absent)) return false;
  events = 0;
  damagedBytes = 0;
  for (const ScannedRecord& r : ScanCacheBytes(bytes.data(), std::int64_t(bytes.size()))) {
    if (r.status == RecordStatus::kOk) {
      ++events;
    } else {
      damagedBytes += r.span;
    }
  }
  return true;
}

}  // namespace

int Status(const std::string& cache, std::ostream& out, std::ostream&) {
  // The names the helper and the module give these files beside the cache.
  const struct {
    std::string path;
    const char* what;
  } files[] = {
      {cache, "live cache, waiting for the next delivery"},
      {cache + ".sending", "claimed by a delivery that has not finished"},
      {cache + "-bak", "set aside after a device-id change, delivered re-stamped next"},
      {cache + ".quarantine", "set aside: the collector refused them for good"},
  };
  for (const auto& f : files) {
    std::int64_t events = 0, damaged = 0;
    out << f.path << ": ";
    if (!Count(f.path, events, damaged)) {
      out << "absent\n";
      continue;
    }
    out << events << " events (" << f.what << ")";
    if (damaged > 0) out << ", " << damaged << " damaged bytes";
    out << '\n';
  }
  // The count as the helper reads it: its checked copies, or an older helper's one line.
  std::string sent;
  std::ostringstream unread;
  helper::ProgressRecord progress;
  out << cache << ".sent: ";
  if (!ReadAll(cache + ".sent", sent, unread)) {
    out << "absent\n";
  } else if (!helper::ParseProgress(sent, progress)) {
    out << "unreadable: the next delivery starts the claimed cache from its first record\n";
  } else {
    out << "records delivered, claimed size, claim id: " << progress.delivered << ' '
        << progress.claimedSize << ' ' << progress.claimId << '\n';
  }
  std::int64_t events = 0, damaged = 0;
  out << cache << ".damaged: ";
  if (Count(cache + ".damaged", events, damaged)) {
    out << events << " whole records and " << damaged
        << " other bytes kept for support staff ('orincache salvage' recovers the records)\n";
  } else {
    out << "absent\n";
  }
  return 0;
}

int Dump(const std::string& path, bool all, std::ostream& out, std::ostream& err) {
  const auto records = Scan(path, err);
  if (!records) return 2;
  for (const ScannedRecord& r : *records) {
    if (r.status == RecordStatus::kOk) {
      out << OneLine(r.text) << '\n';
    } else if (all) {
      out << "error at offset " << r.offset << ": " << RecordStatusName(r.status) << '\n';
    }
  }
  return 0;
}

int List(const std::string& path, std::ostream& out, std::ostream& err) {
  const auto records = Scan(path, err);
  if (!records) return 2;
  char line[128];
  for (const ScannedRecord& r : *records) {
    if (r.status == RecordStatus::kOk) {
      std::snprintf(line, sizeof line, "%12" PRId64 " %11" PRId32 "  %s\n", r.offset, r.length,
                    RecordStatusName(r.status));
    } else {
      std::snprintf(line, sizeof line, "%12" PRId64 " %11" PRId32 "  %s, %" PRId64 " bytes skipped\n",
                    r.offset, r.length, RecordStatusName(r.status), r.span);
    }
    out << line;
  }
  return 0;
}

int Salvage(const std::string& damaged, const std::string& cache, std::ostream& out,
            std::ostream& err) {
  std::string bytes;
  if (!ReadAll(damaged, bytes, err)) return 2;
  const SplitBytes split = SplitCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  if (split.whole.size() > 0x7FFFFFFFu) {
    err << "orincache: too many records in " << damaged << " for one append\n";
    return 2;
  }
  if (split.records > 0 &&
      !GetAnalyticsFile()->AppendRecord(cache.c_str(), split.whole.data(),
                                        static_cast<std::int32_t>(split.whole.size()))) {
    err << "orincache: cannot append to " << cache << '\n';
    return 2;
  }
  out << "salvaged " << split.records << " records from " << damaged << " into " << cache << "; "
      << split.damaged.size() << " bytes are no record\n";
  return 0;
}

int Verify(const std::string& path, std::ostream& out, std::ostream& err) {
  const auto records = Scan(path, err);
  if (!records) return 2;
  for (const ScannedRecord& r : *records) {
    if (r.status != RecordStatus::kOk) {
      out << path << ": damaged at offset " << r.offset << ": " << RecordStatusName(r.status)
          << '\n';
      return 1;
    }
  }
  out << path << ": ok, " << records->size() << " records\n";
  return 0;
}

int Append(const std::string& path, const std::string& json, std::ostream& out,
           std::ostream& err) {
  Json::Value event;
  if (!ParseJsonText(json.data(), json.data() + json.size(), event) || !event.isObject()) {
    err << "orincache: not a JSON object: " << json << '\n';
    return 2;
  }
  if (!GetAnalyticsFile()->AppendEvent(path.c_str(), event)) {
    err << "orincache: cannot append to " << path << '\n';
    return 2;
  }
  out << "appended 1 event to " << path << '\n';
  return 0;
}

}  // namespace orin::orincache
