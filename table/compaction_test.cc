#include <ctime>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/monitor.h"
#include "frame/settings.h"
#include "frame/sort_arrays.h"
#include "platform/mbcs.h"
#include "table/cat_std.h"
#include "table/fold_rows.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;
using Rows = std::vector<std::vector<std::string>>;

// The written form of rows: TAB between cells, CR LF behind each line.
std::string Text(const Rows& rows) {
  std::string strText;
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      strText.append(i > 0 ? "\t" : "").append(row[i]);
    }
    strText += "\r\n";
  }
  return strText;
}

// The written form of rows noted "a,b;c,d": ',' between cells, ';' between
// rows.
std::string T(const std::string& strRows) {
  std::string strText;
  for (char ch : strRows + ";") {
    strText += ch == ',' ? "\t" : ch == ';' ? "\r\n" : std::string(1, ch);
  }
  return strText;
}

// The stored twin of a single-byte plain text: each byte of a line but TAB,
// CR and LF lowered by the key of the line's offset.
std::string Scramble(const std::string& strPlain) {
  std::string strOut = strPlain;
  for (size_t i = 0; i < strPlain.size();) {
    const int nRest = static_cast<int>(i % 100);
    const int nKey = std::max(1, nRest / 10 + nRest % 10);
    for (; i < strPlain.size() && strPlain[i] != '\r' && strPlain[i] != '\n'; ++i) {
      strOut[i] = strPlain[i] == '\t' ? '\t' : static_cast<char>(strPlain[i] - nKey);
    }
    while (i < strPlain.size() && (strPlain[i] == '\r' || strPlain[i] == '\n'))
      ++i;
  }
  return strOut;
}

// A list of column numbers as the rewrites take it.
struct CCols : CWordArray {
  explicit CCols(const std::vector<int>& arCols) {
    for (int nCol : arCols) {
      Add(static_cast<WORD>(nCol));
    }
  }
};

const std::vector<int> kAll;  // stands for no list: every column

// Compacts (or uncompacts) by arCols a table file made of strText; the
// file's bytes afterwards.
std::string Rewrite(bool bCompact, const std::string& strText, const std::vector<int>& arCols,
                    const char* pszName = "T.TXT") {
  TempDir dir;
  WriteFile(dir.File(pszName), strText);
  CCatStd table(dir.File(pszName).c_str());
  CCols arList(arCols);
  CWordArray* pList = &arCols == &kAll ? nullptr : &arList;
  EXPECT_TRUE(bCompact ? table.CompactTable(nullptr, pList) : table.UncompactTable(nullptr, pList));
  EXPECT_TRUE(table.IsOpen());
  // No work file is left behind: the table is the directory's only file.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1);
  return ReadFile(dir.File(pszName));
}

std::string Compact(const std::string& strText, const std::vector<int>& arCols,
                    const char* pszName = "T.TXT") {
  return Rewrite(true, strText, arCols, pszName);
}

std::string Uncompact(const std::string& strText, const std::vector<int>& arCols) {
  return Rewrite(false, strText, arCols);
}

// The fold as the row-by-row algorithm makes it: each row left takes in
// every other row of its key, each non-empty value inserted at its lower
// bound into the list begun with the row's own cell.
Rows FoldRows(const Rows& rows, size_t nCol) {
  auto key = [nCol](const std::vector<std::string>& row) {
    std::string strKey;
    for (size_t i = 0; i < row.size(); ++i)
      strKey += i == nCol ? "" : row[i] + "|";
    return strKey;
  };
  std::vector<bool> arGone(rows.size());
  Rows out;
  for (size_t i = 0; i < rows.size(); ++i) {
    if (arGone[i])
      continue;
    CSortStringArray arList;
    arList.Add(rows[i][nCol].c_str());
    for (size_t j = 0; j < rows.size(); ++j) {
      if (j == i || arGone[j] || key(rows[j]) != key(rows[i]))
        continue;
      const CString strValue = rows[j][nCol].c_str();
      if (!strValue.IsEmpty())
        arList.InsertSorted(&strValue, FALSE);
      arGone[j] = true;
    }
    out.push_back(rows[i]);
    out.back()[nCol].clear();
    for (INT_PTR v = 0; v < arList.GetSize(); ++v) {
      out.back()[nCol].append(v > 0 ? "*" : "").append(arList[v].GetString());
    }
  }
  return out;
}

