#include "table/cat_std.h"

#include <cstring>

#include "index/column_index.h"
#include "platform/ctype_locale.h"

IMPLEMENT_SERIAL(CCatStd, CObject, 0)

char CCatStd::s_szDefLocale[8] = {};
short CCatStd::s_nInstances = 0;
BYTE CCatStd::s_bDefLocaleSet = 0;
BYTE* CCatStd::s_pBuffer = nullptr;

namespace {

// Separates the sidecar's name from the table's locale in m_strSideName.
constexpr WORD NO_SLOT = 0xFFFF;

// Counts the instance out; the last one alive takes the line buffer along.
void ReleaseInstance() {
  if (--CCatStd::s_nInstances <= 0) {
    CCatStd::s_nInstances = 0;
    delete[] CCatStd::s_pBuffer;
    CCatStd::s_pBuffer = nullptr;
  }
}

}  // namespace

CCatStd::CCatStd(const char* pszPath) {
  if (s_pBuffer == nullptr) {
    s_pBuffer = new BYTE[LINE_BUFFER_SIZE];
  }
  ++s_nInstances;
  Reset();
  CopySettings();
  if (pszPath != nullptr) {
    // An exception from Open (a sidecar too short for its header, a header
    // cell too long for the buffer) leaves no half-made object behind.
    try {
      Open(pszPath);
    } catch (...) {
      Close();
      Reset();
      ReleaseInstance();
      throw;
    }
  }
}

CCatStd::CCatStd(CCatStd* pMaster) {
  ++s_nInstances;
  Reset();
  CopySettings();
  SetMaster(pMaster);
}

CCatStd::~CCatStd() {
  Close();
  if (m_pMaster != nullptr) {
    m_pMaster->RemoveView(static_cast<short>(m_nViewSlot));
    // The slot may be handed to a view that moves up below.
    m_nViewSlot = NO_SLOT;
  }
  // The views take the table over; the size is read afresh, as a view that
  // opens the table by itself leaves the array meanwhile. A view whose own
  // opening fails is left as an unchained, closed object.
  for (INT_PTR nSlot = 0; nSlot < m_arViews.GetSize(); ++nSlot) {
    CCatStd* pView = static_cast<CCatStd*>(m_arViews[nSlot]);
    if (pView == nullptr) {
      continue;
    }
    try {
      pView->DetachMaster();
    } catch (const CException&) {
      if (pView->m_pMaster == this) {
        pView->m_pMaster = nullptr;
        pView->m_nViewSlot = NO_SLOT;
        pView->m_bOwnsMaster = FALSE;
      }
    }
  }
  LeaveMaster();
  Reset();
  ReleaseInstance();
}

BOOL CCatStd::IsTable() {
  return TRUE;
}

CCatStd* CCatStd::GetRoot() {
  CCatStd* pRoot = this;
  while (pRoot->m_pMaster != nullptr) {
    pRoot = pRoot->m_pMaster;
  }
  return pRoot;
}

BOOL CCatStd::IsOpen() {
  return GetRoot()->m_bOpen;
}

BOOL CCatStd::IsScrambled() {
  return GetRoot()->m_bScrambled;
}

BOOL CCatStd::IsIndexed() {
  return GetRoot()->m_bIndexed;
}

short CCatStd::GetColCount() {
  return static_cast<short>(GetRoot()->m_arColNames.GetSize());
}

DWORD CCatStd::GetRowCount() {
  CCatStd* pRoot = GetRoot();
  if (pRoot->m_nRows == 0) {
    pRoot->IndexTable();
  }
  return pRoot->m_nRows;
}

CCatStd* CCatStd::GetMaster() {
  return m_pMaster;
}

void CCatStd::GetPath(CString& strPath) {
  CCatStd* pRoot = GetRoot();
  strPath = pRoot->m_strDir + pRoot->m_strName;
}

void CCatStd::GetSidePath(CString& strPath, BOOL bFull) {
  if (m_pMaster != nullptr) {
    m_pMaster->GetSidePath(strPath, TRUE);
    return;
  }
  const int nSep = m_strSideName.Find(LOCALE_SEP);
  strPath = nSep < 0 ? m_strSideName : m_strSideName.Left(nSep);
  if (bFull) {
    strPath = m_strDir + strPath;
  }
}

