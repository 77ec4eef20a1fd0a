#include "index/column_index.h"

#include <gtest/gtest.h>

#include <string>

#include "index/entry_codec.h"
#include "index/index_test_util.h"
#include "platform/exceptions.h"
#include "platform/mbcs.h"

using namespace index_test;

namespace {

std::string Le32(DWORD n) {
  BYTE ab[4];
  PutDword(ab, n);
  return std::string(ab, ab + 4);
}

// The K bytes of the key that a Str index of key size nKeySize stores for
// pszValue.
std::string StrKeyOf(CSideFile& side, BYTE nKeySize, const char* pszValue, const char* pszLocale) {
  CIndex index(side.File(), 0, COL_TYPE_STR, nKeySize, pszLocale);
  index.BeginBuild(TRUE);
  EXPECT_TRUE(index.AddValue(0, pszValue));
  EXPECT_TRUE(index.EndBuild());
  EXPECT_TRUE(index.ReadValueEntry(0));
  return std::string(index.GetEntry() + 4, index.GetEntry() + 4 + nKeySize);
}

}  // namespace

TEST(ColumnIndex, WorkedExampleByteForByte) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  index.BeginBuild(TRUE);
  index_test::AddWorkedExample(index);
  ASSERT_TRUE(index.EndBuild());
  EXPECT_EQ(index.GetPos(), CSideFile::kPrefix);
  EXPECT_EQ(side.File()->GetLength(), CSideFile::kPrefix + 66u);

  std::string strHeader = Le32(1) + Le32(3) + Le32(1);
  std::string strZone0 = Le32(1);
  std::string strZone1 = Le32(3) + Le32(3) + Le32(3) + Le32(7) + Le32(0) + Le32(10);
  std::string strZone2 = Le32(2) + Le32(1) + Le32(5) + "\x05";
  std::string strZone3 = Le32(2) + Le32(5) + Le32(1) + "\x05";
  EXPECT_EQ(side.Bytes(CSideFile::kPrefix, 66),
            strHeader + strZone0 + strZone1 + strZone2 + strZone3);

  // Another object on the same place reads the header and the entries.
  CIndex reread(side.File(), CSideFile::kPrefix, COL_TYPE_LONG, 0, "");
  EXPECT_EQ(reread.GetAnyCount() * 100 + reread.GetValueCount() * 10 + reread.GetRangeCount(),
            131u);
  ASSERT_TRUE(reread.ReadAnyEntry(0));
  EXPECT_EQ(reread.GetRow(), 1);
  ASSERT_TRUE(reread.ReadValueEntry(2));
  EXPECT_EQ(reread.GetRow(), 3);
  EXPECT_EQ(GetLong(reread.GetEntry() + 4), 7);
  ASSERT_TRUE(reread.ReadRangeEntry(5));
  EXPECT_EQ(reread.GetRow(), 2);
  EXPECT_EQ(GetLong(reread.GetEntry() + 4), 5);
  EXPECT_EQ(reread.GetEntry()[12], RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  EXPECT_FALSE(reread.ReadRangeEntry(6));  // past the end of the file
}

TEST(ColumnIndex, UnusableTypesAndShortHeader) {
  CSideFile side;
  EXPECT_EQ(CIndex(side.File(), 0, COL_TYPE_STR, 12, "fra").m_pfnMatch, MatchTextMb);
  // No buffer, status 5, nothing found, no build.
  CIndex unknown(side.File(), 0, 3, 4, nullptr);
  CIndex emptyStr(side.File(), 0, COL_TYPE_STR, 0, nullptr);
  for (CIndex* pIndex : {&unknown, &emptyStr}) {
    EXPECT_EQ(pIndex->m_nStatus, 5);
    EXPECT_EQ(pIndex->GetRow(), -1);
    pIndex->BeginBuild(TRUE);
    EXPECT_FALSE(pIndex->AddValue(0, "1"));
  }
  EXPECT_THROW(CIndex(side.File(), CSideFile::kPrefix - 4, COL_TYPE_LONG, 0, nullptr),
               CArchiveException);
}

