// Results of benchmark phases: their samples, the median, the rate, the peak
// memory of the process that ran them, and the two printed forms (an aligned
// table for people, one CSV line per phase for scripts).
//
// CSV columns: key, median wall seconds per operation, median CPU seconds per
// operation, work per operation, rate kind (mb_s, rows_s, us_op), peak
// resident KiB, ok (1 or 0), note.
#ifndef LORN_BENCH_BENCH_REPORT_H_
#define LORN_BENCH_BENCH_REPORT_H_

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/types.h"

namespace lorn_bench {

// Wall-clock and CPU time since construction. The CPU time (user and system
// time of the whole process) is what an operation cost, whatever else runs on
// the machine; the wall time is what a caller waited.
class CStopwatch {
 public:
  CStopwatch();
  double Wall() const;
  double Cpu() const;

 private:
  std::chrono::steady_clock::time_point m_tStart;
  double m_dCpuStart;
};

// How a phase's rate is shown: bytes per second, rows per second, or the
// median time of one operation (a query, a row, a value).
constexpr BYTE RATE_MB_PER_S = 0;
constexpr BYTE RATE_ROWS_PER_S = 1;
constexpr BYTE RATE_US_PER_OP = 2;

struct CPhaseResult {
  std::string strKey;    // stable name, shared with the SQLite counterpart
  std::string strTitle;  // what the table shows
  BYTE nRate = RATE_US_PER_OP;
  double dWork = 0;                  // bytes or rows of one operation
  std::vector<double> arSeconds;     // wall time, one sample per operation or repetition
  std::vector<double> arCpuSeconds;  // CPU time per operation, per repetition or batch
  BOOL bOK = TRUE;                   // FALSE: wrong answer, failure or timeout
  std::string strNote;
  long nPeakKiB = 0;  // peak resident memory of the process that ran it

  // One repetition: its wall and CPU time.
  void AddSample(const CStopwatch& watch);
  double Median() const;
  double MedianCpu() const;
};

// Line form used between a child process and its parent.
std::string EncodeResult(const CPhaseResult& result);
BOOL DecodeResult(const std::string& strLine, CPhaseResult& result);

void PrintTableHeader(FILE* pOut);
void PrintTableRow(FILE* pOut, const CPhaseResult& result);
void PrintCsvHeader(FILE* pOut);
void PrintCsvRow(FILE* pOut, const CPhaseResult& result);

// "1.23 ms", "45.6 µs", "2.34 s".
std::string FormatSeconds(double dSeconds);
// The rate column, from the median wall time: "123.4 MB/s", "1.23 M rows/s",
// "4.56 us/op", "13.76 ms/op".
std::string FormatRate(const CPhaseResult& result);

}  // namespace lorn_bench

#endif  // LORN_BENCH_BENCH_REPORT_H_
