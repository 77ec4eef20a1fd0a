#include "index/entry_cache.h"

#include <gtest/gtest.h>

#include <string>

#include "index/column_index.h"
#include "index/entry_codec.h"
#include "testing/test_util.h"

namespace {

constexpr DWORD kPrefix = 20;
constexpr WORD kEntry = 8;  // row, Long key
constexpr DWORD kEntries = 300;

// kPrefix bytes, then kEntries value entries of a Long column with keys
// 0, 0, 0, 2, 2, 2, 4, ... (runs of equal keys, gaps between them).
std::string IndexBytes() {
  std::string strBytes(kPrefix, '#');
  for (DWORD n = 0; n < kEntries; ++n) {
    BYTE abEntry[kEntry];
    PutLong(abEntry, static_cast<LONG>(n * 7 % kEntries));
    PutLong(abEntry + 4, static_cast<LONG>(n / 3 * 2));
    strBytes.append(reinterpret_cast<const char*>(abEntry), kEntry);
  }
  return strBytes;
}

TEST(EntryCache, ReadsFromTheViewGiveWhatTheWindowGives) {
  lorn_test::TempDir dir;
  const std::string strBytes = IndexBytes();
  lorn_test::WriteFile(dir.File("a.sdx"), strBytes);
  lorn_test::WriteFile(dir.File("b.sdx"), strBytes);
  // The sidecar as a query sees it, with its view, and a file open for
  // update, which has none and is read through the window.
  CFile viewed(dir.File("a.sdx").c_str(), CFile::modeRead | CFile::shareDenyWrite);
  CFile updated(dir.File("b.sdx").c_str(), CFile::modeReadWrite | CFile::shareExclusive);
  ULONGLONG nLength = 0;
  for (int i = 0; i < 8 && viewed.GetView(&nLength) == nullptr; ++i) {
  }
  ASSERT_NE(viewed.GetView(&nLength), nullptr);
  ASSERT_EQ(updated.GetView(&nLength), nullptr);

  CEntryCache viewCache;
  CEntryCache windowCache;
  // Whole, cut and missing entries at the end of the file.
  const DWORD nEnd = static_cast<DWORD>(strBytes.size());
  for (DWORD nPos : {0u, kPrefix, nEnd - kEntry, nEnd - 3, nEnd, nEnd + 100}) {
    BYTE abViewed[kEntry] = {};
    BYTE abWindow[kEntry] = {};
    const UINT nViewed = viewCache.Read(&viewed, nPos, abViewed, kEntry);
    EXPECT_EQ(nViewed, windowCache.Read(&updated, nPos, abWindow, kEntry)) << nPos;
    EXPECT_EQ(std::string(abViewed, abViewed + kEntry), std::string(abWindow, abWindow + kEntry));
  }

  // Binary searches, also over counts that run past the end of the file.
  for (DWORD nCount : {kEntries, kEntries - 5, kEntries + 3, kEntries * 2 + 1}) {
    for (LONG nKey = -1; nKey <= static_cast<LONG>(kEntries); ++nKey) {
      for (BOOL bFirst : {FALSE, TRUE}) {
        BYTE abViewed[kEntry] = {};
        BYTE abWindow[kEntry] = {};
        const DWORD nViewed = FindInFileCached(viewCache, &viewed, &nKey, kPrefix, nCount, kEntry,
                                               CompareLong, abViewed, bFirst);
        const DWORD nWindow = FindInFileCached(windowCache, &updated, &nKey, kPrefix, nCount,
                                               kEntry, CompareLong, abWindow, bFirst);
        EXPECT_EQ(nViewed, nWindow) << nCount << " " << nKey << " " << bFirst;
        EXPECT_EQ(std::string(abViewed, abViewed + kEntry),
                  std::string(abWindow, abWindow + kEntry));
      }
    }
  }
  // A count that runs past the end of the file cuts the last entry short:
  // the key counts as above every entry.
  LONG nKey = 5;
  BYTE abEntry[kEntry] = {};
  EXPECT_EQ(FindInFileCached(viewCache, &viewed, &nKey, kPrefix, kEntries + 3, kEntry, CompareLong,
                             abEntry, FALSE),
            kEntries + 3);
}

}  // namespace
