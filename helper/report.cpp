#include "helper/report.h"

#include <cstdio>

namespace orin::helper {

void Report::Note(const std::string& line) const {
  if (verbose_) std::fprintf(stderr, "orinhlp: %s\n", line.c_str());
}

}  // namespace orin::helper
