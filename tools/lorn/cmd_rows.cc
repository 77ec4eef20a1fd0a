// lorn rows: the rows with the given numbers.
#include <memory>
#include <string>
#include <vector>

#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_select.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"
#include "tools/lorn/table_shape.h"

namespace {

const char kUsage[] =
    "Prints a header line and the rows with the given numbers, in the order\n"
    "given. Rows are numbered from 0 in file order, as \"query --row-numbers\"\n"
    "shows them. Analyses the table when it has no sidecar.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] rows TABLE N... [--select A,B,...] [--row-numbers]\n"
    "  lorn rows --help\n"
    "\n"
    "Options:\n"
    "  --select A,B,...  print these columns, in this order (a column may\n"
    "                    repeat) [default: all columns]\n"
    "  --row-numbers     put each row's number first, under \"#\"\n"
    "  -h, --help        this text\n";

int RunRows(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("rows", args, {"--row-numbers"}, {"--select"});
  list.RequireCount(2, -1, "lorn rows TABLE N... [--select A,B,...] [--row-numbers]");
  const std::string& strPath = list.Positional()[0];
  std::vector<DWORD> rows;
  for (size_t i = 1; i < list.Positional().size(); ++i) {
    rows.push_back(ParseRowNumber(list.Positional()[i], "rows"));
  }
  std::string strOpen = PlaceTable(strPath, context.options);
  CCatStd table(strOpen.c_str());
  RequireOpen(table, strOpen);
  WarnUnterminated(strOpen, strPath);
  RequireNoQuotedFields(strOpen, strPath, table.m_cColSep);
  RequireIndexed(table, strOpen);
  DWORD nRowCount = table.GetRowCount();
  for (DWORD nRow : rows) {
    if (nRow >= nRowCount && nRowCount == 0) {
      throw CCliError(Format("%s: no row %u; the table has no rows", strPath.c_str(), nRow));
    }
    if (nRow >= nRowCount) {
      throw CCliError(Format("%s: no row %u; the table has %u rows (0 to %u)", strPath.c_str(),
                             nRow, nRowCount, nRowCount - 1));
    }
  }
  std::unique_ptr<CTextCodec> pCodec = MakeTableCodec(table, context.options);
  CCodecGuard codecGuard(context.out, pCodec.get());
  std::vector<WORD> cols =
      ResolveSelect(table, strPath, list.Value("--select"), pCodec.get(), "rows");
  CStringArray arNames;
  GetColumnNames(table, arNames);
  CStringArray arChosen;
  SelectCells(cols, arNames, arChosen);
  context.out.BeginRows(arChosen, list.Has("--row-numbers"));
  CStringArray arCells;
  for (DWORD nRow : rows) {
    table.ReadRow(nRow, arCells);
    SelectCells(cols, arCells, arChosen);
    context.out.Row(nRow, arChosen);
  }
  context.out.Flush();
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdRows = {"rows", "the rows with the given numbers", kUsage, &RunRows};