TEST(ColumnIndex, ZoneSizes) {
  CPrivateTmp tmp;
  CSideFile side;
  // Nothing added: a header of three zeros and nothing else.
  CIndex empty(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  empty.BeginBuild(TRUE);
  ASSERT_TRUE(empty.EndBuild());
  EXPECT_EQ(side.Bytes(empty.GetPos(), 100), std::string(12, '\0'));

  // K = 255: entries of 259 and 515 bytes; a list repeating a value gives
  // two entries.
  CIndex wide(side.File(), 0, COL_TYPE_STR, 255, nullptr);
  wide.BeginBuild(TRUE);
  wide.AddAny(0);
  wide.AddValue(1, "x");
  wide.AddValue(1, "x");
  wide.AddRange(2, "a", "b", RANGE_LOW_OPEN | RANGE_HIGH_CLOSED);
  ULONGLONG nStart = side.File()->GetLength();
  ASSERT_TRUE(wide.EndBuild());
  EXPECT_EQ(side.File()->GetLength() - nStart, 12u + 4 + 2 * 259 + 2 * 515);
  ASSERT_TRUE(wide.ReadRangeEntry(4));
  EXPECT_EQ(wide.GetEntry()[4], 'B');
  EXPECT_EQ(wide.GetEntry()[4 + 255], 'A');
  EXPECT_EQ(wide.GetEntry()[514], RANGE_LOW_OPEN | RANGE_HIGH_CLOSED);
}

TEST(ColumnIndex, KeyEncoding) {
  CPrivateTmp tmp;
  CSideFile side;
  // Numbers: what atol and strtod read, 0 for nothing; little-endian.
  CIndex real(side.File(), 0, COL_TYPE_REAL, 0, nullptr);
  CIndex whole(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  real.BeginBuild(TRUE);
  whole.BeginBuild(TRUE);
  real.AddRange(5, "", "2.5e3xyz", RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  whole.AddRange(5, "-42kg", "abc", RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  ASSERT_TRUE(real.EndBuild());
  ASSERT_TRUE(whole.EndBuild());
  ASSERT_TRUE(real.ReadRangeEntry(0));
  EXPECT_EQ(GetQword(real.GetEntry() + 4), 0u);
  EXPECT_EQ(GetQword(real.GetEntry() + 12), std::bit_cast<ULONGLONG>(2500.0));
  ASSERT_TRUE(whole.ReadRangeEntry(0));
  EXPECT_EQ(side.Bytes(whole.GetPos() + 16, 8), Le32(static_cast<DWORD>(-42)) + Le32(0));

  // Str: cut at K - 1 bytes, upper case, NUL-padded.
  EXPECT_EQ(StrKeyOf(side, 6, "abcde", nullptr), std::string("ABCDE\0", 6));
  EXPECT_EQ(StrKeyOf(side, 6, "abcdefgh", nullptr), std::string("ABCDE\0", 6));
  EXPECT_EQ(StrKeyOf(side, 6, "ab", nullptr), std::string("AB\0\0\0\0", 6));
  // The plain locale folds ASCII only; a named one its code page's letters.
  EXPECT_EQ(StrKeyOf(side, 4, "\xE9t\xE9", nullptr), std::string("\xE9T\xE9", 4));
  EXPECT_EQ(StrKeyOf(side, 4, "\xE9t\xE9", "fra"), std::string("\xC9T\xC9", 4));
  // A double-byte character is never split by the cut.
  int nSavedPage = _getmbcp();
  _setmbcp(932);
  std::string strCut = StrKeyOf(side, 4, "ab\x82\xA0", nullptr);
  std::string strWhole = StrKeyOf(side, 5, "ab\x82\xA0", nullptr);
  _setmbcp(nSavedPage);
  EXPECT_EQ(strCut, std::string("AB\0\0", 4));
  EXPECT_EQ(strWhole, std::string("AB\x82\xA0\0", 5));
  // Nor a UTF-8 one under the utf8 locale, which folds it too.
  EXPECT_EQ(StrKeyOf(side, 4, "ab\xC3\xA9", "utf8"), std::string("AB\0\0", 4));
  EXPECT_EQ(StrKeyOf(side, 5, "ab\xC3\xA9", "utf8"), std::string("AB\xC3\x89\0", 5));
}

TEST(ColumnIndex, CountsPastTheEndOfTheFileAreRefused) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex built(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  built.BeginBuild(TRUE);
  index_test::AddWorkedExample(built);
  ASSERT_TRUE(built.EndBuild());
  const DWORD nPos = built.GetPos();
  ASSERT_EQ(side.File()->GetLength(), nPos + 66u);
  // Counts that need one byte more than the file holds, or wrap 32 bits:
  // the header is refused as one cut short, before any search walks them.
  const DWORD arCounts[][3] = {{1, 3, 1},          {0, 2, 0},         {2, 3, 1},
                               {1, 4, 1},          {1, 3, 2},         {0xFFFFFFFF, 3, 1},
                               {1, 0x40000000, 1}, {1, 3, 0x80000000}};
  for (const auto& counts : arCounts) {
    BYTE abHeader[12];
    for (int i = 0; i < 3; ++i) {
      PutDword(abHeader + 4 * i, counts[i]);
    }
    side.File()->Seek(nPos, CFile::begin);
    side.File()->Write(abHeader, sizeof(abHeader));
    // 12 header bytes, 4 per wildcard row, 8 per value, 2 x 13 per range.
    const bool bFits = 12 + 4ULL * counts[0] + 8ULL * counts[1] + 26ULL * counts[2] <= 66;
    if (bFits) {
      EXPECT_NO_THROW(CIndex(side.File(), nPos, COL_TYPE_LONG, 0, nullptr));
    } else {
      EXPECT_THROW(CIndex(side.File(), nPos, COL_TYPE_LONG, 0, nullptr), CArchiveException)
          << counts[0] << " " << counts[1] << " " << counts[2];
    }
  }
}
