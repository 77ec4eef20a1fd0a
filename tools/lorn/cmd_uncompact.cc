// lorn uncompact: expands list cells into one row per value.
#include <sys/stat.h>

#include <string>
#include <vector>

#include "platform/collections.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_rewrite.h"
#include "tools/lorn/commands.h"

namespace {

const char kUsage[] =
    "Rewrites a table so that each list cell (\"BLEU*ROUGE\") of the named\n"
    "columns becomes one row per value; lists in several columns give every\n"
    "combination. Ranges and the lone wildcard stay as they are. Without --to\n"
    "the table itself is rewritten, in its own form, whole or on failure not\n"
    "at all, and its sidecar rebuilt when it had one.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] uncompact TABLE [COLUMN...] [--to PATH] [--force]\n"
    "  lorn uncompact --help\n"
    "\n"
    "Arguments:\n"
    "  COLUMN       a column name (any case) or #N [default: every column]\n"
    "\n"
    "Options:\n"
    "  --to PATH    write the result to PATH and leave the table alone\n"
    "               [default: rewrite the table]\n"
    "  --force      replace PATH when it exists, and rewrite a table whose last\n"
    "               line has no line end, which loses that line's last cell\n"
    "               [default: refuse both]\n"
    "  -h, --help   this text\n";

int RunUncompact(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("uncompact", args, {"--force"}, {"--to"});
  list.RequireCount(1, -1, "lorn uncompact TABLE [COLUMN...] [--to PATH]");
  const std::string& strPath = list.Positional()[0];
  const std::string* pTarget = list.Value("--to");
  if (pTarget != nullptr) {
    struct stat st {};
    if (pTarget->empty()) {
      throw CCliError("uncompact: --to wants a path");
    }
    if (stat(pTarget->c_str(), &st) == 0 && !list.Has("--force")) {
      throw CCliError(Format("%s exists; give --force to replace it", pTarget->c_str()));
    }
  }
  const std::vector<std::string> arColumns(list.Positional().begin() + 1, list.Positional().end());
  RewriteByColumns(context, strPath, arColumns, list.Has("--force"), "expansion",
                   [&](CCatStd& table, CWordArray* pCols) {
                     return table.UncompactTable(pTarget != nullptr ? pTarget->c_str() : nullptr,
                                                 pCols);
                   });
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdUncompact = {"uncompact", "expand list cells into one row per value", kUsage,
                                 &RunUncompact};
