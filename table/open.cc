#include <cstdint>

#include "frame/lorn_defs.h"
#include "platform/time_zone.h"
#include "table/cat_std.h"

namespace {

// Table files and sidecars are read by any number of readers at once, and by
// no writer meanwhile.
constexpr UINT FILE_READ = CFile::modeRead | CFile::shareDenyWrite;

constexpr char PATH_SEP = '/';
constexpr DWORD SECONDS_PER_HOUR = 3600;

// The stamp of a table file: the low 32 bits of its modification time in
// seconds, minus the time zone's standard offset (seconds west of UTC), so
// that it matches the value sidecars hold.
DWORD MakeStamp(const CFile& file) {
  CFileStatus status;
  if (!file.GetStatus(status)) {
    return 0;
  }
  const DWORD nLow = static_cast<DWORD>(static_cast<uint64_t>(status.m_mtime.GetTime()));
  return nLow - static_cast<DWORD>(GetTimeZoneBias());
}

}  // namespace

BOOL CCatStd::SameFileTime(DWORD a, DWORD b) {
  if (a == b) {
    return TRUE;
  }
  int64_t nDiff = static_cast<int32_t>(a - b);
  if (nDiff < 0) {
    nDiff = -nDiff;
  }
  return nDiff % SECONDS_PER_HOUR == 0 ? TRUE : FALSE;
}

BOOL FileExists(const char* pszPath) {
  if (pszPath == nullptr || *pszPath == '\0') {
    return FALSE;
  }
  CFileStatus status;
  return CFile::GetStatus(pszPath, status);
}

BOOL CCatStd::Open(const char* pszPath) {
  // Leave the chain: from here on this object is a root.
  LeaveMaster();

  CString strPath;
  BOOL bNew = FALSE;
  if (pszPath != nullptr && *pszPath != '\0') {
    strPath = pszPath;
    bNew = strPath != m_strDir + m_strName;
    if (bNew) {
      Close();
      m_tStamp = 0;
    }
  } else {
    if (m_strName.IsEmpty()) {
      return FALSE;
    }
    strPath = m_strDir + m_strName;
  }

  // The sidecar's name carries the locale behind "|": a table whose own file
  // name holds one would name another file as its sidecar.
  if (strPath.Mid(strPath.ReverseFind(PATH_SEP) + 1).Find(LOCALE_SEP) >= 0) {
    return FALSE;
  }

  // Whatever made this object, reading needs the shared buffer; the last
  // object alive frees it.
  if (s_pBuffer == nullptr) {
    s_pBuffer = new BYTE[LINE_BUFFER_SIZE];
  }

  const BOOL bWasOpen = m_bOpen;
  if (!bWasOpen) {
    CFileException error;
    if (!m_fileData.Open(strPath, FILE_READ, &error)) {
      return FALSE;
    }
  }

  DWORD tStamp = m_tStamp;
  if (!bWasOpen) {
    tStamp = MakeStamp(m_fileData);
    m_bOpen = TRUE;
    if (bNew) {
      const int nSep = strPath.ReverseFind(PATH_SEP);
      m_strDir = strPath.Left(nSep + 1);
      m_strName = strPath.Mid(nSep + 1);
      // One sidecar serves both forms of a table: stem, dot, "SDX".
      const int nDot = m_strName.ReverseFind('.');
      m_strSideName = m_strName.Left(nDot + 1) + "SDX";
      CString strExt = m_strName.Mid(nDot + 1);
      strExt.MakeUpper();
      m_bScrambled = strExt == "SDC" ? TRUE : FALSE;
    }
  }

  CString strSide;
  GetSidePath(strSide, TRUE);
  const BOOL bChanged = !bNew && !SameFileTime(m_tStamp, tStamp);

  // An exception from here on (a file error, a header cell too long for the
  // buffer) passes on with the table closed, so that no half-read state is
  // taken for an open table.
  try {
    if (bNew || (!bChanged && !m_bIndexed)) {
      m_bIndexed = FileExists(strSide);
      if (m_bIndexed) {
        CFileException error;
        if (!m_fileSide.Open(strSide, FILE_READ, &error)) {
          Close();
          return FALSE;
        }
      } else {
        CString strLocale;
        SetLocale(GetDefaultLocale(strLocale));
      }
    }

    if (bNew || bChanged) {
      SeekLine(0);
      ReadLine(m_arColNames, 0, nullptr);
      const short nCols = GetColCount();
      if (nCols == 0) {
        Close();
        Reset();
        return FALSE;
      }
      m_mapColNames.RemoveAll();
      for (short nCol = 0; nCol < nCols; ++nCol) {
        CString strKey = m_arColNames[nCol];
        strKey.MakeUpper();
        m_mapColNames.SetAt(strKey, reinterpret_cast<void*>(static_cast<INT_PTR>(nCol)));
      }
      m_nDataPos = m_nFilePos;
      m_tStamp = tStamp;
      // The file changed under the table: what the sidecar knows is void.
      if (!bNew && !DropSide()) {
        Close();
        return FALSE;
      }
    }

    LoadSide();
  } catch (...) {
    Close();
    throw;
  }

  const short nCols = GetColCount();
  if (!m_bIndexed) {
    m_arColTypes.RemoveAll();
    m_arColTypes.SetSize(nCols);
    m_arColSizes.RemoveAll();
    m_arColSizes.SetSize(nCols);
    m_arColIndexPos.RemoveAll();
    m_arColIndexPos.SetSize(nCols);
    m_arColFlags.SetSize(nCols);
    m_nRows = 0;
  }
  if (bNew || !m_bIndexed) {
    FreeColIndexes();
  }
  return m_bOpen;
}
