#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

std::string Name(CCatStd& table, WORD nCol) {
  CString strName;
  table.GetColName(nCol, strName);
  return strName.GetString();
}

}  // namespace

TEST(OpenTable, HeaderAndColumnNames) {
  TempDir dir;
  WriteFile(dir.File("ART.TXT"), "Name\tAge\tNAME\r\nx\t1\ty\r\n");
  WriteFile(dir.File("crlf.txt"), "\r\n");
  WriteFile(dir.File("empty.txt"), "");
  CCatStd table(dir.File("ART.TXT").c_str());
  EXPECT_EQ(table.GetColCount(), 3);
  EXPECT_EQ(table.m_nDataPos, 15u);
  EXPECT_EQ(table.FindCol("age"), 1);
  EXPECT_EQ(table.FindCol("name"), 2);  // the later of two equal names
  EXPECT_EQ(table.FindCol("x"), -1);
  EXPECT_EQ(Name(table, 0) + Name(table, 2) + Name(table, 3), "NameNAME");
  CCatStd blank(dir.File("crlf.txt").c_str());
  EXPECT_EQ(blank.GetColCount(), 1);
  CCatStd empty(dir.File("empty.txt").c_str());
  EXPECT_FALSE(empty.IsOpen());
  EXPECT_EQ(empty.GetColCount(), 0);
  EXPECT_FALSE(empty.Open(nullptr));  // nothing named any more
  EXPECT_FALSE(CCatStd(dir.File("none.txt").c_str()).IsOpen());
}

TEST(OpenTable, PathsAndExtensions) {
  TempDir dir;
  ASSERT_EQ(::mkdir(dir.File("d.x").c_str(), 0700), 0);
  // Scrambled files hold "@a", which reads "Ab" at offset 0 (key 1).
  for (auto [pszName, bScrambled, pszSide] : {std::tuple{"t.sdc", true, "t.SDX"},
                                              {"T.SdC", true, "T.SDX"},
                                              {"t.txt", false, "t.SDX"},
                                              {"t.csv", false, "t.SDX"},
                                              {"d.x/ART", false, "d.x/SDX"},
                                              {"sdc", true, "SDX"}}) {
    WriteFile(dir.File(pszName), bScrambled ? "@a\n" : "Ab\n");
    CCatStd table(dir.File(pszName).c_str());
    EXPECT_EQ(table.IsScrambled(), bScrambled ? TRUE : FALSE) << pszName;
    EXPECT_EQ(Name(table, 0), "Ab") << pszName;
    CString strSide;
    table.GetSidePath(strSide, TRUE);
    EXPECT_EQ(std::string(strSide), dir.File(pszSide));
  }
  // A name holding the locale separator would make "a" its sidecar: refused,
  // and nothing beside it is touched. A "|" in a folder's name is harmless.
  WriteFile(dir.File("a"), "mine");
  WriteFile(dir.File("a|b.txt"), "Ab\n");
  CCatStd piped(dir.File("a|b.txt").c_str());
  EXPECT_FALSE(piped.IsOpen());
  EXPECT_FALSE(piped.IndexTable());
  EXPECT_EQ(ReadFile(dir.File("a")), "mine");
  ASSERT_EQ(::mkdir(dir.File("p|q").c_str(), 0700), 0);
  WriteFile(dir.File("p|q/t.txt"), "Ab\n");
  EXPECT_TRUE(CCatStd(dir.File("p|q/t.txt").c_str()).IsOpen());

  char szOld[4096];
  ASSERT_NE(::getcwd(szOld, sizeof(szOld)), nullptr);
  ASSERT_EQ(::chdir(dir.path().c_str()), 0);
  CCatStd local("t.txt");  // no directory at all
  EXPECT_TRUE(local.m_strDir.IsEmpty());
  EXPECT_TRUE(local.IsOpen());
  ASSERT_EQ(::chdir(szOld), 0);
}

TEST(OpenTable, ReopeningNoticesAChangedFile) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, "A\tB\n1\t2\n");
  const long long tTime = GetMTime(strPath);
  CCatStd table(strPath.c_str());
  table.Close();
  // Unchanged: the header is not read again, so new names go unnoticed.
  WriteFile(strPath, "C\tD\tE\n1\t2\t3\n");
  SetMTime(strPath, tTime);
  EXPECT_TRUE(table.Open(""));
  EXPECT_EQ(Name(table, 1), "B");
  // Changed: header read again, sidecar removed, flags kept.
  table.Close();
  SetMTime(strPath, tTime + 1);
  WriteFile(dir.File("T.SDX"), "stale");
  table.m_arColFlags[0] = 0x20;
  EXPECT_TRUE(table.Open(nullptr));
  EXPECT_EQ(table.FindCol("e"), 2);
  EXPECT_FALSE(Exists(dir.File("T.SDX")));
  EXPECT_EQ(table.m_arColFlags[0], 0x20);
  EXPECT_EQ(table.m_arColFlags.GetSize(), 3);
  // A chained object that opens a path becomes a root.
  CCatStd view(&table);
  EXPECT_TRUE(view.Open(strPath.c_str()));
  EXPECT_EQ(view.GetMaster(), nullptr);
  EXPECT_EQ(table.m_arViews.GetSize(), 0);
}

TEST(OpenTable, StampsAHourApartAreTheSame) {
  EXPECT_TRUE(CCatStd::SameFileTime(1000, 1000 + 3600));
  EXPECT_TRUE(CCatStd::SameFileTime(1000 + 7200, 1000));
  EXPECT_FALSE(CCatStd::SameFileTime(1000, 1000 + 3601));
  EXPECT_TRUE(CCatStd::SameFileTime(100, 0xFFFFFFFFu - 3499));  // across the wrap
  EXPECT_FALSE(CCatStd::SameFileTime(0x80000000u, 0));
  // The zone's standard offset is taken off: CET is 3,600 s east of UTC.
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\n");
  SetMTime(dir.File("T.TXT"), 1000000000);
  const ScopedEnv zone("TZ", "CET-1CEST");
  EXPECT_EQ(CCatStd(dir.File("T.TXT").c_str()).m_tStamp, 1000000000u + 3600);
}
