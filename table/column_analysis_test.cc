#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "platform/mbcs.h"
#include "table/cat_std.h"
#include "table/row_table.h"
#include "testing/test_util.h"

namespace {

using lorn_test::ReadFile;
using lorn_test::TempDir;
using lorn_test::WriteFile;

class CPositionMonitor : public CProgressMonitor {
 public:
  void SetPos(WORD nPos) override {
    CProgressMonitor::SetPos(nPos);
    m_arPos.push_back(nPos);
  }
  std::vector<WORD> m_arPos;
};

// Types and sizes of every column after an analysis of the table text.
struct CScan {
  std::vector<int> arTypes;
  std::vector<int> arSizes;
  DWORD nRows = 0;
};

CScan Scan(CCatStd& table) {
  table.ScanColumns(FALSE, nullptr);
  CScan scan;
  for (INT_PTR i = 0; i < table.m_arColTypes.GetSize(); ++i) {
    scan.arTypes.push_back(table.m_arColTypes[i]);
    scan.arSizes.push_back(table.m_arColSizes[i]);
  }
  scan.nRows = table.m_nRows;
  return scan;
}

CScan ScanText(const TempDir& dir, const std::string& strText) {
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, strText);
  CCatStd table(strPath.c_str());
  EXPECT_TRUE(table.IsOpen());
  return Scan(table);
}

}  // namespace

TEST(ColumnAnalysis, ColumnsWithoutValuesEndAsLong) {
  TempDir dir;
  CScan scan = ScanText(dir, "A\tB\r\n");
  EXPECT_EQ(scan.arTypes, (std::vector<int>{COL_TYPE_LONG, COL_TYPE_LONG}));
  EXPECT_EQ(scan.arSizes, (std::vector<int>{4, 4}));
  EXPECT_EQ(scan.nRows, 0u);

  // Empty cells, blanks and the lone wildcard hold no value; a text column
  // declared without a size gets the smallest one.
  const std::string strPath = dir.File("E.TXT");
  WriteFile(strPath, "A\tB\tC\r\n\t*\t\r\n  \t  *\t  \r\n");
  CCatStd table(strPath.c_str());
  table.SetColType(2, COL_TYPE_STR, 0);
  scan = Scan(table);
  EXPECT_EQ(scan.arTypes, (std::vector<int>{COL_TYPE_LONG, COL_TYPE_LONG, COL_TYPE_STR}));
  EXPECT_EQ(scan.arSizes, (std::vector<int>{4, 4, 2}));
  EXPECT_EQ(scan.nRows, 2u);
}

TEST(ColumnAnalysis, SizesCountBytesUpTo255) {
  TempDir dir;
  const std::string strText = "A\tB\tC\tD\tE\r\n" + std::string(254, 'a') + "\t" +
                              std::string(255, 'b') + "\t" + std::string(1000, 'c') +
                              "\tx\tab\r\n" + "\t\t\t\tabcdef*q\r\n\t\t\t\ta\r\n";
  const CScan scan = ScanText(dir, strText);
  EXPECT_EQ(scan.arTypes, std::vector<int>(5, COL_TYPE_STR));
  EXPECT_EQ(scan.arSizes, (std::vector<int>{255, 255, 255, 2, 7}));

  // Ten double-byte characters are twenty bytes.
  const int nSavedPage = _getmbcp();
  ASSERT_EQ(_setmbcp(932), 0);
  std::string strWide;
  for (int i = 0; i < 10; ++i) {
    strWide += "\x82\xA0";
  }
  const CScan wide = ScanText(dir, "W\r\n" + strWide + "\r\n");
  _setmbcp(nSavedPage);
  EXPECT_EQ(wide.arTypes, std::vector<int>{COL_TYPE_STR});
  EXPECT_EQ(wide.arSizes, std::vector<int>{21});
}

