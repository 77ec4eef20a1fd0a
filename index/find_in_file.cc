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
  while (nStep != 0) {
    DWORD nMid = nLo + nStep;
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
