#include "query/result_std.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/carchive.h"
#include "table/cat_internal.h"

IMPLEMENT_SERIAL(CResultStd, CCatStd, 0)

CResultStd::CResultStd(const char* pszPath) : CSetStd(pszPath) {}

CResultStd::CResultStd(CCatStd* pMaster, CStringArray* pNames) : CSetStd(pMaster) {
  if (pNames != nullptr) {
    SetColumns(pNames);
  }
}

CResultStd::~CResultStd() = default;

CArchive& operator>>(CArchive& ar, CResultStd*& pResult) {
  // The object read is the host's, even when objects loaded before it
  // share it as their master.
  pResult = static_cast<CResultStd*>(ReadHostObject(ar, RUNTIME_CLASS(CResultStd)));
  return ar;
}

WORD CResultStd::SetColumns(CStringArray* pNames) {
  std::vector<WORD> arFound;
  if (pNames != nullptr) {
    for (INT_PTR i = 0; i < pNames->GetSize(); ++i) {
      short nCol = FindCol(pNames->GetAt(i));
      if (nCol >= 0) {
        arFound.push_back(static_cast<WORD>(nCol));
      }
    }
  }
  // Ascending; a column named twice is chosen once. A column number lives
  // in one byte here.
  std::sort(arFound.begin(), arFound.end());
  arFound.erase(std::unique(arFound.begin(), arFound.end()), arFound.end());
  m_arCols.SetSize(static_cast<INT_PTR>(arFound.size()));
  for (size_t i = 0; i < arFound.size(); ++i) {
    m_arCols[static_cast<INT_PTR>(i)] = static_cast<BYTE>(arFound[i]);
  }
  m_bDone = FALSE;
  return static_cast<WORD>(m_arCols.GetSize());
}

WORD CResultStd::GetColumnNames(CStringArray* pNames) {
  if (pNames == nullptr) {
    return 0;
  }
  pNames->SetSize(m_arCols.GetSize());
  INT_PTR nCount = 0;
  for (INT_PTR i = 0; i < m_arCols.GetSize(); ++i) {
    CString strName;
    GetColName(m_arCols[i], strName);
    if (!strName.IsEmpty()) {
      (*pNames)[nCount++] = strName;
    }
  }
  pNames->SetSize(nCount);
  return static_cast<WORD>(nCount);
}

// Never this view's own rows: a set chained to a view stands on the rows
// that the view looks at.
CDWordArray* CResultStd::GetSourceRows() { return GetBaseRows(); }

BOOL CResultStd::Run() {
  if (m_bDone) {
    CSetStd* pMasterSet = GetMasterSet();
    if (pMasterSet == nullptr || pMasterSet->IsDone()) {
      return TRUE;
    }
  }
  m_bDone = FALSE;
  CDWordArray* pSource = GetSourceRows();
  DWORD nCount = pSource != nullptr ? static_cast<DWORD>(pSource->GetSize()) : GetRowCount();
  if (nCount == 0) {
    return FALSE;
  }
  if (m_pRows == nullptr) {
    m_pRows = new CSortDWordArray;
  }
  m_pRows->SetSize(std::min<DWORD>(nCount, RESULT_ROW_LIMIT));

  std::unordered_set<std::string> setSeen;
  CStringArray arCells;
  std::string strKey;
  INT_PTR nKept = 0;
  for (DWORD nPos = 0; nPos < nCount && nKept < static_cast<INT_PTR>(RESULT_ROW_LIMIT); ++nPos) {
    // Positions in the source array are taken with their low 16 bits.
    DWORD nRow = pSource != nullptr ? pSource->GetAt(static_cast<WORD>(nPos)) : nPos;
    ReadRow(nRow, arCells);  // a row that cannot be read takes part as it came
    strKey.clear();
    for (INT_PTR i = 0; i < m_arCols.GetSize(); ++i) {
      INT_PTR nCol = m_arCols[i];
      if (nCol < arCells.GetSize()) {
        const CString& strCell = arCells[nCol];
        strKey.append(static_cast<const char*>(strCell), static_cast<size_t>(strCell.GetLength()));
        strKey.push_back('|');
      }
    }
    if (setSeen.insert(strKey).second) {
      (*m_pRows)[nKept++] = nRow;
    }
  }
  m_pRows->SetSize(nKept);
  m_bDone = TRUE;
  return TRUE;
}

BOOL CResultStd::GetRowCells(short nIndex, CStringArray* pCells) {
  if (!CSetStd::GetRowCells(nIndex, pCells)) {
    return FALSE;
  }
  if (m_arCols.GetSize() == 0) {
    return FALSE;  // the array holds all cells of the row
  }
  // Keep the cells of the chosen columns, in ascending column order.
  INT_PTR nKept = 0;
  for (INT_PTR i = 0; i < m_arCols.GetSize(); ++i) {
    INT_PTR nCol = m_arCols[i];
    if (nCol < pCells->GetSize()) {
      (*pCells)[nKept++] = pCells->GetAt(nCol);
    }
  }
  pCells->SetSize(nKept);
  return TRUE;
}

void CResultStd::Serialize(CArchive& ar) {
  CSetStd::Serialize(ar);
  if (ar.IsStoring()) {
    ar << static_cast<BYTE>(1);
  } else {
    BYTE nVersion = 0;
    ar >> nVersion;  // not looked at
  }
  m_arCols.Serialize(ar);
}
