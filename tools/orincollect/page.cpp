#include "page.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

#include <json/json.h>

#include "charts.h"
#include "html.h"

namespace orincollect {
namespace {

constexpr int kMaxRows = 1000;
constexpr int kDays = 60;
constexpr std::size_t kPoints = 40;
constexpr int kExchanges = 50;

// Even a page whose escaping failed could run nothing: scripts only from the collector itself.
const char* const kHead =
    "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
    "style-src 'unsafe-inline'; script-src 'self'; connect-src 'self'; img-src 'self'\">"
    "<title>orincollect: what arrived</title><style>"
    "body{font:14px/1.4 system-ui,sans-serif;margin:16px 24px;color:#222}"
    "h1{font-size:20px;margin:0 0 4px}h2{font-size:16px;margin:20px 0 6px}"
    "form{margin:8px 0}input{width:9em;margin-right:8px}"
    "table{border-collapse:collapse;width:100%}th,td{border-bottom:1px solid #ddd;padding:3px 6px;"
    "text-align:left;vertical-align:top}th{background:#f3f3f3}"
    "td.params{font-family:monospace;white-space:pre-wrap;word-break:break-all}"
    ".chart{max-width:1100px;display:block}.chart .bar{fill:#3b78c2}.chart a:hover .bar{fill:#1d4f8c}"
    ".chart text{font-size:12px;fill:#333}.chart .title{font-weight:600}"
    ".chart .axis{stroke:#333}.chart .grid{stroke:#e4e4e4}.empty{color:#777}"
    "</style></head><body>";

std::string Cell(const std::string& text) { return "<td>" + EscapeHtml(text) + "</td>"; }

// A link to the page with this query, keeping only what is not the default.
std::string Href(const PageQuery& q) {
  std::string out;
  for (const auto& [name, value] : {std::pair{"l", q.l}, std::pair{"n", q.n}, std::pair{"u", q.u}}) {
    if (!value.empty()) out += std::string(out.empty() ? "?" : "&") + name + "=" + EncodeQueryValue(value);
  }
  if (q.rows != PageQuery{}.rows) out += std::string(out.empty() ? "?" : "&") + "rows=" + std::to_string(q.rows);
  if (q.live) out += std::string(out.empty() ? "?" : "&") + "live=1";
  return "/" + out;
}

std::string Link(const PageQuery& q, const std::string& href, const std::string& content) {
  return q.standalone ? content : "<a href=\"" + EscapeHtml(href) + "\">" + content + "</a>";
}

// "p" as name = value lines; a text value as it is, anything else as its JSON.
std::string Params(const std::string& json) {
  Json::Value event;
  Json::CharReaderBuilder builder;
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  if (!reader->parse(json.data(), json.data() + json.size(), &event, nullptr) || !event.isObject()) return "";
  const Json::Value& p = event["p"];
  if (!p.isObject()) return p.isNull() ? "" : EscapeHtml(Json::FastWriter().write(p));
  std::string out;
  for (const std::string& name : p.getMemberNames()) {
    const Json::Value& v = p[name];
    std::string text = v.isString() ? v.asString() : Json::FastWriter().write(v);
    if (!v.isString() && !text.empty() && text.back() == '\n') text.pop_back();
    out += (out.empty() ? "" : "\n") + EscapeHtml(name) + " = " + EscapeHtml(text);
  }
  return out;
}

class Renderer {
 public:
  Renderer(EventStore& store, const PageQuery& q) : store_(store), q_(q) {
    for (const auto& [column, value] : {std::pair{"l", q.l}, std::pair{"n", q.n}, std::pair{"u", q.u}}) {
      if (value.empty()) continue;
      where_ += std::string(where_.empty() ? " WHERE " : " AND ") + column + " = ?";
      params_.push_back(value);
    }
  }

