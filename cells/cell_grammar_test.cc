#include "cells/cell_grammar.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/mbcs.h"

namespace {

struct Grammar {
  char cOpen;
  char cClose;
  char cValueSep;
  char cAny;
  std::string strRangeSep;
};

const Grammar kStock = {'(', ')', '*', '*', ".."};

struct Split {
  BYTE nKind;
  std::vector<std::string> values;
  BYTE nFlags;
};

Split DoSplit(const Grammar& g, const char* pszCell) {
  // The array and the flag byte start dirty: every path must reset them.
  CStringArray arValues;
  arValues.Add("stale");
  BYTE nFlags = 0xEE;
  Split s;
  s.nKind = SplitCellEx(pszCell, arValues, &nFlags, g.cOpen, g.cClose, g.cValueSep, g.cAny,
                        g.strRangeSep.c_str());
  for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
    s.values.emplace_back(arValues[i].GetString(), arValues[i].GetLength());
  }
  s.nFlags = nFlags;
  return s;
}

struct Form {
  const char* pszCell;
  BYTE nKind;
  std::vector<std::string> values;
  BYTE nFlags;
};

// The worked forms, written with the stock grammar.
const std::vector<Form>& WorkedForms() {
  static const std::vector<Form> forms = {
      {"", CELL_EMPTY, {}, 0},
      {"   ", CELL_EMPTY, {}, 0},
      {"*", CELL_ANY, {}, 0},
      {"  *", CELL_ANY, {}, 0},
      {"* ", CELL_LIST, {"", " "}, 2},
      {"**", CELL_LIST, {"", "", ""}, 3},
      {"abc", CELL_SINGLE, {"abc"}, 0},
      {"  abc  ", CELL_SINGLE, {"abc  "}, 0},
      {"b*a", CELL_LIST, {"a", "b"}, 2},
      {"10*9", CELL_LIST, {"10", "9"}, 2},
      {" b * a ", CELL_LIST, {" a ", "b "}, 2},
      {"a**b", CELL_LIST, {"", "a", "b"}, 3},
      {"*a", CELL_LIST, {"", "a"}, 2},
      {"a*", CELL_LIST, {"", "a"}, 2},
      // Lists sort as text, empty values first.
      {"b**a*", CELL_LIST, {"", "", "a", "b"}, 4},
      {"9*100*10*-1*B*a", CELL_LIST, {"-1", "10", "100", "9", "B", "a"}, 6},
      {"(1..5)", CELL_RANGE, {"1", "5"}, 5},
      {")1..5(", CELL_RANGE, {"1", "5"}, 10},
      {"(1..5(", CELL_RANGE, {"1", "5"}, 9},
      {")1..5)", CELL_RANGE, {"1", "5"}, 6},
      {"(1 .. 5)", CELL_RANGE, {"1 ", " 5"}, 5},
      {"(..5)", CELL_RANGE, {"", "5"}, 5},
      {"(1..)", CELL_RANGE, {"1", ""}, 5},
      {"(1..5)x", CELL_RANGE, {"1", "5"}, 5},
      {"(1..2..3)", CELL_RANGE, {"1", "2..3"}, 5},
      {"(1*2..3)", CELL_RANGE, {"1*2", "3"}, 5},
      {"(1..5)*(7..9)", CELL_RANGE, {"1", "5"}, 13},
      {"7*(1..5)", CELL_LIST, {"(1..5)", "7"}, 2},
      {"(15)", CELL_SINGLE, {"(15)"}, 0},
      {"1..5", CELL_SINGLE, {"1..5"}, 0},
      {"1..5)", CELL_SINGLE, {"1..5)"}, 0},
      {"((1..5)", CELL_RANGE, {"(1", "5"}, 5},
      {")(1..5)", CELL_RANGE, {"(1", "5"}, 7},
      {"()1..5)", CELL_RANGE, {"1", "5"}, 7},
      // No bracket behind the separator: the high value is the rest.
      {"(1..5", CELL_RANGE, {"1", "5"}, 5},
      {")1..5 x", CELL_RANGE, {"1", "5 x"}, 6},
  };
  return forms;
}

