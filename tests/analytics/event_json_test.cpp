#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "analytics/event_json.h"
#include "common/json_text.h"

namespace orin {
namespace {

PropertyValue Int(std::int64_t v) { return {kPropertyInt, v, {}}; }
PropertyValue Int64(std::int64_t v) { return {kPropertyInt64, v, {}}; }
PropertyValue Text(const std::string& t) { return {kPropertyText, 0, t}; }

TEST(EventJson, WritesTheDocumentedExampleByteForByte) {
  EventRecord record;
  record.l = 3;
  record.n = 12;
  record.properties["u"] = Text("dev_id_3f2a6c1e-0b7d-4e59-9a81-2c4d6e8f0a1b");
  record.properties["w"] = Int(10);
  record.properties["t"] = Int(1700000000);
  record.details["size"] = Int64(5);
  EXPECT_EQ(ToFastText(BuildEventJson(record)),
            "{\"l\":3,\"n\":12,\"p\":{\"size\":5},\"t\":1700000000,"
            "\"u\":\"dev_id_3f2a6c1e-0b7d-4e59-9a81-2c4d6e8f0a1b\",\"w\":10}\n");
}

TEST(EventJson, NumbersAreWrittenAsTheirLow32BitsSigned) {
  struct Case {
    std::int64_t value;
    std::int32_t written;
  };
  const Case cases[] = {
      {4294967301LL, 5},
      {2147483648LL, std::numeric_limits<std::int32_t>::min()},
      {2147483647LL, 2147483647},
      {-1, -1},
      {-4294967296LL, 0},
      {std::numeric_limits<std::int64_t>::min(), 0},
      {0x1FFFFFFFFLL, -1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    EXPECT_EQ(LowInt32(c.value), c.written);
    for (std::int32_t kind : {kPropertyInt, kPropertyInt64}) {
      EventRecord record;
      record.properties["x"] = PropertyValue{kind, c.value, {}};
      record.details["y"] = PropertyValue{kind, c.value, {}};
      const Json::Value json = BuildEventJson(record);
      ASSERT_TRUE(json["x"].isInt());
      EXPECT_EQ(json["x"].asInt(), c.written);
      EXPECT_EQ(json["p"]["y"].asInt(), c.written);
    }
  }
}

TEST(EventJson, KindsDecideTheMemberType) {
  EventRecord record;
  record.properties["a"] = Int(7);
  record.properties["b"] = Text("seven");
  record.properties["c"] = PropertyValue{9, 7, "ignored"};  // unknown kind: no member
  record.properties["d"] = PropertyValue{kPropertyText, 7, ""};  // text kind ignores the number
  EXPECT_EQ(ToFastText(BuildEventJson(record)), "{\"a\":7,\"b\":\"seven\",\"d\":\"\",\"l\":0,\"n\":0}\n");
}

TEST(EventJson, NoDetailsMeansNoPMember) {
  EventRecord record;
  record.l = -1;
  record.n = 2;
  const Json::Value json = BuildEventJson(record);
  EXPECT_FALSE(json.isMember("p"));
  EXPECT_EQ(ToFastText(json), "{\"l\":-1,\"n\":2}\n");
}

TEST(EventJson, PropertiesNamedLNOrPOverwriteWhatWasWrittenBefore) {
  EventRecord record;
  record.l = 1;
  record.n = 2;
  record.properties["l"] = Text("ell");
  record.properties["n"] = Int(99);
  record.properties["p"] = Text("prop");
  EXPECT_EQ(ToFastText(BuildEventJson(record)), "{\"l\":\"ell\",\"n\":99,\"p\":\"prop\"}\n");
  // Details are written after the properties, so they win over a "p" property.
  record.details["k"] = Int(1);
  EXPECT_EQ(ToFastText(BuildEventJson(record)), "{\"l\":\"ell\",\"n\":99,\"p\":{\"k\":1}}\n");
}

TEST(EventJson, MembersComeOutInByteOrderWhateverTheInsertion) {
  EventRecord record;
  for (const char* key : {"zz", "Z", "a", "_", "la", "i", "id"}) record.properties[key] = Int(1);
  EXPECT_EQ(ToFastText(BuildEventJson(record)),
            "{\"Z\":1,\"_\":1,\"a\":1,\"i\":1,\"id\":1,\"l\":0,\"la\":1,\"n\":0,\"zz\":1}\n");
}

}  // namespace
}  // namespace orin
