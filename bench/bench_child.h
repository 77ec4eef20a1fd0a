// Runs one benchmark phase in a child process, so that its peak resident
// memory (which a process cannot reset) belongs to that phase alone, and so
// that a phase over its time budget or one that crashes costs only itself.
//
// The child gets a CResultSink; each result it adds travels to the parent at
// once, so what a child finished before it was stopped is kept. More than 101
// samples travel as 101 percentiles around the exact median.
#ifndef LORN_BENCH_BENCH_CHILD_H_
#define LORN_BENCH_BENCH_CHILD_H_

#include <functional>
#include <string>
#include <vector>

#include "bench/bench_report.h"
#include "platform/types.h"

namespace lorn_bench {

class CResultSink {
 public:
  explicit CResultSink(int nFd) : m_nFd(nFd) {}
  void Add(const CPhaseResult& result);

 private:
  int m_nFd;
};

// Forks; the child runs fnPhase with an alarm of nBudgetSeconds (0: none)
// and exits. Returns the child's results, each with the child's peak RSS
// (ru_maxrss of wait4). A child that was stopped, crashed or threw adds one
// failed result named strKey / strTitle that says so.
std::vector<CPhaseResult> RunInChild(const std::string& strKey, const std::string& strTitle,
                                     unsigned nBudgetSeconds,
                                     const std::function<void(CResultSink&)>& fnPhase);

}  // namespace lorn_bench

#endif  // LORN_BENCH_BENCH_CHILD_H_
