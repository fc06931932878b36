#pragma once
#include <string>

namespace orin::helper {

// What a command tells support staff (--verbose) as it goes, and the one line it ends with.
class Report {
 public:
  explicit Report(bool verbose) : verbose_(verbose) {}
  void Note(const std::string& line) const;
  bool verbose() const { return verbose_; }

 private:
  bool verbose_;
};

// A command's end: 0 done (or nothing to do), otherwise a reason for stderr.
struct Result {
  int code = 0;
  std::string reason;
  static Result Ok() { return {}; }
  static Result Fail(int code, std::string reason) { return {code, std::move(reason)}; }
};

// Exit codes.
inline constexpr int kNotDelivered = 1;  // the collector did not take everything; nothing is lost
inline constexpr int kBadUsage = 2;      // command line or settings unusable; nothing was touched
inline constexpr int kLocalFiles = 3;    // a local file could not be read or written

}  // namespace orin::helper
