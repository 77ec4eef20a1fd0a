// The grammar of a cell. A cell holds nothing, one value, a sorted list of
// values, a range with open or closed bounds, or the lone wildcard. Five
// settings make the grammar (defaults in brackets): the range brackets ("("
// and ")"), the range separator (".."), the value separator ("*") and the
// lone wildcard ("*"). Searches for a grammar character go by character under
// the multi-byte code page in force, so a trail byte never matches.
//
//   cell          kind         values           flag byte
//   "" or spaces  CELL_EMPTY   -                0
//   "*"           CELL_ANY     -                0
//   "abc"         CELL_SINGLE  abc              0
//   "b*a"         CELL_LIST    a, b (sorted)    2 (number of values)
//   "(1..5("      CELL_RANGE   1, 5             RANGE_LOW_CLOSED|RANGE_HIGH_OPEN
#ifndef LORN_CELLS_CELL_GRAMMAR_H_
#define LORN_CELLS_CELL_GRAMMAR_H_

#include <cstddef>

#include "frame/lorn_defs.h"
#include "platform/collections.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Splits a cell into its kind, its value texts and its flag byte (range flags
// for a range, the number of values for a list, else 0). arValues is emptied
// and *pFlags set to 0 first on every path. A null cell is CELL_EMPTY.
LORN_INTERNAL BYTE SplitCellEx(const char* pszCell, CStringArray& arValues, BYTE* pFlags,
                               char cRangeOpen, char cRangeClose, char cValueSep, char cAnyValue,
                               const char* pszRangeSep);

// What SplitCellEx makes of a cell of nLength bytes (its strlen), where that
// can be told without copying and without stepping by character:
// CELL_EMPTY, CELL_ANY, or CELL_SINGLE with *ppszValue pointing at the
// value, the rest of pszCell from its first byte that is not a space.
// CELL_UNSPLIT when the cell opens with a bracket or holds a byte equal to
// cValueSep: SplitCellEx has to decide.
constexpr BYTE CELL_UNSPLIT = 0xFF;
LORN_INTERNAL BYTE PeekCell(const char* pszCell, size_t nLength, const char** ppszValue,
                            char cRangeOpen, char cRangeClose, char cValueSep, char cAnyValue);

// What one cell of nLength bytes (its strlen) tells the column analysis, as
// if it were split with SplitCellEx and, with bClassify, each value given to
// ClassifyCell in turn, which updates nType: the byte length of its longest
// value, or -1 when it has none. Nothing is copied.
LORN_INTERNAL int MeasureCell(const char* pszCell, size_t nLength, BYTE& nType, BOOL bClassify,
                              char cRangeOpen, char cRangeClose, char cValueSep, char cAnyValue,
                              const char* pszRangeSep);

// The column type that one value needs, given the type so far: types only
// grow, COL_TYPE_LONG -> COL_TYPE_REAL -> COL_TYPE_STR.
LORN_INTERNAL BYTE ClassifyCell(const char* pszValue, BYTE nType);

#endif  // LORN_CELLS_CELL_GRAMMAR_H_
