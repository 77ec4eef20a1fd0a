#include "table/row_table.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "query/query_std.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

std::string Joined(const CStringArray& arCells) {
  std::string strText;
  for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
    strText += std::string(i > 0 ? "|" : "") + arCells[i].GetString();
  }
  return strText;
}

// Every row as ReadRow gives it, "!" marking a FALSE, with GetRowPos's
// offset and length.
std::vector<std::string> AllRows(CCatStd& table) {
  std::vector<std::string> arRows;
  CStringArray arCells;
  for (DWORD nRow = 0; nRow <= table.GetRowCount(); ++nRow) {
    DWORD nLen = 0;
    const LONG nPos = table.GetRowPos(nRow, &nLen);
    const BOOL bRead = table.ReadRow(nRow, arCells);
    arRows.push_back(std::to_string(nPos) + "+" + std::to_string(nLen) + (bRead ? " " : " !") +
                     Joined(arCells));
  }
  return arRows;
}

TEST(RowTable, RowsReadTheSameThroughTheSidecarViewAndAcrossRewrites) {
  TempDir dir;
  std::string strText = "A\tB\tC\r\n";
  for (int i = 0; i < 40; ++i) {
    strText.append("r").append(std::to_string(i)).append("\tv").append(std::to_string(i % 7));
    strText.append("\t").append(std::to_string(i)) += "\r\n";
  }
  strText += "short\r\nlast\tx\ty";
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, strText);
  CCatStd table(strPath.c_str());
  ASSERT_TRUE(table.IndexTable());
  ASSERT_EQ(table.GetRowCount(), 42u);

  // The first reads come from the file, later ones from the sidecar's view.
  const std::vector<std::string> arFirst = AllRows(table);
  EXPECT_EQ(arFirst[0], "7+9 r0|v0|0");
  EXPECT_EQ(arFirst[40], std::to_string(strText.size() - 15) + "+7 short||");
  EXPECT_EQ(arFirst[41], std::to_string(strText.size() - 8) + "+8 !last|x|");
  EXPECT_EQ(arFirst[42], "-1+0 !");
  EXPECT_EQ(AllRows(table), arFirst);

  // An array that held a longer row keeps none of it: cells not delivered
  // are empty, and a row that cannot be read leaves the array empty.
  CStringArray arCells;
  auto stale = [&arCells]() {
    arCells.SetSize(6);
    for (INT_PTR i = 0; i < 6; ++i) {
      arCells[i] = "stale";
    }
  };
  stale();
  EXPECT_TRUE(table.ReadRow(40, arCells));
  EXPECT_EQ(Joined(arCells), "short||");
  stale();
  EXPECT_FALSE(table.ReadRow(41, arCells));
  EXPECT_EQ(Joined(arCells), "last|x|");
  stale();
  EXPECT_FALSE(table.ReadRow(42, arCells));
  EXPECT_EQ(arCells.GetSize(), 0);

  // An index is added: the sidecar is written and opened anew behind the
  // view, which must not serve the old file.
  CQueryStd query(&table);
  query.AddCriteria(1, CRIT_EQUAL, "v3");
  CDWordArray* pRows = query.GetRows();
  ASSERT_NE(pRows, nullptr);
  ASSERT_EQ(pRows->GetSize(), 6);
  EXPECT_EQ(pRows->GetAt(5), 38u);
  EXPECT_EQ(AllRows(table), arFirst);

  // Rows deleted: both files are rewritten and every row moves.
  CDWordArray arDelete;
  arDelete.Add(0);
  arDelete.Add(20);
  ASSERT_TRUE(table.DeleteRows(arDelete));
  const std::vector<std::string> arAfter = AllRows(table);
  ASSERT_EQ(arAfter.size(), 41u);
  EXPECT_EQ(arAfter[0], "7+9 r1|v1|1");
  EXPECT_EQ(arAfter[19], "198+11 r21|v0|21");
  EXPECT_EQ(arAfter[39], std::to_string(strText.size() - 9 - 11 - 8) + "+8 !last|x|");
  query.Invalidate();
  pRows = query.GetRows();
  ASSERT_NE(pRows, nullptr);
  EXPECT_EQ(pRows->GetSize(), 6);
  EXPECT_EQ(pRows->GetAt(5), 36u);
}

}  // namespace
