#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "frame/settings.h"
#include "index/column_index.h"
#include "index/entry_codec.h"
#include "index/entry_sort.h"
#include "index/index_test_util.h"

using namespace index_test;

namespace {

// The entries of zone 1 (bRanges FALSE) or of the zone of ranges from entry
// nFirst, whole, as the index reads them.
std::vector<std::string> ReadEntries(CIndex& index, DWORD nFirst, DWORD nCount, BOOL bRanges) {
  std::vector<std::string> arEntries;
  WORD nSize = bRanges ? RangeEntrySize(index.GetKeySize()) : ValueEntrySize(index.GetKeySize());
  for (DWORD n = nFirst; n < nFirst + nCount; ++n) {
    EXPECT_TRUE(bRanges ? index.ReadRangeEntry(n) : index.ReadValueEntry(n));
    arEntries.emplace_back(index.GetEntry(), index.GetEntry() + nSize);
  }
  return arEntries;
}

// Entry bytes of a row and its keys.
std::string Entry(LONG nRow, const std::string& strKeys) {
  BYTE abRow[4];
  PutLong(abRow, nRow);
  return std::string(abRow, abRow + 4) + strKeys;
}

// Stable order by the K key bytes behind the row.
void StableSortByKey(std::vector<std::string>& arEntries, size_t nKeySize) {
  std::stable_sort(arEntries.begin(), arEntries.end(), [nKeySize](const auto& a, const auto& b) {
    return a.compare(4, nKeySize, b, 4, nKeySize) < 0;
  });
}

class CMonitorScope {
 public:
  explicit CMonitorScope(CProgressMonitor* pMonitor) { SetProgressMonitor(pMonitor); }
  ~CMonitorScope() { SetProgressMonitor(nullptr); }
};

}  // namespace

TEST(IndexBuild, LargeZonesSortedCompletelyAndStably) {
  CPrivateTmp tmp;
  CSideFile side;
  std::mt19937 random(20240611);

  // Str keys of 64 bytes: several runs, merged; ranges sorted by low bound
  // in zone 2 and by high bound in zone 3.
  constexpr BYTE kKeySize = 64;
  CIndex texts(side.File(), 0, COL_TYPE_STR, kKeySize, nullptr);
  texts.BeginBuild(TRUE);
  std::vector<std::string> arValues;
  std::vector<std::string> arByLow;
  std::vector<std::string> arByHigh;
  auto randomKey = [&random](std::string& strText) {
    strText.assign(random() % 6, ' ');
    for (char& c : strText) {
      c = static_cast<char>('A' + random() % 4);
    }
    return strText + std::string(kKeySize - strText.size(), '\0');
  };
  std::string strText, strLow, strHigh;
  for (LONG nRow = 0; nRow < 110000; ++nRow) {
    arValues.push_back(Entry(nRow, randomKey(strText)));
    ASSERT_TRUE(texts.AddValue(nRow, strText.c_str()));
    if (nRow % 10 == 0) {
      std::string strLowKey = randomKey(strLow);
      std::string strHighKey = randomKey(strHigh);
      char cFlags = static_cast<char>(nRow % 3 == 0 ? RANGE_LOW_OPEN : RANGE_LOW_CLOSED);
      ASSERT_TRUE(texts.AddRange(nRow, strLow.c_str(), strHigh.c_str(), cFlags));
      arByLow.push_back(Entry(nRow, strLowKey + strHighKey + cFlags));
      arByHigh.push_back(Entry(nRow, strHighKey + strLowKey + cFlags));
    }
  }
  ASSERT_TRUE(texts.EndBuild());
  for (auto* pZone : {&arValues, &arByLow, &arByHigh}) {
    StableSortByKey(*pZone, kKeySize);
  }
  DWORD nV = texts.GetValueCount();
  DWORD nR = texts.GetRangeCount();
  EXPECT_TRUE(ReadEntries(texts, 0, nV, FALSE) == arValues);
  EXPECT_TRUE(ReadEntries(texts, nV, nR, TRUE) == arByLow);
  EXPECT_TRUE(ReadEntries(texts, nV + nR, nR, TRUE) == arByHigh);
  EXPECT_EQ(tmp.CountSdx(), 0);
}

