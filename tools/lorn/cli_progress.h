// The progress monitor of the lorn command: one line on standard error with
// the title of the long operation, its step and a bar with a percentage,
// redrawn in place on a terminal. Errors that the library hands to the
// monitor (ShowError) always print, as "lorn: ..." lines.
//
// GetMessage gives the library's messages in the command's English wording
// (the library's own French texts stay its defaults for other hosts).
#ifndef LORN_TOOLS_LORN_CLI_PROGRESS_H_
#define LORN_TOOLS_LORN_CLI_PROGRESS_H_

#include <cstdio>
#include <string>

#include "frame/monitor.h"
#include "platform/cstring.h"
#include "platform/types.h"

class CConsoleMonitor : public CProgressMonitor {
 public:
  // bDraw: draw progress at all. bTerminal: pFile is a terminal, so the line
  // is redrawn in place; otherwise a line is written each time the step
  // changes or the position passes a tenth. pFile is not owned.
  CConsoleMonitor(FILE* pFile, bool bDraw, bool bTerminal);
  ~CConsoleMonitor() override;

  void SetTitle(const char* pszText) override;
  void SetStep(const char* pszText) override;
  void SetPos(WORD nPos) override;
  void End() override;
  void GetMessage(WORD nId, CString& strText) override;
  void ShowError(const char* pszText) override;
  void BeginWait(const char* pszText) override;
  void EndWait() override;

  // Takes the progress line off the screen (before an error line is written).
  void Clear();

 private:
  void Draw(bool bForce);

  FILE* m_pFile;
  bool m_bDraw;
  bool m_bTerminal;
  bool m_bLineShown = false;
  std::string m_strTitle;
  std::string m_strStep;
  int m_nShownPercent = -1;
  std::string m_strLastLine;  // last line written when not on a terminal
};

// Installs a monitor for the lifetime of the guard and clears it with
// SetProgressMonitor(nullptr) before the monitor goes.
class CMonitorGuard {
 public:
  explicit CMonitorGuard(CConsoleMonitor* pMonitor);
  ~CMonitorGuard();
  CMonitorGuard(const CMonitorGuard&) = delete;
  CMonitorGuard& operator=(const CMonitorGuard&) = delete;

 private:
  CConsoleMonitor* m_pMonitor;
};

#endif  // LORN_TOOLS_LORN_CLI_PROGRESS_H_
