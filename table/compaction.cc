// CompactTable folds rows that agree in every cell but one into one row whose
// cell lists the values; UncompactTable turns list cells back into one row per
// combination of values. Both write the table anew in the written form
// (written_form.h), in the table's own form (an SDC table stays scrambled).
//
// Safety: the table file is not touched until the new file is complete. A
// pass reads its source and writes a work file (work_file.h; a second pass
// reads the first one's output from the other); only at the end does the
// new file take the table file's place, in one step, after the sidecar has
// gone. So a failure at any point before that leaves the table file and its
// sidecar as they were and nothing behind. A rewrite whose file would not
// read back as written (see CTableWriter::IsReadable) is refused the same
// way.
#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/monitor.h"
#include "frame/settings.h"
#include "frame/sort_arrays.h"
#include "table/cat_std.h"
#include "table/fold_rows.h"
#include "table/work_file.h"
#include "table/written_form.h"

namespace {

// The table file of a pass is held exclusively; the temporary file is made
// (or emptied) and held exclusively.
constexpr UINT OPEN_SOURCE = CFile::modeReadWrite | CFile::shareExclusive;

enum PassResult {
  PASS_DONE,
  PASS_NO_FILE,     // the source or the target cannot be opened
  PASS_UNREADABLE,  // the new file would not read back: a cell too long for
                    // the reader, or a scrambled byte turned into a line byte
};

// The rows of one compaction pass on column nCol, grouped by merge key: every
// cell of a row but the compacted one, each followed by "|", compared as
// bytes (so "a|b","c" and "a","b|c" are one key). Groups keep the order of
// their first row; a group holds the cells of its first row and its values:
// the first row's cell, even when empty, then every later non-empty cell, in
// file order.
//
// Memory: one copy of each distinct key with its cell lengths, and the
// values; all texts in one arena.
class CMergeGroups {
 public:
  CMergeGroups(short nCols, short nCol) : m_nCols(nCols), m_nCol(nCol) {}

  // Files one row of exactly m_nCols cells.
  void AddRow(const CStringArray& arRow);

  size_t GetCount() const { return m_arGroups.size(); }
  // Rows folded into an earlier row.
  DWORD GetMerged() const { return m_nMerged; }

  // Writes group nGroup as one line: its first row, with the sorted values
  // joined by cValueSep in place of the compacted cell.
  void WriteGroup(size_t nGroup, CTableWriter& writer, char cValueSep) const;

 private:
  struct CGroup {
    size_t nHash;
    size_t nKey;  // key text in the arena
    size_t nKeyLength;
    size_t nLengths;  // m_nCols - 1 cell lengths in m_arLengths
    size_t nFirstValue;
    size_t nLastValue;
  };
  struct CValue {
    size_t nText;  // in the arena
    size_t nLength;
    size_t nNext;  // next value of the group, NO_VALUE at the end
  };
  static constexpr size_t NO_VALUE = static_cast<size_t>(-1);

  std::string_view KeyOf(const CGroup& group) const {
    return std::string_view(m_strArena).substr(group.nKey, group.nKeyLength);
  }
  size_t Store(const char* pchText, size_t nLength);
  void AddValue(CGroup& group, const CString& strValue);
  void Grow();

