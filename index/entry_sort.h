// Sorting the entries of a zone at the end of an index build, with a fixed
// amount of memory whatever the number of entries.
//
// Entries that already stand in order are copied as they are. Entries that
// fit one run are sorted in memory. More are cut into runs, each sorted in
// memory and written back in place, then merged SORT_MAX_WAYS runs at a
// time; passes alternate between the source file and one private temporary
// file (prefix "sdx"), and the last pass writes to the destination. The sort
// is stable: entries that compare equal keep the order in which they stand
// in the source.
//
// The order is always the comparison function's. For the entry comparisons
// of Long, Real and plain text keys a run is ordered without calling it for
// every pair: Long and Real keys by a radix sort of their bits (a Real run
// with two values closer than REAL_TOLERANCE, a negative zero or a value
// that is no finite number is ordered by the function instead), text keys
// by a radix sort of their bytes, the function deciding only between equal
// beginnings. Merges compare Long keys and the first 16 bytes of text keys
// directly.
#ifndef LORN_INDEX_ENTRY_SORT_H_
#define LORN_INDEX_ENTRY_SORT_H_

#include "frame/comparators.h"
#include "frame/monitor.h"
#include "platform/cfile.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Entries of one run, in bytes; the work area of a run is at most as large.
constexpr DWORD SORT_RUN_BYTES = 8u << 20;
constexpr DWORD SORT_MAX_WAYS = 64;
// Output of the sort goes through a buffer of this size.
constexpr DWORD SORT_OUT_BUFFER_SIZE = 65536;

// Reads nCount entries of nEntrySize bytes from the start of pSrc and writes
// them, ordered by pfnCompareEntries (its low 16 bits read as signed), at
// the current position of pDest. nRunBytes bounds the entries of one run;
// a run holds at least three entries. pSrc's content is undefined
// afterwards; pDest must be another file.
//
// Memory: at most nRunBytes for the entries of a run, at most as much for
// its work area, and the output buffer. Progress, with pMonitor: a zone that fits the line
// buffer moves the position up by nShare / 3 three times when the sort succeeds; a larger
// one sets it, for each entry i that arrives below the last entry left in place, to the
// start plus i / (nCount / nShare) (i itself when nShare is 0), as a sort by insertion does.
//
// FALSE when pSrc holds fewer than nCount entries or the temporary file
// cannot be made; pDest may then have received part of the entries.
// CFileException from the files passes through. The temporary file is gone
// when the call returns, also when an exception leaves it.
LORN_INTERNAL BOOL SortEntries(CFile* pSrc, DWORD nCount, WORD nEntrySize,
                               PFN_COMPARE pfnCompareEntries, CFile* pDest,
                               CProgressMonitor* pMonitor, WORD nShare,
                               DWORD nRunBytes = SORT_RUN_BYTES);

#endif  // LORN_INDEX_ENTRY_SORT_H_
