#include "index/index_build.h"

#include <cstring>

#include "frame/locale_scope.h"
#include "frame/monitor.h"
#include "frame/numbers.h"
#include "frame/settings.h"
#include "index/entry_cache.h"
#include "index/entry_codec.h"
#include "index/entry_sort.h"
#include "platform/ctype_locale.h"
#include "platform/exceptions.h"
#include "platform/mbcs.h"
#include "platform/temp_file.h"

namespace {

constexpr int ZONE_COUNT = 4;
constexpr int SORTED_ZONE_COUNT = 3;  // zones 1 to 3

CZoneFile* ZoneFileAt(const CIndex& index, int nZone) {
  // Only CZoneFile objects are ever placed in m_arTempFiles.
  return static_cast<CZoneFile*>(index.m_arTempFiles.GetAt(nZone));
}

BOOL IsBuildOpen(const CIndex& index) {
  return index.m_bBuilding && index.m_arTempFiles.GetSize() >= ZONE_COUNT;
}

// Whether the multi-byte code page in force has no lead bytes. The page is
// looked up again only when it changes.
bool SingleBytePage() {
  static int s_nPage = 0;
  static bool s_bSingle = false;
  const int nPage = _getmbcp();
  if (nPage != s_nPage) {
    const CCodePageTable* pTable = FindCodePageTable(nPage);
    s_bSingle = pTable != nullptr && pTable->m_pbyLead == nullptr;
    s_nPage = nPage;
  }
  return s_bSingle;
}

void ForgetWindow(CIndex& index) {
  if (index.m_pCache != nullptr) {
    index.m_pCache->Invalidate();
  }
}

// Copies the zones of the index on file into their temporary files. FALSE
// when a temporary file cannot be had.
BOOL TakeOverZones(CIndex& index) {
  ULONGLONG anStart[ZONE_COUNT + 1];
  anStart[0] = index.m_nDataPos;
  anStart[1] = anStart[0] + 4ULL * index.m_nAnyCount;
  anStart[2] =
      anStart[1] + static_cast<ULONGLONG>(ValueEntrySize(index.m_nKeySize)) * index.m_nValueCount;
  anStart[3] =
      anStart[2] + static_cast<ULONGLONG>(RangeEntrySize(index.m_nKeySize)) * index.m_nRangeCount;
  anStart[4] =
      anStart[3] + static_cast<ULONGLONG>(RangeEntrySize(index.m_nKeySize)) * index.m_nRangeCount;
  for (int nZone = 0; nZone < ZONE_COUNT; ++nZone) {
    if (anStart[nZone + 1] == anStart[nZone]) {
      continue;
    }
    CZoneFile* pZone = GetTempFile(index, nZone);
    if (pZone == nullptr) {
      return FALSE;
    }
    CopyWithBuildBuffer(pZone, index.m_pFile, static_cast<LONG>(anStart[nZone]),
                        static_cast<LONG>(anStart[nZone + 1]));
  }
  return TRUE;
}

// Appends the header and the four zones at the end of the sidecar; FALSE
// when a zone could not be sorted (message 9 was shown).
BOOL WriteZones(CIndex& index) {
  CFile* pSide = index.m_pFile;
  CProgressMonitor* pMonitor = GetProgressMonitor();
  ULONGLONG nSortable = static_cast<ULONGLONG>(index.m_nValueCount) + 2ULL * index.m_nRangeCount;
  double dEntryShare = 0.0;
  if (pMonitor != nullptr && nSortable != 0) {
    dEntryShare = static_cast<double>(g_nSortShare) / static_cast<double>(nSortable);
  }

  index.m_nPos = static_cast<DWORD>(pSide->SeekToEnd());
  index.WriteHeader();

  CZoneFile* pAny = ZoneFileAt(index, 0);
  if (pAny != nullptr) {
    pAny->FlushAppends();
    pSide->SeekToEnd();
    CopyWithBuildBuffer(pSide, pAny, 0, -1);
  }

  CLocaleScope scope(index.m_strLocale);
  BOOL bOK = TRUE;
  for (int nZone = 1; nZone < ZONE_COUNT; ++nZone) {
    CZoneFile* pZone = ZoneFileAt(index, nZone);
    if (pZone == nullptr) {
      continue;
    }
    pZone->FlushAppends();
    WORD nEntrySize =
        nZone == 1 ? ValueEntrySize(index.m_nKeySize) : RangeEntrySize(index.m_nKeySize);
    DWORD nCount = nZone == 1 ? index.m_nValueCount : index.m_nRangeCount;
    if (pMonitor != nullptr) {
      g_nSortShare = static_cast<WORD>(static_cast<double>(nCount) * dEntryShare);
    }
    pSide->SeekToEnd();
    if (index.m_arZoneSorted.GetAt(nZone - 1) != 0) {
      CopyWithBuildBuffer(pSide, pZone, 0, -1);
    } else if (!SortEntries(pZone, nCount, nEntrySize, index.m_pfnCompareEntries, pSide, pMonitor,
                            g_nSortShare)) {
      bOK = FALSE;
      if (pMonitor != nullptr) {
        CString strText;
        pMonitor->GetMessage(MSG_SORT_FAILED, strText);
        pMonitor->ShowError(strText);
      }
    }
  }
  return bOK;
}

// The object addresses no index: what a failed build leaves, so that
// nothing half-written is ever searched.
void ForgetIndex(CIndex& index) {
  index.m_nPos = 0;
  index.m_nDataPos = 0;
  index.m_nAnyCount = 0;
  index.m_nValueCount = 0;
  index.m_nRangeCount = 0;
  index.m_nCursor = 0;
}

}  // namespace

