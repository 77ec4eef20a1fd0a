// Two shapes of a table that the library reads as designed but that cost a
// user data without a word, found so that the command can say so:
//
//   - A last line without a line end: the reader delivers no bytes behind
//     the line's last separator, so its last cell reads as empty (a line of
//     one cell is not read at all), and a rewrite would make the loss final.
//   - Rows with more cells than the header has columns: the cells behind
//     the last column belong to none and are never shown or indexed.
#ifndef LORN_TOOLS_LORN_TABLE_SHAPE_H_
#define LORN_TOOLS_LORN_TABLE_SHAPE_H_

#include <string>

#include "table/cat_std.h"

// The byte offset at which the file's last line starts when that line has
// no line end (CR, LF or NUL); -1 when the file ends with one or is empty.
long long UnterminatedLineAt(const std::string& strPath);

// For the rewriting commands: throws CCliError naming strShown and the
// offset when the last line has no line end, unless bForce.
void RequireTerminated(const std::string& strPath, const std::string& strShown, bool bForce);

// For the reading commands: one warning line on standard error when the
// last line has no line end.
void WarnUnterminated(const std::string& strPath, const std::string& strShown);

// For index and info: reads every data row of the open table and prints one
// warning line when some hold more cells than the header has columns,
// naming the first one by its line (the header is line 1) and the count.
// The table's sequential reading position is lost.
void WarnSurplusCells(CCatStd& table, const std::string& strShown);

#endif  // LORN_TOOLS_LORN_TABLE_SHAPE_H_
