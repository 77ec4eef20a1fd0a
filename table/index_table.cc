#include <algorithm>
#include <vector>

#include "cells/cell_grammar.h"
#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "frame/settings.h"
#include "index/column_index.h"
#include "table/cat_std.h"
#include "table/row_table.h"
#include "table/sidecar_format.h"

namespace {

// How the sidecar is held during a run and after it.
constexpr UINT SIDE_CREATE = CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive;
constexpr UINT SIDE_UPDATE = CFile::modeReadWrite | CFile::shareExclusive;
constexpr UINT SIDE_READ = CFile::modeRead | CFile::shareDenyWrite;

// The progress scale. With a column analysis: analysis 0 to 50, index pass
// 50 to 80, sorting 80 to 100. Without: index pass 0 to 50, sorting 50 to 100.
constexpr WORD POS_SCANNED = 50;
constexpr WORD POS_PASS_SHARE_KNOWN = 50;
constexpr WORD POS_PASS_SHARE_SCANNED = 30;
constexpr WORD POS_SORT_FROM = 80;  // sorting starts here when the position is past the end
constexpr WORD POS_END = 100;

enum RunEnd {
  RUN_FAILED,        // the sidecar could not be opened for writing
  RUN_DONE,          // the run took place; m_bIndexed tells how it went
  RUN_SIDE_DROPPED,  // SaveSide gave the sidecar up: it must be built anew
};

// The indexes that one run builds, in column order. A build still open when
// the list goes (a file error left the run) is aborted, so that its
// temporary files go with it.
struct CBuildEntry {
  WORD nCol;
  CIndex* pIndex;
};

class CBuildList {
 public:
  CBuildList() = default;
  CBuildList(const CBuildList&) = delete;
  CBuildList& operator=(const CBuildList&) = delete;
  ~CBuildList() {
    for (const CBuildEntry& entry : m_arEntries) {
      if (entry.pIndex != nullptr && entry.pIndex->IsBuilding()) {
        try {
          entry.pIndex->AbortBuild();
        } catch (...) {  // NOLINT: the exception that is leaving matters more
        }
      }
    }
  }

  std::vector<CBuildEntry> m_arEntries;
};

// Position after nRow rows of the index pass: one point per dRate rows from
// nBase on. A file that grew behind its row count takes the position past
// the pass's share, and past 100; the monitor takes what it gets.
WORD PassPosition(DWORD nRow, WORD nBase, double dRate) {
  if (dRate == 0.0) {
    return nBase;
  }
  return static_cast<WORD>(nBase + static_cast<DWORD>(nRow / dRate));
}

// Every column has a type and every text column a key size.
BOOL AllColumnsKnown(const CCatStd& table) {
  for (INT_PTR nCol = 0; nCol < table.m_arColNames.GetSize(); ++nCol) {
    const BYTE nType = table.m_arColTypes[nCol];
    if (nType == COL_TYPE_NONE || (nType == COL_TYPE_STR && table.m_arColSizes[nCol] == 0)) {
      return FALSE;
    }
  }
  return TRUE;
}

// Hands one split cell to the index of its column. FALSE when the index
// refused an entry; the values of a list that follow are not offered.
BOOL AddCell(CIndex* pIndex, DWORD nRow, BYTE nKind, const CStringArray& arValues, BYTE nFlags) {
  switch (nKind) {
    case CELL_SINGLE:
      return pIndex->AddValue(nRow, arValues[0]);
    case CELL_RANGE:
      return pIndex->AddRange(nRow, arValues[0], arValues[1], nFlags);
    case CELL_LIST:
      for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
        if (!pIndex->AddValue(nRow, arValues[i])) {
          return FALSE;
        }
      }
      return TRUE;
    case CELL_ANY:
      return pIndex->AddAny(nRow);
    default:
      return TRUE;  // an empty cell has no entry
  }
}

