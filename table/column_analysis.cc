#include <algorithm>
#include <vector>

#include "cells/cell_grammar.h"
#include "frame/monitor.h"
#include "table/cat_std.h"
#include "table/row_table.h"

namespace {

// What the pass has to find out about a column.
constexpr BYTE WORK_TYPE = 0x01;  // derive the type
constexpr BYTE WORK_SIZE = 0x10;  // measure the longest value

// A value longer than this counts as this long: with its terminator it makes
// the widest key an index can hold, 255 bytes.
constexpr int MAX_VALUE_BYTES = 254;

// The pass takes the positions 0 to SCAN_SHARE of the progress scale.
constexpr DWORD SCAN_SHARE = 50;

// Position of the monitor after nDone of nSpan bytes. The span is taken
// once, before the pass: a file that grew meanwhile takes the position past
// SCAN_SHARE, as the monitor takes whatever it is given.
WORD ScanPosition(DWORD nDone, ULONGLONG nSpan) {
  if (nSpan == 0) {
    return SCAN_SHARE;
  }
  return static_cast<WORD>(ULONGLONG{SCAN_SHARE} * nDone / nSpan);
}

}  // namespace

void CCatStd::ScanColumns(BOOL bWriteOffsets, CProgressMonitor* pMonitor) {
  const INT_PTR nCols = m_arColNames.GetSize();

  ULONGLONG nSpan = 0;
  if (pMonitor != nullptr) {
    const ULONGLONG nLength = m_fileData.GetLength();
    nSpan = nLength > m_nDataPos ? nLength - m_nDataPos : 0;
  }

  // An unknown column starts at the narrowest type and can only widen.
  std::vector<BYTE> arWork(static_cast<size_t>(nCols), 0);
  for (INT_PTR nCol = 0; nCol < nCols; ++nCol) {
    if (m_arColTypes[nCol] == COL_TYPE_NONE) {
      arWork[nCol] = WORK_TYPE | WORK_SIZE;
      m_arColTypes[nCol] = COL_TYPE_LONG;
    } else if (m_arColTypes[nCol] == COL_TYPE_STR && m_arColSizes[nCol] == 0) {
      arWork[nCol] = WORK_SIZE;
    }
  }

  SeekLine(m_nDataPos);
  // The cells of a row stay in the line buffer, and their values are
  // measured where they stand.
  const short nKeep = static_cast<short>(std::min<INT_PTR>(nCols, 0x7FFF));
  std::vector<const char*> arCells(static_cast<size_t>(nCols) + 1);
  std::vector<UINT> arLengths(static_cast<size_t>(nCols) + 1);
  CStringArray arSpill;
  CRowTableWriter writer(bWriteOffsets ? &m_fileSide : nullptr);
  // One type and one size per column, reached without a bounds check per
  // cell: the arrays are checked once here instead.
  if (nCols > 0) {
    (void)m_arColTypes[nCols - 1];
    (void)m_arColSizes[nCols - 1];
  }
  BYTE* const pTypes = m_arColTypes.GetData();
  BYTE* const pSizes = m_arColSizes.GetData();
  DWORD nRows = 0;
  for (;;) {
    const DWORD nRowPos = m_nFilePos;
    const short nRead = ReadCells(arCells.data(), arLengths.data(), nKeep, arSpill);
    if (nRead < 0) {
      break;
    }
    // Cells behind the last column belong to no column and tell nothing.
    const INT_PTR nCells = std::min<INT_PTR>(nRead, nCols);
    for (INT_PTR nCol = 0; nCol < nCells; ++nCol) {
      const BYTE nWork = arWork[nCol];
      if (nWork == 0) {
        continue;
      }
      BYTE& nType = pTypes[nCol];
      BYTE& nSize = pSizes[nCol];
      // No value is longer than its cell: a text column already as wide as
      // the cell learns nothing from it, whatever its kind.
      const UINT nLength = arLengths[nCol];
      if (nType >= COL_TYPE_STR && nSize > std::min<UINT>(nLength, MAX_VALUE_BYTES)) {
        continue;
      }
      // Each value of a range or a list counts alone; the cell text as a
      // whole is never classified or measured.
      const int nLongest =
          MeasureCell(arCells[nCol], nLength, nType, (nWork & WORK_TYPE) != 0, m_cRangeOpen,
                      m_cRangeClose, m_cValueSep, m_cAnyValue, m_strRangeSep);
      if (nLongest >= 0) {
        nSize = std::max(nSize, static_cast<BYTE>(std::min(nLongest, MAX_VALUE_BYTES) + 1));
      }
    }
    ++nRows;
    writer.Add(nRowPos);
    if (pMonitor != nullptr) {
      pMonitor->SetPos(ScanPosition(m_nFilePos - m_nDataPos, nSpan));
    }
  }
  writer.Flush();

  // Numbers have fixed widths; a text key needs room for at least one byte
  // and its terminator.
  for (INT_PTR nCol = 0; nCol < nCols; ++nCol) {
    switch (m_arColTypes[nCol]) {
      case COL_TYPE_LONG:
        m_arColSizes[nCol] = 4;
        break;
      case COL_TYPE_REAL:
        m_arColSizes[nCol] = 8;
        break;
      case COL_TYPE_STR:
        m_arColSizes[nCol] = std::max<BYTE>(m_arColSizes[nCol], 2);
        break;
      default:
        break;
    }
  }
  m_nRows = nRows;
}
