#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/exceptions.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using lorn_test::Exists;
using lorn_test::GetMTime;
using lorn_test::ReadFile;
using lorn_test::SetMTime;
using lorn_test::TempDir;
using lorn_test::WriteFile;

const char kTable[] = "A\tB\tC\n1\t2\t3\n";  // its one row starts at 6

std::string Le(DWORD nValue, int nBytes) {
  std::string strOut;
  for (int i = 0; i < nBytes; ++i) {
    strOut += static_cast<char>((nValue >> (8 * i)) & 0xFF);
  }
  return strOut;
}

// A sidecar header written by hand: Long columns of key size 4, the second
// one indexed at nIndexPos.
std::string Header(BYTE nVersion, DWORD tStamp, const std::string& strLocale, DWORD nRows,
                   int nCols = 3, DWORD nIndexPos = 0) {
  std::string strOut = Le(nVersion, 1) + Le(tStamp, 4);
  strOut += Le(nCols, 2) + std::string(nCols, '\1');
  strOut += Le(nCols, 2) + std::string(nCols, '\4');
  strOut += Le(nCols, 2);
  for (int i = 0; i < nCols; ++i) {
    strOut += Le(i == 1 ? nIndexPos : 0, 4);
  }
  if (nVersion >= 5) {
    strOut += Le(static_cast<DWORD>(strLocale.size()), 1) + strLocale;
  }
  strOut += Le(nRows, 4);
  if (nVersion == 2) {
    strOut += Le(0, 2);
  }
  return strOut;
}

// The stamp that a table gives its file.
DWORD StampOf(const std::string& strPath) {
  CCatStd table(strPath.c_str());
  return table.m_tStamp;
}

}  // namespace

TEST(Sidecar, HeaderBytesAndReadingThemBack) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), kTable);
  {
    CCatStd table(dir.File("T.TXT").c_str());
    ASSERT_FALSE(table.IsIndexed());
    ASSERT_TRUE(table.SetLocale("fra"));
    for (int i = 0; i < 3; ++i) {
      table.m_arColTypes[i] = 1;
      table.m_arColSizes[i] = 4;
    }
    table.m_nRows = 1;
    table.SaveSide();  // no sidecar open: nothing happens
    EXPECT_FALSE(Exists(dir.File("T.SDX")));
    ASSERT_TRUE(table.m_fileSide.Open(dir.File("T.SDX").c_str(),
                                      CFile::modeCreate | CFile::modeReadWrite));
    table.SaveSide();
    EXPECT_EQ(table.m_nRowTablePos, 37u);
    EXPECT_EQ(ReadFile(dir.File("T.SDX")), Header(5, table.m_tStamp, "fra", 1));
    table.m_fileSide.Write("\x06\0\0\0", 4);
  }
  CCatStd table(dir.File("T.TXT").c_str());
  EXPECT_TRUE(table.IsIndexed());
  EXPECT_EQ(table.m_nRowTablePos, 37u);
  EXPECT_EQ(table.m_nRows, 1u);
  EXPECT_EQ(table.m_arColSizes[2], 4);
  CString strLocale;
  EXPECT_STREQ(table.GetLocale(strLocale), "fra");
}

TEST(Sidecar, StaleAndForeignHeadersAreDropped) {
  TempDir dir;
  const std::string strSide = dir.File("T.SDX");
  WriteFile(dir.File("T.TXT"), kTable);
  const DWORD tStamp = StampOf(dir.File("T.TXT"));
  struct Case {
    BYTE nVersion;
    DWORD nShift;
    const char* pszLocale;
    int nCols;
    bool bValid;
  };
  for (const Case& c : {Case{5, 0, "fra", 3, true}, Case{5, 3600, "", 3, true},
                        Case{5, 7200, "", 3, true}, Case{5, 3601, "", 3, false},
                        Case{4, 0, "", 3, true}, Case{2, 0, "", 3, false},
                        Case{3, 0, "", 3, false}, Case{6, 0, "", 3, false},
                        Case{5, 0, "zz", 3, false}, Case{5, 0, "", 2, false},
                        Case{5, 0, "", 4, false}}) {
    SCOPED_TRACE(testing::Message() << int(c.nVersion) << " " << c.nShift << " "
                                    << c.pszLocale << " " << c.nCols);
    WriteFile(strSide,
              Header(c.nVersion, tStamp + c.nShift, c.pszLocale, 1, c.nCols, 99) + Le(6, 4));
    CCatStd table(dir.File("T.TXT").c_str());
    EXPECT_TRUE(table.IsOpen());
    EXPECT_EQ(Exists(strSide), c.bValid);
    EXPECT_EQ(table.IsIndexed(), c.bValid ? TRUE : FALSE);
    EXPECT_EQ(table.m_nRows, c.bValid ? 1u : 0u);
    EXPECT_EQ(table.m_arColTypes.GetSize(), 3);
    EXPECT_EQ(table.m_arColIndexPos[1], c.bValid ? 99u : 0u);
    // A dropped sidecar's indexes stay wanted, so that they are built anew.
    EXPECT_EQ(table.m_arColFlags[1], c.nCols == 3 ? 0x10 : 0);
    CString strLocale;
    EXPECT_STREQ(table.GetLocale(strLocale), c.bValid ? c.pszLocale : "");
  }

  // A header cut short is an error of the archive; no object is left over.
  WriteFile(strSide, Header(5, tStamp, "", 0).substr(0, 9));
  const short nInstances = CCatStd::s_nInstances;
  EXPECT_THROW(CCatStd table(dir.File("T.TXT").c_str()), CArchiveException);
  EXPECT_EQ(CCatStd::s_nInstances, nInstances);
}

