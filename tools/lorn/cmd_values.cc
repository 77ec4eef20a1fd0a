// lorn values: the distinct values of a column, in index order.
#include <memory>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_select.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"

namespace {

const char kUsage[] =
    "Prints the distinct values of a column, one a line, in the order of its\n"
    "index (numbers by value, text without regard to case), each in the\n"
    "spelling of the first row that holds it. A list cell gives each of its\n"
    "values; values that stand only in ranges or as the lone wildcard are not\n"
    "listed. Builds the column's index when it has none.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] values TABLE COLUMN [--limit N]\n"
    "  lorn values --help\n"
    "\n"
    "Arguments:\n"
    "  COLUMN       a column name (any case) or #N, the column's number from 0\n"
    "\n"
    "Options:\n"
    "  --limit N    print at most N values\n"
    "  -h, --help   this text\n";

int RunValues(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("values", args, {}, {"--limit"});
  list.RequireCount(2, 2, "lorn values TABLE COLUMN [--limit N]");
  DWORD nLimit = ParseLimit(list.Value("--limit"), "values");
  const std::string& strPath = list.Positional()[0];
  std::string strOpen = PlaceTable(strPath, context.options);
  CCatStd table(strOpen.c_str());
  RequireOpen(table, strOpen);
  RequireNoQuotedFields(strOpen, strPath, table.m_cColSep);
  std::unique_ptr<CTextCodec> pCodec = MakeTableCodec(table, context.options);
  CCodecGuard codecGuard(context.out, pCodec.get());
  WORD nCol = ResolveColumn(table, strPath, list.Positional()[1], pCodec.get());
  table.SetColFlags(nCol, COL_FLAG_INDEXED);
  RequireIndexed(table, strOpen);
  CString strValue;
  DWORD nShown = 0;
  for (BOOL bMore = table.NextColValue(nCol, strValue, TRUE); bMore && nShown < nLimit;
       bMore = table.NextColValue(nCol, strValue, FALSE)) {
    context.out.Value(strValue);
    ++nShown;
  }
  context.out.Flush();
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdValues = {"values", "the distinct values of a column, in index order", kUsage,
                              &RunValues};
