#include "bench/lorn_phases.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>

#include "bench/floor_scan.h"
#include "lorn.h"

namespace lorn_bench {

namespace {

using CClock = std::chrono::steady_clock;

double Since(CClock::time_point tStart) {
  return std::chrono::duration<double>(CClock::now() - tStart).count();
}

std::string SidePath(const std::string& strTable) {
  return strTable.substr(0, strTable.rfind('.')) + ".SDX";
}

void CopyFile(const std::string& strFrom, const std::string& strTo) {
  std::filesystem::copy_file(strFrom, strTo, std::filesystem::copy_options::overwrite_existing);
}

void RemoveFile(const std::string& strPath) {
  std::error_code error;
  std::filesystem::remove(strPath, error);
}

ULONGLONG FileSize(const std::string& strPath) {
  std::error_code error;
  const auto nSize = std::filesystem::file_size(strPath, error);
  return error ? 0 : static_cast<ULONGLONG>(nSize);
}

ULONGLONG CountLines(const std::string& strPath) {
  CFloorCounts counts;
  return ScanFile(strPath.c_str(), counts) ? counts.nLines : 0;
}

CPhaseResult MakeResult(const char* pszKey, const std::string& strTitle, BYTE nRate, double dWork) {
  CPhaseResult result;
  result.strKey = pszKey;
  result.strTitle = strTitle;
  result.nRate = nRate;
  result.dWork = dWork;
  return result;
}

// The key and the title ending of a phase run under the exact search.
const char* ExactSuffix(const CBenchContext& ctx) {
  return ctx.bExact ? "_exact" : "";
}
const char* ExactTitle(const CBenchContext& ctx) {
  return ctx.bExact ? ", exact" : "";
}

// Records the first wrong answer of a phase; later ones only count.
class CChecker {
 public:
  void Expect(ULONGLONG nGot, ULONGLONG nWanted, const std::string& strWhat) {
    if (nGot == nWanted) {
      return;
    }
    if (m_nWrong++ == 0) {
      m_strFirst = strWhat + ": " + std::to_string(nGot) + " instead of " + std::to_string(nWanted);
    }
  }
  void Apply(CPhaseResult& result, const std::string& strOK) const {
    if (m_nWrong == 0) {
      result.strNote = strOK;
      return;
    }
    result.bOK = FALSE;
    result.strNote = m_strFirst;
    if (m_nWrong > 1) {
      result.strNote += " (" + std::to_string(m_nWrong) + " wrong)";
    }
  }

