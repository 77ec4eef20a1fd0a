// lorn delete: takes rows out of a table, in place.
#include <algorithm>
#include <string>
#include <vector>

#include "platform/collections.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_rewrite.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"
#include "tools/lorn/table_shape.h"

namespace {

const char kUsage[] =
    "Takes the rows with the given numbers out of a table, in place: the rows\n"
    "behind them move down. Rows are numbered from 0 in file order, as\n"
    "\"query --row-numbers\" shows them; a number given twice counts once. The\n"
    "table is rewritten whole or, on failure, left as it was; its sidecar no\n"
    "longer fits and is built anew by the next command that needs it. Plain\n"
    "(TXT) tables only.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] delete TABLE N... [--force]\n"
    "  lorn delete --help\n"
    "\n"
    "Options:\n"
    "  --force      rewrite a table whose last line has no line end, which loses\n"
    "               that line's last cell [default: refuse]\n"
    "  -h, --help   this text\n";

int RunDelete(CCliContext& /*context*/, const std::vector<std::string>& args) {
  CArgList list("delete", args, {"--force"}, {});
  list.RequireCount(2, -1, "lorn delete TABLE N... [--force]");
  const std::string& strPath = list.Positional()[0];
  std::vector<DWORD> rows;
  for (size_t i = 1; i < list.Positional().size(); ++i) {
    rows.push_back(ParseRowNumber(list.Positional()[i], "delete"));
  }
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());

  CCatStd table(strPath.c_str());
  RequireOpen(table, strPath);
  RequireTerminated(strPath, strPath, list.Has("--force"));
  RequireNoQuotedFields(strPath, strPath, table.m_cColSep);
  RequirePlain(table.IsScrambled() != FALSE, strPath, "delete");
  RequireIndexed(table, strPath);
  DWORD nRowCount = table.GetRowCount();
  CDWordArray arRows;
  for (DWORD nRow : rows) {
    if (nRow >= nRowCount) {
      throw CCliError(
          Format("%s: no row %u; the table has %u rows", strPath.c_str(), nRow, nRowCount));
    }
    arRows.Add(nRow);
  }
  CRewriteGuard guard(strPath, !FolderTakesNewFiles(strPath));
  if (!RetryRewrite(
          table, strPath, [&] { return table.DeleteRows(arRows); }, true)) {
    table.Close();
    std::string strWhy = WhyNotWritable(strPath, guard.InPlace());
    throw CCliError(strWhy.empty() ? strPath + ": the rows could not be deleted" : strWhy);
  }
  guard.Commit();
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdDelete = {"delete", "take rows out of a table, in place", kUsage, &RunDelete};
