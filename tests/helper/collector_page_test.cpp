// The collector's page (GET / and `orincollect report DB --html FILE`) and its report: what
// clients post is attacker-controlled, so it must reach the page only as text; and the report and
// a real browser must show what the real helper delivered.
#include <cstdlib>
#include <map>
#include <set>
#include <regex>

#include "helper_fixture.h"

namespace orin::testing {
namespace {

using CollectorPageTest = HelperTest;

TEST_F(CollectorPageTest, PostedMarkupAndScriptAppearOnlyAsText) {
  // Where a client can put a text, the text, and how the page must show it.
  const struct { const char* field; const char* text; const char* shown; } hostile[] = {
      {"re", "\"><img src=x onerror=alert(1)>", "&quot;&gt;&lt;img src=x onerror=alert(1)&gt;"},
      {"v", "' onmouseover='alert(2)", "&#39; onmouseover=&#39;alert(2)"},
      {"u", "<iframe src=javascript:alert(3)>", "&lt;iframe src=javascript:alert(3)&gt;"},
      {"l", "<svg onload=alert(4)>", "&lt;svg onload=alert(4)&gt;"},
      {"p value", "</td><script>alert(5)</script>", "&lt;/td&gt;&lt;script&gt;alert(5)&lt;/script&gt;"},
      {"p name", "<b onclick=alert(6)>", "&lt;b onclick=alert(6)&gt; = 1"},
      {"p value", "AT&T &amp; co", "AT&amp;T &amp;amp; co"},
      {"device-id request", "<script>alert(7)</script>", "&lt;script&gt;alert(7)&lt;/script&gt;"},
      {"filter", "</title><script>alert(8)</script>", "&lt;/title&gt;&lt;script&gt;alert(8)&lt;/script&gt;"},
      {"body", "[{\"l\":1001,\"n\":2,/* read by the parser */\"p\":{\"k\":\"<i>9</i>\"}}]", "k = &lt;i&gt;9&lt;/i&gt;"},
      {"body", "[{\"l\":1001,\"n\":3,\"re\":\"\\u003cu\\u003e10\\u003c/u\\u003e\"}]", "&lt;u&gt;10&lt;/u&gt;"},
  };
  Json::Value event = Event(1001, 1);
  int values = 0;
  std::string filter = "/?n=";
  for (const auto& h : hostile) {
    const std::string field = h.field;
    if (field == "p value") event["p"]["value" + std::to_string(values++)] = h.text;
    if (field == "p name") event["p"][h.text] = 1;
    if (field.size() <= 2) event[field] = h.text;
    if (field == "device-id request") Fetch("/api/tracking/devid", h.text, false);
    if (field == "body") Fetch("/api/v2/soft/collect", h.text, false);
    for (const char c : std::string(field == "filter" ? h.text : "")) {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(c));
      filter += hex;
    }
  }
  // Nesting past the reader's limit is a malformed body, refused for good, not a failure to retry.
  EXPECT_EQ(Send("/api/v2/soft/collect", std::string(2000, '[') + std::string(2000, ']')).statusCode,
            400u);
  Json::Value batch(Json::arrayValue);
  batch.append(event);
  ASSERT_EQ(Fetch("/api/v2/soft/collect", Json::FastWriter().write(batch), false), "{\"code\":0}");

