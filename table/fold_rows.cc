#include "table/fold_rows.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>
#include <utility>

#include "frame/sort_arrays.h"
#include "index/entry_codec.h"
#include "index/entry_sort.h"
#include "platform/temp_file.h"
#include "table/cat_std.h"

ULONGLONG g_nFoldInMemoryBytes = 8ULL << 20;

namespace {

constexpr char KEY_SEP = '|';

// The entry of a row, sorted by its key's hash, then by row number:
//
//   offset  size  field
//   0       8     hash of the merge key, compared unsigned
//   8       4     row number in file order, from 0
//   12      4     offset of the row in the source
//   16      4     length of the row, its line end included
constexpr WORD ROW_ENTRY_SIZE = 20;

// The entry of a group, sorted by the row number of its first row:
//
//   offset  size  field
//   0       4     row number of the group's first row
//   4       8     offset of the group's cells in the group file
//   12      4     length of those cells there
//
// In the group file each cell stands as its length (4 bytes) and its bytes:
// a cell may hold a trail byte equal to the separator.
constexpr WORD GROUP_ENTRY_SIZE = 16;

constexpr size_t IO_BLOCK = 1u << 16;

int CompareRowEntries(const void* p1, const void* p2) {
  const BYTE* pA = static_cast<const BYTE*>(p1);
  const BYTE* pB = static_cast<const BYTE*>(p2);
  const ULONGLONG nHashA = GetQword(pA);
  const ULONGLONG nHashB = GetQword(pB);
  if (nHashA != nHashB) {
    return nHashA < nHashB ? -1 : 1;
  }
  const DWORD nRowA = GetDword(pA + 8);
  const DWORD nRowB = GetDword(pB + 8);
  return nRowA < nRowB ? -1 : nRowA > nRowB ? 1 : 0;
}

int CompareGroupEntries(const void* p1, const void* p2) {
  const DWORD nRowA = GetDword(static_cast<const BYTE*>(p1));
  const DWORD nRowB = GetDword(static_cast<const BYTE*>(p2));
  return nRowA < nRowB ? -1 : nRowA > nRowB ? 1 : 0;
}

// Bytes appended to a file through a buffer.
class CAppender {
 public:
  explicit CAppender(CFile& file) : m_file(file) { m_abBuffer.reserve(IO_BLOCK); }
  void Put(const void* pData, size_t nLength) {
    if (m_abBuffer.size() + nLength > IO_BLOCK) {
      Flush();
    }
    if (nLength > IO_BLOCK) {
      m_file.Write(pData, static_cast<UINT>(nLength));
      m_nWritten += nLength;
      return;
    }
    const BYTE* pBytes = static_cast<const BYTE*>(pData);
    m_abBuffer.insert(m_abBuffer.end(), pBytes, pBytes + nLength);
  }
  void Flush() {
    if (!m_abBuffer.empty()) {
      m_file.Write(m_abBuffer.data(), static_cast<UINT>(m_abBuffer.size()));
      m_nWritten += m_abBuffer.size();
      m_abBuffer.clear();
    }
  }
  // Bytes put so far, buffered or not.
  ULONGLONG GetSize() const { return m_nWritten + m_abBuffer.size(); }

 private:
  CFile& m_file;
  std::vector<BYTE> m_abBuffer;
  ULONGLONG m_nWritten = 0;
};

// nCount entries of nSize bytes read in order from the start of a file.
class CEntryReader {
 public:
  CEntryReader(CFile& file, WORD nSize, DWORD nCount)
      : m_file(file), m_nSize(nSize), m_nLeft(nCount), m_abBuffer(IO_BLOCK / nSize * nSize) {
    m_file.Seek(0, CFile::begin);
  }
  // The next entry, or null after the last (or at a short file).
  const BYTE* Next() {
    if (m_nAt == m_nEnd) {
      if (m_nLeft == 0) {
        return nullptr;
      }
      const DWORD nWant = std::min<DWORD>(m_nLeft, static_cast<DWORD>(m_abBuffer.size() / m_nSize));
      const UINT nBytes = nWant * m_nSize;
      if (m_file.Read(m_abBuffer.data(), nBytes) != nBytes) {
        m_nLeft = 0;
        return nullptr;
      }
      m_nLeft -= nWant;
      m_nAt = 0;
      m_nEnd = nBytes;
    }
    const BYTE* pEntry = m_abBuffer.data() + m_nAt;
    m_nAt += m_nSize;
    return pEntry;
  }

