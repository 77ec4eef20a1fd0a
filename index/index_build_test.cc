#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "frame/settings.h"
#include "index/column_index.h"
#include "index/entry_codec.h"
#include "index/entry_sort.h"
#include "index/index_test_util.h"

using index_test::CPrivateTmp;
using index_test::CRecordingMonitor;
using index_test::CSideFile;

namespace {

struct CRefEntry {
  std::string strKey;  // the key bytes
  LONG nRow;
};

// The zone of an index, read back entry by entry: key bytes and row.
std::vector<CRefEntry> ReadZone(CIndex& index, DWORD nFirst, DWORD nCount, BOOL bRanges) {
  std::vector<CRefEntry> arEntries;
  for (DWORD n = nFirst; n < nFirst + nCount; ++n) {
    EXPECT_TRUE(bRanges ? index.ReadRangeEntry(n) : index.ReadValueEntry(n));
    const BYTE* pKey = index.GetEntry() + 4;
    arEntries.push_back({std::string(pKey, pKey + index.GetKeySize()), index.GetRow()});
  }
  return arEntries;
}

void ExpectSameZone(const std::vector<CRefEntry>& arGot, const std::vector<CRefEntry>& arWant) {
  ASSERT_EQ(arGot.size(), arWant.size());
  for (size_t n = 0; n < arGot.size(); ++n) {
    ASSERT_EQ(arGot[n].strKey, arWant[n].strKey) << "entry " << n;
    ASSERT_EQ(arGot[n].nRow, arWant[n].nRow) << "entry " << n;
  }
}

// Sets the library's monitor for the lifetime of the object.
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

  // Long values with many repeats, one zone that sorts in one run.
  CIndex longs(side.File(), 0, COL_TYPE_LONG, 0, nullptr);
  longs.BeginBuild(TRUE);
  std::vector<std::pair<LONG, LONG>> arLongs;
  for (LONG nRow = 0; nRow < 120000; ++nRow) {
    LONG nValue = static_cast<LONG>(random() % 5000) - 2500;
    ASSERT_TRUE(longs.AddValue(nRow, std::to_string(nValue).c_str()));
    arLongs.push_back({nValue, nRow});
  }
  ASSERT_TRUE(longs.EndBuild());
  std::stable_sort(arLongs.begin(), arLongs.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  ASSERT_EQ(longs.GetValueCount(), arLongs.size());
  for (DWORD n = 0; n < arLongs.size(); ++n) {
    ASSERT_TRUE(longs.ReadValueEntry(n));
    ASSERT_EQ(GetLong(longs.GetEntry() + 4), arLongs[n].first) << n;
    ASSERT_EQ(longs.GetRow(), arLongs[n].second) << n;
  }

  // Str keys of 64 bytes: more than one run, merged. Ranges too, sorted by
  // low bound in zone 2 and by high bound in zone 3.
  const BYTE nKeySize = 64;
  CIndex texts(side.File(), 0, COL_TYPE_STR, nKeySize, nullptr);
  texts.BeginBuild(TRUE);
  std::vector<CRefEntry> arValues;
  std::vector<CRefEntry> arByLow;
  std::vector<CRefEntry> arByHigh;
  auto randomText = [&random]() {
    std::string strText(random() % 6, ' ');
    for (char& c : strText) {
      c = static_cast<char>('A' + random() % 4);
    }
    return strText;
  };
  auto keyOf = [nKeySize](const std::string& strText) {
    std::string strKey = strText;
    strKey.resize(nKeySize, '\0');
    return strKey;
  };
  for (LONG nRow = 0; nRow < 110000; ++nRow) {
    std::string strText = randomText();
    ASSERT_TRUE(texts.AddValue(nRow, strText.c_str()));
    arValues.push_back({keyOf(strText), nRow});
    if (nRow % 10 == 0) {
      std::string strLow = randomText();
      std::string strHigh = randomText();
      BYTE nFlags = static_cast<BYTE>(nRow % 3 == 0 ? RANGE_LOW_OPEN : RANGE_LOW_CLOSED);
      ASSERT_TRUE(texts.AddRange(nRow, strLow.c_str(), strHigh.c_str(), nFlags));
      arByLow.push_back({keyOf(strLow) + keyOf(strHigh) + static_cast<char>(nFlags), nRow});
      arByHigh.push_back({keyOf(strHigh) + keyOf(strLow) + static_cast<char>(nFlags), nRow});
    }
  }
  ASSERT_TRUE(texts.EndBuild());
  auto byFirstKey = [nKeySize](const CRefEntry& a, const CRefEntry& b) {
    return a.strKey.compare(0, nKeySize, b.strKey, 0, nKeySize) < 0;
  };
  std::stable_sort(arValues.begin(), arValues.end(), byFirstKey);
  std::stable_sort(arByLow.begin(), arByLow.end(), byFirstKey);
  std::stable_sort(arByHigh.begin(), arByHigh.end(), byFirstKey);
  DWORD nV = texts.GetValueCount();
  DWORD nR = texts.GetRangeCount();
  ExpectSameZone(ReadZone(texts, 0, nV, FALSE), arValues);
  std::vector<CRefEntry> arGotLow = ReadZone(texts, nV, nR, TRUE);
  std::vector<CRefEntry> arGotHigh = ReadZone(texts, nV + nR, nR, TRUE);
  for (auto* pZone : {&arGotLow, &arGotHigh}) {
    for (size_t n = 0; n < pZone->size(); ++n) {
      // The key bytes, the other key and the flags, as one string.
      ASSERT_TRUE(texts.ReadRangeEntry(nV + n + (pZone == &arGotHigh ? nR : 0)));
      (*pZone)[n].strKey.assign(texts.GetEntry() + 4, texts.GetEntry() + 5 + 2 * nKeySize);
    }
  }
  ExpectSameZone(arGotLow, arByLow);
  ExpectSameZone(arGotHigh, arByHigh);
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

  // 5,000 entries in runs of 10, merged 9 at a time: three passes, so the
  // scratch file is used in both directions.
  std::mt19937 random(7);
  std::vector<std::pair<double, LONG>> arWant;
  std::string strSource;
  for (LONG nRow = 0; nRow < 5000; ++nRow) {
    double dValue = static_cast<double>(random() % 300) / 4;
    BYTE abEntry[12];
    PutLong(abEntry, nRow);
    PutDouble(abEntry + 4, dValue);
    strSource.append(abEntry, abEntry + 12);
    arWant.push_back({dValue, nRow});
  }
  source.Write(strSource.data(), static_cast<UINT>(strSource.size()));
  std::stable_sort(arWant.begin(), arWant.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });

