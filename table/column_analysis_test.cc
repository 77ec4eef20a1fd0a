#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/monitor.h"
#include "platform/mbcs.h"
#include "table/cat_std.h"
#include "table/row_table.h"
#include "testing/test_util.h"

namespace {

using lorn_test::TempDir;

// "type:size" of each column after the analysis, then the row count.
std::string Analyse(CCatStd& table) {
  table.ScanColumns(FALSE, nullptr);
  std::string strResult;
  for (INT_PTR i = 0; i < table.m_arColTypes.GetSize(); ++i) {
    strResult +=
        std::to_string(table.m_arColTypes[i]) + ":" + std::to_string(table.m_arColSizes[i]) + " ";
  }
  return strResult + std::to_string(table.m_nRows);
}

std::string AnalyseText(const TempDir& dir, const std::string& strText) {
  lorn_test::WriteFile(dir.File("T.TXT"), strText);
  CCatStd table(dir.File("T.TXT").c_str());
  return Analyse(table);
}

}  // namespace

TEST(ColumnAnalysis, EmptyDeclaredAndSurplusColumns) {
  TempDir dir;
  EXPECT_EQ(AnalyseText(dir, "A\tB\r\n"), "1:4 1:4 0");
  // Blanks and the lone wildcard hold no value: such a column ends as Long;
  // a text column declared without a size gets the smallest one.
  lorn_test::WriteFile(dir.File("E.TXT"), "A\tB\tC\r\n\t*\t\r\n  \t  *\t  \r\n");
  CCatStd empty(dir.File("E.TXT").c_str());
  empty.SetColType(2, COL_TYPE_STR, 0);
  EXPECT_EQ(Analyse(empty), "1:4 1:4 4:2 2");

  // Declared columns keep type and size; cells beyond the header are left.
  lorn_test::WriteFile(dir.File("T.TXT"), "A\tB\tC\tD\r\nabc\tx.y\t" + std::string(30, 'z') +
                                              "\t1\textra\tmore\r\n1.5\t2\tq\t2\t\r\n");
  CCatStd table(dir.File("T.TXT").c_str());
  table.SetColType(0, COL_TYPE_LONG, 0);
  table.SetColType(1, COL_TYPE_REAL, 0);
  table.SetColType(2, COL_TYPE_STR, 7);
  EXPECT_EQ(Analyse(table), "1:4 2:8 4:7 1:4 2");
}

TEST(ColumnAnalysis, SizesCountBytesUpTo255) {
  TempDir dir;
  EXPECT_EQ(AnalyseText(dir, "A\tB\tC\tD\tE\r\n" + std::string(254, 'a') + "\t" +
                                 std::string(255, 'b') + "\t" + std::string(1000, 'c') +
                                 "\tx\tab\r\n\t\t\t\tabcdef*q\r\n\t\t\t\ta\r\n"),
            "4:255 4:255 4:255 4:2 4:7 3");
  // Ten double-byte characters are twenty bytes.
  const int nSavedPage = _getmbcp();
  ASSERT_EQ(_setmbcp(932), 0);
  std::string strWide;
  for (int i = 0; i < 10; ++i) {
    strWide += "\x82\xA0";
  }
  const std::string strResult = AnalyseText(dir, "W\r\n" + strWide + "\r\n");
  _setmbcp(nSavedPage);
  EXPECT_EQ(strResult, "4:21 1");
}

TEST(ColumnAnalysis, TypesWidenWhateverTheRowOrder) {
  TempDir dir;
  std::vector<std::string> arValues = {"12", "3.5", "abc"};
  do {
    EXPECT_EQ(AnalyseText(dir, "A\r\n" + arValues[0] + "\r\n" + arValues[1] + "\r\n" + arValues[2] +
                                   "\r\n"),
              "4:4 3");
  } while (std::next_permutation(arValues.begin(), arValues.end()));
  EXPECT_EQ(AnalyseText(dir, "A\r\n12\r\n3.5\r\n"), "2:8 2");
  EXPECT_EQ(AnalyseText(dir, "A\r\n3.5\r\n12\r\n"), "2:8 2");
  // The values of ranges and lists count one by one, never the whole cell.
  EXPECT_EQ(AnalyseText(dir, "A\tB\tC\r\n3\t1*22\t(a..b)\r\n(1..2.5)\t-\t\r\n"), "2:8 1:4 4:2 2");
}

TEST(ColumnAnalysis, WritesRowOffsetsAndReportsByBytes) {
  struct CPositions : CProgressMonitor {
    void SetPos(WORD nPos) override { m_arPos.push_back(nPos); }
    std::vector<WORD> m_arPos;
  } monitor;
  TempDir dir;
  // More rows than one block of the row table's writer holds.
  std::string strText = "NUM\r\n";
  std::string strExpected = "hdr";
  for (int i = 0; i < 5000; ++i) {
    BYTE entry[ROW_ENTRY_SIZE];
    EncodeRowEntry(entry, static_cast<DWORD>(strText.size()));
    strExpected.append(reinterpret_cast<const char*>(entry), sizeof(entry));
    strText += std::to_string(i % 10) + "\r\n";
  }
  lorn_test::WriteFile(dir.File("T.TXT"), strText);
  CCatStd table(dir.File("T.TXT").c_str());
  ASSERT_TRUE(
      table.m_fileSide.Open(dir.File("OUT").c_str(), CFile::modeCreate | CFile::modeReadWrite));
  table.m_fileSide.Write("hdr", 3);
  table.ScanColumns(TRUE, &monitor);
  table.m_fileSide.Close();
  EXPECT_EQ(lorn_test::ReadFile(dir.File("OUT")), strExpected);
  EXPECT_EQ(table.m_nRows, 5000u);
  // Rows of 3 bytes: after row 100, 300 of 15000 bytes are read.
  ASSERT_EQ(monitor.m_arPos.size(), 5000u);
  EXPECT_EQ(monitor.m_arPos[99], 1);
  EXPECT_TRUE(std::is_sorted(monitor.m_arPos.begin(), monitor.m_arPos.end()));
  EXPECT_EQ(monitor.m_arPos.back(), 50);
}
