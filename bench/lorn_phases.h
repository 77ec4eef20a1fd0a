// The phases of lorn_bench: each times one operation of the library on a
// generated catalogue and checks its answers against the generator. Every
// phase runs in a child process of its own (see bench_child.h) and adds its
// results to the sink.
#ifndef LORN_BENCH_LORN_PHASES_H_
#define LORN_BENCH_LORN_PHASES_H_

#include <string>

#include "bench/bench_child.h"
#include "bench/bench_workload.h"
#include "bench/catalogue_gen.h"
#include "bench/reader_model.h"
#include "platform/types.h"

namespace lorn_bench {

struct CBenchContext {
  std::string strDir;    // private working directory, with a closing "/"
  std::string strTable;  // the catalogue: strDir + "cat.txt"
  ULONGLONG nTableBytes = 0;
  const CCatalogueGen* pGen = nullptr;
  const CBenchWorkload* pWork = nullptr;  // null until the indexes are built
  // The table's rows as the reader numbers them: the generator's rows, and
  // an empty row wherever a CR LF straddles two fills of the line buffer.
  const CReaderRows* pRows = nullptr;
  DWORD nReps = 5;
  // The point and range phases under the exact search (SetExactSearch),
  // their keys ending in "_exact".
  BOOL bExact = FALSE;
};

// A bare pass over the file (the floor of any full pass).
void PhaseFloor(const CBenchContext& ctx, CResultSink& sink);
// Column analysis and the indexes of STOCK, PRIX and LIBELLE from nothing;
// leaves that sidecar beside the table and a copy of it as "cat3.SDX".
void PhaseIndexFromScratch(const CBenchContext& ctx, CResultSink& sink);
// One more index (REF) added to the sidecar of three.
void PhaseAddIndex(const CBenchContext& ctx, CResultSink& sink);
// The indexes of all columns that the query phases use, from nothing.
void PhaseIndexAll(const CBenchContext& ctx, CResultSink& sink);
// Opening an indexed table: the memory baseline of a process.
void PhaseOpen(const CBenchContext& ctx, CResultSink& sink);
// Point queries (mask 1) on STOCK, PRIX or LIBELLE, reading the rows found.
void PhasePointQueries(const CBenchContext& ctx, WORD nCol, CResultSink& sink);
// Range queries (masks 16, 17, 32, 33) on STOCK and PRIX, reading the rows.
void PhaseRangeQueries(const CBenchContext& ctx, CResultSink& sink);
// CRIT_DIFFERENT, and FAMILLE = & PRIX < | LIBELLE =.
void PhaseDifferentAndThree(const CBenchContext& ctx, CResultSink& sink);
// A result view of 16,383 rows over a query, reading them.
void PhaseResultView(const CBenchContext& ctx, CResultSink& sink);
// ReadRow at random row numbers.
void PhaseReadRow(const CBenchContext& ctx, CResultSink& sink);
// NextColValue through all values of STOCK and of LIBELLE.
void PhaseNextColValue(const CBenchContext& ctx, CResultSink& sink);
// CryptTable(TRUE): the scrambled twin of the table.
void PhaseCrypt(const CBenchContext& ctx, CResultSink& sink);
// DeleteRows of 1,000 rows spread over a copy of the table.
void PhaseDelete(const CBenchContext& ctx, CResultSink& sink);
// The expanded catalogue that PhaseExpand writes and PhaseCompact reads.
std::string ExpandedPath(const CBenchContext& ctx, DWORD nRows);
// UncompactTable on COULEUR of a catalogue of nRows rows (strSource).
void PhaseExpand(const CBenchContext& ctx, const std::string& strSource, DWORD nRows,
                 CResultSink& sink);
// CompactTable on COULEUR of what PhaseExpand wrote, which gives the nRows
// rows back; fewer repetitions when a pass takes much of nBudgetSeconds.
void PhaseCompact(const CBenchContext& ctx, DWORD nRows, unsigned nBudgetSeconds,
                  CResultSink& sink);

}  // namespace lorn_bench

#endif  // LORN_BENCH_LORN_PHASES_H_