// The one pass over the rows that feeds all builds of the run and, with
// bWriteRows, writes the row table behind the sidecar's header. Gives the
// number of rows read in nRow; FALSE when an index refused an entry, in which
// case the pass ended with that row.
BOOL PassRows(CCatStd& table, const CBuildList& builds, BOOL bWriteRows, CProgressMonitor* pMonitor,
              WORD nBase, double dRate, DWORD& nRow) {
  const INT_PTR nCols = table.m_arColNames.GetSize();
  // The cells stay in the line buffer; only those that may be lists or
  // ranges are split into copies.
  const short nKeep = static_cast<short>(std::min<INT_PTR>(nCols, 0x7FFF));
  std::vector<const char*> arCells(static_cast<size_t>(nCols) + 1);
  std::vector<UINT> arLengths(static_cast<size_t>(nCols) + 1);
  CStringArray arSpill;
  CStringArray arValues;
  arValues.SetSize(0, 4);
  table.SeekLine(table.m_nDataPos);
  if (bWriteRows) {
    table.m_fileSide.Seek(table.m_nRowTablePos, CFile::begin);
  }
  CRowTableWriter writer(bWriteRows ? &table.m_fileSide : nullptr);

  BOOL bOK = TRUE;
  nRow = 0;
  for (;;) {
    const DWORD nRowPos = table.m_nFilePos;
    const short nRead = table.ReadCells(arCells.data(), arLengths.data(), nKeep, arSpill);
    if (nRead < 0) {
      break;
    }
    // A short line has empty cells at its end; cells behind the last column
    // belong to none.
    for (const CBuildEntry& entry : builds.m_arEntries) {
      const bool bInLine = entry.nCol < nRead;
      const char* pszCell = bInLine ? arCells[entry.nCol] : "";
      const char* pszValue = nullptr;
      BYTE nKind =
          PeekCell(pszCell, bInLine ? arLengths[entry.nCol] : 0, &pszValue, table.m_cRangeOpen,
                   table.m_cRangeClose, table.m_cValueSep, table.m_cAnyValue);
      BOOL bAdded = TRUE;
      if (nKind == CELL_SINGLE) {
        bAdded = entry.pIndex->AddValue(nRow, pszValue);
      } else if (nKind == CELL_ANY) {
        bAdded = entry.pIndex->AddAny(nRow);
      } else if (nKind == CELL_UNSPLIT) {
        BYTE nFlags = 0;
        nKind = table.SplitCell(pszCell, arValues, &nFlags);
        bAdded = AddCell(entry.pIndex, nRow, nKind, arValues, nFlags);
      }
      if (!bAdded) {
        bOK = FALSE;
        break;
      }
    }
    ++nRow;
    writer.Add(nRowPos);
    if (pMonitor != nullptr) {
      pMonitor->SetPos(PassPosition(nRow, nBase, dRate));
    }
    if (!bOK) {
      break;
    }
  }
  writer.Flush();
  return bOK;
}

// Sorts and appends the indexes of the run one behind the other at the end
// of the sidecar, or aborts them all when the pass failed. A column whose
// index could not be sorted is left unindexed, since its index on file lacks
// a zone that its header counts: it loses its offset and its index object,
// and the next run builds it again. FALSE when that happened.
BOOL FinishBuilds(CCatStd& table, CBuildList& builds, BOOL bOK, CProgressMonitor* pMonitor) {
  if (pMonitor != nullptr && bOK) {
    MonitorStep(pMonitor, MSG_INDEX_SORT);
    int nPos = pMonitor->GetPos();
    if (nPos >= POS_END) {
      nPos = POS_SORT_FROM;
    }
    g_nSortShare =
        static_cast<WORD>((POS_END - nPos) / static_cast<int>(builds.m_arEntries.size()));
  }
  BOOL bAllSorted = TRUE;
  for (CBuildEntry& entry : builds.m_arEntries) {
    if (!bOK) {
      entry.pIndex->AbortBuild();
      continue;
    }
    table.m_arColIndexPos[entry.nCol] = static_cast<DWORD>(table.m_fileSide.SeekToEnd());
    if (!entry.pIndex->EndBuild()) {
      table.m_arColIndexPos[entry.nCol] = 0;
      table.m_arColIndexes[entry.nCol] = nullptr;
      delete entry.pIndex;
      entry.pIndex = nullptr;
      bAllSorted = FALSE;
    }
  }
  // Every build has ended: the list must not touch the objects any more,
  // which DropSide may free.
  builds.m_arEntries.clear();
  return bAllSorted;
}