void CopyWithBuildBuffer(CFile* pDest, CFile* pSrc, LONG nFrom, LONG nTo) {
  CopyFileRange(pDest, pSrc, g_pBuildBuffer, static_cast<WORD>(BUILD_BUFFER_SIZE), nFrom, nTo);
}

CZoneFile* GetTempFile(CIndex& index, int nZone) {
  if (nZone < 0 || nZone >= index.m_arTempFiles.GetSize()) {
    AfxThrowInvalidArgException();
  }
  CZoneFile* pZone = ZoneFileAt(index, nZone);
  if (pZone != nullptr) {
    return pZone;
  }
  pZone = new CZoneFile;
  if (!OpenTempFile("sdx", *pZone)) {
    delete pZone;
    return nullptr;
  }
  index.m_arTempFiles.SetAt(nZone, pZone);
  return pZone;
}

void WriteKey(const CIndex& index, BYTE* pKey, const char* pszValue) {
  const char* pszText = pszValue != nullptr ? pszValue : "";
  switch (index.m_nType) {
    case COL_TYPE_LONG:
      PutLong(pKey, TextToLong(pszText));
      break;
    case COL_TYPE_REAL:
      PutDouble(pKey, TextToReal(pszText));
      break;
    case COL_TYPE_STR: {
      // At most K - 1 bytes of the value, never half a character, NUL up to
      // K bytes. In a single-byte page that is a plain cut.
      char* pszKey = reinterpret_cast<char*>(pKey);
      const size_t nKeySize = index.m_nKeySize;
      if (!SingleBytePage()) {
        _mbsnbcpy(pszKey, pszText, nKeySize - 1);
        pszKey[nKeySize - 1] = '\0';
        FoldCase(pszKey, index.m_strLocale, 0);
        break;
      }
      const size_t nLength = strnlen(pszText, nKeySize - 1);
      if (!IsNamedLocale(index.m_strLocale) && IsCtypeLocalePlain()) {
        // FoldCase of the plain locale under the plain character-type
        // locale folds ASCII letters only: done while copying.
        for (size_t i = 0; i < nLength; ++i) {
          const BYTE c = static_cast<BYTE>(pszText[i]);
          pKey[i] = static_cast<BYTE>(c - (static_cast<BYTE>(c - 'a') < 26 ? 32 : 0));
        }
        std::memset(pKey + nLength, 0, nKeySize - nLength);
        break;
      }
      std::memcpy(pszKey, pszText, nLength);
      std::memset(pszKey + nLength, 0, nKeySize - nLength);
      FoldCase(pszKey, index.m_strLocale, 0);
      break;
    }
    default:
      break;
  }
}

void FreeBuild(CIndex& index) {
  if (!index.m_bBuilding) {
    return;
  }
  for (int nZone = 0; nZone < index.m_arTempFiles.GetSize(); ++nZone) {
    CZoneFile* pZone = ZoneFileAt(index, nZone);
    if (pZone == nullptr) {
      continue;
    }
    delete pZone;  // closes the file, which has no name: it is gone
    index.m_arTempFiles.SetAt(nZone, nullptr);
  }
  index.m_arTempFiles.RemoveAll();
  index.m_arTempNames.RemoveAll();
  index.m_arZoneSorted.RemoveAll();
  index.m_bBuilding = FALSE;
  if (g_nBuildUsers > 0 && --g_nBuildUsers == 0) {
    delete[] g_pBuildBuffer;
    g_pBuildBuffer = nullptr;
  }
}

