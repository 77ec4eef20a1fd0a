#include "index/column_index.h"

#include "frame/locale_scope.h"
#include "index/entry_cache.h"
#include "index/entry_codec.h"
#include "index/index_build.h"
#include "platform/exceptions.h"

BYTE* g_pBuildBuffer = nullptr;
WORD g_nBuildUsers = 0;
WORD g_nSortShare = 0;

CIndex::CIndex(CFile* pFile, DWORD nPos, BYTE nType, BYTE nKeySize, const char* pszLocale)
    : m_pFile(pFile),
      m_nKeySize(0),
      m_nType(0),
      m_nPos(0),
      m_nAnyCount(0),
      m_nValueCount(0),
      m_nRangeCount(0),
      m_nDataPos(0),
      m_pEntry(nullptr),
      m_nStatus(5),
      m_nCursor(0),
      m_pfnCompareEntries(nullptr),
      m_pfnCompareKeys(nullptr),
      m_pfnMatch(nullptr),
      m_bBuilding(FALSE),
      m_pCache(nullptr) {
  Reset();
  BYTE nKey = 0;
  switch (nType) {
    case COL_TYPE_LONG:
      nKey = 4;
      m_pfnCompareEntries = CompareLongEntry;
      m_pfnCompareKeys = CompareLong;
      m_pfnMatch = CompareLong;
      break;
    case COL_TYPE_REAL:
      nKey = 8;
      m_pfnCompareEntries = CompareRealEntry;
      m_pfnCompareKeys = CompareReal;
      m_pfnMatch = CompareReal;
      break;
    case COL_TYPE_STR:
      if (nKeySize == 0) {
        return;
      }
      nKey = nKeySize;
      if (IsNamedLocale(pszLocale)) {
        m_pfnCompareEntries = CompareTextMbEntry;
        m_pfnCompareKeys = CompareTextMb;
        m_pfnMatch = MatchTextMb;
      } else {
        m_pfnCompareEntries = CompareTextEntry;
        m_pfnCompareKeys = CompareText;
        m_pfnMatch = MatchText;
      }
      break;
    default:
      return;
  }
  m_nKeySize = nKey;
  m_nPos = nPos;
  m_nType = nType;
  m_strLocale = pszLocale;
  m_pEntry = new BYTE[RangeEntrySize(nKey)]();
  m_pCache = new CEntryCache;
  m_nCursor = 0;
  m_nStatus = 0;
  try {
    ReadHeader();
  } catch (...) {
    Reset();
    throw;
  }
}

CIndex::~CIndex() {
  // A build left open would leave its temporary files behind.
  if (m_bBuilding) {
    FreeBuild(*this);
  }
  Reset();
}

void CIndex::Reset() {
  m_nKeySize = 0;
  m_nType = 0;
  m_nPos = 0;
  m_nAnyCount = 0;
  m_nValueCount = 0;
  m_nRangeCount = 0;
  m_nDataPos = 0;
  m_nCursor = 0;
  m_nStatus = 5;
  m_pfnCompareEntries = nullptr;
  m_pfnCompareKeys = nullptr;
  m_pfnMatch = nullptr;
  delete[] m_pEntry;
  m_pEntry = nullptr;
  delete m_pCache;
  m_pCache = nullptr;
}

