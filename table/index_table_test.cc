#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "frame/settings.h"
#include "index/column_index.h"
#include "table/cat_std.h"
#include "table/row_table.h"
#include "testing/test_util.h"

namespace {

using lorn_test::GetMTime;
using lorn_test::ReadFile;
using lorn_test::SetMTime;
using lorn_test::TempDir;
using lorn_test::WriteFile;

// Keeps every call in order: "title:", "step:", "pos:", "end".
class CRecordingMonitor : public CProgressMonitor {
 public:
  void SetTitle(const char* pszText) override {
    m_arEvents.push_back(std::string("title:") + pszText);
  }
  void SetStep(const char* pszText) override {
    m_arEvents.push_back(std::string("step:") + pszText);
  }
  void SetPos(WORD nPos) override {
    CProgressMonitor::SetPos(nPos);
    m_arPos.push_back(nPos);
  }
  WORD GetPos() override {
    ++m_nCalls;
    return CProgressMonitor::GetPos();
  }
  void GetMessage(WORD nId, CString& strText) override {
    ++m_nCalls;
    CProgressMonitor::GetMessage(nId, strText);
  }
  void End() override { m_arEvents.push_back("end"); }

  int Calls() const { return m_nCalls + static_cast<int>(m_arEvents.size() + m_arPos.size()); }
  void Clear() {
    m_arEvents.clear();
    m_arPos.clear();
    m_nCalls = 0;
    CProgressMonitor::SetPos(0);
  }

  std::vector<std::string> m_arEvents;
  std::vector<WORD> m_arPos;
  int m_nCalls = 0;
};

class CMonitorScope {
 public:
  explicit CMonitorScope(CProgressMonitor* pMonitor) { SetProgressMonitor(pMonitor); }
  ~CMonitorScope() { SetProgressMonitor(nullptr); }
};

std::string Step(WORD nId) {
  CString strText;
  GetMessageText(nId, strText);
  return std::string("step:") + strText.GetString();
}

// A table of five columns, Long, Real, Str, Long and lists, and its row offsets.
std::string MakeTable(int nRows, std::vector<DWORD>* pOffsets) {
  std::string strText = "ID\tPRICE\tNAME\tGROUP\tTAGS\r\n";
  for (int i = 0; i < nRows; ++i) {
    if (pOffsets != nullptr) {
      pOffsets->push_back(static_cast<DWORD>(strText.size()));
    }
    strText += std::to_string(i) + "\t" + std::to_string(i) + ".5\tname" + std::to_string(i % 13) +
               "\t" + std::to_string(i % 7) + "\tx*y" + std::to_string(i % 3) + "\r\n";
  }
  return strText;
}

std::string RowTableBytes(const std::vector<DWORD>& arOffsets) {
  std::string strBytes;
  for (DWORD nOffset : arOffsets) {
    BYTE entry[ROW_ENTRY_SIZE];
    EncodeRowEntry(entry, nOffset);
    strBytes.append(reinterpret_cast<const char*>(entry), sizeof(entry));
  }
  return strBytes;
}

void AppendLE(std::string& strBytes, DWORD nValue, int nBytes) {
  for (int i = 0; i < nBytes; ++i) {
    strBytes += static_cast<char>((nValue >> (8 * i)) & 0xFF);
  }
}

}  // namespace

