// What the two ways of one compaction pass share: the rows' merge keys, the
// folded cell, and the fold that goes through files for tables too large to
// fold in memory.
//
// One pass on column c reads the rows of its source in file order and folds
// those whose cells other than c agree (the merge key: each such cell
// followed by "|", compared as bytes) into the first of them, in the order of
// first occurrence. The folded cell lists the first row's cell (even when
// empty) and every later non-empty cell of the group, as inserting each at
// its lower bound into the list begun with the first makes it.
#ifndef LORN_TABLE_FOLD_ROWS_H_
#define LORN_TABLE_FOLD_ROWS_H_

#include <functional>
#include <string>
#include <vector>

#include "frame/monitor.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"
#include "table/written_form.h"

class CCatStd;

// Tables whose file is larger than this many bytes are folded through
// files (FoldOnFiles) rather than in memory; tests lower it.
LORN_INTERNAL extern ULONGLONG g_nFoldInMemoryBytes;

// The merge key of arRow for column nCol into strKey.
void MergeKeyOf(const CStringArray& arRow, short nCols, short nCol, std::string& strKey);

// The folded cell of the values of one group, in file order (the first
// row's cell first).
std::string FoldedCell(std::vector<CString>& arValues, char cValueSep);

// Positions the reader on the first data row of the file it reads: behind
// the header line and whatever line ends follow it. FALSE for a file without
// a line.
BOOL SkipHeader(CCatStd& table, CStringArray& arRow);

// Calls fnRow(arRow, nRowPos, nLength) for each row of the table's open
// source in file order, behind the header: its cells (cut or padded to
// nCols), its offset and its length with the line end. A CR that ended one
// fill of the line buffer and the LF that began the next read as a line of
// one empty cell, which is no row: compaction reads each row from its own
// offset, where a line never starts with CR or LF, so it never meets one.
void ForEachRow(CCatStd& table, short nCols,
                const std::function<void(CStringArray&, DWORD, DWORD)>& fnRow);

// One pass on nCol over the table's open source, written through writer,
// holding bounded memory: the rows' keys are sorted on file, each group is
// made from its rows read again by offset, and the groups are written in
// the order of their first rows. Gives the number of rows folded into
// others; FALSE when a work file cannot be made. CFileException passes.
BOOL FoldOnFiles(CCatStd& table, short nCol, char cValueSep, CTableWriter& writer,
                 CProgressMonitor* pMonitor, double dRate, DWORD& nMerged);

#endif  // LORN_TABLE_FOLD_ROWS_H_
