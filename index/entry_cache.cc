#include "index/entry_cache.h"

#include <cstring>

UINT CEntryCache::Read(CFile* pFile, ULONGLONG nPos, BYTE* pDest, UINT nCount) {
  if (nCount == 0) {
    return 0;
  }
  // A file with a view serves every read itself, without a system call.
  ULONGLONG nLength = 0;
  if (pFile->GetView(&nLength) != nullptr) {
    return pFile->ReadAt(nPos, pDest, nCount);
  }
  ULONGLONG nEnd = nPos + nCount;
  if (pFile == m_pFile && nPos >= m_nStart && nEnd <= m_nStart + m_nValid) {
    std::memcpy(pDest, m_abWindow + (nPos - m_nStart), nCount);
    return nCount;
  }
  if (nCount > CACHE_WINDOW_SIZE - CACHE_WINDOW_ALIGN) {
    // Too large for the window: read it straight.
    pFile->Seek(static_cast<LONGLONG>(nPos), CFile::begin);
    return pFile->Read(pDest, nCount);
  }
  m_nValid = 0;
  m_pFile = pFile;
  m_nStart = nPos - nPos % CACHE_WINDOW_ALIGN;
  pFile->Seek(static_cast<LONGLONG>(m_nStart), CFile::begin);
  m_nValid = pFile->Read(m_abWindow, CACHE_WINDOW_SIZE);
  ULONGLONG nAvail = m_nStart + m_nValid > nPos ? m_nStart + m_nValid - nPos : 0;
  UINT nGot = nAvail < nCount ? static_cast<UINT>(nAvail) : nCount;
  if (nGot > 0) {
    std::memcpy(pDest, m_abWindow + (nPos - m_nStart), nGot);
  }
  return nGot;
}
