#include "bench/bench_workload.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace lorn_bench {
namespace {

TEST(BenchWorkload, CountsAgreeWithTheRowsOfTheCatalogue) {
  const CCatalogueGen gen(20000, 3, FALSE);
  const CBenchWorkload work(gen, 50, 100, 3);
  ASSERT_EQ(work.m_arRanges.size(), 4u);
  for (const CRangeCase& range : work.m_arRanges) {
    DWORD nStock = 0;
    DWORD nPrice = 0;
    for (DWORD nRow = 0; nRow < gen.GetRows(); ++nRow) {
      const DWORD s = gen.GetStock(nRow);
      const DWORD p = gen.GetPriceCents(nRow);
      switch (range.nOp) {
        case 16:
          nStock += s < range.nKey;
          nPrice += p < range.nKey;
          break;
        case 17:
          nStock += s <= range.nKey;
          nPrice += p <= range.nKey;
          break;
        case 32:
          nStock += s > range.nKey;
          nPrice += p > range.nKey;
          break;
        default:
          nStock += s >= range.nKey;
          nPrice += p >= range.nKey;
          break;
      }
    }
    EXPECT_EQ(work.CountRange(range, FALSE), nStock) << int(range.nOp);
    EXPECT_EQ(work.CountRange(range, TRUE), nPrice) << int(range.nOp);
    // About 1% of the rows.
    EXPECT_GT(nStock, gen.GetRows() / 200);
    EXPECT_LT(nStock, gen.GetRows() / 50);
  }
  for (const CThreeCase& three : work.m_arThree) {
    DWORD nWanted = 0;
    for (DWORD nRow = 0; nRow < gen.GetRows(); ++nRow) {
      nWanted +=
          (gen.GetFamily(nRow) == three.nFamily && gen.GetPriceCents(nRow) < three.nPriceBelow) ||
          gen.GetLabelId(nRow) == three.nLabel;
    }
    EXPECT_EQ(three.nExpected, nWanted);
  }
  DWORD nPointRows = 0;
  for (DWORD nKey : work.m_arStockKeys) {
    nPointRows += work.CountStock(nKey);
  }
  EXPECT_NEAR(nPointRows / 50.0, 10.0, 2.0);
}

TEST(BenchWorkload, RowNumbersStayInsideTheTable) {
  const CCatalogueGen gen(5000, 9, TRUE);
  const CBenchWorkload work(gen, 10, 1000, 9);
  EXPECT_EQ(work.m_arRandomRows.size(), 1000u);
  EXPECT_TRUE(std::all_of(work.m_arRandomRows.begin(), work.m_arRandomRows.end(),
                          [](DWORD n) { return n < 5000; }));
  ASSERT_EQ(work.m_arDeleteRows.size(), 1000u);
  EXPECT_TRUE(std::is_sorted(work.m_arDeleteRows.begin(), work.m_arDeleteRows.end()));
  EXPECT_EQ(std::adjacent_find(work.m_arDeleteRows.begin(), work.m_arDeleteRows.end()),
            work.m_arDeleteRows.end());
  EXPECT_LT(work.m_arDeleteRows.back(), 5000u);
  EXPECT_EQ(work.ViewExpected(), 5000u);  // STOCK < 500 takes every row
}

}  // namespace
}  // namespace lorn_bench
