// Queries on random catalogues, answered twice: by the library through its
// indexes, and by a brute-force evaluator that reads the file and applies the
// criterion semantics directly to each cell. The two must agree as sets of
// rows.
//
// The index walks have two documented quirks at range bounds equal to the
// key (under mask 17 a range whose low bound equals the key and is excluded
// ends the walk of zone 2; under masks 1 and 33 zone 3 is walked upward only
// from where the binary search lands). The generator keeps clear of them:
// range bounds never equal a key (odd bounds against even keys for Long,
// quarter values against half values for Real, a "~" suffix for Str), so
// the flags of a range never decide and the evaluator needs no model of
// the walks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "cells/cell_grammar.h"
#include "frame/numbers.h"
#include "query/query_std.h"
#include "query/query_test_util.h"
#include "testing/test_util.h"

namespace {

const char* const kWords[] = {"apple", "Banana", "cherry", "date", "Elder", "fig", "grape", "kiwi"};

struct Catalogue {
  std::vector<std::vector<std::string>> rows;  // data rows, 3 cells each
};

std::string RandomBracket(std::mt19937& rng) { return (rng() & 1) ? "(" : ")"; }

// One cell of column nCol: 0 Long, 1 Real, 2 Str.
std::string RandomCell(std::mt19937& rng, int nCol) {
  auto value = [&](void) -> std::string {
    switch (nCol) {
      case 0:
        return std::to_string(rng() % 41);
      case 1: {
        char sz[32];
        std::snprintf(sz, sizeof sz, "%.1f", static_cast<double>(rng() % 81) * 0.5);
        return sz;
      }
      default:
        return kWords[rng() % 8];
    }
  };
  auto bound = [&](int nIndex) -> std::string {
    switch (nCol) {
      case 0:
        return std::to_string(2 * nIndex + 1);  // odd
      case 1: {
        char sz[32];
        std::snprintf(sz, sizeof sz, "%.2f", nIndex + 0.25);
        return sz;
      }
      default:
        return std::string(1, static_cast<char>('A' + nIndex % 26)) + "~";
    }
  };
  unsigned nDraw = rng() % 100;
  if (nDraw < 10) return "";
  if (nDraw < 18) return "*";
  if (nDraw < 58) return value();
  if (nDraw < 83) {
    std::string text = value();
    for (unsigned n = 1 + rng() % 2; n > 0; --n) text += "*" + value();
    return text;
  }
  int nLow = static_cast<int>(rng() % 15);
  int nHigh = nLow + 1 + static_cast<int>(rng() % 6);
  if (nCol == 2) nHigh = std::min(nHigh, 25);
  return RandomBracket(rng) + bound(nLow) + ".." + bound(nHigh) + RandomBracket(rng);
}

std::string RandomKey(std::mt19937& rng, int nCol) {
  switch (nCol) {
    case 0:
      return std::to_string(2 * (rng() % 21));  // even
    case 1: {
      char sz[32];
      std::snprintf(sz, sizeof sz, "%.1f", static_cast<double>(rng() % 81) * 0.5);
      return sz;
    }
    default: {
      std::string word = kWords[rng() % 8];
      if (rng() & 1) {
        for (char& c : word) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
      return word;
    }
  }
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// -1, 0 or 1: the value of a cell against the key, in the column's order.
int CompareValue(int nCol, const std::string& value, const std::string& key) {
  switch (nCol) {
    case 0: {
      LONG a = TextToLong(value.c_str()), b = TextToLong(key.c_str());
      return a < b ? -1 : a > b ? 1 : 0;
    }
    case 1: {
      double a = TextToReal(value.c_str()), b = TextToReal(key.c_str());
      return a < b ? -1 : a > b ? 1 : 0;
    }
    default: {
      int n = Upper(value).compare(Upper(key));
      return n < 0 ? -1 : n > 0 ? 1 : 0;
    }
  }
}

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
      int nLow = CompareValue(nCol, static_cast<const char*>(arValues[0]), key);
      int nHigh = CompareValue(nCol, static_cast<const char*>(arValues[1]), key);
      if (nLow < 0 && nHigh > 0) {
        bEqual = bAny = true;  // the key lies inside: every mask
      } else {
        bAny = nLow > 0 ? (nOp & CRIT_GREATER) != 0 : (nOp & CRIT_LESS) != 0;
      }
      break;
    }
    default:
      for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
        int nCompare = CompareValue(nCol, static_cast<const char*>(arValues[i]), key);
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

std::set<DWORD> Evaluate(const Catalogue& cat, const std::vector<Criterion>& criteria,
                         const std::vector<BYTE>& connectors, const std::set<DWORD>* pBase) {
  std::set<DWORD> result;
  for (size_t i = 0; i < criteria.size(); ++i) {
    std::set<DWORD> hits;
    for (DWORD nRow = 0; nRow < cat.rows.size(); ++nRow) {
      const Criterion& c = criteria[i];
      if (Qualifies(cat.rows[nRow][static_cast<size_t>(c.nCol)], c.nCol, c.nOp, c.key)) {
        hits.insert(nRow);
      }
    }
    if (i == 0) {
      result.clear();
      for (DWORD nRow : hits) {
        if (pBase == nullptr || pBase->count(nRow)) result.insert(nRow);
      }
    } else if (connectors[i - 1] == CRIT_OR) {
      result.insert(hits.begin(), hits.end());
    } else {
      std::set<DWORD> kept;
      for (DWORD nRow : result) {
        if (hits.count(nRow)) kept.insert(nRow);
      }
      result.swap(kept);
    }
  }
  return result;
}

TEST(QueryDifferential, IndexedQueriesAgreeWithBruteForce) {
  const BYTE kOps[] = {CRIT_EQUAL, CRIT_LESS, CRIT_LESS | CRIT_EQUAL, CRIT_GREATER,
                       CRIT_GREATER | CRIT_EQUAL, CRIT_DIFFERENT};
  std::mt19937 rng(20261122);
  int nChecked = 0;
  for (int nCatalogue = 0; nCatalogue < 6; ++nCatalogue) {
    lorn_test::TempDir dir;
    std::string path = dir.File("RANDOM.TXT");
    Catalogue cat;
    std::vector<std::vector<std::string>> table = {{"L", "R", "S"}};
    size_t nRows = 50 + rng() % 400;
    for (size_t nRow = 0; nRow < nRows; ++nRow) {
      std::vector<std::string> row;
      for (int nCol = 0; nCol < 3; ++nCol) row.push_back(RandomCell(rng, nCol));
      // Make sure the analysis sees each column's type at least once.
      if (nRow == 0) row = {"1", "1.5", "apple"};
      cat.rows.push_back(row);
      table.push_back(row);
    }
    lorn_test::WriteFile(path, lorn_test::MakeTable(table));

    for (int nQuery = 0; nQuery < 60; ++nQuery) {
      std::vector<Criterion> criteria;
      std::vector<BYTE> connectors;
      size_t nCount = 1 + rng() % 3;
      for (size_t i = 0; i < nCount; ++i) {
        int nCol = static_cast<int>(rng() % 3);
        criteria.push_back({nCol, kOps[rng() % 6], RandomKey(rng, nCol)});
        if (i > 0) connectors.push_back((rng() & 1) ? CRIT_OR : CRIT_AND);
      }
      std::set<DWORD> base;
      bool bRestricted = rng() % 4 == 0;
      CDWordArray arRestriction;
      if (bRestricted) {
        for (DWORD nRow = 0; nRow < nRows; ++nRow) {
          if (rng() % 3 == 0) {
            base.insert(nRow);
            arRestriction.Add(nRow);
          }
        }
      }

      CQueryStd query(path.c_str());
      ASSERT_TRUE(query.IsOpen());
      if (bRestricted) query.SetRestriction(&arRestriction);
      std::string description;
      for (size_t i = 0; i < criteria.size(); ++i) {
        if (i > 0) {
          query.AddOperator(connectors[i - 1]);
          description += static_cast<char>(connectors[i - 1]);
        }
        ASSERT_EQ(query.AddCriteria(static_cast<WORD>(criteria[i].nCol), criteria[i].nOp,
                                    criteria[i].key.c_str()),
                  static_cast<short>(i));
        description += " col" + std::to_string(criteria[i].nCol) + " op" +
                       std::to_string(criteria[i].nOp) + " " + criteria[i].key + " ";
      }
      std::vector<DWORD> rows = lorn_test::Rows(query.GetRows());
      std::set<DWORD> got(rows.begin(), rows.end());
      EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end())) << description;
      std::set<DWORD> want = Evaluate(cat, criteria, connectors, bRestricted ? &base : nullptr);
      ASSERT_EQ(got, want) << "catalogue " << nCatalogue << ", query:" << description;
      ++nChecked;
    }
  }
  EXPECT_EQ(nChecked, 360);
}

}  // namespace
