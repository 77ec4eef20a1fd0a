#include "frame/monitor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Records titles and steps; gives its own wording when one is set.
class CRecordingMonitor : public CProgressMonitor {
 public:
  void SetTitle(const char* pszText) override { m_arCalls.push_back(std::string("T:") + pszText); }
  void SetStep(const char* pszText) override { m_arCalls.push_back(std::string("S:") + pszText); }
  void GetMessage(WORD nId, CString& strText) override {
    if (m_bOwnWording) {
      strText = m_strWording;
    } else {
      CProgressMonitor::GetMessage(nId, strText);
    }
  }
  bool m_bOwnWording = false;
  CString m_strWording;
  std::vector<std::string> m_arCalls;
};

TEST(Monitor, MessageTable) {
  CString strText;
  for (WORD nId = 0; nId < 12; ++nId) {
    GetMessageText(nId, strText);
    EXPECT_FALSE(strText.IsEmpty()) << nId;
  }
  GetMessageText(12, strText);
  EXPECT_TRUE(strText.IsEmpty());
}

TEST(Monitor, BaseClassKeepsThePositionAndTitlesAreFormatted) {
  CRecordingMonitor monitor;
  EXPECT_EQ(monitor.GetPos(), 0);
  monitor.SetPos(250);  // not limited to 100
  monitor.End();
  EXPECT_EQ(monitor.GetPos(), 250);
  // The stock wording, formatted with the argument.
  MonitorTitle(&monitor, MSG_INDEX_TITLE, "cat.txt");
  MonitorTitle(&monitor, MSG_SEARCH_WAIT, "ignored");
  MonitorStep(&monitor, MSG_INDEX_SORT);
  // A host's wording is used as it comes; an empty one hides the argument.
  monitor.m_bOwnWording = true;
  monitor.m_strWording = "%s: 100%% %d";
  MonitorTitle(&monitor, MSG_COMPACT_TITLE, "t.txt");
  monitor.m_strWording = "";
  MonitorTitle(&monitor, MSG_COMPACT_TITLE, "t.txt");
  const std::vector<std::string> arExpected = {"T:Indexation de la table cat.txt",
                                               "T:Recherche en cours...", "S:Tri des colonnes",
                                               "T:t.txt: 100% %d", "T:"};
  EXPECT_EQ(monitor.m_arCalls, arExpected);
  MonitorTitle(nullptr, MSG_INDEX_TITLE, "cat.txt");  // no monitor: nothing
}

}  // namespace