 private:
  ULONGLONG m_nWrong = 0;
  std::string m_strFirst;
};

// Opens the catalogue with its sidecar; throws when it cannot be queried.
void OpenIndexed(CCatStd& table, const CBenchContext& ctx) {
  if (!table.IsOpen()) {
    throw std::runtime_error("cannot open " + ctx.strTable);
  }
  table.IndexTable();
  if (!table.IsIndexed()) {
    throw std::runtime_error("cannot index " + ctx.strTable);
  }
  if (table.GetColCount() != static_cast<short>(GEN_COL_COUNT)) {
    throw std::runtime_error("unexpected column count");
  }
}

std::string KeyText(WORD nCol, DWORD nValue) {
  switch (nCol) {
    case GEN_COL_PRIX:
      return CCatalogueGen::FormatPrice(nValue);
    case GEN_COL_LIBELLE:
      return CCatalogueGen::FormatLabel(nValue);
    default:
      return std::to_string(nValue);
  }
}

const char* TypeName(WORD nCol) {
  switch (nCol) {
    case GEN_COL_PRIX:
      return "Real";
    case GEN_COL_LIBELLE:
      return "Str";
    default:
      return "Long";
  }
}

const char* TypeKey(WORD nCol) {
  switch (nCol) {
    case GEN_COL_PRIX:
      return "real";
    case GEN_COL_LIBELLE:
      return "str";
    default:
      return "long";
  }
}

// Runs the query (again) and reads every row it found. The count of rows.
DWORD RunAndRead(CQueryStd& query, CCatStd& table, CStringArray& arCells) {
  CDWordArray* pRows = query.GetRows();
  if (pRows == nullptr) {
    return 0;
  }
  const INT_PTR nCount = pRows->GetSize();
  for (INT_PTR i = 0; i < nCount; ++i) {
    table.ReadRow(pRows->GetAt(i), arCells);
  }
  return static_cast<DWORD>(nCount);
}

BOOL BuildIndexes(const CBenchContext& ctx, const std::vector<WORD>& arCols) {
  CCatStd table(ctx.strTable.c_str());
  if (!table.IsOpen()) {
    return FALSE;
  }
  for (WORD nCol : arCols) {
    table.SetColFlags(nCol, COL_FLAG_INDEXED);
  }
  table.IndexTable();
  return table.IsIndexed() && table.GetRowCount() == ctx.pRows->nRows;
}

}  // namespace

void PhaseFloor(const CBenchContext& ctx, CResultSink& sink) {
  CPhaseResult result = MakeResult("floor", "bare pass (64 KiB blocks)", RATE_MB_PER_S,
                                   static_cast<double>(ctx.nTableBytes));
  CChecker check;
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    CFloorCounts counts;
    const CStopwatch watch;
    ScanFile(ctx.strTable.c_str(), counts);
    result.AddSample(watch);
    check.Expect(counts.nLines, ctx.pGen->GetRows() + 1ULL, "lines");
  }
  check.Apply(result, "");
  sink.Add(result);
}

void PhaseIndexFromScratch(const CBenchContext& ctx, CResultSink& sink) {
  CPhaseResult result = MakeResult("index3", "analysis + index Long,Real,Str", RATE_MB_PER_S,
                                   static_cast<double>(ctx.nTableBytes));
  CChecker check;
  const std::string strSide = SidePath(ctx.strTable);
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    RemoveFile(strSide);
    const CStopwatch watch;
    const BOOL bOK = BuildIndexes(ctx, {GEN_COL_STOCK, GEN_COL_PRIX, GEN_COL_LIBELLE});
    result.AddSample(watch);
    check.Expect(bOK, TRUE, "indexed with all rows");
  }
  CopyFile(strSide, ctx.strDir + "cat3.SDX");
  check.Apply(result,
              "STOCK, PRIX, LIBELLE; sidecar " + std::to_string(FileSize(strSide) / 1024) + " KiB");
  sink.Add(result);
}

void PhaseAddIndex(const CBenchContext& ctx, CResultSink& sink) {
  CPhaseResult result = MakeResult("add_index", "add one index later (Str, unique)", RATE_MB_PER_S,
                                   static_cast<double>(ctx.nTableBytes));
  CChecker check;
  const std::string strSide = SidePath(ctx.strTable);
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    CopyFile(ctx.strDir + "cat3.SDX", strSide);
    const CStopwatch watch;
    const BOOL bOK = BuildIndexes(ctx, {GEN_COL_REF});
    result.AddSample(watch);
    check.Expect(bOK, TRUE, "indexed");
  }
  check.Apply(result, "REF beside the three");
  sink.Add(result);
}

void PhaseIndexAll(const CBenchContext& ctx, CResultSink& sink) {
  CPhaseResult result = MakeResult("index_all", "analysis + index of 7 columns", RATE_MB_PER_S,
                                   static_cast<double>(ctx.nTableBytes));
  RemoveFile(SidePath(ctx.strTable));
  const CStopwatch watch;
  const BOOL bOK = BuildIndexes(ctx, {GEN_COL_REF, GEN_COL_LIBELLE, GEN_COL_FAMILLE, GEN_COL_PRIX,
                                      GEN_COL_STOCK, GEN_COL_COULEUR, GEN_COL_TAILLE});
  result.AddSample(watch);
  CChecker check;
  check.Expect(bOK, TRUE, "indexed");
  check.Apply(result, "one run, lists/ranges/wildcards included");
  sink.Add(result);
}