 private:
  CFile& m_file;
  WORD m_nSize;
  DWORD m_nLeft;
  std::vector<BYTE> m_abBuffer;
  size_t m_nAt = 0;
  size_t m_nEnd = 0;
};

// Rows of one hash read again and folded by their true keys.
struct CGroup {
  std::string strKey;
  DWORD nFirstRow;
  std::vector<CString> arFirst;
  std::vector<CString> arValues;
};

// Reads the row of entry pEntry again, by its offset and length: one more
// byte than the row, so that a last row without a line end meets the file's
// end as it did in the pass.
void ReadRowAgain(CCatStd& table, const BYTE* pEntry, short nCols, CStringArray& arRow) {
  table.SeekLine(GetDword(pEntry + 12));
  table.ReadLine(arRow, GetDword(pEntry + 16) + 1, nullptr);
  arRow.SetSize(nCols);
}

// Folds the rows of one hash, whose entries are in row order, and files each
// group's cells and entry.
void FoldRun(CCatStd& table, short nCols, short nCol, char cValueSep,
             const std::vector<BYTE>& abRun, CAppender& cells, CAppender& groups, DWORD& nGroups,
             DWORD& nMerged) {
  std::vector<CGroup> arGroups;
  CStringArray arRow;
  std::string strKey;
  for (size_t nAt = 0; nAt < abRun.size(); nAt += ROW_ENTRY_SIZE) {
    ReadRowAgain(table, abRun.data() + nAt, nCols, arRow);
    MergeKeyOf(arRow, nCols, nCol, strKey);
    auto it = std::find_if(arGroups.begin(), arGroups.end(),
                           [&](const CGroup& group) { return group.strKey == strKey; });
    if (it == arGroups.end()) {
      CGroup& group = arGroups.emplace_back();
      group.strKey = strKey;
      group.nFirstRow = GetDword(abRun.data() + nAt + 8);
      group.arFirst.assign(arRow.GetData(), arRow.GetData() + arRow.GetSize());
      group.arValues.push_back(arRow[nCol]);
    } else {
      ++nMerged;
      if (!arRow[nCol].IsEmpty()) {
        it->arValues.push_back(arRow[nCol]);
      }
    }
  }
  for (CGroup& group : arGroups) {
    const std::string strFolded = FoldedCell(group.arValues, cValueSep);
    const ULONGLONG nAt = cells.GetSize();
    for (short nCell = 0; nCell < nCols; ++nCell) {
      const CString& strFirst = group.arFirst[static_cast<size_t>(nCell)];
      const char* pchText = nCell == nCol ? strFolded.data() : strFirst.GetString();
      const DWORD nLength = nCell == nCol ? static_cast<DWORD>(strFolded.size())
                                          : static_cast<DWORD>(strFirst.GetLength());
      BYTE abLength[4];
      PutDword(abLength, nLength);
      cells.Put(abLength, 4);
      cells.Put(pchText, nLength);
    }
    BYTE abEntry[GROUP_ENTRY_SIZE];
    PutDword(abEntry, group.nFirstRow);
    PutQword(abEntry + 4, nAt);
    PutDword(abEntry + 12, static_cast<DWORD>(cells.GetSize() - nAt));
    groups.Put(abEntry, GROUP_ENTRY_SIZE);
    ++nGroups;
  }
}

}  // namespace

void MergeKeyOf(const CStringArray& arRow, short nCols, short nCol, std::string& strKey) {
  strKey.clear();
  for (short nCell = 0; nCell < nCols; ++nCell) {
    if (nCell != nCol) {
      const CString& strCell = arRow[nCell];
      strKey.append(strCell.GetString(), static_cast<size_t>(strCell.GetLength()));
      strKey += KEY_SEP;
    }
  }
}

std::string FoldedCell(std::vector<CString>& arValues, char cValueSep) {
  if (arValues.size() == 1) {
    return std::string(arValues[0].GetString(), static_cast<size_t>(arValues[0].GetLength()));
  }
  // Inserting each value at its lower bound (BinaryFind with CompareString)
  // into the list begun with the first row's cell gives the values sorted,
  // and among values that compare equal the later one in front: a stable
  // sort of the values taken from last to first.
  std::reverse(arValues.begin(), arValues.end());
  std::stable_sort(arValues.begin(), arValues.end(), [](const CString& a, const CString& b) {
    return CSortStringArray::CompareString(&a, &b) < 0;
  });
  std::string strCell;
  for (size_t nValue = 0; nValue < arValues.size(); ++nValue) {
    if (nValue > 0) {
      strCell += cValueSep;
    }
    strCell.append(arValues[nValue].GetString(), static_cast<size_t>(arValues[nValue].GetLength()));
  }
  return strCell;
}

BOOL SkipHeader(CCatStd& table, CStringArray& arRow) {
  table.SeekLine(0);
  return table.ReadLine(arRow, 0, nullptr) > 0 ? TRUE : FALSE;
}

