#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "frame/settings.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

std::vector<std::string> Cells(const CStringArray& arCells) {
  std::vector<std::string> arResult;
  for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
    arResult.emplace_back(arCells[i].GetString());
  }
  return arResult;
}

// "offset+length" of a row as GetRowPos gives them.
std::string PosLen(CCatStd& table, DWORD nRow) {
  DWORD nLen = 99;
  const LONG nPos = table.GetRowPos(nRow, &nLen);
  return std::to_string(nPos) + "+" + std::to_string(nLen);
}

// Every value that NextColValue lists for the column, in order.
std::vector<std::string> ListColumn(CCatStd& table, WORD nCol) {
  std::vector<std::string> arValues;
  CString strValue;
  for (BOOL bFirst = TRUE; table.NextColValue(nCol, strValue, bFirst); bFirst = FALSE) {
    arValues.emplace_back(strValue.GetString());
    if (arValues.size() > 100) {
      break;
    }
  }
  EXPECT_TRUE(strValue.IsEmpty());
  return arValues;
}

}  // namespace

TEST(RowAccess, RowPositionsAndLengths) {
  TempDir dir;
  const std::string strText = "A\tB\r\n1\tx\r\n22\tyy\n333\tzzz\r\n\r\n";
  WriteFile(dir.File("T.TXT"), strText);
  CCatStd table(dir.File("T.TXT").c_str());
  EXPECT_EQ(PosLen(table, 0), "5+5");
  EXPECT_EQ(PosLen(table, 1), "10+6");
  EXPECT_EQ(PosLen(table, 2), "16+" + std::to_string(strText.size() - 16));
  EXPECT_EQ(table.GetRowPos(1, nullptr), 10);
  EXPECT_EQ(table.GetRowPos(2, nullptr), 16);
  EXPECT_EQ(PosLen(table, 3), "-1+0");

  // A chained object reads through its root.
  CCatStd view(&table);
  EXPECT_EQ(PosLen(view, 1), "10+6");

  // A row table shorter than the count says: the missing rows fail.
  table.m_nRows = 5;
  EXPECT_EQ(PosLen(table, 3), "-1+0");
  CStringArray arCells;
  EXPECT_FALSE(table.ReadRow(4, arCells));
  EXPECT_EQ(arCells.GetSize(), 0);
}

TEST(RowAccess, RowEntriesThatGoBackOrPastTheFileGiveNoRow) {
  TempDir dir;
  const std::string strText = "A\tB\r\n1\tx\r\n22\tyy\n333\tzzz\r\n\r\n";
  WriteFile(dir.File("T.TXT"), strText);
  DWORD nTablePos = 0;
  {
    CCatStd table(dir.File("T.TXT").c_str());
    ASSERT_TRUE(table.IndexTable() && table.IsIndexed());
    nTablePos = table.m_nRowTablePos;
  }
  // Row 1 starts before row 0, row 2 behind the end of the file.
  std::string strSide = lorn_test::ReadFile(dir.File("T.SDX"));
  ASSERT_EQ(strSide.size(), nTablePos + 12u);
  strSide[nTablePos + 4] = 4;
  strSide[nTablePos + 8] = static_cast<char>(strText.size() + 10);
  // Opening refuses such entries; damaged behind an open table's back, they
  // still give no row.
  CCatStd table(dir.File("T.TXT").c_str());
  ASSERT_TRUE(table.IsIndexed());
  WriteFile(dir.File("T.SDX"), strSide);
  EXPECT_EQ(PosLen(table, 0), "-1+0");
  EXPECT_EQ(PosLen(table, 1), "-1+0");
  EXPECT_EQ(table.GetRowPos(2, nullptr), -1);
  EXPECT_EQ(table.GetRowPos(1, nullptr), 4);
  CStringArray arCells;
  EXPECT_FALSE(table.ReadRow(0, arCells));
  EXPECT_FALSE(table.ReadRow(2, arCells));
  EXPECT_EQ(arCells.GetSize(), 2);
}

