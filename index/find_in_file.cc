#include "index/column_index.h"
#include "index/entry_cache.h"
#include "index/entry_codec.h"

namespace {

// Entry n of the run, read into pScratch; FALSE on a short read.
BOOL ReadEntryAt(CEntryCache& cache, CFile* pFile, DWORD nPos, DWORD n, WORD nEntrySize,
                 BYTE* pScratch) {
  ULONGLONG nAt = static_cast<ULONGLONG>(nPos) + static_cast<ULONGLONG>(n) * nEntrySize;
  return cache.Read(pFile, nAt, pScratch, nEntrySize) == nEntrySize;
}

int CompareAt(PFN_COMPARE pfnCompare, const BYTE* pScratch, const void* pKey) {
  return CompareSign16(pfnCompare(pScratch + ENTRY_KEY_OFFSET, pKey));
}

// The entries of a run in a file's view, for fetching ahead: each step of the
// search asks the processor for the two entries that the next step may
// read, so that the wait for memory overlaps the step. Nothing is read for
// the search's result: a file without a view fetches nothing.
class CAhead {
 public:
  CAhead(CFile* pFile, DWORD nPos, WORD nEntrySize) : m_nPos(nPos), m_nEntrySize(nEntrySize) {
    m_pView = pFile->GetView(&m_nLength);
  }
  void Fetch(DWORD n) const {
    const ULONGLONG nAt = m_nPos + static_cast<ULONGLONG>(n) * m_nEntrySize + ENTRY_KEY_OFFSET;
    if (m_pView != nullptr && nAt < m_nLength) {
      __builtin_prefetch(m_pView + nAt);
    }
  }

 private:
  const BYTE* m_pView = nullptr;
  ULONGLONG m_nLength = 0;
  ULONGLONG m_nPos;
  WORD m_nEntrySize;
};

}  // namespace

DWORD FindInFileCached(CEntryCache& cache, CFile* pFile, const void* pKey, DWORD nPos, DWORD nCount,
                       WORD nEntrySize, PFN_COMPARE pfnCompare, BYTE* pScratch, BOOL bFirst) {
  if (nCount < 1 || pKey == nullptr || pFile == nullptr || pScratch == nullptr ||
      pfnCompare == nullptr) {
    return 0;
  }
  if (!ReadEntryAt(cache, pFile, nPos, 0, nEntrySize, pScratch) ||
      CompareAt(pfnCompare, pScratch, pKey) >= 0) {
    return 0;
  }
  if (!ReadEntryAt(cache, pFile, nPos, nCount - 1, nEntrySize, pScratch) ||
      CompareAt(pfnCompare, pScratch, pKey) < 0) {
    return nCount;
  }
  // Invariant: entry lo is below the key, entry hi at or above it.
  DWORD nLo = 0;
  DWORD nHi = nCount - 1;
  DWORD nStep = nHi / 2;
  const CAhead ahead(pFile, nPos, nEntrySize);
  while (nStep != 0) {
    DWORD nMid = nLo + nStep;
    ahead.Fetch(nLo + (nMid - nLo) / 2);
    ahead.Fetch(nMid + (nHi - nMid) / 2);
    if (!ReadEntryAt(cache, pFile, nPos, nMid, nEntrySize, pScratch)) {
      return 0;
    }
    int nCmp = CompareAt(pfnCompare, pScratch, pKey);
    if (nCmp == 0) {
      if (!bFirst || nMid == 0) {
        return nMid;
      }
      DWORD nFound = nMid;
      while (nFound > 0 && ReadEntryAt(cache, pFile, nPos, nFound - 1, nEntrySize, pScratch) &&
             CompareAt(pfnCompare, pScratch, pKey) == 0) {
        --nFound;
      }
      return nFound;
    }
    if (nCmp > 0) {
      nHi = nMid;
    } else {
      nLo = nMid;
    }
    nStep = (nHi - nLo) / 2;
  }
  return nHi;
}

DWORD FindInFile(CFile* pFile, const void* pKey, DWORD nPos, DWORD nCount, WORD nEntrySize,
                 PFN_COMPARE pfnCompare, BYTE* pScratch, BOOL bFirst) {
  // The file does not change during one search, so a window of its own
  // gives exactly what reading entry by entry would.
  CEntryCache cache;
  return FindInFileCached(cache, pFile, pKey, nPos, nCount, nEntrySize, pfnCompare, pScratch,
                          bFirst);
}
