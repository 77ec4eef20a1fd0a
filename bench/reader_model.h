// The rows of a table file as the library's line reader finds them in one
// sequential pass, worked out from the file's bytes alone, so that lorn_bench
// checks the row numbers it gets from the library against a model of its own.
//
// The reader fills its buffer of LINE_BUFFER_SIZE bytes at a time: a fill
// reads up to LINE_BUFFER_SIZE minus the bytes carried over, the unfinished
// cell that moved to the buffer's start. A line ends at the first CR, LF or
// NUL, and the CR and LF bytes behind it belong to that line only as far as
// the fill reaches: when a CR LF pair straddles two fills, the LF opens a row
// of its own, one empty cell. Every host numbers rows this way, and row
// numbers are stored in sidecars and saved queries, so the model follows it.
//
// The model covers TXT files in a single-byte code page with TAB between
// cells, which is what the generator writes.
#ifndef LORN_BENCH_READER_MODEL_H_
#define LORN_BENCH_READER_MODEL_H_

#include <string>
#include <vector>

#include "platform/types.h"

namespace lorn_bench {

struct CReaderRows {
  DWORD nRows = 0;             // lines delivered by the pass
  std::vector<DWORD> arBlank;  // ascending numbers of the rows whose cells are all empty

  // The data line of the file that row nRow is, counting only rows with
  // text, or -1 for a row whose cells are all empty.
  LONG LineOf(DWORD nRow) const;
};

// One pass of the reader from byte nStart of the bytes in strText (the
// offset at which the pass seeks: behind the header line for the pass that
// writes the row table, 0 for a pass that reads the header first). FALSE
// when a cell does not fit the buffer, which the reader refuses.
BOOL ModelReaderPass(const std::string& strText, DWORD nStart, CReaderRows& rows);
// The same on the bytes of a file, read in blocks. FALSE as well when the
// file cannot be read.
BOOL ModelReaderPassOnFile(const char* pszPath, DWORD nStart, CReaderRows& rows);

}  // namespace lorn_bench

#endif  // LORN_BENCH_READER_MODEL_H_
