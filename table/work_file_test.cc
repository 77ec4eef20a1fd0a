// A rewrite keeps the identity of the file it replaces: a symbolic link
// still leads where it did and its target holds the new rows; mode bits,
// owner and group stay; the twin of a conversion takes the table's.
#include "table/work_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "platform/collections.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using lorn_test::ReadFile;
using lorn_test::TempDir;
using lorn_test::WriteFile;

const char kTable[] = "REF\tCOLOR\r\nA1\tred\r\nA1\tblue\r\nA2\tred\r\n";

struct CRewrite {
  const char* pszName;
  std::function<void(CCatStd&)> fnRun;
  const char* pszChanged;  // the file that the rewrite writes
};

TEST(WorkFile, RewritesKeepTheFilesIdentity) {
  const CRewrite arRewrites[] = {
      {"delete",
       [](CCatStd& table) {
         CDWordArray arRows;
         arRows.Add(0);
         EXPECT_TRUE(table.DeleteRows(arRows));
       },
       "real/t.txt"},
      {"compact", [](CCatStd& table) { EXPECT_TRUE(table.CompactTable(nullptr, nullptr)); },
       "real/t.txt"},
      {"uncompact", [](CCatStd& table) { EXPECT_TRUE(table.UncompactTable(nullptr, nullptr)); },
       "real/t.txt"},
      // The twin stands beside the name the table was opened by.
      {"crypt", [](CCatStd& table) { table.CryptTable(TRUE); }, "s.SDC"},
  };
  const bool bRoot = geteuid() == 0;
  for (const CRewrite& rewrite : arRewrites) {
    SCOPED_TRACE(rewrite.pszName);
    TempDir dir;
    ASSERT_EQ(mkdir(dir.File("real").c_str(), 0755), 0);
    const std::string strReal = dir.File("real/t.txt");
    WriteFile(strReal, rewrite.pszName == std::string("uncompact")
                           ? "REF\tCOLOR\r\nA1\tred*blue\r\n"
                           : kTable);
    ASSERT_EQ(chmod(strReal.c_str(), 0600), 0);
    if (bRoot) {
      ASSERT_EQ(chown(strReal.c_str(), 1234, 4321), 0);
    }
    ASSERT_EQ(symlink("real/t.txt", dir.File("s.txt").c_str()), 0);
    const std::string strBefore = ReadFile(strReal);
    {
      CCatStd table(dir.File("s.txt").c_str());
      ASSERT_TRUE(table.IsOpen());
      rewrite.fnRun(table);
    }
    struct stat link {};
    ASSERT_EQ(lstat(dir.File("s.txt").c_str(), &link), 0);
    EXPECT_TRUE(S_ISLNK(link.st_mode));
    const std::string strChanged = dir.File(rewrite.pszChanged);
    struct stat changed {};
    ASSERT_EQ(stat(strChanged.c_str(), &changed), 0);
    EXPECT_EQ(changed.st_mode & 07777, 0600u);
    if (bRoot) {
      EXPECT_EQ(changed.st_uid, 1234u);
      EXPECT_EQ(changed.st_gid, 4321u);
    }
    EXPECT_EQ(ReadFile(dir.File("s.txt")) == strBefore, rewrite.pszChanged == std::string("s.SDC"));
  }
}

}  // namespace

namespace {

// A work file's hidden name that nobody holds is a dead run's: the next
// rewrite of the table removes it. One that a living run holds stays.
TEST(WorkFile, RewritesRemoveWhatDeadRunsLeft) {
  TempDir dir;
  WriteFile(dir.File("t.txt"), kTable);
  WriteFile(dir.File(".t.txt.lorn-dead00"), "half");
  WriteFile(dir.File(".t.txt.lorn-alive0"), "half");
  WriteFile(dir.File(".t.txt.lorn-toolong"), "mine");
  const int hAlive = open(dir.File(".t.txt.lorn-alive0").c_str(), O_RDONLY);
  ASSERT_EQ(flock(hAlive, LOCK_SH), 0);
  CCatStd table(dir.File("t.txt").c_str());
  CDWordArray arRows;
  arRows.Add(0);
  ASSERT_TRUE(table.DeleteRows(arRows));
  EXPECT_FALSE(lorn_test::Exists(dir.File(".t.txt.lorn-dead00")));
  EXPECT_TRUE(lorn_test::Exists(dir.File(".t.txt.lorn-alive0")));
  EXPECT_TRUE(lorn_test::Exists(dir.File(".t.txt.lorn-toolong")));
  close(hAlive);
}

}  // namespace
