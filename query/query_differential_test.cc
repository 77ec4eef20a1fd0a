// Queries on random catalogues, answered twice: by the library through its
// indexes, and by a brute-force evaluator that reads the file and applies the
// plain meaning of each criterion to each cell. The two must agree as sets
// of rows.
//
// Under the exact search every catalogue goes: range bounds equal to keys
// under every bracket form, ranges that hold no value, range texts inside
// lists, "?" and "*" in text keys, every mask. The index walk has documented
// quirks there (under mask 17 a range whose low bound equals the key and is
// excluded ends the walk of zone 2; under masks 1 and 33 zone 3 is walked
// upward only from where the binary search lands; "?" misleads the binary
// search), so for the walk the generator keeps clear of them: range bounds
// never equal a key (odd bounds against even keys for Long, quarter values
// against half values for Real, a "~" suffix for Str), ranges hold values,
// and text keys hold no pattern.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "cells/cell_grammar.h"
#include "frame/numbers.h"
#include "frame/settings.h"
#include "query/query_std.h"
#include "query/query_test_util.h"
#include "testing/test_util.h"

namespace {

using Catalogue = std::vector<std::vector<std::string>>;  // data rows, 3 cells each

const char* const kWords[] = {"apple", "Banana", "cherry", "date", "Elder", "fig", "grape", "kiwi"};

// A value of column nCol: 0 Long, 1 Real, 2 Str.
std::string RandomValue(std::mt19937& rng, int nCol) {
  const unsigned n = rng() % 81;
  const std::string astrValues[] = {std::to_string(n % 41),
                                    std::to_string(n / 2) + (n % 2 ? ".5" : ".0"), kWords[n % 8]};
  return astrValues[nCol];
}

// One cell of column nCol: empty, the wildcard, a value, a list or a range.
// With bQuirks, range bounds are values that keys take too, in either
// order, and text lists may hold the text of a range.
std::string RandomCell(std::mt19937& rng, int nCol, bool bQuirks) {
  auto bound = [&](int nIndex) {
    if (bQuirks) {
      return RandomValue(rng, nCol);
    }
    const std::string astrBounds[] = {std::to_string(2 * nIndex + 1),  // odd
                                      std::to_string(nIndex) + ".25",
                                      std::string(1, static_cast<char>('A' + nIndex)) + "~"};
    return astrBounds[nCol];
  };
  auto bracket = [&] { return std::string((rng() & 1) ? "(" : ")"); };
  unsigned nDraw = rng() % 100;
  if (nDraw < 10) {
    return "";
  }
  if (nDraw < 18) {
    return "*";
  }
  std::string text = RandomValue(rng, nCol);
  if (nDraw < 58) {
    return text;
  }
  if (nDraw < 83) {
    for (unsigned n = 1 + rng() % 2; n > 0; --n) {
      text += '*' + (bQuirks && nCol == 2 && rng() % 3 == 0
                         ? bracket() + RandomValue(rng, 2) + ".." + RandomValue(rng, 2) + bracket()
                         : RandomValue(rng, nCol));
    }
    return text;
  }
  int nLow = static_cast<int>(rng() % 15);
  int nHigh = std::min(nLow + 1 + static_cast<int>(rng() % 6), 25);
  return bracket() + bound(nLow) + ".." + bound(nHigh) + bracket();
}

// With bQuirks, text keys may hold "?" and end in "*".
std::string RandomKey(std::mt19937& rng, int nCol, bool bQuirks) {
  if (nCol == 0 && !bQuirks) {
    return std::to_string(2 * (rng() % 21));  // even
  }
  std::string key = RandomValue(rng, nCol);
  if (nCol == 2 && (rng() & 1)) {
    std::transform(key.begin(), key.end(), key.begin(), ::tolower);
  }
  if (nCol == 2 && bQuirks && (rng() & 1)) {
    key[rng() % key.size()] = '?';
    if (rng() & 1) {
      key.resize(1 + rng() % key.size());
      key += '*';
    }
  }
  return key;
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ::toupper);
  return text;
}