void PhaseOpen(const CBenchContext& ctx, CResultSink& sink) {
  CPhaseResult result = MakeResult("open", "open an indexed table", RATE_US_PER_OP, 0);
  CChecker check;
  for (DWORD nRep = 0; nRep < ctx.nReps * 20; ++nRep) {
    const CStopwatch watch;
    CCatStd table(ctx.strTable.c_str());
    const BOOL bOK = table.IsOpen() && table.IsIndexed();
    result.AddSample(watch);
    check.Expect(bOK, TRUE, "open with its sidecar");
  }
  check.Apply(result, "process baseline for memory");
  sink.Add(result);
}

void PhasePointQueries(const CBenchContext& ctx, WORD nCol, CResultSink& sink) {
  SetExactSearch(ctx.bExact);
  const CBenchWorkload& work = *ctx.pWork;
  const std::vector<DWORD>& arKeys = nCol == GEN_COL_PRIX      ? work.m_arPriceKeys
                                     : nCol == GEN_COL_LIBELLE ? work.m_arLabelKeys
                                                               : work.m_arStockKeys;
  CCatStd table(ctx.strTable.c_str());
  OpenIndexed(table, ctx);
  CQueryStd query(&table);
  query.AddCriteria(nCol, CRIT_EQUAL, KeyText(nCol, arKeys.front()).c_str());
  CStringArray arCells;
  CChecker check;
  // The first round warms the page cache and checks every answer.
  for (DWORD nKey : arKeys) {
    query.SetCriteriaValue(0, KeyText(nCol, nKey).c_str());
    const DWORD nFound = RunAndRead(query, table, arCells);
    const DWORD nWanted = nCol == GEN_COL_PRIX      ? work.CountPrice(nKey)
                          : nCol == GEN_COL_LIBELLE ? work.CountLabel(nKey)
                                                    : work.CountStock(nKey);
    check.Expect(nFound, nWanted, "rows of " + KeyText(nCol, nKey));
  }
  CPhaseResult result =
      MakeResult((std::string("point_") + TypeKey(nCol) + ExactSuffix(ctx)).c_str(),
                 std::string("point query ") + TypeName(nCol) + " " +
                     CCatalogueGen::GetColumnName(nCol) + " + rows" + ExactTitle(ctx),
                 RATE_US_PER_OP, 0);
  ULONGLONG nRows = 0;
  std::vector<std::string> arKeyTexts;
  for (DWORD nKey : arKeys) {
    arKeyTexts.push_back(KeyText(nCol, nKey));
  }
  const CStopwatch batch;
  for (const std::string& strKey : arKeyTexts) {
    const auto tStart = CClock::now();
    query.SetCriteriaValue(0, strKey.c_str());
    nRows += RunAndRead(query, table, arCells);
    result.arSeconds.push_back(Since(tStart));
  }
  result.arCpuSeconds.push_back(batch.Cpu() / static_cast<double>(arKeys.size()));
  result.dWork = static_cast<double>(nRows) / static_cast<double>(arKeys.size());
  check.Apply(result, std::to_string(arKeys.size()) + " keys, warm");
  sink.Add(result);
}

