// Structural checks of a sidecar whose header has just been read.
//
// A sidecar carries no checksum, so a damaged one (flipped bytes, a range
// zeroed, a copy from another table under the same stamp) can only be told
// from a sound one by what its own structure makes impossible. These checks
// run on every load and cost a pass over the row table and one 12-byte read
// per index; nothing else of the file is read.
//
// A sidecar passes when:
//   - the row count is 0 exactly when the table file holds no byte behind
//     its header line (every byte there starts or continues a row);
//   - the row table lies whole in the file; its first entry is the first
//     data row's offset, its entries rise strictly, and the last one lies
//     below the table file's length;
//   - each column with an index has a type that can be indexed and the key
//     size of that type: 4 for Long, 8 for Real, 2 to 255 for Str;
//   - each index lies behind the row table and whole in the file, with the
//     length that its counts W, V, R and its key size K give,
//     12 + 4W + (K + 4)V + 2(2K + 5)R;
//   - its zone 0 and its ranges count at most one entry per row (a cell is
//     one wildcard or one range), and an index with entries belongs to a
//     table with rows;
//   - no two indexes share a byte.
//
// The indexes need not tile the space behind the row table: an index that a
// type change dropped, and one whose sort failed, stay in the file as dead
// bytes until the sidecar is built anew, and later indexes are appended
// behind them. Dead bytes cannot be told from a gap, so a gap is allowed.
#ifndef LORN_TABLE_SIDECAR_CHECK_H_
#define LORN_TABLE_SIDECAR_CHECK_H_

#include "platform/lorn_export.h"
#include "platform/types.h"

class CCatStd;

// Key size of the index of a column of this type and size; 0 when such a
// column can have no index.
LORN_INTERNAL DWORD SideKeySize(BYTE nType, BYTE nSize);

// Whether the loaded header of the table's sidecar (arrays, row count, row
// table position) and the file behind it pass the checks above. Reads the
// sidecar and the table file's length; raises what CFile raises.
LORN_INTERNAL BOOL SideStructureOk(CCatStd& table);

#endif  // LORN_TABLE_SIDECAR_CHECK_H_
