// A small host of the lorn library: opens a catalogue, runs one query on it
// and prints a result view of chosen columns, reporting long work (the first
// indexing of the table, the search) through a progress monitor.
//
//   lorn_host TABLE [CRITERION [COLUMNS]]
//
// CRITERION is COLUMN, a comparison (=, <, >, <=, >=, <>) and a value, as
// FAMILLE=JARDIN (the default) or PRIX<50. COLUMNS is a comma-separated list
// of the columns to show, LIBELLE,FAMILLE,COULEUR by default; rows that agree
// in all of them are shown once. The cells are printed as the table holds
// them, bytes of its code page.
#include <cstdio>
#include <cstring>

#include "console_monitor.h"
#include "lorn.h"

namespace {

struct CCriterion {
  CString strColumn;
  BYTE nOp = 0;
  CString strValue;
};

// Splits "COLUMN<op>VALUE"; FALSE when there is no comparison or no column.
BOOL ParseCriterion(const char* pszText, CCriterion& crit) {
  static const struct {
    const char* pszOp;
    BYTE nOp;
  } kOps[] = {{"<=", CRIT_LESS | CRIT_EQUAL},
              {">=", CRIT_GREATER | CRIT_EQUAL},
              {"<>", CRIT_DIFFERENT},
              {"=", CRIT_EQUAL},
              {"<", CRIT_LESS},
              {">", CRIT_GREATER}};
  const char* pszOpAt = std::strpbrk(pszText, "<>=");
  if (pszOpAt == nullptr || pszOpAt == pszText) {
    return FALSE;
  }
  for (const auto& op : kOps) {
    const size_t nLen = std::strlen(op.pszOp);
    if (std::strncmp(pszOpAt, op.pszOp, nLen) == 0) {
      crit.strColumn = CString(pszText, static_cast<int>(pszOpAt - pszText));
      crit.nOp = op.nOp;
      crit.strValue = pszOpAt + nLen;
      return TRUE;
    }
  }
  return FALSE;
}

void SplitNames(const char* pszList, CStringArray& arNames) {
  CString strList(pszList);
  int nStart = 0;
  while (nStart <= strList.GetLength()) {
    int nComma = strList.Find(',', nStart);
    if (nComma < 0) {
      nComma = strList.GetLength();
    }
    CString strName = strList.Mid(nStart, nComma - nStart);
    strName.Trim();
    if (!strName.IsEmpty()) {
      arNames.Add(strName);
    }
    nStart = nComma + 1;
  }
}

void PrintRow(const CStringArray& arCells) {
  for (INT_PTR n = 0; n < arCells.GetSize(); ++n) {
    std::printf(n == 0 ? "%s" : "\t%s", static_cast<const char*>(arCells[n]));
  }
  std::printf("\n");
}

int QueryTable(const char* pszTable, const CCriterion& crit, const char* pszColumns) {
  // The query opens the table itself; its first run indexes what it needs.
  CQueryStd query(pszTable);
  if (!query.IsOpen()) {
    std::fprintf(stderr, "lorn_host: cannot open %s\n", pszTable);
    return 1;
  }
  const short nCol = query.FindCol(crit.strColumn);
  if (nCol < 0) {
    std::fprintf(stderr, "lorn_host: %s has no column %s\n", pszTable,
                 static_cast<const char*>(crit.strColumn));
    return 1;
  }
  if (query.AddCriteria(static_cast<WORD>(nCol), crit.nOp, crit.strValue) < 0) {
    std::fprintf(stderr, "lorn_host: the criterion was refused\n");
    return 1;
  }

  // The view stands on the query's rows and shows the chosen columns.
  CStringArray arNames;
  SplitNames(pszColumns, arNames);
  CResultStd view(&query, &arNames);
  CStringArray arShown;
  if (view.GetColumnNames(&arShown) == 0) {
    std::fprintf(stderr, "lorn_host: none of the columns %s is in %s\n", pszColumns, pszTable);
    return 1;
  }
  const WORD nCount = view.GetCount();
  PrintRow(arShown);
  CStringArray arCells;
  for (short nRow = 0; nRow < static_cast<short>(nCount); ++nRow) {
    if (view.GetRowCells(nRow, &arCells)) {
      PrintRow(arCells);
    }
  }
  std::printf("%u rows shown, %u found\n", static_cast<unsigned>(nCount),
              static_cast<unsigned>(query.GetCount()));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 4) {
    std::fprintf(stderr, "usage: lorn_host TABLE [CRITERION [COLUMNS]]\n");
    return 2;
  }
  CCriterion crit;
  if (!ParseCriterion(argc > 2 ? argv[2] : "FAMILLE=JARDIN", crit)) {
    std::fprintf(stderr, "lorn_host: a criterion is COLUMN, =, <, >, <=, >= or <>, VALUE\n");
    return 2;
  }
  const char* pszColumns = argc > 3 ? argv[3] : "LIBELLE,FAMILLE,COULEUR";

  // Settings first: every table copies them when it is made.
  InitLibrary();
  CConsoleMonitor monitor;
  SetProgressMonitor(&monitor);
  int nResult = 1;
  try {
    nResult = QueryTable(argv[1], crit, pszColumns);
  } catch (const CException& e) {
    // What the platform raises passes through the library: file and archive
    // errors, and the bounds checks of the arrays.
    std::fprintf(stderr, "lorn_host: %s\n", e.what());
  }
  // The monitor goes before the library may call it again.
  SetProgressMonitor(nullptr);
  return nResult;
}