void PhaseRangeQueries(const CBenchContext& ctx, CResultSink& sink) {
  SetExactSearch(ctx.bExact);
  const CBenchWorkload& work = *ctx.pWork;
  CCatStd table(ctx.strTable.c_str());
  OpenIndexed(table, ctx);
  CStringArray arCells;
  for (WORD nCol : {GEN_COL_STOCK, GEN_COL_PRIX}) {
    for (const CRangeCase& range : work.m_arRanges) {
      const std::string strKey = KeyText(nCol, range.nKey);
      const DWORD nWanted = work.CountRange(range, nCol == GEN_COL_PRIX);
      CQueryStd query(&table);
      query.AddCriteria(nCol, range.nOp, strKey.c_str());
      CPhaseResult result = MakeResult((std::string("range") + std::to_string(range.nOp) + "_" +
                                        TypeKey(nCol) + ExactSuffix(ctx))
                                           .c_str(),
                                       std::string("range mask ") + std::to_string(range.nOp) +
                                           " " + TypeName(nCol) + " + rows" + ExactTitle(ctx),
                                       RATE_ROWS_PER_S, nWanted);
      CChecker check;
      for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
        query.Invalidate();
        const CStopwatch watch;
        const DWORD nFound = RunAndRead(query, table, arCells);
        const double dSeconds = watch.Wall();
        const double dCpu = watch.Cpu();
        if (nRep > 0) {  // the first round warms up
          result.arSeconds.push_back(dSeconds);
          result.arCpuSeconds.push_back(dCpu);
        }
        check.Expect(nFound, nWanted,
                     CCatalogueGen::GetColumnName(nCol) + std::string(" ") +
                         std::to_string(range.nOp) + " " + strKey);
      }
      check.Apply(result, std::string(CCatalogueGen::GetColumnName(nCol)) +
                              (range.nOp == 16   ? " < "
                               : range.nOp == 17 ? " <= "
                               : range.nOp == 32 ? " > "
                                                 : " >= ") +
                              strKey);
      sink.Add(result);
    }
  }
}

void PhaseDifferentAndThree(const CBenchContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CCatStd table(ctx.strTable.c_str());
  OpenIndexed(table, ctx);
  CStringArray arCells;
  {
    CQueryStd query(&table);
    query.AddCriteria(GEN_COL_STOCK, CRIT_DIFFERENT,
                      KeyText(GEN_COL_STOCK, work.m_arDifferentKeys.front()).c_str());
    CPhaseResult result =
        MakeResult("different", "CRIT_DIFFERENT Long (no row reads)", RATE_ROWS_PER_S, 0);
    CChecker check;
    double dRows = 0;
    for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
      const DWORD nKey = work.m_arDifferentKeys[nRep % work.m_arDifferentKeys.size()];
      query.SetCriteriaValue(0, KeyText(GEN_COL_STOCK, nKey).c_str());
      query.Invalidate();
      const CStopwatch watch;
      CDWordArray* pRows = query.GetRows();
      const double dSeconds = watch.Wall();
      const double dCpu = watch.Cpu();
      const DWORD nFound = pRows != nullptr ? static_cast<DWORD>(pRows->GetSize()) : 0;
      if (nRep > 0) {
        result.arSeconds.push_back(dSeconds);
        result.arCpuSeconds.push_back(dCpu);
        dRows += nFound;
      }
      // The empty rows of the table hold no STOCK: they are "different".
      check.Expect(nFound, ctx.pRows->nRows - work.CountStock(nKey),
                   "STOCK <> " + std::to_string(nKey));
    }
    result.dWork = dRows / static_cast<double>(ctx.nReps);
    check.Apply(result, "STOCK <> key");
    sink.Add(result);
  }
  {
    const CThreeCase& first = work.m_arThree.front();
    CQueryStd query(&table);
    query.AddCriteria(GEN_COL_FAMILLE, CRIT_EQUAL, CCatalogueGen::GetFamilyName(first.nFamily));
    query.AddOperator(CRIT_AND);
    query.AddCriteria(GEN_COL_PRIX, CRIT_LESS, KeyText(GEN_COL_PRIX, first.nPriceBelow).c_str());
    query.AddOperator(CRIT_OR);
    query.AddCriteria(GEN_COL_LIBELLE, CRIT_EQUAL, KeyText(GEN_COL_LIBELLE, first.nLabel).c_str());
    CPhaseResult result =
        MakeResult("three", "FAMILLE= & PRIX< | LIBELLE= + rows", RATE_US_PER_OP, 0);
    CChecker check;
    double dRows = 0;
    for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
      const CThreeCase& three = work.m_arThree[nRep % work.m_arThree.size()];
      query.SetCriteriaValue(0, CCatalogueGen::GetFamilyName(three.nFamily));
      query.SetCriteriaValue(1, KeyText(GEN_COL_PRIX, three.nPriceBelow).c_str());
      query.SetCriteriaValue(2, KeyText(GEN_COL_LIBELLE, three.nLabel).c_str());
      query.Invalidate();
      const CStopwatch watch;
      const DWORD nFound = RunAndRead(query, table, arCells);
      const double dSeconds = watch.Wall();
      const double dCpu = watch.Cpu();
      if (nRep > 0) {
        result.arSeconds.push_back(dSeconds);
        result.arCpuSeconds.push_back(dCpu);
        dRows += nFound;
      }
      check.Expect(nFound, three.nExpected, "three-criterion rows");
    }
    result.dWork = dRows / static_cast<double>(ctx.nReps);
    check.Apply(result, "");
    sink.Add(result);
  }
}