// A text of the stock grammar written in grammar g. A cell that is the lone
// wildcard (after leading spaces) takes g's wildcard, every other "*" is a
// value separator.
std::string Translate(const std::string& str, const Grammar& g) {
  const size_t nFirst = str.find_first_not_of(' ');
  const bool bAny = nFirst != std::string::npos && str.substr(nFirst) == "*";
  std::string out;
  for (size_t i = 0; i < str.size(); ++i) {
    const char c = str[i];
    if (c == '.' && i + 1 < str.size() && str[i + 1] == '.') {
      out += g.strRangeSep;
      ++i;
    } else if (c == '(') {
      out += g.cOpen;
    } else if (c == ')') {
      out += g.cClose;
    } else if (c == '*') {
      out += bAny ? g.cAny : g.cValueSep;
    } else {
      out += c;
    }
  }
  return out;
}

void ExpectForms(const Grammar& g) {
  for (const Form& f : WorkedForms()) {
    const std::string strCell = Translate(f.pszCell, g);
    std::vector<std::string> expected;
    for (const std::string& v : f.values) {
      expected.push_back(Translate(v, g));
    }
    if (f.nKind == CELL_LIST) {
      // Other characters may change the order of values that contain them.
      std::sort(expected.begin(), expected.end());
    }
    const Split s = DoSplit(g, strCell.c_str());
    EXPECT_EQ(s.nKind, f.nKind) << "cell [" << strCell << "]";
    EXPECT_EQ(s.values, expected) << "cell [" << strCell << "]";
    EXPECT_EQ(s.nFlags, f.nFlags) << "cell [" << strCell << "]";
  }
}

TEST(SplitCellEx, WorkedFormsWithEveryGrammar) {
  ExpectForms(kStock);
  ExpectForms({'[', ']', '~', '#', "--"});
  ExpectForms({'<', '>', ';', '?', "to"});
  const Split s = DoSplit(kStock, nullptr);
  EXPECT_EQ(s.nKind, CELL_EMPTY);
  EXPECT_TRUE(s.values.empty());
  EXPECT_EQ(s.nFlags, 0);
}

TEST(SplitCellEx, EdgeCases) {
  const Grammar kSquare = {'[', ']', '~', '#', "--"};
  const std::string strLow(32766, '1');
  const std::string strHigh(40000, '2');
  const struct {
    const Grammar& g;
    int nPage;
    std::string strCell;
    BYTE nKind;
    std::vector<std::string> values;
    BYTE nFlags;
  } aCases[] = {
      // The first occurrence of the separator splits, so signs survive.
      {kSquare, 1252, "[-5---1]", CELL_RANGE, {"-5", "-1"}, 5},
      // 0x83 0x5D is one character whose trail byte is "]": never cut.
      {kSquare, 932, "[1--\x83\x5D]", CELL_RANGE, {"1", "\x83\x5D"}, 5},
      {kSquare, 932, "]\x83\x5D--\x83\x5D[", CELL_RANGE, {"\x83\x5D", "\x83\x5D"}, 10},
      {kStock, 932, "(1..\x82\xA0)", CELL_RANGE, {"1", "\x82\xA0"}, 5},
      // A trail byte equal to the value separator does not cut; a double-byte
      // character sorts above every single byte.
      {kSquare, 932, "\x83\x7E~a", CELL_LIST, {"a", "\x83\x7E"}, 2},
      // A lead byte with no trail before the end stays in the value.
      {kStock, 932, "a*b\x83", CELL_LIST, {"a", "b\x83"}, 2},
      // Separators lie at most 32767 bytes past the first byte that is not a
      // space; those beyond count as absent.
      {kStock,
       1252,
       "  " + std::string(32767, 'x') + "*y",
       CELL_LIST,
       {std::string(32767, 'x'), "y"},
       2},
      {kStock,
       1252,
       std::string(32768, 'x') + "*y",
       CELL_SINGLE,
       {std::string(32768, 'x') + "*y"},
       0},
      // Only the separators within the limit cut: the last value runs on. The
      // flag byte holds the low 8 bits of the count.
      {kStock, 1252, std::string(40000, '*'), CELL_LIST,
       [] {
         std::vector<std::string> values(32768);
         values.push_back(std::string(40000 - 32768, '*'));
         return values;
       }(),
       32769 & 0xFF},
      // Range separator at offset 32767, then at 32768.
      {kStock, 1252, "(" + strLow + "..5)", CELL_RANGE, {strLow, "5"}, 5},
      {kStock, 1252, "(" + strLow + "1..5)", CELL_SINGLE, {"(" + strLow + "1..5)"}, 0},
      // A bracket far behind a separator within the limit still ends the high
      // value: no offset wraps.
      {kStock, 1252, "(1.." + strHigh + ")x", CELL_RANGE, {"1", strHigh}, 5},
  };
  for (const auto& c : aCases) {
    ASSERT_EQ(_setmbcp(c.nPage), 0);
    const Split s = DoSplit(c.g, c.strCell.c_str());
    const std::string strShown = c.strCell.substr(0, 20);
    EXPECT_EQ(s.nKind, c.nKind) << strShown;
    EXPECT_EQ(s.values, c.values) << strShown;
    EXPECT_EQ(s.nFlags, c.nFlags) << strShown;
  }
  _setmbcp(1252);
}