  bool Render(std::string& html) {
    EventStore::Rows total, devices, latest, days, points, exchanges, exchangeCount;
    const std::string day = kEventDay;
    // Each grouping reads one index in its order; DISTINCT in a subquery does the same, where
    // COUNT(DISTINCT) would sort the whole index again.
    if (!(Query("SELECT COUNT(*) FROM events" + where_, total) &&
          Query("SELECT COUNT(*) FROM (SELECT DISTINCT u FROM events" + where_ + ")", devices) &&
          Query("SELECT datetime(arrived, 'unixepoch'), l, n, u, re, v, json FROM events" +
                    where_ + " ORDER BY id DESC LIMIT " + std::to_string(q_.rows), latest) &&
          Query("SELECT " + day + " AS d, COUNT(*) FROM events" + where_ +
                    " GROUP BY d ORDER BY d DESC LIMIT " + std::to_string(kDays), days) &&
          Query("SELECT l, n, COUNT(*) AS c FROM events" + where_ +
                    " GROUP BY l, n ORDER BY c DESC, l, n", points) &&
          store_.Query("SELECT datetime(arrived, 'unixepoch'), path, method, body, reply FROM exchanges"
                       " ORDER BY id DESC LIMIT " + std::to_string(kExchanges), exchanges) &&
          store_.Query("SELECT COUNT(*) FROM exchanges", exchangeCount))) {
      return false;
    }
    std::reverse(days.begin(), days.end());
    const std::size_t allPoints = points.size();
    if (points.size() > kPoints) points.resize(kPoints);
    out_ = kHead;
    Header(total[0][0], devices[0][0], latest);
    out_ += "<section id=\"charts\"><h2>Events per day" +
            std::string(days.size() == static_cast<std::size_t>(kDays) ? " (the latest " + std::to_string(kDays) + " days)" : "") +
            "</h2>" + ColumnChart(DayBars(days), "day (UTC)") + "<h2>Events per point" +
            (allPoints > points.size()
                 ? " (the " + std::to_string(points.size()) + " most frequent of " + std::to_string(allPoints) + ")"
                 : std::string()) +
            "</h2>" + RowChart(PointBars(points), "l/n") + "</section>";
    Latest(latest);
    Exchanges(exchanges, exchangeCount[0][0]);
    if (q_.live && !q_.standalone) out_ += "<script src=\"/page.js\"></script>";
    out_ += "</body></html>\n";
    html = std::move(out_);
    return true;
  }

 private:
  bool Query(const std::string& sql, EventStore::Rows& rows) { return store_.Query(sql, params_, rows); }

  void Header(const std::string& events, const std::string& devices, const EventStore::Rows& latest) {
    out_ += "<header><h1>What arrived</h1><p id=\"summary\">" + events + (events == "1" ? " event" : " events") +
            " from " + devices + (devices == "1" ? " device" : " devices") +
               (latest.empty() ? std::string() : ", the latest at " + EscapeHtml(latest[0][0]) + " UTC");
    for (const auto& [name, value] : {std::pair{"l", q_.l}, std::pair{"n", q_.n}, std::pair{"u", q_.u}}) {
      if (!value.empty()) out_ += std::string(" · ") + name + " = " + EscapeHtml(value);
    }
    out_ += "</p>";
    if (!q_.standalone) {
      PageQuery toggled = q_;
      toggled.live = !q_.live;
      out_ += "<form method=\"get\" action=\"/\">";
      for (const auto& [name, label, value] : {std::tuple{"l", "point l", q_.l}, std::tuple{"n", "n", q_.n},
                                               std::tuple{"u", "device id", q_.u}}) {
        out_ += std::string("<label>") + label + " <input name=\"" + name + "\" value=\"" +
                   EscapeHtml(value) + "\"></label>";
      }
      out_ += "<label>rows <input name=\"rows\" value=\"" + std::to_string(q_.rows) + "\"></label>" +
                 (q_.live ? "<input type=\"hidden\" name=\"live\" value=\"1\">" : "") +
                 "<button>filter</button> <a href=\"/\">clear</a> · live mode " +
                 (q_.live ? "on, every 3 s" : "off") + " (<a id=\"live\" href=\"" +
                 EscapeHtml(Href(toggled)) + "\">turn " + (q_.live ? "off" : "on") + "</a>)</form>";
    }
    out_ += "</header>";
  }

  static std::vector<Bar> DayBars(const EventStore::Rows& rows) {
    std::vector<Bar> bars;
    for (const auto& r : rows) bars.push_back({r[0], std::atoll(r[1].c_str()), ""});
    return bars;
  }

