#include "query/query_std.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "frame/settings.h"
#include "query/criteria.h"
#include "query/query_test_util.h"
#include "query/result_std.h"
#include "testing/test_util.h"

using lorn_test::MakeTable;
using lorn_test::Rows;
using Hits = std::vector<DWORD>;

namespace {

// Rows 0..4. COLOR holds a single value, a list, an empty cell, the lone
// wildcard and another value; SIZE holds ranges, a wildcard and a list.
class QueryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = dir_.File("ART.TXT");
    lorn_test::WriteFile(path_, MakeTable({
                                    {"REF", "COLOR", "PRICE", "SIZE"},
                                    {"A1", "red", "10", "(1..5)"},
                                    {"A2", "blue*red", "20", "*"},
                                    {"A3", "", "30", "7"},
                                    {"A4", "*", "40", "(3..9("},
                                    {"A5", "green", "50", "2*4"},
                                }));
  }

  // Runs a query of criteria joined by the default connector.
  Hits Query(std::initializer_list<std::tuple<const char*, BYTE, const char*>> criteria) {
    CQueryStd query(path_.c_str());
    for (const auto& [col, op, value] : criteria) {
      EXPECT_GE(query.AddCriteria(static_cast<WORD>(query.FindCol(col)), op, value), 0);
    }
    return Rows(query.GetRows());
  }

  lorn_test::TempDir dir_;
  std::string path_;
};

TEST_F(QueryTest, ListsWildcardsEmptyCellsAndRanges) {
  // Names and keys without regard to case. The list row qualifies through
  // its value; the wildcard row under every mask; the empty cell under none.
  // (The masks and connectors over random catalogues: query_differential_test.)
  EXPECT_EQ(Query({{"color", CRIT_EQUAL, "red"}}), (Hits{0, 1, 3}));
  // CRIT_DIFFERENT: rows none of whose values equal the key, empty cells
  // included, the wildcard row excluded (it is a hit of "equal").
  EXPECT_EQ(Query({{"COLOR", CRIT_DIFFERENT, "red"}}), (Hits{2, 4}));
  // Ranges hold every value between their bounds; an excluded bound no.
  EXPECT_EQ(Query({{"SIZE", CRIT_EQUAL, "4"}}), (Hits{0, 1, 3, 4}));
  EXPECT_EQ(Query({{"SIZE", CRIT_EQUAL, "9"}}), (Hits{1}));
  // Without AddOperator the connector is "&".
  EXPECT_EQ(Query({{"COLOR", CRIT_EQUAL, "red"}, {"PRICE", CRIT_GREATER, "15"}}), (Hits{1, 3}));
}

TEST_F(QueryTest, TextKeysFoldUnderTheTableLocale) {
  // Each row pair holds a word and its upper case; a query for either finds
  // both, letters of more than one byte included.
  const struct {
    const char* pszLocale;
    const char* pszLower;
    const char* pszUpper;
  } aCases[] = {
      {"jpn", "\x82\x81\x82\x82", "\x82\x60\x82\x61"},  // full-width "ab", "AB"
      // The UTF-8 locale, an extension: "ß" has no upper case of its length.
      {"utf8", "c\xC3\xB4te d'ivoire", "C\xC3\x94TE D'IVOIRE"},
      {"utf8", "stra\xC3\x9F\x65 \xC3\xBC\x62\x65r", "STRA\xC3\x9F\x45 \xC3\x9C\x42\x45R"},
      {"utf8", "\xCE\xB1\xCE\xB8\xCE\xAE\xCE\xBD\xCE\xB1",
       "\xCE\x91\xCE\x98\xCE\x89\xCE\x9D\xCE\x91"},
      {"utf8", "\xD0\xBC\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0",
       "\xD0\x9C\xD0\x9E\xD0\xA1\xD0\x9A\xD0\x92\xD0\x90"},
  };
  int nTable = 0;
  for (const auto& c : aCases) {
    const std::string strPath = dir_.File("T" + std::to_string(++nTable) + ".TXT");
    lorn_test::WriteFile(strPath, MakeTable({{"NAME"}, {c.pszLower}, {"x"}, {c.pszUpper}}));
    ASSERT_TRUE(SetDefaultLocale(c.pszLocale));
    for (const char* pszValue : {c.pszLower, c.pszUpper}) {
      CQueryStd query(strPath.c_str());
      query.AddCriteria(0, CRIT_EQUAL, pszValue);
      EXPECT_EQ(Rows(query.GetRows()), (Hits{0, 2})) << c.pszLocale;
    }
    SetDefaultLocale("");
  }
}

