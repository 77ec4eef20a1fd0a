#include "frame/monitor.h"

CProgressMonitor::CProgressMonitor() : m_nPos(0) {}

CProgressMonitor::~CProgressMonitor() = default;

void CProgressMonitor::SetTitle(const char* /*pszText*/) {}

void CProgressMonitor::SetStep(const char* /*pszText*/) {}

void CProgressMonitor::SetPos(WORD nPos) {
  m_nPos = nPos;
}

WORD CProgressMonitor::GetPos() {
  return m_nPos;
}

void CProgressMonitor::End() {}

void CProgressMonitor::GetMessage(WORD nId, CString& strText) {
  GetMessageText(nId, strText);
}

void CProgressMonitor::ShowError(const char* /*pszText*/) {}

void CProgressMonitor::BeginWait(const char* /*pszText*/) {}

void CProgressMonitor::EndWait() {}

namespace {

// The message with its first "%s" replaced by pszArg and each "%%" by "%",
// as printf would give it; any other "%" stays as it stands. A message
// without "%s" is taken unchanged.
CString FormatTitle(const CString& strMessage, const char* pszArg) {
  if (strMessage.Find("%s") < 0) {
    return strMessage;
  }
  CString strTitle;
  bool bArgDone = false;
  const char* p = strMessage.GetString();
  while (*p != '\0') {
    if (p[0] == '%' && p[1] == '%') {
      strTitle += '%';
      p += 2;
    } else if (p[0] == '%' && p[1] == 's' && !bArgDone) {
      strTitle += pszArg != nullptr ? pszArg : "";
      bArgDone = true;
      p += 2;
    } else {
      strTitle += *p;
      ++p;
    }
  }
  return strTitle;
}

}  // namespace

void MonitorTitle(CProgressMonitor* pMonitor, WORD nId, const char* pszArg) {
  if (pMonitor == nullptr) {
    return;
  }
  CString strMessage;
  pMonitor->GetMessage(nId, strMessage);
  const CString strTitle = FormatTitle(strMessage, pszArg);
  pMonitor->SetTitle(strTitle);
}

void MonitorStep(CProgressMonitor* pMonitor, WORD nId) {
  if (pMonitor == nullptr) {
    return;
  }
  CString strMessage;
  pMonitor->GetMessage(nId, strMessage);
  pMonitor->SetStep(strMessage);
}