TEST(IndexBuild, SortMergesInSeveralPassesWithProgress) {
  CPrivateTmp tmp;
  lorn_test::TempDir dir;
  CFile source;
  CFile dest;
  ASSERT_TRUE(source.Open(dir.File("src").c_str(), CFile::modeCreate | CFile::modeReadWrite));
  ASSERT_TRUE(dest.Open(dir.File("dst").c_str(), CFile::modeCreate | CFile::modeReadWrite));
  dest.Write("head", 4);

  // 5,000 Real entries in runs of 10, merged 9 at a time: three passes, so
  // the scratch file is used in both directions.
  std::mt19937 random(7);
  std::vector<std::string> arWant;
  for (LONG nRow = 0; nRow < 5000; ++nRow) {
    BYTE abKey[8];
    PutDouble(abKey, static_cast<double>(random() % 300) / 4);
    arWant.push_back(Entry(nRow, std::string(abKey, abKey + 8)));
    source.Write(arWant.back().data(), 12);
  }
  auto byKey = [](const std::string& a, const std::string& b) {
    return GetDouble(reinterpret_cast<const BYTE*>(a.data()) + 4) <
           GetDouble(reinterpret_cast<const BYTE*>(b.data()) + 4);
  };
  std::stable_sort(arWant.begin(), arWant.end(), byKey);

  // The sorted entries behind the 4 bytes in front of them.
  auto fnSorted = [&dest] {
    EXPECT_EQ(dest.GetLength(), 4u + 5000 * 12);
    std::string strSorted(5000 * 12, '\0');
    dest.Seek(4, CFile::begin);
    dest.Read(strSorted.data(), 5000 * 12);
    return strSorted;
  };
  CRecordingMonitor monitor;
  monitor.SetPos(40);
  ASSERT_TRUE(SortEntries(&source, 5000, 12, CompareRealEntry, &dest, &monitor, 25, 120));
  EXPECT_EQ(tmp.CountSdx(), 0);
  EXPECT_TRUE(fnSorted() == std::accumulate(arWant.begin(), arWant.end(), std::string()));
  // 5,000 entries of 12 bytes fit the line buffer: three thirds of 25,
  // however many passes the merge took.
  EXPECT_EQ(monitor.m_arPositions, (std::vector<WORD>{40, 48, 56, 64}));

  // Entries already in order are copied; with the first one moved to the
  // end, the sort writes over what was copied.
  for (int nMoved = 0; nMoved < 2; ++nMoved) {
    std::vector<std::string> arSource = arWant;
    std::rotate(arSource.begin(), arSource.begin() + nMoved, arSource.end());
    const std::string strSource = std::accumulate(arSource.begin(), arSource.end(), std::string());
    source.Seek(0, CFile::begin);
    source.Write(strSource.data(), static_cast<UINT>(strSource.size()));
    dest.SetLength(4);
    dest.SeekToEnd();
    ASSERT_TRUE(SortEntries(&source, 5000, 12, CompareRealEntry, &dest, nullptr, 0, 120));
    std::stable_sort(arSource.begin(), arSource.end(), byKey);
    EXPECT_TRUE(fnSorted() == std::accumulate(arSource.begin(), arSource.end(), std::string()));
  }

  // No place for the scratch file, or a short source: the sort fails.
  setenv("TMPDIR", dir.File("missing").c_str(), 1);
  EXPECT_FALSE(SortEntries(&source, 5000, 12, CompareRealEntry, &dest, nullptr, 0, 120));
  setenv("TMPDIR", tmp.Path().c_str(), 1);
  EXPECT_FALSE(SortEntries(&source, 5001, 12, CompareRealEntry, &dest, nullptr, 0, 120));
  EXPECT_FALSE(SortEntries(&source, 5001, 12, CompareRealEntry, &dest, nullptr, 0));
  EXPECT_EQ(tmp.CountSdx(), 0);
}

TEST(IndexBuild, TemporaryFilesGoAfterEndAndAbort) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  EXPECT_FALSE(index.AddValue(0, "1"));  // no build open
  EXPECT_FALSE(index.EndBuild());

  // Values only: one file, and W = R = 0.
  index.BeginBuild(TRUE);
  index.AddValue(0, "5");
  index.AddValue(1, "4");
  EXPECT_EQ(tmp.CountSdx(), 1);
  ASSERT_TRUE(index.EndBuild());
  EXPECT_EQ(tmp.CountSdx(), 0);
  EXPECT_EQ(side.File()->GetLength(), index.GetPos() + 12 + 16);

  // All four zones, then abort: the files go, the sidecar stays as it was
  // and the counts come back from it.
  ULONGLONG nLength = side.File()->GetLength();
  index.BeginBuild(TRUE);
  index_test::AddWorkedExample(index);
  EXPECT_EQ(tmp.CountSdx(), 4);
  index.AbortBuild();
  EXPECT_EQ(tmp.CountSdx(), 0);
  EXPECT_EQ(side.File()->GetLength(), nLength);
  EXPECT_EQ(index.GetValueCount(), 2u);
  EXPECT_EQ(index.GetAnyCount(), 0u);

  // Two builds side by side share the buffer until the last one ends.
  CIndex other(side.File(), 0, COL_TYPE_REAL, 0, nullptr);
  index.BeginBuild(TRUE);
  other.BeginBuild(TRUE);
  EXPECT_EQ(g_nBuildUsers, 2);
  index_test::AddWorkedExample(index);
  other.AddValue(0, "1.5");
  EXPECT_EQ(tmp.CountSdx(), 5);
  ASSERT_TRUE(index.EndBuild());
  EXPECT_NE(g_pBuildBuffer, nullptr);
  other.AbortBuild();
  EXPECT_EQ(other.GetValueCount(), 0u);  // nothing on file to go back to
  EXPECT_EQ(g_pBuildBuffer, nullptr);
  EXPECT_EQ(tmp.CountSdx(), 0);

  // An index destroyed in mid-build takes its files with it.
  {
    CIndex dropped(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
    dropped.BeginBuild(TRUE);
    dropped.AddAny(3);
    EXPECT_EQ(tmp.CountSdx(), 1);
  }
  EXPECT_EQ(tmp.CountSdx(), 0);
  EXPECT_EQ(g_nBuildUsers, 0);
}