class CRecorder : public CProgressMonitor {
 public:
  void SetTitle(const char* pszText) override { m_strLog += std::string("T:") + pszText + ";"; }
  void SetStep(const char* pszText) override { m_strLog += std::string("S:") + pszText + ";"; }
  void SetPos(WORD nPos) override { m_strLog.append("P").append(std::to_string(nPos)) += ";"; }
  void End() override { m_strLog += "E;"; }
  std::string m_strLog;
};

}  // namespace

TEST(CompactTable, FoldsRowsThatDifferInTheGivenColumns) {
  const std::string strRef = T("REF,COLOR;A1,red;A1,blue;A2,red");
  EXPECT_EQ(Compact(strRef, {1}), T("REF,COLOR;A1,blue*red;A2,red"));
  EXPECT_EQ(Compact(strRef, kAll), T("REF,COLOR;A1*A2,red;A1,blue"));

  // LF-only and CR line ends, blank lines behind the header, a short row and
  // a long one; the second pass reads from the first row of the first's file.
  EXPECT_EQ(
      Compact("REF\tCOLOR\tSIZE\n\n\nA1\tred\tS\nA1\tblue\tS\r\rA2\tred\nA3\tred\t\tXX\n", {1, 0}),
      T("REF,COLOR,SIZE;A1,blue*red,S;A2*A3,red,"));

  // Keys compare cell by cell, not as one joined text; lists and ranges join
  // the sorted list value by value. (Case, empty values and repeats: below.)
  EXPECT_EQ(Compact(T("A,B,V;a|b,c,1;a,b|c,2"), {2}), T("A,B,V;a|b,c,1*2"));
  EXPECT_EQ(Compact(T("K,V;k,b*z;k,a;r,7;r,(1..5)"), {1}), T("K,V;k,a*b*z;r,(1..5)*7"));
}

// In memory, and through files as for tables too large for memory.
TEST(CompactTable, MatchesTheRowByRowFold) {
  const ULONGLONG nInMemory = g_nFoldInMemoryBytes;
  std::mt19937 rng(7);
  const std::vector<std::string> arPool = {"",   "a",  "b",   "A",        "a|",    "|a",  "1",
                                           "01", " a", "b*a", "\x82\xa0", "\x81|", "\xb1"};
  for (int nRound = 0; nRound < 120; ++nRound) {
    _setmbcp(nRound % 2 == 0 ? 1252 : 932);
    g_nFoldInMemoryBytes = nRound % 4 < 2 ? nInMemory : 0;
    const size_t nCols = 1 + rng() % 3;
    Rows rows(1);
    for (size_t c = 0; c < nCols; ++c)
      rows[0].push_back(std::string("C").append(std::to_string(c)));
    for (size_t r = rng() % 25; r > 0; --r) {
      rows.emplace_back();
      for (size_t c = 0; c < nCols; ++c) {
        // A lone empty cell would be a blank line, which is no row.
        rows.back().push_back(
            arPool[nCols == 1 ? 1 + rng() % (arPool.size() - 1) : rng() % arPool.size()]);
      }
    }
    std::vector<int> arPasses;
    for (size_t n = rng() % 4; n > 0; --n)
      arPasses.push_back(static_cast<int>(rng() % (nCols + 2)) - 1);
    Rows expected(rows.begin() + 1, rows.end());
    for (int nCol : arPasses) {
      if (nCol >= 0 && nCol < static_cast<int>(nCols))
        expected = FoldRows(expected, nCol);
    }
    expected.insert(expected.begin(), rows[0]);
    EXPECT_EQ(Compact(Text(rows), arPasses), Text(expected)) << "round " << nRound;
  }
  g_nFoldInMemoryBytes = nInMemory;
  _setmbcp(1252);
}

