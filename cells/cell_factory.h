// Making range-cell objects from a kind and a column type or from the text of
// a cell, and carrying them through an archive.
//
// Archive form of a cell (written by CCellStd::Store, read by LoadCell):
//
//   order  size              field
//   1      1 byte            kind (GetKind)
//   2      1 byte            column type (GetType)
//   3      1 byte            range flags (GetFlags), as they are
//   4      CStringArray      the two bounds as text (GetValues)
//
// The bounds travel as text, so a Real cell keeps its decimals.
#ifndef LORN_CELLS_CELL_FACTORY_H_
#define LORN_CELLS_CELL_FACTORY_H_

#include "cells/cell_range.h"
#include "platform/collections.h"
#include "platform/types.h"

class CArchive;

// A new range object of the class that nType picks (COL_TYPE_LONG,
// COL_TYPE_REAL, COL_TYPE_STR), built from nFlags and pValues (may be null).
// Owned by the caller. Null for a kind other than CELL_RANGE and for any
// other type: single values, lists, the lone wildcard and empty cells have no
// object.
CCellStd* CreateCell(BYTE nKind, BYTE nType, BYTE nFlags, const CStringArray* pValues);

// CreateCell of the text of a cell, split with the stock grammar ("(", ")",
// "*", "*", ".."), whatever a table or the library has set.
CCellStd* ParseCell(const char* pszCell, BYTE nType);

// Reads one cell from a loading archive; a new object owned by the caller,
// or null for a storing archive or a record of another kind (the whole
// record is consumed all the same). Read errors raise CArchiveException.
CCellStd* LoadCell(CArchive& ar);

#endif  // LORN_CELLS_CELL_FACTORY_H_
