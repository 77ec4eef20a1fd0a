// The written form of a rewritten table, and the helpers that the rewriting
// operations (CompactTable, UncompactTable, CryptTable, DeleteRows) share.
//
// A table that CompactTable or UncompactTable rewrites is written in one
// form, whatever form its source had:
//
//   file         header-line data-line*
//   header-line  name  (SEP name)*  CR LF     the names of m_arColNames
//   data-line    cell  (SEP cell)*  CR LF     one cell per column, in order
//
// SEP is the table's m_cColSep; CR LF are the bytes 13 10, whatever line
// ends the source had (LF alone, CR alone, blank lines behind a line). Cells
// are written byte for byte as the reader delivered them: no quoting, no
// escape, nothing behind the last cell but the line end. A compacted cell is
// its values with the value separator between them and none at its start or
// end; the writer takes it as one cell text. There is no mark of any kind:
// nothing in the file says that it was rewritten.
//
// Scrambled form (a table whose name ends in SDC): every line is stored with
// the key of the offset at which it starts in the new file
// (CCatStd::MakeLineKey): each byte other than SEP, CR, LF and NUL is stored
// lower by the key, in 8-bit arithmetic, and the byte behind a lead byte of
// the code page in force is stored as it stands. That is the inverse of what
// the reader does, so the file reads back as the lines that were written.
//
// Example, SEP = TAB, the header REF, COLOR and the rows A1 blue*red, A2 red:
//
//   offset  plain                    scrambled (key)
//   0       "REF\tCOLOR\r\n"         "QDE\tBNKNQ\r\n"   (1)
//   11      "A1\tblue*red\r\n"       "?/\t`jsc(pcb\r\n" (2)
//   24      "A2\tred\r\n"            ";,\tl_^\r\n"      (6)
#ifndef LORN_TABLE_WRITTEN_FORM_H_
#define LORN_TABLE_WRITTEN_FORM_H_

#include <cstddef>
#include <vector>

#include "platform/cfile.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

class CCatStd;

// Writes lines in the written form to a file, through a buffer of its own
// (not the shared line buffer, which the reader uses meanwhile).
//
// REQUIRES: the file is empty and stands at offset 0; nobody else writes to
// it until Flush. The file is not owned. Bytes not flushed when the writer
// goes are lost: the destructor writes nothing, so that an exception that
// leaves a pass writes nothing either. Write errors raise what CFile raises.
class LORN_INTERNAL CTableWriter {
 public:
  CTableWriter(CFile* pFile, char cColSep, BOOL bScramble);
  CTableWriter(const CTableWriter&) = delete;
  CTableWriter& operator=(const CTableWriter&) = delete;

  // One whole line: the cells of arCells with SEP between them, then CR LF.
  void WriteLine(const CStringArray& arCells);

  // A line made piece by piece: text of the present cell, SEP to start the
  // next cell, CR LF to end the line.
  void AddText(const char* pchText, size_t nLength);
  void AddSep();
  void EndLine();

  // Writes what is buffered.
  void Flush();

  // FALSE once a line would not read back as written: a cell of
  // LINE_BUFFER_SIZE bytes or more, which the reader cannot hold; in the
  // scrambled form also a byte stored as SEP, CR, LF or NUL, or a SEP or CR
  // standing where the reader takes the byte behind a lead byte. The caller
  // decides what to do with such a file.
  BOOL IsReadable() const { return m_bReadable; }

 private:
  void Put(char c);
  void PutScrambled(const char* pchText, size_t nLength);
  void StartLine();
  BOOL IsLineByte(char c) const;

  CFile* m_pFile;
  char m_cColSep;
  BOOL m_bScramble;
  BOOL m_bReadable = TRUE;
  std::vector<char> m_buffer;
  size_t m_nUsed = 0;
  ULONGLONG m_nFlushed = 0;  // bytes of the file already written
  BOOL m_bInLine = FALSE;    // a line has been started and not ended
  char m_cKey = 0;           // the present line's key, negated
  BOOL m_bTrail = FALSE;     // the next byte is the trail of a lead byte
  size_t m_nCellLength = 0;  // bytes of the present cell so far
};

// --- Names of the files that a rewrite makes ---

// The table's directory and its name up to and including the name's last
// "." (searched by character), followed by pszExt. A name without a dot
// leaves only the directory: the result is then the directory and pszExt.
LORN_INTERNAL CString MakeSiblingPath(const CCatStd& table, const char* pszExt);
// Whether a table file of that path is read as scrambled: the text behind
// the last "." of its name is "SDC" in any case (the whole name, without a
// dot).
LORN_INTERNAL BOOL IsScrambledPath(const CString& strPath);

// --- The table after a rewrite of its file ---

// Sets m_tStamp apart from the stamp of the table file as it now stands, so
// that the next Open with a null path takes the file as changed (reads the
// header again and gives up the sidecar), whatever second the file was
// written in. Nothing happens when the file cannot be found.
LORN_INTERNAL void ForgetStamp(CCatStd& table);

// --- Progress of a rewriting pass ---

// Rows per monitor point of a pass over the table's m_fileData: m_nRows / 100
// while m_nRows is known; otherwise the file's length divided by m_nDataPos
// (unsigned integers), or 1 when m_nDataPos is 0.
LORN_INTERNAL double RewriteRate(CCatStd& table);
// The position for nDone rows: nDone / dRate truncated towards zero, as an
// unsigned 16-bit number; 0 when the rate is 0.
LORN_INTERNAL WORD RewritePos(DWORD nDone, double dRate);

#endif  // LORN_TABLE_WRITTEN_FORM_H_
