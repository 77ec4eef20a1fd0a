// lorn_sqlite_bench: the SQLite counterpart of lorn_bench, run by compare.sh.
// It answers the same workload (same seed, same keys) on a database that
// compare.sh imported from the plain catalogue, with prepared statements,
// warm, reading every column of every row found, and checks each answer
// against the generator as lorn_bench does. Results carry lorn_bench's keys.
//
//   lorn_sqlite_bench --db FILE --rows N [--seed S] [--reps R] [--queries Q]
//                     [--bytes B] [--csv FILE]
//
// The database holds table cat (REF, LIBELLE, FAMILLE, PRIX REAL,
// STOCK INTEGER, COULEUR, TAILLE INTEGER, FOURNISSEUR) with the indexes of
// STOCK, PRIX and LIBELLE; this program adds those of FAMILLE and REF.
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/bench_child.h"
#include "bench/bench_report.h"
#include "bench/bench_workload.h"
#include "bench/catalogue_gen.h"

using namespace lorn_bench;

namespace {

using CClock = std::chrono::steady_clock;

double Since(CClock::time_point tStart) {
  return std::chrono::duration<double>(CClock::now() - tStart).count();
}

class CDatabase {
 public:
  explicit CDatabase(const std::string& strPath) {
    if (sqlite3_open_v2(strPath.c_str(), &m_pDb, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
      throw std::runtime_error("cannot open " + strPath);
    }
  }
  ~CDatabase() { sqlite3_close(m_pDb); }
  CDatabase(const CDatabase&) = delete;
  CDatabase& operator=(const CDatabase&) = delete;

  void Exec(const char* pszSql) {
    char* pszError = nullptr;
    if (sqlite3_exec(m_pDb, pszSql, nullptr, nullptr, &pszError) != SQLITE_OK) {
      const std::string strError = pszError != nullptr ? pszError : "?";
      sqlite3_free(pszError);
      throw std::runtime_error(std::string(pszSql) + ": " + strError);
    }
  }
  sqlite3* Get() { return m_pDb; }

 private:
  sqlite3* m_pDb = nullptr;
};

class CStatement {
 public:
  CStatement(CDatabase& db, const char* pszSql) {
    if (sqlite3_prepare_v2(db.Get(), pszSql, -1, &m_pStmt, nullptr) != SQLITE_OK) {
      throw std::runtime_error(std::string("prepare: ") + sqlite3_errmsg(db.Get()));
    }
  }
  ~CStatement() { sqlite3_finalize(m_pStmt); }
  CStatement(const CStatement&) = delete;
  CStatement& operator=(const CStatement&) = delete;

  void Reset() {
    sqlite3_reset(m_pStmt);
    sqlite3_clear_bindings(m_pStmt);
  }
  void Bind(int nArg, LONGLONG n) { sqlite3_bind_int64(m_pStmt, nArg, n); }
  void Bind(int nArg, double d) { sqlite3_bind_double(m_pStmt, nArg, d); }
  void Bind(int nArg, const std::string& str) {
    sqlite3_bind_text(m_pStmt, nArg, str.c_str(), static_cast<int>(str.size()), SQLITE_TRANSIENT);
  }
  // Steps through every row, copying each column's text as a row read
  // would. The number of rows.
  DWORD ReadAll(std::vector<std::string>& arCells) {
    DWORD nRows = 0;
    while (sqlite3_step(m_pStmt) == SQLITE_ROW) {
      const int nCols = sqlite3_column_count(m_pStmt);
      arCells.resize(static_cast<size_t>(nCols));
      for (int i = 0; i < nCols; ++i) {
        const unsigned char* pszText = sqlite3_column_text(m_pStmt, i);
        arCells[static_cast<size_t>(i)].assign(
            pszText != nullptr ? reinterpret_cast<const char*>(pszText) : "",
            static_cast<size_t>(sqlite3_column_bytes(m_pStmt, i)));
      }
      ++nRows;
    }
    return nRows;
  }
  LONGLONG Int(int nCol) { return sqlite3_column_int64(m_pStmt, nCol); }
  BOOL Step() { return sqlite3_step(m_pStmt) == SQLITE_ROW; }

