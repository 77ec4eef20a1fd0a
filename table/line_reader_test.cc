#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/lorn_defs.h"
#include "platform/mbcs.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;
using Lines = std::vector<std::vector<std::string>>;

// Every line of a file read with no header and no sidecar, at most nKeep
// cells of each, through ReadLine or (bCells) ReadCells; the file position
// behind each line goes to pEnds.
Lines ReadAll(const std::string& strPath, std::vector<DWORD>* pEnds = nullptr,
              BOOL bScrambled = FALSE, char cSep = '\t', short nKeep = SHRT_MAX,
              bool bCells = false) {
  CCatStd table;
  table.m_bScrambled = bScrambled;
  table.m_cColSep = cSep;
  EXPECT_TRUE(table.m_fileData.Open(strPath.c_str(), CFile::modeRead));
  table.SeekLine(0);
  Lines lines;
  CStringArray arCells;
  std::vector<const char*> arPointers(nKeep);
  std::vector<UINT> arLengths(nKeep);
  for (;;) {
    const short nRead = bCells
                            ? table.ReadCells(arPointers.data(), arLengths.data(), nKeep, arCells)
                            : table.ReadLine(arCells, 0, nullptr);
    if (nRead < 0) {
      break;
    }
    std::vector<std::string>& line = lines.emplace_back();
    for (INT_PTR n = 0; n < std::min<INT_PTR>(bCells ? nRead : arCells.GetSize(), nKeep); ++n) {
      if (bCells) {
        EXPECT_EQ(std::strlen(arPointers[n]), arLengths[n]);
        line.emplace_back(arPointers[n], arLengths[n]);
      } else {
        line.emplace_back(arCells[n].GetString(), arCells[n].GetLength());
      }
    }
    if (pEnds != nullptr) {
      pEnds->push_back(table.m_nFilePos);
    }
  }
  return lines;
}

// A line that starts at nPos as an SDC file stores it.
std::string Scramble(std::string strLine, DWORD nPos) {
  char cKey = 0;
  CCatStd::MakeLineKey(&cKey, nPos, 1);
  for (char& ch : strLine) {
    ch = std::string("\t\r\n", 4).find(ch) == std::string::npos ? ch - cKey : ch;
  }
  return strLine;
}

}  // namespace

TEST(LineReader, LineEndsAndCells) {
  TempDir dir;
  const char szText[] = "a\rb\nc\r\nd\n\re\r\r\nf\0\r\ng\0\0\r\n\r\nx\t\ty\t\n\tz\nlast\tlost";
  WriteFile(dir.File("a"), std::string(szText, sizeof(szText) - 1));
  std::vector<DWORD> offsets;
  // A NUL takes the CR and LF behind it; a NUL behind a line end is a line.
  const Lines kWant = {
      {"a"},     {"b"},   {"c"}, {"d"}, {"e"}, {"f"}, {"g"}, {""}, {"x", "", "y", ""},
      {"", "z"}, {"last"}};
  EXPECT_EQ(ReadAll(dir.File("a"), &offsets), kWant);
  EXPECT_EQ(offsets, (std::vector<DWORD>{2, 4, 7, 10, 14, 18, 20, 25, 31, 34, 43}));
  WriteFile(dir.File("b"), "\r\nno separator");
  EXPECT_EQ(ReadAll(dir.File("b")), (Lines{{""}}));
  WriteFile(dir.File("c"), "");
  EXPECT_EQ(ReadAll(dir.File("c")), Lines{});
}

