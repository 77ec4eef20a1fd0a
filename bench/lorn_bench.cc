// lorn_bench: times the library's operations on a generated catalogue and
// checks every answer against the generator.
//
//   lorn_bench [--rows N] [--reps R] [--queries Q] [--seed S] [--plain]
//              [--only LIST] [--compact-rows N] [--budget S]
//              [--compact-budget S] [--csv FILE] [--dir DIR] [--keep]
//
//   --rows N            rows of the catalogue (default 1000000)
//   --reps R            repetitions of each whole-table phase (default 5);
//                       the median is reported
//   --queries Q         keys per point-query phase (default 1000)
//   --seed S            seed of the catalogue and of the workload (1998)
//   --plain             a catalogue without lists, ranges and wildcards, the
//                       one compare.sh gives to SQLite
//   --only LIST         comma-separated groups: floor, index, add, open,
//                       point, range, three, view, readrow, nextcol, crypt,
//                       delete, compact, exact (the point and range
//                       phases again under the exact search) (default: all)
//   --compact-rows N    largest table of the compaction ladder (100000)
//   --budget S          time limit of one phase, seconds (1800)
//   --compact-budget S  time limit of one compaction size, seconds (120)
//   --csv FILE          also write the results as CSV
//   --dir DIR           work in DIR (created) instead of a fresh directory
//                       under $TMPDIR; implies --keep
//   --keep              leave the working files behind
//
// Every phase runs in a child process: its peak RSS is that phase's alone.
// Exit status 1 when an answer was wrong or a phase failed; a compaction
// size over its budget is reported, not failed.
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "bench/bench_child.h"
#include "bench/bench_report.h"
#include "bench/bench_workload.h"
#include "bench/catalogue_gen.h"
#include "bench/lorn_phases.h"
#include "bench/reader_model.h"
#include "lorn.h"

using namespace lorn_bench;

namespace {

struct COptions {
  ULONGLONG nRows = 1000000;
  ULONGLONG nReps = 5;
  ULONGLONG nQueries = 1000;
  ULONGLONG nSeed = 1998;
  BOOL bPlain = FALSE;
  std::set<std::string> setOnly;
  ULONGLONG nCompactRows = 100000;
  ULONGLONG nBudget = 1800;
  ULONGLONG nCompactBudget = 120;
  std::string strCsv;
  std::string strDir;
  BOOL bKeep = FALSE;
};

const char* const kGroups[] = {"floor", "index",  "add",     "open",    "point",
                               "range", "three",  "view",    "readrow", "nextcol",
                               "crypt", "delete", "compact", "exact"};

int Usage() {
  std::fprintf(stderr,
               "usage: lorn_bench [--rows N] [--reps R] [--queries Q] [--seed S] [--plain]\n"
               "                  [--only LIST] [--compact-rows N] [--budget S]\n"
               "                  [--compact-budget S] [--csv FILE] [--dir DIR] [--keep]\n");
  return 2;
}

BOOL ParseNumber(const char* pszText, ULONGLONG nMin, ULONGLONG nMax, ULONGLONG& nValue) {
  char* pszEnd = nullptr;
  errno = 0;
  const unsigned long long n = std::strtoull(pszText, &pszEnd, 10);
  if (errno != 0 || pszEnd == pszText || *pszEnd != '\0' || n < nMin || n > nMax) {
    return FALSE;
  }
  nValue = n;
  return TRUE;
}

BOOL ParseOptions(int argc, char** argv, COptions& opt) {
  for (int i = 1; i < argc; ++i) {
    const std::string strArg = argv[i];
    const char* pszValue = i + 1 < argc ? argv[i + 1] : nullptr;
    auto number = [&](ULONGLONG nMin, ULONGLONG nMax, ULONGLONG& nValue) {
      ++i;
      return pszValue != nullptr && ParseNumber(pszValue, nMin, nMax, nValue);
    };
    if (strArg == "--rows") {
      if (!number(10, 100000000, opt.nRows))
        return FALSE;
    } else if (strArg == "--reps") {
      if (!number(1, 1000, opt.nReps))
        return FALSE;
    } else if (strArg == "--queries") {
      if (!number(1, 10000000, opt.nQueries))
        return FALSE;
    } else if (strArg == "--seed") {
      if (!number(0, ~0ULL, opt.nSeed))
        return FALSE;
    } else if (strArg == "--compact-rows") {
      if (!number(0, 100000000, opt.nCompactRows))
        return FALSE;
    } else if (strArg == "--budget") {
      if (!number(1, 86400, opt.nBudget))
        return FALSE;
    } else if (strArg == "--compact-budget") {
      if (!number(1, 86400, opt.nCompactBudget))
        return FALSE;
    } else if (strArg == "--plain") {
      opt.bPlain = TRUE;
    } else if (strArg == "--keep") {
      opt.bKeep = TRUE;
    } else if (strArg == "--csv" && pszValue != nullptr) {
      opt.strCsv = argv[++i];
    } else if (strArg == "--dir" && pszValue != nullptr) {
      opt.strDir = argv[++i];
      opt.bKeep = TRUE;
    } else if (strArg == "--only" && pszValue != nullptr) {
      std::stringstream stream(argv[++i]);
      std::string strGroup;
      while (std::getline(stream, strGroup, ',')) {
        if (std::find(std::begin(kGroups), std::end(kGroups), strGroup) == std::end(kGroups)) {
          std::fprintf(stderr, "lorn_bench: unknown group %s\n", strGroup.c_str());
          return FALSE;
        }
        opt.setOnly.insert(strGroup);
      }
    } else {
      return FALSE;
    }
  }
  return TRUE;
}

std::string CpuModel() {
  std::ifstream cpuinfo("/proc/cpuinfo");
  std::string strLine;
  while (std::getline(cpuinfo, strLine)) {
    if (strLine.rfind("model name", 0) == 0) {
      const size_t nColon = strLine.find(':');
      return nColon == std::string::npos ? strLine : strLine.substr(nColon + 2);
    }
  }
  return "unknown CPU";
}

std::string MakeWorkDir(const COptions& opt) {
  if (!opt.strDir.empty()) {
    std::filesystem::create_directories(opt.strDir);
    std::string strDir = std::filesystem::absolute(opt.strDir).string();
    return strDir.back() == '/' ? strDir : strDir + "/";
  }
  const char* pszTmp = std::getenv("TMPDIR");
  std::string strTemplate =
      std::string(pszTmp != nullptr && *pszTmp != '\0' ? pszTmp : "/tmp") + "/lorn-bench-XXXXXX";
  std::vector<char> achTemplate(strTemplate.begin(), strTemplate.end());
  achTemplate.push_back('\0');
  if (::mkdtemp(achTemplate.data()) == nullptr) {
    return "";
  }
  return std::string(achTemplate.data()) + "/";
}

class CRun {
 public:
  CRun(const COptions& opt, FILE* pCsv) : m_opt(opt), m_pCsv(pCsv) {}

