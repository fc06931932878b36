// orincollect's device-id and virtual-id answers, read by the module's own reply scanners.
#include "analytics/reply_scan.h"
#include "helper_fixture.h"

namespace orin::testing {
namespace {

using IdentityEndpointsTest = HelperTest;

TEST_F(IdentityEndpointsTest, AnswersInTheShapesTheModuleReadsAndRecordsWhatItWasSent) {
  struct Case {
    const char* path;
    bool get;
    const char* body;
  } cases[] = {
      {"/api/tracking/devid", false, "{\"xid\":\"demo\"}\n"},
      {"/api/v2/soft/vid", true, ""},
      {"/api/v2/soft/vid", false, "{\"dev_id\":\"dev_id_x\",\"vid\":\"v\"}\n"},
  };
  std::string firstVid;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.path) + (c.get ? " GET" : " POST"));
    const net::HttpResponseInfo response = Send(c.path, c.body, c.get, true);
    EXPECT_EQ(response.statusCode, 200u);
    std::string id;
    if (std::string(c.path) == "/api/tracking/devid") {
      ASSERT_TRUE(ScanDeviceIdReply(response.body, id)) << response.body;
      EXPECT_EQ(id.size(), 43u) << id;
    } else {
      ASSERT_TRUE(ScanVidReply(response.body, id)) << response.body;
      EXPECT_FALSE(id.empty());
      if (firstVid.empty()) firstVid = id;
      EXPECT_EQ(id, firstVid) << "one vid per collector";
    }
  }
  // The test-only routes answer a loopback Host only: a page elsewhere that makes the browser post
  // to the collector cannot wipe it (curl sends the caller's Host; WinInet adds its own).
  if (!platform::kIsWindows) {
    EXPECT_EQ(Send("/collector/stage", "{}", false, false, "Host:collector.example").statusCode, 403u);
  }
  const Json::Value exchanges = Collector::Exchanges();
  ASSERT_EQ(exchanges.size(), 3u);
  for (Json::ArrayIndex i = 0; i < 3; ++i) {
    EXPECT_EQ(exchanges[i]["path"].asString(), cases[i].path);
    EXPECT_EQ(exchanges[i]["method"].asString(), cases[i].get ? "GET" : "POST");
    EXPECT_EQ(exchanges[i]["body"].asString(), cases[i].body);
  }
}

}  // namespace
}  // namespace orin::testing