const char* CCatStd::GetLocale(CString& strLocale) {
  const int nSep = m_strSideName.Find(LOCALE_SEP);
  if (nSep < 0) {
    strLocale.Empty();
  } else {
    strLocale = m_strSideName.Mid(nSep + 1);
  }
  return strLocale;
}

BOOL CCatStd::SetLocale(const char* pszLocale) {
  if (pszLocale == nullptr) {
    return FALSE;
  }
  CString strLocale;
  GetLocale(strLocale);
  if (strLocale.CompareNoCase(pszLocale) == 0) {
    return TRUE;
  }
  if (!IsLocaleValid(pszLocale)) {
    return FALSE;
  }
  CString strSide;
  GetSidePath(strSide, FALSE);
  m_strSideName = strSide + LOCALE_SEP + pszLocale;
  return TRUE;
}

BOOL IsLocaleValid(const char* pszLocale) {
  if (pszLocale == nullptr || std::strlen(pszLocale) >= sizeof(CCatStd::s_szDefLocale)) {
    return FALSE;
  }
  const CString strSaved = SetCtypeLocale(nullptr);
  if (SetCtypeLocale(pszLocale) == nullptr) {
    return FALSE;
  }
  SetCtypeLocale(strSaved);
  return TRUE;
}

const char* GetDefaultLocale(CString& strLocale) {
  strLocale = CCatStd::s_szDefLocale;
  return strLocale;
}

void CCatStd::GetColName(WORD nCol, CString& strName) {
  strName.Empty();
  CCatStd* pRoot = GetRoot();
  if (nCol < pRoot->m_arColNames.GetSize()) {
    strName = pRoot->m_arColNames[nCol];
  }
}

short CCatStd::FindCol(const char* pszName) {
  if (pszName == nullptr) {
    return -1;
  }
  CString strKey = pszName;
  strKey.MakeUpper();
  void* pValue = nullptr;
  if (!GetRoot()->m_mapColNames.Lookup(strKey, pValue)) {
    return -1;
  }
  return static_cast<short>(reinterpret_cast<INT_PTR>(pValue));
}

void CCatStd::FreeColIndexes() {
  for (INT_PTR nCol = 0; nCol < m_arColIndexes.GetSize(); ++nCol) {
    delete static_cast<CIndex*>(m_arColIndexes[nCol]);
  }
  m_arColIndexes.RemoveAll();
  m_arColIndexes.SetSize(GetColCount());
}

void CCatStd::Close() {
  if (!m_bOpen) {
    return;
  }
  // The table file is only read; the sidecar is written unbuffered, so its
  // errors have surfaced at the writes. Closing reports nothing.
  m_fileData.Abort();
  m_fileSide.Abort();
  m_bOpen = FALSE;
  m_bIndexed = FALSE;
}

void CCatStd::Reset() {
  m_strDir.Empty();
  m_strName.Empty();
  m_strSideName.Empty();
  m_bOpen = FALSE;
  m_tStamp = 0;
  m_nDataPos = 0;
  m_nRowTablePos = 0;
  m_nRows = 0;
  m_bIndexed = FALSE;
  m_nFilePos = 0;
  m_nBufEnd = 0;
  m_nBufPos = 0;
  m_bScrambled = FALSE;
  m_arColNames.RemoveAll();
  m_mapColNames.RemoveAll();
  m_arColFlags.RemoveAll();
  m_arColTypes.RemoveAll();
  m_arColSizes.RemoveAll();
  m_arColIndexPos.RemoveAll();
  // Leaving properly keeps the master's list free of a stale pointer.
  LeaveMaster();
  FreeColIndexes();
}