TEST(IndexBuild, TakesOverTheIndexOnFile) {
  CPrivateTmp tmp;
  CSideFile side;
  CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  index.BeginBuild(TRUE);
  index_test::AddWorkedExample(index);
  ASSERT_TRUE(index.EndBuild());
  std::string strOld = side.Bytes(index.GetPos(), 100);

  index.BeginBuild(FALSE);
  index.AddValue(7, "5");
  ASSERT_TRUE(index.EndBuild());
  // The same index with one more value in zone 1, behind the old one.
  BYTE abEntry[8];
  PutLong(abEntry, 7);
  PutLong(abEntry + 4, 5);
  std::string strWant = strOld;
  strWant.insert(24, std::string(abEntry, abEntry + 8));
  strWant[4] = 4;
  EXPECT_EQ(index.GetPos(), CSideFile::kPrefix + strOld.size());
  EXPECT_EQ(side.Bytes(index.GetPos(), 100), strWant);
  EXPECT_EQ(side.Bytes(CSideFile::kPrefix, 66), strOld);
}

TEST(IndexBuild, ProgressAndFailedSort) {
  CPrivateTmp tmp;
  CSideFile side;
  CRecordingMonitor monitor;
  CMonitorScope scope(&monitor);
  g_nSortShare = 30;
  monitor.SetPos(50);

  // V = 10, R = 5: 1.5 points an entry, so 15 for zone 1 and 7 for each
  // zone of ranges.
  CIndex index(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  index.BeginBuild(TRUE);
  for (LONG nRow = 0; nRow < 10; ++nRow) {
    index.AddValue(nRow, std::to_string(20 - nRow).c_str());
  }
  for (LONG nRow = 0; nRow < 5; ++nRow) {
    index.AddRange(nRow, std::to_string(9 - nRow).c_str(), "30", RANGE_LOW_CLOSED);
  }
  ASSERT_TRUE(index.EndBuild());
  EXPECT_EQ(g_nSortShare, 30);
  EXPECT_EQ(monitor.m_arPositions, (std::vector<WORD>{50, 55, 60, 65, 67, 69, 71, 73, 75, 77}));
  EXPECT_TRUE(monitor.m_arErrors.empty());

  // 8,000 Long entries are more than the line buffer holds: one position for
  // each entry below the last one left in place (rows 4,000 and 7,999; row
  // 4,001 equals it), at the start plus its number / (count / share). With
  // no share, the number itself: nothing holds the position at 100.
  for (auto [nShare, arWant] : {std::pair{WORD{8}, std::vector<WORD>{44, 47}},
                                std::pair{WORD{0}, std::vector<WORD>{4040, 8039}}}) {
    lorn_test::TempDir dir;
    CFile source;
    CFile dest;
    ASSERT_TRUE(source.Open(dir.File("src").c_str(), CFile::modeCreate | CFile::modeReadWrite));
    ASSERT_TRUE(dest.Open(dir.File("dst").c_str(), CFile::modeCreate | CFile::modeReadWrite));
    for (LONG nRow = 0; nRow < 8000; ++nRow) {
      BYTE abKey[4];
      PutLong(abKey, nRow == 4000 || nRow == 7999 ? -1 : nRow == 4001 ? 3999 : nRow);
      const std::string strEntry = Entry(nRow, std::string(abKey, abKey + 4));
      source.Write(strEntry.data(), 8);
    }
    monitor.SetPos(40);
    monitor.m_arPositions.clear();
    ASSERT_TRUE(SortEntries(&source, 8000, 8, CompareLongEntry, &dest, &monitor, nShare));
    EXPECT_EQ(monitor.m_arPositions, arWant) << nShare;
  }

  // A zone file that lost its first block can't be sorted: message 9, the
  // build fails and the object addresses no index.
  index.BeginBuild(TRUE);
  for (LONG nRow = 0; nRow < 10000; ++nRow) {
    index.AddValue(nRow, std::to_string(nRow % 77).c_str());
  }
  std::vector<std::string> arFiles = tmp.SdxPaths();
  ASSERT_EQ(arFiles.size(), 1u);
  ASSERT_EQ(truncate(arFiles[0].c_str(), 0), 0);
  EXPECT_FALSE(index.EndBuild());
  EXPECT_EQ(monitor.m_arErrors, std::vector<std::string>{"Tri imposssible..."});
  EXPECT_EQ(index.GetPos() + index.GetValueCount(), 0u);
  EXPECT_EQ(tmp.CountSdx(), 0);
  LONG nKey = 5;
  EXPECT_FALSE(index.Find(&nKey, CRIT_EQUAL | CRIT_GREATER, TRUE));
  g_nSortShare = 0;
}
