#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/lorn_defs.h"
#include "platform/mbcs.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using lorn_test::ReadFile;
using lorn_test::TempDir;
using lorn_test::WriteFile;

using Lines = std::vector<std::vector<std::string>>;

// A reader on the file alone: no header is read, no sidecar looked for.
void Attach(CCatStd& table, const std::string& strPath, BOOL bScrambled = FALSE) {
  ASSERT_TRUE(table.m_fileData.Open(strPath.c_str(), CFile::modeRead));
  table.m_bScrambled = bScrambled;
  table.SeekLine(0);
}

// Every line up to the first negative result, and the offset each began at.
Lines ReadAll(CCatStd& table, std::vector<DWORD>* pOffsets = nullptr) {
  Lines lines;
  CStringArray arCells;
  for (DWORD nPos = table.m_nFilePos; table.ReadLine(arCells, 0, nullptr) > 0;
       nPos = table.m_nFilePos) {
    lines.emplace_back();
    for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
      lines.back().emplace_back(arCells[i].GetString());
    }
    if (pOffsets != nullptr) {
      pOffsets->push_back(nPos);
    }
  }
  return lines;
}

// The scrambled form of a line that starts at nPos: bytes lower by its key.
std::string Scramble(const std::string& strLine, DWORD nPos) {
  char cKey = 0;
  CCatStd::MakeLineKey(&cKey, nPos, 1);
  std::string strOut = strLine;
  for (char& ch : strOut) {
    if (ch != '\t' && ch != '\r' && ch != '\n' && ch != '\0') {
      ch = static_cast<char>(ch - cKey);
    }
  }
  return strOut;
}

}  // namespace

TEST(LineReader, LineEndsAndBlankLines) {
  TempDir dir;
  const char szText[] = "a\rb\nc\r\nd\n\re\r\r\nf\0\r\ng\0\0\r\n\r\nh\n\nlast";
  WriteFile(dir.File("a"), std::string(szText, sizeof(szText) - 1));
  CCatStd table;
  Attach(table, dir.File("a"));
  std::vector<DWORD> offsets;
  EXPECT_EQ(ReadAll(table, &offsets),
            (Lines{{"a"}, {"b"}, {"c"}, {"d"}, {"e"}, {"f"}, {"g"}, {""}, {"h"}}));
  // A NUL ends a line and takes the CR and LF behind it; a NUL behind a
  // line end is a line of its own.
  EXPECT_EQ(offsets, (std::vector<DWORD>{0, 2, 4, 7, 10, 14, 18, 20, 25}));

  WriteFile(dir.File("b"), "\r\nx\n");
  WriteFile(dir.File("empty"), "");
  CCatStd other;
  Attach(other, dir.File("b"));
  EXPECT_EQ(ReadAll(other), (Lines{{""}, {"x"}}));
  CCatStd empty;
  Attach(empty, dir.File("empty"));
  CStringArray arCells;
  EXPECT_EQ(empty.ReadLine(arCells, 0, nullptr), -1);
}

TEST(LineReader, CellsSeparatorsAndTheUnendedLastLine) {
  TempDir dir;
  WriteFile(dir.File("a"), "a\t\tb\t\n\tx\ny\tz");
  CCatStd table;
  Attach(table, dir.File("a"));
  // The bytes behind the last separator of an unended last line are lost.
  EXPECT_EQ(ReadAll(table), (Lines{{"a", "", "b", ""}, {"", "x"}, {"y"}}));
  EXPECT_EQ(table.m_nFilePos, 12u);

  WriteFile(dir.File("b"), "q\nno separator");
  CCatStd other;
  Attach(other, dir.File("b"));
  EXPECT_EQ(ReadAll(other), (Lines{{"q"}}));

  // With a limit the line must end inside it.
  CStringArray arCells;
  table.SeekLine(6);
  EXPECT_EQ(table.ReadLine(arCells, 3, nullptr), 2);
  table.SeekLine(6);
  EXPECT_EQ(table.ReadLine(arCells, 2, nullptr), -1);
  EXPECT_EQ(table.m_nBufPos + table.m_nBufEnd, 0);
}