TEST_F(QueryTest, RestrictionConfinesAndButNotOr) {
  CQueryStd query(path_.c_str());
  CDWordArray arRestriction;
  for (DWORD nRow : {4u, 2u, 3u})
    arRestriction.Add(nRow);
  query.SetRestriction(&arRestriction);
  query.AddCriteria(1, CRIT_EQUAL, "red");
  EXPECT_EQ(Rows(query.GetRows()), (Hits{3}));
  // A criterion joined by "|" is not confined: row 0 lies outside.
  query.AddOperator(CRIT_OR);
  query.AddCriteria(2, CRIT_LESS, "15");
  EXPECT_EQ(Rows(query.GetRows()), (Hits{0, 3}));
  // An empty restriction confines the first criterion to nothing.
  CDWordArray arNone;
  query.SetRestriction(&arNone);
  EXPECT_EQ(Rows(query.GetRows()), (Hits{0}));
}

TEST_F(QueryTest, DefinitionChangesRunAgainOnlyWhenSomethingChanged) {
  CQueryStd query(path_.c_str());
  EXPECT_EQ(query.GetCount(), 0);  // no criteria: no rows, not all rows
  EXPECT_EQ(query.GetRows(), nullptr);
  ASSERT_EQ(query.AddCriteria(1, CRIT_EQUAL, "red"), 0);
  EXPECT_EQ(query.GetCount(), 3);
  EXPECT_TRUE(query.IsDone());
  EXPECT_FALSE(query.SetCriteriaValue(0, "RED"));  // same upper-cased text
  EXPECT_TRUE(query.IsDone());
  EXPECT_TRUE(query.SetCriteriaValue(0, "green"));
  EXPECT_FALSE(query.IsDone());
  EXPECT_EQ(Rows(query.GetRows()), (Hits{3, 4}));
  EXPECT_FALSE(query.SetCriteriaValue(5, "x"));

  // A | B & C, then removing A leaves B | C: the connectors keep their places.
  query.AddOperator(CRIT_OR);
  query.AddCriteria(2, CRIT_EQUAL, "10");
  query.AddOperator(CRIT_AND);
  query.AddCriteria(3, CRIT_EQUAL, "7");
  EXPECT_EQ(Rows(query.GetRows()), (Hits{3}));  // ({3,4} | {0}) & {1,2,3}
  query.RemoveCriteria(0);
  EXPECT_EQ(query.GetCriteriaCount(), 2);
  EXPECT_EQ(Rows(query.GetRows()), (Hits{0, 1, 2, 3}));  // {0} | {1,2,3}

  // A definition reads back; past the last criterion the outputs are reset.
  WORD nCol = 0;
  BYTE nOp = 0;
  CString strValue;
  EXPECT_TRUE(query.GetCriteria(1, nCol, nOp, strValue));
  EXPECT_EQ(nCol, 3);
  EXPECT_EQ(nOp, CRIT_EQUAL);
  EXPECT_STREQ(strValue, "7");
  EXPECT_FALSE(query.GetCriteria(2, nCol, nOp, strValue));
  EXPECT_EQ(nCol, 0xFFFF);
  EXPECT_EQ(nOp, 0);
  EXPECT_TRUE(strValue.IsEmpty());

  EXPECT_EQ(query.ReservedQueryOp(1, 2), -1);
  EXPECT_EQ(query.AddCriteria(99, CRIT_EQUAL, "x"), -1);
}

TEST_F(QueryTest, CriteriaFollowTheirColumnTypeAndItsChanges) {
  CQueryStd query(path_.c_str());
  // The first criterion analyses the table, so PRICE is made as Long.
  query.AddCriteria(2, CRIT_EQUAL, "  12abc");
  auto* pCriteria = static_cast<CCriteria*>(query.m_arCriteria[0]);
  EXPECT_EQ(pCriteria->GetType(), COL_TYPE_LONG);
  WORD nCol = 0;
  BYTE nOp = 0;
  CString strValue;
  query.GetCriteria(0, nCol, nOp, strValue);
  EXPECT_STREQ(strValue, "12ABC");  // trimmed on the left, upper-cased
  EXPECT_EQ(Rows(query.GetRows()), Hits{});

  // Declaring PRICE a text column drops its index; the next run replaces
  // the criterion by a text one, with the same definition.
  query.SetCriteria(0, 2, CRIT_EQUAL, "20");
  EXPECT_EQ(Rows(query.GetRows()), (Hits{1}));
  query.SetColType(2, COL_TYPE_STR, 3);
  EXPECT_FALSE(query.IsIndexed());
  EXPECT_EQ(Rows(query.GetRows()), (Hits{1}));
  EXPECT_EQ(static_cast<CCriteria*>(query.m_arCriteria[0])->GetType(), COL_TYPE_STR);
  // Text order now: "10" < "20" < "30" < "40" < "50" still, but "100" would
  // sort before "20"; the key is compared as text.
  query.SetCriteria(0, 2, CRIT_LESS, "100");
  EXPECT_EQ(Rows(query.GetRows()), (Hits{0}));
}