TEST(Sidecar, ReadOnlySidecarStays) {
  TempDir dir;
  const std::string strSide = dir.File("T.SDX");
  WriteFile(dir.File("T.TXT"), kTable);
  const DWORD tStamp = StampOf(dir.File("T.TXT"));
  WriteFile(strSide, Header(3, tStamp, "", 1));
  ASSERT_EQ(::chmod(strSide.c_str(), 0444), 0);
  CCatStd table(dir.File("T.TXT").c_str());
  EXPECT_TRUE(table.IsOpen());
  EXPECT_FALSE(table.IsIndexed());
  EXPECT_FALSE(table.DropSide());
  EXPECT_TRUE(Exists(strSide));

  // Valid and read-only, it serves; once the file changes, the table
  // cannot open.
  ASSERT_EQ(::chmod(strSide.c_str(), 0644), 0);
  WriteFile(strSide, Header(5, tStamp, "", 1) + Le(6, 4));
  ASSERT_EQ(::chmod(strSide.c_str(), 0444), 0);
  table.Close();
  EXPECT_TRUE(table.Open(nullptr));
  EXPECT_TRUE(table.IsIndexed());
  table.Close();
  SetMTime(dir.File("T.TXT"), GetMTime(dir.File("T.TXT")) + 1);
  EXPECT_FALSE(table.Open(nullptr));
  EXPECT_FALSE(table.IsOpen());
}

TEST(Sidecar, RewritingNeverMovesTheRowTable) {
  TempDir dir;
  const std::string strSide = dir.File("T.SDX");
  WriteFile(dir.File("T.TXT"), kTable);
  const DWORD tStamp = StampOf(dir.File("T.TXT"));
  // Same length: rewritten in place, the row table behind it intact.
  WriteFile(strSide, Header(5, tStamp, "", 1) + Le(6, 4));
  CCatStd table(dir.File("T.TXT").c_str());
  ASSERT_TRUE(table.IsIndexed());
  ASSERT_TRUE(table.m_fileSide.Open(strSide.c_str(), CFile::modeReadWrite));
  table.m_arColIndexPos[2] = 40;
  table.SaveSide();
  EXPECT_EQ(ReadFile(strSide), Header(5, tStamp, "", 1).substr(0, 25) + Le(40, 4) +
                                   Header(5, tStamp, "", 1).substr(29) + Le(6, 4));
  // A new locale would lengthen the header: the sidecar goes instead.
  ASSERT_TRUE(table.SetLocale("fra"));
  table.SaveSide();
  EXPECT_FALSE(table.m_fileSide.IsOpen());
  EXPECT_FALSE(Exists(strSide));
  EXPECT_FALSE(table.IsIndexed());
  EXPECT_EQ(table.m_arColIndexPos[2], 0u);

  // A version-4 header is one byte shorter than any version-5 one.
  WriteFile(strSide, Header(4, tStamp, "", 1) + Le(6, 4));
  CCatStd old(dir.File("T.TXT").c_str());
  ASSERT_TRUE(old.IsIndexed());
  ASSERT_TRUE(old.m_fileSide.Open(strSide.c_str(), CFile::modeReadWrite));
  old.SaveSide();
  EXPECT_FALSE(Exists(strSide));

  // Dropping through a view reaches the root; no sidecar is no failure.
  CCatStd view(&old);
  EXPECT_TRUE(view.DropSide());
}
