#include "frame/settings.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "table/cat_std.h"

namespace {

// Runs one test of this binary again in a new process, where no library
// object exists yet; there the test body runs. Result: the exit status.
bool InFreshProcess() {
  return std::getenv("LORN_FRESH_PROCESS") != nullptr;
}
int RunInFreshProcess(const char* pszTest) {
  const std::string strFilter = std::string("--gtest_filter=") + pszTest;
  const pid_t nPid = fork();
  if (nPid == 0) {
    setenv("LORN_FRESH_PROCESS", "1", 1);
    execl("/proc/self/exe", "frame_test", strFilter.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int nStatus = 0;
  return nPid > 0 && waitpid(nPid, &nStatus, 0) == nPid && WIFEXITED(nStatus) ? WEXITSTATUS(nStatus)
                                                                              : -1;
}

void RestoreStockSettings() {
  SetColSep('\t');
  SetRange('(', ')', "..");
  SetValueSep('*');
  SetAnyValue('*');
  SetCatalogDir(nullptr);
  SetProgressMonitor(nullptr);
}

TEST(Settings, ProcessWideCopiesServeWithoutLibraryObject) {
  if (!InFreshProcess()) {
    ASSERT_EQ(RunInFreshProcess("Settings.ProcessWideCopiesServeWithoutLibraryObject"), 0);
    return;
  }
  SetColSep(';');
  SetColSep(0);
  SetRange('[', ']', "~~");
  SetValueSep('+');
  SetAnyValue('@');
  EXPECT_EQ(SettingColSep(), ';');
  EXPECT_EQ(SettingRangeClose(), ']');
  EXPECT_EQ(SettingAnyValue(), '@');
  EXPECT_STREQ(SettingRangeSep(), "..");  // whatever SetRange stored
  SetCatalogDir("  /srv/cat ");
  EXPECT_STREQ(SettingCatalogDir(), "/srv/cat ");
  CProgressMonitor monitor;
  SetProgressMonitor(&monitor);
  EXPECT_EQ(GetProgressMonitor(), &monitor);

  // Splitting keeps the stock grammar; new tables copy the characters.
  CStringArray arValues;
  BYTE nFlags = 0;
  EXPECT_EQ(SplitCellDefault("(1..5)", arValues, &nFlags), CELL_RANGE);
  EXPECT_EQ(SplitCellDefault("b*a", arValues, &nFlags), CELL_LIST);
  // SetDefaultLocale before the first table keeps the host from being asked.
  CString strLocale;
  EXPECT_STREQ(GetDefaultLocale(strLocale), "");
  ASSERT_TRUE(SetDefaultLocale("fra"));
  CCatStd table;
  EXPECT_STREQ(CCatStd::s_szDefLocale, "fra");
  EXPECT_EQ(table.m_cColSep, ';');
  EXPECT_EQ(table.m_cRangeOpen, '[');
  EXPECT_EQ(table.m_cValueSep, '+');
  EXPECT_STREQ(table.m_strRangeSep, "..");
  SetProgressMonitor(nullptr);
}

TEST(Settings, FirstTableAsksTheHostForTheDefaultLocale) {
  if (!InFreshProcess()) {
    ASSERT_EQ(RunInFreshProcess("Settings.FirstTableAsksTheHostForTheDefaultLocale"), 0);
    return;
  }
  CCatStd::s_szDefLocale[0] = 'x';
  CCatStd table;
  EXPECT_EQ(CCatStd::s_bDefLocaleSet, 1);
  EXPECT_STREQ(CCatStd::s_szDefLocale, "");
}

TEST(Settings, LibraryObjectHoldsTheSettings) {
  CLornDynLinkLibrary* pLibrary = InitLibrary();
  ASSERT_NE(pLibrary, nullptr);
  EXPECT_EQ(InitLibrary(), pLibrary);
  RestoreStockSettings();
  CCatStd before;

  SetRange(0, ']', nullptr);  // only the closing bracket changes
  EXPECT_EQ(pLibrary->m_cRangeOpen, '(');
  EXPECT_EQ(pLibrary->m_cRangeClose, ']');
  EXPECT_STREQ(pLibrary->m_strRangeSep, "..");
  SetRange('<', 0, "--");
  EXPECT_STREQ(SettingRangeSep(), "--");
  SetColSep(';');
  SetCatalogDir("   /data/cat  ");  // leading blanks go, trailing ones stay
  EXPECT_STREQ(pLibrary->m_strCatalogDir, "/data/cat  ");
  SetCatalogDir(nullptr);
  EXPECT_TRUE(pLibrary->m_strCatalogDir.IsEmpty());

  CStringArray arValues;
  BYTE nFlags = 0;
  EXPECT_EQ(SplitCellDefault("<1--5]", arValues, &nFlags), CELL_RANGE);
  // A table keeps what it copied when it was made.
  CCatStd after;
  EXPECT_EQ(before.m_cColSep, '\t');
  EXPECT_STREQ(before.m_strRangeSep, "..");
  EXPECT_EQ(after.m_cColSep, ';');
  EXPECT_EQ(after.m_cRangeOpen, '<');
  EXPECT_STREQ(after.m_strRangeSep, "--");
  RestoreStockSettings();
}

TEST(Settings, SetDefaultLocaleTakesOnlyAcceptedShortNames) {
  ASSERT_TRUE(SetDefaultLocale("fra"));
  EXPECT_FALSE(SetDefaultLocale("fra.1252"));  // 8 bytes
  EXPECT_FALSE(SetDefaultLocale("xyz"));
  EXPECT_STREQ(CCatStd::s_szDefLocale, "fra");
  EXPECT_TRUE(SetDefaultLocale("jpn.932"));  // 7 bytes
  EXPECT_STREQ(CCatStd::s_szDefLocale, "jpn.932");
}

}  // namespace
