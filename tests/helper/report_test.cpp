// orincollect report over what a delivery stored: the collector is native, so only the native
// build can run it.
#include <cstdlib>

#include "helper_fixture.h"

namespace orin::testing {
namespace {

using CollectorReportTest = HelperTest;

TEST_F(CollectorReportTest, CountsEventsPerPointPerDayPerVersionAndPerEditionAndNamesAMissingDatabase) {
  if (platform::kIsWindows) GTEST_SKIP() << "orincollect is a native program";
  CAnalyticsFile file;
  // Six events: point 1001/1 four times, 1002/7 twice; two days; two product versions; one without "re".
  const struct { int l, n; long long t; const char* v; } events[] = {
      {1001, 1, 1763856000, "7.3.1.9"}, {1001, 1, 1763856100, "7.3.1.9"},
      {1001, 1, 1763942400, "7.4.0.1"}, {1001, 1, 1763942500, nullptr},
      {1002, 7, 1763856200, "7.3.1.9"}, {1002, 7, 1763942600, "7.4.0.1"},
  };
  for (const auto& e : events) {
    Json::Value event;
    event["l"] = e.l;
    event["n"] = e.n;
    event["t"] = static_cast<Json::Int64>(e.t);
    if (e.v != nullptr) event["re"] = e.v;
    event["v"] = 53;
    event["u"] = e.l == 1001 ? "dev_id_a" : "dev_id_b";
    ASSERT_TRUE(file.AppendEvent(cache_.c_str(), event));
  }
  ASSERT_EQ(Run("-submit_cache --batch 4"), 0);
  // An empty batch stored once under its key, then sent again: counted as a repeat.
  for (int i = 0; i < 2; ++i) {
    net::HttpRequestInfo resend{"127.0.0.1", "/api/v2/soft/collect",
                                "content-type:application/json\r\nIdempotency-Key: resent", "[]"};
    net::HttpResponseInfo response;
    net::ErrorInfo error;
    ASSERT_TRUE(net::PostRequest(response, resend, error));
    ASSERT_EQ(response.body, "{\"code\":0}");
  }

  const std::string out = dir_.File("report.txt");
  const std::string db = std::string(std::getenv("ORIN_TEST_SERVER_DIR")) + "/events.db";
  ASSERT_EQ(std::system((std::string(ORIN_COLLECTOR_PROGRAM) + " report " + db + " > " + out).c_str()), 0);
  const std::string report = ReadBytes(out);
  for (const char* line : {"6 events received in 2 batches from 2 devices\n",
                           "repeated batches acknowledged without storing: 1 (of 3 batch keys kept)\n",
                           "  1001/1       4\n", "  1002/7       2\n",
                           "  2025-11-23       3\n", "  2025-11-24       3\n",
                           "  (none)        1\n", "  7.3.1.9       3\n", "  7.4.0.1       2\n",
                           "per edition\n  v   events\n  53       6\n"}) {
    EXPECT_NE(report.find(line), std::string::npos) << "missing: " << line << "in\n" << report;
  }

  // A database that is not there is one line and a failure.
  const std::string err = dir_.File("err.txt");
  const int status = std::system((std::string(ORIN_COLLECTOR_PROGRAM) + " report " +
                                  dir_.File("none.db") + " 2> " + err).c_str());
  EXPECT_NE(status, 0);
  EXPECT_EQ(ReadBytes(err), "orincollect: no database at " + dir_.File("none.db") + "\n");
}

}  // namespace
}  // namespace orin::testing
