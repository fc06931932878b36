#include "identity/CQuillCookiesMgr.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "platform/os.h"
#include "platform/profile.h"
#include "support/TempDir.h"

namespace orin {
namespace {

using namespace orin::testing;

std::string StoredId(const std::string& ini) {
  char buffer[520] = {};
  platform::ReadProfileString("User", "DevID", "", buffer, sizeof buffer, ini.c_str());
  return buffer;
}

// "dev_id_" and a lower-case version-4 GUID of the standard variant: 43 characters.
const std::regex kNewId("dev_id_[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}");

TEST(CookiesMgr, CreatesOnceThenReturnsWhateverIsStored) {
  TempDir dir;
  const std::string ini = dir.File("usercfg.ini");
  std::string first, second = "old value";
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), first));
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), second));
  EXPECT_TRUE(std::regex_match(first, kNewId)) << first;
  EXPECT_EQ(second, first);
  EXPECT_EQ(StoredId(ini), first);

  // Any stored text is the id, prefix or not; names match without case.
  WriteBytes(ini, "[Other]\nDevID=elsewhere\n[user]\n  devid =  abc  \n");
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), first));
  ASSERT_TRUE(GetCookiesMgr()->GetDevId(ini.c_str(), second, false));
  EXPECT_EQ(first, "abc");
  EXPECT_EQ(second, "abc");
}

TEST(CookiesMgr, LookupWithoutCreationWritesNothing) {
  TempDir dir;
  for (const char* text : {"", "[User]\nDevID=\n", "[User]\nName=x\n"}) {  // "": no file
    const std::string ini = dir.File(*text ? "present.ini" : "absent.ini");
    if (*text) WriteBytes(ini, text);
    std::string id = "the caller's";
    EXPECT_FALSE(GetCookiesMgr()->GetDevId(ini.c_str(), id, false));
    EXPECT_EQ(id, "the caller's");
    EXPECT_EQ(ReadBytes(ini), text);
    EXPECT_EQ(Exists(ini), *text != '\0');
    ASSERT_TRUE(GetCookiesMgr()->GetDevId(ini.c_str(), id, true));
    EXPECT_TRUE(std::regex_match(id, kNewId)) << id;
    EXPECT_EQ(StoredId(ini), id);
  }
}

TEST(CookiesMgr, SaveCreatesOneMissingFolderLevelOnly) {
  TempDir dir;
  const std::string ini = dir.File("QuillBR") + platform::kPathSep + "usercfg.ini";
  EXPECT_TRUE(GetCookiesMgr()->SaveDevId(ini.c_str(), "dev_id_saved"));
  EXPECT_EQ(StoredId(ini), "dev_id_saved");

  // Deeper, the write fails quietly: every creating call reports a new id that was never stored.
  const std::string deep = dir.File("a") + platform::kPathSep + "b" + platform::kPathSep + "u.ini";
  std::string one, two;
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(deep.c_str(), one));
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(deep.c_str(), two));
  EXPECT_TRUE(std::regex_match(one, kNewId)) << one;
  EXPECT_NE(one, two);
  EXPECT_FALSE(Exists(dir.File("a")));
}

}  // namespace
}  // namespace orin