 private:
  sqlite3_stmt* m_pStmt = nullptr;
};

struct CSqlContext {
  std::string strDb;
  const CCatalogueGen* pGen = nullptr;
  const CBenchWorkload* pWork = nullptr;
  DWORD nReps = 5;
  double dBytes = 0;
};

CPhaseResult MakeResult(const std::string& strKey, const std::string& strTitle, BYTE nRate,
                        double dWork) {
  CPhaseResult result;
  result.strKey = strKey;
  result.strTitle = strTitle;
  result.nRate = nRate;
  result.dWork = dWork;
  return result;
}

void Expect(CPhaseResult& result, ULONGLONG nGot, ULONGLONG nWanted, const std::string& strWhat) {
  if (nGot != nWanted && result.bOK) {
    result.bOK = FALSE;
    result.strNote =
        strWhat + ": " + std::to_string(nGot) + " instead of " + std::to_string(nWanted);
  }
}

void BindKey(CStatement& stmt, int nArg, WORD nCol, DWORD nValue) {
  if (nCol == GEN_COL_PRIX) {
    stmt.Bind(nArg, std::strtod(CCatalogueGen::FormatPrice(nValue).c_str(), nullptr));
  } else if (nCol == GEN_COL_LIBELLE) {
    stmt.Bind(nArg, CCatalogueGen::FormatLabel(nValue));
  } else {
    stmt.Bind(nArg, static_cast<LONGLONG>(nValue));
  }
}

const char* TypeKey(WORD nCol) {
  return nCol == GEN_COL_PRIX ? "real" : nCol == GEN_COL_LIBELLE ? "str" : "long";
}

void PhaseAddIndex(const CSqlContext& ctx, CResultSink& sink) {
  CDatabase db(ctx.strDb);
  CPhaseResult result = MakeResult("add_index", "CREATE INDEX on REF", RATE_MB_PER_S, ctx.dBytes);
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    db.Exec("DROP INDEX IF EXISTS i_ref");
    const CStopwatch watch;
    db.Exec("CREATE INDEX i_ref ON cat(REF)");
    result.AddSample(watch);
  }
  sink.Add(result);
}

void PhaseIndexRest(const CSqlContext& ctx, CResultSink& sink) {
  CDatabase db(ctx.strDb);
  CPhaseResult result =
      MakeResult("index_rest", "CREATE INDEX on FAMILLE", RATE_MB_PER_S, ctx.dBytes);
  const CStopwatch watch;
  db.Exec("CREATE INDEX IF NOT EXISTS i_famille ON cat(FAMILLE)");
  result.AddSample(watch);
  sink.Add(result);
}

void PhaseOpen(const CSqlContext& ctx, CResultSink& sink) {
  CPhaseResult result = MakeResult("open", "open the database", RATE_US_PER_OP, 0);
  for (DWORD nRep = 0; nRep < ctx.nReps * 20; ++nRep) {
    const CStopwatch watch;
    CDatabase db(ctx.strDb);
    CStatement stmt(db, "SELECT count(*) FROM sqlite_master");
    stmt.Step();
    result.AddSample(watch);
  }
  sink.Add(result);
}

void PhasePoint(const CSqlContext& ctx, WORD nCol, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  const std::vector<DWORD>& arKeys = nCol == GEN_COL_PRIX      ? work.m_arPriceKeys
                                     : nCol == GEN_COL_LIBELLE ? work.m_arLabelKeys
                                                               : work.m_arStockKeys;
  CDatabase db(ctx.strDb);
  const std::string strSql =
      std::string("SELECT * FROM cat WHERE ") + CCatalogueGen::GetColumnName(nCol) + " = ?1";
  CStatement stmt(db, strSql.c_str());
  CPhaseResult result = MakeResult(std::string("point_") + TypeKey(nCol),
                                   std::string("point query ") + CCatalogueGen::GetColumnName(nCol),
                                   RATE_US_PER_OP, 0);
  std::vector<std::string> arCells;
  for (DWORD nKey : arKeys) {
    stmt.Reset();
    BindKey(stmt, 1, nCol, nKey);
    const DWORD nWanted = nCol == GEN_COL_PRIX      ? work.CountPrice(nKey)
                          : nCol == GEN_COL_LIBELLE ? work.CountLabel(nKey)
                                                    : work.CountStock(nKey);
    Expect(result, stmt.ReadAll(arCells), nWanted, "rows of key " + std::to_string(nKey));
  }
  ULONGLONG nRows = 0;
  const CStopwatch batch;
  for (DWORD nKey : arKeys) {
    const auto tStart = CClock::now();
    stmt.Reset();
    BindKey(stmt, 1, nCol, nKey);
    nRows += stmt.ReadAll(arCells);
    result.arSeconds.push_back(Since(tStart));
  }
  result.arCpuSeconds.push_back(batch.Cpu() / static_cast<double>(arKeys.size()));
  result.dWork = static_cast<double>(nRows) / static_cast<double>(arKeys.size());
  sink.Add(result);
}

void PhaseRanges(const CSqlContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CDatabase db(ctx.strDb);
  std::vector<std::string> arCells;
  for (WORD nCol : {GEN_COL_STOCK, GEN_COL_PRIX}) {
    for (const CRangeCase& range : work.m_arRanges) {
      const char* pszOp = range.nOp == 16   ? " < "
                          : range.nOp == 17 ? " <= "
                          : range.nOp == 32 ? " > "
                                            : " >= ";
      const std::string strSql = std::string("SELECT * FROM cat WHERE ") +
                                 CCatalogueGen::GetColumnName(nCol) + pszOp + "?1";
      CStatement stmt(db, strSql.c_str());
      const DWORD nWanted = work.CountRange(range, nCol == GEN_COL_PRIX);
      CPhaseResult result =
          MakeResult("range" + std::to_string(range.nOp) + "_" + TypeKey(nCol),
                     std::string("range") + pszOp + CCatalogueGen::GetColumnName(nCol),
                     RATE_ROWS_PER_S, nWanted);
      for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
        const CStopwatch watch;
        stmt.Reset();
        BindKey(stmt, 1, nCol, range.nKey);
        const DWORD nFound = stmt.ReadAll(arCells);
        const double dSeconds = watch.Wall();
        const double dCpu = watch.Cpu();
        if (nRep > 0) {
          result.arSeconds.push_back(dSeconds);
          result.arCpuSeconds.push_back(dCpu);
        }
        Expect(result, nFound, nWanted, "rows");
      }
      sink.Add(result);
    }
  }
}

