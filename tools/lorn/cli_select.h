// The print options shared by the commands that print rows or values:
// --select (the columns printed, in the order given, a column may repeat) and
// --limit (the number of rows or values printed at most).
#ifndef LORN_TOOLS_LORN_CLI_SELECT_H_
#define LORN_TOOLS_LORN_CLI_SELECT_H_

#include <string>
#include <vector>

#include "platform/collections.h"
#include "platform/types.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_text.h"

// No --limit: every row.
constexpr DWORD kNoLimit = 0xFFFFFFFF;

// The value of --limit (null when absent: kNoLimit). Throws CCliError, naming
// the command, unless it is a whole number.
DWORD ParseLimit(const std::string* pLimit, const char* pszCommand);

// The columns of --select "A,B,#3", in that order (none when pSelect is
// null). Throws CCliError for an empty name or a column the table lacks.
std::vector<WORD> ResolveSelect(CCatStd& table, const std::string& strPath,
                                const std::string* pSelect, const CTextCodec* pCodec,
                                const char* pszCommand);

// arAll cut down to the chosen columns, in their order (a cell beyond the
// row's end is empty); arAll itself when none are chosen.
void SelectCells(const std::vector<WORD>& cols, const CStringArray& arAll, CStringArray& arChosen);

#endif  // LORN_TOOLS_LORN_CLI_SELECT_H_
