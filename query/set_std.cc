#include "query/set_std.h"

#include "platform/carchive.h"

CSetStd::CSetStd(const char* pszPath)
    : CCatStd(pszPath), m_bDone(FALSE), m_pRestriction(nullptr), m_pRows(nullptr) {}

CSetStd::CSetStd(CCatStd* pMaster)
    : CCatStd(pMaster), m_bDone(FALSE), m_pRestriction(nullptr), m_pRows(nullptr) {}

CSetStd::~CSetStd() {
  delete m_pRows;
  m_pRows = nullptr;
  delete m_pRestriction;
  m_pRestriction = nullptr;
}

BOOL CSetStd::IsTable() { return FALSE; }

CSetStd* CCatStd::GetMasterSet() {
  if (m_pMaster != nullptr && !m_pMaster->IsTable()) {
    return static_cast<CSetStd*>(m_pMaster);
  }
  return nullptr;
}

void CSetStd::Serialize(CArchive& ar) {
  CCatStd::Serialize(ar);
  if (ar.IsStoring()) {
    ar << static_cast<BYTE>(1);
    ar << static_cast<WORD>(m_bDone);
    ar << static_cast<WORD>(m_pRestriction != nullptr ? 1 : 0);
    if (m_pRestriction != nullptr) {
      m_pRestriction->Serialize(ar);
    }
    BOOL bRows = m_bDone && m_pRows != nullptr && m_pRows->GetSize() > 0;
    ar << static_cast<WORD>(bRows ? 1 : 0);
    if (bRows) {
      m_pRows->Serialize(ar);
    }
  } else {
    BYTE nVersion = 0;
    ar >> nVersion;  // not looked at
    WORD nWord = 0;
    ar >> nWord;
    m_bDone = nWord;
    ar >> nWord;
    if (nWord != 0) {
      if (m_pRestriction == nullptr) {
        m_pRestriction = new CSortDWordArray;
      }
      m_pRestriction->Serialize(ar);
    }
    ar >> nWord;
    if (nWord != 0) {
      if (m_pRows == nullptr) {
        m_pRows = new CSortDWordArray;
      }
      m_pRows->Serialize(ar);
    }
  }
}

CDWordArray* CSetStd::GetRows() { return Run() ? m_pRows : nullptr; }

CDWordArray* CSetStd::GetSourceRows() { return GetRows(); }

WORD CSetStd::GetCount() {
  if (!Run() || m_pRows == nullptr) {
    return 0;
  }
  return static_cast<WORD>(m_pRows->GetSize());
}

BOOL CSetStd::GetRowCells(short nIndex, CStringArray* pCells) {
  if (!Run() || nIndex < 0 || m_pRows == nullptr || nIndex >= m_pRows->GetSize() ||
      pCells == nullptr) {
    return FALSE;
  }
  return ReadRow(m_pRows->GetAt(nIndex), *pCells);
}

void CSetStd::Refresh(DWORD /*nReserved1*/, DWORD /*nReserved2*/) { Run(); }

DWORD CSetStd::GetRowAt(short nIndex) {
  if (!Run() || nIndex < 0) {
    return 0xFFFFFFFF;
  }
  // The count reads as a signed 16-bit number: a set of 32,768 rows or more
  // gives no row by position.
  if (nIndex >= static_cast<short>(GetCount())) {
    return 0xFFFFFFFF;
  }
  return m_pRows->GetAt(nIndex);
}

BOOL CSetStd::SetMaster(CCatStd* pMaster) { return CCatStd::SetMaster(pMaster); }

void CSetStd::SetRestriction(const CDWordArray* pRows) {
  if (m_pRestriction == nullptr) {
    m_pRestriction = new CSortDWordArray;
  }
  m_pRestriction->RemoveAll();
  if (pRows != nullptr) {
    m_pRestriction->Copy(*pRows);
  }
  m_pRestriction->Sort();
  m_bDone = FALSE;
}

void CSetStd::Invalidate() { m_bDone = FALSE; }

BOOL CSetStd::IsDone() { return m_bDone && GetRoot()->IsIndexed() ? TRUE : FALSE; }

CDWordArray* CSetStd::GetBaseRows() {
  if (m_pRestriction != nullptr) {
    return m_pRestriction;
  }
  CSetStd* pMasterSet = GetMasterSet();
  if (pMasterSet != nullptr) {
    return pMasterSet->GetSourceRows();
  }
  return nullptr;
}