  CRecordingMonitor monitor;
  monitor.SetPos(40);
  monitor.m_arPositions.clear();
  ASSERT_TRUE(SortEntries(&source, 5000, 12, CompareRealEntry, &dest, &monitor, 25, 120));
  EXPECT_EQ(tmp.CountSdx(), 0);
  ASSERT_EQ(dest.GetLength(), 4u + strSource.size());
  std::string strSorted(strSource.size(), '\0');
  dest.Seek(4, CFile::begin);
  ASSERT_EQ(dest.Read(strSorted.data(), static_cast<UINT>(strSorted.size())), strSorted.size());
  for (size_t n = 0; n < arWant.size(); ++n) {
    const BYTE* pEntry = reinterpret_cast<const BYTE*>(strSorted.data()) + 12 * n;
    ASSERT_EQ(GetDouble(pEntry + 4), arWant[n].first) << n;
    ASSERT_EQ(GetLong(pEntry), arWant[n].second) << n;
  }
  ASSERT_FALSE(monitor.m_arPositions.empty());
  EXPECT_TRUE(std::is_sorted(monitor.m_arPositions.begin(), monitor.m_arPositions.end()));
  EXPECT_GE(monitor.m_arPositions.front(), 40);
  EXPECT_EQ(monitor.m_arPositions.back(), 65);

  // Without a place for the scratch file the sort fails; a short source too.
  source.Seek(0, CFile::begin);
  source.Write(strSource.data(), static_cast<UINT>(strSource.size()));
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

