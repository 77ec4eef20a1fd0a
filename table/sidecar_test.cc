#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/exceptions.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

const char kTable[] = "A\tB\tC\n1\t2\t3\n";  // its one row starts at 6

std::string Le(DWORD nValue, int nBytes) {
  std::string strOut;
  for (int i = 0; i < nBytes; ++i) {
    strOut += static_cast<char>((nValue >> (8 * i)) & 0xFF);
  }
  return strOut;
}

// A header written by hand: Long columns of key size 4, the last one
// indexed at nLastPos.
std::string Header(BYTE nVersion, DWORD tStamp, const std::string& strLocale, int nCols = 3,
                   DWORD nLastPos = 0) {
  std::string strOut = Le(nVersion, 1) + Le(tStamp, 4) + Le(nCols, 2) + std::string(nCols, 1) +
                       Le(nCols, 2) + std::string(nCols, 4) + Le(nCols, 2);
  for (int i = 0; i < nCols; ++i) {
    strOut += Le(i == nCols - 1 ? nLastPos : 0, 4);
  }
  if (nVersion >= 5) {
    strOut += Le(static_cast<DWORD>(strLocale.size()), 1) + strLocale;
  }
  return strOut + Le(1, 4) + (nVersion == 2 ? Le(0, 2) : "");
}

struct CSideFixture {
  TempDir dir;
  std::string strTable = dir.File("T.TXT");
  std::string strSide = dir.File("T.SDX");
  DWORD tStamp = (WriteFile(strTable, kTable), CCatStd(strTable.c_str()).m_tStamp);
};

}  // namespace

TEST(Sidecar, HeaderBytes) {
  CSideFixture f;
  {
    CCatStd table(f.strTable.c_str());
    ASSERT_TRUE(table.SetLocale("fra"));
    for (int i = 0; i < 3; ++i) {
      table.m_arColTypes[i] = 1;
      table.m_arColSizes[i] = 4;
    }
    table.m_nRows = 1;
    ASSERT_TRUE(table.m_fileSide.Open(f.strSide.c_str(), CFile::modeCreate | CFile::modeReadWrite));
    table.SaveSide();
    EXPECT_EQ(table.m_nRowTablePos, 37u);
    EXPECT_EQ(ReadFile(f.strSide), Header(5, f.tStamp, "fra"));
    table.m_fileSide.Write("\x06\0\0\0", 4);
  }
  CCatStd table(f.strTable.c_str());
  EXPECT_TRUE(table.IsIndexed());
  EXPECT_EQ(table.m_nRowTablePos, 37u);
}

TEST(Sidecar, StaleAndForeignHeadersAreDropped) {
  CSideFixture f;
  for (auto [nVersion, nShift, pszLocale, nCols, bValid] : {std::tuple{5, 0u, "fra", 3, true},
                                                            {5, 3600u, "", 3, true},
                                                            {5, 3601u, "", 3, false},
                                                            {4, 0u, "", 3, true},
                                                            {2, 0u, "", 3, false},
                                                            {3, 0u, "", 3, false},
                                                            {6, 0u, "", 3, false},
                                                            {5, 0u, "zz", 3, false},
                                                            {5, 0u, "", 2, false},
                                                            {5, 0u, "", 4, false}}) {
    SCOPED_TRACE(testing::Message() << nVersion << " " << nShift << " " << pszLocale << nCols);
    // The row table, then an empty index of the last column behind it.
    const DWORD nIndexPos = static_cast<DWORD>(Header(nVersion, 0, pszLocale, nCols).size()) + 4;
    WriteFile(f.strSide, Header(nVersion, f.tStamp + nShift, pszLocale, nCols, nIndexPos) +
                             Le(6, 4) + std::string(12, '\0'));
    CCatStd table(f.strTable.c_str());
    EXPECT_EQ(Exists(f.strSide), bValid);
    EXPECT_EQ(table.IsIndexed(), bValid ? TRUE : FALSE);
    EXPECT_EQ(table.m_nRows, bValid ? 1u : 0u);
    EXPECT_EQ(table.m_arColIndexPos[2], bValid ? nIndexPos : 0u);
    // Indexes of a dropped sidecar stay wanted, so that they are built anew.
    EXPECT_EQ(table.m_arColFlags[2], nCols == 3 ? 0x10 : 0);
    CString strLocale;
    EXPECT_STREQ(table.GetLocale(strLocale), bValid ? pszLocale : "");
  }
}

