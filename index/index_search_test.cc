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

using namespace index_test;
using CRows = std::vector<LONG>;

namespace {

const BYTE kMasks[] = {CRIT_EQUAL, CRIT_LESS, CRIT_LESS | CRIT_EQUAL, CRIT_GREATER,
                       CRIT_GREATER | CRIT_EQUAL};

struct CRange {
  LONG nLow;
  LONG nHigh;
  BYTE nFlags;
};

// A range is a set of values; it qualifies when one of them does.
bool RangeQualifies(const CRange& range, LONG nKey, BYTE nOp) {
  bool bHasKey = (range.nLow < nKey || (range.nLow == nKey && !(range.nFlags & RANGE_LOW_OPEN))) &&
                 (range.nHigh > nKey || (range.nHigh == nKey && !(range.nFlags & RANGE_HIGH_OPEN)));
  return ((nOp & CRIT_LESS) && range.nLow < nKey) || ((nOp & CRIT_GREATER) && range.nHigh > nKey) ||
         ((nOp & CRIT_EQUAL) && bHasKey);
}

// Each test has a sidecar and a private directory for the build's files.
class IndexSearch : public ::testing::Test {
 protected:
  // Builds the worked example into index, which lies at the end of the
  // sidecar.
  void BuildWorkedExample(CIndex& index) {
    index.BeginBuild(TRUE);
    index_test::AddWorkedExample(index);
    EXPECT_TRUE(index.EndBuild());
  }

  CPrivateTmp m_tmp;
  CSideFile m_side;
};

}  // namespace

