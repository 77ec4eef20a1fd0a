#include "table/row_table.h"

void EncodeRowEntry(BYTE* pDest, DWORD nOffset) {
  pDest[0] = static_cast<BYTE>(nOffset);
  pDest[1] = static_cast<BYTE>(nOffset >> 8);
  pDest[2] = static_cast<BYTE>(nOffset >> 16);
  pDest[3] = static_cast<BYTE>(nOffset >> 24);
}

DWORD DecodeRowEntry(const BYTE* pSrc) {
  return static_cast<DWORD>(pSrc[0]) | (static_cast<DWORD>(pSrc[1]) << 8) |
         (static_cast<DWORD>(pSrc[2]) << 16) | (static_cast<DWORD>(pSrc[3]) << 24);
}

void CRowTableWriter::Flush() {
  if (m_pFile == nullptr || m_nUsed == 0) {
    return;
  }
  // Emptied first: a failed write must not be repeated by a later Flush.
  const UINT nUsed = m_nUsed;
  m_nUsed = 0;
  m_pFile->Write(m_buffer, nUsed);
}

BOOL ReadRowEntries(CFile* pFile, DWORD nTablePos, DWORD nRow, UINT nCount, DWORD* pEntries) {
  const ULONGLONG nPos = static_cast<ULONGLONG>(nTablePos) + ULONGLONG{ROW_ENTRY_SIZE} * nRow;
  if (nCount == 0 || nCount > 2) {
    return FALSE;
  }
  // Served from the sidecar's view when it has one: no system call.
  BYTE bytes[2 * ROW_ENTRY_SIZE];
  const UINT nWant = nCount * ROW_ENTRY_SIZE;
  if (pFile->ReadAt(nPos, bytes, nWant) != nWant) {
    return FALSE;
  }
  for (UINT i = 0; i < nCount; ++i) {
    pEntries[i] = DecodeRowEntry(bytes + i * ROW_ENTRY_SIZE);
  }
  return TRUE;
}

void PrefetchRowEntries(CFile* pFile, DWORD nTablePos, const DWORD* pRows, INT_PTR nCount) {
  ULONGLONG nLength = 0;
  const BYTE* pView = pFile->GetView(&nLength);
  if (pView == nullptr) {
    return;
  }
  const INT_PTR nAhead = nCount < ROW_PREFETCH_COUNT ? nCount : ROW_PREFETCH_COUNT;
  for (INT_PTR i = 0; i < nAhead; ++i) {
    const ULONGLONG nAt = nTablePos + ULONGLONG{ROW_ENTRY_SIZE} * pRows[i];
    if (nAt < nLength) {
      __builtin_prefetch(pView + nAt);
    }
  }
}
