#include "platform/mbcs.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "platform/ctype_locale.h"

namespace {

// Each test puts the code page and the character-type locale back as they were.
class Mbcs : public ::testing::Test {
 protected:
  Mbcs() : m_strLocale(SetCtypeLocale(nullptr)), m_nMbcp(_getmbcp()) {}
  ~Mbcs() override {
    SetCtypeLocale(m_strLocale.c_str());
    _setmbcp(m_nMbcp);
  }

 private:
  std::string m_strLocale;
  int m_nMbcp;
};

}  // namespace

TEST_F(Mbcs, StepsByCharacter) {
  ASSERT_EQ(_setmbcp(932), 0);
  const char* p = "A\x83\\B";
  EXPECT_EQ(_ismbblead(0x83), 1);
  EXPECT_EQ(_ismbblead(static_cast<unsigned int>(p[1])), 1);  // sign-extended char
  EXPECT_EQ(_ismbblead('A'), 0);
  EXPECT_EQ(_ismbblead(0xA5), 0);  // half-width katakana
  EXPECT_EQ(_mbsinc(p + 1), p + 3);
  EXPECT_EQ(_mbslen(p), 3u);
  EXPECT_EQ(_mbsnccnt(p, 2), 1u);
  EXPECT_EQ(_mbsnccnt(p, 3), 2u);
  EXPECT_EQ(_mbsninc(p, 2), p + 3);
  EXPECT_EQ(_mbsninc(p, 9), p + 4);
  EXPECT_EQ(_mbsdec(p, p), nullptr);
  EXPECT_EQ(_mbsdec(p, p + 3), p + 1);
  EXPECT_EQ(_mbsdec(p, p + 1), p);
  ASSERT_EQ(_setmbcp(1252), 0);
  EXPECT_EQ(_ismbblead(0x83), 0);
  EXPECT_EQ(_mbslen(p), 4u);
}

TEST_F(Mbcs, SearchNeverMatchesATrailByte) {
  ASSERT_EQ(_setmbcp(932), 0);
  const char* p = "x\x83\\a\\b";
  EXPECT_EQ(_mbschr(p, '\\'), p + 4);
  EXPECT_EQ(_mbschr("\x83\x5C", '\\'), nullptr);
  EXPECT_EQ(_mbschr(p, 0x835C), p + 1);
  EXPECT_EQ(_mbschr(p, 0), p + 6);
  const char* q = "a\\\x83\x5C";
  EXPECT_EQ(_mbsrchr(q, '\\'), q + 1);
  EXPECT_EQ(_mbsrchr(q, 0x835C), q + 2);
  const char* r = "x\x83\x5C\x5C";
  EXPECT_EQ(_mbsstr(r, "\\\\"), nullptr);
  EXPECT_EQ(_mbsstr(r, "\\"), r + 3);
  EXPECT_EQ(_mbsstr(r, "\x83\x5C\\"), r + 1);
  EXPECT_EQ(_mbsstr(r, ""), r);
  ASSERT_EQ(_setmbcp(1252), 0);
  const char* s = "\x83\x5C";
  EXPECT_EQ(_mbschr(s, '\\'), s + 1);
  EXPECT_EQ(_mbsstr(r, "\\\\"), r + 2);
}

TEST_F(Mbcs, LeadByteBeforeNulEndsTheText) {
  ASSERT_EQ(_setmbcp(936), 0);
  char sz[] = "a\x83";
  EXPECT_EQ(_mbslen(sz), 1u);
  EXPECT_EQ(_mbsinc(sz + 1), sz + 2);
  EXPECT_EQ(_mbsninc(sz, 5), sz + 1);
  EXPECT_EQ(_mbsnccnt(sz, 5), 1u);
  EXPECT_EQ(_mbscmp(sz, "a"), 0);
  EXPECT_EQ(_mbschr(sz, 0x83), nullptr);
  EXPECT_EQ(_mbschr(sz, 0), sz + 2);
  char dst[4] = {'x', 'x', 'x', 'x'};
  _mbsnbcpy(dst, sz, 3);
  EXPECT_EQ(std::string(dst, 4), std::string("a\0\0x", 4));
  EXPECT_STREQ(_mbsupr(sz), "A\x83");
}

