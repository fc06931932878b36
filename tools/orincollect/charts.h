#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace orincollect {

struct Bar {
  std::string label;  // plain text: the charts escape it
  std::int64_t count = 0;
  std::string href;   // where the bar leads, empty for nowhere; a URL, escaped here too
};

// Inline SVG, vertical bars left to right (one per day), axes with ticks and titles. Each bar
// carries its label and count in data-label / data-count and in a <title> tooltip.
std::string ColumnChart(const std::vector<Bar>& bars, const std::string& xTitle);
// Inline SVG, one horizontal bar per row (one per point), labelled on the left, counted on the
// right, the count axis below.
std::string RowChart(const std::vector<Bar>& bars, const std::string& yTitle);

}  // namespace orincollect
