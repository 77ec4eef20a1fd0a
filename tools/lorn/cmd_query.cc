// lorn query: runs a query on a table and prints the rows that qualify.
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cells/cell_grammar.h"
#include "frame/lorn_defs.h"
#include "host/expr_parser.h"
#include "query/query_std.h"
#include "query/result_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_select.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"
#include "tools/lorn/table_shape.h"

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
    "quoted with '...' or \"...\". In text values \"?\" stands for one character\n"
    "and a final \"*\" for any rest: \"REF=A1*\"; a \"*\" elsewhere is itself.\n"
    "An unquoted value may not hold = < or >: \"A==1\", \"A=>1\" and \"A=1 B=2\"\n"
    "are refused. On a Long column the value must be a whole number, on a Real\n"
    "column a number; a number compared with a Str column is compared as text,\n"
    "and lorn says so on standard error, with the row that made the column text.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] query TABLE EXPR [--select A,B,... | --columns A,B,...]\n"
    "                 [--count] [--row-numbers] [--limit N]\n"
    "  lorn query --help\n"
    "\n"
    "Example:\n"
    "  lorn query examples/catalogue.txt \"FAMILLE=OUTILS & PRIX<50 | REF=A12*\"\n"
    "\n"
    "Options:\n"
    "  --select A,B,...   print these columns, in this order, for every row that\n"
    "                     qualifies (a column may repeat) [default: all columns]\n"
    "  --columns A,B,...  show these columns only, in table order, and rows\n"
    "                     that agree in all of them once (a result view,\n"
    "                     at most 16383 rows) [default: all columns]\n"
    "  --count            print the number of rows only\n"
    "  --row-numbers      put each row's number (from 0) first, under \"#\"\n"
    "  --limit N          print at most N rows (--count still counts all)\n"
    "  -h, --help         this text\n";

const char kUsageLine[] =
    "lorn query TABLE EXPR [--select A,B,... | --columns A,B,...] [--count] [--row-numbers] "
    "[--limit N]";

struct CQueryPrint {
  bool bCount;
  bool bRowNumbers;
  DWORD nLimit;                  // rows printed at most
  std::vector<WORD> selectCols;  // --select: the columns printed, in order
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
    for (DWORD i = 0; i < nCount && i < print.nLimit; ++i) {
      view.GetRowCells(static_cast<short>(i), &arCells);
      out.Row(pRows->GetAt(i), arCells);
    }
  }
  if (nCount >= RESULT_ROW_LIMIT) {
    out.Flush();
    std::fprintf(stderr,
                 "lorn: query: a view with --columns keeps at most %u rows; more may "
                 "qualify (--select shows every row)\n",
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
  CStringArray arHeader;
  SelectCells(print.selectCols, arNames, arHeader);
  out.BeginRows(arHeader, print.bRowNumbers);
  CStringArray arCells;
  CStringArray arChosen;
  for (size_t i = 0; i < rows.size() && i < print.nLimit; ++i) {
    query.ReadRow(rows[i], arCells);
    SelectCells(print.selectCols, arCells, arChosen);
    out.Row(rows[i], arChosen);
  }
  return static_cast<DWORD>(rows.size());
}

// The first row whose cell in nCol holds a value that is no number: the row
// that made the column Str. false when none is found (the column was typed
// Str otherwise, by a sidecar of another host).
bool FindFirstTextRow(CCatStd& table, WORD nCol, DWORD& nRow, CString& strCell) {
  CStringArray arCells;
  CStringArray arValues;
  DWORD nRows = table.GetRowCount();
  for (nRow = 0; nRow < nRows; ++nRow) {
    if (!table.ReadRow(nRow, arCells) || nCol >= arCells.GetSize()) {
      continue;
    }
    BYTE nFlags = 0;
    table.SplitCell(arCells.GetAt(nCol), arValues, &nFlags);
    for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
      if (ClassifyCell(arValues.GetAt(i), COL_TYPE_LONG) == COL_TYPE_STR) {
        strCell = arCells.GetAt(nCol);
        return true;
      }
    }
  }
  return false;
}