TEST(ColumnAnalysis, TypesWidenWhateverTheRowOrder) {
  TempDir dir;
  std::vector<std::string> arValues = {"12", "3.5", "abc"};
  do {
    const CScan scan =
        ScanText(dir, "A\r\n" + arValues[0] + "\r\n" + arValues[1] + "\r\n" + arValues[2] + "\r\n");
    EXPECT_EQ(scan.arTypes[0], COL_TYPE_STR) << arValues[0] << arValues[1] << arValues[2];
    EXPECT_EQ(scan.arSizes[0], 4);
  } while (std::next_permutation(arValues.begin(), arValues.end()));

  for (const char* pszText : {"A\r\n12\r\n3.5\r\n", "A\r\n3.5\r\n12\r\n"}) {
    const CScan scan = ScanText(dir, pszText);
    EXPECT_EQ(scan.arTypes[0], COL_TYPE_REAL) << pszText;
    EXPECT_EQ(scan.arSizes[0], 8);
  }
  // The values of ranges and lists count one by one, never the whole cell.
  const CScan scan = ScanText(dir, "A\tB\tC\r\n3\t1*22\t(a..b)\r\n(1..2.5)\t-\t\r\n");
  EXPECT_EQ(scan.arTypes, (std::vector<int>{COL_TYPE_REAL, COL_TYPE_LONG, COL_TYPE_STR}));
  EXPECT_EQ(scan.arSizes, (std::vector<int>{8, 4, 2}));
}

TEST(ColumnAnalysis, DeclaredColumnsAndSurplusCellsAreLeftAlone) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, "A\tB\tC\tD\r\nabc\tx.y\t" + std::string(30, 'z') +
                         "\t1\textra\tmore\r\n1.5\t2\tq\t2\t\r\n");
  CCatStd table(strPath.c_str());
  table.SetColType(0, COL_TYPE_LONG, 0);
  table.SetColType(1, COL_TYPE_REAL, 0);
  table.SetColType(2, COL_TYPE_STR, 7);
  const CScan scan = Scan(table);
  EXPECT_EQ(scan.arTypes,
            (std::vector<int>{COL_TYPE_LONG, COL_TYPE_REAL, COL_TYPE_STR, COL_TYPE_LONG}));
  EXPECT_EQ(scan.arSizes, (std::vector<int>{4, 8, 7, 4}));
  EXPECT_EQ(scan.nRows, 2u);
}

TEST(ColumnAnalysis, WritesRowOffsetsAndReportsByBytes) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  // More rows than fit one block of the row table's writer.
  std::string strText = "NUM\r\n";
  std::vector<DWORD> arOffsets;
  for (int i = 0; i < 5000; ++i) {
    arOffsets.push_back(static_cast<DWORD>(strText.size()));
    strText += std::to_string(i % 10) + "\r\n";
  }
  WriteFile(strPath, strText);
  CCatStd table(strPath.c_str());
  const std::string strOut = dir.File("OUT.BIN");
  ASSERT_TRUE(table.m_fileSide.Open(strOut.c_str(), CFile::modeCreate | CFile::modeReadWrite));
  table.m_fileSide.Write("hdr", 3);
  CPositionMonitor monitor;
  table.ScanColumns(TRUE, &monitor);
  table.m_fileSide.Close();

  std::string strExpected = "hdr";
  for (DWORD nOffset : arOffsets) {
    BYTE entry[ROW_ENTRY_SIZE];
    EncodeRowEntry(entry, nOffset);
    strExpected.append(reinterpret_cast<const char*>(entry), sizeof(entry));
  }
  EXPECT_EQ(ReadFile(strOut), strExpected);
  EXPECT_EQ(table.m_nRows, 5000u);
  // All rows are 3 bytes long: row 100 has read 300 of 15000 bytes.
  ASSERT_EQ(monitor.m_arPos.size(), 5000u);
  EXPECT_EQ(monitor.m_arPos[99], 1);
  EXPECT_TRUE(std::is_sorted(monitor.m_arPos.begin(), monitor.m_arPos.end()));
  EXPECT_EQ(monitor.m_arPos.back(), 50);
}