  BOOL Wants(const char* pszGroup) const {
    return m_opt.setOnly.empty() || m_opt.setOnly.count(pszGroup) != 0;
  }

  void Run(const std::string& strKey, const std::string& strTitle, unsigned nBudget,
           const std::function<void(CResultSink&)>& fnPhase) {
    for (CPhaseResult& result : RunInChild(strKey, strTitle, nBudget, fnPhase)) {
      PrintTableRow(stdout, result);
      if (m_pCsv != nullptr) {
        PrintCsvRow(m_pCsv, result);
      }
      if (!result.bOK && result.strNote.rfind("stopped after", 0) == 0 &&
          strKey.rfind("compact", 0) == 0) {
        m_bCompactOverBudget = TRUE;
      } else if (!result.bOK) {
        m_bFailed = TRUE;
      }
      m_arResults.push_back(result);
    }
  }

  // The result of a phase; with bAnswered, also one whose check failed but
  // which has timings.
  const CPhaseResult* Find(const std::string& strKey, BOOL bAnswered = FALSE) const {
    for (const CPhaseResult& result : m_arResults) {
      if (result.strKey == strKey && (result.bOK || (bAnswered && !result.arSeconds.empty()))) {
        return &result;
      }
    }
    return nullptr;
  }

  const COptions& m_opt;
  FILE* m_pCsv;
  std::vector<CPhaseResult> m_arResults;
  BOOL m_bFailed = FALSE;
  BOOL m_bCompactOverBudget = FALSE;
};

void PrintSummary(const CRun& run, const std::vector<DWORD>& arLadder) {
  std::printf("\n");
  const CPhaseResult* pFloor = run.Find("floor");
  const CPhaseResult* pIndex = run.Find("index3");
  if (pFloor != nullptr && pIndex != nullptr && pFloor->Median() > 0) {
    std::printf("indexing from scratch (3 columns) = %.1f x the bare pass\n",
                pIndex->Median() / pFloor->Median());
  }
  // Time per row across the ladder: a linear operation keeps it flat.
  for (const char* pszOp : {"expand", "compact"}) {
    std::string strLine;
    for (DWORD nRows : arLadder) {
      const CPhaseResult* pResult =
          run.Find(std::string(pszOp) + "_" + std::to_string(nRows), TRUE);
      if (pResult != nullptr && pResult->dWork > 0) {
        char szCell[64];
        std::snprintf(szCell, sizeof(szCell), "  %u rows: %.2f us/row", nRows,
                      pResult->Median() / pResult->dWork * 1e6);
        strLine += szCell;
      }
    }
    if (!strLine.empty()) {
      std::printf("%s time per row:%s\n", pszOp, strLine.c_str());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  COptions opt;
  if (!ParseOptions(argc, argv, opt)) {
    return Usage();
  }
  InitLibrary();

  CBenchContext ctx;
  ctx.strDir = MakeWorkDir(opt);
  if (ctx.strDir.empty()) {
    std::perror("lorn_bench: working directory");
    return 1;
  }
  ctx.strTable = ctx.strDir + "cat.txt";
  ctx.nReps = static_cast<DWORD>(opt.nReps);
  const CCatalogueGen gen(static_cast<DWORD>(opt.nRows), opt.nSeed, opt.bPlain);
  ctx.pGen = &gen;

  const auto tGen = std::chrono::steady_clock::now();
  if (!gen.WriteFile(ctx.strTable.c_str(), &ctx.nTableBytes)) {
    std::perror(ctx.strTable.c_str());
    return 1;
  }
  const double dGen =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - tGen).count();
  // The pass that numbers the rows starts behind the header line.
  std::string strHeader;
  gen.AppendHeader(strHeader);
  CReaderRows rows;
  if (!ModelReaderPassOnFile(ctx.strTable.c_str(), static_cast<DWORD>(strHeader.size()), rows)) {
    std::fprintf(stderr, "lorn_bench: %s: no reader model\n", ctx.strTable.c_str());
    return 1;
  }
  ctx.pRows = &rows;

  struct utsname host {};
  ::uname(&host);
  std::printf("lorn_bench: %llu rows, %.1f MB (%.1f bytes/row, %s), generated in %.2f s\n",
              static_cast<unsigned long long>(opt.nRows), ctx.nTableBytes / 1e6,
              static_cast<double>(ctx.nTableBytes) / static_cast<double>(opt.nRows),
              opt.bPlain ? "plain" : "lists, ranges, wildcards", dGen);
  std::printf(
      "rows as the reader numbers them: %u (%zu empty, where a CR LF straddles two fills)\n",
      rows.nRows, rows.arBlank.size());
  std::printf("machine: %s, %ld cores, %s %s; reps %llu; dir %s\n\n", CpuModel().c_str(),
              ::sysconf(_SC_NPROCESSORS_ONLN), host.sysname, host.release,
              static_cast<unsigned long long>(opt.nReps), ctx.strDir.c_str());

  FILE* pCsv = nullptr;
  if (!opt.strCsv.empty()) {
    pCsv = std::fopen(opt.strCsv.c_str(), "w");
    if (pCsv == nullptr) {
      std::perror(opt.strCsv.c_str());
      return 1;
    }
    PrintCsvHeader(pCsv);
  }

  CRun run(opt, pCsv);
  const unsigned nBudget = static_cast<unsigned>(opt.nBudget);
  PrintTableHeader(stdout);

  if (run.Wants("floor") || run.Wants("index")) {
    run.Run("floor", "bare pass", nBudget, [&](CResultSink& sink) { PhaseFloor(ctx, sink); });
  }
  if (run.Wants("index") || run.Wants("add")) {
    run.Run("index3", "index from scratch", nBudget,
            [&](CResultSink& sink) { PhaseIndexFromScratch(ctx, sink); });
  }
  if (run.Wants("add")) {
    run.Run("add_index", "add one index", nBudget,
            [&](CResultSink& sink) { PhaseAddIndex(ctx, sink); });
  }

  const BOOL bQueries = run.Wants("open") || run.Wants("point") || run.Wants("range") ||
                        run.Wants("exact") || run.Wants("three") || run.Wants("view") ||
                        run.Wants("readrow") || run.Wants("nextcol");
  if (bQueries) {
    run.Run("index_all", "index all columns", nBudget,
            [&](CResultSink& sink) { PhaseIndexAll(ctx, sink); });
  }
  // The workload is drawn after the index phases, so that their children
  // do not carry its memory.
  const CBenchWorkload work(gen, static_cast<DWORD>(opt.nQueries), 100000, opt.nSeed);
  ctx.pWork = &work;
  if (run.Wants("open")) {
    run.Run("open", "open", nBudget, [&](CResultSink& sink) { PhaseOpen(ctx, sink); });
  }
  if (run.Wants("point")) {
    for (WORD nCol : {GEN_COL_STOCK, GEN_COL_PRIX, GEN_COL_LIBELLE}) {
      run.Run("point", "point queries", nBudget,
              [&](CResultSink& sink) { PhasePointQueries(ctx, nCol, sink); });
    }
  }
  if (run.Wants("range")) {
    run.Run("range", "range queries", nBudget,
            [&](CResultSink& sink) { PhaseRangeQueries(ctx, sink); });
  }
  if (run.Wants("exact")) {
    CBenchContext exact = ctx;
    exact.bExact = TRUE;
    for (WORD nCol : {GEN_COL_STOCK, GEN_COL_PRIX, GEN_COL_LIBELLE}) {
      run.Run("point_exact", "point queries, exact search", nBudget,
              [&](CResultSink& sink) { PhasePointQueries(exact, nCol, sink); });
    }
    run.Run("range_exact", "range queries, exact search", nBudget,
            [&](CResultSink& sink) { PhaseRangeQueries(exact, sink); });
  }
  if (run.Wants("three")) {
    run.Run("three", "CRIT_DIFFERENT and three criteria", nBudget,
            [&](CResultSink& sink) { PhaseDifferentAndThree(ctx, sink); });
  }
  if (run.Wants("view")) {
    run.Run("view", "result view", nBudget, [&](CResultSink& sink) { PhaseResultView(ctx, sink); });
  }
  if (run.Wants("readrow")) {
    run.Run("readrow", "ReadRow", nBudget, [&](CResultSink& sink) { PhaseReadRow(ctx, sink); });
  }
  if (run.Wants("nextcol")) {
    run.Run("nextcol", "NextColValue", nBudget,
            [&](CResultSink& sink) { PhaseNextColValue(ctx, sink); });
  }
  if (run.Wants("crypt")) {
    run.Run("crypt", "CryptTable", nBudget, [&](CResultSink& sink) { PhaseCrypt(ctx, sink); });
  }
  if (run.Wants("delete")) {
    run.Run("delete", "DeleteRows", nBudget, [&](CResultSink& sink) { PhaseDelete(ctx, sink); });
  }

  // Compaction and expansion on a ladder of table sizes, up to
  // --compact-rows: the time per row at each size shows how they scale.
  std::vector<DWORD> arLadder;
  if (run.Wants("compact") && opt.nCompactRows > 0) {
    for (DWORD nRows : {1000U, 3000U, 10000U, 30000U, 100000U, 300000U, 1000000U}) {
      if (nRows < opt.nCompactRows) {
        arLadder.push_back(nRows);
      }
    }
    arLadder.push_back(static_cast<DWORD>(opt.nCompactRows));
  }
  for (DWORD nRows : arLadder) {
    const std::string strSource = ctx.strDir + "cmp" + std::to_string(nRows) + ".txt";
    const CCatalogueGen genSmall(nRows, opt.nSeed, FALSE);
    if (!genSmall.WriteFile(strSource.c_str(), nullptr)) {
      std::perror(strSource.c_str());
      return 1;
    }
    run.Run("expand_" + std::to_string(nRows),
            "UncompactTable COULEUR, " + std::to_string(nRows) + " rows", nBudget,
            [&](CResultSink& sink) { PhaseExpand(ctx, strSource, nRows, sink); });
    if (!run.m_bCompactOverBudget) {
      run.Run("compact_" + std::to_string(nRows),
              "CompactTable COULEUR, " + std::to_string(nRows) + " rows",
              static_cast<unsigned>(opt.nCompactBudget), [&](CResultSink& sink) {
                PhaseCompact(ctx, nRows, static_cast<unsigned>(opt.nCompactBudget), sink);
              });
    }
    std::filesystem::remove(strSource);
    std::filesystem::remove(ExpandedPath(ctx, nRows));
  }

  PrintSummary(run, arLadder);
  if (pCsv != nullptr) {
    std::fclose(pCsv);
  }
  if (!opt.bKeep) {
    std::error_code error;
    std::filesystem::remove_all(ctx.strDir, error);
  }
  return run.m_bFailed ? 1 : 0;
}