TEST(RowAccess, ReadRowGivesOneCellPerColumn) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\tB\tC\r\n1\r\n1\t2\t3\t4\t5\r\nx\ty\tz\r\n7\t8\t9");
  CCatStd table(dir.File("T.TXT").c_str());
  CStringArray arCells;
  EXPECT_TRUE(table.ReadRow(1, arCells));
  EXPECT_EQ(Cells(arCells), (std::vector<std::string>{"1", "2", "3"}));
  EXPECT_TRUE(table.ReadRow(0, arCells));
  EXPECT_EQ(Cells(arCells), (std::vector<std::string>{"1", "", ""}));
  // Rows by number may come in any order.
  EXPECT_TRUE(table.ReadRow(2, arCells));
  EXPECT_EQ(Cells(arCells), (std::vector<std::string>{"x", "y", "z"}));
  // A last row without a line end lacks what follows its last separator.
  EXPECT_FALSE(table.ReadRow(3, arCells));
  EXPECT_EQ(Cells(arCells), (std::vector<std::string>{"7", "8", ""}));
  EXPECT_FALSE(table.ReadRow(4, arCells));
  EXPECT_EQ(arCells.GetSize(), 0);
}

TEST(RowAccess, TableWithoutRowsRunsNothing) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\tB\r\n");
  CCatStd table(dir.File("T.TXT").c_str());
  ASSERT_TRUE(table.IndexTable());
  ASSERT_TRUE(table.m_bIndexed);
  ASSERT_EQ(table.m_nRows, 0u);

  // Nothing runs: no analysis, no report.
  struct CCounting : CProgressMonitor {
    void SetTitle(const char* /*pszText*/) override { ++m_nCalls; }
    int m_nCalls = 0;
  } monitor;
  SetProgressMonitor(&monitor);
  EXPECT_EQ(PosLen(table, 0), "-1+0");
  CStringArray arCells;
  arCells.Add("old");
  EXPECT_FALSE(table.ReadRow(0, arCells));
  EXPECT_EQ(arCells.GetSize(), 0);
  SetProgressMonitor(nullptr);
  EXPECT_EQ(monitor.m_nCalls, 0);
}

TEST(RowAccess, NextColValueListsDistinctValues) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"),
            "N\tR\tS\tL\r\n"
            "10\t2.5\tbeta\tPear*apple\r\n"
            "9\t1.25\tAlpha\tfig\r\n"
            "10\t2.5\tbeta\t(a..c)\r\n"
            "123456\t-0.5\tGamma\t*\r\n"
            "-3\t1.25\tbeta\tfig*Kiwi\r\n");
  CCatStd table(dir.File("T.TXT").c_str());
  for (WORD nCol = 0; nCol < 4; ++nCol) {
    table.SetColFlags(nCol, COL_FLAG_INDEXED);
  }
  EXPECT_EQ(ListColumn(table, 0), (std::vector<std::string>{"-3", "9", "10", "123456"}));
  EXPECT_EQ(ListColumn(table, 1), (std::vector<std::string>{"-0.5", "1.25", "2.5"}));
  EXPECT_EQ(ListColumn(table, 2), (std::vector<std::string>{"Alpha", "beta", "Gamma"}));
  // Members of lists come alone; ranges and wildcards are not listed.
  EXPECT_EQ(ListColumn(table, 3), (std::vector<std::string>{"apple", "fig", "Kiwi", "Pear"}));

  // A value passed back in another spelling goes on from its key.
  CString strValue;
  ASSERT_TRUE(table.NextColValue(2, strValue, TRUE));
  strValue = "alpha";
  EXPECT_TRUE(table.NextColValue(2, strValue, FALSE));
  EXPECT_EQ(std::string(strValue.GetString()), "beta");

  // A column that is not indexed lists nothing.
  WriteFile(dir.File("U.TXT"), "N\r\n1\r\n");
  CCatStd other(dir.File("U.TXT").c_str());
  strValue = "x";
  EXPECT_FALSE(other.NextColValue(0, strValue, TRUE));
  EXPECT_TRUE(strValue.IsEmpty());
}
