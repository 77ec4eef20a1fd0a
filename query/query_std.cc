#include "query/query_std.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "frame/monitor.h"
#include "frame/settings.h"
#include "index/column_index.h"
#include "index/exact_search.h"
#include "platform/carchive.h"
#include "table/cat_internal.h"
#include "table/row_table.h"
#include "query/criteria.h"

IMPLEMENT_SERIAL(CQueryStd, CCatStd, 0)

CQueryStd::CQueryStd(const char* pszPath) : CSetStd(pszPath) {}

CQueryStd::CQueryStd(CCatStd* pMaster) : CSetStd(pMaster) {}

CQueryStd::~CQueryStd() {
  for (INT_PTR i = 0; i < m_arCriteria.GetSize(); ++i) {
    delete static_cast<CCriteria*>(m_arCriteria[i]);
  }
  m_arCriteria.RemoveAll();
}

CArchive& operator>>(CArchive& ar, CQueryStd*& pQuery) {
  // The object read is the host's, even when objects loaded before it
  // share it as their master.
  pQuery = static_cast<CQueryStd*>(ReadHostObject(ar, RUNTIME_CLASS(CQueryStd)));
  return ar;
}

namespace {

CCriteria* MakeCriteria(BYTE nType, WORD nCol, BYTE nOp, const char* pszValue,
                        const char* pszLocale) {
  switch (nType) {
    case COL_TYPE_LONG:
      return new CCriteriaLong(nCol, nOp, pszValue, pszLocale);
    case COL_TYPE_REAL:
      return new CCriteriaReal(nCol, nOp, pszValue, pszLocale);
    default:
      return new CCriteriaStr(nCol, nOp, pszValue, pszLocale);
  }
}

// Whether nRow stands in the ascending array pRows.
bool Contains(const CDWordArray* pRows, DWORD nRow) {
  const DWORD* pBegin = pRows->GetData();
  const DWORD* pEnd = pBegin + pRows->GetSize();
  return std::binary_search(pBegin, pEnd, nRow);
}

}  // namespace

CCriteria* CQueryStd::CreateCriteria(WORD nCol, BYTE nOp, const char* pszValue) {
  CString strValue(pszValue);
  strValue.TrimLeft();
  CString strLocale;
  GetLocale(strLocale);
  // A column not yet examined makes GetColType index the table first.
  BYTE nType = GetColType(nCol);
  return MakeCriteria(nType, nCol, nOp, strValue, strLocale);
}

WORD CQueryStd::GetCriteriaCount() { return static_cast<WORD>(m_arCriteria.GetSize()); }

short CQueryStd::AddCriteria(WORD nCol, BYTE nOp, const char* pszValue) {
  if (!IsOpen() || nCol >= static_cast<WORD>(std::max<short>(GetColCount(), 0))) {
    return -1;
  }
  CCriteria* pCriteria = CreateCriteria(nCol, nOp, pszValue);
  INT_PTR nPos = m_arCriteria.Add(pCriteria);
  SetColFlags(nCol, COL_FLAG_INDEXED);
  if (m_arOperators.GetSize() < m_arCriteria.GetSize() - 1) {
    m_arOperators.Add(CRIT_AND);
  }
  m_bDone = FALSE;
  return static_cast<short>(nPos);
}

short CQueryStd::AddOperator(BYTE cOp) { return static_cast<short>(m_arOperators.Add(cOp)); }

BOOL CQueryStd::SetCriteriaValue(short nPos, const char* pszValue) {
  if (nPos < 0 || nPos >= m_arCriteria.GetSize()) {
    return FALSE;
  }
  CString strLocale;
  GetLocale(strLocale);
  CCriteria* pCriteria = static_cast<CCriteria*>(m_arCriteria[nPos]);
  if (!pCriteria->SetValue(pszValue != nullptr ? pszValue : "", strLocale)) {
    return FALSE;
  }
  m_bDone = FALSE;
  return TRUE;
}