template <class T>
int Sign(T a, T b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

// -1, 0 or 1: the value of a cell against the key, in the column's order.
// With bPattern, "?" in a text key stands for any one character and a final
// "*" for any rest.
int CompareValue(int nCol, const std::string& value, const std::string& key, bool bPattern) {
  if (nCol == 0) {
    return Sign(TextToLong(value.c_str()), TextToLong(key.c_str()));
  }
  if (nCol == 1) {
    return Sign(TextToReal(value.c_str()), TextToReal(key.c_str()));
  }
  const std::string a = Upper(value);
  const std::string b = Upper(key);
  if (!bPattern) {
    return Sign(a.compare(b), 0);
  }
  for (size_t i = 0;; ++i) {
    if (i + 1 == b.size() && b[i] == '*') {
      return 0;
    }
    if (i == a.size() || i == b.size()) {
      return Sign(a.size() - i, b.size() - i);
    }
    if (b[i] != '?' && a[i] != b[i]) {
      return Sign(a[i], b[i]);
    }
  }
}

// Whether the cell qualifies under nOp (48: no value of it equals the key).
bool Qualifies(const std::string& cell, int nCol, BYTE nOp, const std::string& key) {
  CStringArray arValues;
  BYTE nFlags = 0;
  BYTE nKind = SplitCellEx(cell.c_str(), arValues, &nFlags, '(', ')', '*', '*', "..");
  auto test = [&](int nCompare) {
    return (nCompare < 0 && (nOp & CRIT_LESS)) || (nCompare == 0 && (nOp & CRIT_EQUAL)) ||
           (nCompare > 0 && (nOp & CRIT_GREATER));
  };
  bool bEqual = false;  // some value equals the key
  bool bAny = false;    // some value qualifies under nOp
  switch (nKind) {
    case CELL_EMPTY:
      break;
    case CELL_ANY:
      bEqual = bAny = true;
      break;
    case CELL_RANGE: {
      // The values between the bounds, each bound in or out by its bracket.
      const std::string low = static_cast<const char*>(arValues[0]);
      const std::string high = static_cast<const char*>(arValues[1]);
      const bool bLowIn = (nFlags & RANGE_LOW_OPEN) == 0;
      const bool bHighIn = (nFlags & RANGE_HIGH_OPEN) == 0;
      const int nSpan = CompareValue(nCol, low, high, false);
      if (nSpan > 0 || (nSpan == 0 && !(bLowIn && bHighIn))) {
        break;  // no value
      }
      const int nLow = CompareValue(nCol, low, key, false);
      const int nHigh = CompareValue(nCol, high, key, false);
      bEqual = (nLow < 0 || (nLow == 0 && bLowIn)) && (nHigh > 0 || (nHigh == 0 && bHighIn));
      bAny = (bEqual && (nOp & CRIT_EQUAL)) || (nLow < 0 && (nOp & CRIT_LESS)) ||
             (nHigh > 0 && (nOp & CRIT_GREATER));
      break;
    }
    default:
      for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
        int nCompare = CompareValue(nCol, static_cast<const char*>(arValues[i]), key, true);
        bEqual = bEqual || nCompare == 0;
        bAny = bAny || test(nCompare);
      }
  }
  return nOp == CRIT_DIFFERENT ? !bEqual : bAny;
}

struct Criterion {
  int nCol;
  BYTE nOp;
  std::string key;
};

// Criteria joined strictly left to right; a restriction confines the first.
std::set<DWORD> Evaluate(const Catalogue& cat, const std::vector<Criterion>& criteria,
                         const std::vector<BYTE>& connectors, const std::set<DWORD>* pBase) {
  std::set<DWORD> result;
  for (DWORD nRow = 0; nRow < cat.size(); ++nRow) {
    auto hit = [&](size_t i) {
      const Criterion& c = criteria[i];
      return Qualifies(cat[nRow][static_cast<size_t>(c.nCol)], c.nCol, c.nOp, c.key);
    };
    bool bHit = hit(0) && (pBase == nullptr || pBase->count(nRow) != 0);
    for (size_t i = 1; i < criteria.size(); ++i) {
      bHit = connectors[i - 1] == CRIT_OR ? bHit || hit(i) : bHit && hit(i);
    }
    if (bHit) {
      result.insert(nRow);
    }
  }
  return result;
}

