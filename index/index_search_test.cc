#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "frame/locale_scope.h"
#include "index/column_index.h"
#include "index/entry_codec.h"
#include "index/index_test_util.h"
#include "platform/ctype_locale.h"
#include "platform/exceptions.h"

using index_test::CPrivateTmp;
using index_test::CSideFile;
using index_test::FindRows;

namespace {

const BYTE kMasks[] = {CRIT_EQUAL, CRIT_LESS, CRIT_LESS | CRIT_EQUAL, CRIT_GREATER,
                       CRIT_GREATER | CRIT_EQUAL};

// Whether a value qualifies under a mask, by its comparison with the key.
bool Qualifies(int nCmp, BYTE nOp) {
  return nCmp == 0 ? (nOp & CRIT_EQUAL) != 0 : nCmp < 0 ? (nOp & CRIT_LESS) != 0
                                                         : (nOp & CRIT_GREATER) != 0;
}

struct CRange {
  LONG nLow;
  LONG nHigh;
  BYTE nFlags;
};

// A range qualifies when one of its values does.
bool RangeQualifies(const CRange& range, LONG nKey, BYTE nOp) {
  bool bLowOpen = (range.nFlags & RANGE_LOW_OPEN) != 0;
  bool bHighOpen = (range.nFlags & RANGE_HIGH_OPEN) != 0;
  bool bHasBelow = range.nLow < nKey;
  bool bHasAbove = range.nHigh > nKey;
  bool bHasKey = (range.nLow < nKey || (range.nLow == nKey && !bLowOpen)) &&
                 (range.nHigh > nKey || (range.nHigh == nKey && !bHighOpen));
  return ((nOp & CRIT_LESS) && bHasBelow) || ((nOp & CRIT_GREATER) && bHasAbove) ||
         ((nOp & CRIT_EQUAL) && bHasKey);
}

}  // namespace

TEST(IndexSearch, WorkedExampleRowsInOrder) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  index.BeginBuild(TRUE);
  index_test::AddWorkedExample(index);
  LONG nKey = 4;
  EXPECT_FALSE(index.Find(&nKey, CRIT_EQUAL, TRUE));  // nothing during a build
  ASSERT_TRUE(index.EndBuild());
  EXPECT_FALSE(index.Find(nullptr, CRIT_EQUAL, TRUE));

  struct {
    LONG nKey;
    BYTE nOp;
    std::vector<LONG> arRows;
  } const aCases[] = {
      {4, CRIT_EQUAL, {1, 2}},         {4, CRIT_LESS, {1, 3, 2}},
      {5, CRIT_GREATER, {1, 3, 0}},    {5, CRIT_GREATER | CRIT_EQUAL, {1, 3, 0, 2}},
      {1, CRIT_LESS | CRIT_EQUAL, {1, 2}}, {1, CRIT_LESS, {1}},
      {7, CRIT_EQUAL, {1, 3}},         {99, CRIT_EQUAL, {1}},
      {10, CRIT_GREATER, {1}},         {3, CRIT_GREATER | CRIT_EQUAL, {1, 3, 3, 0, 2}},
  };
  for (const auto& test : aCases) {
    EXPECT_EQ(FindRows(index, &test.nKey, test.nOp), test.arRows)
        << "key " << test.nKey << " mask " << int(test.nOp);
  }

  // An index with nothing in it finds nothing, even the wildcard rows.
  CIndex empty(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  empty.BeginBuild(TRUE);
  ASSERT_TRUE(empty.EndBuild());
  EXPECT_TRUE(FindRows(empty, &nKey, CRIT_LESS).empty());
}

