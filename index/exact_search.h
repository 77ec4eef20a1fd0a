// The exact search of an index: every row whose cell qualifies by the plain
// meaning of a criterion, where the walk of CIndex::Find can miss or add
// rows.
//
// The plain meaning, for a key and a mask of the bits CRIT_EQUAL, CRIT_LESS
// and CRIT_GREATER:
// - a wildcard cell qualifies under every mask and key;
// - a value qualifies when its key compares with the search key as a bit of
//   the mask allows, through the column's match function (so "?" stands for
//   one character and a final "*" for any rest, as in the walk);
// - a range holds the values between its bounds, each bound included or
//   excluded by its bracket; it qualifies when one of those values compares
//   as the mask allows: equal when the key lies in it, below when its low
//   bound is below the key, above when its high bound is above the key.
//   Bounds compare literally, through the column's key comparison. A range
//   whose bounds leave no value (low above high, or equal bounds of which one
//   is excluded) holds no value and qualifies under no mask.
//
// The walk agrees with this everywhere but at ranges whose bounds equal the
// key (it stops or turns at the first range that fails), at ranges that hold
// no value, and at "?" patterns, which its binary search cannot follow.
#ifndef LORN_INDEX_EXACT_SEARCH_H_
#define LORN_INDEX_EXACT_SEARCH_H_

#include <vector>

#include "frame/compare_fn.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

class CIndex;

// Appends to arRows the row of every entry that qualifies for pKey (in the
// form of the column's keys) under nOp: rows in zone order, a row once for
// each of its entries that qualifies, as the walk delivers them. Nothing
// during a build or for a null key. CFileException passes.
LORN_INTERNAL void FindExact(CIndex& index, const void* pKey, BYTE nOp, std::vector<DWORD>& arRows);

// Whether a range entry's bounds (pLow, pHigh, with nFlags) hold a value that
// compares with pKey as nOp allows, through pfnCompare.
LORN_INTERNAL bool RangeQualifies(PFN_COMPARE pfnCompare, const void* pLow, const void* pHigh,
                                  BYTE nFlags, const void* pKey, BYTE nOp);

#endif  // LORN_INDEX_EXACT_SEARCH_H_
