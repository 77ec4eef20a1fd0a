// lorn compact: folds rows that differ in one column into list cells.
#include <string>
#include <vector>

#include "platform/collections.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_rewrite.h"
#include "tools/lorn/commands.h"

namespace {

const char kUsage[] =
    "Rewrites a table so that rows which agree in all cells but one stand as\n"
    "one row whose cell lists the values (\"BLEU*ROUGE\"). One pass per column,\n"
    "in the order given; a later pass works on what the earlier one wrote. The\n"
    "table is rewritten whole, in its own form, or on failure left as it was;\n"
    "its sidecar is rebuilt when it had one.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] compact TABLE [COLUMN...] [--force]\n"
    "  lorn compact --help\n"
    "\n"
    "Arguments:\n"
    "  COLUMN       a column name (any case) or #N [default: every column, in order]\n"
    "\n"
    "Options:\n"
    "  --force      rewrite a table whose last line has no line end, which loses\n"
    "               that line's last cell [default: refuse]\n"
    "  -h, --help   this text\n";

int RunCompact(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("compact", args, {"--force"}, {});
  list.RequireCount(1, -1, "lorn compact TABLE [COLUMN...] [--force]");
  const std::string& strPath = list.Positional()[0];
  const std::vector<std::string> arColumns(list.Positional().begin() + 1, list.Positional().end());
  RewriteByColumns(
      context, strPath, arColumns, list.Has("--force"), "compaction",
      [](CCatStd& table, CWordArray* pCols) { return table.CompactTable(nullptr, pCols); });
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdCompact = {"compact", "fold rows that differ in one column into lists", kUsage,
                               &RunCompact};
