// Progress of a long operation (indexing, a rewrite) handed to a Python
// callable as callback(percent, text): percent as the library reports it
// (not limited to 100), text the title or step in force; each change once. The operation runs
// without the interpreter lock; each report takes it for the call. A
// callback cannot stop the operation: the first exception it raises is kept
// and raised when the operation is over.
#ifndef LORN_PYTHON_SRC_PY_MONITOR_H_
#define LORN_PYTHON_SRC_PY_MONITOR_H_

#include <pybind11/pybind11.h>

#include <optional>
#include <string>

#include "frame/monitor.h"

class CPyMonitor : public CProgressMonitor {
 public:
  // A None callback reports nothing.
  explicit CPyMonitor(pybind11::object callback);
  ~CPyMonitor() override;
  CPyMonitor(const CPyMonitor&) = delete;
  CPyMonitor& operator=(const CPyMonitor&) = delete;

  void SetTitle(const char* pszText) override;
  void SetStep(const char* pszText) override;
  void SetPos(WORD nPos) override;

  // Raises what the callback raised, if anything. Needs the interpreter lock.
  void RaiseKept();

 private:
  void Report(WORD nPos);

  pybind11::object m_callback;
  std::string m_strText;
  int m_nReported = -1;  // the position and text last handed to the callback
  std::string m_strReported;
  std::optional<pybind11::error_already_set> m_error;
};

// Sets the monitor as the library's for its lifetime (under CLibLock).
class CMonitorScope {
 public:
  explicit CMonitorScope(CPyMonitor* pMonitor);
  ~CMonitorScope();
  CMonitorScope(const CMonitorScope&) = delete;
  CMonitorScope& operator=(const CMonitorScope&) = delete;

 private:
  CProgressMonitor* m_pOld;
};

#endif  // LORN_PYTHON_SRC_PY_MONITOR_H_