TEST(IndexSearch, RangeAgainstEveryMask) {
  CPrivateTmp tmp;
  CSideFile side;
  const BYTE kClosed = RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED;
  // Range, key, and whether it qualifies under masks 1, 16, 17, 32, 33.
  struct {
    CRange range;
    LONG nKey;
    bool abWant[5];
  } const aCases[] = {
      {{10, 20, kClosed}, 5, {false, false, false, true, true}},
      {{10, 20, RANGE_LOW_OPEN | RANGE_HIGH_CLOSED}, 10, {false, false, false, true, true}},
      {{10, 20, kClosed}, 10, {true, false, true, true, true}},
      {{10, 20, RANGE_LOW_OPEN | RANGE_HIGH_OPEN}, 15, {true, true, true, true, true}},
      {{10, 20, kClosed}, 20, {true, true, true, false, true}},
      {{10, 10, kClosed}, 10, {true, false, true, false, true}},
      {{10, 20, kClosed}, 25, {false, true, true, false, false}},
      {{10, 20, RANGE_LOW_CLOSED | RANGE_HIGH_OPEN}, 20, {false, true, true, false, false}},
  };
  for (const auto& test : aCases) {
    CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
    index.BeginBuild(TRUE);
    index.AddAny(0);
    index.AddValue(1, "0");
    index.AddRange(2, std::to_string(test.range.nLow).c_str(),
                   std::to_string(test.range.nHigh).c_str(), test.range.nFlags);
    ASSERT_TRUE(index.EndBuild());
    for (int nMask = 0; nMask < 5; ++nMask) {
      // Entry 2 in zone 2, entry 3 the same range in zone 3.
      for (DWORD n : {2u, 3u}) {
        EXPECT_EQ(index.TestRange(n, kMasks[nMask], &test.nKey) != 0, test.abWant[nMask])
            << "key " << test.nKey << " mask " << int(kMasks[nMask]) << " entry " << n;
      }
      EXPECT_EQ(RangeQualifies(test.range, test.nKey, kMasks[nMask]), test.abWant[nMask]);
    }
    EXPECT_FALSE(index.TestRange(1, CRIT_GREATER, &test.nKey));  // not a range entry
  }
}