void PhaseDifferentAndThree(const CSqlContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CDatabase db(ctx.strDb);
  {
    CStatement stmt(db, "SELECT rowid FROM cat WHERE STOCK <> ?1");
    CPhaseResult result = MakeResult("different", "STOCK <> key (row ids)", RATE_ROWS_PER_S, 0);
    std::vector<LONGLONG> arRowIds;
    double dRows = 0;
    for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
      const DWORD nKey = work.m_arDifferentKeys[nRep % work.m_arDifferentKeys.size()];
      arRowIds.clear();
      const CStopwatch watch;
      stmt.Reset();
      stmt.Bind(1, static_cast<LONGLONG>(nKey));
      while (stmt.Step()) {
        arRowIds.push_back(stmt.Int(0));
      }
      const double dSeconds = watch.Wall();
      const double dCpu = watch.Cpu();
      if (nRep > 0) {
        result.arSeconds.push_back(dSeconds);
        result.arCpuSeconds.push_back(dCpu);
        dRows += static_cast<double>(arRowIds.size());
      }
      Expect(result, arRowIds.size(), work.m_nRows - work.CountStock(nKey), "rows");
    }
    result.dWork = dRows / ctx.nReps;
    sink.Add(result);
  }
  {
    CStatement stmt(db, "SELECT * FROM cat WHERE (FAMILLE = ?1 AND PRIX < ?2) OR LIBELLE = ?3");
    CPhaseResult result =
        MakeResult("three", "(FAMILLE= AND PRIX<) OR LIBELLE=", RATE_US_PER_OP, 0);
    std::vector<std::string> arCells;
    double dRows = 0;
    for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
      const CThreeCase& three = work.m_arThree[nRep % work.m_arThree.size()];
      const CStopwatch watch;
      stmt.Reset();
      stmt.Bind(1, std::string(CCatalogueGen::GetFamilyName(three.nFamily)));
      BindKey(stmt, 2, GEN_COL_PRIX, three.nPriceBelow);
      BindKey(stmt, 3, GEN_COL_LIBELLE, three.nLabel);
      const DWORD nFound = stmt.ReadAll(arCells);
      const double dSeconds = watch.Wall();
      const double dCpu = watch.Cpu();
      if (nRep > 0) {
        result.arSeconds.push_back(dSeconds);
        result.arCpuSeconds.push_back(dCpu);
        dRows += nFound;
      }
      Expect(result, nFound, three.nExpected, "rows");
    }
    result.dWork = dRows / ctx.nReps;
    sink.Add(result);
  }
}

