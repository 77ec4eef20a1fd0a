#include "index/column_index.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/locale_scope.h"
#include "index/entry_codec.h"
#include "index/index_test_util.h"
#include "platform/exceptions.h"
#include "platform/mbcs.h"

using index_test::CPrivateTmp;
using index_test::CSideFile;

namespace {

std::string Le32(DWORD n) {
  BYTE ab[4];
  PutDword(ab, n);
  return std::string(ab, ab + 4);
}

// Builds a Str index of key size nKeySize holding the one value pszValue and
// gives the K bytes of its key.
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
  EXPECT_EQ(index.GetKeySize(), 4);
  index.BeginBuild(TRUE);
  index_test::AddWorkedExample(index);
  ASSERT_TRUE(index.EndBuild());

  EXPECT_EQ(index.GetPos(), CSideFile::kPrefix);
  EXPECT_EQ(index.GetAnyCount(), 1u);
  EXPECT_EQ(index.GetValueCount(), 3u);
  EXPECT_EQ(index.GetRangeCount(), 1u);
  EXPECT_EQ(side.File()->GetLength(), CSideFile::kPrefix + 66u);

  std::string strExpected = Le32(1) + Le32(3) + Le32(1)       // header
                            + Le32(1)                          // zone 0
                            + Le32(3) + Le32(3)                // zone 1
                            + Le32(3) + Le32(7) + Le32(0) + Le32(10) +
                            Le32(2) + Le32(1) + Le32(5) + "\x05"   // zone 2
                            + Le32(2) + Le32(5) + Le32(1) + "\x05";  // zone 3
  ASSERT_EQ(strExpected.size(), 66u);
  EXPECT_EQ(side.Bytes(CSideFile::kPrefix, 66), strExpected);