// A number compared with a Str column is compared as text: "100" < "50". Said
// once for each such column, on standard error, with the row that made the
// column text.
void WarnTextComparison(CCliContext& context, CCatStd& table, WORD nCol,
                        const CExprCriterion& criterion) {
  CString strName;
  table.GetColName(nCol, strName);
  std::string strWhy;
  DWORD nRow = 0;
  CString strCell;
  if (FindFirstTextRow(table, nCol, nRow, strCell)) {
    strWhy = Format(" since row %u (from 0) holds \"%s\"", nRow, context.out.Text(strCell).c_str());
  }
  context.out.Flush();
  std::fprintf(stderr,
               "lorn: query: column \"%s\" is Str (text)%s: \"%s\" is compared with its "
               "cells as text, not as a number\n",
               context.out.Text(strName).c_str(), strWhy.c_str(), criterion.strValue.c_str());
}

int RunQuery(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("query", args, {"--count", "--row-numbers"}, {"--columns", "--select", "--limit"});
  list.RequireCount(2, 2, kUsageLine);
  const std::string& strPath = list.Positional()[0];
  std::vector<CExprCriterion> criteria = ParseExpression(list.Positional()[1]);
  const std::string* pColumns = list.Value("--columns");
  const std::string* pSelect = list.Value("--select");
  if (pColumns != nullptr && pSelect != nullptr) {
    throw CCliError(
        "query: give --select (columns of every row) or --columns (a view with repeats "
        "removed), not both");
  }
  CQueryPrint print = {list.Has("--count"),
                       list.Has("--row-numbers"),
                       ParseLimit(list.Value("--limit"), "query"),
                       {}};

  std::string strOpen = PlaceTable(strPath, context.options);
  CQueryStd query(strOpen.c_str());
  RequireOpen(query, strOpen);
  WarnUnterminated(strOpen, strPath);
  // Analysed here, where a lock held by another process is waited out.
  RequireIndexed(query, strOpen);
  RequireNoQuotedFields(strOpen, strPath, query.m_cColSep);
  std::unique_ptr<CTextCodec> pCodec = MakeTableCodec(query, context.options);
  CCodecGuard codecGuard(context.out, pCodec.get());
  print.selectCols = ResolveSelect(query, strPath, pSelect, pCodec.get(), "query");
  std::set<WORD> warned;
  for (size_t i = 0; i < criteria.size(); ++i) {
    const CExprCriterion& criterion = criteria[i];
    WORD nCol = ResolveColumn(query, strPath, criterion.strColumn, pCodec.get());
    BYTE nType = query.GetColType(nCol);
    if (nType == COL_TYPE_NONE) {
      ThrowIndexFailure(query, strOpen);
    }
    ValidateCriterion(criterion, nType);
    std::string strSurprise = CriterionSurprise(criterion, nType);
    if (!strSurprise.empty()) {
      std::fprintf(stderr, "lorn: query: %s\n", strSurprise.c_str());
    }
    if (nType == COL_TYPE_STR && IsNumberText(criterion.strValue) && warned.insert(nCol).second) {
      WarnTextComparison(context, query, nCol, criterion);
    }
    std::string strValue = ToTableText(pCodec.get(), criterion.strValue);
    if (i > 0) {
      query.AddOperator(criterion.cConnector);
    }
    if (query.AddCriteria(nCol, criterion.nMask, strValue.c_str()) < 0) {
      throw CCliError(Format("%s: the criterion on \"%s\" was refused", strPath.c_str(),
                             criterion.strColumn.c_str()));
    }
  }
  // The indexes the criteria want are built here, waiting out locks.
  RequireIndexed(query, strOpen);
  if (!query.Run()) {
    ThrowIndexFailure(query, strOpen);
  }

  DWORD nCount = pColumns != nullptr
                     ? PrintView(context.out, print, query, strPath, *pColumns, pCodec.get())
                     : PrintRows(context.out, print, query);
  context.out.Flush();
  return nCount > 0 ? EXIT_OK : EXIT_NO_MATCH;
}

}  // namespace

const CCommand g_cmdQuery = {"query", "run a query and print the rows that qualify", kUsage,
                             &RunQuery};
