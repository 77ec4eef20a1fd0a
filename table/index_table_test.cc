#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/monitor.h"
#include "frame/settings.h"
#include "index/column_index.h"
#include "index/index_test_util.h"
#include "table/cat_std.h"
#include "table/row_table.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

// Titles, steps and the end in order; positions apart; any other call counted.
class CRecordingMonitor : public CProgressMonitor {
 public:
  CRecordingMonitor() { SetProgressMonitor(this); }
  ~CRecordingMonitor() override { SetProgressMonitor(nullptr); }
  void SetTitle(const char* pszText) override {
    m_arEvents.push_back(std::string("title:") + pszText);
  }
  void SetStep(const char* pszText) override {
    m_arEvents.push_back(std::string("step:") + pszText);
  }
  void End() override { m_arEvents.push_back("end"); }
  void SetPos(WORD nPos) override {
    CProgressMonitor::SetPos(nPos);
    m_arPos.push_back(nPos);
  }
  WORD GetPos() override {
    ++m_nOther;
    return CProgressMonitor::GetPos();
  }
  void GetMessage(WORD nId, CString& strText) override {
    ++m_nOther;
    CProgressMonitor::GetMessage(nId, strText);
  }
  void Clear() {
    m_arEvents.clear();
    m_arPos.clear();
    m_nOther = 0;
    CProgressMonitor::SetPos(0);
  }
  std::vector<std::string> m_arEvents;
  std::vector<WORD> m_arPos;
  int m_nOther = 0;
};

std::string Step(WORD nId) {
  CString strText;
  GetMessageText(nId, strText);
  return std::string("step:") + strText.GetString();
}

constexpr const char* INDEX_TITLE = "title:Indexation de la table T.TXT";

// Appends each value as 4 bytes, least significant first.
void AppendLE(std::string& strBytes, std::initializer_list<DWORD> arValues) {
  for (DWORD nValue : arValues) {
    for (int i = 0; i < 4; ++i) {
      strBytes += static_cast<char>((nValue >> (8 * i)) & 0xFF);
    }
  }
}

// Columns Long, Real, Str, Long and lists; the row table it gets.
std::string MakeTable(int nRows, std::string* pRowTable = nullptr) {
  std::string strText = "ID\tPRICE\tNAME\tGROUP\tTAGS\r\n";
  for (int i = 0; i < nRows; ++i) {
    if (pRowTable != nullptr) {
      AppendLE(*pRowTable, {static_cast<DWORD>(strText.size())});
    }
    strText += std::to_string(i) + "\t" + std::to_string(i) + ".5\tname" + std::to_string(i % 13) +
               "\t" + std::to_string(i % 7) + "\tx*y" + std::to_string(i % 3) + "\r\n";
  }
  return strText;
}

}  // namespace

