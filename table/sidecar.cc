#include "frame/lorn_defs.h"
#include "platform/carchive.h"
#include "table/cat_std.h"
#include "table/sidecar_check.h"
#include "table/sidecar_format.h"

void WriteSideHeader(CCatStd& table, BYTE nVersion) {
  CFile& file = table.m_fileSide;
  if (!file.IsOpen()) {
    return;
  }
  CString strLocale;
  table.GetLocale(strLocale);
  // The row table stands right behind the header and does not move with
  // it: a header of another length (an older version, another locale) can
  // only come with a sidecar built anew. Dropping it closes the file, which
  // tells the caller.
  const DWORD nSize = SideHeaderSize(static_cast<DWORD>(table.m_arColTypes.GetSize()),
                                     static_cast<DWORD>(table.m_arColSizes.GetSize()),
                                     static_cast<DWORD>(table.m_arColIndexPos.GetSize()),
                                     static_cast<DWORD>(strLocale.GetLength()));
  if (file.GetLength() > 0 && nSize != table.m_nRowTablePos) {
    table.DropSide();
    return;
  }
  file.Seek(0, CFile::begin);
  CArchive ar(&file, CArchive::store, SIDE_ARCHIVE_BUFFER);
  ar << nVersion << table.m_tStamp;
  table.m_arColTypes.Serialize(ar);
  table.m_arColSizes.Serialize(ar);
  table.m_arColIndexPos.Serialize(ar);
  ar << strLocale;
  ar << table.m_nRows;
  ar.Close();
  table.m_nRowTablePos = static_cast<DWORD>(file.GetPosition());
}

void CommitSide(CFile& file) {
  if (!file.IsOpen()) {
    return;
  }
  file.Flush();
  file.Seek(0, CFile::begin);
  const BYTE nVersion = SIDE_VERSION;
  file.Write(&nVersion, 1);
}

void CCatStd::SaveSide() {
  WriteSideHeader(*this, SIDE_VERSION);
}

void CCatStd::LoadSide() {
  if (!m_fileSide.IsOpen()) {
    return;
  }
  m_fileSide.Seek(0, CFile::begin);
  BYTE nVersion = 0;
  DWORD tStored = 0;
  BOOL bLocaleOk = TRUE;
  BOOL bWhole = TRUE;
  try {
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
  } catch (const CArchiveException&) {
    // A header cut short: what a run that died before its first write was
    // whole leaves behind. Such a sidecar is built anew like any other that
    // does not fit.
    bWhole = FALSE;
  }
  m_nRowTablePos = static_cast<DWORD>(m_fileSide.GetPosition());

  // The arrays must describe exactly the columns of the header line; the
  // stamp alone does not vouch for a file that was written by anyone else.
  const INT_PTR nCols = GetColCount();
  const BOOL bFits = bWhole && m_arColTypes.GetSize() == nCols && m_arColSizes.GetSize() == nCols &&
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
  if (!bFits || !bVersionOk || !SameFileTime(tStored, m_tStamp) || !bLocaleOk ||
      !SideStructureOk(*this)) {
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