// The walk on catalogues clear of its quirks; the exact search on all.
TEST(QueryDifferential, IndexedQueriesAgreeWithBruteForce) {
  const BYTE kOps[] = {
      CRIT_EQUAL,    CRIT_LESS, CRIT_LESS | CRIT_EQUAL, CRIT_GREATER, CRIT_GREATER | CRIT_EQUAL,
      CRIT_DIFFERENT};
  for (bool bExact : {false, true}) {
    SetExactSearch(bExact);
    std::mt19937 rng(bExact ? 20261125 : 20261122);
    int nChecked = 0;
    for (int nCatalogue = 0; nCatalogue < (bExact ? 16 : 6); ++nCatalogue) {
      lorn_test::TempDir dir;
      std::string path = dir.File("RANDOM.TXT");
      // The first row shows the analysis each column's type.
      Catalogue cat = {{"1", "1.5", "apple"}};
      size_t nRows = 50 + rng() % 400;
      while (cat.size() < nRows) {
        cat.push_back(
            {RandomCell(rng, 0, bExact), RandomCell(rng, 1, bExact), RandomCell(rng, 2, bExact)});
      }
      Catalogue table = cat;
      table.insert(table.begin(), {"L", "R", "S"});
      lorn_test::WriteFile(path, lorn_test::MakeTable(table));

      for (int nQuery = 0; nQuery < 60; ++nQuery) {
        std::vector<Criterion> criteria;
        std::vector<BYTE> connectors;
        size_t nCount = 1 + rng() % 3;
        for (size_t i = 0; i < nCount; ++i) {
          int nCol = static_cast<int>(rng() % 3);
          criteria.push_back({nCol, kOps[rng() % 6], RandomKey(rng, nCol, bExact)});
          if (i > 0) {
            connectors.push_back((rng() & 1) ? CRIT_OR : CRIT_AND);
          }
        }
        std::set<DWORD> base;
        bool bRestricted = rng() % 4 == 0;
        CDWordArray arRestriction;
        for (DWORD nRow = 0; bRestricted && nRow < nRows; ++nRow) {
          if (rng() % 3 == 0) {
            base.insert(nRow);
            arRestriction.Add(nRow);
          }
        }

        CQueryStd query(path.c_str());
        ASSERT_TRUE(query.IsOpen());
        if (bRestricted) {
          query.SetRestriction(&arRestriction);
        }
        std::string description;
        for (size_t i = 0; i < criteria.size(); ++i) {
          if (i > 0) {
            query.AddOperator(connectors[i - 1]);
            description += static_cast<char>(connectors[i - 1]);
          }
          const Criterion& c = criteria[i];
          ASSERT_EQ(query.AddCriteria(static_cast<WORD>(c.nCol), c.nOp, c.key.c_str()),
                    static_cast<short>(i));
          description +=
              " col" + std::to_string(c.nCol) + " op" + std::to_string(c.nOp) + " " + c.key + " ";
        }
        std::vector<DWORD> rows = lorn_test::Rows(query.GetRows());
        EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end())) << description;
        std::set<DWORD> want = Evaluate(cat, criteria, connectors, bRestricted ? &base : nullptr);
        ASSERT_EQ(std::set<DWORD>(rows.begin(), rows.end()), want)
            << (bExact ? "exact" : "walk") << ", catalogue " << nCatalogue
            << ", query:" << description;
        ++nChecked;
      }
    }
    EXPECT_EQ(nChecked, bExact ? 960 : 360);
  }
  SetExactSearch(FALSE);
}

// Where the walk and the exact search part: a range whose excluded low bound
// equals the key, before or after one that holds the key.
TEST(QueryDifferential, TheWalkKeepsItsQuirksWhenTheSearchIsNotExact) {
  struct {
    const char* pszFirst;
    const char* pszSecond;
    std::vector<DWORD> arWalk;
    std::vector<DWORD> arExact;
  } const arCases[] = {
      {")5..9)", "(5..9)", {}, {1}},
      {"(5..9)", ")5..9)", {0}, {0}},
  };
  for (const auto& test : arCases) {
    lorn_test::TempDir dir;
    const std::string path = dir.File("N.TXT");
    lorn_test::WriteFile(path, lorn_test::MakeTable({{"N"}, {test.pszFirst}, {test.pszSecond}}));
    for (bool bExact : {false, true}) {
      SetExactSearch(bExact);
      CQueryStd query(path.c_str());
      ASSERT_EQ(query.AddCriteria(0, CRIT_LESS | CRIT_EQUAL, "5"), 0);
      EXPECT_EQ(lorn_test::Rows(query.GetRows()), bExact ? test.arExact : test.arWalk)
          << test.pszFirst << " " << test.pszSecond << (bExact ? " exact" : " walk");
    }
  }
  SetExactSearch(FALSE);
}

}  // namespace
