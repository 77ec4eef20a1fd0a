#include "frame/locale_scope.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/mb_string.h"
#include "platform/ctype_locale.h"
#include "platform/mbcs.h"

namespace {

// Every test starts and ends in the plain locale, code page 1252, with no
// scope open.
class LocaleScopeTest : public ::testing::Test {
 protected:
  void SetUp() override { Clear(); }
  void TearDown() override { Clear(); }

  static void Clear() {
    SetCtypeLocale("C");
    _setmbcp(1252);
    g_strLocaleName.Empty();
    g_strLocaleSaved.Empty();
    g_strLocaleActive.Empty();
    g_nMbcpSaved = -3;
  }

  static std::string Ctype() { return SetCtypeLocale(nullptr); }
};

TEST_F(LocaleScopeTest, EnterSwitchesAndLeaveRestores) {
  EnterLocale("jpn");
  EXPECT_EQ(Ctype(), "jpn");
  EXPECT_EQ(_getmbcp(), 932);
  EXPECT_STREQ(g_strLocaleName, "jpn");
  // No depth: a second entry with the same name, in any case, does nothing.
  EnterLocale("JPN");
  EnterLocale(nullptr);
  EXPECT_EQ(g_nMbcpSaved, 1252);
  LeaveLocale();
  EXPECT_EQ(Ctype(), "C");
  EXPECT_EQ(_getmbcp(), 1252);
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
  EXPECT_TRUE(g_strLocaleSaved.IsEmpty());
  EXPECT_EQ(g_nMbcpSaved, -3);

  // The saved code page is the one in force, not the locale's.
  _setmbcp(1250);
  {
    CLocaleScope scope("rus");
    EXPECT_EQ(_getmbcp(), 1251);
  }
  EXPECT_EQ(_getmbcp(), 1250);
  EXPECT_EQ(Ctype(), "C");
}

TEST_F(LocaleScopeTest, UnknownNameAndMissingScopeChangeNothing) {
  // Leaving without a scope does nothing at all.
  _setmbcp(950);
  LeaveLocale();
  EXPECT_EQ(_getmbcp(), 950);
  EXPECT_EQ(Ctype(), "C");

  // An unknown name keeps the character-type locale; the code page follows
  // it, and leaving puts back the saved page all the same.
  EnterLocale("klingon");
  EXPECT_EQ(Ctype(), "C");
  EXPECT_EQ(_getmbcp(), 1252);
  EXPECT_TRUE(g_strLocaleActive.IsEmpty());
  LeaveLocale();
  EXPECT_EQ(_getmbcp(), 950);
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
}

TEST_F(LocaleScopeTest, ScopeThatChangedNothingStaysOpen) {
  SetCtypeLocale("fra");
  EnterLocale("fra");
  LeaveLocale();
  EXPECT_STREQ(g_strLocaleName, "fra");
  EXPECT_STREQ(g_strLocaleSaved, "fra");
  EXPECT_EQ(Ctype(), "fra");

  // Another name still saves and restores around itself.
  EnterLocale("jpn");
  EXPECT_EQ(_getmbcp(), 932);
  LeaveLocale();
  EXPECT_EQ(Ctype(), "fra");
  EXPECT_EQ(_getmbcp(), 1252);
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
}

TEST_F(LocaleScopeTest, NamedLocales) {
  EXPECT_FALSE(IsNamedLocale(nullptr));
  EXPECT_FALSE(IsNamedLocale(""));
  EXPECT_FALSE(IsNamedLocale("C"));
  EXPECT_FALSE(IsNamedLocale("c"));
  EXPECT_TRUE(IsNamedLocale("fra"));
  EXPECT_TRUE(IsNamedLocale("CC"));
}

TEST_F(LocaleScopeTest, FoldCaseCutsAtMaxSize) {
  char szFive[] = "abcde";
  FoldCase(szFive, nullptr, 5);
  EXPECT_STREQ(szFive, "ABCDE");
  char szSix[] = "abcdef";
  FoldCase(szSix, "C", 5);
  EXPECT_STREQ(szSix, "ABCD");
  char szLong[] = "abcdefghij";
  FoldCase(szLong, "", 0);
  EXPECT_STREQ(szLong, "ABCDEFGHIJ");
  char szNamed[] = "abcdef";
  FoldCase(szNamed, "fra", 5);
  EXPECT_STREQ(szNamed, "ABCD");
}

TEST_F(LocaleScopeTest, FoldCaseFollowsTheLocale) {
  // Accented letters fold only under a named locale.
  char szNamed[] = "\xE9t\xE9";
  FoldCase(szNamed, "fra", 0);
  EXPECT_EQ(std::string(szNamed), "\xC9T\xC9");
  char szPlain[] = "\xE9t\xE9";
  FoldCase(szPlain, "C", 0);
  EXPECT_EQ(std::string(szPlain), "\xE9T\xE9");
  EXPECT_EQ(Ctype(), "C");
  EXPECT_EQ(_getmbcp(), 1252);

  // Under a double-byte page a trail byte that looks like a letter stays.
  char szJapanese[] = "\x82" "ab";
  FoldCase(szJapanese, "jpn", 0);
  EXPECT_EQ(std::string(szJapanese), "\x82" "aB");
  EXPECT_EQ(_getmbcp(), 1252);
}

TEST_F(LocaleScopeTest, MbStringCountsCharacters) {
  CLocaleScope scope("jpn");
  // "a", one double-byte character with trail byte "a", "b", "a".
  const CString str("a\x82" "aba");
  EXPECT_EQ(MbFind(str, 'a'), 0);
  EXPECT_EQ(MbReverseFind(str, 'a'), 3);
  EXPECT_EQ(MbFind(str, 'b'), 2);
  EXPECT_EQ(MbFind(str, 0x8261), 1);
  EXPECT_EQ(MbFind(CString("\x82" "a"), 'a'), -1);
  EXPECT_EQ(MbReverseFind(CString("\x82" "a"), 'a'), -1);
  EXPECT_EQ(MbFind(str, 'z'), -1);

  EXPECT_EQ(std::string(MbLeft(str, 2)), "a\x82" "a");
  EXPECT_EQ(std::string(MbRight(str, 3)), "\x82" "aba");
  EXPECT_EQ(std::string(MbLeft(str, 9)), std::string(str));
  EXPECT_EQ(std::string(MbRight(str, 4)), std::string(str));
  EXPECT_TRUE(MbLeft(str, 0).IsEmpty());
  EXPECT_TRUE(MbRight(str, 0).IsEmpty());

  CString strOut("x");
  MbAppend(strOut, 0x8261);
  MbAppend(strOut, 'y');
  EXPECT_EQ(std::string(strOut), "x\x82" "ay");
}

}  // namespace