void PhaseResultView(const CBenchContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CCatStd table(ctx.strTable.c_str());
  OpenIndexed(table, ctx);
  CQueryStd query(&table);
  query.AddCriteria(GEN_COL_STOCK, CRIT_LESS, KeyText(GEN_COL_STOCK, work.m_nViewStock).c_str());
  CStringArray arNames;
  arNames.Add("REF");
  arNames.Add("PRIX");
  CResultStd view(&query, &arNames);
  CPhaseResult result =
      MakeResult("view", "result view (REF,PRIX) + rows", RATE_ROWS_PER_S, work.ViewExpected());
  CChecker check;
  CStringArray arCells;
  for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
    query.Invalidate();
    view.SetColumns(&arNames);
    const CStopwatch watch;
    CDWordArray* pRows = view.GetRows();
    const INT_PTR nCount = pRows != nullptr ? pRows->GetSize() : 0;
    for (INT_PTR i = 0; i < nCount; ++i) {
      view.GetRowCells(static_cast<short>(i), &arCells);
    }
    const double dSeconds = watch.Wall();
    const double dCpu = watch.Cpu();
    if (nRep > 0) {
      result.arSeconds.push_back(dSeconds);
      result.arCpuSeconds.push_back(dCpu);
    }
    check.Expect(static_cast<ULONGLONG>(nCount), work.ViewExpected(), "view rows");
    check.Expect(arCells.GetSize(), 2, "cells of a view row");
  }
  check.Apply(result, "over STOCK < " + std::to_string(work.m_nViewStock) + ", query run included");
  sink.Add(result);
}

void PhaseReadRow(const CBenchContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CCatStd table(ctx.strTable.c_str());
  OpenIndexed(table, ctx);
  CPhaseResult result = MakeResult("readrow", "ReadRow at random rows", RATE_US_PER_OP, 1);
  CChecker check;
  CStringArray arCells;
  // The first round warms up and checks: a row number is the generator's
  // row or one of the reader's empty rows.
  for (DWORD nRow : work.m_arRandomRows) {
    const BOOL bRead = table.ReadRow(nRow, arCells);
    const LONG nLine = ctx.pRows->LineOf(nRow);
    const std::string strStock =
        nLine < 0 ? std::string() : std::to_string(ctx.pGen->GetStock(static_cast<DWORD>(nLine)));
    check.Expect(bRead && arCells.GetSize() == GEN_COL_COUNT &&
                     std::string(arCells[GEN_COL_STOCK]) == strStock,
                 TRUE, "STOCK of row " + std::to_string(nRow));
  }
  const CStopwatch batch;
  for (DWORD nRow : work.m_arRandomRows) {
    const auto tStart = CClock::now();
    table.ReadRow(nRow, arCells);
    result.arSeconds.push_back(Since(tStart));
  }
  result.arCpuSeconds.push_back(batch.Cpu() / static_cast<double>(work.m_arRandomRows.size()));
  check.Apply(result, std::to_string(work.m_arRandomRows.size()) + " rows, warm");
  sink.Add(result);
}