TEST(CompactTable, LeavesTheTableRewrittenAndIndexedAsBefore) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, "REF\tCOLOR\n\n\nA1\tred\nA1\tblue\nA2\tred\n");
  // Hours apart count as one time: the sidecar's stamp does not tell.
  lorn_test::SetMTime(strPath, std::time(nullptr) + 7200);
  CCatStd table(strPath.c_str());
  ASSERT_TRUE(table.IndexTable());
  CCols arCols({1});
  ASSERT_TRUE(table.CompactTable(nullptr, &arCols));
  EXPECT_TRUE(table.IsIndexed());
  EXPECT_EQ(table.m_nDataPos, 11u);
  EXPECT_EQ(table.GetRowCount(), 2u);
  CStringArray arRow;
  ASSERT_TRUE(table.ReadRow(1, arRow));
  EXPECT_STREQ(arRow[0], "A2");

  // Not indexed before: no sidecar after. Closed before: closed after.
  table.DropSide();
  ASSERT_TRUE(table.CompactTable(nullptr, nullptr));
  EXPECT_TRUE(table.IsOpen() && !table.IsIndexed() && !Exists(dir.File("T.SDX")));
  table.Close();
  ASSERT_TRUE(table.UncompactTable(nullptr, nullptr));
  EXPECT_FALSE(table.IsOpen());
  EXPECT_EQ(ReadFile(strPath), T("REF,COLOR;A1,blue;A1,red;A2,red"));

  // Nothing to do: TRUE, and nothing changes.
  const std::string strBefore = ReadFile(strPath);
  ASSERT_TRUE(table.Open(nullptr) && table.IndexTable());
  CCols arNone({});
  CCols arOutside({-1, 7});
  EXPECT_TRUE(table.CompactTable(nullptr, &arNone));
  EXPECT_TRUE(table.CompactTable(nullptr, &arOutside));
  EXPECT_TRUE(table.IsIndexed() && Exists(dir.File("T.SDX")));
  EXPECT_EQ(ReadFile(strPath), strBefore);
  CCatStd unnamed(static_cast<const char*>(nullptr));
  EXPECT_FALSE(unnamed.CompactTable(nullptr, nullptr));
}

TEST(CompactTable, ReportsPassesToTheMonitor) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), T("REF,COLOR;A1,red;A1,blue;A2,red;A3,red"));
  CCatStd table(dir.File("T.TXT").c_str());
  ASSERT_TRUE(table.IndexTable());
  CRecorder monitor;
  SetProgressMonitor(&monitor);
  CCols arCols({1, 0});
  EXPECT_TRUE(table.CompactTable(nullptr, &arCols));
  EXPECT_EQ(monitor.m_strLog.substr(0, monitor.m_strLog.find("E;") + 2),
            "T:Compactage de la table T.TXT;S:COLOR;P25;P50;P75;S:REF;P33;P66;E;");
  // Without a row count the rate is the file's length over the header's.
  WriteFile(dir.File("U.TXT"), T(std::string(20, 'K') + ",V;a,1;b,2;c,3;d,4"));
  CCatStd fresh(dir.File("U.TXT").c_str());
  monitor.m_strLog.clear();
  EXPECT_TRUE(fresh.UncompactTable(nullptr, nullptr));
  EXPECT_EQ(monitor.m_strLog, "T:D\351compactage de la table U.TXT;S:;P1;P2;P3;P4;E;");
  SetProgressMonitor(nullptr);
}

