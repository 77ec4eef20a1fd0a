#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

struct CPass {
  std::vector<std::vector<std::string>> arLines;
  std::vector<DWORD> arNextPos;
};

// Every line of the file through ReadLine, or through ReadCells keeping at
// most nKeep cells, with the file position behind each line.
CPass ReadAll(const std::string& strPath, bool bCells, short nKeep, BOOL bScrambled) {
  CCatStd table;
  table.m_bScrambled = bScrambled;
  table.m_cColSep = '\t';
  EXPECT_TRUE(table.m_fileData.Open(strPath.c_str(), CFile::modeRead));
  table.SeekLine(0);
  CPass pass;
  CStringArray arCells;
  CStringArray arSpill;
  std::vector<const char*> arPointers(nKeep + 1);
  std::vector<UINT> arLengths(nKeep + 1);
  for (;;) {
    std::vector<std::string> arLine;
    if (bCells) {
      const short nRead = table.ReadCells(arPointers.data(), arLengths.data(), nKeep, arSpill);
      if (nRead < 0) {
        break;
      }
      for (short n = 0; n < std::min(nRead, nKeep); ++n) {
        EXPECT_EQ(std::string(arPointers[n]).size(), arLengths[n]);
        arLine.emplace_back(arPointers[n], arLengths[n]);
      }
    } else {
      if (table.ReadLine(arCells, 0, nullptr) < 0) {
        break;
      }
      for (INT_PTR n = 0; n < std::min<INT_PTR>(arCells.GetSize(), nKeep); ++n) {
        arLine.emplace_back(arCells[n]);
      }
    }
    pass.arLines.push_back(arLine);
    pass.arNextPos.push_back(table.m_nFilePos);
  }
  return pass;
}

}  // namespace

// Lines far longer than the line buffer, so that finished cells must leave
// it before it is filled again, some a CR LF split by a fill, and the same
// file scrambled: ReadCells gives the cells and positions of ReadLine.
TEST(ReadCells, SameCellsAndPositionsAsReadLine) {
  lorn_test::TempDir dir;
  std::mt19937 random(5);
  std::string strText;
  for (int nLine = 0; nLine < 300; ++nLine) {
    const int nCells = nLine % 50 == 7 ? 9000 : static_cast<int>(random() % 12);
    for (int nCell = 0; nCell < nCells; ++nCell) {
      strText.append(random() % 40, static_cast<char>('a' + random() % 26));
      strText += '\t';
    }
    strText.append(random() % 9, 'z');
    strText += random() % 3 == 0 ? "\r\n" : "\n";
  }
  lorn_test::WriteFile(dir.File("t.txt"), strText);
  for (BOOL bScrambled : {FALSE, TRUE}) {
    for (short nKeep : {3, 20000}) {
      const CPass want = ReadAll(dir.File("t.txt"), false, nKeep, bScrambled);
      const CPass got = ReadAll(dir.File("t.txt"), true, nKeep, bScrambled);
      ASSERT_EQ(got.arLines.size(), want.arLines.size());
      EXPECT_TRUE(got.arLines == want.arLines);
      EXPECT_TRUE(got.arNextPos == want.arNextPos);
    }
  }
}