TEST(LineReader, LinesAndCellsAgainstTheBuffer) {
  TempDir dir;
  std::string strLong;
  for (char ch = 'a'; ch < 'j'; ++ch) {
    strLong += std::string(10000, ch) + "\t";
  }
  WriteFile(dir.File("long"), strLong + "\nnext\n");
  Lines lines = ReadAll(dir.File("long"));
  ASSERT_EQ(lines.size(), 2u);
  ASSERT_EQ(lines[0].size(), 10u);
  EXPECT_EQ(lines[0][6], std::string(10000, 'g'));  // it spans two fills
  EXPECT_EQ(lines[1], std::vector<std::string>{"next"});

  // A CR that ends a fill and its LF that starts the next make two lines.
  WriteFile(dir.File("edge"), std::string(LINE_BUFFER_SIZE - 1, 'e') + "\r\nz\n");
  std::vector<DWORD> offsets;
  EXPECT_EQ(ReadAll(dir.File("edge"), &offsets).size(), 3u);
  EXPECT_EQ(offsets,
            (std::vector<DWORD>{LINE_BUFFER_SIZE, LINE_BUFFER_SIZE + 1, LINE_BUFFER_SIZE + 3}));

  // A cell fits when it leaves one byte of the buffer free.
  WriteFile(dir.File("fits"), "short\n" + std::string(LINE_BUFFER_SIZE - 1, 'x') + "\n");
  EXPECT_EQ(ReadAll(dir.File("fits")).size(), 2u);
  WriteFile(dir.File("big"), "short\n" + std::string(LINE_BUFFER_SIZE, 'x') + "\n");
  try {
    ReadAll(dir.File("big"));
    ADD_FAILURE() << "a cell longer than the buffer was read";
  } catch (const CFileException& e) {
    EXPECT_EQ(e.m_cause, CFileException::cellTooLong);
  }

  // A lead byte that ends a fill keeps its trail byte, here the separator.
  const int nOldPage = _getmbcp();
  _setmbcp(932);
  WriteFile(dir.File("dbcs"), std::string(LINE_BUFFER_SIZE - 2, 'a') + "|\x82|b|c\n");
  lines = ReadAll(dir.File("dbcs"), nullptr, FALSE, '|');
  _setmbcp(nOldPage);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(std::vector<std::string>(lines[0].begin() + 1, lines[0].end()),
            (std::vector<std::string>{"\x82|b", "c"}));
}

TEST(LineReader, ScrambledLines) {
  for (auto [nPos, nKey] : {std::pair{0u, 1}, {1u, 1}, {10u, 1}, {57u, 12}, {99u, 18}, {100u, 1}}) {
    char cKey = 0;
    CCatStd::MakeLineKey(&cKey, nPos, -1);
    EXPECT_EQ(cKey, -nKey) << nPos;
  }
  TempDir dir;
  const std::string strLine0 = std::string(55, 'H') + "\t\n";               // from 0
  const std::string strLine1 = "Zz\x7F\xF5" + std::string(38, 'm') + "\n";  // from 57
  const std::string strLine2 = "last\tline\r\n";                            // from 100
  const std::string strClear = strLine0 + strLine1 + strLine2 + "no end";
  const std::string strStored = Scramble(strLine0, 0) + Scramble(strLine1, 57) +
                                Scramble(strLine2, 100) + Scramble("no end", 111);
  WriteFile(dir.File("t.sdc"), strStored);
  const Lines lines = ReadAll(dir.File("t.sdc"), nullptr, TRUE);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1], std::vector<std::string>{strLine1.substr(0, 42)});  // key 12

  // A byte stored as 0xFF at key 1 unscrambles to NUL and cuts its cell.
  WriteFile(dir.File("nul.sdc"),
            "@\xFF"
            "A\tB\xFF\tC\n");
  EXPECT_EQ(ReadAll(dir.File("nul.sdc"), nullptr, TRUE), (Lines{{"A", "C", "D"}}));

  // Copying a TXT file out scrambles it; copying that back unscrambles it,
  // the bytes of an unended last line included.
  WriteFile(dir.File("t.txt"), strClear);
  for (const char* pszFrom : {"t.txt", "out.sdc"}) {
    CCatStd source;
    ASSERT_TRUE(source.m_fileData.Open(dir.File(pszFrom).c_str(), CFile::modeRead));
    source.m_bScrambled = pszFrom[0] == 'o';
    CFile out(dir.File(source.m_bScrambled ? "back.txt" : "out.sdc").c_str(),
              CFile::modeCreate | CFile::modeWrite);
    CStringArray arCells;
    while (source.ReadLine(arCells, 0, &out) > 0) {
    }
  }
  EXPECT_EQ(ReadFile(dir.File("out.sdc")), strStored);
  EXPECT_EQ(ReadFile(dir.File("back.txt")), strClear);
}

// Lines far longer than the line buffer, so that finished cells must leave
// it before it is filled again, some a CR LF split by a fill, and the same
// file scrambled: ReadCells gives the cells and positions of ReadLine.
TEST(LineReader, ReadCellsGivesWhatReadLineGives) {
  TempDir dir;
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
  WriteFile(dir.File("t.txt"), strText);
  for (BOOL bScrambled : {FALSE, TRUE}) {
    for (short nKeep : {3, 20000}) {
      std::vector<DWORD> arWantEnds;
      std::vector<DWORD> arGotEnds;
      const Lines want = ReadAll(dir.File("t.txt"), &arWantEnds, bScrambled, '\t', nKeep);
      const Lines got = ReadAll(dir.File("t.txt"), &arGotEnds, bScrambled, '\t', nKeep, true);
      ASSERT_EQ(got.size(), want.size());
      EXPECT_TRUE(got == want);
      EXPECT_TRUE(arGotEnds == arWantEnds);
    }
  }
}