TEST(ClassifyCell, TypesOnlyGrow) {
  struct Case {
    const char* pszValue;
    BYTE nType;
    BYTE nExpected;
  };
  const Case cases[] = {
      {"12", COL_TYPE_LONG, COL_TYPE_LONG},      {"  12", COL_TYPE_LONG, COL_TYPE_LONG},
      {"12  ", COL_TYPE_LONG, COL_TYPE_LONG},    {"-12", COL_TYPE_LONG, COL_TYPE_LONG},
      {"+12", COL_TYPE_LONG, COL_TYPE_LONG},     {"- 12", COL_TYPE_LONG, COL_TYPE_LONG},
      {"+ 12", COL_TYPE_LONG, COL_TYPE_LONG},    {"1.5", COL_TYPE_LONG, COL_TYPE_REAL},
      {".5", COL_TYPE_LONG, COL_TYPE_REAL},      {"5.", COL_TYPE_LONG, COL_TYPE_REAL},
      {".", COL_TYPE_LONG, COL_TYPE_REAL},       {"-.5", COL_TYPE_LONG, COL_TYPE_REAL},
      {" 1.5 ", COL_TYPE_LONG, COL_TYPE_REAL},   {"12", COL_TYPE_REAL, COL_TYPE_REAL},
      {"1.5", COL_TYPE_REAL, COL_TYPE_REAL},     {"12", COL_TYPE_NONE, COL_TYPE_NONE},
      {"1.5", COL_TYPE_NONE, COL_TYPE_REAL},     {"-", COL_TYPE_NONE, COL_TYPE_NONE},
      {"12", COL_TYPE_STR, COL_TYPE_STR},        {"", COL_TYPE_STR, COL_TYPE_STR},
      {"\x82\x60", COL_TYPE_LONG, COL_TYPE_STR},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ClassifyCell(c.pszValue, c.nType), c.nExpected)
        << "[" << c.pszValue << "] from " << int(c.nType);
  }
  for (const char* psz : {"1 2", "1.2.3", "1e5", "1,5", "--5", "+-5", "+", "abc", "1\t"}) {
    EXPECT_EQ(ClassifyCell(psz, COL_TYPE_LONG), COL_TYPE_STR) << psz;
    EXPECT_EQ(ClassifyCell(psz, COL_TYPE_REAL), COL_TYPE_STR) << psz;
  }
  for (const char* psz : {"-", "- ", "+ ", "", "   "}) {
    EXPECT_EQ(ClassifyCell(psz, COL_TYPE_LONG), COL_TYPE_LONG) << psz;
    EXPECT_EQ(ClassifyCell(psz, COL_TYPE_REAL), COL_TYPE_REAL) << psz;
  }
}

}  // namespace