// One run over a table that is open and not indexed.
RunEnd RunIndexing(CCatStd& table, CProgressMonitor* pMonitor) {
  CString strSide;
  table.GetSidePath(strSide, TRUE);
  const BOOL bNew = !table.m_fileSide.IsOpen();
  if (!bNew) {
    table.m_fileSide.Close();
  }
  CFileException error;
  if (!table.m_fileSide.Open(strSide, bNew ? SIDE_CREATE : SIDE_UPDATE, &error)) {
    return RUN_FAILED;
  }
  const BOOL bKnown = AllColumnsKnown(table);
  if (!bKnown || bNew) {
    // Until the run is over the header carries a version that no reader
    // accepts (see CommitSide below).
    WriteSideHeader(table, SIDE_VERSION_UNFINISHED);
    if (!table.m_fileSide.IsOpen()) {
      return RUN_SIDE_DROPPED;
    }
  }

  MonitorTitle(pMonitor, MSG_INDEX_TITLE, table.m_strName);
  if (!bKnown) {
    MonitorStep(pMonitor, MSG_INDEX_SCAN_TYPES);
    // A new sidecar gets its row table here; an old one keeps its own.
    table.ScanColumns(bNew, pMonitor);
  }

  WORD nBase = 0;
  double dRate = 0.0;
  if (pMonitor != nullptr) {
    if (bKnown) {
      dRate = table.m_nRows / static_cast<double>(POS_PASS_SHARE_KNOWN);
    } else {
      nBase = POS_SCANNED;
      dRate = table.m_nRows / static_cast<double>(POS_PASS_SHARE_SCANNED);
    }
    MonitorStep(pMonitor, MSG_INDEX_SCAN_CELLS);
  }

  CBuildList builds;
  const short nCols = static_cast<short>(table.m_arColNames.GetSize());
  for (short nCol = 0; nCol < nCols; ++nCol) {
    CIndex* pIndex = table.GetColIndex(static_cast<WORD>(nCol));
    if (pIndex != nullptr && table.m_arColIndexPos[nCol] == 0) {
      builds.m_arEntries.push_back({static_cast<WORD>(nCol), pIndex});
      pIndex->BeginBuild(TRUE);
    }
  }

  // Without an analysis a new sidecar gets its row table from this pass, so
  // the pass runs also when no index is missing.
  const BOOL bWriteRows = bKnown && bNew;
  const BOOL bPass = !builds.m_arEntries.empty() || bWriteRows;
  BOOL bOK = TRUE;
  BOOL bAllSorted = TRUE;
  DWORD nRow = 0;
  if (bPass) {
    bOK = PassRows(table, builds, bWriteRows, pMonitor, nBase, dRate, nRow);
  }
  if (!builds.m_arEntries.empty()) {
    bAllSorted = FinishBuilds(table, builds, bOK, pMonitor);
  }

  if (pMonitor != nullptr) {
    pMonitor->End();
  }
  if (!bOK) {
    table.DropSide();
    table.m_bIndexed = FALSE;
    return RUN_DONE;
  }
  // A file that grew since its header was written gets its true count here.
  if (bPass) {
    table.m_nRows = nRow;
  }
  // The header with the final counts, still unfinished; then, once all of
  // it is on the disk, the version that makes the sidecar valid, as the
  // run's last write. A run cut short anywhere before leaves a sidecar that
  // the next Open drops.
  WriteSideHeader(table, SIDE_VERSION_UNFINISHED);
  if (!table.m_fileSide.IsOpen()) {
    return RUN_SIDE_DROPPED;
  }
  CommitSide(table.m_fileSide);
  table.m_fileSide.Close();
  bOK = table.m_fileSide.Open(strSide, SIDE_READ);
  table.m_bIndexed = bOK && bAllSorted;
  return RUN_DONE;
}

}  // namespace

BOOL CCatStd::IndexTable() {
  if (m_pMaster != nullptr) {
    return m_pMaster->IndexTable();
  }
  CProgressMonitor* pMonitor = GetProgressMonitor();
  if (!m_bOpen && !Open(nullptr)) {
    return FALSE;
  }
  if (m_bIndexed) {
    return TRUE;
  }
  // SaveSide gives a sidecar up when rewriting its header would move the
  // row table; the sidecar is then made anew, once, from what is known.
  for (int nRound = 0; nRound < 2; ++nRound) {
    switch (RunIndexing(*this, pMonitor)) {
      case RUN_FAILED:
        return FALSE;
      case RUN_DONE:
        return TRUE;
      case RUN_SIDE_DROPPED:
        break;
    }
  }
  return FALSE;
}