TEST(IndexSearch, AgreesWithBruteForce) {
  CPrivateTmp tmp;
  CSideFile side;
  std::mt19937 random(99);
  for (int nRound = 0; nRound < 6; ++nRound) {
    CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
    index.BeginBuild(TRUE);
    std::vector<LONG> arAny;
    std::vector<std::pair<LONG, LONG>> arValues;  // key, row
    std::map<LONG, CRange> mapRanges;
    // Round 0 has no values, round 1 no ranges.
    for (LONG nRow = 0; nRow < 400; ++nRow) {
      int nKind = static_cast<int>(random() % 10);
      if (nKind == 0) {
        index.AddAny(nRow);
        arAny.push_back(nRow);
      } else if (nKind < 6 && nRound != 0) {
        for (int n = 0; n < 1 + nKind % 3; ++n) {
          LONG nValue = static_cast<LONG>(random() % 60);
          index.AddValue(nRow, std::to_string(nValue).c_str());
          arValues.push_back({nValue, nRow});
        }
      } else if (nKind < 9 && nRound != 1) {
        LONG nLow = static_cast<LONG>(random() % 60);
        LONG nHigh = nLow + static_cast<LONG>(random() % 15);
        BYTE nFlags = static_cast<BYTE>((random() % 2 ? RANGE_LOW_OPEN : RANGE_LOW_CLOSED) |
                                        (random() % 2 ? RANGE_HIGH_OPEN : RANGE_HIGH_CLOSED));
        index.AddRange(nRow, std::to_string(nLow).c_str(), std::to_string(nHigh).c_str(),
                       nFlags);
        mapRanges[nRow] = {nLow, nHigh, nFlags};
      }
    }
    ASSERT_TRUE(index.EndBuild());
    std::stable_sort(arValues.begin(), arValues.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    for (LONG nKey = -2; nKey < 78; nKey += 3) {
      for (BYTE nOp : kMasks) {
        std::vector<LONG> arRows = FindRows(index, &nKey, nOp);
        std::vector<LONG> arWant = arAny;
        for (const auto& value : arValues) {
          if (Qualifies(value.first < nKey ? -1 : value.first > nKey ? 1 : 0, nOp)) {
            arWant.push_back(value.second);
          }
        }
        ASSERT_GE(arRows.size(), arWant.size());
        // Wildcard rows, then zone 1 in key order: exactly.
        ASSERT_EQ(std::vector<LONG>(arRows.begin(), arRows.begin() + arWant.size()), arWant)
            << "key " << nKey << " mask " << int(nOp);
        // Then ranges: each qualifies and comes once; a range that holds the
        // key strictly inside, or lies wholly on the wanted side, is never
        // missed.
        std::vector<LONG> arRanges(arRows.begin() + arWant.size(), arRows.end());
        std::vector<LONG> arSorted = arRanges;
        std::sort(arSorted.begin(), arSorted.end());
        EXPECT_EQ(std::adjacent_find(arSorted.begin(), arSorted.end()), arSorted.end());
        for (LONG nRow : arRanges) {
          ASSERT_TRUE(mapRanges.count(nRow));
          EXPECT_TRUE(RangeQualifies(mapRanges[nRow], nKey, nOp)) << nRow;
        }
        for (const auto& [nRow, range] : mapRanges) {
          bool bMustCome = (range.nLow < nKey && range.nHigh > nKey) ||
                           ((nOp & CRIT_GREATER) && range.nLow > nKey) ||
                           ((nOp & CRIT_LESS) && range.nHigh < nKey);
          if (bMustCome) {
            EXPECT_TRUE(std::binary_search(arSorted.begin(), arSorted.end(), nRow))
                << "key " << nKey << " mask " << int(nOp) << " range row " << nRow;
          }
        }
      }
    }
  }
}

TEST(IndexSearch, TextKeysAndPatterns) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex index(side.File(), 0, COL_TYPE_STR, 6, nullptr);
  index.BeginBuild(TRUE);
  const char* apszValues[] = {"abzz", "b", "ab", "aa", "abc", "ac", "abcdefgh"};
  for (LONG nRow = 0; nRow < 7; ++nRow) {
    index.AddValue(nRow, apszValues[nRow]);
  }
  index.AddRange(7, "ab", "abd", RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  ASSERT_TRUE(index.EndBuild());

  // Stored order: AA, AB, ABC, ABCDE, ABZZ, AC, B.
  EXPECT_EQ(FindRows(index, "AB*", CRIT_EQUAL), (std::vector<LONG>{2, 4, 6, 0}));
  EXPECT_EQ(FindRows(index, "AB", CRIT_EQUAL), (std::vector<LONG>{2, 7}));
  EXPECT_EQ(FindRows(index, "A?", CRIT_EQUAL), (std::vector<LONG>{3, 2, 5}));
  EXPECT_EQ(FindRows(index, "AB*", CRIT_GREATER), (std::vector<LONG>{5, 1, 7}));
  EXPECT_EQ(FindRows(index, "ABC", CRIT_LESS), (std::vector<LONG>{3, 2, 7}));
  // A key longer than the stored text does not match it; cut, it does.
  EXPECT_EQ(FindRows(index, "ABCDEFGH", CRIT_EQUAL), (std::vector<LONG>{}));
  EXPECT_EQ(FindRows(index, "ABCDE", CRIT_EQUAL), (std::vector<LONG>{6}));
  // Against ranges "*" is an ordinary character.
  EXPECT_EQ(FindRows(index, "ABD*", CRIT_EQUAL), (std::vector<LONG>{}));
}

TEST(IndexSearch, NextValueListsEachValueOnce) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex longs(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  CIndex reals(side.File(), 0, COL_TYPE_REAL, 0, nullptr);
  CIndex texts(side.File(), 0, COL_TYPE_STR, 8, nullptr);
  for (CIndex* pIndex : {&longs, &reals, &texts}) {
    pIndex->BeginBuild(TRUE);
    pIndex->AddAny(0);
  }
  const char* apszLongs[] = {"12", "-3", "12", "7", "-3", "100"};
  const char* apszReals[] = {"2.5", "0.1", "2.5", "1e300", "-7"};
  const char* apszTexts[] = {"pear", "Apple", "apple", "fig", "PEAR"};
  for (LONG nRow = 0; nRow < 6; ++nRow) {
    longs.AddValue(nRow + 1, apszLongs[nRow]);
  }
  for (LONG nRow = 0; nRow < 5; ++nRow) {
    reals.AddValue(nRow + 1, apszReals[nRow]);
    texts.AddValue(nRow + 1, apszTexts[nRow]);
  }
  longs.AddRange(9, "500", "600", RANGE_LOW_CLOSED);  // bounds are not listed
  for (CIndex* pIndex : {&longs, &reals, &texts}) {
    ASSERT_TRUE(pIndex->EndBuild());
  }

  auto listAll = [](CIndex& index) {
    std::vector<std::pair<std::string, LONG>> arValues;
    CString strValue;
    for (LONG nRow = index.GetNextValue(strValue, TRUE); nRow >= 0;
         nRow = index.GetNextValue(strValue, FALSE)) {
      arValues.push_back({std::string(strValue), nRow});
    }
    EXPECT_TRUE(strValue.IsEmpty());
    return arValues;
  };
  using CList = std::vector<std::pair<std::string, LONG>>;
  EXPECT_EQ(listAll(longs), (CList{{"-3", 2}, {"7", 4}, {"12", 1}, {"100", 6}}));
  EXPECT_EQ(listAll(reals), (CList{{"-7", 5}, {"0.1", 2}, {"2.5", 1}, {"1e+300", 4}}));
  EXPECT_EQ(listAll(texts), (CList{{"APPLE", 2}, {"FIG", 4}, {"PEAR", 1}}));

  CIndex none(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  CString strValue = "x";
  EXPECT_EQ(none.GetNextValue(strValue, TRUE), -1);
  EXPECT_TRUE(strValue.IsEmpty());
}

TEST(IndexSearch, FindInFileAgainstLowerBound) {
  lorn_test::TempDir dir;
  CFile file;
  ASSERT_TRUE(file.Open(dir.File("entries").c_str(), CFile::modeCreate | CFile::modeReadWrite));
  file.Write("pad", 3);
  std::vector<LONG> arKeys;
  for (LONG n = 0; n < 300; ++n) {
    arKeys.push_back(n / 4 * 2);  // each even key four times
  }
  for (size_t n = 0; n < arKeys.size(); ++n) {
    BYTE abEntry[8];
    PutLong(abEntry, static_cast<LONG>(n));
    PutLong(abEntry + 4, arKeys[n]);
    file.Write(abEntry, 8);
  }
  BYTE abScratch[8];
  for (DWORD nCount : {1u, 2u, 3u, 17u, 300u}) {
    for (LONG nKey = -1; nKey < 152; ++nKey) {
      auto itFirst = std::lower_bound(arKeys.begin(), arKeys.begin() + nCount, nKey);
      DWORD nWant = static_cast<DWORD>(itFirst - arKeys.begin());
      EXPECT_EQ(FindInFile(&file, &nKey, 3, nCount, 8, CompareLong, abScratch, TRUE), nWant)
          << nCount << " " << nKey;
      DWORD nAny = FindInFile(&file, &nKey, 3, nCount, 8, CompareLong, abScratch, FALSE);
      if (nWant < nCount && arKeys[nWant] == nKey) {
        ASSERT_LT(nAny, nCount);
        EXPECT_EQ(arKeys[nAny], nKey);
      } else {
        EXPECT_EQ(nAny, nWant);
      }
    }
  }
  LONG nKey = 5;
  EXPECT_EQ(FindInFile(&file, &nKey, 3, 0, 8, CompareLong, abScratch, TRUE), 0u);
  EXPECT_EQ(FindInFile(&file, nullptr, 3, 300, 8, CompareLong, abScratch, TRUE), 0u);
  // Entries past the end of the file: the last one can't be read.
  EXPECT_EQ(FindInFile(&file, &nKey, 3, 400, 8, CompareLong, abScratch, TRUE), 400u);
}

TEST(IndexSearch, SearchSeesRewrittenSidecarAndLeavesLocale) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  index.BeginBuild(TRUE);
  index_test::AddWorkedExample(index);
  ASSERT_TRUE(index.EndBuild());
  LONG nKey = 10;
  EXPECT_EQ(FindRows(index, &nKey, CRIT_EQUAL), (std::vector<LONG>{1, 0}));

  // The row of the entry of 10 rewritten in place: a new search sees it.
  BYTE abRow[4];
  PutLong(abRow, 42);
  side.File()->Seek(index.GetPos() + 12 + 4 + 2 * 8, CFile::begin);
  side.File()->Write(abRow, 4);
  EXPECT_EQ(FindRows(index, &nKey, CRIT_EQUAL), (std::vector<LONG>{1, 42}));

  // Rebuilt with other values, the object finds the new ones only.
  index.BeginBuild(TRUE);
  index.AddValue(5, "10");
  ASSERT_TRUE(index.EndBuild());
  EXPECT_EQ(FindRows(index, &nKey, CRIT_EQUAL), (std::vector<LONG>{5}));

  // A file error leaves the search and the table's locale scope with it.
  CIndex named(side.File(), index.GetPos(), COL_TYPE_LONG, 0, "fra");
  EXPECT_EQ(FindRows(named, &nKey, CRIT_EQUAL), (std::vector<LONG>{5}));
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
  side.File()->Close();
  EXPECT_THROW(named.Find(&nKey, CRIT_EQUAL, TRUE), CFileException);
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
  EXPECT_STREQ(SetCtypeLocale(nullptr), "C");
}