void CCatStd::LeaveMaster() {
  CCatStd* pMaster = m_pMaster;
  if (pMaster == nullptr) {
    return;
  }
  pMaster->RemoveView(static_cast<short>(m_nViewSlot));
  m_pMaster = nullptr;
  m_nViewSlot = NO_SLOT;
  if (m_bOwnsMaster) {
    m_bOwnsMaster = FALSE;
    if (pMaster->m_nArchiveRefs > 0 && --pMaster->m_nArchiveRefs == 0) {
      delete pMaster;
    }
  }
}

BOOL CCatStd::SetMaster(CCatStd* pMaster) {
  if (pMaster == m_pMaster) {
    return TRUE;
  }
  // A chain that would lead back to this object is refused: it has no root.
  for (CCatStd* pLink = pMaster; pLink != nullptr; pLink = pLink->m_pMaster) {
    if (pLink == this) {
      return FALSE;
    }
  }
  Close();
  // The new link is made before the old one goes: giving up a share may
  // delete the old master and with it masters further up, and the new master
  // must by then know this object as its view.
  CCatStd* pOld = m_pMaster;
  const WORD nOldSlot = m_nViewSlot;
  const BOOL bOwnedOld = m_bOwnsMaster;
  m_pMaster = pMaster;
  m_nViewSlot = pMaster != nullptr ? pMaster->AddView(this) : NO_SLOT;
  m_bOwnsMaster = FALSE;
  if (pMaster != nullptr && pMaster->m_nArchiveRefs > 0) {
    ++pMaster->m_nArchiveRefs;
    m_bOwnsMaster = TRUE;
  }
  if (pOld != nullptr) {
    pOld->RemoveView(static_cast<short>(nOldSlot));
    if (bOwnedOld && pOld->m_nArchiveRefs > 0 && --pOld->m_nArchiveRefs == 0) {
      delete pOld;
    }
  }
  if (m_pMaster == nullptr) {
    return FALSE;
  }
  return IsOpen();
}

void CCatStd::CopyFrom(CCatStd* pSource) {
  if (pSource == nullptr) {
    return;
  }
  Close();
  // Taken before Open: leaving the chain may give up the last share in an
  // archive-made source, which then goes.
  CString strPath;
  pSource->GetPath(strPath);
  CByteArray arFlags;
  CByteArray arTypes;
  CByteArray arSizes;
  arFlags.Copy(pSource->m_arColFlags);
  arTypes.Copy(pSource->m_arColTypes);
  arSizes.Copy(pSource->m_arColSizes);
  Open(strPath);
  m_arColFlags.Copy(arFlags);
  m_arColTypes.Copy(arTypes);
  m_arColSizes.Copy(arSizes);
}

void CCatStd::DetachMaster() {
  CCatStd* pMaster = m_pMaster;
  // The master is going: there is no share in it left to give up.
  m_bOwnsMaster = FALSE;
  if (pMaster == nullptr) {
    m_nViewSlot = NO_SLOT;
    return;
  }
  CCatStd* pUp = pMaster->m_pMaster;
  if (pUp != nullptr) {
    m_pMaster = pUp;
    m_nViewSlot = pUp->AddView(this);
    if (pUp->m_nArchiveRefs > 0) {
      ++pUp->m_nArchiveRefs;
      m_bOwnsMaster = TRUE;
    }
    return;
  }
  pMaster->Close();
  CopyFrom(pMaster);
  m_pMaster = nullptr;
  m_nViewSlot = NO_SLOT;
}

WORD CCatStd::AddView(CCatStd* pView) {
  for (INT_PTR nSlot = 0; nSlot < m_arViews.GetSize(); ++nSlot) {
    if (m_arViews[nSlot] == nullptr) {
      m_arViews[nSlot] = pView;
      return static_cast<WORD>(nSlot);
    }
  }
  return static_cast<WORD>(m_arViews.Add(pView));
}

void CCatStd::RemoveView(short nSlot) {
  if (nSlot < 0 || nSlot >= m_arViews.GetSize()) {
    return;
  }
  m_arViews[nSlot] = nullptr;
  INT_PTR nSize = m_arViews.GetSize();
  while (nSize > 0 && m_arViews[nSize - 1] == nullptr) {
    --nSize;
  }
  m_arViews.SetSize(nSize);
}
