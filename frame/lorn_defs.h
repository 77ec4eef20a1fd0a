// Values shared by every subsystem and by hosts: cell kinds, range flags,
// column types and flags, comparison masks and connectors, and the sizes that
// the file formats and the shared buffers are built on. All of them are
// written to files or archives, so none is ever renumbered.
#ifndef LORN_FRAME_LORN_DEFS_H_
#define LORN_FRAME_LORN_DEFS_H_

#include "platform/types.h"

// Kind of a cell, as the splitter reports it.
constexpr BYTE CELL_EMPTY = 0;   // no text, or spaces only
constexpr BYTE CELL_SINGLE = 1;  // one value
constexpr BYTE CELL_RANGE = 2;   // low and high bound
constexpr BYTE CELL_LIST = 4;    // two or more values, sorted
constexpr BYTE CELL_ANY = 8;     // the lone wildcard: matches every value

// Range flags, the flag byte of a CELL_RANGE; stored as they are in index
// entries. Only RANGE_LOW_OPEN and RANGE_HIGH_OPEN change a comparison.
constexpr BYTE RANGE_LOW_CLOSED = 1;
constexpr BYTE RANGE_LOW_OPEN = 2;
constexpr BYTE RANGE_HIGH_CLOSED = 4;
constexpr BYTE RANGE_HIGH_OPEN = 8;

// Column types, usable as a mask. 0: not yet examined.
constexpr BYTE COL_TYPE_NONE = 0;
constexpr BYTE COL_TYPE_LONG = 1;
constexpr BYTE COL_TYPE_REAL = 2;
constexpr BYTE COL_TYPE_STR = 4;

// Column flags. COL_FLAG_INDEXED: the column is indexed or wanted.
// 0x20 has no meaning inside the library but is kept like any other bit.
constexpr BYTE COL_FLAG_INDEXED = 0x10;
constexpr BYTE COL_FLAG_USER = 0x20;

// Comparison mask of a criterion: what a stored value must be relative to
// the key. CRIT_DIFFERENT is the exact value 48, never a combination.
constexpr BYTE CRIT_EQUAL = 1;
constexpr BYTE CRIT_LESS = 16;
constexpr BYTE CRIT_GREATER = 32;
constexpr BYTE CRIT_DIFFERENT = 48;

// Connectors between criteria. Only CRIT_OR is tested; any other byte is "and".
constexpr BYTE CRIT_AND = '&';
constexpr BYTE CRIT_OR = '|';

// The line buffer shared by all tables, and the buffer of index builds.
constexpr DWORD LINE_BUFFER_SIZE = 61440;
constexpr DWORD BUILD_BUFFER_SIZE = 61440;

// Tolerance of real comparisons: an absolute difference below it is equal.
constexpr double REAL_TOLERANCE = 2.220446049250313e-16;

// A result view keeps at most this many rows; row arrays grow by at most it.
constexpr DWORD RESULT_ROW_LIMIT = 16383;

#endif  // LORN_FRAME_LORN_DEFS_H_
