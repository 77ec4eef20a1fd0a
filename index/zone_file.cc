#include "index/zone_file.h"

void CZoneFile::Append(const void* pData, UINT nCount) {
  if (m_abPending.capacity() < ZONE_WRITE_BUFFER_SIZE) {
    m_abPending.reserve(ZONE_WRITE_BUFFER_SIZE);
  }
  if (m_abPending.size() + nCount > ZONE_WRITE_BUFFER_SIZE) {
    FlushAppends();
  }
  if (nCount > ZONE_WRITE_BUFFER_SIZE) {
    CFile::Seek(0, CFile::end);
    CFile::Write(pData, nCount);
    return;
  }
  const BYTE* pBytes = static_cast<const BYTE*>(pData);
  m_abPending.insert(m_abPending.end(), pBytes, pBytes + nCount);
}

void CZoneFile::FlushAppends() {
  if (m_abPending.empty()) {
    return;
  }
  UINT nCount = static_cast<UINT>(m_abPending.size());
  try {
    CFile::Seek(0, CFile::end);
    CFile::Write(m_abPending.data(), nCount);
  } catch (...) {
    m_abPending.clear();
    throw;
  }
  m_abPending.clear();
}

void CZoneFile::Close() {
  FlushAppends();
  CFile::Close();
}

void CZoneFile::Abort() {
  m_abPending.clear();
  CFile::Abort();
}

UINT CZoneFile::Read(void* lpBuf, UINT nCount) {
  FlushAppends();
  return CFile::Read(lpBuf, nCount);
}

void CZoneFile::Write(const void* lpBuf, UINT nCount) {
  FlushAppends();
  CFile::Write(lpBuf, nCount);
}

ULONGLONG CZoneFile::Seek(LONGLONG lOff, UINT nFrom) {
  FlushAppends();
  return CFile::Seek(lOff, nFrom);
}

ULONGLONG CZoneFile::GetPosition() const {
  // An append leaves the position at the end of the file.
  return m_abPending.empty() ? CFile::GetPosition() : GetLength();
}

ULONGLONG CZoneFile::GetLength() const {
  return CFile::GetLength() + m_abPending.size();
}

void CZoneFile::SetLength(ULONGLONG nNewLen) {
  FlushAppends();
  CFile::SetLength(nNewLen);
}

void CZoneFile::Flush() {
  FlushAppends();
  CFile::Flush();
}