TEST(IndexTable, BuildsOnlyWhatIsMissing) {
  TempDir dir;
  std::string strRowTable;
  WriteFile(dir.File("T.TXT"), MakeTable(40, &strRowTable));
  CCatStd table(dir.File("T.TXT").c_str());
  CRecordingMonitor monitor;

  // No wanted column: the analysis writes the row table, nothing is sorted.
  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_EQ(monitor.m_arEvents, (std::vector<std::string>{INDEX_TITLE, Step(1), Step(2), "end"}));
  const std::string strSide = ReadFile(dir.File("T.SDX"));
  EXPECT_EQ(strSide.substr(table.m_nRowTablePos), strRowTable);

  // Already indexed: no file touched, no call to the monitor.
  lorn_test::SetMTime(dir.File("T.SDX"), 1000000000);
  monitor.Clear();
  EXPECT_TRUE(table.IndexTable());
  EXPECT_TRUE(monitor.m_arEvents.empty() && monitor.m_arPos.empty() && monitor.m_nOther == 0);
  EXPECT_EQ(lorn_test::GetMTime(dir.File("T.SDX")), 1000000000);

  // A column wanted later is appended behind what stands in the sidecar.
  table.SetColFlags(0, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  const std::string strOne = ReadFile(dir.File("T.SDX"));
  table.SetColFlags(2, COL_FLAG_INDEXED);
  monitor.Clear();
  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_EQ(monitor.m_arEvents, (std::vector<std::string>{INDEX_TITLE, Step(2), Step(3), "end"}));
  const std::string strTwo = ReadFile(dir.File("T.SDX"));
  const DWORD nTable = table.m_nRowTablePos;
  EXPECT_EQ(strTwo.substr(nTable, strOne.size() - nTable), strOne.substr(nTable));
  EXPECT_EQ(table.m_arColIndexPos[0], strSide.size());
  EXPECT_EQ(table.m_arColIndexPos[1], 0u);
  EXPECT_EQ(table.m_arColIndexPos[2], strOne.size());

  // A chained object has its root do the work and keeps its own members.
  table.SetColFlags(3, COL_FLAG_INDEXED);
  CCatStd view(&table);
  EXPECT_TRUE(view.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_NE(table.m_arColIndexPos[3], 0u);
  EXPECT_FALSE(view.m_bIndexed);

  // All columns declared, none wanted: a new sidecar gets its row table from
  // the pass, with no analysis.
  WriteFile(dir.File("D.TXT"), "A\tB\r\n1\tx\r\n2\ty\r\n");
  CCatStd declared(dir.File("D.TXT").c_str());
  declared.SetColType(0, COL_TYPE_LONG, 0);
  declared.SetColType(1, COL_TYPE_STR, 5);
  ASSERT_TRUE(declared.IndexTable());
  EXPECT_EQ(declared.m_nRows, 2u);
  EXPECT_EQ(declared.GetRowPos(1, nullptr), 10);
  EXPECT_EQ(declared.m_arColSizes[0], 0);
}

TEST(IndexTable, ReportsProgressOnItsScale) {
  TempDir dir;
  // 150 rows make whole points on both scales of the index pass.
  WriteFile(dir.File("T.TXT"), MakeTable(150));
  CCatStd table(dir.File("T.TXT").c_str());
  CRecordingMonitor monitor;
  table.SetColFlags(0, COL_FLAG_INDEXED);
  table.SetColFlags(2, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  EXPECT_EQ(monitor.m_arEvents,
            (std::vector<std::string>{INDEX_TITLE, Step(1), Step(2), Step(3), "end"}));
  EXPECT_TRUE(std::is_sorted(monitor.m_arPos.begin(), monitor.m_arPos.end()));
  EXPECT_EQ(monitor.m_arPos[149], 50);  // analysis, by bytes
  EXPECT_EQ(monitor.m_arPos[299], 80);  // index pass, by rows
  // Each index sorts its one zone in memory: three steps of a third of its
  // share of 10, and nothing moves the position to 100 afterwards.
  EXPECT_EQ(std::vector<WORD>(monitor.m_arPos.begin() + 300, monitor.m_arPos.end()),
            (std::vector<WORD>{83, 86, 89, 92, 95, 98}));
  EXPECT_EQ(g_nSortShare, 10);

  // Without an analysis the pass takes 0 to 50; three indexes share the rest.
  monitor.Clear();
  for (WORD nCol : {1, 3, 4}) {
    table.SetColFlags(nCol, COL_FLAG_INDEXED);
  }
  ASSERT_TRUE(table.IndexTable());
  EXPECT_EQ(monitor.m_arEvents, (std::vector<std::string>{INDEX_TITLE, Step(2), Step(3), "end"}));
  EXPECT_TRUE(std::is_sorted(monitor.m_arPos.begin(), monitor.m_arPos.end()));
  EXPECT_EQ(monitor.m_arPos[149], 50);
  EXPECT_EQ(std::vector<WORD>(monitor.m_arPos.begin() + 150, monitor.m_arPos.end()),
            (std::vector<WORD>{55, 60, 65, 70, 75, 80, 85, 90, 95}));
  EXPECT_EQ(g_nSortShare, 16);
}

TEST(IndexTable, WritesTheSidecarBytes) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\tB\r\n10\tab\r\n*\tc\r\n(1..5)\td\r\n7*3\te\r\n\tf\r\n");
  CCatStd table(dir.File("T.TXT").c_str());
  table.SetColFlags(0, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  ASSERT_TRUE(table.m_bIndexed);
  CString strLocale;
  table.GetLocale(strLocale);

  // Header: version, stamp, types, key sizes, index offsets, locale, rows.
  std::string strExpected = "\x05";
  AppendLE(strExpected, {table.m_tStamp});
  strExpected += std::string("\x02\x00\x01\x04\x02\x00\x04\x03\x02\x00", 10);
  const DWORD nIndexPos = 16 + 6 * 2 + strLocale.GetLength() + 5 * 4;
  AppendLE(strExpected, {nIndexPos, 0});
  strExpected += static_cast<char>(strLocale.GetLength()) + std::string(strLocale.GetString());
  AppendLE(strExpected, {5, 5, 12, 17, 27, 34});  // the row count, then the row table
  // Index of A: counts 1, 3, 1; the wildcard row; three values; the range
  // by its low bound, then by its high bound.
  AppendLE(strExpected, {1, 3, 1, 1, 3, 3, 3, 7, 0, 10, 2, 1, 5});
  strExpected += '\x05';
  AppendLE(strExpected, {2, 5, 1});
  strExpected += '\x05';
  EXPECT_EQ(ReadFile(dir.File("T.SDX")), strExpected);
}

TEST(IndexTable, RefusedEntryDropsTheSidecar) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), MakeTable(10));
  CCatStd table(dir.File("T.TXT").c_str());
  table.SetColFlags(0, COL_FLAG_INDEXED);
  table.SetColFlags(2, COL_FLAG_INDEXED);

  // No temporary file can be made: the first entry is refused.
  BOOL bResult = FALSE;
  {
    index_test::CPrivateTmp tmp;  // puts TMPDIR back when it goes
    setenv("TMPDIR", dir.File("missing").c_str(), 1);
    bResult = table.IndexTable();
  }
  EXPECT_TRUE(bResult);
  EXPECT_FALSE(table.m_bIndexed);
  EXPECT_FALSE(lorn_test::Exists(dir.File("T.SDX")));
  EXPECT_EQ(table.m_arColIndexPos[0] + table.m_arColIndexPos[2], 0u);

  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_NE(table.m_arColIndexPos[0], 0u);
  EXPECT_NE(table.m_arColIndexPos[2], 0u);
}

TEST(IndexTable, HeaderOfAnotherLengthRebuildsTheSidecar) {
  TempDir dir;
  std::string strRowTable;
  WriteFile(dir.File("T.TXT"), MakeTable(20, &strRowTable));
  CCatStd table(dir.File("T.TXT").c_str());
  table.SetColFlags(0, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  const DWORD nOldTablePos = table.m_nRowTablePos;

  // A locale named later makes the header one byte longer.
  ASSERT_TRUE(table.SetLocale("C"));
  table.SetColFlags(2, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_EQ(table.m_nRowTablePos, nOldTablePos + 1);
  EXPECT_EQ(ReadFile(dir.File("T.SDX")).substr(table.m_nRowTablePos, strRowTable.size()),
            strRowTable);
  EXPECT_NE(table.m_arColIndexPos[0], 0u);
  EXPECT_NE(table.m_arColIndexPos[2], 0u);
}