  // Values only: one file; the index has W = R = 0.
  index.BeginBuild(TRUE);
  index.AddValue(0, "5");
  index.AddValue(1, "4");
  EXPECT_EQ(tmp.CountSdx(), 1);
  ASSERT_TRUE(index.EndBuild());
  EXPECT_EQ(tmp.CountSdx(), 0);
  EXPECT_EQ(index.GetAnyCount(), 0u);
  EXPECT_EQ(index.GetRangeCount(), 0u);
  EXPECT_EQ(side.File()->GetLength(), index.GetPos() + 12 + 16);

  // All four zones, then abort: the files go, the sidecar stays as it was
  // and the counts come back from it.
  ULONGLONG nLength = side.File()->GetLength();
  index.BeginBuild(TRUE);
  EXPECT_EQ(g_nBuildUsers, 1);
  EXPECT_NE(g_pBuildBuffer, nullptr);
  index_test::AddWorkedExample(index);
  EXPECT_EQ(tmp.CountSdx(), 4);
  EXPECT_EQ(index.GetValueCount(), 3u);
  index.AbortBuild();
  EXPECT_EQ(tmp.CountSdx(), 0);
  EXPECT_EQ(side.File()->GetLength(), nLength);
  EXPECT_EQ(index.GetValueCount(), 2u);
  EXPECT_EQ(index.GetAnyCount(), 0u);
  EXPECT_EQ(g_nBuildUsers, 0);
  EXPECT_EQ(g_pBuildBuffer, nullptr);

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
  DWORD nOldPos = index.GetPos();

  index.BeginBuild(FALSE);
  EXPECT_EQ(index.GetValueCount(), 3u);
  EXPECT_EQ(tmp.CountSdx(), 4);
  index.AddValue(7, "5");
  ASSERT_TRUE(index.EndBuild());
  EXPECT_GT(index.GetPos(), nOldPos);
  EXPECT_EQ(index.GetAnyCount(), 1u);
  EXPECT_EQ(index.GetRangeCount(), 1u);
  const LONG anKeys[] = {3, 5, 7, 10};
  const LONG anRows[] = {3, 7, 3, 0};
  ASSERT_EQ(index.GetValueCount(), 4u);
  for (DWORD n = 0; n < 4; ++n) {
    ASSERT_TRUE(index.ReadValueEntry(1 + n));
    EXPECT_EQ(GetLong(index.GetEntry() + 4), anKeys[n]);
    EXPECT_EQ(index.GetRow(), anRows[n]);
  }
  ASSERT_TRUE(index.ReadRangeEntry(6));
  EXPECT_EQ(index.GetRow(), 2);
  EXPECT_EQ(GetLong(index.GetEntry() + 4), 5);
  // The old index stays in the file, untouched.
  CIndex old(side.File(), nOldPos, COL_TYPE_LONG, 0, nullptr);
  EXPECT_EQ(old.GetValueCount(), 3u);
}

TEST(IndexBuild, ProgressAndFailedSort) {
  CPrivateTmp tmp;
  CSideFile side;
  CRecordingMonitor monitor;
  CMonitorScope scope(&monitor);
  g_nSortShare = 30;
  monitor.SetPos(50);
  monitor.m_arPositions.clear();

  // V = 10, R = 5: 1.5 points an entry, so 15 for zone 1 and 7 for each
  // range zone.
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
  ASSERT_FALSE(monitor.m_arPositions.empty());
  EXPECT_TRUE(std::is_sorted(monitor.m_arPositions.begin(), monitor.m_arPositions.end()));
  EXPECT_EQ(monitor.m_arPositions.back(), 50 + 15 + 7 + 7);
  EXPECT_TRUE(monitor.m_arErrors.empty());

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
  ASSERT_EQ(monitor.m_arErrors.size(), 1u);
  EXPECT_EQ(monitor.m_arErrors[0], "Tri imposssible...");
  EXPECT_EQ(index.GetPos(), 0u);
  EXPECT_EQ(index.GetValueCount(), 0u);
  EXPECT_EQ(tmp.CountSdx(), 0);
  LONG nKey = 5;
  EXPECT_FALSE(index.Find(&nKey, CRIT_EQUAL | CRIT_GREATER, TRUE));
  g_nSortShare = 0;
}