void CIndex::ReadHeader() {
  if (m_nPos == 0 || m_pFile == nullptr || !m_pFile->IsOpen()) {
    return;
  }
  if (m_pCache != nullptr) {
    m_pCache->Invalidate();
  }
  BYTE abHeader[INDEX_HEADER_SIZE];
  m_pFile->Seek(m_nPos, CFile::begin);
  if (m_pFile->Read(abHeader, INDEX_HEADER_SIZE) != INDEX_HEADER_SIZE) {
    AfxThrowArchiveException(CArchiveException::endOfFile, m_pFile->GetFilePath());
  }
  const DWORD nAny = GetDword(abHeader);
  const DWORD nValues = GetDword(abHeader + 4);
  const DWORD nRanges = GetDword(abHeader + 8);
  // Counts that need more bytes than the file holds come from a file cut
  // short or written by anyone else: the header is refused like one that
  // is cut short, before a search walks entries that are not there.
  const ULONGLONG nEnd = static_cast<ULONGLONG>(m_nPos) + INDEX_HEADER_SIZE +
                         ULONGLONG{AnyEntrySize()} * nAny +
                         ULONGLONG{ValueEntrySize(m_nKeySize)} * nValues +
                         2 * ULONGLONG{RangeEntrySize(m_nKeySize)} * nRanges;
  if (nEnd > m_pFile->GetLength()) {
    AfxThrowArchiveException(CArchiveException::endOfFile, m_pFile->GetFilePath());
  }
  m_nAnyCount = nAny;
  m_nValueCount = nValues;
  m_nRangeCount = nRanges;
  m_nDataPos = m_nPos + INDEX_HEADER_SIZE;
}

void CIndex::WriteHeader() {
  if (m_nPos == 0 || m_pFile == nullptr || !m_pFile->IsOpen()) {
    return;
  }
  if (m_pCache != nullptr) {
    m_pCache->Invalidate();
  }
  BYTE abHeader[INDEX_HEADER_SIZE];
  PutDword(abHeader, m_nAnyCount);
  PutDword(abHeader + 4, m_nValueCount);
  PutDword(abHeader + 8, m_nRangeCount);
  m_pFile->Seek(m_nPos, CFile::begin);
  m_pFile->Write(abHeader, INDEX_HEADER_SIZE);
  m_nDataPos = m_nPos + INDEX_HEADER_SIZE;
}

namespace {

// nSize bytes at nOffset of the sidecar into the entry buffer, through the
// read-ahead window; TRUE when all were read.
BOOL ReadEntryAt(CIndex& index, LONGLONG nOffset, WORD nSize) {
  if (index.m_pEntry == nullptr || index.m_pCache == nullptr || index.m_pFile == nullptr ||
      nOffset < 0) {
    return FALSE;
  }
  UINT nGot =
      index.m_pCache->Read(index.m_pFile, static_cast<ULONGLONG>(nOffset), index.m_pEntry, nSize);
  return nGot == nSize;
}

}  // namespace

BOOL CIndex::ReadAnyEntry(DWORD n) {
  LONGLONG nOffset = static_cast<LONGLONG>(m_nDataPos) + 4LL * n;
  return ReadEntryAt(*this, nOffset, AnyEntrySize());
}

BOOL CIndex::ReadValueEntry(DWORD n) {
  LONGLONG nOffset = static_cast<LONGLONG>(m_nDataPos) + 4LL * m_nAnyCount +
                     (static_cast<LONGLONG>(n) - m_nAnyCount) * ValueEntrySize(m_nKeySize);
  return ReadEntryAt(*this, nOffset, ValueEntrySize(m_nKeySize));
}

BOOL CIndex::ReadRangeEntry(DWORD n) {
  LONGLONG nOffset =
      static_cast<LONGLONG>(m_nDataPos) + 4LL * m_nAnyCount +
      static_cast<LONGLONG>(ValueEntrySize(m_nKeySize)) * m_nValueCount +
      (static_cast<LONGLONG>(n) - m_nAnyCount - m_nValueCount) * RangeEntrySize(m_nKeySize);
  return ReadEntryAt(*this, nOffset, RangeEntrySize(m_nKeySize));
}

LONG CIndex::GetRow() const {
  if (m_pEntry == nullptr) {
    return -1;
  }
  const DWORD nRow = GetDword(m_pEntry + ENTRY_ROW_OFFSET);
  if (nRow >= m_nRowLimit) {
    AfxThrowArchiveException(CArchiveException::badIndex,
                             m_pFile != nullptr ? m_pFile->GetFilePath() : CString());
  }
  return static_cast<LONG>(nRow);
}