BOOL CQueryStd::SetCriteria(short nPos, WORD nCol, BYTE nOp, const char* pszValue) {
  if (!IsOpen() || nCol >= static_cast<WORD>(std::max<short>(GetColCount(), 0)) || nPos < 0 ||
      nPos >= m_arCriteria.GetSize()) {
    return FALSE;
  }
  CCriteria* pOld = static_cast<CCriteria*>(m_arCriteria[nPos]);
  if (pOld->GetCol() == nCol && pOld->GetOp() == nOp) {
    return SetCriteriaValue(nPos, pszValue);
  }
  CCriteria* pNew = CreateCriteria(nCol, nOp, pszValue);
  delete pOld;
  m_arCriteria[nPos] = pNew;
  SetColFlags(nCol, COL_FLAG_INDEXED);
  m_bDone = FALSE;
  return TRUE;
}

BOOL CQueryStd::GetCriteria(short nPos, WORD& nCol, BYTE& nOp, CString& strValue) {
  if (nPos < 0 || nPos >= m_arCriteria.GetSize()) {
    nCol = 0xFFFF;
    nOp = 0;
    strValue.Empty();
    return FALSE;
  }
  static_cast<CCriteria*>(m_arCriteria[nPos])->GetDefinition(nCol, nOp, strValue);
  return TRUE;
}

void CQueryStd::RemoveCriteria(short nPos) {
  if (nPos < 0 || nPos >= m_arCriteria.GetSize()) {
    return;
  }
  delete static_cast<CCriteria*>(m_arCriteria[nPos]);
  m_arCriteria.RemoveAt(nPos);
  // The connectors stay where they are, now between other criteria.
  m_bDone = FALSE;
}

short CQueryStd::ReservedQueryOp(DWORD /*nReserved1*/, DWORD /*nReserved2*/) { return -1; }

BOOL CQueryStd::IndexTable() {
  CCatStd* pRoot = GetRoot();
  if (pRoot->m_bIndexed) {
    return TRUE;
  }
  if (CCatStd::IndexTable()) {
    // A criterion made while its column's type was another (the analysis
    // had not run, or SetColType changed it) is made anew from its text.
    // The stored type is read directly: asking GetColType would index again.
    for (INT_PTR i = 0; i < m_arCriteria.GetSize(); ++i) {
      CCriteria* pCriteria = static_cast<CCriteria*>(m_arCriteria[i]);
      WORD nCol = pCriteria->GetCol();
      BYTE nType = nCol < pRoot->m_arColTypes.GetSize() ? pRoot->m_arColTypes[nCol] : 0;
      BYTE nWanted = nType == COL_TYPE_LONG || nType == COL_TYPE_REAL ? nType : COL_TYPE_STR;
      if (pCriteria->GetType() == nWanted) {
        continue;
      }
      BYTE nOp = 0;
      CString strValue;
      pCriteria->GetDefinition(nCol, nOp, strValue);
      // Made as any new criterion is: its text trimmed on the left.
      CCriteria* pNew = CreateCriteria(nCol, nOp, strValue);
      delete pCriteria;
      m_arCriteria[i] = pNew;
    }
  }
  return pRoot->m_bIndexed;
}

