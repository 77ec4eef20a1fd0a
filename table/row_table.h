// The row table of a sidecar: where each data row of the table file starts.
//
// It stands directly behind the sidecar's header, at the table's
// m_nRowTablePos, with one entry per data row, in row order; nothing marks
// its end. All numbers are little-endian.
//
//   offset                   size   field
//   m_nRowTablePos + 4 i     4      file offset of row i in the table file
//
// An entry is the offset of the row's first byte, in the TXT and the SDC
// file alike. The entries rise strictly and the first one is the offset of
// the first data row. A row ends where the next one starts; the last row ends
// at the end of the table file. The line end belongs to the row.
//
// Example: a table file "A\r\n1\r\n22\r\n" has the rows at 3 and 6; its row
// table is 03 00 00 00 06 00 00 00, and the lengths of its rows are 3 and 4.
#ifndef LORN_TABLE_ROW_TABLE_H_
#define LORN_TABLE_ROW_TABLE_H_

#include "platform/cfile.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Size of one entry.
constexpr DWORD ROW_ENTRY_SIZE = 4;

// The bytes of one entry, and back.
LORN_INTERNAL void EncodeRowEntry(BYTE* pDest, DWORD nOffset);
LORN_INTERNAL DWORD DecodeRowEntry(const BYTE* pSrc);

// Appends entries to a row table through a buffer, so that a pass over a
// large table writes in large blocks; the bytes written are those that one
// 4-byte write per entry would give.
//
// REQUIRES: the file stands where the first entry goes, and nobody else
// writes to it between the first Add and Flush. The file is not owned.
// With a null file the writer accepts entries and writes nothing.
// Entries not flushed when the writer goes are lost: the destructor writes
// nothing, so that an exception leaving a pass does not write either.
class LORN_INTERNAL CRowTableWriter {
 public:
  explicit CRowTableWriter(CFile* pFile) : m_pFile(pFile) {}
  CRowTableWriter(const CRowTableWriter&) = delete;
  CRowTableWriter& operator=(const CRowTableWriter&) = delete;

  void Add(DWORD nOffset) {
    if (m_pFile == nullptr) {
      return;
    }
    if (m_nUsed == sizeof(m_buffer)) {
      Flush();
    }
    EncodeRowEntry(m_buffer + m_nUsed, nOffset);
    m_nUsed += ROW_ENTRY_SIZE;
  }
  // Writes what is buffered at the file's position. Raises what CFile raises.
  void Flush();

 private:
  CFile* m_pFile;
  UINT m_nUsed = 0;
  BYTE m_buffer[16384];
};

// Reads nCount (1 or 2) entries from row nRow on, from the row table at
// nTablePos in pFile, into pEntries, through CFile::ReadAt: from the file's
// view when it offers one, else by a seek and a read. FALSE when fewer
// bytes come than asked (an entry past the end of the file). Raises what
// CFile raises (a closed file).
LORN_INTERNAL BOOL ReadRowEntries(CFile* pFile, DWORD nTablePos, DWORD nRow, UINT nCount,
                                  DWORD* pEntries);

// Rows whose entries PrefetchRowEntries fetches ahead, at most.
constexpr INT_PTR ROW_PREFETCH_COUNT = 64;

// Asks the processor to fetch the entries of the first ROW_PREFETCH_COUNT of
// the nCount rows at pRows from the row table at nTablePos in pFile, when
// the file offers a view: a caller about to read these rows by number finds
// their entries at hand instead of waiting for memory once per row. Reads
// nothing and changes nothing; a file without a view is left alone.
LORN_INTERNAL void PrefetchRowEntries(CFile* pFile, DWORD nTablePos, const DWORD* pRows,
                                      INT_PTR nCount);

#endif  // LORN_TABLE_ROW_TABLE_H_
