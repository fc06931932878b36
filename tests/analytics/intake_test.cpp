#include <ctime>
#include <limits>
#include <functional>
#include <string>
#include <vector>

#include "analytics/event_json.h"
#include "engine_test_util.h"

namespace orin {
namespace {

using testing::EnginePtr;

const char* const kKeys[16] = {"m", "u", "o", "w", "re", "v", "s", "la",
                               "i", "id", "r", "c", "l", "n", "t", "p"};

enum class Map { kCommon, kEvent, kCommonDetail, kEventDetail };

const PropertyMap& MapOf(CQuillAnalyze& e, Map m) {
  switch (m) {
    case Map::kCommon: return e.commonProperties();
    case Map::kEvent: return e.eventProperties();
    case Map::kCommonDetail: return e.commonDetails();
    default: return e.eventDetails();
  }
}

TEST(Intake, EverySetterWritesItsMapWithItsKind) {
  struct Case {
    const char* name;
    std::function<void(CQuillAnalyze&)> set;
    Map map;
    std::int32_t kind;
    std::int64_t number;
    const char* text;
  };
  const std::int64_t big = 4294967301LL;
  const std::vector<Case> cases = {
      {"SetCommonString", [](CQuillAnalyze& e) { e.SetCommonString("k", "v"); }, Map::kCommon, 2, 0, "v"},
      {"SetCommonInt64", [&](CQuillAnalyze& e) { e.SetCommonInt64("k", big); }, Map::kCommon, 1, big, ""},
      {"SetCommonInt", [](CQuillAnalyze& e) { e.SetCommonInt("k", -3); }, Map::kCommon, 0, -3, ""},
      {"SetEventString", [](CQuillAnalyze& e) { e.SetEventString("k", "v"); }, Map::kEvent, 2, 0, "v"},
      {"SetEventInt64", [&](CQuillAnalyze& e) { e.SetEventInt64("k", big); }, Map::kEvent, 1, big, ""},
      {"SetEventInt", [](CQuillAnalyze& e) { e.SetEventInt("k", -3); }, Map::kEvent, 0, -3, ""},
      {"SetCommonDetailString", [](CQuillAnalyze& e) { e.SetCommonDetailString("k", "v"); }, Map::kCommonDetail, 2, 0, "v"},
      {"SetCommonDetailInt64", [&](CQuillAnalyze& e) { e.SetCommonDetailInt64("k", big); }, Map::kCommonDetail, 1, big, ""},
      // Kind 1, not 0, for this one setter.
      {"SetCommonDetailInt", [](CQuillAnalyze& e) { e.SetCommonDetailInt("k", -3); }, Map::kCommonDetail, 1, -3, ""},
      {"SetEventDetailString", [](CQuillAnalyze& e) { e.SetEventDetailString("k", "v"); }, Map::kEventDetail, 2, 0, "v"},
      {"SetEventDetailInt64", [&](CQuillAnalyze& e) { e.SetEventDetailInt64("k", big); }, Map::kEventDetail, 1, big, ""},
      {"SetEventDetailInt", [](CQuillAnalyze& e) { e.SetEventDetailInt("k", -3); }, Map::kEventDetail, 0, -3, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
    c.set(*engine);
    for (Map m : {Map::kCommon, Map::kEvent, Map::kCommonDetail, Map::kEventDetail}) {
      const PropertyMap& map = MapOf(*engine, m);
      if (m != c.map) {
        EXPECT_TRUE(map.empty());
        continue;
      }
      ASSERT_EQ(map.size(), 1u);
      const PropertyValue& v = map.at("k");
      EXPECT_EQ(v.kind, c.kind);
      EXPECT_EQ(v.number, c.number);
      EXPECT_EQ(v.text, c.text);
    }
  }
}

TEST(Intake, IndexFormsUseTheShortKeyTable) {
  for (std::int32_t i = 0; i < 16; ++i) {
    SCOPED_TRACE(i);
    EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
    engine->SetCommonStringAt(i, "s");
    engine->SetCommonInt64At(i, 64);
    engine->SetEventIntAt(i, i);
    engine->SetEventStringAt(i, "e");  // replaces the Int just set
    ASSERT_EQ(engine->commonProperties().size(), 1u);
    EXPECT_EQ(engine->commonProperties().at(kKeys[i]).kind, kPropertyInt64);
    EXPECT_EQ(engine->commonProperties().at(kKeys[i]).number, 64);
    ASSERT_EQ(engine->eventProperties().size(), 1u);
    EXPECT_EQ(engine->eventProperties().at(kKeys[i]).text, "e");
  }
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  engine->SetCommonIntAt(3, 10);
  engine->SetEventInt64At(5, 7);
  EXPECT_EQ(engine->commonProperties().at("w").kind, kPropertyInt);
  EXPECT_EQ(engine->eventProperties().at("v").kind, kPropertyInt64);
}

TEST(Intake, IndexOutsideTheTableIsIgnored) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  for (std::int32_t bad : {-1, 16, 1000, std::numeric_limits<std::int32_t>::min()}) {
    engine->SetCommonStringAt(bad, "x");
    engine->SetCommonInt64At(bad, 1);
    engine->SetCommonIntAt(bad, 1);
    engine->SetEventStringAt(bad, "x");
    engine->SetEventInt64At(bad, 1);
    engine->SetEventIntAt(bad, 1);
  }
  EXPECT_TRUE(engine->commonProperties().empty());
  EXPECT_TRUE(engine->eventProperties().empty());
}

TEST(Intake, SameKeyIsReplacedWhateverTheKind) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  engine->SetEventInt("k", 1);
  engine->SetEventString("k", "x");
  const PropertyValue& v = engine->eventProperties().at("k");
  EXPECT_EQ(v.kind, kPropertyText);
  EXPECT_EQ(v.number, 0);
  EXPECT_EQ(v.text, "x");
}

TEST(Intake, CollectEventMergesEventOverCommonAndClearsThePendingEvent) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  engine->SetCommonString("k", "common");
  engine->SetCommonInt("c", 1);
  engine->SetEventString("k", "event");
  engine->SetCommonDetailString("d", "common");
  engine->SetCommonDetailInt("cd", -1);
  engine->SetEventDetailInt("d", 2);
  engine->SetEventIds(4, 5);

