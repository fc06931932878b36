#include "identity/CQuillCookiesMgr.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "platform/os.h"
#include "platform/profile.h"
#include "tests/platform/scratch_dir.h"

namespace orin {
namespace {

using orin::testing::Exists;
using orin::testing::ReadText;
using orin::testing::ScratchDir;
using orin::testing::WriteText;

std::string StoredId(const std::string& ini) {
  char buffer[520] = {};
  platform::ReadProfileString("User", "DevID", "", buffer, sizeof buffer, ini.c_str());
  return buffer;
}

// "dev_id_" + 8-4-4-4-12 lower-case hex digits.
void ExpectIdShape(const std::string& id) {
  ASSERT_EQ(id.size(), 43u) << id;
  EXPECT_EQ(id.substr(0, 7), "dev_id_");
  const std::string guid = id.substr(7);
  for (std::size_t i = 0; i < guid.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      EXPECT_EQ(guid[i], '-') << id;
    } else {
      const char c = guid[i];
      EXPECT_TRUE((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')) << id;
    }
  }
  EXPECT_EQ(guid[14], '4') << "random GUIDs are version 4: " << id;
}

TEST(CookiesMgr, CreatesStoresAndThenKeepsTheId) {
  ScratchDir dir;
  const std::string ini = dir.File("usercfg.ini");
  std::string first;
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), first));
  ExpectIdShape(first);
  EXPECT_EQ(StoredId(ini), first);
  EXPECT_NE(ReadText(ini).find("[User]"), std::string::npos);

  std::string second = "old value";
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), second));
  EXPECT_EQ(second, first);}

TEST(CookiesMgr, AnyStoredTextIsTheIdUnchanged) {
  ScratchDir dir;
  const std::string ini = dir.File("usercfg.ini");
  WriteText(ini, "[Other]\nDevID=elsewhere\n[user]\n  devid =  abc  \n");
  std::string viaCreate;
  std::string viaLookup;
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), viaCreate));
  ASSERT_TRUE(GetCookiesMgr()->GetDevId(ini.c_str(), viaLookup, false));
  EXPECT_EQ(viaCreate, "abc");
  EXPECT_EQ(viaLookup, "abc");
}

TEST(CookiesMgr, LookupWithoutCreationWritesNothing) {
  ScratchDir dir;
  const struct {
    const char* name;
    const char* text;  // nullptr: no file
  } cases[] = {
      {"absent.ini", nullptr},
      {"empty-key.ini", "[User]\nDevID=\n"},
      {"other-key.ini", "[User]\nName=x\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string ini = dir.File(c.name);
    if (c.text != nullptr) WriteText(ini, c.text);
    std::string id = "untouched";
    EXPECT_FALSE(GetCookiesMgr()->GetDevId(ini.c_str(), id, false));
    EXPECT_EQ(id, "untouched");
    if (c.text == nullptr) {
      EXPECT_FALSE(Exists(ini));
    } else {
      EXPECT_EQ(ReadText(ini), c.text);
    }
    // With creation allowed the same lookup makes and stores one.
    ASSERT_TRUE(GetCookiesMgr()->GetDevId(ini.c_str(), id, true));
    ExpectIdShape(id);
    EXPECT_EQ(StoredId(ini), id);
  }
}

TEST(CookiesMgr, SaveCreatesOneMissingFolderLevelOnly) {
  ScratchDir dir;
  const std::string folder = dir.File("QuillBR");
  const std::string ini = folder + platform::kPathSep + "usercfg.ini";
  EXPECT_TRUE(GetCookiesMgr()->SaveDevId(ini.c_str(), "dev_id_saved"));
  EXPECT_EQ(StoredId(ini), "dev_id_saved");

  // A missing parent is not created; the write fails quietly and the call still succeeds.
  const std::string deep = dir.File("a") + platform::kPathSep + "b" + platform::kPathSep + "u.ini";
  EXPECT_TRUE(GetCookiesMgr()->SaveDevId(deep.c_str(), "dev_id_lost"));
  EXPECT_FALSE(Exists(dir.File("a")));
  // So the creating lookup reports an id that was never stored, and makes a new one next time.
  std::string one;
  std::string two;
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(deep.c_str(), one));
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(deep.c_str(), two));
  ExpectIdShape(one);
  EXPECT_NE(one, two);
}

}  // namespace
}  // namespace orin
