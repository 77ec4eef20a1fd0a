#include "frame/settings.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "table/cat_std.h"

namespace {

// Set in a process started by RunAlone: the test runs its body there.
constexpr const char* kAloneEnv = "LORN_SETTINGS_ALONE";

bool IsAlone() { return std::getenv(kAloneEnv) != nullptr; }

// Runs one test of this binary in a new process, in which no earlier test
// has made the library object. Result: the process's exit status, or -1.
int RunAlone(const char* pszTestName) {
  const std::string strFilter = std::string("--gtest_filter=") + pszTestName;
  const pid_t nPid = fork();
  if (nPid == 0) {
    setenv(kAloneEnv, "1", 1);
    execl("/proc/self/exe", "frame_test", strFilter.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int nStatus = 0;
  if (nPid < 0 || waitpid(nPid, &nStatus, 0) != nPid || !WIFEXITED(nStatus)) {
    return -1;
  }
  return WEXITSTATUS(nStatus);
}

// Puts the stock values back, so that tests do not depend on their order.
void RestoreStockSettings() {
  SetColSep('\t');
  SetRange('(', ')', "..");
  SetValueSep('*');
  SetAnyValue('*');
  SetCatalogDir(nullptr);
  SetProgressMonitor(nullptr);
}

TEST(Settings, ProcessWideCopiesServeWithoutLibraryObject) {
  if (!IsAlone()) {
    EXPECT_EQ(RunAlone("Settings.ProcessWideCopiesServeWithoutLibraryObject"), 0);
    return;
  }
  // The five characters keep what the setters store; 0 changes nothing.
  SetColSep(';');
  SetColSep(0);
  SetRange('[', ']', "~~");
  SetValueSep('+');
  SetAnyValue('@');
  SetAnyValue(0);
  EXPECT_EQ(SettingColSep(), ';');
  EXPECT_EQ(SettingRangeOpen(), '[');
  EXPECT_EQ(SettingRangeClose(), ']');
  EXPECT_EQ(SettingValueSep(), '+');
  EXPECT_EQ(SettingAnyValue(), '@');
  // The range separator always reads as the stock one.
  EXPECT_STREQ(SettingRangeSep(), "..");

  SetCatalogDir("  /srv/cat ");
  EXPECT_STREQ(SettingCatalogDir(), "/srv/cat ");
  CProgressMonitor monitor;
  SetProgressMonitor(&monitor);
  EXPECT_EQ(GetProgressMonitor(), &monitor);
  SetProgressMonitor(nullptr);
  EXPECT_EQ(GetProgressMonitor(), nullptr);

  // Splitting uses the stock grammar whatever was set.
  CCellSettings cell;
  GetCellSettings(cell);
  EXPECT_EQ(cell.cRangeOpen, '(');
  EXPECT_EQ(cell.cValueSep, '*');
  EXPECT_STREQ(cell.strRangeSep, "..");
  CStringArray arValues;
  BYTE nFlags = 0xFF;
  EXPECT_EQ(SplitCellDefault("(1..5)", arValues, &nFlags), CELL_RANGE);
  ASSERT_EQ(arValues.GetSize(), 2);
  EXPECT_STREQ(arValues[0], "1");
  EXPECT_STREQ(arValues[1], "5");
  EXPECT_EQ(SplitCellDefault("[1~~5]", arValues, &nFlags), CELL_SINGLE);

  // No default locale before the first table; SetDefaultLocale before it
  // keeps the host from being asked. New tables copy the characters.
  EXPECT_EQ(CCatStd::s_bDefLocaleSet, 0);
  CString strLocale;
  EXPECT_STREQ(GetDefaultLocale(strLocale), "");
  ASSERT_TRUE(SetDefaultLocale("fra"));
  CCatStd table;
  EXPECT_STREQ(CCatStd::s_szDefLocale, "fra");
  EXPECT_EQ(table.m_cColSep, ';');
  EXPECT_EQ(table.m_cRangeOpen, '[');
  EXPECT_EQ(table.m_cRangeClose, ']');
  EXPECT_EQ(table.m_cValueSep, '+');
  EXPECT_EQ(table.m_cAnyValue, '*');
  EXPECT_STREQ(table.m_strRangeSep, "..");
}

TEST(Settings, FirstTableTakesHostDefaultLocale) {
  if (!IsAlone()) {
    EXPECT_EQ(RunAlone("Settings.FirstTableTakesHostDefaultLocale"), 0);
    return;
  }
  std::strcpy(CCatStd::s_szDefLocale, "junk");
  CCatStd table;
  EXPECT_EQ(CCatStd::s_bDefLocaleSet, 1);
  EXPECT_STREQ(CCatStd::s_szDefLocale, "");
}

TEST(Settings, LibraryObjectHoldsTheSettings) {
  CLornDynLinkLibrary* pLibrary = InitLibrary();
  ASSERT_NE(pLibrary, nullptr);
  EXPECT_EQ(InitLibrary(), pLibrary);
  EXPECT_TRUE(pLibrary->IsKindOf(RUNTIME_CLASS(CLornDynLinkLibrary)));
  RestoreStockSettings();
  EXPECT_EQ(pLibrary->m_cColSep, '\t');
  EXPECT_STREQ(pLibrary->m_strRangeSep, "..");

  // SetRange with 0 and null changes only the closing bracket.
  SetRange(0, ']', nullptr);
  EXPECT_EQ(pLibrary->m_cRangeOpen, '(');
  EXPECT_EQ(pLibrary->m_cRangeClose, ']');
  EXPECT_STREQ(pLibrary->m_strRangeSep, "..");
  SetRange('<', 0, "--");
  EXPECT_EQ(pLibrary->m_cRangeOpen, '<');
  EXPECT_EQ(pLibrary->m_cRangeClose, ']');
  EXPECT_STREQ(SettingRangeSep(), "--");

  // Only leading blanks go; null empties the directory.
  SetCatalogDir("   /data/cat  ");
  EXPECT_STREQ(pLibrary->m_strCatalogDir, "/data/cat  ");
  SetCatalogDir("\t/x");
  EXPECT_STREQ(SettingCatalogDir(), "\t/x");
  SetCatalogDir(nullptr);
  EXPECT_TRUE(pLibrary->m_strCatalogDir.IsEmpty());

  CProgressMonitor monitor;
  SetProgressMonitor(&monitor);
  EXPECT_EQ(pLibrary->m_pMonitor, &monitor);
  SetProgressMonitor(nullptr);
  EXPECT_EQ(GetProgressMonitor(), nullptr);

  // Splitting follows the object's grammar.
  SetValueSep('+');
  CStringArray arValues;
  BYTE nFlags = 0;
  EXPECT_EQ(SplitCellDefault("<1--5]", arValues, &nFlags), CELL_RANGE);
  EXPECT_EQ(SplitCellDefault("b+a", arValues, &nFlags), CELL_LIST);
  EXPECT_EQ(nFlags, 2);
  RestoreStockSettings();
}

TEST(Settings, TablesKeepTheSettingsTheyWereMadeWith) {
  InitLibrary();
  RestoreStockSettings();
  CCatStd before;
  SetColSep(';');
  SetRange('[', ']', "::");
  CCatStd after;
  EXPECT_EQ(before.m_cColSep, '\t');
  EXPECT_STREQ(before.m_strRangeSep, "..");
  EXPECT_EQ(after.m_cColSep, ';');
  EXPECT_EQ(after.m_cRangeOpen, '[');
  EXPECT_EQ(after.m_cRangeClose, ']');
  EXPECT_STREQ(after.m_strRangeSep, "::");
  RestoreStockSettings();
}

TEST(Settings, SetDefaultLocaleTakesOnlyAcceptedShortNames) {
  ASSERT_TRUE(SetDefaultLocale("fra"));
  EXPECT_FALSE(SetDefaultLocale("fra.1252"));  // 8 bytes
  EXPECT_FALSE(SetDefaultLocale("xyz"));
  EXPECT_FALSE(SetDefaultLocale(nullptr));
  EXPECT_STREQ(CCatStd::s_szDefLocale, "fra");
  EXPECT_TRUE(SetDefaultLocale("jpn.932"));  // 7 bytes
  EXPECT_STREQ(CCatStd::s_szDefLocale, "jpn.932");
  EXPECT_EQ(CCatStd::s_bDefLocaleSet, 1);
  CString strLocale;
  EXPECT_STREQ(GetDefaultLocale(strLocale), "jpn.932");
}

}  // namespace