void PhaseView(const CSqlContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CDatabase db(ctx.strDb);
  // The first row of each distinct (REF, PRIX), in row order, at most 16,383,
  // found through the STOCK index as lorn's view is (left to itself the
  // planner walks the REF index over the whole table).
  CStatement stmt(db,
                  "SELECT REF, PRIX FROM cat INDEXED BY i_stock WHERE STOCK < ?1 "
                  "GROUP BY REF, PRIX ORDER BY min(rowid) LIMIT 16383");
  CPhaseResult result =
      MakeResult("view", "GROUP BY REF,PRIX LIMIT 16383", RATE_ROWS_PER_S, work.ViewExpected());
  std::vector<std::string> arCells;
  for (DWORD nRep = 0; nRep <= ctx.nReps; ++nRep) {
    const CStopwatch watch;
    stmt.Reset();
    stmt.Bind(1, static_cast<LONGLONG>(work.m_nViewStock));
    const DWORD nFound = stmt.ReadAll(arCells);
    const double dSeconds = watch.Wall();
    const double dCpu = watch.Cpu();
    if (nRep > 0) {
      result.arSeconds.push_back(dSeconds);
      result.arCpuSeconds.push_back(dCpu);
    }
    Expect(result, nFound, work.ViewExpected(), "rows");
  }
  sink.Add(result);
}

void PhaseReadRow(const CSqlContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CDatabase db(ctx.strDb);
  CStatement stmt(db, "SELECT * FROM cat WHERE rowid = ?1");
  CPhaseResult result = MakeResult("readrow", "SELECT * by rowid", RATE_US_PER_OP, 1);
  std::vector<std::string> arCells;
  for (DWORD nRow : work.m_arRandomRows) {
    stmt.Reset();
    stmt.Bind(1, static_cast<LONGLONG>(nRow) + 1);
    const DWORD nFound = stmt.ReadAll(arCells);
    Expect(result,
           nFound == 1 && arCells[GEN_COL_STOCK] == std::to_string(ctx.pGen->GetStock(nRow)), TRUE,
           "row " + std::to_string(nRow));
  }
  const CStopwatch batch;
  for (DWORD nRow : work.m_arRandomRows) {
    const auto tStart = CClock::now();
    stmt.Reset();
    stmt.Bind(1, static_cast<LONGLONG>(nRow) + 1);
    stmt.ReadAll(arCells);
    result.arSeconds.push_back(Since(tStart));
  }
  result.arCpuSeconds.push_back(batch.Cpu() / static_cast<double>(work.m_arRandomRows.size()));
  sink.Add(result);
}

void PhaseDistinct(const CSqlContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  CDatabase db(ctx.strDb);
  for (WORD nCol : {GEN_COL_STOCK, GEN_COL_LIBELLE}) {
    const std::string strName = CCatalogueGen::GetColumnName(nCol);
    const std::string strSql = "SELECT DISTINCT " + strName + " FROM cat ORDER BY " + strName;
    CStatement stmt(db, strSql.c_str());
    CPhaseResult result = MakeResult(std::string("nextcol_") + TypeKey(nCol),
                                     "SELECT DISTINCT " + strName, RATE_US_PER_OP, 1);
    const DWORD nWanted = nCol == GEN_COL_STOCK ? work.DistinctStock() : work.DistinctLabels();
    std::vector<std::string> arCells;
    const DWORD nReps = std::max<DWORD>(1, ctx.nReps / 2);
    for (DWORD nRep = 0; nRep <= nReps; ++nRep) {
      const CStopwatch watch;
      stmt.Reset();
      const DWORD nValues = stmt.ReadAll(arCells);
      const double dSeconds = watch.Wall();
      const double dCpu = watch.Cpu();
      if (nRep > 0) {
        result.arSeconds.push_back(nValues > 0 ? dSeconds / nValues : dSeconds);
        result.arCpuSeconds.push_back(nValues > 0 ? dCpu / nValues : dCpu);
      }
      Expect(result, nValues, nWanted, "values");
    }
    sink.Add(result);
  }
}

void PhaseDelete(const CSqlContext& ctx, CResultSink& sink) {
  const CBenchWorkload& work = *ctx.pWork;
  const std::string strCopy = ctx.strDb + ".del";
  CPhaseResult result =
      MakeResult("delete", "DELETE 1,000 rows by rowid", RATE_MB_PER_S, ctx.dBytes);
  for (DWORD nRep = 0; nRep < ctx.nReps; ++nRep) {
    std::filesystem::copy_file(ctx.strDb, strCopy,
                               std::filesystem::copy_options::overwrite_existing);
    CDatabase db(strCopy);
    CStatement stmt(db, "DELETE FROM cat WHERE rowid = ?1");
    const CStopwatch watch;
    db.Exec("BEGIN");
    for (DWORD nRow : work.m_arDeleteRows) {
      stmt.Reset();
      stmt.Bind(1, static_cast<LONGLONG>(nRow) + 1);
      stmt.Step();
    }
    db.Exec("COMMIT");
    result.AddSample(watch);
    Expect(result, static_cast<ULONGLONG>(sqlite3_total_changes(db.Get())),
           work.m_arDeleteRows.size(), "rows deleted");
  }
  std::filesystem::remove(strCopy);
  sink.Add(result);
}