TEST(Sidecar, HeaderThatPointsPastWhatTheFileHoldsIsDropped) {
  CSideFixture f;
  // Valid as it stands: one row at 6, an index of the last column behind
  // the row table with one value entry (K = 4).
  const DWORD nIndexPos = static_cast<DWORD>(Header(5, 0, "").size()) + 4;
  const std::string strIndex = Le(0, 4) + Le(1, 4) + Le(0, 4) + Le(0, 4) + Le(2, 4);
  const std::string strRows = Le(6, 4);
  struct {
    const char* pszWhat;
    std::string strSide;
    bool bValid;
  } const arCases[] = {
      {"whole", Header(5, f.tStamp, "", 3, nIndexPos) + strRows + strIndex, true},
      {"index past the end", Header(5, f.tStamp, "", 3, nIndexPos + 1) + strRows + strIndex, false},
      {"index inside the row table", Header(5, f.tStamp, "", 3, nIndexPos - 2) + strRows + strIndex,
       false},
      {"index inside the header", Header(5, f.tStamp, "", 3, 5) + strRows + strIndex, false},
      {"index cut short", Header(5, f.tStamp, "", 3, nIndexPos) + strRows + strIndex.substr(0, 19),
       false},
      {"counts past the end",
       Header(5, f.tStamp, "", 3, nIndexPos) + strRows + Le(0, 4) + Le(2, 4) + Le(0, 4) + Le(0, 4) +
           Le(2, 4),
       false},
      {"row table cut short", Header(5, f.tStamp, "") + Le(6, 2), false},
      {"first row elsewhere", Header(5, f.tStamp, "") + Le(7, 4), false},
  };
  for (const auto& test : arCases) {
    SCOPED_TRACE(test.pszWhat);
    WriteFile(f.strSide, test.strSide);
    CCatStd table(f.strTable.c_str());
    EXPECT_EQ(table.IsIndexed(), test.bValid ? TRUE : FALSE);
    EXPECT_EQ(Exists(f.strSide), test.bValid);
  }
}

TEST(Sidecar, ReadOnlySidecarStays) {
  CSideFixture f;
  WriteFile(f.strSide, Header(3, f.tStamp, ""));
  ASSERT_EQ(::chmod(f.strSide.c_str(), 0444), 0);
  CCatStd table(f.strTable.c_str());
  EXPECT_TRUE(table.IsOpen());
  EXPECT_FALSE(table.DropSide());
  EXPECT_TRUE(Exists(f.strSide));
  // Valid and read-only, it serves, until the table file changes.
  ASSERT_EQ(::chmod(f.strSide.c_str(), 0644), 0);
  WriteFile(f.strSide, Header(5, f.tStamp, "") + Le(6, 4));
  ASSERT_EQ(::chmod(f.strSide.c_str(), 0444), 0);
  table.Close();
  EXPECT_TRUE(table.Open(nullptr));
  EXPECT_TRUE(table.IsIndexed());
  table.Close();
  SetMTime(f.strTable, GetMTime(f.strTable) + 1);
  EXPECT_FALSE(table.Open(nullptr));
}

TEST(Sidecar, RewritingNeverMovesTheRowTable) {
  CSideFixture f;
  WriteFile(f.strSide, Header(5, f.tStamp, "") + Le(6, 4));
  CCatStd table(f.strTable.c_str());
  ASSERT_TRUE(table.m_fileSide.Open(f.strSide.c_str(), CFile::modeReadWrite));
  table.m_arColIndexPos[2] = 40;
  table.SaveSide();
  EXPECT_EQ(ReadFile(f.strSide), Header(5, f.tStamp, "", 3, 40) + Le(6, 4));
  // A new locale would lengthen the header: the sidecar goes instead.
  ASSERT_TRUE(table.SetLocale("fra"));
  table.SaveSide();
  EXPECT_FALSE(table.m_fileSide.IsOpen());
  EXPECT_FALSE(Exists(f.strSide));
  EXPECT_EQ(table.m_arColIndexPos[2], 0u);
  // So would the locale field that a version-4 header lacks.
  WriteFile(f.strSide, Header(4, f.tStamp, "") + Le(6, 4));
  CCatStd old(f.strTable.c_str());
  ASSERT_TRUE(old.m_fileSide.Open(f.strSide.c_str(), CFile::modeReadWrite));
  old.SaveSide();
  EXPECT_FALSE(Exists(f.strSide));
  // Through a view the root's sidecar goes; no sidecar is no failure.
  CCatStd view(&old);
  EXPECT_TRUE(view.DropSide());
}