  EventRecord record;
  engine->CollectEvent(record);
  EXPECT_EQ(record.l, 4);
  EXPECT_EQ(record.n, 5);
  EXPECT_EQ(record.properties.at("k").text, "event");
  EXPECT_EQ(record.properties.at("c").number, 1);
  EXPECT_TRUE(record.properties.count("t"));
  EXPECT_EQ(record.details.at("d").kind, kPropertyInt);
  EXPECT_EQ(record.details.at("d").number, 2);
  EXPECT_EQ(record.details.at("cd").number, -1);

  EXPECT_EQ(engine->pendingL(), 0);
  EXPECT_EQ(engine->pendingN(), 0);
  EXPECT_TRUE(engine->eventProperties().empty());
  EXPECT_TRUE(engine->eventDetails().empty());
  EXPECT_EQ(engine->commonProperties().size(), 2u);
  EXPECT_EQ(engine->commonDetails().size(), 2u);

  // The next event carries the common values again, and the common detail as -1 inside "p".
  EventRecord next;
  engine->CollectEvent(next);
  EXPECT_EQ(next.properties.at("k").text, "common");
  EXPECT_EQ(ToFastText(BuildEventJson(next)),
            "{\"c\":1,\"k\":\"common\",\"l\":0,\"n\":0,\"p\":{\"cd\":-1,\"d\":\"common\"}}\n");
}

TEST(Intake, SetEventIdsStampsTimeOnlyWhenAbsent) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  const std::int64_t before = static_cast<std::int64_t>(std::time(nullptr));
  engine->SetEventIds(7, 8);
  const std::int64_t after = static_cast<std::int64_t>(std::time(nullptr));
  const PropertyValue first = engine->eventProperties().at("t");
  EXPECT_EQ(first.kind, kPropertyInt);
  EXPECT_GE(first.number, before);
  EXPECT_LE(first.number, after);

  // A "t" already there, whoever set it, is kept.
  engine->SetEventInt("t", 5);
  engine->SetEventIds(7, 8);
  EXPECT_EQ(engine->eventProperties().at("t").number, 5);

  // After the event is collected the next one gets a fresh stamp; without SetEventIds, none.
  EventRecord record;
  engine->CollectEvent(record);
  EXPECT_EQ(record.properties.at("t").number, 5);
  EventRecord bare;
  engine->CollectEvent(bare);
  EXPECT_EQ(bare.properties.count("t"), 0u);
  engine->SetEventIds(1, 1);
  EXPECT_GE(engine->eventProperties().at("t").number, before);
}

TEST(Intake, SwitchesAndAuxTextAreStored) {
  EnginePtr<CQuillAnalyze> engine(new CQuillAnalyze);
  engine->SetAuxText("aux");
  engine->SetRootPrefix("R:");
  EXPECT_EQ(engine->auxText(), "aux");
  EXPECT_EQ(engine->rootPrefix(), "R:");
}

// Index forms and the time stamp reach the key forms through the virtual table.
class KeyFormSpy : public CQuillAnalyze {
 public:
  void SetEventInt(std::string key, std::int32_t value) override {
    seen.push_back("event-int:" + key);
    CQuillAnalyze::SetEventInt(key, value + 1);
  }
  void SetCommonString(std::string key, const std::string& value) override {
    seen.push_back("common-string:" + key);
    CQuillAnalyze::SetCommonString(key, value);
  }
  void StampEventTime() override {
    seen.push_back("stamp");
    CQuillAnalyze::StampEventTime();
  }
  std::vector<std::string> seen;
};

TEST(Intake, DerivedEngineSeesEveryRoutedCall) {
  EnginePtr<KeyFormSpy> engine(new KeyFormSpy);
  engine->SetCommonStringAt(0, "app");
  engine->SetEventIntAt(3, 41);
  engine->SetEventIds(1, 2);
  EXPECT_EQ(engine->seen, (std::vector<std::string>{"common-string:m", "event-int:w", "stamp",
                                                      "event-int:t"}));
  EXPECT_EQ(engine->eventProperties().at("w").number, 42);
}

}  // namespace
}  // namespace orin
