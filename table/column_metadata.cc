// Column metadata of a table: types, key sizes and flags, read and set on the
// root of the chain. A reader that meets a column not yet examined runs the
// analysis through IndexTable, so a host may ask at any time.
#include "frame/lorn_defs.h"
#include "table/cat_std.h"

namespace {

constexpr BYTE kTypeMask = COL_TYPE_LONG | COL_TYPE_REAL | COL_TYPE_STR;
constexpr BYTE kFlagMask = COL_FLAG_INDEXED | COL_FLAG_USER;

// Entry nCol of a byte array, 0 when the array does not reach it.
BYTE EntryOrZero(const CByteArray& ar, INT_PTR nCol) {
  return nCol < ar.GetSize() ? ar.GetAt(nCol) : 0;
}

// A metadata entry of column nCol: 0 beyond the last column; an entry still 0
// (or not yet there) first runs the analysis, whose failure leaves it 0.
BYTE ReadColEntry(CCatStd* pRoot, const CByteArray& ar, WORD nCol) {
  if (nCol >= pRoot->m_arColNames.GetSize()) {
    return 0;
  }
  if (EntryOrZero(ar, nCol) == 0) {
    pRoot->IndexTable();
  }
  return EntryOrZero(ar, nCol);
}

// All entries of a metadata array, the analysis run first while a column has
// an entry of 0. Result the number of entries.
WORD CopyColEntries(CCatStd* pRoot, const CByteArray& ar, CByteArray& arOut) {
  const INT_PTR nCols = pRoot->m_arColNames.GetSize();
  for (INT_PTR nCol = 0; nCol < nCols; ++nCol) {
    if (EntryOrZero(ar, nCol) == 0) {
      pRoot->IndexTable();
    }
  }
  arOut.Copy(ar);
  return static_cast<WORD>(arOut.GetSize());
}

// Forgets the built index of a column: the sidecar no longer holds every
// wanted index, and the column's index object goes.
void DropColIndex(CCatStd* pRoot, WORD nCol) {
  pRoot->m_bIndexed = FALSE;
  if (nCol < pRoot->m_arColIndexes.GetSize()) {
    CObject* pIndex = pRoot->m_arColIndexes.GetAt(nCol);
    pRoot->m_arColIndexes.SetAt(nCol, nullptr);
    delete pIndex;
  }
  pRoot->m_arColIndexPos.SetAt(nCol, 0);
}

}  // namespace

BYTE CCatStd::GetColType(WORD nCol) {
  CCatStd* pRoot = GetRoot();
  return ReadColEntry(pRoot, pRoot->m_arColTypes, nCol);
}

WORD CCatStd::GetColTypes(CByteArray& arTypes) {
  CCatStd* pRoot = GetRoot();
  return CopyColEntries(pRoot, pRoot->m_arColTypes, arTypes);
}

BYTE CCatStd::GetColSize(WORD nCol) {
  CCatStd* pRoot = GetRoot();
  return ReadColEntry(pRoot, pRoot->m_arColSizes, nCol);
}

WORD CCatStd::GetColSizes(CByteArray& arSizes) {
  CCatStd* pRoot = GetRoot();
  return CopyColEntries(pRoot, pRoot->m_arColSizes, arSizes);
}

WORD CCatStd::GetColsByKind(BYTE nMask, CWordArray& arCols) {
  CCatStd* pRoot = GetRoot();
  const INT_PTR nCols = pRoot->m_arColNames.GetSize();
  arCols.SetSize(nCols);
  INT_PTR nTaken = 0;
  for (INT_PTR nCol = 0; nCol < nCols; ++nCol) {
    if ((nMask & kTypeMask) != 0 &&
        (nCol >= pRoot->m_arColTypes.GetSize() || (pRoot->m_arColTypes[nCol] & nMask) == 0)) {
      continue;
    }
    if ((nMask & kFlagMask) != 0 &&
        (nCol >= pRoot->m_arColFlags.GetSize() || (pRoot->m_arColFlags[nCol] & nMask) == 0)) {
      continue;
    }
    arCols[nTaken++] = static_cast<WORD>(nCol);
  }
  arCols.SetSize(nTaken);
  return static_cast<WORD>(nTaken);
}

void CCatStd::SetColFlags(WORD nCol, BYTE nFlags) {
  CCatStd* pRoot = GetRoot();
  if (nFlags == 0 || nCol >= pRoot->m_arColFlags.GetSize()) {
    return;
  }
  BYTE nOld = pRoot->m_arColFlags[nCol];
  if ((nFlags & COL_FLAG_INDEXED) != 0 && (nOld & COL_FLAG_INDEXED) == 0) {
    // A newly wanted index is not built yet.
    pRoot->m_bIndexed = FALSE;
  }
  if ((nFlags & COL_FLAG_INDEXED) == 0 && pRoot->m_arColIndexPos[nCol] != 0) {
    // Without 0x10 a built index is no longer wanted; a column that has none
    // yet keeps its wish.
    nOld &= static_cast<BYTE>(~COL_FLAG_INDEXED);
  }
  pRoot->m_arColFlags[nCol] = static_cast<BYTE>(nOld | nFlags);
}

void CCatStd::SetColFlags(const CByteArray* pFlags) {
  if (pFlags == nullptr) {
    return;
  }
  for (INT_PTR nCol = 0; nCol < pFlags->GetSize(); ++nCol) {
    SetColFlags(static_cast<WORD>(nCol), pFlags->GetAt(nCol));
  }
}

void CCatStd::SetColType(WORD nCol, BYTE nType, BYTE nSize) {
  CCatStd* pRoot = GetRoot();
  if (nCol >= pRoot->m_arColTypes.GetSize() ||
      (nType != COL_TYPE_LONG && nType != COL_TYPE_REAL && nType != COL_TYPE_STR)) {
    return;
  }
  const BYTE nOldType = pRoot->m_arColTypes[nCol];
  if (nOldType != 0 && nOldType != nType && pRoot->m_arColIndexPos[nCol] != 0) {
    DropColIndex(pRoot, nCol);
  }
  pRoot->m_arColTypes[nCol] = nType;
  if (nType != COL_TYPE_STR || nSize == 0) {
    return;
  }
  const BYTE nNewSize = nSize < 2 ? 2 : nSize;
  const BYTE nOldSize = pRoot->m_arColSizes[nCol];
  if (nOldSize != 0 && nOldSize != nNewSize && pRoot->m_arColIndexPos[nCol] != 0) {
    DropColIndex(pRoot, nCol);
  }
  pRoot->m_arColSizes[nCol] = nNewSize;
}

void CCatStd::SetColTypes(const CByteArray* pTypes, const CByteArray* pSizes) {
  if (pTypes == nullptr) {
    return;
  }
  const INT_PTR nCols = GetRoot()->m_arColNames.GetSize();
  for (INT_PTR nCol = 0; nCol < pTypes->GetSize() && nCol < nCols; ++nCol) {
    const BYTE nSize =
        (pSizes != nullptr && nCol < pSizes->GetSize()) ? pSizes->GetAt(nCol) : BYTE{0};
    SetColType(static_cast<WORD>(nCol), pTypes->GetAt(nCol), nSize);
  }
}