  short m_nCols;
  short m_nCol;
  std::string m_strArena;
  std::vector<CGroup> m_arGroups;
  std::vector<CValue> m_arValues;
  std::vector<WORD> m_arLengths;
  std::vector<size_t> m_arSlots;  // open addressing: group number + 1, 0 free
  std::string m_strKey;
  DWORD m_nMerged = 0;
};

size_t CMergeGroups::Store(const char* pchText, size_t nLength) {
  const size_t nAt = m_strArena.size();
  m_strArena.append(pchText, nLength);
  return nAt;
}

void CMergeGroups::AddValue(CGroup& group, const CString& strValue) {
  const size_t nLength = static_cast<size_t>(strValue.GetLength());
  m_arValues.push_back({Store(strValue.GetString(), nLength), nLength, NO_VALUE});
  const size_t nValue = m_arValues.size() - 1;
  if (group.nLastValue == NO_VALUE) {
    group.nFirstValue = nValue;
  } else {
    m_arValues[group.nLastValue].nNext = nValue;
  }
  group.nLastValue = nValue;
}

void CMergeGroups::Grow() {
  std::vector<size_t> arSlots(m_arSlots.empty() ? 1024 : m_arSlots.size() * 2, 0);
  const size_t nMask = arSlots.size() - 1;
  for (size_t nGroup = 0; nGroup < m_arGroups.size(); ++nGroup) {
    size_t nSlot = m_arGroups[nGroup].nHash & nMask;
    while (arSlots[nSlot] != 0) {
      nSlot = (nSlot + 1) & nMask;
    }
    arSlots[nSlot] = nGroup + 1;
  }
  m_arSlots.swap(arSlots);
}

void CMergeGroups::AddRow(const CStringArray& arRow) {
  MergeKeyOf(arRow, m_nCols, m_nCol, m_strKey);
  const size_t nHash = std::hash<std::string_view>()(m_strKey);
  if ((m_arGroups.size() + 1) * 2 > m_arSlots.size()) {
    Grow();
  }
  const size_t nMask = m_arSlots.size() - 1;
  size_t nSlot = nHash & nMask;
  for (; m_arSlots[nSlot] != 0; nSlot = (nSlot + 1) & nMask) {
    CGroup& group = m_arGroups[m_arSlots[nSlot] - 1];
    if (group.nHash == nHash && KeyOf(group) == m_strKey) {
      ++m_nMerged;
      if (!arRow[m_nCol].IsEmpty()) {
        AddValue(group, arRow[m_nCol]);
      }
      return;
    }
  }

  CGroup group{nHash,           Store(m_strKey.data(), m_strKey.size()),
               m_strKey.size(), m_arLengths.size(),
               NO_VALUE,        NO_VALUE};
  for (short nCell = 0; nCell < m_nCols; ++nCell) {
    if (nCell != m_nCol) {
      m_arLengths.push_back(static_cast<WORD>(arRow[nCell].GetLength()));
    }
  }
  AddValue(group, arRow[m_nCol]);
  m_arGroups.push_back(group);
  m_arSlots[nSlot] = m_arGroups.size();
}

void CMergeGroups::WriteGroup(size_t nGroup, CTableWriter& writer, char cValueSep) const {
  const CGroup& group = m_arGroups[nGroup];
  const char* pchKey = m_strArena.data() + group.nKey;
  size_t nLength = group.nLengths;
  for (short nCell = 0; nCell < m_nCols; ++nCell) {
    if (nCell > 0) {
      writer.AddSep();
    }
    if (nCell != m_nCol) {
      const size_t nCellLength = m_arLengths[nLength++];
      writer.AddText(pchKey, nCellLength);
      pchKey += nCellLength + 1;
      continue;
    }
    const CValue& first = m_arValues[group.nFirstValue];
    if (first.nNext == NO_VALUE) {
      writer.AddText(m_strArena.data() + first.nText, first.nLength);
      continue;
    }
    std::vector<CString> arValues;
    for (size_t nValue = group.nFirstValue; nValue != NO_VALUE; nValue = m_arValues[nValue].nNext) {
      const CValue& value = m_arValues[nValue];
      arValues.emplace_back(m_strArena.data() + value.nText, static_cast<int>(value.nLength));
    }
    const std::string strCell = FoldedCell(arValues, cValueSep);
    writer.AddText(strCell.data(), strCell.size());
  }
  writer.EndLine();
}

// One compaction pass on column nCol: reads strSource through the table's
// reader, writes strTarget. bCreated tells the caller that strTarget was
// made (and must go if the operation fails). m_fileData is left open only
// when an exception leaves the pass.
PassResult RunCompactPass(CCatStd& table, short nCol, const CString& strSource, CFile& fileOut,
                          char cValueSep, CProgressMonitor* pMonitor) {
  CFileException error;
  if (!table.m_fileData.Open(strSource, OPEN_SOURCE, &error)) {
    return PASS_NO_FILE;
  }

  double dRate = 0.0;
  if (pMonitor != nullptr) {
    pMonitor->SetStep(table.m_arColNames[nCol]);
    dRate = RewriteRate(table);
  }

  CTableWriter writer(&fileOut, table.m_cColSep, table.m_bScrambled);
  writer.WriteLine(table.m_arColNames);

  const short nCols = table.GetColCount();
  if (table.m_fileData.GetLength() > g_nFoldInMemoryBytes) {
    DWORD nMerged = 0;
    if (!FoldOnFiles(table, nCol, cValueSep, writer, pMonitor, dRate, nMerged)) {
      table.m_fileData.Close();
      return PASS_NO_FILE;
    }
    table.m_nRows -= nMerged;
    writer.Flush();
    table.m_fileData.Close();
    return writer.IsReadable() ? PASS_DONE : PASS_UNREADABLE;
  }
  CMergeGroups groups(nCols, nCol);
  ForEachRow(table, nCols, [&](CStringArray& arRow, DWORD, DWORD) { groups.AddRow(arRow); });
  // Each row folded into another leaves the table.
  table.m_nRows -= groups.GetMerged();

  DWORD nDone = 0;
  for (size_t nGroup = 0; nGroup < groups.GetCount(); ++nGroup) {
    groups.WriteGroup(nGroup, writer, cValueSep);
    ++nDone;
    if (pMonitor != nullptr) {
      pMonitor->SetPos(RewritePos(nDone, dRate));
    }
  }
  writer.Flush();
  table.m_fileData.Close();
  return writer.IsReadable() ? PASS_DONE : PASS_UNREADABLE;
}

// Writes the source row arRow, expanded: at the first listed column whose
// cell is a list, one row per value in the list's order, each expanded in
// turn; a row without a list in the listed columns is written as it is. So
// lists in several columns give their cross product, the first listed
// column varying slowest.
void ExpandRow(CCatStd& table, CStringArray& arRow, const CSortWordArray& arCols, WORD nUsed,
               CTableWriter& writer) {
  const INT_PTR nCols = arRow.GetSize();
  for (WORD nEntry = 0; nEntry < nUsed; ++nEntry) {
    const WORD nCol = arCols[nEntry];
    if (static_cast<INT_PTR>(nCol) >= nCols) {
      continue;
    }
    CStringArray arValues;
    BYTE nFlags = 0;
    if ((table.SplitCell(arRow[nCol], arValues, &nFlags) & CELL_LIST) == 0) {
      continue;
    }
    const CString strCell = arRow[nCol];
    for (INT_PTR nValue = 0; nValue < arValues.GetSize(); ++nValue) {
      arRow[nCol] = arValues[nValue];
      ExpandRow(table, arRow, arCols, nUsed, writer);
    }
    arRow[nCol] = strCell;
    return;
  }
  writer.WriteLine(arRow);
}

// Brings the table back after a failed rewrite that left its file as it
// was: opened again if it was open. What goes wrong here is not told: the
// failure that brought us here is.
void Reopen(CCatStd& table, BOOL bWasOpen) {
  table.m_fileData.Abort();
  if (!bWasOpen) {
    return;
  }
  try {
    table.Open(nullptr);
  } catch (const CException&) {
    table.Close();
  }
}

// The end of a rewrite that replaced the table file: the sidecar goes, and
// the next Open reads the new file as a changed one.
void ForgetSidecar(CCatStd& table) {
  table.DropSide();
  ForgetStamp(table);
}

// The same on the way out of a rewrite that replaced the table file and then
// failed (the old file could not be removed): the new file stands, and the
// failure that brought us here is the one told.
void ForgetSidecarQuietly(CCatStd& table) {
  try {
    table.DropSide();
  } catch (const CException&) {
    // told below
  }
  ForgetStamp(table);
}

// The end of a rewrite that succeeded: the sidecar of a replaced table file
// goes (bReplaced), the monitor ends, and the table is open and indexed
// again as it was before.
void FinishRewrite(CCatStd& table, BOOL bReplaced, CProgressMonitor* pMonitor, BOOL bWasOpen,
                   BOOL bWasIndexed) {
  if (bReplaced) {
    ForgetSidecar(table);
  }
  if (pMonitor != nullptr) {
    pMonitor->End();
  }
  if (bWasOpen) {
    table.Open(nullptr);
  }
  if (bWasIndexed) {
    table.IndexTable();
  }
}

}  // namespace

