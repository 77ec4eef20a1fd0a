#include "frame/locale_scope.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/mb_string.h"
#include "platform/ctype_locale.h"
#include "platform/mbcs.h"

namespace {

// Each test starts and ends in the plain locale, code page 1252, no scope.
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
  _setmbcp(1250);
  EnterLocale("jpn");
  EXPECT_EQ(Ctype(), "jpn");
  EXPECT_EQ(_getmbcp(), 932);
  EnterLocale("JPN");  // no depth: the same name again does nothing
  LeaveLocale();
  EXPECT_EQ(Ctype(), "C");
  EXPECT_EQ(_getmbcp(), 1250);
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
  EXPECT_EQ(g_nMbcpSaved, -3);

  _setmbcp(950);
  LeaveLocale();  // no scope open
  EXPECT_EQ(_getmbcp(), 950);
  // An unknown name keeps the character-type locale; leaving restores the
  // saved page all the same.
  EnterLocale("klingon");
  EXPECT_EQ(Ctype(), "C");
  EXPECT_EQ(_getmbcp(), 1252);
  LeaveLocale();
  EXPECT_EQ(_getmbcp(), 950);
  EXPECT_TRUE(g_strLocaleName.IsEmpty());

  // A scope that changed nothing stays open.
  SetCtypeLocale("fra");
  EnterLocale("fra");
  LeaveLocale();
  EXPECT_STREQ(g_strLocaleName, "fra");
  EnterLocale("rus");
  LeaveLocale();
  EXPECT_EQ(Ctype(), "fra");
  EXPECT_TRUE(g_strLocaleName.IsEmpty());
}

// Accented letters fold only under a named locale; a trail byte that looks
// like a letter stays under a double-byte page. Under the UTF-8 locale a cut
// keeps whole characters only: "É" takes bytes 4 and 5 of "CAFÉS".
TEST_F(LocaleScopeTest, FoldCase) {
  EXPECT_FALSE(IsNamedLocale("c") || IsNamedLocale("") || IsNamedLocale(nullptr));
  const struct {
    const char* pszText;
    const char* pszLocale;
    BYTE nLength;
    const char* pszFolded;
  } aCases[] = {
      {"abcde", nullptr, 5, "ABCDE"},       {"abcdef", "fra", 5, "ABCD"},
      {"\xE9t\xE9", "fra", 0, "\xC9T\xC9"}, {"\xE9t\xE9", "C", 0, "\xE9T\xE9"},
      {"\202ab", "jpn", 0, "\202aB"},  // 0x82 0x61, then "b"
      {"caf\xC3\xA9s", "utf8", 5, "CAF"},   {"caf\xC3\xA9", "utf8", 5, "CAF\xC3\x89"},
      {"caf\xC3", "utf8", 0, "CAF"},  // a key cut by bytes before the fold
  };
  for (const auto& c : aCases) {
    std::string strText = c.pszText;
    FoldCase(strText.data(), c.pszLocale, c.nLength);
    EXPECT_STREQ(strText.c_str(), c.pszFolded) << c.pszText << " " << int(c.nLength);
  }
  EXPECT_EQ(Ctype(), "C");
  EXPECT_EQ(_getmbcp(), 1252);
}

TEST_F(LocaleScopeTest, MbStringCountsCharacters) {
  CLocaleScope scope("jpn");
  const CString str("a\202aba");  // "a", the double-byte character 0x82 0x61, "b", "a"
  EXPECT_EQ(MbFind(str, 'b'), 2);
  EXPECT_EQ(MbReverseFind(str, 'a'), 3);
  EXPECT_EQ(MbFind(str, 0x8261), 1);
  EXPECT_EQ(MbFind(CString("\202a"), 'a'), -1);  // a trail byte is no match
  EXPECT_EQ(MbReverseFind(CString("\202a"), 'a'), -1);
  EXPECT_EQ(std::string(MbLeft(str, 2)), "a\202a");
  EXPECT_EQ(std::string(MbRight(str, 3)), "\202aba");
  EXPECT_EQ(std::string(MbRight(str, 4)), std::string(str));
  CString strOut("x");
  MbAppend(strOut, 0x8261);
  EXPECT_EQ(std::string(strOut), "x\202a");
}

TEST_F(LocaleScopeTest, MbStringCountsUtf8Characters) {
  CLocaleScope scope("utf8");
  const CString str("\xC3\xA9t\xE2\x82\xAC!");  // "é", "t", "€", "!"
  EXPECT_EQ(MbFind(str, 0x20AC), 2);
  EXPECT_EQ(MbFind(str, 0xA9), -1);  // a continuation byte is no match
  EXPECT_EQ(MbReverseFind(str, 't'), 1);
  EXPECT_EQ(std::string(MbLeft(str, 2)), "\xC3\xA9t");
  EXPECT_EQ(std::string(MbRight(str, 2)), "\xE2\x82\xAC!");
  CString strOut("x");
  MbAppend(strOut, 0x20AC);
  MbAppend(strOut, 0xDCC3);  // a stray byte comes back as that byte
  EXPECT_EQ(std::string(strOut), "x\xE2\x82\xAC\xC3");
}

}  // namespace
