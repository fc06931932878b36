#include "identity/CQuillCookiesMgr.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/os.h"
#include "platform/profile.h"
#include "support/TempDir.h"

namespace orin {
namespace {

using namespace orin::testing;
constexpr char kSep = platform::kPathSep;

std::string StoredId(const std::string& ini) {
  char buffer[520] = {};
  platform::ReadProfileString("User", "DevID", "", buffer, sizeof buffer, ini.c_str());
  return buffer;
}

// "dev_id_" + 8-4-4-4-12 lower-case hex digits of a version-4 GUID.
void ExpectIdShape(const std::string& id) {
  ASSERT_EQ(id.size(), 43u) << id;
  EXPECT_EQ(id.substr(0, 7), "dev_id_");
  for (std::size_t i = 7; i < id.size(); ++i) {
    const char c = id[i];
    const bool dash = i == 15 || i == 20 || i == 25 || i == 30;
    EXPECT_TRUE(dash ? c == '-' : (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')) << id;
  }
  EXPECT_EQ(id[21], '4') << "version nibble: " << id;
}

TEST(CookiesMgr, CreatesOnceThenReturnsWhateverIsStored) {
  TempDir dir;
  const std::string ini = dir.File("usercfg.ini");
  std::string first;
  std::string second = "old value";
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), first));
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(ini.c_str(), second));
  ExpectIdShape(first);
  EXPECT_EQ(second, first);
  EXPECT_EQ(StoredId(ini), first);

  // Any stored text is the id, prefix or not.
  const std::string abc = dir.File("abc.ini");
  WriteBytes(abc, "[Other]\nDevID=elsewhere\n[user]\n  devid =  abc  \n");
  std::string viaCreate;
  std::string viaLookup;
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(abc.c_str(), viaCreate));
  ASSERT_TRUE(GetCookiesMgr()->GetDevId(abc.c_str(), viaLookup, false));
  EXPECT_EQ(viaCreate, "abc");
  EXPECT_EQ(viaLookup, "abc");
}

TEST(CookiesMgr, LookupWithoutCreationWritesNothing) {
  TempDir dir;
  const char* texts[] = {nullptr, "[User]\nDevID=\n", "[User]\nName=x\n"};  // null: no file
  for (const char* text : texts) {
    const std::string ini = dir.File(text == nullptr ? "absent.ini" : "present.ini");
    if (text != nullptr) WriteBytes(ini, text);
    std::string id = "untouched";
    EXPECT_FALSE(GetCookiesMgr()->GetDevId(ini.c_str(), id, false));
    EXPECT_EQ(id, "untouched");
    EXPECT_EQ(ReadBytes(ini), text == nullptr ? "" : text);
    EXPECT_EQ(Exists(ini), text != nullptr);
    ASSERT_TRUE(GetCookiesMgr()->GetDevId(ini.c_str(), id, true));
    ExpectIdShape(id);
    EXPECT_EQ(StoredId(ini), id);
  }
}

TEST(CookiesMgr, SaveCreatesOneMissingFolderLevelOnly) {
  TempDir dir;
  const std::string ini = dir.File("QuillBR") + kSep + "usercfg.ini";
  EXPECT_TRUE(GetCookiesMgr()->SaveDevId(ini.c_str(), "dev_id_saved"));
  EXPECT_EQ(StoredId(ini), "dev_id_saved");

  // A missing parent is not made; the write fails quietly, so every creating call reports an
  // id that was never stored and the next one makes another.
  const std::string deep = dir.File("a") + kSep + "b" + kSep + "u.ini";
  EXPECT_TRUE(GetCookiesMgr()->SaveDevId(deep.c_str(), "dev_id_lost"));
  EXPECT_FALSE(Exists(dir.File("a")));
  std::string one;
  std::string two;
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(deep.c_str(), one));
  ASSERT_TRUE(GetCookiesMgr()->GetOrCreateDevId(deep.c_str(), two));
  ExpectIdShape(one);
  EXPECT_NE(one, two);
}

}  // namespace
}  // namespace orin
