#include "index/entry_sort.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/comparators.h"
#include "index/entry_codec.h"
#include "testing/test_util.h"

namespace {

using Entries = std::vector<std::string>;

std::string Entry(DWORD nRow, const std::string& strKey, size_t nSize) {
  std::string strEntry(nSize, '\0');
  PutDword(reinterpret_cast<BYTE*>(strEntry.data()), nRow);
  std::memcpy(strEntry.data() + 4, strKey.data(), std::min(strKey.size(), nSize - 4));
  return strEntry;
}

std::string LongKey(LONG n) {
  BYTE ab[4];
  PutLong(ab, n);
  return std::string(ab, ab + 4);
}

std::string RealKey(double d) {
  BYTE ab[8];
  PutDouble(ab, d);
  return std::string(ab, ab + 8);
}

// What a stable sort by the function alone gives.
Entries StableByFunction(Entries arEntries, PFN_COMPARE pfnCompare) {
  std::stable_sort(arEntries.begin(), arEntries.end(),
                   [pfnCompare](const std::string& a, const std::string& b) {
                     return CompareSign16(pfnCompare(a.data(), b.data())) < 0;
                   });
  return arEntries;
}

// The entries through SortEntries, with runs of at most nRunBytes.
Entries Sorted(const Entries& arEntries, PFN_COMPARE pfnCompare, DWORD nRunBytes) {
  lorn_test::TempDir dir;
  CFile source;
  CFile dest;
  EXPECT_TRUE(source.Open(dir.File("src").c_str(), CFile::modeCreate | CFile::modeReadWrite));
  EXPECT_TRUE(dest.Open(dir.File("dst").c_str(), CFile::modeCreate | CFile::modeReadWrite));
  const size_t nSize = arEntries.front().size();
  for (const std::string& strEntry : arEntries) {
    source.Write(strEntry.data(), static_cast<UINT>(nSize));
  }
  EXPECT_TRUE(SortEntries(&source, static_cast<DWORD>(arEntries.size()), static_cast<WORD>(nSize),
                          pfnCompare, &dest, nullptr, 0, nRunBytes));
  std::string strAll(nSize * arEntries.size(), '\0');
  dest.Seek(0, CFile::begin);
  EXPECT_EQ(dest.Read(strAll.data(), static_cast<UINT>(strAll.size())), strAll.size());
  Entries arSorted;
  for (size_t n = 0; n < arEntries.size(); ++n) {
    arSorted.push_back(strAll.substr(n * nSize, nSize));
  }
  return arSorted;
}

// In one run and in many merged ones, the order is the stable order of the
// function, byte for byte.
void ExpectStableOrder(const Entries& arEntries, PFN_COMPARE pfnCompare) {
  const Entries arWant = StableByFunction(arEntries, pfnCompare);
  for (DWORD nRunBytes : {DWORD{1} << 24, static_cast<DWORD>(arEntries.front().size() * 40)}) {
    EXPECT_TRUE(Sorted(arEntries, pfnCompare, nRunBytes) == arWant) << nRunBytes;
  }
}

}  // namespace

TEST(EntrySort, LongKeysKeepArrivalOrderOfEqualKeys) {
  std::mt19937 random(11);
  const LONG anEdges[] = {std::numeric_limits<LONG>::min(), -1, 0, 1,
                          std::numeric_limits<LONG>::max()};
  for (size_t nSize : {8, 13}) {
    Entries arEntries;
    for (DWORD nRow = 0; nRow < 3000; ++nRow) {
      const LONG nKey =
          nRow % 7 == 0 ? anEdges[random() % 5] : static_cast<LONG>(random() % 400) - 200;
      arEntries.push_back(Entry(nRow, LongKey(nKey) + std::string(1, char(nRow)), nSize));
    }
    ExpectStableOrder(arEntries, CompareLongEntry);
  }
}

TEST(EntrySort, RealKeysFollowTheToleranceOfTheComparison) {
  std::mt19937 random(12);
  const double dUlp = std::nextafter(0.1, 1.0) - 0.1;
  // Spread values (ordered by their bits), then values that the tolerance
  // makes equal to their neighbours, a negative zero, and values that are
  // no numbers: each must keep the comparison's stable order.
  std::vector<std::vector<double>> arCases(4);
  for (int n = 0; n < 2000; ++n) {
    arCases[0].push_back(static_cast<double>(random() % 500) / 8 - 20);
    arCases[1].push_back(random() % 4 == 0 ? 0.3 : 0.1 + static_cast<double>(random() % 3) * dUlp);
    arCases[2].push_back(random() % 3 == 0 ? 1.0 : random() % 2 == 0 ? 0.0 : -0.0);
    arCases[3].push_back(random() % 9 == 0 ? std::nan("") : static_cast<double>(random() % 50));
  }
  for (size_t nCase = 0; nCase < arCases.size(); ++nCase) {
    for (size_t nSize : {12, 21}) {
      Entries arEntries;
      for (size_t n = 0; n < arCases[nCase].size(); ++n) {
        arEntries.push_back(Entry(static_cast<DWORD>(n), RealKey(arCases[nCase][n]), nSize));
      }
      const Entries arWant = StableByFunction(arEntries, CompareRealEntry);
      EXPECT_TRUE(Sorted(arEntries, CompareRealEntry, 1u << 24) == arWant) << nCase;
      if (nCase < 3) {  // with no number among them the merges agree too
        EXPECT_TRUE(Sorted(arEntries, CompareRealEntry, 480) == arWant) << nCase;
      }
    }
  }
}

TEST(EntrySort, TextKeysOfEveryLengthAndSharedBeginnings) {
  std::mt19937 random(13);
  const std::string astrStems[] = {
      "", "A", "TRUELLE ", "CLE A MOLETTE 62", "ABCDEFGHIJKLMNOPQRSTUVW", "\xC9TAU \xC0 BOIS "};
  for (size_t nKey : {2, 5, 9, 17, 26, 40}) {
    for (size_t nExtra : {0, 1}) {  // values, and ranges behind a second key
      Entries arEntries;
      for (DWORD nRow = 0; nRow < 2500; ++nRow) {
        std::string strKey = astrStems[random() % 6];
        for (int n = static_cast<int>(random() % 4); n > 0; --n) {
          strKey += static_cast<char>('0' + random() % 3);
        }
        strKey.resize(std::min(strKey.size(), nKey - 1));
        strKey.resize(nKey, '\0');
        const size_t nSize = 4 + nKey + nExtra * (nKey + 1);
        arEntries.push_back(Entry(nRow, strKey + "\x7F" + std::string(1, char(nRow)), nSize));
      }
      ExpectStableOrder(arEntries, CompareTextEntry);
    }
  }
}
