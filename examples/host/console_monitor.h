// A progress monitor that writes to the standard error stream: the title of
// each long operation, its steps, its position in steps of ten percent, and
// the waits of a search. The texts come from the library's own messages (the
// base class's GetMessage).
#ifndef LORN_EXAMPLES_HOST_CONSOLE_MONITOR_H_
#define LORN_EXAMPLES_HOST_CONSOLE_MONITOR_H_

#include "lorn.h"

class CConsoleMonitor : public CProgressMonitor {
 public:
  void SetTitle(const char* pszText) override;
  void SetStep(const char* pszText) override;
  void SetPos(WORD nPos) override;
  void End() override;
  void ShowError(const char* pszText) override;
  void BeginWait(const char* pszText) override;
  void EndWait() override;

 private:
  WORD m_nShown = 0;  // last tenth of the position written out
};

#endif  // LORN_EXAMPLES_HOST_CONSOLE_MONITOR_H_
