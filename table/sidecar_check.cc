#include "table/sidecar_check.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "frame/lorn_defs.h"
#include "index/entry_codec.h"
#include "table/cat_std.h"
#include "table/row_table.h"

namespace {

// Row entries read at once while the row table is walked.
constexpr UINT ROW_CHUNK_ENTRIES = 16384;

// Longest key of a text column, and shortest: one byte and the NUL.
constexpr DWORD STR_KEY_MIN = 2;
constexpr DWORD STR_KEY_MAX = 255;

// Whether the row table holds table.m_nRows entries that start at the first
// data row, rise strictly and stay below the table file's length. The
// entries of a chunk are compared without a branch, so that the compiler
// can compare many at once: this walk is what loading a sidecar costs. Once
// the sidecar offers a view, the entries are compared where they lie in it
// rather than copied out first.
BOOL RowTableOk(CCatStd& table, ULONGLONG nDataLength) {
  CFile& file = table.m_fileSide;
  std::vector<BYTE> arChunk;
  DWORD nPrevious = 0;
  for (DWORD nRow = 0; nRow < table.m_nRows;) {
    const UINT nCount =
        static_cast<UINT>(std::min<ULONGLONG>(ROW_CHUNK_ENTRIES, table.m_nRows - nRow));
    const UINT nBytes = nCount * ROW_ENTRY_SIZE;
    const ULONGLONG nAt = table.m_nRowTablePos + ULONGLONG{ROW_ENTRY_SIZE} * nRow;
    ULONGLONG nViewLength = 0;
    const BYTE* pChunk = file.GetView(&nViewLength);
    if (pChunk != nullptr && nAt + nBytes <= nViewLength) {
      pChunk += nAt;
    } else {
      arChunk.resize(static_cast<size_t>(ROW_CHUNK_ENTRIES) * ROW_ENTRY_SIZE);
      if (file.ReadAt(nAt, arChunk.data(), nBytes) != nBytes) {
        return FALSE;
      }
      pChunk = arChunk.data();
    }
    const DWORD nFirst = GetDword(pChunk);
    if (nRow == 0 ? nFirst != table.m_nDataPos : nFirst <= nPrevious) {
      return FALSE;
    }
    UINT nFalls = 0;
    for (UINT i = 1; i < nCount; ++i) {
      nFalls |= GetDword(pChunk + ROW_ENTRY_SIZE * i) <= GetDword(pChunk + ROW_ENTRY_SIZE * (i - 1))
                    ? 1U
                    : 0U;
    }
    if (nFalls != 0) {
      return FALSE;
    }
    nPrevious = GetDword(pChunk + ROW_ENTRY_SIZE * (nCount - 1));
    nRow += nCount;
  }
  return table.m_nRows == 0 || nPrevious < nDataLength;
}

// The counts of an index header at nPos, if they are counts that an index of
// this table can have: zone 0 and the ranges hold at most one entry per row,
// and a table without rows has no entry at all.
BOOL IndexCountsOk(CCatStd& table, ULONGLONG nPos, DWORD* pCounts) {
  BYTE abHeader[INDEX_HEADER_SIZE];
  if (table.m_fileSide.ReadAt(nPos, abHeader, INDEX_HEADER_SIZE) != INDEX_HEADER_SIZE) {
    return FALSE;
  }
  for (int i = 0; i < 3; ++i) {
    pCounts[i] = GetDword(abHeader + 4 * i);
  }
  return pCounts[0] <= table.m_nRows && pCounts[2] <= table.m_nRows &&
         (table.m_nRows != 0 || pCounts[1] == 0);
}

// Whether the bytes from nFrom to nNext can be what a dropped index left.
// A row table whose row count was lowered fails here: its surplus entries
// are offsets, each larger than the rows counted before it.
BOOL DeadIndexOk(CCatStd& table, ULONGLONG nFrom, ULONGLONG nNext) {
  DWORD anCounts[3];
  return nFrom + INDEX_HEADER_SIZE <= nNext && IndexCountsOk(table, nFrom, anCounts);
}

}  // namespace

DWORD SideKeySize(BYTE nType, BYTE nSize) {
  switch (nType) {
    case COL_TYPE_LONG:
      return 4;
    case COL_TYPE_REAL:
      return 8;
    case COL_TYPE_STR:
      return nSize >= STR_KEY_MIN && nSize <= STR_KEY_MAX ? nSize : 0;
    default:
      return 0;
  }
}

BOOL SideStructureOk(CCatStd& table) {
  const ULONGLONG nLength = table.m_fileSide.GetLength();
  const ULONGLONG nDataLength = table.m_fileData.GetLength();
  const ULONGLONG nRowsEnd =
      static_cast<ULONGLONG>(table.m_nRowTablePos) + ULONGLONG{ROW_ENTRY_SIZE} * table.m_nRows;
  if (nRowsEnd > nLength || (table.m_nRows == 0) != (nDataLength <= table.m_nDataPos)) {
    return FALSE;
  }

  std::vector<std::pair<ULONGLONG, ULONGLONG>> arSpans;
  for (INT_PTR nCol = 0; nCol < table.m_arColIndexPos.GetSize(); ++nCol) {
    const ULONGLONG nPos = table.m_arColIndexPos[nCol];
    if (nPos == 0) {
      continue;
    }
    const ULONGLONG nKey = SideKeySize(table.m_arColTypes[nCol], table.m_arColSizes[nCol]);
    DWORD anCounts[3];
    if (nKey == 0 || nPos < nRowsEnd || nPos + INDEX_HEADER_SIZE > nLength ||
        !IndexCountsOk(table, nPos, anCounts)) {
      return FALSE;
    }
    const ULONGLONG nEnd = nPos + INDEX_HEADER_SIZE + ULONGLONG{4} * anCounts[0] +
                           (nKey + 4) * anCounts[1] + 2 * (2 * nKey + 5) * anCounts[2];
    if (nEnd > nLength) {
      return FALSE;
    }
    arSpans.emplace_back(nPos, nEnd);
  }

  // Behind the row table and behind each index comes the next index, the
  // end of the file, or the dead bytes of an index that is no longer used,
  // whose header was written first. No two indexes share a byte.
  std::sort(arSpans.begin(), arSpans.end());
  ULONGLONG nFrom = nRowsEnd;
  for (size_t i = 0; i <= arSpans.size(); ++i) {
    const ULONGLONG nNext = i < arSpans.size() ? arSpans[i].first : nLength;
    if (nNext < nFrom || (nNext > nFrom && !DeadIndexOk(table, nFrom, nNext))) {
      return FALSE;
    }
    if (i < arSpans.size()) {
      nFrom = arSpans[i].second;
    }
  }
  // The walk over the row table comes last: it is the only part whose cost
  // grows with the table.
  return RowTableOk(table, nDataLength);
}
