#include "platform/files.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/os.h"
#include "support/TempDir.h"

namespace orin::platform {
namespace {

using namespace orin::testing;

TEST(Files, QueryAndCreateTellAMissingLastLevelFromAMissingFolderOnTheWay) {
  TempDir dir;
  WriteBytes(dir.File("file.txt"), "x");
  const std::string absent = dir.File("absent");
  const struct {
    std::string path;
    PathStatus expect;
  } cases[] = {
      {dir.path(), PathStatus::kExists},
      {dir.File("file.txt"), PathStatus::kExists},
      {absent, PathStatus::kNotFound},
      {absent + kPathSep + "deeper", PathStatus::kOtherError},
      {dir.File("file.txt") + kPathSep + "below-a-file", PathStatus::kOtherError},
  };
  for (const auto& c : cases) EXPECT_EQ(QueryPath(c.path.c_str()), c.expect) << c.path;
  EXPECT_EQ(QueryPath(nullptr), PathStatus::kOtherError);

  EXPECT_FALSE(CreateDir((absent + kPathSep + "child").c_str())) << "one level only";
  EXPECT_TRUE(CreateDir(absent.c_str()));
  EXPECT_FALSE(CreateDir(absent.c_str())) << "already there";
  EXPECT_EQ(QueryPath((absent + kPathSep + "deeper").c_str()), PathStatus::kNotFound);
}

TEST(Files, MoveReplacesCopyOverwritesRemoveDeletes) {
  TempDir dir;
  const std::string a = dir.File("a.dat");
  const std::string b = dir.File("a.dat-bak");
  const std::string c = dir.File("c.dat");
  WriteBytes(a, "new");
  WriteBytes(b, "old backup");
  EXPECT_TRUE(MoveFileReplacing(a.c_str(), b.c_str()));
  EXPECT_FALSE(Exists(a));
  EXPECT_EQ(ReadBytes(b), "new");
  EXPECT_FALSE(MoveFileReplacing(a.c_str(), b.c_str())) << "source is gone";

  WriteBytes(c, std::string(100000, 'z'));
  EXPECT_TRUE(CopyFileOverwriting(b.c_str(), c.c_str()));
  EXPECT_EQ(ReadBytes(c), "new");
  EXPECT_EQ(ReadBytes(b), "new");
  EXPECT_FALSE(CopyFileOverwriting(a.c_str(), c.c_str()));
  EXPECT_EQ(ReadBytes(c), "new") << "a failed copy keeps the target";

  EXPECT_TRUE(RemoveFile(c.c_str()));
  EXPECT_FALSE(RemoveFile(c.c_str()));
  EXPECT_FALSE(RemoveFile(dir.path().c_str())) << "folders are not files";
  EXPECT_TRUE(Exists(dir.path()));
}

}  // namespace
}  // namespace orin::platform
