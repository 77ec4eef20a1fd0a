// The 16-bit limits of row sets and the row limit of result views.
#include <gtest/gtest.h>

#include <string>

#include "query/query_std.h"
#include "query/result_std.h"
#include "testing/test_util.h"

namespace {

TEST(SetLimits, CountsPositionsAndViewsAreCutTo16Bits) {
  lorn_test::TempDir dir;
  std::string path = dir.File("BIG.TXT");
  const DWORD nRows = 65536 + 5;
  std::string text = "K\tN\r\n";
  for (DWORD n = 0; n < nRows; ++n)
    text += "x\t" + std::to_string(n) + "\r\n";
  lorn_test::WriteFile(path, text);

  CQueryStd query(path.c_str());
  ASSERT_EQ(query.AddCriteria(0, CRIT_EQUAL, "x"), 0);
  ASSERT_NE(query.GetRows(), nullptr);
  EXPECT_EQ(query.GetRows()->GetSize(), static_cast<INT_PTR>(nRows));
  EXPECT_EQ(query.GetCount(), 5);  // 65,541 cut to 16 bits
  EXPECT_EQ(query.GetRowAt(4), 4u);
  EXPECT_EQ(query.GetRowAt(5), 0xFFFFFFFFu);
  CStringArray arCells;
  ASSERT_TRUE(query.GetRowCells(32767, &arCells));
  EXPECT_STREQ(arCells[1], "32767");

  // 40,000 rows read as a negative count: no row by position. (Chained to
  // the first query: a second root on the same files could not write the
  // sidecar that the first one holds open.)
  CQueryStd fewer(&query);
  fewer.AddCriteria(1, CRIT_LESS, "40000");
  EXPECT_EQ(fewer.GetCount(), 40000);
  EXPECT_EQ(fewer.GetRowAt(0), 0xFFFFFFFFu);
  EXPECT_TRUE(fewer.GetRowCells(100, &arCells));

  // A view keeps at most 16,383 rows, the first ones of its source.
  CStringArray arNames;
  arNames.Add("N");
  CResultStd view(&query, &arNames);
  EXPECT_EQ(view.GetCount(), 16383);
  EXPECT_EQ(view.GetRowAt(16382), 16382u);
}

}  // namespace
