// How the library's long operations report to the progress monitor: the
// title and the steps come from the monitor's GetMessage, so that a host's
// wording is the one shown. Both do nothing for a null monitor.
#ifndef LORN_FRAME_MONITOR_REPORT_H_
#define LORN_FRAME_MONITOR_REPORT_H_

#include "platform/lorn_export.h"
#include "platform/types.h"

class CProgressMonitor;

// Fetches message nId from the monitor, formats it with pszArg for its "%s"
// when it has one, and calls SetTitle.
LORN_INTERNAL void MonitorTitle(CProgressMonitor* pMonitor, WORD nId, const char* pszArg);
// Fetches message nId and calls SetStep with it.
LORN_INTERNAL void MonitorStep(CProgressMonitor* pMonitor, WORD nId);

#endif  // LORN_FRAME_MONITOR_REPORT_H_