  std::vector<Bar> PointBars(const EventStore::Rows& rows) const {
    std::vector<Bar> bars;
    for (const auto& r : rows) {
      PageQuery to = q_;
      to.l = r[0];
      to.n = r[1];
      bars.push_back({Point(r[0], r[1]), std::atoll(r[2].c_str()), q_.standalone ? "" : Href(to)});
    }
    return bars;
  }

  static std::string Point(const std::string& l, const std::string& n) {
    return (l.empty() ? "?" : l) + "/" + (n.empty() ? "?" : n);
  }

  void Latest(const EventStore::Rows& rows) {
    out_ += "<section id=\"latest\"><h2>The latest events</h2><table><thead><tr><th>arrived (UTC)</th>"
               "<th>point</th><th>device id</th><th>version (re)</th><th>edition (v)</th>"
               "<th>parameters (p)</th></tr></thead><tbody>";
    for (const auto& r : rows) {
      PageQuery byPoint = q_, byDevice = q_;
      byPoint.l = r[1];
      byPoint.n = r[2];
      byDevice.u = r[3];
      out_ += "<tr>" + Cell(r[0]) + "<td>" + Link(q_, Href(byPoint), EscapeHtml(Point(r[1], r[2]))) +
                 "</td><td title=\"" + EscapeHtml(r[3]) + "\">" +
                 Link(q_, Href(byDevice), EscapeHtml(Shorten(r[3], 15))) + "</td>" + Cell(r[4]) +
                 Cell(r[5]) + "<td class=\"params\">" + Params(r[6]) + "</td></tr>";
    }
    if (rows.empty()) out_ += "<tr><td colspan=\"6\" class=\"empty\">no events</td></tr>";
    out_ += "</tbody></table></section>";
  }

  void Exchanges(const EventStore::Rows& rows, const std::string& total) {
    out_ += "<section id=\"exchanges\"><h2>Identity exchanges (" + EscapeHtml(total) +
               ")</h2><table><thead><tr><th>arrived (UTC)</th><th>request</th><th>method</th>"
               "<th>body</th><th>answer</th></tr></thead><tbody>";
    for (const auto& r : rows) {
      const std::string kind = r[1] == "/api/tracking/devid" ? "device id"
                               : r[1] == "/api/v2/soft/vid"  ? "virtual id"
                                                             : r[1];
      out_ += "<tr>" + Cell(r[0]) + Cell(kind) + Cell(r[2]) + "<td class=\"params\">" +
                 EscapeHtml(Shorten(r[3], 400)) + "</td><td class=\"params\">" + EscapeHtml(r[4]) +
                 "</td></tr>";
    }
    if (rows.empty()) out_ += "<tr><td colspan=\"5\" class=\"empty\">none</td></tr>";
    out_ += "</tbody></table></section>";
  }

  EventStore& store_;
  const PageQuery& q_;
  std::string where_;
  std::vector<std::string> params_;
  std::string out_;
};

}  // namespace

const char* const kLiveScript =
    "// Live mode: every few seconds the page's sections give way to a fresh rendering.\n"
    "setInterval(async () => {\n"
    "  try {\n"
    "    const reply = await fetch(location.href, {cache: 'no-store'});\n"
    "    if (!reply.ok) return;\n"
    "    const fresh = new DOMParser().parseFromString(await reply.text(), 'text/html');\n"
    "    for (const id of ['summary', 'charts', 'latest', 'exchanges']) {\n"
    "      const now = fresh.getElementById(id), old = document.getElementById(id);\n"
    "      if (now && old) old.replaceWith(document.importNode(now, true));\n"
    "    }\n"
    "  } catch (e) {}\n"
    "}, 3000);\n";

PageQuery PageQueryFrom(const std::multimap<std::string, std::string>& params) {
  PageQuery q;
  auto get = [&params](const char* name) {
    const auto it = params.find(name);
    return it == params.end() ? std::string() : it->second;
  };
  q.l = get("l");
  q.n = get("n");
  q.u = get("u");
  const std::string rows = get("rows");
  char* end = nullptr;
  const long v = std::strtol(rows.c_str(), &end, 10);
  if (!rows.empty() && *end == '\0' && v > 0) q.rows = static_cast<int>(std::min<long>(v, kMaxRows));
  q.live = get("live") == "1";
  return q;
}

bool RenderPage(EventStore& store, const PageQuery& query, std::string& html) {
  return Renderer(store, query).Render(html);
}

}  // namespace orincollect
