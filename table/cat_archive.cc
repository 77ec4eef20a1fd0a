// What a table stores of itself in an archive, and how it comes back.
//
//   size     field
//   1        version, 1 (not looked at on loading)
//   2        low 16 bits of m_bOpen
//   string   m_strDir     } only when m_bOpen is set
//   string   m_strName    }
//   pointer  m_pMaster, as an archive object, only when m_bOpen is not set
//
// An open root stores its path; a chained object stores its master and
// through it the chain up to the root; a closed root stores a null pointer.
// Derived classes store this first and add their own fields behind it.
#include "frame/settings.h"
#include "platform/carchive.h"
#include "platform/exceptions.h"
#include "table/cat_std.h"

namespace {

constexpr BYTE TABLE_ARCHIVE_VERSION = 1;
constexpr char PATH_SEP = '/';

}  // namespace

void CCatStd::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << TABLE_ARCHIVE_VERSION;
    ar << static_cast<WORD>(static_cast<DWORD>(m_bOpen) & 0xFFFF);
    if (m_bOpen) {
      ar << m_strDir;
      ar << m_strName;
    } else {
      ar.WriteObject(m_pMaster);
    }
    return;
  }

  Close();
  BYTE nVersion = 0;
  WORD nOpen = 0;
  ar >> nVersion >> nOpen;
  if (nOpen != 0) {
    CString strDir;
    CString strName;
    ar >> strDir;
    const CString& strCatalog = SettingCatalogDir();
    if (!strCatalog.IsEmpty()) {
      strDir = strCatalog;
      if (strDir[strDir.GetLength() - 1] != PATH_SEP) {
        strDir += PATH_SEP;
      }
    }
    ar >> strName;
    // Whether it opened is for the caller to ask (IsOpen): a table whose
    // file has gone loads closed.
    Open(strDir + strName);
    return;
  }

  // A master that this very read creates is shared by the objects chained
  // to it (see cat_std.h); one read before is already someone's.
  const short nInstancesBefore = s_nInstances;
  CCatStd* pMaster = static_cast<CCatStd*>(ar.ReadObject(RUNTIME_CLASS(CCatStd)));
  if (pMaster == nullptr) {
    return;
  }
  const BOOL bMadeHere = s_nInstances != nInstancesBefore;
  // An archive can name this object as a master of its own master. That
  // link is cut so that the chain has a root.
  for (CCatStd* pLink = pMaster; pLink != nullptr; pLink = pLink->m_pMaster) {
    if (pLink->m_pMaster == this) {
      pLink->SetMaster(nullptr);
      break;
    }
  }
  SetMaster(pMaster);
  if (bMadeHere && m_pMaster == pMaster && !m_bOwnsMaster) {
    ++pMaster->m_nArchiveRefs;
    m_bOwnsMaster = TRUE;
  }
}

CCatStd* ReadHostObject(CArchive& ar, const CRuntimeClass* pClass) {
  if (pClass == nullptr || !pClass->IsDerivedFrom(RUNTIME_CLASS(CCatStd))) {
    AfxThrowInvalidArgException();
  }
  CCatStd* pTable = static_cast<CCatStd*>(ar.ReadObject(pClass));
  if (pTable != nullptr && pTable->m_nArchiveRefs > 0) {
    // The host owns it now: the objects chained to it no longer do.
    pTable->m_nArchiveRefs = 0;
    for (INT_PTR nSlot = 0; nSlot < pTable->m_arViews.GetSize(); ++nSlot) {
      CCatStd* pView = static_cast<CCatStd*>(pTable->m_arViews[nSlot]);
      if (pView != nullptr) {
        pView->m_bOwnsMaster = FALSE;
      }
    }
  }
  return pTable;
}

CArchive& operator>>(CArchive& ar, CCatStd*& pTable) {
  pTable = ReadHostObject(ar, RUNTIME_CLASS(CCatStd));
  return ar;
}
