// CEntryCache: a read-ahead window on a file of index entries.
//
// A file that offers a view of itself (CFile::GetView: the sidecar while it
// is open for reading under its share lock) serves every read from that
// view, with no system call and nothing kept here. Otherwise a read that
// falls inside the window is served from memory; any other read refills the
// window with one seek and one read of up to CACHE_WINDOW_SIZE bytes around
// it. Every result is what a seek and a read of the file at that moment
// would give, fewer bytes only at the end of the file, as long as the bytes
// already read have not been rewritten since: whoever rewrites them calls
// Invalidate. Appending to the file needs no invalidation, since the window
// holds only bytes that were read.
#ifndef LORN_INDEX_ENTRY_CACHE_H_
#define LORN_INDEX_ENTRY_CACHE_H_

#include "frame/comparators.h"
#include "platform/cfile.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

constexpr UINT CACHE_WINDOW_SIZE = 8192;
constexpr UINT CACHE_WINDOW_ALIGN = 4096;

class CEntryCache {
 public:
  CEntryCache() = default;
  CEntryCache(const CEntryCache&) = delete;
  CEntryCache& operator=(const CEntryCache&) = delete;

  // Reads nCount bytes at nPos of pFile into pDest and gives how many were
  // read. The file's position afterwards is unspecified. CFileException
  // from the file passes through; the window is then empty.
  UINT Read(CFile* pFile, ULONGLONG nPos, BYTE* pDest, UINT nCount);
  // Forgets the window.
  void Invalidate() { m_nValid = 0; }

 private:
  CFile* m_pFile = nullptr;  // file the window was read from
  ULONGLONG m_nStart = 0;    // offset of the window's first byte
  UINT m_nValid = 0;         // bytes of the window that were read
  BYTE m_abWindow[CACHE_WINDOW_SIZE];
};

// FindInFile reading through a window: the same result, the same content
// of pScratch.
LORN_INTERNAL DWORD FindInFileCached(CEntryCache& cache, CFile* pFile, const void* pKey, DWORD nPos,
                                     DWORD nCount, WORD nEntrySize, PFN_COMPARE pfnCompare,
                                     BYTE* pScratch, BOOL bFirst);

#endif  // LORN_INDEX_ENTRY_CACHE_H_