  std::map<std::string, std::string> pages{{"served", Fetch("/")}};
  const std::string filtered = Fetch(filter);
  if (!platform::kIsWindows) {
    const std::string file = dir_.File("page.html");
    const std::string db = std::string(std::getenv("ORIN_TEST_SERVER_DIR")) + "/events.db";
    ASSERT_EQ(std::system((std::string(ORIN_COLLECTOR_PROGRAM) + " report " + db + " --html " + file).c_str()), 0);
    pages["file"] = ReadBytes(file);
  }
  for (const auto& [form, page] : pages) {
    EXPECT_EQ(page.find("<script"), std::string::npos) << form;
    for (const auto& h : hostile) {
      const bool echoed = std::string(h.field) == "filter";
      if (echoed && form == "file") continue;  // a file has no query string
      const std::string& in = echoed ? filtered : page;
      EXPECT_EQ(in.find(h.text), std::string::npos) << form << ": " << h.field << " as markup";
      EXPECT_NE(in.find(h.shown), std::string::npos) << form << ": " << h.field << " not shown";
    }
  }
}

// Cells of the rows of one table, tags stripped.
std::vector<std::vector<std::string>> TableRows(const std::string& dom, const std::string& id) {
  const std::size_t from = dom.find("id=\"" + id + "\""), to = dom.find("</table>", from);
  const std::string table = from == std::string::npos ? "" : dom.substr(from, to - from);
  std::vector<std::vector<std::string>> rows;
  const std::regex row("<tr>(.*?)</tr>"), cell("<td[^>]*>(.*?)</td>"), tag("<[^>]*>");
  for (std::sregex_iterator r(table.begin(), table.end(), row), end; r != end; ++r) {
    const std::string text = (*r)[1];
    std::vector<std::string> cells;
    for (std::sregex_iterator c(text.begin(), text.end(), cell); c != end; ++c) {
      cells.push_back(std::regex_replace((*c)[1].str(), tag, ""));
    }
    if (!cells.empty()) rows.push_back(cells);
  }
  return rows;
}

// What the real helper delivered, as `orincollect report` counts it and as a real browser shows
// the page: charts, rows and the identity exchanges.
TEST_F(CollectorPageTest, TheReportAndChromiumShowWhatTheHelperDelivered) {
  if (platform::kIsWindows) GTEST_SKIP() << "the collector and the browser are native";
  ASSERT_EQ(std::system("command -v chromium >/dev/null"), 0) << "no chromium: ./dev installs it";
  // Three points over two days from two devices, each event with a parameter of its own; one
  // without a product version ("re").
  const char* const kShortDevice = "dev_id_a";
  const struct { int l, n; long long t; const char* day; const char* re; bool shortDevice; } posted[] = {
      {1, 100, 1763856000, "2025-11-23", "7.3.1.9", false},
      {1, 100, 1763856100, "2025-11-23", "7.3.1.9", false},
      {1, 100, 1763942400, "2025-11-24", "7.4.0.1", false},
      {2, 200, 1763856200, "2025-11-23", nullptr, false},
      {2, 200, 1763942500, "2025-11-24", "7.3.1.9", true},
      {2, 200, 1763942600, "2025-11-24", "7.4.0.1", true},
      {2, 200, 1763942700, "2025-11-24", "7.3.1.9", true},
      {2, 201, 1763942800, "2025-11-24", "7.3.1.9", false},
  };
  CAnalyticsFile file;
  std::map<std::string, int> perDay, perPoint;
  std::multiset<std::vector<std::string>> rows;  // point, device, version, edition, parameters
  for (int i = 0; i < static_cast<int>(std::size(posted)); ++i) {
    const auto& p = posted[i];
    Json::Value e = Event(p.l, p.n);
    e["t"] = static_cast<Json::Int64>(p.t);
    e.removeMember("re");
    if (p.re != nullptr) e["re"] = p.re;
    if (p.shortDevice) e["u"] = kShortDevice;
    e["p"] = Json::objectValue;
    e["p"]["size_gb"] = 40 + i;
    ASSERT_TRUE(file.AppendEvent(cache_.c_str(), e));
    const std::string point = std::to_string(p.l) + "/" + std::to_string(p.n);
    ++perDay[p.day];
    ++perPoint[point];
    rows.insert({point, p.shortDevice ? kShortDevice : "dev_id_00000000\xE2\x80\xA6",
                 p.re == nullptr ? "" : p.re, "53", "size_gb = " + std::to_string(40 + i)});
  }
  ASSERT_EQ(Run("-submit_cache --batch 3"), 0);
  // An empty batch stored once under its key, then sent again: counted as a repeat.
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(Send("/api/v2/soft/collect", "[]", false, false,
                   "content-type:application/json\r\nIdempotency-Key: resent").body,
              "{\"code\":0}");
  }
  Fetch("/api/tracking/devid", "{}", false);
  Fetch("/api/v2/soft/vid");