TEST_F(QueryTest, CriterionRemadeAfterATypeChangeIsTrimmed) {
  // SetCriteriaValue keeps the blank; the criterion made anew for the new
  // type goes through CreateCriteria, which trims it.
  CQueryStd query(path_.c_str());
  query.AddCriteria(2, CRIT_EQUAL, "5");
  query.SetCriteriaValue(0, " 40");
  EXPECT_EQ(Rows(query.GetRows()), (Hits{3}));  // a Long key: atol skips the blank
  query.SetColType(2, COL_TYPE_STR, 10);
  query.Invalidate();
  EXPECT_EQ(Rows(query.GetRows()), (Hits{3}));
}

TEST_F(QueryTest, CriterionWithoutIndexYieldsNoRows) {
  CQueryStd query(path_.c_str());
  query.AddCriteria(1, CRIT_EQUAL, "red");
  query.AddOperator(CRIT_OR);
  query.AddCriteria(2, CRIT_EQUAL, "10");
  EXPECT_EQ(Rows(query.GetRows()), (Hits{0, 1, 3}));
  // Taking the flag away from COLOR (it has a built index): its criterion
  // finds nothing, the other still answers.
  query.SetColFlags(1, COL_FLAG_USER);
  query.Invalidate();
  EXPECT_EQ(Rows(query.GetRows()), (Hits{0}));
}

TEST_F(QueryTest, SetsStackOnQueriesAndViews) {
  CQueryStd base(path_.c_str());
  base.AddCriteria(1, CRIT_EQUAL, "red");  // rows 0, 1, 3

  CQueryStd onQuery(&base);
  onQuery.AddCriteria(2, CRIT_GREATER, "15");
  EXPECT_EQ(Rows(onQuery.GetRows()), (Hits{1, 3}));
  EXPECT_EQ(onQuery.GetMasterSet(), &base);
  EXPECT_EQ(onQuery.GetRowAt(1), 3u);
  EXPECT_EQ(onQuery.GetRowAt(2), 0xFFFFFFFFu);
  EXPECT_EQ(onQuery.GetRowAt(-1), 0xFFFFFFFFu);
  CStringArray arCells;
  ASSERT_TRUE(onQuery.GetRowCells(0, &arCells));
  ASSERT_EQ(arCells.GetSize(), 4);
  EXPECT_STREQ(arCells[0], "A2");

  // A view chained to the query looks at the query's rows.
  CStringArray arNames;
  arNames.Add("size");
  arNames.Add("nothing");
  arNames.Add("SIZE");
  CResultStd view(&base, &arNames);
  EXPECT_EQ(view.m_arCols.GetSize(), 1);  // an unknown name dropped, a repeat once
  EXPECT_EQ(view.GetCount(), 3);
  ASSERT_TRUE(view.GetRowCells(2, &arCells));
  ASSERT_EQ(arCells.GetSize(), 1);
  EXPECT_STREQ(arCells[0], "(3..9(");
  CStringArray arOut;
  EXPECT_EQ(view.GetColumnNames(&arOut), 1);
  EXPECT_STREQ(arOut[0], "SIZE");

  // A view on a query that found nothing: no rows, and it says so.
  CQueryStd empty(&base);
  empty.AddCriteria(0, CRIT_EQUAL, "Z9");
  CResultStd emptyView(&empty, &arNames);
  EXPECT_EQ(emptyView.GetCount(), 0);
  EXPECT_EQ(emptyView.GetRows(), nullptr);

  // A view with no chosen column: every key is empty, one row remains.
  CResultStd noColumns(path_.c_str());
  EXPECT_EQ(noColumns.GetCount(), 1);
  EXPECT_FALSE(noColumns.GetRowCells(0, &arCells));
}

TEST_F(QueryTest, ResultViewsKeepTheFirstRowOfEachKey) {
  lorn_test::WriteFile(path_, MakeTable({{"A", "B", "C"},
                                         {"x", "a|", "b"},
                                         {"x", "a", "|b"},
                                         {"X", "a|", "b"},
                                         {"x", "a|", "c"}}));
  CResultStd view(path_.c_str());
  CStringArray arNames;
  arNames.Add("A");
  arNames.Add("B");
  arNames.Add("C");
  view.SetColumns(&arNames);
  // Keys join cells with "|" without escaping: rows 0 and 1 agree; case
  // counts.
  EXPECT_EQ(Rows(view.GetRows()), (Hits{0, 2, 3}));
  arNames.RemoveAt(2);
  view.SetColumns(&arNames);
  EXPECT_EQ(Rows(view.GetRows()), (Hits{0, 1, 2}));
}

}  // namespace