BOOL CQueryStd::Run() {
  CCatStd* pRoot = GetRoot();
  if (m_bDone && pRoot->m_bIndexed) {
    return TRUE;
  }
  m_bDone = FALSE;
  if (!IndexTable()) {
    return FALSE;
  }
  if (CProgressMonitor* pMonitor = GetProgressMonitor()) {
    CString strText;
    pMonitor->GetMessage(MSG_SEARCH_WAIT, strText);
    pMonitor->BeginWait(strText);
  }

  CDWordArray* pBase = GetBaseRows();
  delete m_pRows;
  m_pRows = nullptr;

  // P: the rows so far. At position 0 it is the base, owned elsewhere.
  CDWordArray* pPrevious = pBase;
  std::unique_ptr<CSortDWordArray> pOwned;
  for (INT_PTR nPos = 0; nPos < m_arCriteria.GetSize(); ++nPos) {
    CCriteria* pCriteria = static_cast<CCriteria*>(m_arCriteria[nPos]);
    WORD nCol = 0;
    BYTE nOp = 0;
    const void* pKey = nullptr;
    pCriteria->GetKey(nCol, nOp, pKey);
    BYTE cConnector = nPos == 0 ? CRIT_AND : m_arOperators.GetAt(nPos - 1);
    bool bOr = cConnector == CRIT_OR;
    bool bFree = bOr || pPrevious == nullptr;  // hits need not stand in P

    auto pResult = std::make_unique<CSortDWordArray>();
    std::vector<DWORD> arRows;
    CIndex* pIndex = pRoot->GetColIndex(nCol);
    if (pIndex != nullptr) {
      bool bDifferent = nOp == CRIT_DIFFERENT;
      BYTE nWalkOp = bDifferent ? CRIT_EQUAL : nOp;
      std::vector<DWORD> arHits;
      if (GetExactSearch()) {
        FindExact(*pIndex, pKey, nWalkOp, arHits);
      } else {
        for (BOOL bFound = pIndex->Find(pKey, nWalkOp, TRUE); bFound;
             bFound = pIndex->Find(pKey, nWalkOp, FALSE)) {
          arHits.push_back(static_cast<DWORD>(pIndex->GetRow()));
        }
      }
      if (!bDifferent) {
        for (DWORD nRow : arHits) {
          if (bFree || Contains(pPrevious, nRow)) {
            arRows.push_back(nRow);
          }
        }
      } else {
        // Every row of the table that is no hit of "equal", however often
        // it was hit.
        std::sort(arHits.begin(), arHits.end());
        DWORD nCount = pRoot->GetRowCount();
        size_t nCursor = 0;
        for (DWORD nRow = 0; nRow < nCount; ++nRow) {
          while (nCursor < arHits.size() && arHits[nCursor] < nRow) {
            ++nCursor;
          }
          if (nCursor < arHits.size() && arHits[nCursor] == nRow) {
            continue;
          }
          if (bFree || Contains(pPrevious, nRow)) {
            arRows.push_back(nRow);
          }
        }
      }
      std::sort(arRows.begin(), arRows.end());
    }
    pResult->SetSize(static_cast<INT_PTR>(arRows.size()));
    if (!arRows.empty()) {
      std::copy(arRows.begin(), arRows.end(), pResult->GetData());
    }
    if (pPrevious != nullptr && bOr) {
      pResult->Merge(pPrevious, TRUE);
    }
    pOwned = std::move(pResult);  // the P of the step before goes here
    pPrevious = pOwned.get();
  }
  m_pRows = pOwned.release();
  m_bDone = TRUE;
  // The rows found are about to be read by number: their entries of the
  // row table are fetched ahead, all at once.
  if (m_pRows != nullptr && pRoot->m_fileSide.IsOpen()) {
    PrefetchRowEntries(&pRoot->m_fileSide, pRoot->m_nRowTablePos, m_pRows->GetData(),
                       m_pRows->GetSize());
  }

  if (CProgressMonitor* pMonitor = GetProgressMonitor()) {
    pMonitor->EndWait();
  }
  return TRUE;
}

void CQueryStd::Serialize(CArchive& ar) {
  CSetStd::Serialize(ar);
  if (ar.IsStoring()) {
    ar << static_cast<BYTE>(1);
    ar << static_cast<WORD>(m_arCriteria.GetSize());
    for (INT_PTR i = 0; i < m_arCriteria.GetSize(); ++i) {
      CCriteria* pCriteria = static_cast<CCriteria*>(m_arCriteria[i]);
      ar << pCriteria->m_nCol;
      ar << pCriteria->m_nOp;
      ar << pCriteria->m_strValue;
    }
    m_arOperators.Serialize(ar);
  } else {
    BYTE nVersion = 0;
    ar >> nVersion;  // not looked at
    WORD nCount = 0;
    ar >> nCount;
    // The present criteria go; the done flag read above stays unless a
    // record is added below.
    for (INT_PTR i = 0; i < m_arCriteria.GetSize(); ++i) {
      delete static_cast<CCriteria*>(m_arCriteria[i]);
    }
    m_arCriteria.RemoveAll();
    for (WORD i = 0; i < nCount; ++i) {
      WORD nCol = 0;
      BYTE nOp = 0;
      CString strValue;
      ar >> nCol;
      ar >> nOp;
      ar >> strValue;
      // A closed table or a column that is gone drops the record.
      AddCriteria(nCol, nOp, strValue);
    }
    m_arOperators.Serialize(ar);
  }
}