TEST_F(Mbcs, ComparesDoubleByteCharactersAboveSingleBytes) {
  ASSERT_EQ(_setmbcp(932), 0);
  EXPECT_EQ(_mbscmp("\x81\x40", "\xDF"), 1);
  EXPECT_EQ(_mbscmp("\xDF", "\x81\x40"), -1);
  EXPECT_EQ(_mbscmp("A\x81\x40", "A\x81\x41"), -1);
  EXPECT_EQ(_mbscmp("AB", "A"), 1);
  EXPECT_EQ(_mbsncmp("AB\x81\x40", "AB\x81\x41", 2), 0);
  EXPECT_EQ(_mbsncmp("AB\x81\x40", "AB\x81\x41", 3), -1);
  ASSERT_EQ(_setmbcp(1252), 0);
  EXPECT_EQ(_mbscmp("\x81\x40", "\xDF"), -1);
}

TEST_F(Mbcs, CopiesWholeCharactersAndPads) {
  ASSERT_EQ(_setmbcp(932), 0);
  // The first nCount + 1 bytes of a buffer of "x" after copying nCount.
  auto Copy = [](size_t nCount) {
    char dst[10];
    std::memset(dst, 'x', sizeof(dst));
    EXPECT_EQ(_mbsnbcpy(dst, "A\x83\\B", nCount), dst);
    return std::string(dst, nCount + 1);
  };
  EXPECT_EQ(Copy(2), std::string("A\0x", 3));
  EXPECT_EQ(Copy(3), "A\x83\x5Cx");
  EXPECT_EQ(Copy(8), std::string("A\x83\\B\0\0\0\0x", 9));
}

// Each text in single-byte pages holds accented or foreign letters, in
// double-byte pages full-width "ab"/"az", Greek "αω", Cyrillic "яё", and
// where the page has them Roman numeral ten or one and Latin "æœ"; the upper
// case is Python's cp codec of str.upper() of the same text. A trail byte
// that reads as a letter stays; in 1252 the same byte is a letter.
TEST_F(Mbcs, FoldsLettersAsThePageDoes) {
  const struct {
    int nPage;
    const char* pszLower;
    const char* pszUpper;
    const char* pszLowered = nullptr;  // the upper case lowered, when not pszLower
  } aCases[] = {
      {1252, "caf\xE9 \xFF \x9A \xDF\xB5 a\x83\x61", "CAF\xC9 \x9F \x8A \xDF\xB5 A\x83\x41"},
      {1251, "\xE0\xE1\xFF\xB8", "\xC0\xC1\xDF\xA8"},                      // а б я ё
      {1253, "\xE1\xE2\xF2\xDC", "\xC1\xC2\xD3\xA2", "\xE1\xE2\xF3\xDC"},  // α β ς ά
      {1250, "\xB9\x9A", "\xA5\x8A"},                                      // ą š
      {932, "a\x83\x61z\x82\x81", "A\x83\x61Z\x82\x60"},
      {932, "\x82\x81\x82\x82 \x82\x9A \x83\xBF\x83\xD6 \x84\x91\x84\x76 \xEE\xEF",
       "\x82\x60\x82\x61 \x82\x79 \x83\x9F\x83\xB6 \x84\x60\x84\x46 \x87\x54"},
      {936, "\xA3\xE1\xA3\xFA \xA6\xC1\xA6\xD8 \xA7\xF1\xA7\xD7 \xA2\xAA",
       "\xA3\xC1\xA3\xDA \xA6\xA1\xA6\xB8 \xA7\xC1\xA7\xA7 \xA2\xFA"},
      {949, "\xA3\xE1\xA3\xFA \xA5\xE1\xA5\xF8 \xAC\xF1\xAC\xD7 \xA9\xA1\xA9\xAB \xA5\xA1",
       "\xA3\xC1\xA3\xDA \xA5\xC1\xA5\xD8 \xAC\xC1\xAC\xA7 \xA8\xA1\xA8\xAB \xA5\xB0"},
      {950, "\xA2\xE9\xA3\x43 \xA3\x5C\xA3\x73 \xC7\xE8\xC7\xCE",
       "\xA2\xCF\xA2\xE8 \xA3\x44\xA3\x5B \xC7\xC7\xC7\xB3"},
  };
  for (const auto& c : aCases) {
    ASSERT_EQ(_setmbcp(c.nPage), 0);
    std::string strText = c.pszLower;
    EXPECT_STREQ(_mbsupr(strText.data()), c.pszUpper) << c.nPage;
    EXPECT_EQ(_mbsicmp(c.pszLower, c.pszUpper), 0) << c.nPage;
    EXPECT_EQ(_mbscmp(c.pszLower, c.pszUpper), 1) << c.nPage;  // lower case stands higher
    EXPECT_STREQ(_mbslwr(strText.data()), c.pszLowered ? c.pszLowered : c.pszLower) << c.nPage;
  }
}

