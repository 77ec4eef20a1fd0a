#include "frame/lorn_defs.h"
#include "platform/carchive.h"
#include "table/cat_std.h"
#include "table/sidecar_format.h"

void CCatStd::SaveSide() {
  if (!m_fileSide.IsOpen()) {
    return;
  }
  CString strLocale;
  GetLocale(strLocale);
  // The row table stands right behind the header and does not move with
  // it: a header of another length (an older version, another locale) can
  // only come with a sidecar built anew. Dropping it closes m_fileSide,
  // which tells the caller.
  const DWORD nSize = SideHeaderSize(
      static_cast<DWORD>(m_arColTypes.GetSize()), static_cast<DWORD>(m_arColSizes.GetSize()),
      static_cast<DWORD>(m_arColIndexPos.GetSize()), static_cast<DWORD>(strLocale.GetLength()));
  if (m_fileSide.GetLength() > 0 && nSize != m_nRowTablePos) {
    DropSide();
    return;
  }
  m_fileSide.Seek(0, CFile::begin);
  CArchive ar(&m_fileSide, CArchive::store, SIDE_ARCHIVE_BUFFER);
  ar << SIDE_VERSION << m_tStamp;
  m_arColTypes.Serialize(ar);
  m_arColSizes.Serialize(ar);
  m_arColIndexPos.Serialize(ar);
  ar << strLocale;
  ar << m_nRows;
  ar.Close();
  m_nRowTablePos = static_cast<DWORD>(m_fileSide.GetPosition());
}

void CCatStd::LoadSide() {
  if (!m_fileSide.IsOpen()) {
    return;
  }
  m_fileSide.Seek(0, CFile::begin);
  BYTE nVersion = 0;
  DWORD tStored = 0;
  BOOL bLocaleOk = TRUE;
  {
    CArchive ar(&m_fileSide, CArchive::load, SIDE_ARCHIVE_BUFFER);
    ar >> nVersion >> tStored;
    m_arColTypes.Serialize(ar);
    m_arColSizes.Serialize(ar);
    m_arColIndexPos.Serialize(ar);
    if (nVersion >= SIDE_VERSION) {
      CString strLocale;
      ar >> strLocale;
      if (!strLocale.IsEmpty()) {
        bLocaleOk = IsLocaleValid(strLocale);
        if (bLocaleOk) {
          SetLocale(strLocale);
        }
      }
    }
    ar >> m_nRows;
    if (nVersion == SIDE_VERSION_EXTRA_WORD) {
      WORD nIgnored = 0;
      ar >> nIgnored;
    }
    // Closing a loading archive gives back what it read ahead: the file
    // stands right behind the header.
    ar.Close();
  }
  m_nRowTablePos = static_cast<DWORD>(m_fileSide.GetPosition());

  // The arrays must describe exactly the columns of the header line; the
  // stamp alone does not vouch for a file that was written by anyone else.
  const INT_PTR nCols = GetColCount();
  const BOOL bFits = m_arColTypes.GetSize() == nCols && m_arColSizes.GetSize() == nCols &&
                     m_arColIndexPos.GetSize() == nCols;
  if (bFits) {
    m_arColFlags.SetSize(nCols);
    for (INT_PTR nCol = 0; nCol < nCols; ++nCol) {
      if (m_arColIndexPos[nCol] != 0) {
        m_arColFlags[nCol] = COL_FLAG_INDEXED;
      }
    }
  }
  const BOOL bVersionOk = nVersion == SIDE_VERSION || nVersion == SIDE_VERSION_NO_LOCALE;
  if (!bFits || !bVersionOk || !SameFileTime(tStored, m_tStamp) || !bLocaleOk) {
    DropSide();
  }
}

BOOL CCatStd::DropSide() {
  if (m_pMaster != nullptr) {
    return m_pMaster->DropSide();
  }
  m_bIndexed = FALSE;
  m_arColIndexPos.RemoveAll();
  m_arColIndexPos.SetSize(GetColCount());
  FreeColIndexes();

  CString strSide;
  GetSidePath(strSide, FALSE);
  BOOL bExists = FALSE;
  if (!strSide.IsEmpty()) {
    GetSidePath(strSide, TRUE);
    CFileStatus status;
    bExists = CFile::GetStatus(strSide, status);
    // A read-only sidecar stays as it is, open or not; so does anything
    // else that cannot be removed as a file.
    if (bExists && (status.m_attribute & (CFile::readOnly | CFile::directory)) != 0) {
      return FALSE;
    }
  }
  // The file goes; nothing written to it can matter any more.
  if (m_fileSide.IsOpen()) {
    m_fileSide.Abort();
  }
  m_nRowTablePos = 0;
  if (bExists) {
    CFile::Remove(strSide);
  }
  return TRUE;
}