TEST(LineReader, LinesAndCellsAgainstTheBuffer) {
  TempDir dir;
  const std::string strCell(10000, 'c');
  std::string strLong;
  for (int i = 0; i < 9; ++i) {
    strLong += strCell + std::to_string(i) + "\t";
  }
  WriteFile(dir.File("a"), strLong + "\nnext\n");
  CCatStd table;
  Attach(table, dir.File("a"));
  std::vector<DWORD> offsets;
  Lines lines = ReadAll(table, &offsets);
  ASSERT_EQ(lines.size(), 2u);
  ASSERT_EQ(lines[0].size(), 10u);
  EXPECT_EQ(lines[0][6], strCell + "6");  // the cell that spans two fills
  EXPECT_EQ(lines[0][9], "");
  EXPECT_EQ(lines[1], std::vector<std::string>{"next"});
  EXPECT_EQ(offsets, (std::vector<DWORD>{0, static_cast<DWORD>(strLong.size() + 1)}));

  // A CR that ends a fill and its LF that starts the next make two lines.
  const std::string strEdge(LINE_BUFFER_SIZE - 1, 'e');
  WriteFile(dir.File("edge"), strEdge + "\r\nz\n");
  CCatStd edge;
  Attach(edge, dir.File("edge"));
  offsets.clear();
  EXPECT_EQ(ReadAll(edge, &offsets), (Lines{{strEdge}, {""}, {"z"}}));
  EXPECT_EQ(offsets, (std::vector<DWORD>{0, LINE_BUFFER_SIZE, LINE_BUFFER_SIZE + 1}));

  // A cell may fill the buffer less one byte, not more.
  for (DWORD nLen : {LINE_BUFFER_SIZE - 1, LINE_BUFFER_SIZE}) {
    WriteFile(dir.File("b"), "short\n" + std::string(nLen, 'x') + "\nafter\n");
    CCatStd other;
    Attach(other, dir.File("b"));
    CStringArray arCells;
    EXPECT_EQ(other.ReadLine(arCells, 0, nullptr), 1);
    if (nLen < LINE_BUFFER_SIZE) {
      EXPECT_EQ(other.ReadLine(arCells, 0, nullptr), 1);
      EXPECT_EQ(arCells[0].GetLength(), static_cast<int>(nLen));
      continue;
    }
    try {
      other.ReadLine(arCells, 0, nullptr);
      ADD_FAILURE() << "a cell longer than the buffer was read";
    } catch (const CFileException& e) {
      EXPECT_EQ(e.m_cause, CFileException::cellTooLong);
    }
  }
}

TEST(LineReader, DoubleByteCharacterAcrossAFill) {
  TempDir dir;
  const int nOldPage = _getmbcp();
  _setmbcp(932);
  // 0x82 0x74 is one character; 0x74 is "t" when it stands alone.
  const std::string strHead(LINE_BUFFER_SIZE - 2, 'a');
  WriteFile(dir.File("a"), strHead + "\t\x82\x74" + "b\tc\n");
  CCatStd table;
  Attach(table, dir.File("a"));
  EXPECT_EQ(ReadAll(table), (Lines{{strHead, "\x82\x74" "b", "c"}}));
  _setmbcp(nOldPage);
}

TEST(LineReader, ScrambledLines) {
  for (auto [nPos, nKey] : {std::pair{0u, 1}, {1u, 1}, {10u, 1}, {57u, 12}, {99u, 18},
                            {100u, 1}, {123u, 5}}) {
    char cKey = 0;
    CCatStd::MakeLineKey(&cKey, nPos, -1);
    EXPECT_EQ(cKey, -nKey) << nPos;
  }

  TempDir dir;
  const std::string strLine0 = std::string(55, 'H') + "\t\n";           // 0 to 56
  const std::string strLine1 = "Zz\x7F\xF5" + std::string(38, 'm') + "\n";  // 57 to 99
  const std::string strLine2 = "last\tline\r\n";                        // from 100
  const std::string strClear = strLine0 + strLine1 + strLine2;
  WriteFile(dir.File("t.sdc"), Scramble(strLine0, 0) + Scramble(strLine1, 57) +
                                   Scramble(strLine2, 100));
  CCatStd table;
  Attach(table, dir.File("t.sdc"), TRUE);
  EXPECT_EQ(ReadAll(table), (Lines{{std::string(55, 'H'), ""},
                                   {"Zz\x7F\xF5" + std::string(38, 'm')},
                                   {"last", "line"}}));

  // Copying a TXT file out scrambles it; copying that back unscrambles it.
  WriteFile(dir.File("t.txt"), strClear + "no end");
  for (const char* pszName : {"t.txt", "out.sdc"}) {
    CCatStd source;
    Attach(source, dir.File(pszName), pszName[0] == 'o');
    CFile out(dir.File(pszName[0] == 'o' ? "back.txt" : "out.sdc").c_str(),
              CFile::modeCreate | CFile::modeWrite);
    CStringArray arCells;
    while (source.ReadLine(arCells, 0, &out) > 0) {
    }
  }
  EXPECT_EQ(ReadFile(dir.File("out.sdc")), ReadFile(dir.File("t.sdc")) + Scramble("no end", 111));
  EXPECT_EQ(ReadFile(dir.File("back.txt")), strClear + "no end");
}