TEST_F(Mbcs, ReadsUtf8Sequences) {
  ASSERT_EQ(_setmbcp(65001), 0);
  const char* p = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xC3z";  // a é € 😀, a stray C3
  EXPECT_EQ(_mbslen(p), 6u);
  EXPECT_EQ(_mbsinc(p + 1), p + 3);
  EXPECT_EQ(_mbsninc(p, 4), p + 10);
  EXPECT_EQ(_mbsdec(p, p + 10), p + 6);
  EXPECT_EQ(_mbsnccnt(p, 5), 2u);
  EXPECT_EQ(_mbschr(p, 0x20AC), p + 3);
  EXPECT_EQ(_mbschr(p, 0xDCC3), p + 10);  // the stray byte, not the lead of "é"
  EXPECT_EQ(_mbschr(p, 0xAC), nullptr);
  char szCut[] = "a\xE2\x82";  // the NUL cuts "€" short: the text ends after "a"
  EXPECT_EQ(_mbslen(szCut), 1u);
  EXPECT_EQ(_mbsinc(szCut + 1), szCut + 3);
  EXPECT_EQ(_mbschr(szCut, 0), szCut + 3);
  // Whole characters only, as in a double-byte page.
  char dst[8];
  std::memset(dst, 'x', sizeof(dst));
  _mbsnbcpy(dst, p, 5);
  EXPECT_EQ(std::string(dst, 6), std::string("a\xC3\xA9\0\0x", 6));
  // Byte order, which is code-point order: "é" (U+00E9) below "ā" (U+0101).
  EXPECT_EQ(_mbscmp("\xC3\xA9", "\xC4\x81"), -1);
  EXPECT_EQ(_mbscmp("z", "\xC3\xA9"), -1);
  EXPECT_EQ(_mbsncmp("\xC3\xA9x", "\xC3\xA9y", 1), 0);
  // Folding keeps the length: "ß" and the stray byte stay.
  char szFold[] = "\xC3\xA9t\xC3\xA9 \xCE\xB1\xCF\x89 \xD0\xB6 \xC3\x9F \xC3";
  EXPECT_STREQ(_mbsupr(szFold), "\xC3\x89T\xC3\x89 \xCE\x91\xCE\xA9 \xD0\x96 \xC3\x9F \xC3");
  EXPECT_EQ(_mbsicmp("\xC3\xA9t\xC3\xA9", "\xC3\x89T\xC3\x89"), 0);
  const char16_t awcText[] = {0xE9, 0xD83D, 0xDE00, 0xD800};  // é 😀, a lone surrogate
  EXPECT_EQ(WideToMultiByte(awcText, 4), "\xC3\xA9\xF0\x9F\x98\x80?");
}

// Python's Unicode version on the first line, then its own case mappings of
// every code point whose partner is one code point of the same length in
// UTF-8, as "U code partner" and "L code partner" lines; every other code
// point must stay as it is.
constexpr const char* kPythonCaseScript =
    "python3 -c '\n"
    "import unicodedata\n"
    "print(unicodedata.unidata_version)\n"
    "for cp in range(0x80, 0x110000):\n"
    "    if 0xD800 <= cp <= 0xDFFF: continue\n"
    "    c = chr(cp)\n"
    "    for tag, f in ((\"U\", c.upper()), (\"L\", c.lower())):\n"
    "        if len(f) == 1 and f != c and len(f.encode()) == len(c.encode()):\n"
    "            print(tag, cp, ord(f))\n"
    "' 2>/dev/null";

std::string Utf8Of(unsigned int nCode) {
  char acBytes[4];
  return std::string(acBytes, MbWriteChar(nCode, acBytes));
}