  // A second object on the same place reads the header and the entries.
  CIndex reread(side.File(), CSideFile::kPrefix, COL_TYPE_LONG, 0, "");
  EXPECT_EQ(reread.GetAnyCount(), 1u);
  EXPECT_EQ(reread.GetValueCount(), 3u);
  EXPECT_EQ(reread.GetRangeCount(), 1u);
  EXPECT_EQ(reread.m_nDataPos, CSideFile::kPrefix + 12);
  ASSERT_TRUE(reread.ReadAnyEntry(0));
  EXPECT_EQ(reread.GetRow(), 1);
  const LONG anValueRows[] = {3, 3, 0};
  const LONG anValueKeys[] = {3, 7, 10};
  for (DWORD n = 1; n <= 3; ++n) {
    ASSERT_TRUE(reread.ReadValueEntry(n));
    EXPECT_EQ(reread.GetRow(), anValueRows[n - 1]);
    EXPECT_EQ(GetLong(reread.GetEntry() + 4), anValueKeys[n - 1]);
  }
  ASSERT_TRUE(reread.ReadRangeEntry(4));
  EXPECT_EQ(GetLong(reread.GetEntry() + 4), 1);
  EXPECT_EQ(GetLong(reread.GetEntry() + 8), 5);
  ASSERT_TRUE(reread.ReadRangeEntry(5));
  EXPECT_EQ(reread.GetRow(), 2);
  EXPECT_EQ(GetLong(reread.GetEntry() + 4), 5);
  EXPECT_EQ(reread.GetEntry()[12], RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  // Past the end of the file the read is short.
  EXPECT_FALSE(reread.ReadRangeEntry(6));
}

TEST(ColumnIndex, ConstructionByType) {
  CSideFile side;
  CIndex real(side.File(), 0, COL_TYPE_REAL, 3, nullptr);
  EXPECT_EQ(real.GetKeySize(), 8);
  EXPECT_EQ(real.m_nStatus, 0);
  EXPECT_EQ(real.GetRow(), 0);

  CIndex text(side.File(), 0, COL_TYPE_STR, 12, "fra");
  EXPECT_EQ(text.GetKeySize(), 12);
  EXPECT_EQ(text.m_pfnMatch, MatchTextMb);
  CIndex plain(side.File(), 0, COL_TYPE_STR, 12, "c");
  EXPECT_EQ(plain.m_pfnMatch, MatchText);
  EXPECT_EQ(plain.m_pfnCompareEntries, CompareTextEntry);

  // No usable index: no buffer, status 5, nothing found, no build.
  CIndex unknown(side.File(), 0, 3, 4, nullptr);
  CIndex emptyStr(side.File(), 0, COL_TYPE_STR, 0, nullptr);
  for (CIndex* pIndex : {&unknown, &emptyStr}) {
    EXPECT_EQ(pIndex->m_nStatus, 5);
    EXPECT_EQ(pIndex->GetRow(), -1);
    EXPECT_EQ(pIndex->m_pfnMatch, nullptr);
    LONG nKey = 0;
    EXPECT_FALSE(pIndex->Find(&nKey, CRIT_EQUAL, TRUE));
    pIndex->BeginBuild(TRUE);
    EXPECT_FALSE(pIndex->IsBuilding());
    EXPECT_FALSE(pIndex->AddValue(0, "1"));
  }

  // A header that the file cannot hold.
  EXPECT_THROW(CIndex(side.File(), CSideFile::kPrefix - 4, COL_TYPE_LONG, 0, nullptr),
               CArchiveException);
}

TEST(ColumnIndex, ZoneSizesAndEmptyIndex) {
  CPrivateTmp tmp;
  CSideFile side;
  // Nothing added: a header of three zeros and nothing else.
  CIndex empty(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  empty.BeginBuild(TRUE);
  EXPECT_EQ(tmp.CountSdx(), 0);
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
  EXPECT_EQ(wide.GetPos(), nStart);
  EXPECT_EQ(wide.GetValueCount(), 2u);
  EXPECT_EQ(side.File()->GetLength() - nStart, 12u + 4 + 2 * 259 + 2 * 515);
  ASSERT_TRUE(wide.ReadRangeEntry(4));
  EXPECT_EQ(wide.GetEntry()[4], 'B');
  EXPECT_EQ(wide.GetEntry()[4 + 255], 'A');
  EXPECT_EQ(wide.GetEntry()[514], RANGE_LOW_OPEN | RANGE_HIGH_CLOSED);
}

TEST(ColumnIndex, KeyEncoding) {
  CPrivateTmp tmp;
  CSideFile side;
  // Real: the IEEE pattern, little-endian; an empty bound is key 0.
  CIndex real(side.File(), 0, COL_TYPE_REAL, 0, nullptr);
  real.BeginBuild(TRUE);
  real.AddValue(4, "2.5e3xyz");
  real.AddRange(5, "", "-1.25", RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  ASSERT_TRUE(real.EndBuild());
  ASSERT_TRUE(real.ReadValueEntry(0));
  EXPECT_EQ(real.GetRow(), 4);
  EXPECT_EQ(GetQword(real.GetEntry() + 4), std::bit_cast<ULONGLONG>(2500.0));
  ASSERT_TRUE(real.ReadRangeEntry(1));
  EXPECT_EQ(GetDouble(real.GetEntry() + 4), 0.0);
  EXPECT_EQ(GetDouble(real.GetEntry() + 12), -1.25);

  // Long: what atol reads, 0 for nothing.
  CIndex whole(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  whole.BeginBuild(TRUE);
  whole.AddValue(0, "abc");
  whole.AddValue(1, "-42kg");
  ASSERT_TRUE(whole.EndBuild());
  ASSERT_TRUE(whole.ReadValueEntry(0));
  EXPECT_EQ(GetLong(whole.GetEntry() + 4), -42);
  ASSERT_TRUE(whole.ReadValueEntry(1));
  EXPECT_EQ(GetLong(whole.GetEntry() + 4), 0);

  // Str: cut at K - 1 bytes, upper case, NUL-padded.
  EXPECT_EQ(StrKeyOf(side, 6, "abcde", nullptr), std::string("ABCDE\0", 6));
  EXPECT_EQ(StrKeyOf(side, 6, "abcdefgh", nullptr), std::string("ABCDE\0", 6));
  EXPECT_EQ(StrKeyOf(side, 6, "ab", nullptr), std::string("AB\0\0\0\0", 6));
  EXPECT_EQ(StrKeyOf(side, 3, "", nullptr), std::string(3, '\0'));
  // The plain locale folds ASCII only; a named one its code page's letters.
  EXPECT_EQ(StrKeyOf(side, 4, "\xE9t\xE9", nullptr), std::string("\xE9T\xE9", 3) + '\0');
  EXPECT_EQ(StrKeyOf(side, 4, "\xE9t\xE9", "fra"), std::string("\xC9T\xC9", 3) + '\0');

  // A double-byte character is never split by the cut.
  int nSavedPage = _getmbcp();
  _setmbcp(932);
  std::string strCut = StrKeyOf(side, 4, "ab\x82\xA0", nullptr);
  std::string strWhole = StrKeyOf(side, 5, "ab\x82\xA0", nullptr);
  _setmbcp(nSavedPage);
  EXPECT_EQ(strCut, std::string("AB\0\0", 4));
  EXPECT_EQ(strWhole, std::string("AB\x82\xA0\0", 5));
}
