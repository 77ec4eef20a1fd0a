#include "platform/ctype_locale.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/default_locale.h"
#include "platform/mbcs.h"

namespace {

// Each test puts the character-type locale and the code page back as they were.
class CtypeLocale : public ::testing::Test {
 protected:
  CtypeLocale() : m_strLocale(SetCtypeLocale(nullptr)), m_nMbcp(_getmbcp()) {}
  ~CtypeLocale() override {
    SetCtypeLocale(m_strLocale.c_str());
    _setmbcp(m_nMbcp);
  }

 private:
  std::string m_strLocale;
  int m_nMbcp;
};

// Taken before any test runs, whatever order the tests run in.
const std::string s_strStartLocale = SetCtypeLocale(nullptr);
const bool s_bStartPlain = IsCtypeLocalePlain();
const int s_nStartCtypePage = GetCtypeCodePage();
const int s_nStartMbcp = _getmbcp();

}  // namespace

TEST_F(CtypeLocale, ProcessStartsPlain) {
  EXPECT_EQ(s_strStartLocale, "C");
  EXPECT_TRUE(s_bStartPlain);
  EXPECT_EQ(s_nStartCtypePage, 1252);
  EXPECT_EQ(s_nStartMbcp, 1252);
  // The host's default name is the plain locale.
  ASSERT_NE(SetCtypeLocale("fra"), nullptr);
  EXPECT_STREQ(SetCtypeLocale(GetHostDefaultLocale()), "C");
  EXPECT_TRUE(IsCtypeLocalePlain());
}

TEST_F(CtypeLocale, AcceptsKnownNamesWithoutRegardToCase) {
  const struct {
    const char* pszGiven;
    const char* pszStored;
    int nCodePage;
  } aCases[] = {
      {"FRA", "fra", 1252},
      {"french", "French", 1252},
      {"fr_fr", "fr_FR", 1252},
      {"JA_jp", "ja_JP", 932},
      {"Chs", "chs", 936},
      {"KOREAN", "Korean", 949},
      {"cht", "cht", 950},
      {"rus", "rus", 1251},
      {"uk_UA", "uk_UA", 1251},
      {"plk", "plk", 1250},
      {"ell", "ell", 1253},
      {"TRK", "trk", 1254},
      {"lt_lt", "lt_LT", 1257},
      {".1251", ".1251", 1251},
      {".932", ".932", 932},
      // The UTF-8 locale, an extension, under each of its names.
      {"UTF8", "utf8", 65001},
      {"utf-8", "utf8", 65001},
      {"C.UTF-8", "utf8", 65001},
      {"c.utf8", "utf8", 65001},
      {".65001", "utf8", 65001},
      {".UTF-8", "utf8", 65001},
      {"JPN.932", "jpn.932", 932},
      {"deu.949", "deu.949", 949},
  };
  for (const auto& c : aCases) {
    const char* pszName = SetCtypeLocale(c.pszGiven);
    ASSERT_NE(pszName, nullptr) << c.pszGiven;
    EXPECT_STREQ(pszName, c.pszStored);
    EXPECT_STREQ(SetCtypeLocale(nullptr), c.pszStored);
    EXPECT_EQ(GetCtypeCodePage(), c.nCodePage) << c.pszGiven;
    EXPECT_FALSE(IsCtypeLocalePlain()) << c.pszGiven;
  }
  // The stored name may be handed back as it is.
  EXPECT_STREQ(SetCtypeLocale(SetCtypeLocale(nullptr)), "deu.949");
  for (const char* pszPlain : {"C", "c", ""}) {
    ASSERT_NE(SetCtypeLocale("rus"), nullptr);
    EXPECT_STREQ(SetCtypeLocale(pszPlain), "C");
    EXPECT_TRUE(IsCtypeLocalePlain());
    EXPECT_EQ(GetCtypeCodePage(), 1252);
  }
}

TEST_F(CtypeLocale, RefusedNamesChangeNothing) {
  ASSERT_STREQ(SetCtypeLocale("rus"), "rus");
  for (const char* pszBad : {"xyz", "Japanese", "Norwegian", "fr_FR.1252", "fra.1252", ".437",
                             ".01252", ".", "fra.", "xx.1252", "C ", " fra", "fra_FR", "C.1252",
                             "en_US.UTF-8", "fra.65001", "utf16", ".65000"}) {
    EXPECT_EQ(SetCtypeLocale(pszBad), nullptr) << pszBad;
    EXPECT_STREQ(SetCtypeLocale(nullptr), "rus") << pszBad;
    EXPECT_EQ(GetCtypeCodePage(), 1251) << pszBad;
    EXPECT_FALSE(IsCtypeLocalePlain()) << pszBad;
  }
  // A refused name leaves the code page that -4 takes as it was.
  EXPECT_EQ(_setmbcp(-4), 0);
  EXPECT_EQ(_getmbcp(), 1251);
}
