#include <memory>

#include "index/column_index.h"
#include "table/cat_std.h"

CIndex* CCatStd::GetColIndex(WORD nCol) {
  CCatStd* pRoot = GetRoot();
  if (nCol >= pRoot->m_arColIndexes.GetSize() ||
      (pRoot->m_arColFlags[nCol] & COL_FLAG_INDEXED) == 0) {
    return nullptr;
  }
  CObject* pObject = pRoot->m_arColIndexes[nCol];
  if (pObject != nullptr) {
    return static_cast<CIndex*>(pObject);
  }
  const BYTE nType = pRoot->m_arColTypes[nCol];
  const BYTE nSize = pRoot->m_arColSizes[nCol];
  if (nType == COL_TYPE_NONE || (nType == COL_TYPE_STR && nSize == 0)) {
    pRoot->m_bIndexed = FALSE;
    return nullptr;
  }
  // A column whose index is not on file gets an object too, with no entry:
  // it finds nothing until a build gives it its place in the sidecar. Its
  // being wanted is what makes the next IndexTable build it.
  const DWORD nPos = pRoot->m_arColIndexPos[nCol];
  CString strLocale;
  pRoot->GetLocale(strLocale);
  // The constructor reads the index header and may raise a file error.
  auto pIndex = std::make_unique<CIndex>(&pRoot->m_fileSide, nPos, nType, nSize, strLocale);
  pRoot->m_arColIndexes[nCol] = pIndex.get();
  if (nPos == 0) {
    pRoot->m_bIndexed = FALSE;
  } else {
    // Checking every entry's row number when the sidecar is loaded would
    // read all of its indexes; each number is checked as it is used instead.
    pIndex->m_nRowLimit = pRoot->m_nRows;
  }
  return pIndex.release();
}
