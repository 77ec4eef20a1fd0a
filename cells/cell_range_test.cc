#include "cells/cell_range.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cells/cell_factory.h"
#include "platform/carchive.h"
#include "platform/cfile.h"
#include "testing/test_util.h"

namespace {

std::unique_ptr<CCellStd> Parse(const char* pszCell, BYTE nType) {
  return std::unique_ptr<CCellStd>(ParseCell(pszCell, nType));
}

std::vector<std::string> Values(const CCellStd& cell) {
  CStringArray arValues;
  arValues.SetSize(3);
  EXPECT_EQ(cell.GetValues(arValues), 2);
  std::vector<std::string> values;
  for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
    values.emplace_back(arValues[i].GetString());
  }
  return values;
}

short CompareLong(const CCellStd& cell, LONG n) {
  return cell.Compare(&n);
}

short CompareReal(const CCellStd& cell, double d) {
  return cell.Compare(&d);
}

TEST(CellRange, LongBoundsOpenAndClosed) {
  const LONG anProbes[] = {0, 1, 3, 5, 6};
  struct Case {
    const char* pszCell;
    BYTE nFlags;
    short anAt[5];  // the comparison at each probe
  };
  const Case cases[] = {
      {"(1..5)", 5, {-1, 0, 0, 0, 1}},
      {")1..5(", 10, {-1, -1, 0, 1, 1}},
      {"(1..5(", 9, {-1, 0, 0, 1, 1}},
      {")1..5)", 6, {-1, -1, 0, 0, 1}},
  };
  for (const Case& c : cases) {
    auto pCell = Parse(c.pszCell, COL_TYPE_LONG);
    ASSERT_NE(pCell, nullptr) << c.pszCell;
    EXPECT_TRUE(pCell->IsKindOf(RUNTIME_CLASS(CCellRangeLong)));
    EXPECT_EQ(pCell->GetFlags(), c.nFlags);
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(CompareLong(*pCell, anProbes[i]), c.anAt[i]) << c.pszCell << " at " << anProbes[i];
    }
    EXPECT_EQ(pCell->Compare(nullptr), 1);
  }

  auto pCell = Parse("(-20.. 7)", COL_TYPE_LONG);
  EXPECT_EQ(*static_cast<const LONG*>(pCell->GetBound(0)), -20);
  EXPECT_EQ(*static_cast<const LONG*>(pCell->GetBound(1)), 7);
  EXPECT_EQ(Values(*pCell), (std::vector<std::string>{"-20", "7"}));
}

TEST(CellRange, RealBoundsKeepTheirDecimals) {
  auto pCell = Parse("(1.50..2)", COL_TYPE_REAL);
  ASSERT_NE(pCell, nullptr);
  EXPECT_TRUE(pCell->IsKindOf(RUNTIME_CLASS(CCellRangeReal)));
  const auto* pReal = static_cast<const CCellRangeReal*>(pCell.get());
  EXPECT_EQ(pReal->m_nLowDecimals, 2);
  EXPECT_EQ(pReal->m_nHighDecimals, 0);
  EXPECT_EQ(Values(*pCell), (std::vector<std::string>{"1.50", "2"}));
  EXPECT_EQ(*static_cast<const double*>(pCell->GetBound(1)), 2.0);
  EXPECT_EQ(Values(*Parse("(-0.125..10.0)", COL_TYPE_REAL)),
            (std::vector<std::string>{"-0.125", "10.0"}));
  // Texts are kept as written, spaces included.
  auto pStr = Parse("( a .. b )", COL_TYPE_STR);
  EXPECT_EQ(Values(*pStr), (std::vector<std::string>{" a ", " b "}));
  EXPECT_STREQ(static_cast<const char*>(pStr->GetBound(1)), " b ");
}

// A value below a range compares -1, inside 0, above 1.
TEST(CellRange, ComparesValuesWithTheBounds) {
  const struct {
    const char* pszCell;
    BYTE nType;
    std::vector<std::pair<const char*, short>> probes;
  } aCases[] = {
      // Equal bounds, both excluded: no value lies inside.
      {")3..3(", COL_TYPE_LONG, {{"2", -1}, {"3", -1}, {"4", 1}}},
      {"(1.50..2)", COL_TYPE_REAL, {{"1.5", 0}, {"1.4999999", -1}, {"2.0000001", 1}}},
      // At 0 the tolerance is wider than the step of doubles: a value a hair
      // inside an excluded bound counts as on it, a hair outside any bound is
      // outside.
      {"(0..0)", COL_TYPE_REAL, {{"0", 0}, {"-1e-17", -1}, {"1e-17", 1}}},
      {")0..0(", COL_TYPE_REAL, {{"0", -1}}},
      {")0..1)", COL_TYPE_REAL, {{"1e-17", -1}, {"1e-10", 0}}},
      {"(-1..0(", COL_TYPE_REAL, {{"-1e-17", 1}, {"-1e-10", 0}}},
      // Texts compare without case.
      {"(apple..Mango)", COL_TYPE_STR, {{"a", -1}, {"APPLE", 0}, {"mango", 0}, {"mangoes", 1}}},
      {")apple..Mango(", COL_TYPE_STR, {{"Apple", -1}, {"MANGO", 1}, {"kiwi", 0}}},
  };
  for (const auto& c : aCases) {
    auto pCell = Parse(c.pszCell, c.nType);
    ASSERT_NE(pCell, nullptr) << c.pszCell;
    for (const auto& [pszValue, nExpected] : c.probes) {
      const LONG nValue = std::atol(pszValue);
      const double dValue = std::strtod(pszValue, nullptr);
      const short nGot = c.nType == COL_TYPE_LONG   ? CompareLong(*pCell, nValue)
                         : c.nType == COL_TYPE_REAL ? CompareReal(*pCell, dValue)
                                                    : pCell->Compare(pszValue);
      EXPECT_EQ(nGot, nExpected) << c.pszCell << " against " << pszValue;
    }
  }
}

