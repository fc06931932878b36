#include "helper/restamp_marker.h"

#include <sstream>

#include "common/fnv1a.h"
#include "helper/inflight.h"

namespace orin::helper {

bool RestampMarker::Names(const std::string& backupBytes) const {
  return state != kNone && size == backupBytes.size() && hash == Fnv1a64(backupBytes);
}

RestampMarker ReadRestampMarker(const std::string& path) {
  std::string text;
  RestampMarker m;
  if (!ReadWholeFile(path, text)) return m;
  std::istringstream in(text);
  std::string state;
  in >> state >> m.size >> std::hex >> m.hash >> std::dec;
  if (state == "appending" && in >> m.cacheBefore && m.cacheBefore >= 0) {
    m.state = RestampMarker::kAppending;
  } else if (state == "appended" && in) {
    m.state = RestampMarker::kAppended;
  } else {
    m = RestampMarker();
  }
  return m;
}

bool WriteRestampMarker(const std::string& path, const RestampMarker& m) {
  std::ostringstream out;
  out << (m.state == RestampMarker::kAppending ? "appending " : "appended ") << m.size << ' '
      << std::hex << m.hash << std::dec;
  if (m.state == RestampMarker::kAppending) out << ' ' << m.cacheBefore;
  out << '\n';
  return ReplaceFileDurably(path, out.str());
}

}  // namespace orin::helper