TEST_F(IndexSearch, WorkedExampleRowsInOrder) {
  CIndex index(m_side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  index.BeginBuild(TRUE);
  index_test::AddWorkedExample(index);
  LONG nKey = 4;
  EXPECT_FALSE(index.Find(&nKey, CRIT_EQUAL, TRUE));  // nothing during a build
  ASSERT_TRUE(index.EndBuild());
  EXPECT_FALSE(index.Find(nullptr, CRIT_EQUAL, TRUE));

  struct {
    LONG nKey;
    BYTE nOp;
    CRows arRows;
  } const aCases[] = {
      {4, CRIT_EQUAL, {1, 2}},
      {4, CRIT_LESS, {1, 3, 2}},
      {5, CRIT_GREATER, {1, 3, 0}},
      {5, CRIT_GREATER | CRIT_EQUAL, {1, 3, 0, 2}},
      {1, CRIT_LESS | CRIT_EQUAL, {1, 2}},
      {1, CRIT_LESS, {1}},
      {7, CRIT_EQUAL, {1, 3}},
      {99, CRIT_EQUAL, {1}},
      {10, CRIT_GREATER, {1}},
      {3, CRIT_GREATER | CRIT_EQUAL, {1, 3, 3, 0, 2}},
  };
  for (const auto& test : aCases) {
    EXPECT_EQ(FindRows(index, &test.nKey, test.nOp), test.arRows)
        << "key " << test.nKey << " mask " << int(test.nOp);
  }
  // An index with nothing in it finds nothing.
  CIndex empty(m_side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  empty.BeginBuild(TRUE);
  ASSERT_TRUE(empty.EndBuild());
  EXPECT_TRUE(FindRows(empty, &nKey, CRIT_LESS).empty());
}

TEST_F(IndexSearch, RangeAgainstEveryMask) {
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
    CIndex index(m_side.File(), 0, COL_TYPE_LONG, 0, nullptr);
    index.BeginBuild(TRUE);
    index.AddValue(1, "0");
    index.AddRange(2, std::to_string(test.range.nLow).c_str(),
                   std::to_string(test.range.nHigh).c_str(), test.range.nFlags);
    ASSERT_TRUE(index.EndBuild());
    for (int nMask = 0; nMask < 5; ++nMask) {
      for (DWORD n : {1u, 2u}) {  // the range in zone 2, then in zone 3
        EXPECT_EQ(index.TestRange(n, kMasks[nMask], &test.nKey) != 0, test.abWant[nMask])
            << "key " << test.nKey << " mask " << int(kMasks[nMask]) << " entry " << n;
      }
      EXPECT_EQ(RangeQualifies(test.range, test.nKey, kMasks[nMask]), test.abWant[nMask]);
    }
    EXPECT_FALSE(index.TestRange(0, CRIT_GREATER, &test.nKey));  // not a range entry
  }
}

TEST_F(IndexSearch, AgreesWithBruteForce) {
  std::mt19937 random(99);
  for (int nRound = 0; nRound < 6; ++nRound) {
    CIndex index(m_side.File(), 0, COL_TYPE_LONG, 0, nullptr);
    index.BeginBuild(TRUE);
    CRows arAny;
    std::vector<std::pair<LONG, LONG>> arValues;  // key, row
    std::map<LONG, CRange> mapRanges;
    for (LONG nRow = 0; nRow < 400; ++nRow) {
      int nKind = static_cast<int>(random() % 10);
      if (nKind == 0) {
        index.AddAny(nRow);
        arAny.push_back(nRow);
      } else if (nKind < 6 && nRound != 0) {  // round 0 has no values
        for (int n = 0; n <= nKind % 3; ++n) {
          LONG nValue = static_cast<LONG>(random() % 60);
          index.AddValue(nRow, std::to_string(nValue).c_str());
          arValues.push_back({nValue, nRow});
        }
      } else if (nKind < 9 && nRound != 1) {  // round 1 has no ranges
        CRange range{static_cast<LONG>(random() % 60), 0, 0};
        range.nHigh = range.nLow + static_cast<LONG>(random() % 15);
        range.nFlags = static_cast<BYTE>((random() % 2 ? RANGE_LOW_OPEN : RANGE_LOW_CLOSED) |
                                         (random() % 2 ? RANGE_HIGH_OPEN : RANGE_HIGH_CLOSED));
        if (range.nHigh == range.nLow) {
          range.nFlags = RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED;  // never an empty set
        }
        index.AddRange(nRow, std::to_string(range.nLow).c_str(),
                       std::to_string(range.nHigh).c_str(), range.nFlags);
        mapRanges[nRow] = range;
      }
    }
    ASSERT_TRUE(index.EndBuild());
    std::stable_sort(arValues.begin(), arValues.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });

    for (LONG nKey = -2; nKey < 78; nKey += 3) {
      for (BYTE nOp : kMasks) {
        CRows arRows = FindRows(index, &nKey, nOp);
        // Wildcard rows, then the qualifying values in key order: exactly.
        CRows arWant = arAny;
        for (const auto& [nValue, nRow] : arValues) {
          if (RangeQualifies({nValue, nValue, 0}, nKey, nOp)) {
            arWant.push_back(nRow);
          }
        }
        ASSERT_GE(arRows.size(), arWant.size());
        ASSERT_EQ(CRows(arRows.begin(), arRows.begin() + arWant.size()), arWant)
            << "key " << nKey << " mask " << int(nOp);
        // Then ranges, each once and qualifying; one that holds the key
        // strictly inside, or lies wholly on the wanted side, always comes.
        CRows arRanges(arRows.begin() + arWant.size(), arRows.end());
        std::sort(arRanges.begin(), arRanges.end());
        EXPECT_EQ(std::adjacent_find(arRanges.begin(), arRanges.end()), arRanges.end());
        for (LONG nRow : arRanges) {
          ASSERT_EQ(mapRanges.count(nRow), 1u);
          EXPECT_TRUE(RangeQualifies(mapRanges[nRow], nKey, nOp)) << nKey << " " << int(nOp);
        }
        for (const auto& [nRow, range] : mapRanges) {
          if ((range.nLow < nKey && range.nHigh > nKey) ||
              ((nOp & CRIT_GREATER) && range.nLow > nKey) ||
              ((nOp & CRIT_LESS) && range.nHigh < nKey)) {
            EXPECT_TRUE(std::binary_search(arRanges.begin(), arRanges.end(), nRow))
                << "key " << nKey << " mask " << int(nOp) << " range row " << nRow;
          }
        }
      }
    }
  }
}