void ForEachRow(CCatStd& table, short nCols,
                const std::function<void(CStringArray&, DWORD, DWORD)>& fnRow) {
  CStringArray arRow;
  if (!SkipHeader(table, arRow)) {
    return;
  }
  for (DWORD nRowPos = table.m_nFilePos; table.ReadLine(arRow, 0, nullptr) > 0;
       nRowPos = table.m_nFilePos) {
    char cFirst = 0;
    if (arRow.GetSize() == 1 && arRow[0].IsEmpty() &&
        ::pread(table.m_fileData.m_hFile, &cFirst, 1, nRowPos) == 1 &&
        (cFirst == '\r' || cFirst == '\n')) {
      continue;
    }
    arRow.SetSize(nCols);
    fnRow(arRow, nRowPos, table.m_nFilePos - nRowPos);
  }
}

BOOL FoldOnFiles(CCatStd& table, short nCol, char cValueSep, CTableWriter& writer,
                 CProgressMonitor* pMonitor, double dRate, DWORD& nMerged) {
  nMerged = 0;
  CFile rowFile;
  CFile sortedRows;
  CFile cellFile;
  CFile groupFile;
  CFile sortedGroups;
  for (CFile* pFile : {&rowFile, &sortedRows, &cellFile, &groupFile, &sortedGroups}) {
    if (!OpenTempFile("sdx", *pFile)) {
      return FALSE;
    }
  }
  const short nCols = table.GetColCount();

  // The rows' entries, in file order.
  DWORD nRows = 0;
  {
    CAppender rows(rowFile);
    std::string strKey;
    ForEachRow(table, nCols, [&](CStringArray& arRow, DWORD nRowPos, DWORD nLength) {
      MergeKeyOf(arRow, nCols, nCol, strKey);
      BYTE abEntry[ROW_ENTRY_SIZE];
      PutQword(abEntry, std::hash<std::string_view>()(strKey));
      PutDword(abEntry + 8, nRows++);
      PutDword(abEntry + 12, nRowPos);
      PutDword(abEntry + 16, nLength);
      rows.Put(abEntry, ROW_ENTRY_SIZE);
    });
    rows.Flush();
  }
  if (!SortEntries(&rowFile, nRows, ROW_ENTRY_SIZE, CompareRowEntries, &sortedRows, nullptr, 0)) {
    return FALSE;
  }
  rowFile.Close();

  // Groups of each hash, filed with their cells.
  DWORD nGroups = 0;
  {
    CAppender cells(cellFile);
    CAppender groups(groupFile);
    CEntryReader reader(sortedRows, ROW_ENTRY_SIZE, nRows);
    std::vector<BYTE> abRun;
    for (const BYTE* pEntry = reader.Next();; pEntry = reader.Next()) {
      if (!abRun.empty() && (pEntry == nullptr || GetQword(pEntry) != GetQword(abRun.data()))) {
        FoldRun(table, nCols, nCol, cValueSep, abRun, cells, groups, nGroups, nMerged);
        abRun.clear();
      }
      if (pEntry == nullptr) {
        break;
      }
      abRun.insert(abRun.end(), pEntry, pEntry + ROW_ENTRY_SIZE);
    }
    cells.Flush();
    groups.Flush();
  }
  sortedRows.Close();
  if (!SortEntries(&groupFile, nGroups, GROUP_ENTRY_SIZE, CompareGroupEntries, &sortedGroups,
                   nullptr, 0)) {
    return FALSE;
  }

  // The groups in the order of their first rows.
  CEntryReader reader(sortedGroups, GROUP_ENTRY_SIZE, nGroups);
  std::vector<char> achCells;
  DWORD nDone = 0;
  for (const BYTE* pEntry = reader.Next(); pEntry != nullptr; pEntry = reader.Next()) {
    achCells.resize(GetDword(pEntry + 12));
    if (cellFile.ReadAt(GetQword(pEntry + 4), achCells.data(),
                        static_cast<UINT>(achCells.size())) != achCells.size()) {
      return FALSE;
    }
    for (size_t nAt = 0, nCell = 0; nAt + 4 <= achCells.size(); ++nCell) {
      const DWORD nLength = GetDword(reinterpret_cast<const BYTE*>(achCells.data() + nAt));
      if (nCell > 0) {
        writer.AddSep();
      }
      writer.AddText(achCells.data() + nAt + 4, nLength);
      nAt += 4 + nLength;
    }
    writer.EndLine();
    ++nDone;
    if (pMonitor != nullptr) {
      pMonitor->SetPos(RewritePos(nDone, dRate));
    }
  }
  return TRUE;
}
