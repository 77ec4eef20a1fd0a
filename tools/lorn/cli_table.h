// Table helpers of the lorn command: opening and indexing with a reason when
// it fails, column lookup, row numbers, and the text codec of a table.
#ifndef LORN_TOOLS_LORN_CLI_TABLE_H_
#define LORN_TOOLS_LORN_CLI_TABLE_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/collections.h"
#include "platform/types.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_options.h"
#include "tools/lorn/cli_text.h"

// How long, in seconds, RequireOpen and RequireIndexed wait by default for a
// lock that another process holds on a table or its sidecar; --wait sets it.
// The library itself fails at once on a lock: the command tries again with
// short pauses until the time is up. 0 fails at once.
constexpr double DEFAULT_LOCK_WAIT = 5.0;
void SetLockWait(double dSeconds);

// Why the table at strPath cannot be opened: missing, a directory, not
// readable, empty, locked by another process, or its sidecar locked,
// unreadable or read-only and out of date. One line naming the file.
std::string WhyNotOpen(const std::string& strPath);

// Throws CCliError with WhyNotOpen unless the table is open, after waiting
// for a lock as long as SetLockWait allows.
void RequireOpen(CCatStd& table, const std::string& strPath);

// Brings the table to its indexed state (IndexTable), waiting for locks as
// RequireOpen does; throws CCliError saying why when that fails: the sidecar is read-only, locked
// by another process or cannot be created, or a working file could not be made.
void RequireIndexed(CCatStd& table, const std::string& strPath);
// The error of a failed IndexTable (or Run of a query). Closes the table so
// that its own handle does not hide the cause.
[[noreturn]] void ThrowIndexFailure(CCatStd& table, const std::string& strPath);

// Runs attempt, a rewrite of the open table; while it fails because another
// process holds the table file or its sidecar, opens the table anew (and
// indexes it, with bIndexed) and tries again, for as long as SetLockWait
// allows. Throws CCliError when the table file changed meanwhile, as row
// numbers and columns given for the old one may no longer hold. The
// result is that of the last attempt.
bool RetryRewrite(CCatStd& table, const std::string& strPath, const std::function<BOOL()>& attempt,
                  bool bIndexed);

// The codec between the table's code page (that of its locale, 1252 when it
// has none) and UTF-8, when --utf8 or --json asks for one; null otherwise.
std::unique_ptr<CTextCodec> MakeTableCodec(CCatStd& table, const CGlobalOptions& options);
// Command-line text (UTF-8) as table text, when there is a codec.
std::string ToTableText(const CTextCodec* pCodec, const std::string& strText);

// The column named strName (any case), or "#N" for column N from 0. Throws
// CCliError naming the column and listing the table's columns.
WORD ResolveColumn(CCatStd& table, const std::string& strPath, const std::string& strName,
                   const CTextCodec* pCodec);
// All column names of the table.
void GetColumnNames(CCatStd& table, CStringArray& arNames);

// "Long", "Real" or "Str" for a column type; "-" for a column not examined.
const char* ColTypeName(BYTE nType);

// Cuts "A,B,C" at each comma; pieces are trimmed of blanks.
std::vector<std::string> SplitList(const std::string& strText, char cSep);
// Trims spaces and tabs at both ends.
std::string Trim(const std::string& strText);

// A row number, decimal, from 0. Throws CCliError naming the token.
DWORD ParseRowNumber(const std::string& strToken, const char* pszCommand);

#endif  // LORN_TOOLS_LORN_CLI_TABLE_H_
