#include "frame/comparators.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>

#include "frame/locale_scope.h"

namespace {

TEST(Comparators, PatternTable) {
  struct Row {
    const char* pszKey;
    const char* pszPattern;
    int nByte;
    int nChar;
  };
  const Row aRows[] = {
      {"ABC", "ABC", 0, 0},  {"ABC", "AB*", 0, 0},  {"ABC", "A?C", 0, 0}, {"ABC", "*", 0, 0},
      {"ABC", "A*", 0, 0},   {"AB", "AB*", 0, 0},   {"", "", 0, 0},       {"", "*", 0, -1},
      {"AB", "AB?", -1, -1}, {"AB", "ABC", -1, -1}, {"ABC", "AB", 1, 1},  {"", "A", -1, -1},
      {"A", "", 1, 1},       {"AC", "A*C", 1, 1},   {"\xE9", "z", 1, 1},  {"ABB", "ABC", -1, -1},
  };
  for (const Row& row : aRows) {
    EXPECT_EQ(MatchText(row.pszKey, row.pszPattern), row.nByte)
        << row.pszKey << "|" << row.pszPattern;
    EXPECT_EQ(MatchTextMb(row.pszKey, row.pszPattern), row.nChar)
        << row.pszKey << "|" << row.pszPattern;
  }
}

TEST(Comparators, MultiByteStepsByCharacter) {
  CLocaleScope scope("jpn");
  const char* pszKanji = "\x88\x9FZ";  // one double-byte character, then "Z"
  EXPECT_EQ(MatchTextMb(pszKanji, "?Z"), 0);
  EXPECT_EQ(MatchText(pszKanji, "?Z"), 1);
  EXPECT_EQ(MatchTextMb(pszKanji, "\xDF"), 1);  // above every single byte
  EXPECT_EQ(MatchTextMb("A\x88", "A"), 0);      // a lead byte before the NUL ends it
  EXPECT_EQ(CompareTextMb("\xDF", pszKanji), -1);
}

TEST(Comparators, Utf8StepsByCharacterInByteOrder) {
  CLocaleScope scope("utf8");
  const char* pszKey = "CAF\xC3\x89";  // "CAFÉ"
  EXPECT_EQ(MatchTextMb(pszKey, "CAF?"), 0);
  EXPECT_EQ(MatchText(pszKey, "CAF?"), 1);
  EXPECT_EQ(MatchTextMb(pszKey, "CAF\xE2\x82\xAC"), -1);  // "É" below "€"
  // A stray C3 against "É" (C3 89): the byte behind decides, as in _mbscmp.
  for (const char* pszPattern : {"CAF\xC3\x41", "CAF\xC3\xC3\x89", "CAF\xC3"}) {
    EXPECT_EQ(MatchTextMb(pszKey, pszPattern), CompareTextMb(pszKey, pszPattern)) << pszPattern;
  }
}

TEST(Comparators, NumbersAndTexts) {
  auto real = [](double d1, double d2) { return CompareReal(&d1, &d2); };
  EXPECT_EQ(real(1.0, 1.0 + DBL_EPSILON), -1);
  EXPECT_EQ(real(1.0 + DBL_EPSILON, 1.0), 1);
  EXPECT_EQ(real(0.0, 1e-17), 0);
  EXPECT_EQ(real(0.0, 3e-16), -1);
  EXPECT_EQ(real(NAN, 1.0), 1);
  EXPECT_EQ(real(1.0, NAN), 1);
  auto lng = [](LONG n1, LONG n2) { return CompareSign16(CompareLong(&n1, &n2)); };
  EXPECT_EQ(lng(INT_MIN, INT_MAX), -1);
  EXPECT_EQ(lng(0x10000, 0), 1);
  EXPECT_EQ(CompareText("\xE9", "z"), 1);  // bytes unsigned
  EXPECT_EQ(CompareText("ab", "abc"), -1);
  // Entries compare behind their 4-byte row number.
  const char szEntry1[] = "\x09\0\0\0B";
  const char szEntry2[] = "\x01\0\0\0A";
  EXPECT_EQ(CompareTextEntry(szEntry1, szEntry2), 1);
  EXPECT_EQ(CompareTextMbEntry(szEntry2, szEntry1), -1);
  const LONG anEntry1[2] = {9, -7};
  const LONG anEntry2[2] = {1, 3};
  EXPECT_EQ(CompareLongEntry(anEntry1, anEntry2), -1);
}

}  // namespace
