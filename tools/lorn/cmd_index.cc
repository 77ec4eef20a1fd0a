// lorn index: analyses a table and builds the indexes of the named columns.
#include <memory>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"
#include "tools/lorn/table_shape.h"

namespace {

const char kUsage[] =
    "Brings a table's sidecar up to date: examines the column types, writes the\n"
    "row table and builds the index of every wanted column that lacks one.\n"
    "The named columns become wanted; indexes built before stay. With no column\n"
    "only the analysis runs (when it has not run yet). Prints nothing.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] index TABLE [COLUMN...]\n"
    "  lorn index --help\n"
    "\n"
    "Arguments:\n"
    "  COLUMN       a column name (any case) or #N, the column's number from 0\n"
    "\n"
    "Options:\n"
    "  -h, --help   this text\n";

int RunIndex(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("index", args, {}, {});
  list.RequireCount(1, -1, "lorn index TABLE [COLUMN...]");
  const std::string& strPath = list.Positional()[0];
  std::string strOpen = PlaceTable(strPath, context.options);
  CCatStd table(strOpen.c_str());
  RequireOpen(table, strOpen);
  RequireNoQuotedFields(strOpen, strPath, table.m_cColSep);
  std::unique_ptr<CTextCodec> pCodec = MakeTableCodec(table, context.options);
  std::vector<WORD> cols;
  for (size_t i = 1; i < list.Positional().size(); ++i) {
    cols.push_back(ResolveColumn(table, strPath, list.Positional()[i], pCodec.get()));
  }
  for (WORD nCol : cols) {
    table.SetColFlags(nCol, COL_FLAG_INDEXED);
  }
  RequireIndexed(table, strOpen);
  WarnUnterminated(strOpen, strPath);
  WarnSurplusCells(table, strPath);
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdIndex = {"index", "analyse a table and build the indexes of columns", kUsage,
                             &RunIndex};
