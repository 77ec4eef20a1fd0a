#include "bench/reader_model.h"

#include <gtest/gtest.h>

#include <string>

#include "lorn.h"
#include "testing/test_util.h"

namespace lorn_bench {
namespace {

// Appends rows "F<TAB>xx..." of at most 100 bytes until strText is nUntil
// bytes long.
void FillTo(std::string& strText, size_t nUntil) {
  while (strText.size() < nUntil) {
    const size_t nLeft = nUntil - strText.size();
    const size_t nRow = nLeft > 200 ? 100 : nLeft;
    ASSERT_GE(nRow, 5u);
    strText += "F\t" + std::string(nRow - 4, 'x') + "\r\n";
  }
}

// Appends filler, then a row whose CR stands at offset nCr.
void RowEndingAt(std::string& strText, size_t nCr) {
  FillTo(strText, nCr - 100);
  strText += "C\t" + std::string(nCr - strText.size() - 2, 'c') + "\r\n";
}

TEST(ReaderModel, CrLfAcrossTwoFillsGivesAnEmptyRowWhereTheReaderDoes) {
  const size_t nStart = 10;  // the pass that writes the row table starts here
  std::string strText = "REF\tTEXT\r\n";
  ASSERT_EQ(strText.size(), nStart);
  // The first fill ends behind the CR: the LF is a row of its own.
  const size_t nFirstLf = nStart + LINE_BUFFER_SIZE;
  RowEndingAt(strText, nFirstLf - 1);
  // The next fill starts at that LF. A cell that runs 10 bytes into the
  // third fill is carried, so the third fill reads 10 bytes less.
  const size_t nSecondFill = nFirstLf + LINE_BUFFER_SIZE;
  FillTo(strText, nSecondFill - 12);
  strText += "L\t" + std::string(30, 'y') + "\r\n";
  const size_t nSecondLf = nSecondFill + LINE_BUFFER_SIZE - 10;
  RowEndingAt(strText, nSecondLf - 1);
  FillTo(strText, strText.size() + 1000);
  size_t nLines = 0;
  for (char ch : strText) {
    nLines += ch == '\n';
  }

  CReaderRows rows;
  ASSERT_TRUE(ModelReaderPass(strText, nStart, rows));
  EXPECT_EQ(rows.nRows, nLines - 1 + 2);
  ASSERT_EQ(rows.arBlank.size(), 2u);
  const DWORD nBlank = rows.arBlank[0];
  EXPECT_EQ(rows.LineOf(nBlank), -1);
  EXPECT_EQ(rows.LineOf(nBlank - 1), static_cast<LONG>(nBlank - 1));
  EXPECT_EQ(rows.LineOf(nBlank + 1), static_cast<LONG>(nBlank));
  EXPECT_EQ(rows.LineOf(rows.nRows - 1), static_cast<LONG>(nLines - 2));

  // The library numbers the rows of that file the same way.
  lorn_test::TempDir dir;
  const std::string strPath = dir.File("model.txt");
  lorn_test::WriteFile(strPath, strText);
  CReaderRows fromFile;
  ASSERT_TRUE(ModelReaderPassOnFile(strPath.c_str(), nStart, fromFile));
  EXPECT_EQ(fromFile.nRows, rows.nRows);
  EXPECT_EQ(fromFile.arBlank, rows.arBlank);
  CCatStd table(strPath.c_str());
  ASSERT_TRUE(table.IndexTable());
  EXPECT_EQ(table.GetRowCount(), rows.nRows);
  const size_t arLf[] = {nFirstLf, nSecondLf};
  for (int i = 0; i < 2; ++i) {
    DWORD nLen = 0;
    EXPECT_EQ(table.GetRowPos(rows.arBlank[i], &nLen), static_cast<LONG>(arLf[i]));
    EXPECT_EQ(nLen, 1u);
    CStringArray arCells;
    EXPECT_TRUE(table.ReadRow(rows.arBlank[i], arCells));
    EXPECT_EQ(arCells.GetSize(), 2);
    EXPECT_EQ(std::string(arCells[0]) + std::string(arCells[1]), "");
    EXPECT_TRUE(table.ReadRow(rows.arBlank[i] + 1, arCells));
    EXPECT_EQ(std::string(arCells[0]), "F");
  }

  // A pass that starts elsewhere fills elsewhere.
  CReaderRows fromZero;
  ASSERT_TRUE(ModelReaderPass(strText, 0, fromZero));
  EXPECT_EQ(fromZero.nRows, nLines);
  EXPECT_TRUE(fromZero.arBlank.empty());
  EXPECT_FALSE(ModelReaderPassOnFile(dir.File("none.txt").c_str(), 0, fromZero));
}

}  // namespace
}  // namespace lorn_bench