BOOL CCatStd::CompactTable(const char* pszReserved, CWordArray* pCols) {
  if (m_pMaster != nullptr) {
    return m_pMaster->CompactTable(pszReserved, pCols);
  }
  CProgressMonitor* pMonitor = GetProgressMonitor();
  const char cValueSep = SettingValueSep();
  const BOOL bWasOpen = m_bOpen;
  const BOOL bWasIndexed = m_bIndexed;
  if (!m_bOpen && m_strName.IsEmpty()) {
    return FALSE;
  }

  // The passes, in order; numbers outside the table are passed over.
  const short nCols = GetColCount();
  std::vector<short> arPasses;
  const INT_PTR nPasses = pCols != nullptr ? pCols->GetSize() : nCols;
  for (INT_PTR nPass = 0; nPass < nPasses; ++nPass) {
    const short nCol =
        pCols != nullptr ? static_cast<short>(pCols->GetAt(nPass)) : static_cast<short>(nPass);
    if (nCol >= 0 && nCol < nCols) {
      arPasses.push_back(nCol);
    }
  }
  if (arPasses.empty()) {
    return TRUE;
  }

  const CString strPath = m_strDir + m_strName;
  Close();
  MonitorTitle(pMonitor, MSG_COMPACT_TITLE, m_strName);

  // Pass k reads what pass k - 1 wrote; the outputs go to two work files in
  // turn, the last of which takes the table file's place.
  const DWORD nRowsBefore = m_nRows;
  CFile arFiles[2];
  CWorkFile arWork[2] = {CWorkFile(arFiles[0]), CWorkFile(arFiles[1])};
  auto abandon = [&]() {
    m_fileData.Abort();
    m_nRows = nRowsBefore;
    arWork[0].Discard();
    arWork[1].Discard();
  };
  BOOL bReplaced = FALSE;
  try {
    CString strSource = strPath;
    int nOut = 0;
    for (const short nCol : arPasses) {
      CFileException error;
      PassResult result = PASS_NO_FILE;
      if (arWork[nOut].Create(strPath, &error)) {
        result = RunCompactPass(*this, nCol, strSource, arFiles[nOut], cValueSep, pMonitor);
      }
      if (result != PASS_DONE) {
        abandon();
        if (result == PASS_UNREADABLE) {
          Reopen(*this, bWasOpen);  // refused: nothing has changed
        }
        return FALSE;
      }
      strSource = arWork[nOut].GetReadPath();
      nOut = 1 - nOut;
      arWork[nOut].Discard();  // the source of the pass before
    }
    // The sidecar goes before the new rows stand under the table's name.
    if (!DropSideForRewrite(*this)) {
      abandon();
      Reopen(*this, bWasOpen);
      return FALSE;
    }
    arWork[1 - nOut].Commit();
    bReplaced = TRUE;
  } catch (...) {
    if (bReplaced) {
      ForgetSidecarQuietly(*this);
      throw;
    }
    abandon();
    Reopen(*this, bWasOpen);
    throw;
  }

  FinishRewrite(*this, TRUE, pMonitor, bWasOpen, bWasIndexed);
  return TRUE;
}