void PhaseNextColValue(const CBenchContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CCatStd table(ctx.strTable.c_str());
  OpenIndexed(table, ctx);
  for (WORD nCol : {GEN_COL_STOCK, GEN_COL_LIBELLE}) {
    const DWORD nWanted = nCol == GEN_COL_STOCK ? work.DistinctStock() : work.DistinctLabels();
    CPhaseResult result = MakeResult((std::string("nextcol_") + TypeKey(nCol)).c_str(),
                                     std::string("NextColValue ") + TypeName(nCol) + ", all values",
                                     RATE_US_PER_OP, 1);
    CChecker check;
    const DWORD nReps = std::max<DWORD>(1, ctx.nReps / 2);
    for (DWORD nRep = 0; nRep <= nReps; ++nRep) {
      CString strValue;
      DWORD nValues = 0;
      const CStopwatch watch;
      for (BOOL bMore = table.NextColValue(nCol, strValue, TRUE); bMore;
           bMore = table.NextColValue(nCol, strValue, FALSE)) {
        ++nValues;
      }
      const double dSeconds = watch.Wall();
      const double dCpu = watch.Cpu();
      if (nRep > 0) {
        result.arSeconds.push_back(nValues > 0 ? dSeconds / nValues : dSeconds);
        result.arCpuSeconds.push_back(nValues > 0 ? dCpu / nValues : dCpu);
      }
      check.Expect(nValues, nWanted, "distinct values");
    }
    check.Apply(result, std::to_string(nWanted) + " values per listing");
    sink.Add(result);
  }
}

void PhaseCrypt(const CBenchContext& ctx, CResultSink& sink) {
  CPhaseResult result = MakeResult("crypt", "CryptTable (TXT to SDC)", RATE_MB_PER_S,
                                   static_cast<double>(ctx.nTableBytes));
  CChecker check;
  const std::string strScrambled = ctx.strTable.substr(0, ctx.strTable.rfind('.')) + ".SDC";
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    RemoveFile(strScrambled);
    CCatStd table(ctx.strTable.c_str());
    const CStopwatch watch;
    table.CryptTable(TRUE);
    result.AddSample(watch);
    check.Expect(FileSize(strScrambled), ctx.nTableBytes, "size of the SDC file");
  }
  RemoveFile(strScrambled);
  check.Apply(result, "");
  sink.Add(result);
}

void PhaseDelete(const CBenchContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  const std::string strCopy = ctx.strDir + "del.txt";
  CPhaseResult result = MakeResult("delete", "DeleteRows of 1,000 scattered", RATE_MB_PER_S, 0);
  CChecker check;
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    RemoveFile(SidePath(strCopy));
    CopyFile(ctx.strTable, strCopy);
    CCatStd table(strCopy.c_str());
    table.IndexTable();  // the row table, without any index
    ULONGLONG nDropped = 0;
    for (DWORD nRow : work.m_arDeleteRows) {
      DWORD nLen = 0;
      table.GetRowPos(nRow, &nLen);
      nDropped += nLen;
    }
    const LONG nFirst = table.GetRowPos(work.m_arDeleteRows.front(), nullptr);
    result.dWork = static_cast<double>(ctx.nTableBytes - static_cast<ULONGLONG>(nFirst));
    CDWordArray arRows;
    for (DWORD nRow : work.m_arDeleteRows) {
      arRows.Add(nRow);
    }
    const CStopwatch watch;
    const BOOL bDeleted = table.DeleteRows(arRows);
    result.AddSample(watch);
    check.Expect(bDeleted, TRUE, "DeleteRows");
    check.Expect(FileSize(strCopy), ctx.nTableBytes - nDropped, "file size");
  }
  RemoveFile(strCopy);
  RemoveFile(SidePath(strCopy));
  check.Apply(result, std::to_string(work.m_arDeleteRows.size()) +
                          " rows; rate = bytes behind the first one");
  sink.Add(result);
}