TEST_F(Mbcs, Utf8FoldsAsPythonDoesWhereTheLengthStays) {
  std::map<unsigned int, unsigned int> mapUpper;
  std::map<unsigned int, unsigned int> mapLower;
  FILE* pPipe = popen(kPythonCaseScript, "r");
  ASSERT_NE(pPipe, nullptr);
  char szVersion[32] = {};
  const bool bVersion = std::fscanf(pPipe, "%31s", szVersion) == 1;
  char cTag = 0;
  unsigned int nCode = 0;
  unsigned int nPartner = 0;
  while (std::fscanf(pPipe, " %c %u %u", &cTag, &nCode, &nPartner) == 3) {
    (cTag == 'U' ? mapUpper : mapLower)[nCode] = nPartner;
  }
  if (pclose(pPipe) != 0 || !bVersion || mapUpper.empty()) {
    GTEST_SKIP() << "python3 is needed to compare the folds";
  }
  if (std::string(szVersion) != Utf8CaseUnicodeVersion()) {
    GTEST_SKIP() << "python3 knows Unicode " << szVersion << ", the tables "
                 << Utf8CaseUnicodeVersion() << ": run platform/gen_codepages.py";
  }
  ASSERT_EQ(_setmbcp(65001), 0);
  size_t nWrong = 0;
  for (unsigned int nCp = 0x80; nCp < 0x110000; ++nCp) {
    if (nCp >= 0xD800 && nCp <= 0xDFFF) {
      continue;
    }
    const std::string strChar = Utf8Of(nCp);
    std::string strUpper = strChar;
    std::string strLower = strChar;
    _mbsupr(strUpper.data());
    _mbslwr(strLower.data());
    const auto itUpper = mapUpper.find(nCp);
    const auto itLower = mapLower.find(nCp);
    unsigned int nRead = 0;
    const bool bRoundTrip = MbCharBytes(strChar.c_str(), &nRead) == strChar.size() && nRead == nCp;
    if (!bRoundTrip || strUpper != Utf8Of(itUpper != mapUpper.end() ? itUpper->second : nCp) ||
        strLower != Utf8Of(itLower != mapLower.end() ? itLower->second : nCp)) {
      ADD_FAILURE() << "U+" << std::hex << nCp;
      if (++nWrong == 10) {
        break;
      }
    }
  }
}

TEST_F(Mbcs, ByteFoldingFollowsTheCtypeLocale) {
  ASSERT_STREQ(SetCtypeLocale("C"), "C");
  char szPlain[] = "caf\xE9";
  EXPECT_STREQ(_strupr(szPlain), "CAF\xE9");
  EXPECT_EQ(_toupper_ctype(0xE9), 0xE9);
  EXPECT_EQ(_stricmp("\xC9", "\xE9"), -1);
  EXPECT_EQ(_stricmp("_", "A"), -1);  // compared in lower case
  ASSERT_STREQ(SetCtypeLocale("fra"), "fra");
  ASSERT_EQ(_setmbcp(932), 0);  // the multi-byte code page plays no part here
  char szFra[] = "caf\xE9";
  EXPECT_STREQ(_strupr(szFra), "CAF\xC9");
  EXPECT_STREQ(_strlwr(szFra), "caf\xE9");
  EXPECT_EQ(_toupper_ctype(0xE9), 0xC9);
  EXPECT_EQ(_stricmp("\xC9", "\xE9"), 0);
  ASSERT_STREQ(SetCtypeLocale("jpn"), "jpn");
  char szJpn[] = "a\x83\x61z";
  EXPECT_STREQ(_strupr(szJpn), "A\x83\x61Z");
}

TEST_F(Mbcs, SetsTheCodePage) {
  EXPECT_EQ(_setmbcp(949), 0);
  EXPECT_EQ(_getmbcp(), 949);
  EXPECT_EQ(_setmbcp(-3), 0);
  EXPECT_EQ(_getmbcp(), 1252);
  // -4: the code page of the character-type locale.
  for (const auto& [pszLocale, nPage] :
       {std::pair<const char*, int>{"rus", 1251}, {"cht", 950}, {"C", 1252}}) {
    ASSERT_NE(SetCtypeLocale(pszLocale), nullptr);
    EXPECT_EQ(_setmbcp(-4), 0);
    EXPECT_EQ(_getmbcp(), nPage);
    EXPECT_EQ(_ismbblead(0x81), nPage == 950 ? 1 : 0) << pszLocale;
  }
  for (int nBad : {437, 0, -1, -2, 65000}) {
    EXPECT_EQ(_setmbcp(nBad), -1) << nBad;
    EXPECT_EQ(_getmbcp(), 1252) << nBad;
  }
}

TEST_F(Mbcs, ConvertsWideTextToTheCodePage) {
  ASSERT_EQ(_setmbcp(1252), 0);
  const std::u16string strText = u"caf\u00E9 \u20AC\u0416\U0001F600\uFFFD";
  EXPECT_EQ(WideToMultiByte(strText.data(), strText.size()), "caf\xE9 \x80???");
  const char16_t awcNul[] = {u'a', 0, u'b'};
  EXPECT_EQ(WideToMultiByte(awcNul, 3), std::string("a\0b", 3));
  ASSERT_EQ(_setmbcp(1251), 0);
  EXPECT_EQ(WideToMultiByte(u"\u0416\u0451", 2), "\xC6\xB8");
  ASSERT_EQ(_setmbcp(932), 0);
  EXPECT_EQ(WideToMultiByte(u"A\u00E9\u3042", 3), "A??");
}