TEST(CompactTable, AFailureLeavesTheTableAsItWas) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, T("K,V;a,1;b,2;a,3"));
  const long long nTime = lorn_test::GetMTime(strPath);
  {
    CCatStd indexed(strPath.c_str());
    ASSERT_TRUE(indexed.IndexTable());
  }
  // A cell too long for the line buffer in mid-table, under the old time so
  // that the sidecar still fits.
  const std::string strBad = T("K,V;a,1;b," + std::string(70000, 'x') + ";a,3");
  WriteFile(strPath, strBad);
  lorn_test::SetMTime(strPath, nTime);
  const std::string strSide = ReadFile(dir.File("T.SDX"));
  CCatStd table(strPath.c_str());
  ASSERT_TRUE(table.IsIndexed());
  CCols arCols({0, 1});
  auto unchanged = [&]() {
    EXPECT_EQ(ReadFile(strPath), strBad);
    EXPECT_EQ(ReadFile(dir.File("T.SDX")), strSide);
    EXPECT_FALSE(Exists(dir.File("T.TMP")) || Exists(dir.File("T.~TM")));
    EXPECT_TRUE(table.IsOpen() && table.IsIndexed());
  };
  EXPECT_THROW(table.CompactTable(nullptr, &arCols), CFileException);
  unchanged();
  EXPECT_THROW(table.UncompactTable(nullptr, nullptr), CFileException);
  unchanged();
  EXPECT_THROW(table.UncompactTable(dir.File("OUT.TXT").c_str(), nullptr), CFileException);
  unchanged();
  EXPECT_FALSE(Exists(dir.File("OUT.TXT")));

  // Files of the user's under the names of a rewrite's work files are
  // neither in the way nor touched.
  WriteFile(dir.File("S.TXT"), T("K,V;a,1;a,3"));
  WriteFile(dir.File("S.~TM"), "mine");
  WriteFile(dir.File("S.TMP"), "mine too");
  CCatStd spare(dir.File("S.TXT").c_str());
  CCols arOne({1});
  EXPECT_TRUE(spare.CompactTable(nullptr, &arOne));
  EXPECT_EQ(ReadFile(dir.File("S.TXT")), T("K,V;a,1*3"));
  EXPECT_EQ(ReadFile(dir.File("S.~TM")), "mine");
  EXPECT_EQ(ReadFile(dir.File("S.TMP")), "mine too");
  EXPECT_TRUE(spare.IsOpen());

  // A fold into a cell too long for the reader is refused.
  std::string strLong = "V\r\n";
  for (int i = 0; i < 10000; ++i) {
    strLong.append("v").append(std::to_string(10000 + i)) += "\r\n";
  }
  WriteFile(dir.File("L.TXT"), strLong);
  CCatStd longer(dir.File("L.TXT").c_str());
  EXPECT_FALSE(longer.CompactTable(nullptr, nullptr));
  EXPECT_EQ(ReadFile(dir.File("L.TXT")), strLong);
  EXPECT_TRUE(longer.IsOpen() && !Exists(dir.File("L.TMP")));
}

TEST(UncompactTable, ExpandsListsIntoTheirCrossProduct) {
  const std::string strText = T("K,A,B;x,a2*a1,b3*b1*b2;y,*q,(1..5);z,*,c*d");
  EXPECT_EQ(Uncompact(strText, kAll),
            T("K,A,B;x,a1,b1;x,a1,b2;x,a1,b3;x,a2,b1;x,a2,b2;x,a2,b3;y,,(1..5);y,q,(1..5);"
              "z,*,c;z,*,d"));
  EXPECT_EQ(Uncompact(strText, {2, 9}),
            T("K,A,B;x,a2*a1,b1;x,a2*a1,b2;x,a2*a1,b3;y,*q,(1..5);z,*,c;z,*,d"));
}

TEST(UncompactTable, WritesAnotherFileAndLeavesTheTable) {
  TempDir dir;
  const std::string strText = T("K,V;a,1*2");
  WriteFile(dir.File("T.TXT"), strText);
  WriteFile(dir.File("OUT.TXT"), "older");
  CCatStd table(dir.File("T.TXT").c_str());
  ASSERT_TRUE(table.IndexTable());
  const std::string strSide = ReadFile(dir.File("T.SDX"));
  ASSERT_TRUE(table.UncompactTable(dir.File("OUT.TXT").c_str(), nullptr));
  EXPECT_EQ(ReadFile(dir.File("OUT.TXT")), T("K,V;a,1;a,2"));
  EXPECT_EQ(ReadFile(dir.File("T.TXT")), strText);
  EXPECT_EQ(ReadFile(dir.File("T.SDX")), strSide);
  EXPECT_TRUE(table.IsOpen() && table.IsIndexed());

  // Into a file of the scrambled form: refused when a byte would not read
  // back (a control byte scrambled into a separator or a line end).
  const std::string strControl =
      T("K,V;\x0b\x0c\x0e\x0f\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\x1b\x1c\x1d,1*2");
  WriteFile(dir.File("C.TXT"), strControl);
  CCatStd control(dir.File("C.TXT").c_str());
  EXPECT_FALSE(control.UncompactTable(dir.File("C.SDC").c_str(), nullptr));
  EXPECT_FALSE(Exists(dir.File("C.SDC")) || Exists(dir.File("C.TMP")));
  EXPECT_TRUE(control.IsOpen());
  EXPECT_EQ(ReadFile(dir.File("C.TXT")), strControl);
}

