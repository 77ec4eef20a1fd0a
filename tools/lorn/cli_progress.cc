#include "tools/lorn/cli_progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "frame/settings.h"
#include "tools/lorn/cli_text.h"

namespace {

constexpr int kBarWidth = 20;

int TerminalWidth(FILE* pFile) {
  winsize size{};
  if (ioctl(fileno(pFile), TIOCGWINSZ, &size) == 0 && size.ws_col >= 20) {
    return size.ws_col;
  }
  return 80;
}

// Cuts UTF-8 text to at most nChars characters.
std::string CutUtf8(const std::string& strText, int nChars) {
  int nCount = 0;
  for (size_t i = 0; i < strText.size(); ++i) {
    if ((static_cast<unsigned char>(strText[i]) & 0xC0) != 0x80) {
      if (nCount == nChars) {
        return strText.substr(0, i);
      }
      ++nCount;
    }
  }
  return strText;
}

}  // namespace

CConsoleMonitor::CConsoleMonitor(FILE* pFile, bool bDraw, bool bTerminal)
    : m_pFile(pFile), m_bDraw(bDraw), m_bTerminal(bTerminal) {}

CConsoleMonitor::~CConsoleMonitor() {
  Clear();
}

void CConsoleMonitor::GetMessage(WORD nId, CString& strText) {
  // The command's own wording of the library's messages, by number, with the
  // same placeholders; a number it does not know keeps the library's text.
  static const char* const s_apszMessages[] = {
      "Indexing table %s",   "Examining the column types",  "Reading the cells",
      "Sorting the columns", "Compacting table %s",         "Uncompacting table %s",
      "Scrambling table %s", "Unscrambling table %s",       "Searching...",
      "Cannot sort...",      "Cannot open file %s (%d)...", "Cannot create file %s (%d)...",
  };
  if (nId < sizeof s_apszMessages / sizeof s_apszMessages[0]) {
    strText = s_apszMessages[nId];
    return;
  }
  CString strStock;
  CProgressMonitor::GetMessage(nId, strStock);
  strText = Cp1252ToUtf8(strStock.GetString()).c_str();
}

void CConsoleMonitor::SetTitle(const char* pszText) {
  m_strTitle = pszText != nullptr ? pszText : "";
  m_strStep.clear();
  m_nPos = 0;
  Draw(true);
}

void CConsoleMonitor::SetStep(const char* pszText) {
  m_strStep = pszText != nullptr ? pszText : "";
  Draw(true);
}

void CConsoleMonitor::SetPos(WORD nPos) {
  m_nPos = nPos;
  Draw(false);
}

void CConsoleMonitor::End() {
  if (m_bDraw && !m_bTerminal && m_nShownPercent >= 0 && m_nShownPercent < 100) {
    m_nPos = 100;
    Draw(true);
  }
  Clear();
  m_strTitle.clear();
  m_strStep.clear();
  m_nShownPercent = -1;
  m_strLastLine.clear();
}

void CConsoleMonitor::ShowError(const char* pszText) {
  Clear();
  std::fprintf(m_pFile, "lorn: %s\n", pszText != nullptr ? pszText : "");
  std::fflush(m_pFile);
}

void CConsoleMonitor::BeginWait(const char* pszText) {
  m_strTitle = pszText != nullptr ? pszText : "";
  m_strStep.clear();
  if (!m_bDraw) {
    return;
  }
  if (m_bTerminal) {
    std::fprintf(m_pFile, "\r%s\033[K", CutUtf8(m_strTitle, TerminalWidth(m_pFile) - 1).c_str());
    m_bLineShown = true;
  } else {
    std::fprintf(m_pFile, "%s\n", m_strTitle.c_str());
  }
  std::fflush(m_pFile);
}

void CConsoleMonitor::EndWait() {
  Clear();
  m_strTitle.clear();
}

void CConsoleMonitor::Clear() {
  if (m_bLineShown) {
    std::fputs("\r\033[K", m_pFile);
    std::fflush(m_pFile);
    m_bLineShown = false;
  }
}

void CConsoleMonitor::Draw(bool bForce) {
  if (!m_bDraw) {
    return;
  }
  int nPercent = m_nPos > 100 ? 100 : m_nPos;
  if (!bForce && nPercent == m_nShownPercent) {
    return;
  }
  if (!m_bTerminal && !bForce && nPercent / 10 == m_nShownPercent / 10) {
    return;
  }
  m_nShownPercent = nPercent;
  std::string strLabel = m_strTitle;
  if (!m_strStep.empty()) {
    strLabel += strLabel.empty() ? m_strStep : ": " + m_strStep;
  }
  int nFilled = nPercent * kBarWidth / 100;
  std::string strBar = " [" + std::string(static_cast<size_t>(nFilled), '#') +
                       std::string(static_cast<size_t>(kBarWidth - nFilled), '.') + "] " +
                       std::to_string(nPercent) + "%";
  if (m_bTerminal) {
    int nRoom = TerminalWidth(m_pFile) - 1 - static_cast<int>(strBar.size());
    std::fprintf(m_pFile, "\r%s%s\033[K", CutUtf8(strLabel, nRoom > 0 ? nRoom : 0).c_str(),
                 strBar.c_str());
    m_bLineShown = true;
  } else {
    std::string strLine = strLabel + strBar;
    if (strLine == m_strLastLine) {
      return;
    }
    m_strLastLine = strLine;
    std::fprintf(m_pFile, "%s\n", strLine.c_str());
  }
  std::fflush(m_pFile);
}

CMonitorGuard::CMonitorGuard(CConsoleMonitor* pMonitor) : m_pMonitor(pMonitor) {
  SetProgressMonitor(m_pMonitor);
}

CMonitorGuard::~CMonitorGuard() {
  SetProgressMonitor(nullptr);
  m_pMonitor->Clear();
}
