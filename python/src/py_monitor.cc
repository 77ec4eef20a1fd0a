#include "python/src/py_monitor.h"

#include <utility>

#include "frame/settings.h"

namespace py = pybind11;

CPyMonitor::CPyMonitor(py::object callback) : m_callback(std::move(callback)) {}

CPyMonitor::~CPyMonitor() = default;

void CPyMonitor::SetTitle(const char* pszText) {
  m_strText = pszText != nullptr ? pszText : "";
  CProgressMonitor::SetPos(0);
}

void CPyMonitor::SetStep(const char* pszText) {
  if (pszText != nullptr && *pszText != '\0') {
    m_strText = pszText;
  }
}

void CPyMonitor::SetPos(WORD nPos) {
  CProgressMonitor::SetPos(nPos);
  Report(nPos);
}

void CPyMonitor::Report(WORD nPos) {
  // The library sets the same position many times over; the callback hears
  // of each change of position or text once.
  if (m_callback.is_none() || m_error || (nPos == m_nReported && m_strText == m_strReported)) {
    return;
  }
  m_nReported = nPos;
  m_strReported = m_strText;
  py::gil_scoped_acquire acquire;
  try {
    // The library's texts are Windows-1252; a column name in a step may be
    // in another code page, and shows with U+FFFD where it differs.
    PyObject* pText = PyUnicode_Decode(m_strText.data(), static_cast<Py_ssize_t>(m_strText.size()),
                                       "cp1252", "replace");
    if (pText == nullptr) {
      throw py::error_already_set();
    }
    m_callback(static_cast<int>(nPos), py::reinterpret_steal<py::object>(pText));
  } catch (py::error_already_set& e) {
    m_error.emplace(std::move(e));
  }
}

void CPyMonitor::RaiseKept() {
  if (m_error) {
    py::error_already_set error = std::move(*m_error);
    m_error.reset();
    throw error;
  }
}

CMonitorScope::CMonitorScope(CPyMonitor* pMonitor) : m_pOld(GetProgressMonitor()) {
  SetProgressMonitor(pMonitor);
}

CMonitorScope::~CMonitorScope() {
  SetProgressMonitor(m_pOld);
}
