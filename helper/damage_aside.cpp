#include "helper/damage_aside.h"

#include "cache/record_scanner.h"
#include "helper/inflight.h"
#include "platform/files.h"

namespace orin::helper {

bool SetDamageAside(const std::string& path, const std::string& sideFile, const Report& report) {
  std::string bytes;
  if (!ReadWholeFile(path, bytes)) return false;
  if (AllRecordsWhole(bytes.data(), static_cast<std::int64_t>(bytes.size()))) return true;
  const SplitBytes split = SplitCacheBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  if (split.damaged.empty()) return true;
  // A kill between these two steps leaves the damage in the side file twice, never nowhere.
  if (!platform::AppendDurably(sideFile.c_str(), split.damaged.data(), split.damaged.size()) ||
      !ReplaceFileDurably(path, split.whole)) {
    return false;
  }
  report.Note(std::to_string(split.damaged.size()) + " damaged bytes of " + path + " kept in " +
              sideFile + "; " + std::to_string(split.records) + " whole records go on");
  return true;
}

}  // namespace orin::helper
