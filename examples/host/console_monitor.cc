#include "console_monitor.h"

#include <cstdio>

void CConsoleMonitor::SetTitle(const char* pszText) {
  std::fprintf(stderr, "%s\n", pszText);
  m_nShown = 0;
  CProgressMonitor::SetPos(0);
}

void CConsoleMonitor::SetStep(const char* pszText) {
  if (pszText != nullptr && *pszText != '\0') {
    std::fprintf(stderr, "  %s\n", pszText);
  }
}

void CConsoleMonitor::SetPos(WORD nPos) {
  // The base class keeps the position: the library reads it back with GetPos.
  CProgressMonitor::SetPos(nPos);
  if (nPos / 10 > m_nShown) {
    m_nShown = static_cast<WORD>(nPos / 10);
    std::fprintf(stderr, "  %u%%\n", static_cast<unsigned>(nPos));
  }
}

void CConsoleMonitor::End() {
  std::fprintf(stderr, "  done\n");
}

void CConsoleMonitor::ShowError(const char* pszText) {
  std::fprintf(stderr, "  ! %s\n", pszText);
}

void CConsoleMonitor::BeginWait(const char* pszText) {
  std::fprintf(stderr, "%s\n", pszText);
}

void CConsoleMonitor::EndWait() {}
