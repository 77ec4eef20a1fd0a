#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using lorn_test::Exists;
using lorn_test::GetMTime;
using lorn_test::SetMTime;
using lorn_test::TempDir;
using lorn_test::WriteFile;

std::string Name(CCatStd& table, WORD nCol) {
  CString strName;
  table.GetColName(nCol, strName);
  return strName.GetString();
}

std::string SidePath(CCatStd& table, BOOL bFull) {
  CString strPath;
  table.GetSidePath(strPath, bFull);
  return strPath.GetString();
}

}  // namespace

TEST(OpenTable, HeaderAndColumnNames) {
  TempDir dir;
  WriteFile(dir.File("ART.TXT"), "Name\tAge\tNAME\r\nx\t1\ty\r\n");
  CCatStd table(dir.File("ART.TXT").c_str());
  ASSERT_TRUE(table.IsOpen());
  EXPECT_EQ(table.GetColCount(), 3);
  EXPECT_EQ(table.m_nDataPos, 15u);
  EXPECT_EQ(table.FindCol("age"), 1);
  EXPECT_EQ(table.FindCol("name"), 2);  // the later of two equal names
  EXPECT_EQ(table.FindCol("x"), -1);
  EXPECT_EQ(Name(table, 0), "Name");
  EXPECT_EQ(Name(table, 2), "NAME");
  EXPECT_EQ(Name(table, 3), "");
  EXPECT_FALSE(table.IsIndexed());
  EXPECT_EQ(table.m_arColTypes.GetSize(), 3);
  EXPECT_EQ(table.m_arColIndexes.GetSize(), 3);

  WriteFile(dir.File("crlf.txt"), "\r\n");
  CCatStd blank(dir.File("crlf.txt").c_str());
  EXPECT_TRUE(blank.IsOpen());
  EXPECT_EQ(blank.GetColCount(), 1);
  EXPECT_EQ(Name(blank, 0), "");

  WriteFile(dir.File("empty.txt"), "");
  CCatStd empty(dir.File("empty.txt").c_str());
  EXPECT_FALSE(empty.IsOpen());
  EXPECT_EQ(empty.GetColCount(), 0);
  EXPECT_TRUE(empty.m_strName.IsEmpty());
  EXPECT_FALSE(empty.Open(nullptr));

  CCatStd missing(dir.File("none.txt").c_str());
  EXPECT_FALSE(missing.IsOpen());
  EXPECT_FALSE(FileExists(dir.File("none.txt").c_str()));
  EXPECT_TRUE(FileExists(dir.File("ART.TXT").c_str()));
}

TEST(OpenTable, NamesAndExtensions) {
  TempDir dir;
  ASSERT_EQ(::mkdir(dir.File("d.x").c_str(), 0700), 0);
  // The header of an SDC file is read clear: "Ab" at offset 0 has key 1.
  for (const char* pszName : {"t.sdc", "T.SdC", "t.txt", "t.csv", "d.x/ART", "sdc"}) {
    const bool bScrambled = std::string(pszName) != "t.txt" && std::string(pszName) != "t.csv" &&
                            std::string(pszName) != "d.x/ART";
    WriteFile(dir.File(pszName), bScrambled ? "@a\n" : "Ab\n");
    CCatStd table(dir.File(pszName).c_str());
    ASSERT_TRUE(table.IsOpen()) << pszName;
    EXPECT_EQ(table.IsScrambled(), bScrambled ? TRUE : FALSE) << pszName;
    EXPECT_EQ(Name(table, 0), "Ab") << pszName;
  }
  CCatStd table(dir.File("d.x/ART").c_str());
  EXPECT_EQ(std::string(table.m_strDir), dir.File("d.x/"));
  EXPECT_EQ(std::string(table.m_strName), "ART");
  EXPECT_EQ(SidePath(table, FALSE), "SDX");
  table.Open(dir.File("t.csv").c_str());
  EXPECT_EQ(SidePath(table, TRUE), dir.File("t.SDX"));

  // A path without a directory.
  char szOld[4096];
  ASSERT_NE(::getcwd(szOld, sizeof(szOld)), nullptr);
  ASSERT_EQ(::chdir(dir.path().c_str()), 0);
  CCatStd local("t.txt");
  EXPECT_TRUE(local.IsOpen());
  EXPECT_TRUE(local.m_strDir.IsEmpty());
  EXPECT_EQ(SidePath(local, TRUE), "t.SDX");
  ASSERT_EQ(::chdir(szOld), 0);
}

TEST(OpenTable, ReopeningNoticesAChangedFile) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, "A\tB\n1\t2\n");
  const long long tTime = GetMTime(strPath);
  CCatStd table(strPath.c_str());
  table.Close();
  EXPECT_FALSE(table.IsOpen());
  // Unchanged: the header is not read again, so new names go unnoticed.
  WriteFile(strPath, "C\tD\tE\n1\t2\t3\n");
  SetMTime(strPath, tTime);
  EXPECT_TRUE(table.Open(""));
  EXPECT_EQ(table.GetColCount(), 2);
  EXPECT_EQ(Name(table, 1), "B");

  // Changed: header read again, sidecar removed, table as if new.
  table.Close();
  SetMTime(strPath, tTime + 1);
  WriteFile(dir.File("T.SDX"), "stale");
  table.m_arColFlags[0] = 0x20;
  EXPECT_TRUE(table.Open(nullptr));
  EXPECT_EQ(table.GetColCount(), 3);
  EXPECT_EQ(table.FindCol("e"), 2);
  EXPECT_FALSE(Exists(dir.File("T.SDX")));
  EXPECT_EQ(table.m_arColFlags.GetSize(), 3);
  EXPECT_EQ(table.m_arColFlags[0], 0x20);

  // Another path replaces the table; a chained object becomes a root.
  WriteFile(dir.File("U.TXT"), "X\n");
  CCatStd view(&table);
  EXPECT_TRUE(view.Open(dir.File("U.TXT").c_str()));
  EXPECT_EQ(view.GetMaster(), nullptr);
  EXPECT_EQ(table.m_arViews.GetSize(), 0);
  EXPECT_TRUE(table.Open(dir.File("U.TXT").c_str()));
  EXPECT_EQ(table.GetColCount(), 1);
}

TEST(OpenTable, StampsAHourApartAreTheSame) {
  EXPECT_TRUE(CCatStd::SameFileTime(1000, 1000 + 3600));
  EXPECT_TRUE(CCatStd::SameFileTime(1000 + 7200, 1000));
  EXPECT_FALSE(CCatStd::SameFileTime(1000, 1000 + 3601));
  EXPECT_TRUE(CCatStd::SameFileTime(100, 0xFFFFFFFFu - 3499));  // across the wrap
  EXPECT_FALSE(CCatStd::SameFileTime(0x80000000u, 0));

  // The stamp is the time in seconds with the zone's standard offset taken
  // off: Central European Time is 3,600 seconds east of UTC.
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\n");
  SetMTime(dir.File("T.TXT"), 1000000000);
  const char* pszOldTz = ::getenv("TZ");
  const std::string strOldTz = pszOldTz != nullptr ? pszOldTz : "";
  ::setenv("TZ", "CET-1CEST", 1);
  CCatStd table(dir.File("T.TXT").c_str());
  EXPECT_EQ(table.m_tStamp, 1000000000u + 3600);
  if (pszOldTz != nullptr) {
    ::setenv("TZ", strOldTz.c_str(), 1);
  } else {
    ::unsetenv("TZ");
  }
}