  const std::string report = dir_.File("report.txt"), err = dir_.File("err.txt");
  const std::string collector = std::string(ORIN_COLLECTOR_PROGRAM) + " report ";
  const std::string db = std::string(std::getenv("ORIN_TEST_SERVER_DIR")) + "/events.db";
  ASSERT_EQ(std::system((collector + db + " > " + report).c_str()), 0);
  const std::string counted = ReadBytes(report);
  for (const char* line : {"8 events received in 3 batches from 2 devices\n",
                           "repeated batches acknowledged without storing: 1 (of 4 batch keys kept)\n",
                           "  1/100       3\n", "  2/200       4\n", "  2/201       1\n",
                           "  2025-11-23       3\n", "  2025-11-24       5\n",
                           "  (none)        1\n", "  7.3.1.9       5\n", "  7.4.0.1       2\n",
                           "per edition\n  v   events\n  53       8\n"}) {
    EXPECT_NE(counted.find(line), std::string::npos) << "missing: " << line << "in\n" << counted;
  }
  // A database that is not there is one line and a failure.
  EXPECT_NE(std::system((collector + dir_.File("none.db") + " 2> " + err).c_str()), 0);
  EXPECT_EQ(ReadBytes(err), "orincollect: no database at " + dir_.File("none.db") + "\n");

  // The test's output folder keeps what the browser saw.
  const std::string out = "test-results/collector-page";
  ASSERT_EQ(std::system(("mkdir -p " + out + " && rm -f " + out + "/*").c_str()), 0);
  const std::string chromium = "timeout 120 chromium --headless --no-sandbox --disable-gpu "
                               "--disable-background-networking --disable-dev-shm-usage "
                               "--user-data-dir=" + dir_.File("chromium") + " ";
  ASSERT_EQ(std::system((chromium + "--screenshot=" + out + "/page.png --window-size=1200,1600 "
                         "http://127.0.0.1/ 2>" + out + "/chromium.log").c_str()), 0);
  ASSERT_EQ(std::system((chromium + "--dump-dom http://127.0.0.1/ >" + out + "/dom.html 2>>" +
                         out + "/chromium.log").c_str()), 0);
  EXPECT_EQ(ReadBytes(out + "/page.png").substr(0, 8), "\x89PNG\r\n\x1a\n");
  const std::string dom = ReadBytes(out + "/dom.html");

  std::map<std::string, int> dayBars, pointBars;
  const std::regex bar("<rect class=\"bar\" data-label=\"([^\"]*)\" data-count=\"([0-9]+)\"");
  for (std::sregex_iterator b(dom.begin(), dom.end(), bar), end; b != end; ++b) {
    auto& chart = (*b)[1].str().find('/') != std::string::npos ? pointBars : dayBars;
    chart[(*b)[1]] = std::stoi((*b)[2]);
  }
  EXPECT_EQ(dayBars, perDay);
  EXPECT_EQ(pointBars, perPoint);

  std::multiset<std::vector<std::string>> shown;
  for (const auto& r : TableRows(dom, "latest")) {
    ASSERT_EQ(r.size(), 6u);
    shown.insert({r.begin() + 1, r.end()});
  }
  EXPECT_EQ(shown, rows);
  const auto exchanges = TableRows(dom, "exchanges");
  ASSERT_EQ(exchanges.size(), 2u);
  EXPECT_EQ(exchanges[0][1], "virtual id");
  EXPECT_EQ(exchanges[1][1], "device id");
}

}  // namespace
}  // namespace orin::testing