TEST(CellFactory, OnlyRangesOfAKnownTypeMakeObjects) {
  for (const char* psz : {"", "   ", "*", "abc", "b*a", "(15)", "[1..5]"}) {
    for (BYTE nType : {COL_TYPE_LONG, COL_TYPE_REAL, COL_TYPE_STR}) {
      EXPECT_EQ(Parse(psz, nType), nullptr) << psz;
    }
  }
  EXPECT_EQ(ParseCell(nullptr, COL_TYPE_LONG), nullptr);
  for (BYTE nType : {0, 3, 8}) {
    EXPECT_EQ(Parse("(1..5)", nType), nullptr) << int(nType);
  }
  EXPECT_TRUE(Parse(")a..b)", COL_TYPE_STR)->IsKindOf(RUNTIME_CLASS(CCellRangeStr)));

  // Missing values leave the bounds empty.
  std::unique_ptr<CCellStd> pEmpty(CreateCell(CELL_RANGE, COL_TYPE_STR, 5, nullptr));
  EXPECT_EQ(Values(*pEmpty), (std::vector<std::string>{"", ""}));
}

TEST(CellFactory, ArchiveRoundTripKeepsDecimalsAndFlags) {
  lorn_test::TempDir dir;
  const std::string strPath = dir.File("cells.bin");
  const char* const cells[] = {"(1..5)", ")1.50..2.250(", ")a..Zed)"};
  const BYTE types[] = {COL_TYPE_LONG, COL_TYPE_REAL, COL_TYPE_STR};
  {
    CFile file(strPath.c_str(), CFile::modeCreate | CFile::modeWrite);
    CArchive ar(&file, CArchive::store);
    for (int i = 0; i < 3; ++i) {
      Parse(cells[i], types[i])->Store(ar);
    }
    // A record of another kind, then one more range.
    ar << BYTE{CELL_LIST} << BYTE{COL_TYPE_LONG} << BYTE{2};
    CStringArray arList;
    arList.Add("1");
    arList.Add("2");
    arList.Serialize(ar);
    Parse("(7..8(", COL_TYPE_LONG)->Store(ar);
    EXPECT_EQ(LoadCell(ar), nullptr);  // wrong direction
    ar.Close();
  }
  // (1..5) as Long: kind, type, flags, count 2, "1", "5".
  const std::string strBytes = lorn_test::ReadFile(strPath);
  EXPECT_EQ(strBytes.substr(0, 9), (std::string{2, 1, 5, 2, 0, 1, '1', 1, '5'}));

  CFile file(strPath.c_str(), CFile::modeRead);
  CArchive ar(&file, CArchive::load);
  for (int i = 0; i < 3; ++i) {
    auto pStored = Parse(cells[i], types[i]);
    std::unique_ptr<CCellStd> pLoaded(LoadCell(ar));
    ASSERT_NE(pLoaded, nullptr) << cells[i];
    EXPECT_EQ(pLoaded->GetRuntimeClass(), pStored->GetRuntimeClass());
    EXPECT_EQ(pLoaded->GetFlags(), pStored->GetFlags());
    EXPECT_EQ(Values(*pLoaded), Values(*pStored));
  }
  EXPECT_EQ(LoadCell(ar), nullptr);  // the list record, read whole
  std::unique_ptr<CCellStd> pLast(LoadCell(ar));
  ASSERT_NE(pLast, nullptr);
  EXPECT_EQ(pLast->GetFlags(), 9);
  EXPECT_EQ(CompareLong(*pLast, 8), 1);
  EXPECT_EQ(CompareLong(*pLast, 7), 0);
  // Storing into a loading archive writes nothing and raises nothing.
  Parse("(1..2)", COL_TYPE_LONG)->Store(ar);
  EXPECT_THROW(LoadCell(ar), CArchiveException);
}

}  // namespace
