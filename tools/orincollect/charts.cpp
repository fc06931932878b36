#include "charts.h"

#include <algorithm>
#include <cstdio>

#include "html.h"

namespace orincollect {
namespace {

constexpr double kWidth = 1100;

std::string Num(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", v);
  return text;
}

// A step of 1, 2 or 5 times a power of ten giving at most five ticks up to the largest count.
std::int64_t TickStep(std::int64_t most) {
  std::int64_t power = 1;
  for (;;) {
    for (const std::int64_t m : {1, 2, 5}) {
      if (most <= m * power * 5) return m * power;
    }
    power *= 10;
  }
}

std::int64_t Most(const std::vector<Bar>& bars) {
  std::int64_t most = 1;
  for (const Bar& b : bars) most = std::max(most, b.count);
  return most;
}

std::string BarShape(const Bar& bar, double x, double y, double w, double h) {
  std::string rect = "<rect class=\"bar\" data-label=\"" + EscapeHtml(bar.label) +
                     "\" data-count=\"" + std::to_string(bar.count) + "\" x=\"" + Num(x) +
                     "\" y=\"" + Num(y) + "\" width=\"" + Num(w) + "\" height=\"" + Num(h) +
                     "\"><title>" + EscapeHtml(bar.label) + ": " + std::to_string(bar.count) +
                     "</title></rect>";
  if (bar.href.empty()) return rect;
  return "<a href=\"" + EscapeHtml(bar.href) + "\">" + rect + "</a>";
}

std::string Text(double x, double y, const char* anchor, const std::string& text,
                 const std::string& extra = "") {
  return "<text x=\"" + Num(x) + "\" y=\"" + Num(y) + "\" text-anchor=\"" + anchor + "\"" + extra +
         ">" + EscapeHtml(text) + "</text>";
}

std::string Line(double x1, double y1, double x2, double y2, const char* cls) {
  return "<line class=\"" + std::string(cls) + "\" x1=\"" + Num(x1) + "\" y1=\"" + Num(y1) +
         "\" x2=\"" + Num(x2) + "\" y2=\"" + Num(y2) + "\"/>";
}

std::string Svg(double height, const std::string& body) {
  return "<svg class=\"chart\" viewBox=\"0 0 " + Num(kWidth) + " " + Num(height) +
         "\" width=\"100%\" role=\"img\">" + body + "</svg>";
}

}  // namespace

std::string ColumnChart(const std::vector<Bar>& bars, const std::string& xTitle) {
  if (bars.empty()) return "<p class=\"empty\">no events</p>";
  const double left = 60, right = 10, top = 12, bottom = 84, height = 300;
  const double plotW = kWidth - left - right, plotH = height - top - bottom;
  const double base = top + plotH;
  const std::int64_t step = TickStep(Most(bars));
  const std::int64_t most = (Most(bars) + step - 1) / step * step;
  std::string body;
  for (std::int64_t v = 0; v <= most; v += step) {
    const double y = base - plotH * static_cast<double>(v) / static_cast<double>(most);
    body += Line(left, y, kWidth - right, y, "grid") +
            Text(left - 6, y + 4, "end", std::to_string(v));
  }
  const double slot = plotW / static_cast<double>(bars.size());
  // Past a few dozen days only every k-th label fits.
  const std::size_t every = std::max<std::size_t>(1, bars.size() / 30);
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const double h = plotH * static_cast<double>(bars[i].count) / static_cast<double>(most);
    const double x = left + slot * static_cast<double>(i);
    const double w = std::min(slot * 0.8, 48.0);
    body += BarShape(bars[i], x + (slot - w) / 2, base - h, w, h);
    if (i % every == 0) {
      const double cx = x + slot / 2;
      body += Text(cx, base + 14, "end", bars[i].label,
                   " transform=\"rotate(-40 " + Num(cx) + " " + Num(base + 14) + ")\"");
    }
  }
  body += Line(left, base, kWidth - right, base, "axis") + Line(left, top, left, base, "axis");
  body += Text(left + plotW / 2, height - 6, "middle", xTitle, " class=\"title\"");
  body += Text(14, top + plotH / 2, "middle", "events",
               " class=\"title\" transform=\"rotate(-90 14 " + Num(top + plotH / 2) + ")\"");
  return Svg(height, body);
}

std::string RowChart(const std::vector<Bar>& bars, const std::string& yTitle) {
  if (bars.empty()) return "<p class=\"empty\">no events</p>";
  const double left = 170, right = 70, top = 22, row = 22, bottom = 44;
  const double plotW = kWidth - left - right, plotH = row * static_cast<double>(bars.size());
  const double height = top + plotH + bottom, base = top + plotH;
  const std::int64_t step = TickStep(Most(bars));
  const std::int64_t most = (Most(bars) + step - 1) / step * step;
  std::string body;
  for (std::int64_t v = 0; v <= most; v += step) {
    const double x = left + plotW * static_cast<double>(v) / static_cast<double>(most);
    body += Line(x, top, x, base, "grid") + Text(x, base + 16, "middle", std::to_string(v));
  }
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const double y = top + row * static_cast<double>(i);
    const double w = plotW * static_cast<double>(bars[i].count) / static_cast<double>(most);
    body += Text(left - 8, y + row * 0.7, "end", Shorten(bars[i].label, 24));
    body += BarShape(bars[i], left, y + row * 0.15, w, row * 0.7);
    body += Text(left + w + 6, y + row * 0.7, "start", std::to_string(bars[i].count));
  }
  body += Line(left, base, kWidth - right, base, "axis") + Line(left, top, left, base, "axis");
  body += Text(left + plotW / 2, height - 6, "middle", "events", " class=\"title\"");
  body += Text(left - 8, 14, "end", yTitle, " class=\"title\"");
  return Svg(height, body);
}

}  // namespace orincollect
