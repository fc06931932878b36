// The host's companion library, as the Windows product ships it beside its executable.
#include <fstream>

#include "module_test_fixture.h"

namespace orin {
namespace {

TEST_F(ModuleTest, CompanionLibraryGivesTheLanguageAndTheHostFlag) {
  fs::copy_file(ProgramFolder() + "Comn.dll", host_ + "Comn.dll");
  std::ofstream(host_ + "comn.txt") << "0 4";
  Host("point 1 1 , record , wait 1");
  std::vector<Json::Value> events = CachedEvents();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0]["la"].asInt(), 3);  // host language 4
  EXPECT_EQ(ReadIni(host_ + "OrAnacfg.ini", "Analyze", "usercfg"), DataFolder() + kSep + "usercfg.ini");

  // Under a host the user configuration is not recorded, and without a stored device id the
  // module stays off: nothing is cached and no upload starts.
  fs::remove_all(DataFolder());
  fs::remove(host_ + "OrAnacfg.ini");
  std::ofstream(host_ + "comn.txt") << "1 4";
  Host("point 1 2 , record , submitnow , sleep 1000");
  EXPECT_TRUE(CachedEvents().empty());
  EXPECT_TRUE(HelperRuns().empty());
  EXPECT_EQ(ReadIni(host_ + "OrAnacfg.ini", "Analyze", "usercfg"), "");
  EXPECT_EQ(ReadIni(host_ + "OrAnacfg.ini", "Analyze", "Cache"), DataFolder() + kSep + "KD_OF.dat");
}

}  // namespace
}  // namespace orin