int Usage() {
  std::fprintf(stderr,
               "usage: lorn_sqlite_bench --db FILE --rows N [--seed S] [--reps R] [--queries Q]\n"
               "                         [--bytes B] [--csv FILE]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string strDb;
  std::string strCsv;
  ULONGLONG nRows = 0;
  ULONGLONG nSeed = 1998;
  ULONGLONG nReps = 5;
  ULONGLONG nQueries = 1000;
  double dBytes = 0;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string strArg = argv[i];
    const char* pszValue = argv[i + 1];
    if (strArg == "--db") {
      strDb = pszValue;
    } else if (strArg == "--csv") {
      strCsv = pszValue;
    } else if (strArg == "--rows") {
      nRows = std::strtoull(pszValue, nullptr, 10);
    } else if (strArg == "--seed") {
      nSeed = std::strtoull(pszValue, nullptr, 10);
    } else if (strArg == "--reps") {
      nReps = std::strtoull(pszValue, nullptr, 10);
    } else if (strArg == "--queries") {
      nQueries = std::strtoull(pszValue, nullptr, 10);
    } else if (strArg == "--bytes") {
      dBytes = std::strtod(pszValue, nullptr);
    } else {
      return Usage();
    }
  }
  if (strDb.empty() || nRows == 0 || nReps == 0 || nQueries == 0 || argc % 2 == 0) {
    return Usage();
  }

  const CCatalogueGen gen(static_cast<DWORD>(nRows), nSeed, TRUE);
  const CBenchWorkload work(gen, static_cast<DWORD>(nQueries), 100000, nSeed);
  CSqlContext ctx;
  ctx.strDb = strDb;
  ctx.pGen = &gen;
  ctx.pWork = &work;
  ctx.nReps = static_cast<DWORD>(nReps);
  ctx.dBytes = dBytes;

  FILE* pCsv = nullptr;
  if (!strCsv.empty()) {
    pCsv = std::fopen(strCsv.c_str(), "w");
    if (pCsv == nullptr) {
      std::perror(strCsv.c_str());
      return 1;
    }
    PrintCsvHeader(pCsv);
  }
  std::printf("SQLite %s, %llu rows\n\n", sqlite3_libversion(),
              static_cast<unsigned long long>(nRows));
  PrintTableHeader(stdout);
  BOOL bFailed = FALSE;
  auto run = [&](const char* pszKey, const std::function<void(CResultSink&)>& fnPhase) {
    for (const CPhaseResult& result : RunInChild(pszKey, pszKey, 3600, fnPhase)) {
      PrintTableRow(stdout, result);
      if (pCsv != nullptr) {
        PrintCsvRow(pCsv, result);
      }
      bFailed = bFailed || !result.bOK;
    }
  };
  run("add_index", [&](CResultSink& sink) { PhaseAddIndex(ctx, sink); });
  run("index_rest", [&](CResultSink& sink) { PhaseIndexRest(ctx, sink); });
  run("open", [&](CResultSink& sink) { PhaseOpen(ctx, sink); });
  for (WORD nCol : {GEN_COL_STOCK, GEN_COL_PRIX, GEN_COL_LIBELLE}) {
    run("point", [&](CResultSink& sink) { PhasePoint(ctx, nCol, sink); });
  }
  run("range", [&](CResultSink& sink) { PhaseRanges(ctx, sink); });
  run("three", [&](CResultSink& sink) { PhaseDifferentAndThree(ctx, sink); });
  run("view", [&](CResultSink& sink) { PhaseView(ctx, sink); });
  run("readrow", [&](CResultSink& sink) { PhaseReadRow(ctx, sink); });
  run("nextcol", [&](CResultSink& sink) { PhaseDistinct(ctx, sink); });
  run("delete", [&](CResultSink& sink) { PhaseDelete(ctx, sink); });
  if (pCsv != nullptr) {
    std::fclose(pCsv);
  }
  return bFailed ? 1 : 0;
}
