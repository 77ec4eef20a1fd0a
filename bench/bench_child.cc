#include "bench/bench_child.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>

namespace lorn_bench {

namespace {

void WriteAll(int nFd, const std::string& strData) {
  size_t nDone = 0;
  while (nDone < strData.size()) {
    const ssize_t n = ::write(nFd, strData.data() + nDone, strData.size() - nDone);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return;
    }
    nDone += static_cast<size_t>(n);
  }
}

// Many samples (one per query or row) travel as 101 percentiles whose middle
// one is the exact median, so that neither process holds them all twice.
void SummariseSamples(std::vector<double>& arSamples) {
  constexpr size_t kKept = 101;
  if (arSamples.size() <= kKept) {
    return;
  }
  CPhaseResult median;
  median.arSeconds = arSamples;
  const double dMedian = median.Median();
  std::sort(arSamples.begin(), arSamples.end());
  std::vector<double> arKept;
  for (size_t i = 0; i < kKept; ++i) {
    arKept.push_back(arSamples[i * (arSamples.size() - 1) / (kKept - 1)]);
  }
  arKept[kKept / 2] = dMedian;
  arSamples.swap(arKept);
}

}  // namespace

void CResultSink::Add(const CPhaseResult& result) {
  CPhaseResult summary = result;
  SummariseSamples(summary.arSeconds);
  SummariseSamples(summary.arCpuSeconds);
  WriteAll(m_nFd, EncodeResult(summary) + "\n");
}

std::vector<CPhaseResult> RunInChild(const std::string& strKey, const std::string& strTitle,
                                     unsigned nBudgetSeconds,
                                     const std::function<void(CResultSink&)>& fnPhase) {
  std::vector<CPhaseResult> arResults;
  CPhaseResult failure;
  failure.strKey = strKey;
  failure.strTitle = strTitle;
  failure.bOK = FALSE;

  int anPipe[2];
  if (::pipe(anPipe) != 0) {
    failure.strNote = std::string("pipe: ") + std::strerror(errno);
    arResults.push_back(failure);
    return arResults;
  }
  std::fflush(nullptr);
  const pid_t nPid = ::fork();
  if (nPid < 0) {
    failure.strNote = std::string("fork: ") + std::strerror(errno);
    ::close(anPipe[0]);
    ::close(anPipe[1]);
    arResults.push_back(failure);
    return arResults;
  }
  if (nPid == 0) {
    ::close(anPipe[0]);
    if (nBudgetSeconds > 0) {
      ::alarm(nBudgetSeconds);
    }
    CResultSink sink(anPipe[1]);
    int nExit = 0;
    try {
      fnPhase(sink);
    } catch (const std::exception& e) {
      failure.strNote = std::string("exception: ") + e.what();
      sink.Add(failure);
      nExit = 3;
    } catch (...) {
      failure.strNote = "unknown exception";
      sink.Add(failure);
      nExit = 3;
    }
    ::close(anPipe[1]);
    std::fflush(nullptr);
    ::_exit(nExit);
  }

  ::close(anPipe[1]);
  std::string strPending;
  char achBuffer[4096];
  for (;;) {
    const ssize_t n = ::read(anPipe[0], achBuffer, sizeof(achBuffer));
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      break;
    }
    strPending.append(achBuffer, static_cast<size_t>(n));
    size_t nEnd;
    while ((nEnd = strPending.find('\n')) != std::string::npos) {
      CPhaseResult result;
      if (DecodeResult(strPending.substr(0, nEnd), result)) {
        arResults.push_back(result);
      }
      strPending.erase(0, nEnd + 1);
    }
  }
  ::close(anPipe[0]);

  int nStatus = 0;
  struct rusage usage {};
  while (::wait4(nPid, &nStatus, 0, &usage) < 0 && errno == EINTR) {
  }
  if (WIFSIGNALED(nStatus)) {
    const int nSignal = WTERMSIG(nStatus);
    failure.strNote = nSignal == SIGALRM
                          ? "stopped after the budget of " + std::to_string(nBudgetSeconds) + " s"
                          : std::string("killed by signal ") + strsignal(nSignal);
    arResults.push_back(failure);
  } else if (WIFEXITED(nStatus) && WEXITSTATUS(nStatus) != 0 && WEXITSTATUS(nStatus) != 3) {
    failure.strNote = "exit status " + std::to_string(WEXITSTATUS(nStatus));
    arResults.push_back(failure);
  }
  for (CPhaseResult& result : arResults) {
    result.nPeakKiB = usage.ru_maxrss;
  }
  return arResults;
}

}  // namespace lorn_bench
