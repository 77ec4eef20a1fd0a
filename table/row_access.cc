#include "frame/locale_scope.h"
#include "index/column_index.h"
#include "table/cat_std.h"
#include "table/row_table.h"

namespace {

// Folds a value as index keys are folded: upper case under the locale, and
// cut when it is longer than the key size.
void FoldKey(CString& strText, const char* pszLocale, BYTE nKeySize) {
  char* pszBuffer = strText.GetBuffer(strText.GetLength());
  FoldCase(pszBuffer, pszLocale, nKeySize);
  strText.ReleaseBuffer();
}

}  // namespace

LONG CCatStd::GetRowPos(DWORD nRow, DWORD* pLen) {
  if (m_pMaster != nullptr) {
    return m_pMaster->GetRowPos(nRow, pLen);
  }
  if (pLen != nullptr) {
    *pLen = 0;
  }
  if (!m_bIndexed && !IndexTable()) {
    return -1;
  }
  if (nRow >= m_nRows) {
    return -1;
  }
  // Without a length one entry is enough; the last row ends with the file.
  const BOOL bPair = pLen != nullptr && nRow < m_nRows - 1;
  DWORD arEntries[2] = {0, 0};
  if (!ReadRowEntries(&m_fileSide, m_nRowTablePos, nRow, bPair ? 2 : 1, arEntries)) {
    return -1;
  }
  // A row starts inside the table file and ends behind its start, at most
  // at the file's end. Entries that do not (a row table written by anyone
  // else) give no row, rather than a length that wraps.
  const DWORD nFileLength = static_cast<DWORD>(m_fileData.GetLength());
  if (arEntries[0] >= nFileLength) {
    return -1;
  }
  const LONG nOffset = static_cast<LONG>(arEntries[0]);
  if (pLen != nullptr && nOffset >= 0) {
    const DWORD nEnd = bPair ? arEntries[1] : nFileLength;
    if (nEnd <= arEntries[0] || nEnd > nFileLength) {
      return -1;
    }
    *pLen = nEnd - arEntries[0];
  }
  return nOffset;
}

BOOL CCatStd::ReadRow(DWORD nRow, CStringArray& arCells) {
  if (m_pMaster != nullptr) {
    return m_pMaster->ReadRow(nRow, arCells);
  }
  // The row is found before the array is touched; whatever fails on the way
  // leaves it empty.
  DWORD arEntries[2] = {0, 0};
  BOOL bLast = FALSE;
  DWORD nEnd = 0;
  try {
    if (!m_bIndexed && !IndexTable()) {
      arCells.RemoveAll();
      return FALSE;
    }
    bLast = nRow == m_nRows - 1;
    if (nRow >= m_nRows ||
        !ReadRowEntries(&m_fileSide, m_nRowTablePos, nRow, bLast ? 1 : 2, arEntries)) {
      arCells.RemoveAll();
      return FALSE;
    }
    nEnd = bLast ? static_cast<DWORD>(m_fileData.GetLength()) : arEntries[1];
  } catch (...) {
    arCells.RemoveAll();
    throw;
  }
  const DWORD nStart = arEntries[0];
  // The array is emptied of text but keeps its strings, which ReadLine
  // reuses for this row's cells: a row read costs no allocation once the
  // array has held a row. Cells that ReadLine does not deliver stay empty.
  for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
    arCells[i].Empty();
  }
  // The line is read with exactly its own bytes, so that nothing of the next
  // row is fetched, and an SDC line gets the key of its true offset. A row
  // table that does not rise gives an empty row rather than a read without
  // limit.
  short nCells = -1;
  if (nEnd > nStart) {
    SeekLine(nStart);
    nCells = ReadLine(arCells, nEnd - nStart, nullptr);
  }
  arCells.SetSize(m_arColNames.GetSize());
  return nCells > 0;
}

BOOL CCatStd::NextColValue(WORD nCol, CString& strValue, BOOL bFirst) {
  IndexTable();
  CIndex* pIndex = GetColIndex(nCol);
  if (pIndex == nullptr) {
    strValue.Empty();
    return FALSE;
  }
  CString strKey = strValue;
  strValue.Empty();
  CString strLocale;
  GetLocale(strLocale);
  const BYTE nKeySize = pIndex->GetKeySize();
  // The caller passes back what it got, which for text is the spelling of a
  // cell, not the stored key. Numbers are passed back whole: cut to the key
  // size like a text, a value of five digits or more would lead the listing
  // back to a lower value and it would never end.
  if (!bFirst && pIndex->GetType() == COL_TYPE_STR) {
    FoldKey(strKey, strLocale, nKeySize);
  }
  const LONG nRow = pIndex->GetNextValue(strKey, bFirst);
  if (nRow < 0) {
    return FALSE;
  }
  if (GetRoot()->m_arColTypes[nCol] != COL_TYPE_STR) {
    strValue = strKey;
    return TRUE;
  }

  // A text key is upper case and may be cut: the value comes from the row.
  CStringArray arCells;
  ReadRow(static_cast<DWORD>(nRow), arCells);
  if (nCol >= arCells.GetSize()) {
    return FALSE;
  }
  CStringArray arValues;
  BYTE nFlags = 0;
  switch (SplitCell(arCells[nCol], arValues, &nFlags)) {
    case CELL_SINGLE:
      strValue = arCells[nCol];
      strValue.TrimLeft();
      break;
    case CELL_LIST:
      for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
        CString strFolded = arValues[i];
        FoldKey(strFolded, strLocale, nKeySize);
        if (strFolded == strKey) {
          strValue = arValues[i];
          break;
        }
      }
      break;
    default:
      break;
  }
  return TRUE;
}