void CIndex::BeginBuild(BOOL bFresh) {
  if (m_bBuilding || (!bFresh && m_nStatus != 0) || m_pEntry == nullptr) {
    return;
  }
  WriteHeader();
  ++g_nBuildUsers;
  if (g_pBuildBuffer == nullptr) {
    g_pBuildBuffer = new BYTE[BUILD_BUFFER_SIZE];
  }
  m_bBuilding = TRUE;
  m_arZoneSorted.SetSize(SORTED_ZONE_COUNT);
  for (int n = 0; n < SORTED_ZONE_COUNT; ++n) {
    m_arZoneSorted.SetAt(n, 1);
  }
  m_arTempFiles.SetSize(ZONE_COUNT);
  m_arTempNames.SetSize(ZONE_COUNT);
  ForgetWindow(*this);
  if (!bFresh && m_nPos != 0) {
    try {
      if (!TakeOverZones(*this)) {
        FreeBuild(*this);
      }
    } catch (...) {
      FreeBuild(*this);
      throw;
    }
  } else {
    m_nAnyCount = 0;
    m_nValueCount = 0;
    m_nRangeCount = 0;
  }
}

BOOL CIndex::AddAny(DWORD nRow) {
  if (!IsBuildOpen(*this)) {
    return FALSE;
  }
  CZoneFile* pZone = GetTempFile(*this, 0);
  if (pZone == nullptr) {
    return FALSE;
  }
  BYTE abEntry[4];
  PutDword(abEntry, nRow);
  pZone->Append(abEntry, sizeof(abEntry));
  ++m_nAnyCount;
  return TRUE;
}

BOOL CIndex::AddValue(DWORD nRow, const char* pszValue) {
  if (!IsBuildOpen(*this)) {
    return FALSE;
  }
  CZoneFile* pZone = GetTempFile(*this, 1);
  if (pZone == nullptr) {
    return FALSE;
  }
  BYTE abEntry[ValueEntrySize(255)];
  PutDword(abEntry + ENTRY_ROW_OFFSET, nRow);
  WriteKey(*this, abEntry + ENTRY_KEY_OFFSET, pszValue);
  pZone->Append(abEntry, ValueEntrySize(m_nKeySize));
  ++m_nValueCount;
  m_arZoneSorted.SetAt(0, 0);
  return TRUE;
}

BOOL CIndex::AddRange(DWORD nRow, const char* pszLow, const char* pszHigh, BYTE nFlags) {
  if (!IsBuildOpen(*this)) {
    return FALSE;
  }
  CZoneFile* pByLow = GetTempFile(*this, 2);
  CZoneFile* pByHigh = pByLow != nullptr ? GetTempFile(*this, 3) : nullptr;
  if (pByHigh == nullptr) {
    return FALSE;
  }
  const DWORD nKey = m_nKeySize;
  BYTE abEntry[RangeEntrySize(255)];
  PutDword(abEntry + ENTRY_ROW_OFFSET, nRow);
  WriteKey(*this, abEntry + ENTRY_KEY_OFFSET, pszLow);
  WriteKey(*this, abEntry + ENTRY_KEY_OFFSET + nKey, pszHigh);
  abEntry[ENTRY_KEY_OFFSET + 2 * nKey] = nFlags;
  pByLow->Append(abEntry, RangeEntrySize(m_nKeySize));
  m_arZoneSorted.SetAt(1, 0);

  // Zone 3 holds the same range with its two keys exchanged.
  BYTE abLow[255];
  std::memcpy(abLow, abEntry + ENTRY_KEY_OFFSET, nKey);
  std::memmove(abEntry + ENTRY_KEY_OFFSET, abEntry + ENTRY_KEY_OFFSET + nKey, nKey);
  std::memcpy(abEntry + ENTRY_KEY_OFFSET + nKey, abLow, nKey);
  pByHigh->Append(abEntry, RangeEntrySize(m_nKeySize));
  m_arZoneSorted.SetAt(2, 0);
  ++m_nRangeCount;
  return TRUE;
}

BOOL CIndex::EndBuild() {
  if (!IsBuildOpen(*this)) {
    return FALSE;
  }
  if (m_pFile == nullptr) {
    FreeBuild(*this);
    ForgetIndex(*this);
    return FALSE;
  }
  WORD nSavedShare = g_nSortShare;
  BOOL bOK = FALSE;
  try {
    bOK = WriteZones(*this);
  } catch (...) {
    g_nSortShare = nSavedShare;
    FreeBuild(*this);
    ForgetIndex(*this);
    ForgetWindow(*this);
    throw;
  }
  g_nSortShare = nSavedShare;
  FreeBuild(*this);
  if (!bOK) {
    ForgetIndex(*this);
  }
  ForgetWindow(*this);
  return bOK;
}

void CIndex::AbortBuild() {
  if (!m_bBuilding) {
    return;
  }
  FreeBuild(*this);
  ForgetWindow(*this);
  if (m_nPos == 0) {
    // Nothing on file to go back to.
    m_nAnyCount = 0;
    m_nValueCount = 0;
    m_nRangeCount = 0;
  } else {
    ReadHeader();
  }
}