TEST_F(IndexSearch, TextKeysAndPatterns) {
  CIndex index(m_side.File(), 0, COL_TYPE_STR, 6, nullptr);
  index.BeginBuild(TRUE);
  const char* apszValues[] = {"abzz", "b", "ab", "aa", "abc", "ac", "abcdefgh"};
  for (LONG nRow = 0; nRow < 7; ++nRow) {
    index.AddValue(nRow, apszValues[nRow]);
  }
  index.AddRange(7, "ab", "abd", RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  ASSERT_TRUE(index.EndBuild());

  // Stored order: AA, AB, ABC, ABCDE, ABZZ, AC, B; the range AB to ABD.
  // A final "*" matches any rest in zone 1; against ranges it is an ordinary
  // character, so "AB*" lies inside AB..ABD and "ABD*" above it.
  EXPECT_EQ(FindRows(index, "AB*", CRIT_EQUAL), (CRows{2, 4, 6, 0, 7}));
  EXPECT_EQ(FindRows(index, "AB*", CRIT_GREATER), (CRows{5, 1, 7}));
  EXPECT_EQ(FindRows(index, "ABD*", CRIT_EQUAL), (CRows{}));
  EXPECT_EQ(FindRows(index, "AB", CRIT_EQUAL), (CRows{2, 7}));
  EXPECT_EQ(FindRows(index, "ABC", CRIT_LESS), (CRows{3, 2, 7}));
  // An inner "?" works only as far as the order allows: AC is not reached.
  EXPECT_EQ(FindRows(index, "A?", CRIT_EQUAL), (CRows{3, 2}));
  // A key longer than the stored text does not match it; cut, it does.
  EXPECT_EQ(FindRows(index, "ABCDEFGH", CRIT_EQUAL), (CRows{7}));
  EXPECT_EQ(FindRows(index, "ABCDE", CRIT_EQUAL), (CRows{6, 7}));
}

TEST_F(IndexSearch, NextValueListsEachValueOnce) {
  using CList = std::vector<std::pair<std::string, LONG>>;
  struct {
    BYTE nType;
    std::vector<const char*> arValues;
    CList arWant;  // each value with the row of its first entry
  } const aCases[] = {
      {COL_TYPE_LONG,
       {"12", "-3", "12", "7", "-3", "100"},
       {{"-3", 2}, {"7", 4}, {"12", 1}, {"100", 6}}},
      {COL_TYPE_REAL,
       {"2.5", "0.1", "2.5", "1e300", "-7"},
       {{"-7", 5}, {"0.1", 2}, {"2.5", 1}, {"1e+300", 4}}},
      {COL_TYPE_STR,
       {"pear", "Apple", "apple", "fig", "PEAR"},
       {{"APPLE", 2}, {"FIG", 4}, {"PEAR", 1}}},
  };
  for (const auto& test : aCases) {
    CIndex index(m_side.File(), 0, test.nType, 8, nullptr);
    index.BeginBuild(TRUE);
    index.AddAny(0);
    for (size_t n = 0; n < test.arValues.size(); ++n) {
      index.AddValue(static_cast<DWORD>(n + 1), test.arValues[n]);
    }
    index.AddRange(9, "500", "600", RANGE_LOW_CLOSED);  // bounds are not listed
    ASSERT_TRUE(index.EndBuild());
    CList arGot;
    CString strValue;
    for (LONG nRow = index.GetNextValue(strValue, TRUE); nRow >= 0;
         nRow = index.GetNextValue(strValue, FALSE)) {
      arGot.push_back({std::string(strValue), nRow});
    }
    EXPECT_EQ(arGot, test.arWant);
    EXPECT_TRUE(strValue.IsEmpty());
  }
  CIndex none(m_side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  CString strValue = "x";
  EXPECT_EQ(none.GetNextValue(strValue, TRUE), -1);
  EXPECT_TRUE(strValue.IsEmpty());
}

TEST_F(IndexSearch, FindInFileAgainstLowerBound) {
  lorn_test::TempDir dir;
  CFile file;
  ASSERT_TRUE(file.Open(dir.File("entries").c_str(), CFile::modeCreate | CFile::modeReadWrite));
  file.Write("pad", 3);
  std::vector<LONG> arKeys;
  for (LONG n = 0; n < 300; ++n) {
    arKeys.push_back(n / 4 * 2);  // each even key four times
    BYTE abEntry[8];
    PutLong(abEntry, n);
    PutLong(abEntry + 4, arKeys.back());
    file.Write(abEntry, 8);
  }
  BYTE abScratch[8];
  for (DWORD nCount : {1u, 2u, 3u, 17u, 300u}) {
    for (LONG nKey = -1; nKey < 152; ++nKey) {
      auto itEnd = arKeys.begin() + nCount;
      DWORD nWant =
          static_cast<DWORD>(std::lower_bound(arKeys.begin(), itEnd, nKey) - arKeys.begin());
      EXPECT_EQ(FindInFile(&file, &nKey, 3, nCount, 8, CompareLong, abScratch, TRUE), nWant);
      DWORD nAny = FindInFile(&file, &nKey, 3, nCount, 8, CompareLong, abScratch, FALSE);
      bool bPresent = std::binary_search(arKeys.begin(), itEnd, nKey);
      EXPECT_TRUE(bPresent ? nAny < nCount && arKeys[nAny] == nKey : nAny == nWant);
    }
  }
  LONG nKey = 5;
  EXPECT_EQ(FindInFile(&file, &nKey, 3, 0, 8, CompareLong, abScratch, TRUE), 0u);
  EXPECT_EQ(FindInFile(&file, nullptr, 3, 300, 8, CompareLong, abScratch, TRUE), 0u);
  // The last entry lies past the end of the file.
  EXPECT_EQ(FindInFile(&file, &nKey, 3, 400, 8, CompareLong, abScratch, TRUE), 400u);
}

TEST_F(IndexSearch, SearchSeesRewrittenSidecarAndLeavesLocale) {
  CIndex index(m_side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  BuildWorkedExample(index);
  LONG nKey = 10;
  EXPECT_EQ(FindRows(index, &nKey, CRIT_EQUAL), (CRows{1, 0}));

  // The row of the entry of 10 rewritten in place: a new search sees it.
  BYTE abRow[4];
  PutLong(abRow, 42);
  m_side.File()->Seek(index.GetPos() + 12 + 4 + 2 * 8, CFile::begin);
  m_side.File()->Write(abRow, 4);
  EXPECT_EQ(FindRows(index, &nKey, CRIT_EQUAL), (CRows{1, 42}));
  // Rebuilt with other values, the object finds the new ones only.
  index.BeginBuild(TRUE);
  index.AddValue(5, "10");
  ASSERT_TRUE(index.EndBuild());
  EXPECT_EQ(FindRows(index, &nKey, CRIT_EQUAL), (CRows{5}));

  // A file error leaves the search, and the table's locale scope with it.
  CIndex named(m_side.File(), index.GetPos(), COL_TYPE_LONG, 0, "fra");
  EXPECT_EQ(FindRows(named, &nKey, CRIT_EQUAL), (CRows{5}));
  m_side.File()->Close();
  EXPECT_THROW(named.Find(&nKey, CRIT_EQUAL, TRUE), CFileException);
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
  EXPECT_STREQ(SetCtypeLocale(nullptr), "C");
}