BOOL CCatStd::UncompactTable(const char* pszTarget, CWordArray* pCols) {
  if (m_pMaster != nullptr) {
    return m_pMaster->UncompactTable(pszTarget, pCols);
  }
  CProgressMonitor* pMonitor = GetProgressMonitor();

  // The listed columns in ascending order, whatever the caller's order.
  const short nCols = GetColCount();
  CSortWordArray arCols;
  if (pCols != nullptr && pCols->GetSize() > 0) {
    arCols.Append(pCols);
  } else {
    for (short nCol = 0; nCol < nCols; ++nCol) {
      arCols.Add(static_cast<WORD>(nCol));
    }
  }
  const WORD nUsed = static_cast<WORD>(std::min<INT_PTR>(arCols.GetSize(), nCols));

  const BOOL bWasOpen = m_bOpen;
  const BOOL bWasIndexed = m_bIndexed;
  if (!m_bOpen && m_strName.IsEmpty()) {
    return FALSE;
  }

  // The file to write: the table's own, or another one (the table's own path
  // given as the target counts as the table's own).
  const CString strPath = m_strDir + m_strName;
  CString strTarget = pszTarget != nullptr ? pszTarget : "";
  if (strTarget == strPath) {
    strTarget.Empty();
  }
  const BOOL bOwnFile = strTarget.IsEmpty();
  const BOOL bScramble = bOwnFile ? m_bScrambled : IsScrambledPath(strTarget);

  Close();
  MonitorTitle(pMonitor, MSG_UNCOMPACT_TITLE, m_strName);

  CFileException error;
  if (!m_fileData.Open(strPath, OPEN_SOURCE, &error)) {
    return FALSE;
  }
  CFile fileOut;
  CWorkFile work(fileOut);
  if (!work.Create(bOwnFile ? strPath : strTarget, &error)) {
    Reopen(*this, bWasOpen);
    return FALSE;
  }

  BOOL bReplaced = FALSE;
  try {
    double dRate = 0.0;
    if (pMonitor != nullptr) {
      pMonitor->SetStep("");
      dRate = RewriteRate(*this);
    }
    CTableWriter writer(&fileOut, m_cColSep, bScramble);
    writer.WriteLine(m_arColNames);
    CStringArray arRow;
    DWORD nDone = 0;
    // One pass from the data position, as the analysis and index passes
    // read: the fills of the line buffer fall where theirs do, and a line
    // end that two fills split is a row of empty cells here as there.
    BOOL bRows = TRUE;
    if (m_nDataPos != 0) {
      SeekLine(m_nDataPos);
    } else {
      bRows = SkipHeader(*this, arRow);
    }
    if (bRows) {
      while (ReadLine(arRow, 0, nullptr) > 0) {
        arRow.SetSize(nCols);
        ExpandRow(*this, arRow, arCols, nUsed, writer);
        ++nDone;
        if (pMonitor != nullptr) {
          pMonitor->SetPos(RewritePos(nDone, dRate));
        }
      }
    }
    writer.Flush();
    m_fileData.Close();
    if (!writer.IsReadable()) {
      work.Discard();
      Reopen(*this, bWasOpen);  // refused: nothing has changed
      return FALSE;
    }
    // The table's own sidecar goes before the new rows take its name; a
    // target elsewhere is replaced in one step either way.
    if (bOwnFile && !DropSideForRewrite(*this)) {
      work.Discard();
      Reopen(*this, bWasOpen);
      return FALSE;
    }
    work.Commit();
    bReplaced = bOwnFile;
  } catch (...) {
    if (bReplaced) {
      ForgetSidecarQuietly(*this);
      throw;
    }
    work.Discard();
    Reopen(*this, bWasOpen);
    throw;
  }

  FinishRewrite(*this, bOwnFile, pMonitor, bWasOpen, bWasIndexed);
  return TRUE;
}
