#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "frame/lorn_defs.h"
#include "platform/exceptions.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

// A Long column N with a wildcard and a range, and a Str column S.
const char kTable[] = "N\tS\r\n10\tabc\r\n*\tdef\r\n(1..5)\tghi\r\n7\tjk\r\n3\tlmn\r\n12\tabc\r\n";
constexpr int kRows = 6;
// Header of two columns: types at 7, key sizes at 11, index offsets at 15.
constexpr size_t kSizes = 11;
constexpr size_t kOffsets = 15;

DWORD GetLe(const std::string& str, size_t nAt) {
  DWORD nValue = 0;
  for (int i = 3; i >= 0; --i) {
    nValue = (nValue << 8) | static_cast<BYTE>(str[nAt + i]);
  }
  return nValue;
}

void PutLe(std::string& str, size_t nAt, DWORD nValue) {
  for (int i = 0; i < 4; ++i) {
    str[nAt + i] = static_cast<char>((nValue >> (8 * i)) & 0xFF);
  }
}

void IndexBoth(CCatStd& table) {
  table.SetColFlags(0, COL_FLAG_INDEXED);
  table.SetColFlags(1, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  ASSERT_TRUE(table.IsIndexed());
}

}  // namespace

// Every sidecar whose structure cannot be right is dropped at Open, and the
// next IndexTable writes exactly the bytes of the sound one.
TEST(SidecarCheck, DamagedStructureIsDroppedAndRebuilt) {
  TempDir dir;
  const std::string strTable = dir.File("T.TXT");
  const std::string strSide = dir.File("T.SDX");
  WriteFile(strTable, kTable);
  DWORD nRowTable = 0;
  {
    CCatStd table(strTable.c_str());
    IndexBoth(table);
    nRowTable = table.m_nRowTablePos;
    ASSERT_EQ(table.m_nRows, DWORD{kRows});
  }
  const std::string strSound = ReadFile(strSide);
  const DWORD nIndexN = GetLe(strSound, kOffsets);
  const DWORD nIndexS = GetLe(strSound, kOffsets + 4);
  ASSERT_EQ(nIndexN, nRowTable + 4 * kRows);
  ASSERT_GT(nIndexS, nIndexN);
  const size_t nRowCount = nRowTable - 4;
  using Damage = std::function<void(std::string&)>;
  struct {
    const char* pszWhat;
    Damage damage;
  } const arCases[] = {
      {"row count 0", [&](std::string& s) { PutLe(s, nRowCount, 0); }},
      {"row count one short", [&](std::string& s) { PutLe(s, nRowCount, kRows - 1); }},
      {"row count three short", [&](std::string& s) { PutLe(s, nRowCount, kRows - 3); }},
      {"row count one more", [&](std::string& s) { PutLe(s, nRowCount, kRows + 1); }},
      {"Str key size 1", [&](std::string& s) { s[kSizes + 1] = 1; }},
      {"Long column read as Real",
       [&](std::string& s) { s[kSizes - 4] = static_cast<char>(COL_TYPE_REAL); }},
      {"two columns, one index", [&](std::string& s) { PutLe(s, kOffsets + 4, nIndexN); }},
      {"index inside another", [&](std::string& s) { PutLe(s, kOffsets + 4, nIndexN + 12); }},
      {"row offsets out of order",
       [&](std::string& s) { PutLe(s, nRowTable + 8, GetLe(s, nRowTable + 4) - 1); }},
      {"last row past the table",
       [&](std::string& s) { PutLe(s, nRowTable + 4 * (kRows - 1), sizeof(kTable) + 4); }},
      {"zone 0 counts more than the rows", [&](std::string& s) { PutLe(s, nIndexN, kRows + 1); }},
      {"values of an index counted short",
       [&](std::string& s) { PutLe(s, nIndexN + 4, GetLe(s, nIndexN + 4) - 1); }},
      {"bytes behind the last index", [&](std::string& s) { s += std::string(4, '\0'); }},
  };
  for (const auto& test : arCases) {
    SCOPED_TRACE(test.pszWhat);
    std::string strDamaged = strSound;
    test.damage(strDamaged);
    ASSERT_NE(strDamaged, strSound);
    WriteFile(strSide, strDamaged);
    CCatStd table(strTable.c_str());
    EXPECT_FALSE(table.IsIndexed());
    EXPECT_FALSE(Exists(strSide));
    IndexBoth(table);
    EXPECT_EQ(ReadFile(strSide), strSound);
  }
}

// What the library writes itself passes: indexes appended by later runs,
// and the dead bytes that a type change leaves in front of them.
TEST(SidecarCheck, SidecarsAsWrittenPass) {
  TempDir dir;
  const std::string strTable = dir.File("T.TXT");
  WriteFile(strTable, kTable);
  {
    CCatStd table(strTable.c_str());
    table.SetColFlags(1, COL_FLAG_INDEXED);
    ASSERT_TRUE(table.IndexTable());
  }
  {
    CCatStd table(strTable.c_str());
    ASSERT_TRUE(table.IsIndexed());
    table.SetColFlags(0, COL_FLAG_INDEXED);
    ASSERT_TRUE(table.IndexTable());
  }
  {
    CCatStd table(strTable.c_str());
    ASSERT_TRUE(table.IsIndexed());
    // The first index becomes dead bytes, then is built again at the end.
    table.SetColType(1, COL_TYPE_STR, 9);
    table.SetColType(0, COL_TYPE_REAL, 0);
    IndexBoth(table);
  }
  CCatStd table(strTable.c_str());
  EXPECT_TRUE(table.IsIndexed());
  EXPECT_EQ(table.m_arColTypes[0], COL_TYPE_REAL);
  EXPECT_EQ(table.m_arColSizes[1], 9);
  // An empty table: no row, no entry.
  WriteFile(dir.File("E.TXT"), "N\tS\r\n");
  {
    CCatStd empty(dir.File("E.TXT").c_str());
    IndexBoth(empty);
  }
  CCatStd empty(dir.File("E.TXT").c_str());
  EXPECT_TRUE(empty.IsIndexed());
}

// A row number beyond the rows, inside an index, is not seen at load; it is
// refused where it is used, before it is taken for a row.
TEST(SidecarCheck, RowNumberBeyondTheRowsIsRefusedInUse) {
  TempDir dir;
  const std::string strTable = dir.File("T.TXT");
  WriteFile(strTable, kTable);
  {
    CCatStd table(strTable.c_str());
    IndexBoth(table);
  }
  std::string strSide = ReadFile(dir.File("T.SDX"));
  const DWORD nIndexN = GetLe(strSide, kOffsets);
  for (const DWORD nRow : {DWORD{kRows - 1}, DWORD{kRows}}) {
    SCOPED_TRACE(nRow);
    PutLe(strSide, nIndexN + 12 + 4 * GetLe(strSide, nIndexN), nRow);
    WriteFile(dir.File("T.SDX"), strSide);
    CCatStd table(strTable.c_str());
    ASSERT_TRUE(table.IsIndexed());
    CString strValue;
    if (nRow < kRows) {
      EXPECT_TRUE(table.NextColValue(0, strValue, TRUE));
    } else {
      EXPECT_THROW(table.NextColValue(0, strValue, TRUE), CArchiveException);
    }
  }
}