TEST(Rewrite, ScrambledTablesStayScrambled) {
  const std::string strCompact =
      Compact(Scramble(T("REF,COLOR;A1,red;A1,blue;A2,red")), {1}, "T.SDC");
  EXPECT_EQ(strCompact, "QDE\tBNKNQ\r\n?/\t`jsc(pcb\r\n;,\tl_^\r\n");

  TempDir dir;
  WriteFile(dir.File("T.SDC"), strCompact);
  CCatStd table(dir.File("T.SDC").c_str());
  ASSERT_TRUE(table.UncompactTable(nullptr, nullptr));
  const std::string strFlat = T("REF,COLOR;A1,blue;A1,red;A2,red");
  EXPECT_EQ(ReadFile(dir.File("T.SDC")), Scramble(strFlat));
  CStringArray arRow;
  ASSERT_TRUE(table.ReadRow(1, arRow));
  EXPECT_STREQ(arRow[1], "red");
  ASSERT_TRUE(table.UncompactTable(dir.File("PLAIN.TXT").c_str(), nullptr));
  EXPECT_EQ(ReadFile(dir.File("PLAIN.TXT")), strFlat);
}

// A CR LF whose CR ends one fill of the line buffer. Compaction reads each
// row from its own offset and never meets the LF as a row; expansion reads
// in one pass from the data position, as the index does, and writes the row
// of empty cells that the LF makes there.
TEST(Rewrite, ALineEndSplitByTheLineBuffer) {
  const std::string strHeader = "REF\tCOLOR\r\n";
  for (const bool bCompact : {true, false}) {
    // The CR at the last byte of the first fill, counted from the file's
    // start (compaction) or from the data position (expansion).
    const size_t nCrAt = LINE_BUFFER_SIZE - 1 + (bCompact ? 0 : strHeader.size());
    Rows rows;
    std::string strText = strHeader;
    std::string strPhantomAfter;
    for (int nRow = 0; strText.size() < nCrAt + 200; ++nRow) {
      std::string strRef = "R" + std::to_string(nRow / 2);
      std::string strColor = nRow % 2 == 0 ? "red" : "blue";
      const size_t nLength = strRef.size() + 1 + strColor.size();
      if (strText.size() + nLength < nCrAt && strText.size() + nLength + 24 > nCrAt) {
        strColor += std::string(nCrAt - strText.size() - nLength, 'x');  // the CR at nCrAt
        strPhantomAfter = strRef + "\t" + strColor + "\r\n";
      }
      rows.push_back({strRef, strColor});
      strText += strRef + "\t" + strColor + "\r\n";
    }
    ASSERT_EQ(strText.substr(nCrAt, 2), "\r\n");
    if (bCompact) {
      Rows expected = FoldRows(rows, 1);
      expected.insert(expected.begin(), {"REF", "COLOR"});
      EXPECT_TRUE(Compact(strText, {1}) == Text(expected)) << "a row of empty cells was added";
    } else {
      std::string strExpected = strText;
      strExpected.insert(strExpected.find(strPhantomAfter) + strPhantomAfter.size(), "\t\r\n");
      EXPECT_TRUE(Uncompact(strText, {1}) == strExpected) << "the split line end is no row";
    }
  }
}
