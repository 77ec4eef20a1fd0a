#include "frame/comparators.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>

#include "frame/locale_scope.h"

namespace {

int Match(const char* pszKey, const char* pszPattern) { return MatchText(pszKey, pszPattern); }
int MatchMb(const char* pszKey, const char* pszPattern) {
  return MatchTextMb(pszKey, pszPattern);
}

TEST(Comparators, PatternTable) {
  struct Row {
    const char* pszKey;
    const char* pszPattern;
    int nByte;
    int nChar;
  };
  const Row aRows[] = {
      {"ABC", "ABC", 0, 0},  {"ABC", "AB*", 0, 0}, {"ABC", "A?C", 0, 0}, {"ABC", "*", 0, 0},
      {"ABC", "A*", 0, 0},   {"AB", "AB*", 0, 0},  {"", "", 0, 0},       {"", "*", 0, -1},
      {"AB", "AB?", -1, -1}, {"AB", "ABC", -1, -1}, {"ABC", "AB", 1, 1},  {"", "A", -1, -1},
      {"A", "", 1, 1},       {"AC", "A*C", 1, 1},  {"A*C", "A*C", 0, 0}, {"ABD", "ABC", 1, 1},
      {"ABB", "ABC", -1, -1}, {"A", "?", 0, 0},    {"", "?", -1, -1},
  };
  for (const Row& row : aRows) {
    EXPECT_EQ(Match(row.pszKey, row.pszPattern), row.nByte) << row.pszKey << " / " << row.pszPattern;
    EXPECT_EQ(MatchMb(row.pszKey, row.pszPattern), row.nChar)
        << row.pszKey << " / " << row.pszPattern;
  }
  // Bytes compare unsigned.
  EXPECT_EQ(Match("\xE9", "z"), 1);
  EXPECT_EQ(MatchMb("\xE9", "z"), 1);
}

TEST(Comparators, MatchTextMbStepsByCharacter) {
  CLocaleScope scope("jpn");
  const char* pszKanji = "\x88\x9F" "B";  // one double-byte character, then "B"
  EXPECT_EQ(MatchTextMb(pszKanji, "?B"), 0);
  EXPECT_EQ(MatchText(pszKanji, "?B"), 1);  // "?" takes one byte only
  EXPECT_EQ(MatchTextMb(pszKanji, "\x88\x9F*"), 0);
  // A double-byte character lies above every single byte.
  EXPECT_EQ(MatchTextMb(pszKanji, "\xDF"), 1);
  EXPECT_EQ(MatchTextMb("\xDF", pszKanji), -1);
  // A lead byte before the NUL ends the text.
  EXPECT_EQ(MatchTextMb("A\x88", "A"), 0);
  EXPECT_EQ(MatchTextMb("\x88", "*"), -1);
  EXPECT_EQ(CompareTextMb(pszKanji, "\xDF"), 1);
  EXPECT_EQ(CompareTextMb("A\x88", "A"), 0);
}

TEST(Comparators, RealTolerance) {
  auto cmp = [](double d1, double d2) { return CompareReal(&d1, &d2); };
  EXPECT_EQ(cmp(1.0, 1.0 + DBL_EPSILON), -1);
  EXPECT_EQ(cmp(1.0 + DBL_EPSILON, 1.0), 1);
  EXPECT_EQ(cmp(0.0, 1e-17), 0);
  EXPECT_EQ(cmp(-1e-17, 1e-17), 0);
  EXPECT_EQ(cmp(0.0, 3e-16), -1);
  // No scaling: large neighbours differ.
  EXPECT_EQ(cmp(1e10, std::nextafter(1e10, 2e10)), -1);
  EXPECT_EQ(cmp(2.5, 2.5), 0);
  EXPECT_EQ(cmp(NAN, 1.0), 1);
  EXPECT_EQ(cmp(1.0, NAN), 1);
  EXPECT_EQ(cmp(NAN, NAN), 1);
  EXPECT_EQ(cmp(-INFINITY, 0.0), -1);
}

TEST(Comparators, LongAndTextReadSignsWithin16Bits) {
  auto cmp = [](LONG n1, LONG n2) { return CompareSign16(CompareLong(&n1, &n2)); };
  EXPECT_EQ(cmp(INT_MIN, INT_MAX), -1);
  EXPECT_EQ(cmp(INT_MAX, INT_MIN), 1);
  EXPECT_EQ(cmp(0x10000, 0), 1);
  EXPECT_EQ(cmp(-5, -5), 0);

  EXPECT_EQ(CompareText("abc", "abd"), -1);
  EXPECT_EQ(CompareText("\xE9", "z"), 1);
  EXPECT_EQ(CompareText("ab", "abc"), -1);
  EXPECT_EQ(CompareText("", ""), 0);
  EXPECT_EQ(CompareTextMb("\xE9", "z"), 1);
}

TEST(Comparators, EntriesCompareBehindTheRowNumber) {
  // 4-byte row number, then the key; the row number plays no part.
  auto entry = [](DWORD nRow, const void* pKey, size_t nKeyBytes) {
    std::string str(4 + nKeyBytes, '\0');
    std::memcpy(str.data(), &nRow, 4);
    std::memcpy(str.data() + 4, pKey, nKeyBytes);
    return str;
  };
  const LONG n1 = -7;
  const LONG n2 = 3;
  EXPECT_EQ(CompareLongEntry(entry(9, &n1, 4).data(), entry(1, &n2, 4).data()), -1);
  EXPECT_EQ(CompareLongEntry(entry(9, &n2, 4).data(), entry(1, &n2, 4).data()), 0);
  const double d1 = 1.5;
  const double d2 = 1.5 + 1e-17;
  EXPECT_EQ(CompareRealEntry(entry(0, &d1, 8).data(), entry(5, &d2, 8).data()), 0);
  const double d3 = 2.0;
  EXPECT_EQ(CompareRealEntry(entry(0, &d3, 8).data(), entry(5, &d1, 8).data()), 1);
  EXPECT_EQ(CompareTextEntry(entry(1, "B", 2).data(), entry(0, "A", 2).data()), 1);
  EXPECT_EQ(CompareTextEntry(entry(1, "A", 2).data(), entry(2, "A", 2).data()), 0);
  EXPECT_EQ(CompareTextMbEntry(entry(1, "A", 2).data(), entry(0, "B", 2).data()), -1);
}

}  // namespace
