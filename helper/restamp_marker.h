#pragma once
#include <cstdint>
#include <string>

namespace orin::helper {

// How far moving a backup into the live cache got, kept in cache + ".updated", so that neither
// a run killed between the append and the backup's removal nor a backup that cannot be removed
// (a scanner holding it) has its events appended twice:
//   "appending SIZE HASH BEFORE"  written before the append; the live cache then held BEFORE bytes
//   "appended SIZE HASH"          written once the append is on stable storage
// SIZE and HASH (Fnv1a64, hexadecimal) name the backup's bytes: a newer backup the module moved aside meanwhile is a
// different file and is moved in turn.
struct RestampMarker {
  enum State { kNone, kAppending, kAppended };
  State state = kNone;
  std::uint64_t size = 0, hash = 0;
  std::int64_t cacheBefore = 0;

  bool Names(const std::string& backupBytes) const;
};

// kNone when the file is missing or holds anything else.
RestampMarker ReadRestampMarker(const std::string& path);
// Replaces the file durably.
bool WriteRestampMarker(const std::string& path, const RestampMarker& marker);

}  // namespace orin::helper
