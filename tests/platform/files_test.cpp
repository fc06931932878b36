#include "platform/files.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/os.h"
#include "tests/platform/scratch_dir.h"

namespace orin::platform {
namespace {

using orin::testing::Exists;
using orin::testing::ReadText;
using orin::testing::ScratchDir;
using orin::testing::WriteText;

TEST(QueryPath, TellsAMissingLastLevelFromAMissingFolderOnTheWay) {
  ScratchDir dir;
  WriteText(dir.File("file.txt"), "x");
  const struct {
    std::string path;
    PathStatus expect;
  } cases[] = {
      {dir.path(), PathStatus::kExists},
      {dir.File("file.txt"), PathStatus::kExists},
      {dir.File("absent"), PathStatus::kNotFound},
      {dir.File("absent") + kPathSep + "deeper", PathStatus::kOtherError},
      {dir.File("file.txt") + kPathSep + "below-a-file", PathStatus::kOtherError},
  };
  for (const auto& c : cases) EXPECT_EQ(QueryPath(c.path.c_str()), c.expect) << c.path;
  EXPECT_EQ(QueryPath(nullptr), PathStatus::kOtherError);
}

TEST(CreateDir, MakesOneLevelOnly) {
  ScratchDir dir;
  const std::string one = dir.File("one");
  const std::string two = one + kPathSep + "two";
  const std::string orphan = dir.File("missing") + kPathSep + "child";
  EXPECT_TRUE(CreateDir(one.c_str()));
  EXPECT_FALSE(CreateDir(one.c_str())) << "already there";
  EXPECT_TRUE(CreateDir(two.c_str()));
  EXPECT_FALSE(CreateDir(orphan.c_str()));
  EXPECT_FALSE(Exists(dir.File("missing")));
  EXPECT_EQ(QueryPath(two.c_str()), PathStatus::kExists);
}

TEST(FileMoves, ReplaceCopyAndRemove) {
  ScratchDir dir;
  const std::string a = dir.File("a.dat");
  const std::string b = dir.File("a.dat-bak");
  const std::string c = dir.File("c.dat");

  WriteText(a, "new");
  WriteText(b, "old backup");
  EXPECT_TRUE(MoveFileReplacing(a.c_str(), b.c_str()));
  EXPECT_FALSE(Exists(a));
  EXPECT_EQ(ReadText(b), "new");
  EXPECT_FALSE(MoveFileReplacing(a.c_str(), b.c_str())) << "source is gone";
  EXPECT_EQ(ReadText(b), "new");

  WriteText(c, std::string(100000, 'z'));
  EXPECT_TRUE(CopyFileOverwriting(b.c_str(), c.c_str()));
  EXPECT_EQ(ReadText(c), "new");
  EXPECT_EQ(ReadText(b), "new");
  EXPECT_FALSE(CopyFileOverwriting(a.c_str(), c.c_str()));
  EXPECT_EQ(ReadText(c), "new") << "a failed copy keeps the target";

  EXPECT_TRUE(RemoveFile(c.c_str()));
  EXPECT_FALSE(Exists(c));
  EXPECT_FALSE(RemoveFile(c.c_str()));
  EXPECT_FALSE(RemoveFile(dir.path().c_str())) << "folders are not files";
  EXPECT_TRUE(Exists(dir.path()));
}

}  // namespace
}  // namespace orin::platform