std::string ExpandedPath(const CBenchContext& ctx, DWORD nRows) {
  return ctx.strDir + "exp" + std::to_string(nRows) + ".txt";
}

void PhaseExpand(const CBenchContext& ctx, const std::string& strSource, DWORD nRows,
                 CResultSink& sink) {
  const std::string strSuffix = std::to_string(nRows);
  const std::string strExpanded = ExpandedPath(ctx, nRows);
  CWordArray arCols;
  arCols.Add(GEN_COL_COULEUR);

  CPhaseResult expand =
      MakeResult(("expand_" + strSuffix).c_str(), "UncompactTable COULEUR, " + strSuffix + " rows",
                 RATE_ROWS_PER_S, nRows);
  CChecker checkExpand;
  ULONGLONG nExpandedLines = 0;
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    CCatStd table(strSource.c_str());
    const CStopwatch watch;
    const BOOL bDone = table.UncompactTable(strExpanded.c_str(), &arCols);
    expand.AddSample(watch);
    checkExpand.Expect(bDone, TRUE, "UncompactTable");
    nExpandedLines = CountLines(strExpanded);
    checkExpand.Expect(nExpandedLines > nRows + 1ULL, TRUE, "more rows after expansion");
  }
  checkExpand.Apply(expand, std::to_string(nExpandedLines - 1) + " rows written");
  sink.Add(expand);
}

void PhaseCompact(const CBenchContext& ctx, DWORD nRows, unsigned nBudgetSeconds,
                  CResultSink& sink) {
  const std::string strSuffix = std::to_string(nRows);
  const std::string strExpanded = ExpandedPath(ctx, nRows);
  const ULONGLONG nExpandedLines = CountLines(strExpanded);
  CWordArray arCols;
  arCols.Add(GEN_COL_COULEUR);
  CPhaseResult compact =
      MakeResult(("compact_" + strSuffix).c_str(),
                 "CompactTable COULEUR, " + std::to_string(nExpandedLines - 1) + " rows",
                 RATE_ROWS_PER_S, static_cast<double>(nExpandedLines - 1));
  CChecker checkCompact;
  // The pass reads the header first, from offset 0. Rows whose cells are all
  // empty (written so by the expansion, or an LF that the reader delivers
  // as a row of its own) fold into one group: one more line.
  CReaderRows rows;
  checkCompact.Expect(ModelReaderPassOnFile(strExpanded.c_str(), 0, rows), TRUE,
                      "reader model of the expanded file");
  const ULONGLONG nWantedLines = nRows + 1ULL + (rows.arBlank.empty() ? 0 : 1);
  const std::string strWork = ctx.strDir + "cmpwork.txt";
  double dSpent = 0;
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    CopyFile(strExpanded, strWork);
    RemoveFile(SidePath(strWork));
    CCatStd table(strWork.c_str());
    const CStopwatch watch;
    const BOOL bDone = table.CompactTable(nullptr, &arCols);
    const double dSeconds = watch.Wall();
    const double dCpu = watch.Cpu();
    compact.arSeconds.push_back(dSeconds);
    compact.arCpuSeconds.push_back(dCpu);
    dSpent += dSeconds;
    checkCompact.Expect(bDone, TRUE, "CompactTable");
    checkCompact.Expect(CountLines(strWork), nWantedLines, "lines after compaction");
    // Slow passes get fewer repetitions, so the ladder of sizes stays in budget.
    if (dSpent + dSeconds > nBudgetSeconds / 2.0) {
      break;
    }
  }
  RemoveFile(strWork);
  checkCompact.Apply(compact, "back to " + strSuffix + " rows, " +
                                  std::to_string(compact.arSeconds.size()) + " rep(s)");
  sink.Add(compact);
}

}  // namespace lorn_bench
