// The values the facade derives on its own: the language code from the host's language id, and
// the OS name it reports.
#include <gtest/gtest.h>

#include "facade/language.h"
#include "facade/os_name.h"

namespace orin {
namespace {

TEST(FacadeValues, HostLanguageIdsMapToTheServiceCodes) {
  const int codes[21] = {0, 1, 8, 7, 3, 2, 6, 4, 5, 14, 19, 17, 15, 16, 9, 18, 12, 10, 21, 11, 22};
  for (int id = 1; id <= 20; ++id) EXPECT_EQ(LanguageCodeFromHostId(id), codes[id]) << id;
  for (int id : {0, -1, 21, 1000}) EXPECT_EQ(LanguageCodeFromHostId(id), 1) << id;
}

TEST(FacadeValues, OnlyWindows11RewritesTheFirstTen) {
  EXPECT_EQ(OsNameForEvents("Windows 10 Pro", true), "Windows 11 Pro");
  EXPECT_EQ(OsNameForEvents("Windows 10 Pro 10", true), "Windows 11 Pro 10");
  EXPECT_EQ(OsNameForEvents("Windows Server 2022 Standard", true), "Windows Server 2022 Standard");
  EXPECT_EQ(OsNameForEvents("Windows Server 2012 R2", true), "Windows Server 2012 R2");
  EXPECT_EQ(OsNameForEvents("Windows 10 Pro", false), "Windows 10 Pro");
}

}  // namespace
}  // namespace orin
