#include "frame/monitor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Records what the library hands to the monitor; messages come from the
// base class unless a replacement wording is set.
class CRecordingMonitor : public CProgressMonitor {
 public:
  void SetTitle(const char* pszText) override { m_arCalls.push_back("title:" + Text(pszText)); }
  void SetStep(const char* pszText) override { m_arCalls.push_back("step:" + Text(pszText)); }
  void GetMessage(WORD nId, CString& strText) override {
    if (m_bOwnWording) {
      strText = m_strWording;
    } else {
      CProgressMonitor::GetMessage(nId, strText);
    }
  }

  static std::string Text(const char* psz) { return psz == nullptr ? "<null>" : psz; }

  bool m_bOwnWording = false;
  CString m_strWording;
  std::vector<std::string> m_arCalls;
};

TEST(Monitor, MessageTableHasTwelveTexts) {
  CString strText;
  for (WORD nId = 0; nId < 12; ++nId) {
    strText = "stale";
    GetMessageText(nId, strText);
    EXPECT_FALSE(strText.IsEmpty()) << nId;
    EXPECT_STRNE(strText, "stale") << nId;
  }
  GetMessageText(MSG_INDEX_TITLE, strText);
  EXPECT_STREQ(strText, "Indexation de la table %s");
  GetMessageText(MSG_SORT_FAILED, strText);
  EXPECT_STREQ(strText, "Tri imposssible...");
  GetMessageText(MSG_OPEN_FAILED, strText);
  EXPECT_STREQ(strText, "Ouverture du fichier %s impossible (%d)...");

  // Accented letters are single Windows-1252 bytes.
  GetMessageText(MSG_UNCOMPACT_TITLE, strText);
  EXPECT_EQ(std::string(strText), "D\xE9" "compactage de la table %s");
  GetMessageText(MSG_DECRYPT_TITLE, strText);
  EXPECT_EQ(std::string(strText), "D\xE9" "cryptage de la table %s");
  GetMessageText(MSG_CREATE_FAILED, strText);
  EXPECT_EQ(std::string(strText), "Cr\xE9" "ation du fichier %s impossible (%d)...");

  GetMessageText(12, strText);
  EXPECT_TRUE(strText.IsEmpty());
  strText = "stale";
  GetMessageText(0xFFFF, strText);
  EXPECT_TRUE(strText.IsEmpty());
}

TEST(Monitor, BaseClassRemembersPositionAndGivesStockWording) {
  CProgressMonitor monitor;
  EXPECT_EQ(monitor.GetPos(), 0);
  monitor.SetPos(40);
  EXPECT_EQ(monitor.GetPos(), 40);
  monitor.SetPos(250);  // not limited to 100
  EXPECT_EQ(monitor.GetPos(), 250);

  // The other slots do nothing, the position included.
  monitor.SetTitle("t");
  monitor.SetStep("");
  monitor.ShowError("e");
  monitor.BeginWait("w");
  monitor.EndWait();
  monitor.End();
  EXPECT_EQ(monitor.GetPos(), 250);

  CString strText;
  CString strStock;
  for (WORD nId = 0; nId <= 12; ++nId) {
    monitor.GetMessage(nId, strText);
    GetMessageText(nId, strStock);
    EXPECT_EQ(strText, strStock) << nId;
  }
}

TEST(Monitor, TitleIsFormattedWithItsArgument) {
  CRecordingMonitor monitor;
  MonitorTitle(&monitor, MSG_INDEX_TITLE, "cat.txt");
  MonitorTitle(&monitor, MSG_SEARCH_WAIT, "ignored");
  MonitorStep(&monitor, MSG_INDEX_SORT);

  // A host's wording is used as it comes; an empty one hides the argument.
  monitor.m_bOwnWording = true;
  monitor.m_strWording = "%s: 100%% %d";
  MonitorTitle(&monitor, MSG_COMPACT_TITLE, "t.txt");
  monitor.m_strWording = "";
  MonitorTitle(&monitor, MSG_COMPACT_TITLE, "t.txt");
  MonitorStep(&monitor, MSG_INDEX_SORT);
  monitor.m_strWording = "x %s y %s";
  MonitorTitle(&monitor, MSG_CRYPT_TITLE, "a");

  const std::vector<std::string> arExpected = {
      "title:Indexation de la table cat.txt",
      "title:Recherche en cours...",
      "step:Tri des colonnes",
      "title:t.txt: 100% %d",
      "title:",
      "step:",
      "title:x a y %s",
  };
  EXPECT_EQ(monitor.m_arCalls, arExpected);

  // Without a monitor nothing happens.
  MonitorTitle(nullptr, MSG_INDEX_TITLE, "cat.txt");
  MonitorStep(nullptr, MSG_INDEX_SORT);
}

}  // namespace
