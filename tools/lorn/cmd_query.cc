// lorn query: runs a query on a table and prints the rows that qualify.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "query/query_std.h"
#include "query/result_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/expr_parser.h"

namespace {

const char kUsage[] =
    "Runs a query on a table and prints a header line and the rows that\n"
    "qualify, in table order, each once. The indexes the query needs are built\n"
    "first. Exit status 0 when rows qualified, 1 when none did, 2 on error.\n"
    "\n"
    "EXPR is criteria joined left to right by \"&\" and \"|\", with no brackets\n"
    "and no precedence: A & B | C means (A and B) or C. A criterion is\n"
    "COLUMN OP VALUE: COLUMN a name (any case) or #N (number from 0); OP one of\n"
    "= < <= > >= != <>; VALUE the text up to the next \"&\" or \"|\", trimmed, or\n"
    "quoted with '...' or \"...\". In text values \"*\" and \"?\" are patterns.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] query TABLE EXPR [--columns A,B,...] [--count] [--row-numbers]\n"
    "  lorn query --help\n"
    "\n"
    "Example:\n"
    "  lorn query examples/catalogue.txt \"FAMILLE=OUTILS & PRIX<50 | REF=A12*\"\n"
    "\n"
    "Options:\n"
    "  --columns A,B,...  show these columns only, in table order, and rows\n"
    "                     that agree in all of them once (a result view,\n"
    "                     at most 16383 rows) [default: all columns]\n"
    "  --count            print the number of rows only\n"
    "  --row-numbers      put each row's number (from 0) first, under \"#\"\n"
    "  -h, --help         this text\n";

const char kUsageLine[] = "lorn query TABLE EXPR [--columns A,B,...] [--count] [--row-numbers]";

void PrintCount(COutput& out, DWORD nCount) {
  out.Line(out.IsJson() ? "{\"count\":" + std::to_string(nCount) + "}" : std::to_string(nCount));
}

// Through a result view: the chosen columns, repeats removed.
DWORD PrintView(CCliContext& context, CQueryStd& query, const std::string& strPath,
                const std::string& strColumns, const CTextCodec* pCodec) {
  CStringArray arNames;
  for (const std::string& strName : SplitList(strColumns, ',')) {
    if (strName.empty()) {
      throw CCliError(Format("query: --columns \"%s\" has an empty name", strColumns.c_str()));
    }
    CString strColumn;
    query.GetColName(ResolveColumn(query, strPath, strName, pCodec), strColumn);
    arNames.Add(strColumn);
  }
  CResultStd view(&query, &arNames);
  CDWordArray* pRows = view.GetRows();
  DWORD nCount = pRows != nullptr ? static_cast<DWORD>(pRows->GetSize()) : 0;
  COutput& out = context.out;
  if (context.options.bCount) {
    PrintCount(out, nCount);
  }
  return nCount;
}

}  // namespace
