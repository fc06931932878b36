// Building events: the setters, the merge into a record, the time stamp, and the JSON text.
#include <ctime>
#include <limits>

#include "engine_test_util.h"

namespace orin {
namespace {

using testing::EnginePtr;

TEST(EventJson, NumbersKeepTheirLow32BitsSigned) {
  const std::pair<std::int64_t, std::int32_t> cases[] = {
      {4294967301LL, 5}, {2147483648LL, std::numeric_limits<std::int32_t>::min()},
      {-1, -1}, {-4294967296LL, 0}, {std::numeric_limits<std::int64_t>::min(), 0}, {0x1FFFFFFFFLL, -1}};
  for (const auto& c : cases) {
    for (std::int32_t kind : {kPropertyInt, kPropertyInt64}) {
      EventRecord r;
      r.properties["x"] = r.details["y"] = {kind, c.first, ""};
      const Json::Value json = BuildEventJson(r);
      EXPECT_TRUE(json["x"].isInt());
      EXPECT_EQ(json["x"].asInt(), c.second) << c.first;
      EXPECT_EQ(json["p"]["y"].asInt(), c.second) << c.first;
    }
  }
}

TEST(EventJson, KindsNamesAndTheDetailsObject) {
  EventRecord r;
  r.l = -1;
  // Members in byte order; text ignores the number; an unknown kind writes nothing; no "p".
  r.properties = {{"b", {kPropertyText, 7, "seven"}}, {"c", {9, 7, "x"}}, {"Z", {kPropertyInt, 1, ""}}};
  EXPECT_EQ(ToFastText(BuildEventJson(r)), "{\"Z\":1,\"b\":\"seven\",\"l\":-1,\"n\":0}\n");
  // Properties named "l", "n" or "p" overwrite what was written under that name; details win "p".
  r.properties = {{"l", {kPropertyText, 0, "ell"}},
                  {"n", {kPropertyInt, 99, ""}},
                  {"p", {kPropertyText, 0, "q"}}};
  EXPECT_EQ(ToFastText(BuildEventJson(r)), "{\"l\":\"ell\",\"n\":99,\"p\":\"q\"}\n");
  r.details["k"] = {kPropertyInt, 1, ""};
  EXPECT_EQ(ToFastText(BuildEventJson(r)), "{\"l\":\"ell\",\"n\":99,\"p\":{\"k\":1}}\n");
}

// "key:kind:number:text" for every entry, in key order.
std::string Dump(const PropertyMap& map) {
  std::string out;
  for (const auto& e : map) {
    out += e.first + ":" + std::to_string(e.second.kind) + ":" + std::to_string(e.second.number) +
           ":" + e.second.text + " ";
  }
  return out;
}

TEST(Intake, EverySetterWritesItsMapWithItsKind) {
  const std::int64_t big = 4294967301LL;
  CQuillAnalyze e;
  e.SetCommonString("s", "v");
  e.SetCommonInt64("l", big);
  e.SetCommonInt("i", -3);
  e.SetEventString("s", "v");
  e.SetEventInt64("l", big);
  e.SetEventInt("i", -3);
  e.SetCommonDetailString("s", "v");
  e.SetCommonDetailInt64("l", big);
  e.SetCommonDetailInt("i", -3);  // kind 1, not 0
  e.SetEventDetailString("s", "v");
  e.SetEventDetailInt64("l", big);
  e.SetEventDetailInt("i", -3);
  EXPECT_EQ(Dump(e.commonProperties()), "i:0:-3: l:1:4294967301: s:2:0:v ");
  EXPECT_EQ(Dump(e.eventProperties()), "i:0:-3: l:1:4294967301: s:2:0:v ");
  EXPECT_EQ(Dump(e.commonDetails()), "i:1:-3: l:1:4294967301: s:2:0:v ");
  EXPECT_EQ(Dump(e.eventDetails()), "i:0:-3: l:1:4294967301: s:2:0:v ");
  e.SetEventString("i", "x");  // same key, other kind: replaced
  EXPECT_EQ(Dump(e.eventProperties()), "i:2:0:x l:1:4294967301: s:2:0:v ");
}

TEST(Intake, IndexFormsUseTheShortKeyTableAndIgnoreOtherIndexes) {
  CQuillAnalyze e;
  for (std::int32_t i = -1; i <= 16; ++i) e.SetEventIntAt(i, i);
  e.SetCommonStringAt(2, "os");
  e.SetCommonInt64At(9, 1);
  e.SetCommonIntAt(16, 1);
  std::string keys;
  for (const auto& entry : e.eventProperties()) {
    keys += entry.first + "=" + std::to_string(entry.second.number) + " ";
  }
  EXPECT_EQ(keys, "c=11 i=8 id=9 l=12 la=7 m=0 n=13 o=2 p=15 r=10 re=4 s=6 t=14 u=1 v=5 w=3 ");
  EXPECT_EQ(e.commonProperties().size(), 2u);
  EXPECT_EQ(e.commonProperties().at("o").text, "os");
  EXPECT_EQ(e.commonProperties().at("id").kind, kPropertyInt64);
}

TEST(Intake, CollectEventLetsEventValuesWinAndClearsOnlyThePendingEvent) {
  CQuillAnalyze e;
  e.SetCommonString("k", "common");
  e.SetCommonDetailInt("cd", -1);
  e.SetCommonDetailString("d", "common");
  e.SetEventString("k", "event");
  e.SetEventDetailInt("d", 2);
  e.SetEventIds(4, 5);
  EventRecord r;
  e.CollectEvent(r);
  EXPECT_EQ(r.l * 10 + r.n, 45);
  EXPECT_EQ(Dump(r.properties), "k:2:0:event t:0:" + std::to_string(r.properties.at("t").number) + ": ");
  EXPECT_EQ(Dump(r.details), "cd:1:-1: d:0:2: ");
  EXPECT_TRUE(e.eventProperties().empty() && e.eventDetails().empty());
  EXPECT_EQ(e.pendingL() + e.pendingN(), 0);
  EventRecord next;  // no SetEventIds: no "t"; the common values come back
  e.CollectEvent(next);
  EXPECT_EQ(ToFastText(BuildEventJson(next)),
            "{\"k\":\"common\",\"l\":0,\"n\":0,\"p\":{\"cd\":-1,\"d\":\"common\"}}\n");
}

TEST(Intake, SetEventIdsStampsTheTimeOnlyWhenAbsent) {
  CQuillAnalyze e;
  const std::int64_t before = std::time(nullptr);
  e.SetEventIds(7, 8);
  const std::int64_t stamped = e.eventProperties().at("t").number;
  EXPECT_EQ(e.eventProperties().at("t").kind, kPropertyInt);
  EXPECT_TRUE(stamped >= before && stamped <= std::time(nullptr));
  e.SetEventInt("t", 5);
  e.SetEventIds(7, 8);
  EXPECT_EQ(e.eventProperties().at("t").number, 5);
}

// The index forms and the time stamp reach the key forms through the virtual table.
class KeyFormSpy : public CQuillAnalyze {
 public:
  void SetEventInt(std::string key, std::int32_t value) override {
    seen += key + " ";
    CQuillAnalyze::SetEventInt(key, value + 1);
  }
  std::string seen;
};

TEST(Intake, DerivedEngineSeesEveryRoutedCall) {
  EnginePtr<KeyFormSpy> e(new KeyFormSpy);
  e->SetEventIntAt(3, 41);
  e->SetEventIds(1, 2);
  EXPECT_EQ(e->seen, "w t ");
  EXPECT_EQ(e->eventProperties().at("w").number, 42);
}

}  // namespace
}  // namespace orin
