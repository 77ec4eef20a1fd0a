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

struct CQueryPrint {
  bool bCount;
  bool bRowNumbers;
};

void PrintCount(COutput& out, DWORD nCount) {
  out.Line(out.IsJson() ? "{\"count\":" + std::to_string(nCount) + "}" : std::to_string(nCount));
}

// Through a result view: the chosen columns, rows that agree in all of them
// once. Gives the number of rows.
DWORD PrintView(COutput& out, const CQueryPrint& print, CQueryStd& query,
                const std::string& strPath, const std::string& strColumns,
                const CTextCodec* pCodec) {
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
  if (print.bCount) {
    PrintCount(out, nCount);
  } else {
    CStringArray arHeader;
    view.GetColumnNames(&arHeader);
    out.BeginRows(arHeader, print.bRowNumbers);
    CStringArray arCells;
    for (DWORD i = 0; i < nCount; ++i) {
      view.GetRowCells(static_cast<short>(i), &arCells);
      out.Row(pRows->GetAt(i), arCells);
    }
  }
  if (nCount >= RESULT_ROW_LIMIT) {
    out.Flush();
    std::fprintf(stderr,
                 "lorn: query: a view with --columns keeps at most %u rows; more may "
                 "qualify (leave out --columns to see all)\n",
                 static_cast<unsigned>(RESULT_ROW_LIMIT));
  }
  return nCount;
}

// All columns of the qualifying rows, each row once. Gives the number of rows.
DWORD PrintRows(COutput& out, const CQueryPrint& print, CQueryStd& query) {
  CDWordArray* pRows = query.GetRows();
  std::vector<DWORD> rows;
  if (pRows != nullptr) {
    for (INT_PTR i = 0; i < pRows->GetSize(); ++i) {
      DWORD nRow = pRows->GetAt(i);
      // A row qualifies once for each of its values that does: the rows are
      // ascending, so repeats stand together.
      if (rows.empty() || rows.back() != nRow) {
        rows.push_back(nRow);
      }
    }
  }
  if (print.bCount) {
    PrintCount(out, static_cast<DWORD>(rows.size()));
    return static_cast<DWORD>(rows.size());
  }
  CStringArray arNames;
  GetColumnNames(query, arNames);
  out.BeginRows(arNames, print.bRowNumbers);
  CStringArray arCells;
  for (DWORD nRow : rows) {
    query.ReadRow(nRow, arCells);
    out.Row(nRow, arCells);
  }
  return static_cast<DWORD>(rows.size());
}

int RunQuery(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("query", args, {"--count", "--row-numbers"}, {"--columns"});
  list.RequireCount(2, 2, kUsageLine);
  const std::string& strPath = list.Positional()[0];
  std::vector<CExprCriterion> criteria = ParseExpression(list.Positional()[1]);

  CQueryStd query(strPath.c_str());
  RequireOpen(query, strPath);
  std::unique_ptr<CTextCodec> pCodec = MakeTableCodec(query, context.options);
  CCodecGuard codecGuard(context.out, pCodec.get());
  for (size_t i = 0; i < criteria.size(); ++i) {
    const CExprCriterion& criterion = criteria[i];
    WORD nCol = ResolveColumn(query, strPath, criterion.strColumn, pCodec.get());
    std::string strValue = ToTableText(pCodec.get(), criterion.strValue);
    if (i > 0) {
      query.AddOperator(criterion.cConnector);
    }
    if (query.AddCriteria(nCol, criterion.nMask, strValue.c_str()) < 0) {
      throw CCliError(Format("%s: the criterion on \"%s\" was refused", strPath.c_str(),
                             criterion.strColumn.c_str()));
    }
  }
  if (!query.Run()) {
    ThrowIndexFailure(query, strPath);
  }

  CQueryPrint print = {list.Has("--count"), list.Has("--row-numbers")};
  const std::string* pColumns = list.Value("--columns");
  DWORD nCount = pColumns != nullptr
                     ? PrintView(context.out, print, query, strPath, *pColumns, pCodec.get())
                     : PrintRows(context.out, print, query);
  context.out.Flush();
  return nCount > 0 ? EXIT_OK : EXIT_NO_MATCH;
}

}  // namespace

const CCommand g_cmdQuery = {"query", "run a query and print the rows that qualify", kUsage,
                             &RunQuery};
