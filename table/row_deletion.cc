// DeleteRows takes rows out of the table file: the bytes before the first
// deleted row and the bytes behind each deleted stretch of rows are copied,
// in order, to a work file, which then takes the table file's place in one
// step (work_file.h: the file keeps its mode, owner and links that lead to
// it). So a process that dies on the way leaves the old table or the new
// one, never a file in mid-move. In a folder that takes no new file, the
// rows are moved down in place and the file cut instead. The row offsets
// come from the sidecar's row table, all of them read before the first byte
// is copied; the sidecar then no longer fits the file and is given up.
#include <cerrno>
#include <cstdlib>
#include <vector>

#include "frame/sort_arrays.h"
#include "index/column_index.h"
#include "query/set_std.h"
#include "table/cat_std.h"
#include "table/work_file.h"
#include "table/written_form.h"

namespace {

constexpr UINT OPEN_UPDATE = CFile::modeReadWrite | CFile::shareExclusive;
constexpr UINT OPEN_READ = CFile::modeRead | CFile::shareDenyWrite;

// One move: the kept bytes between two deleted stretches.
struct CKeptBlock {
  DWORD nSrc;
  DWORD nLength;
  BOOL bToEnd;  // the bytes run to the end of the file
};

// Sorts the list and keeps each row number once.
void SortUnique(CDWordArray& arRows) {
  std::qsort(arRows.GetData(), static_cast<size_t>(arRows.GetSize()), sizeof(DWORD),
             CSortDWordArray::CompareDWord);
  INT_PTR nKept = 0;
  for (INT_PTR i = 0; i < arRows.GetSize(); ++i) {
    if (nKept == 0 || arRows[i] != arRows[nKept - 1]) {
      arRows[nKept++] = arRows[i];
    }
  }
  arRows.SetSize(nKept);
}

}  // namespace

BOOL CCatStd::DeleteRows(CDWordArray& arRows) {
  if (m_pMaster != nullptr) {
    return m_pMaster->DeleteRows(arRows);
  }
  if (arRows.GetSize() == 0) {
    return FALSE;
  }
  // Moving a line of an SDC file changes its key: the lines behind a deleted
  // row would no longer read back. Such a table is left alone.
  if (m_bScrambled) {
    return FALSE;
  }
  if (!m_bIndexed && !IndexTable()) {
    return FALSE;
  }
  if (!m_bIndexed) {
    return FALSE;  // no row table to find the rows by
  }

  SortUnique(arRows);
  INT_PTR nUsable = arRows.GetSize();
  while (nUsable > 0 && arRows[nUsable - 1] >= m_nRows) {
    --nUsable;
  }
  if (nUsable == 0) {
    return FALSE;
  }

  // Where the first deleted row starts, and which bytes are kept behind each
  // stretch of consecutive rows; a stretch that reaches the table's end
  // keeps nothing.
  const LONG nFirst = GetRowPos(arRows[0], nullptr);
  if (nFirst < 0) {
    return FALSE;
  }
  std::vector<CKeptBlock> arBlocks;
  for (INT_PTR nEntry = 0; nEntry < nUsable; ++nEntry) {
    while (nEntry + 1 < nUsable && arRows[nEntry + 1] == arRows[nEntry] + 1) {
      ++nEntry;
    }
    const DWORD nBehind = arRows[nEntry] + 1;
    if (nBehind >= m_nRows) {
      break;
    }
    const LONG nSrc = GetRowPos(nBehind, nullptr);
    const BOOL bToEnd = nEntry + 1 >= nUsable;
    const LONG nEnd = bToEnd ? 0 : GetRowPos(arRows[nEntry + 1], nullptr);
    if (nSrc < 0 || nEnd < 0 || (!bToEnd && nEnd < nSrc)) {
      return FALSE;
    }
    arBlocks.push_back({static_cast<DWORD>(nSrc), static_cast<DWORD>(nEnd - nSrc), bToEnd});
  }

  // The file, held exclusively while its rows are copied; the new file is
  // written as a work file (work_file.h) that then takes the file's place.
  const CString strPath = m_strDir + m_strName;
  m_fileData.Abort();
  CFileException error;
  if (!m_fileData.Open(strPath, OPEN_UPDATE, &error)) {
    if (!m_fileData.Open(strPath, OPEN_READ, &error)) {
      Close();
    }
    return FALSE;
  }

  CFile fileOut;
  CWorkFile work(fileOut);
  const BOOL bSwap = work.Create(strPath, &error);
  if (!bSwap && error.m_lOsError != EACCES && error.m_lOsError != EROFS) {
    Close();
    Open(nullptr);
    throw CFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
  }
  const WORD nBufSize = static_cast<WORD>(LINE_BUFFER_SIZE);
  try {
    const DWORD nFileLength = static_cast<DWORD>(m_fileData.GetLength());
    if (bSwap) {
      CopyFileRange(&fileOut, &m_fileData, s_pBuffer, nBufSize, 0, nFirst);
      for (const CKeptBlock& block : arBlocks) {
        const DWORD nLength = block.bToEnd ? nFileLength - block.nSrc : block.nLength;
        CopyFileRange(&fileOut, &m_fileData, s_pBuffer, nBufSize, static_cast<LONG>(block.nSrc),
                      static_cast<LONG>(block.nSrc + nLength));
      }
    }
    // The sidecar goes before the new rows stand under the table's name: a
    // crash from here on leaves no sidecar beside them.
    if (!DropSideForRewrite(*this)) {
      Close();
      Open(nullptr);
      return FALSE;
    }
    if (bSwap) {
      m_fileData.Close();
      work.Commit();
    } else {
      // A folder that takes no new file: the rows move down in the file
      // itself, which is then cut, as the file's own name and links stay.
      // A crash in the middle of this leaves the file in mid-move.
      DWORD nDest = static_cast<DWORD>(nFirst);
      for (const CKeptBlock& block : arBlocks) {
        const DWORD nLength = block.bToEnd ? nFileLength - block.nSrc : block.nLength;
        MoveFileBlock(&m_fileData, s_pBuffer, nBufSize, nDest, block.nSrc, nLength);
        nDest += nLength;
      }
      m_fileData.SetLength(nDest);
      m_fileData.Close();
    }
  } catch (...) {
    // Old file or new, nothing that describes the table may stay.
    work.Discard();
    Close();
    try {
      DropSide();
    } catch (const CException&) {
      // The failure of the move is the one told.
    }
    ForgetStamp(*this);
    throw;
  }

  Close();
  ForgetStamp(*this);
  Open(nullptr);

  // The sets on this table hold row numbers that no longer mean what they
  // did: they run again when next asked.
  for (INT_PTR nSlot = 0; nSlot < m_arViews.GetSize(); ++nSlot) {
    CCatStd* pView = static_cast<CCatStd*>(m_arViews[nSlot]);
    if (pView != nullptr && !pView->IsTable()) {
      static_cast<CSetStd*>(pView)->m_bDone = FALSE;
    }
  }
  return TRUE;
}