TEST(IndexTable, BuildsOnlyWhatIsMissing) {
  TempDir dir;
  std::vector<DWORD> arOffsets;
  WriteFile(dir.File("T.TXT"), MakeTable(40, &arOffsets));
  CCatStd table(dir.File("T.TXT").c_str());
  CRecordingMonitor monitor;
  CMonitorScope scope(&monitor);

  // No wanted column: the analysis writes the row table, nothing is sorted.
  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_EQ(table.m_nRows, 40u);
  EXPECT_EQ(monitor.m_arEvents, (std::vector<std::string>{"title:Indexation de la table T.TXT",
                                                          Step(1), Step(2), "end"}));
  const std::string strSide = ReadFile(dir.File("T.SDX"));
  ASSERT_EQ(strSide.size(), table.m_nRowTablePos + 4 * arOffsets.size());
  EXPECT_EQ(strSide.substr(table.m_nRowTablePos), RowTableBytes(arOffsets));

  // Already indexed: nothing is touched, the monitor is not called.
  SetMTime(dir.File("T.SDX"), 1000000000);
  monitor.Clear();
  EXPECT_TRUE(table.IndexTable());
  EXPECT_EQ(monitor.Calls(), 0);
  EXPECT_EQ(GetMTime(dir.File("T.SDX")), 1000000000);

  // A column wanted later is appended; what stood in the sidecar stays.
  table.SetColFlags(0, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  const std::string strOne = ReadFile(dir.File("T.SDX"));
  EXPECT_EQ(table.m_arColIndexPos[0], strSide.size());
  table.SetColFlags(2, COL_FLAG_INDEXED);
  monitor.Clear();
  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_EQ(monitor.m_arEvents, (std::vector<std::string>{"title:Indexation de la table T.TXT",
                                                          Step(2), Step(3), "end"}));
  const std::string strTwo = ReadFile(dir.File("T.SDX"));
  EXPECT_EQ(strTwo.substr(table.m_nRowTablePos, strOne.size() - table.m_nRowTablePos),
            strOne.substr(table.m_nRowTablePos));
  EXPECT_EQ(table.m_arColIndexPos[0], strSide.size());
  EXPECT_EQ(table.m_arColIndexPos[2], strOne.size());
  EXPECT_EQ(table.m_arColIndexPos[1], 0u);

  // A chained object has its root do the work and keeps its own members.
  table.SetColFlags(3, COL_FLAG_INDEXED);
  CCatStd view(&table);
  EXPECT_TRUE(view.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_NE(table.m_arColIndexPos[3], 0u);
  EXPECT_FALSE(view.m_bIndexed);
  EXPECT_EQ(view.m_nRows, 0u);
}

TEST(IndexTable, ReportsProgressOnItsScale) {
  TempDir dir;
  // 150 rows: each row is a whole fraction of both scales of the pass.
  WriteFile(dir.File("T.TXT"), MakeTable(150, nullptr));
  CCatStd table(dir.File("T.TXT").c_str());
  CRecordingMonitor monitor;
  CMonitorScope scope(&monitor);

  table.SetColFlags(0, COL_FLAG_INDEXED);
  table.SetColFlags(2, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  EXPECT_EQ(monitor.m_arEvents.front(), "title:Indexation de la table T.TXT");
  EXPECT_EQ(monitor.m_arEvents[1], Step(1));
  EXPECT_EQ(monitor.m_arEvents[2], Step(2));
  EXPECT_EQ(monitor.m_arEvents[3], Step(3));
  EXPECT_EQ(monitor.m_arEvents.back(), "end");
  EXPECT_TRUE(std::is_sorted(monitor.m_arPos.begin(), monitor.m_arPos.end()));
  EXPECT_EQ(monitor.m_arPos[149], 50);  // the analysis by bytes
  EXPECT_EQ(monitor.m_arPos[299], 80);  // the index pass by rows
  EXPECT_EQ(monitor.m_arPos.back(), 100);
  EXPECT_EQ(g_nSortShare, 10);

  // Without an analysis the pass takes 0 to 50, three indexes share the rest.
  monitor.Clear();
  table.SetColFlags(1, COL_FLAG_INDEXED);
  table.SetColFlags(3, COL_FLAG_INDEXED);
  table.SetColFlags(4, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  EXPECT_EQ(monitor.m_arEvents[1], Step(2));
  EXPECT_EQ(monitor.m_arEvents[2], Step(3));
  EXPECT_TRUE(std::is_sorted(monitor.m_arPos.begin(), monitor.m_arPos.end()));
  EXPECT_EQ(monitor.m_arPos[149], 50);
  EXPECT_EQ(monitor.m_arPos.back(), 100);
  EXPECT_EQ(g_nSortShare, 16);
}

TEST(IndexTable, WritesTheSidecarBytes) {
  TempDir dir;
  WriteFile(dir.File("S.TXT"), "A\tB\r\n10\tab\r\n*\tc\r\n(1..5)\td\r\n7*3\te\r\n\tf\r\n");
  CCatStd table(dir.File("S.TXT").c_str());
  table.SetColFlags(0, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  ASSERT_TRUE(table.m_bIndexed);
  CString strLocale;
  table.GetLocale(strLocale);
  ASSERT_LT(strLocale.GetLength(), 255);

  std::string strExpected = "\x05";
  AppendLE(strExpected, table.m_tStamp, 4);
  strExpected += std::string("\x02\x00\x01\x04", 4);  // types
  strExpected += std::string("\x02\x00\x04\x03", 4);  // sizes
  strExpected += std::string("\x02\x00", 2);
  const DWORD nIndexPos = 16 + 6 * 2 + strLocale.GetLength() + 5 * 4;
  AppendLE(strExpected, nIndexPos, 4);
  AppendLE(strExpected, 0, 4);
  strExpected += static_cast<char>(strLocale.GetLength());
  strExpected += strLocale.GetString();
  AppendLE(strExpected, 5, 4);
  strExpected += RowTableBytes({5, 12, 17, 27, 34});
  // Index of A: one wildcard row, three values, one range (twice).
  for (DWORD nValue : {1, 3, 1, /*zone 0*/ 1, /*zone 1*/ 3, 3, 3, 7, 0, 10,
                       /*zone 2*/ 2, 1, 5}) {
    AppendLE(strExpected, nValue, 4);
  }
  strExpected += '\x05';
  for (DWORD nValue : {/*zone 3*/ 2, 5, 1}) {
    AppendLE(strExpected, nValue, 4);
  }
  strExpected += '\x05';
  EXPECT_EQ(ReadFile(dir.File("S.SDX")), strExpected);
  EXPECT_EQ(table.m_arColIndexPos[0], nIndexPos);
}

TEST(IndexTable, RefusedEntryDropsTheSidecar) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), MakeTable(10, nullptr));
  CCatStd table(dir.File("T.TXT").c_str());
  table.SetColFlags(0, COL_FLAG_INDEXED);
  table.SetColFlags(2, COL_FLAG_INDEXED);

  // No temporary file can be made: the first entry is refused.
  const char* pszSaved = std::getenv("TMPDIR");
  const std::string strSaved = pszSaved != nullptr ? pszSaved : "";
  setenv("TMPDIR", dir.File("missing").c_str(), 1);
  const BOOL bResult = table.IndexTable();
  if (pszSaved != nullptr) {
    setenv("TMPDIR", strSaved.c_str(), 1);
  } else {
    unsetenv("TMPDIR");
  }
  EXPECT_TRUE(bResult);
  EXPECT_FALSE(table.m_bIndexed);
  EXPECT_FALSE(lorn_test::Exists(dir.File("T.SDX")));
  EXPECT_EQ(table.m_arColIndexPos[0], 0u);
  EXPECT_EQ(table.m_arColIndexPos[2], 0u);

  // The next run builds everything again.
  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_NE(table.m_arColIndexPos[0], 0u);
  EXPECT_NE(table.m_arColIndexPos[2], 0u);
}

TEST(IndexTable, HeaderOfAnotherLengthRebuildsTheSidecar) {
  TempDir dir;
  std::vector<DWORD> arOffsets;
  WriteFile(dir.File("T.TXT"), MakeTable(20, &arOffsets));
  CCatStd table(dir.File("T.TXT").c_str());
  table.SetColFlags(0, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  const DWORD nOldRowTablePos = table.m_nRowTablePos;

  // A locale named later makes the header one byte longer.
  ASSERT_TRUE(table.SetLocale("C"));
  table.SetColFlags(2, COL_FLAG_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_EQ(table.m_nRowTablePos, nOldRowTablePos + 1);
  const std::string strSide = ReadFile(dir.File("T.SDX"));
  EXPECT_EQ(strSide.substr(table.m_nRowTablePos, 4 * arOffsets.size()), RowTableBytes(arOffsets));
  for (DWORD nRow = 0; nRow < arOffsets.size(); ++nRow) {
    EXPECT_EQ(table.GetRowPos(nRow, nullptr), static_cast<LONG>(arOffsets[nRow]));
  }
  EXPECT_NE(table.m_arColIndexPos[0], 0u);
  EXPECT_NE(table.m_arColIndexPos[2], 0u);
}
