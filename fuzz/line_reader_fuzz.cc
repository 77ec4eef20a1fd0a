// The line reader over arbitrary bytes, in plain and scrambled form: the
// header at Open, a sequential pass, a copy to another file, a read with a
// byte limit from any offset, and (on request) the analysis and index build
// whose row table then serves ReadRow.
//
// Input: a flag byte (bit 0: scrambled file; bits 1-3: code page; bit 4:
// expand the text; bit 5: own separator; bit 6: index and read rows back;
// bit 7: with every column wanted as well), the separator when bit 5 is set,
// a WORD byte limit, a DWORD offset, then the file's bytes (expanded as
// fuzz_util.h tells when bit 4 is set, to one of the lengths named below).
//
// What must hold whatever the bytes: every line delivered moves the offset
// on and stays inside the file; a copy has the length of its source; a
// scrambled copy of a plain file reads back as the same lines when the
// scrambling has not made new separators or line ends; after an index run
// the row table counts the lines of a sequential pass, and a row that reads
// back whole has the cells that the pass delivered for it.
#include <iterator>
#include <string>
#include <vector>

#include "frame/settings.h"
#include "fuzz/fuzz_util.h"
#include "index/column_index.h"
#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "table/cat_std.h"

namespace {

using lorn_fuzz::CInput;
using lorn_fuzz::WorkFile;

// Lengths worth reaching: as many cells as a signed 16-bit count holds, a
// fill of the line buffer, 16 bits, two fills.
const size_t s_arLimits[] = {32767, 61440, 65535, 122880};
// Rows and cells compared row by row, at most (a wide header makes every
// row as wide); the last row is compared in any case.
constexpr size_t MAX_ROWS_CHECKED = 300;
constexpr size_t MAX_CELLS_CHECKED = 20000;

struct CLine {
  DWORD nPos;
  std::vector<std::string> arCells;
};

std::vector<std::string> ToVector(const CStringArray& arCells) {
  std::vector<std::string> ar;
  for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
    ar.emplace_back(arCells[i].GetString(), static_cast<size_t>(arCells[i].GetLength()));
  }
  return ar;
}

// Every line from nFrom to the end of the file, as ReadLine delivers them.
std::vector<CLine> ReadAll(CCatStd& table, DWORD nFrom, size_t nFileLen) {
  std::vector<CLine> arLines;
  CStringArray arCells;
  table.SeekLine(nFrom);
  for (;;) {
    const DWORD nPos = table.m_nFilePos;
    const short nCells = table.ReadLine(arCells, 0, nullptr);
    if (nCells < 0) {
      break;
    }
    LORN_FUZZ_CHECK(nCells > 0 && nCells <= arCells.GetSize());
    LORN_FUZZ_CHECK(table.m_nFilePos > nPos && table.m_nFilePos <= nFileLen);
    LORN_FUZZ_CHECK(arLines.size() <= nFileLen);
    arLines.push_back({nPos, ToVector(arCells)});
  }
  return arLines;
}

// Whether scrambling the plain text keeps every separator, line end and NUL
// where it was and makes no new one, so that its copy reads back the same.
bool ScrambleKeepsLines(const std::string& strPlain, const std::string& strScrambled, char cSep) {
  auto isMark = [cSep](char c) { return c == cSep || c == '\r' || c == '\n' || c == '\0'; };
  for (size_t i = 0; i < strPlain.size(); ++i) {
    if (isMark(strPlain[i]) != isMark(strScrambled[i])) {
      return false;
    }
  }
  return true;
}

void CheckCopy(CCatStd& table, const std::string& strText, char cSep, bool bSingleByte,
               const std::vector<CLine>& arLines) {
  const std::string strCopy = WorkFile(table.m_bScrambled ? "C.TXT" : "C.SDC");
  {
    CFile out;
    LORN_FUZZ_CHECK(out.Open(strCopy.c_str(), CFile::modeCreate | CFile::modeReadWrite));
    table.SeekLine(0);
    CStringArray arCells;
    size_t nLines = 0;
    while (table.ReadLine(arCells, 0, &out) >= 0) {
      LORN_FUZZ_CHECK(++nLines <= strText.size());
    }
    LORN_FUZZ_CHECK(out.GetLength() == strText.size());
  }
  if (table.m_bScrambled || !bSingleByte) {
    return;
  }
  // A plain file copied out is its scrambled twin: read as such, it gives
  // the same lines at the same offsets.
  if (!ScrambleKeepsLines(strText, lorn_fuzz::GetFile(strCopy), cSep)) {
    return;
  }
  CCatStd twin;
  if (!twin.Open(strCopy.c_str())) {
    return;
  }
  LORN_FUZZ_CHECK(twin.m_bScrambled && twin.m_nDataPos == table.m_nDataPos);
  const std::vector<CLine> arTwin = ReadAll(twin, twin.m_nDataPos, strText.size());
  LORN_FUZZ_CHECK(arTwin.size() == arLines.size());
  for (size_t i = 0; i < arLines.size(); ++i) {
    LORN_FUZZ_CHECK(arTwin[i].nPos == arLines[i].nPos);
    LORN_FUZZ_CHECK(arTwin[i].arCells == arLines[i].arCells);
  }
}

void CheckRows(CCatStd& table, const std::vector<CLine>& arLines, size_t nFileLen,
               bool bAllWanted) {
  const short nCols = table.GetColCount();
  if (bAllWanted) {
    for (short nCol = 0; nCol < nCols && nCol < 8; ++nCol) {
      table.SetColFlags(static_cast<WORD>(nCol), COL_FLAG_INDEXED);
    }
  }
  if (!table.IndexTable() || !table.IsIndexed()) {
    return;
  }
  LORN_FUZZ_CHECK(table.m_nRows == arLines.size());
  // ReadRow gives one cell per name of the header line.
  const size_t nWidth = static_cast<size_t>(table.m_arColNames.GetSize());
  CStringArray arCells;
  size_t nCellsChecked = 0;
  for (size_t i = 0; i < arLines.size(); ++i) {
    if (i + 1 < arLines.size() && (i >= MAX_ROWS_CHECKED || nCellsChecked >= MAX_CELLS_CHECKED)) {
      continue;
    }
    nCellsChecked += nWidth + arLines[i].arCells.size();
    DWORD nLen = 0;
    const LONG nPos = table.GetRowPos(static_cast<DWORD>(i), &nLen);
    LORN_FUZZ_CHECK(nPos == static_cast<LONG>(arLines[i].nPos));
    if (!table.ReadRow(static_cast<DWORD>(i), arCells)) {
      continue;
    }
    std::vector<std::string> arExpected = arLines[i].arCells;
    arExpected.resize(nWidth);
    LORN_FUZZ_CHECK(ToVector(arCells) == arExpected);
  }
  for (short nCol = 0; nCol < nCols && nCol < 8; ++nCol) {
    CString strValue;
    size_t nValues = 0;
    for (BOOL bFirst = TRUE; table.NextColValue(static_cast<WORD>(nCol), strValue, bFirst);
         bFirst = FALSE) {
      // Each value is a distinct key of the index: never more than its cells.
      LORN_FUZZ_CHECK(++nValues <= 2 * nFileLen + 2);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  CInput input(pData, nSize);
  const BYTE nFlags = input.Byte();
  const bool bScrambled = (nFlags & 1) != 0;
  const BYTE nPage = static_cast<BYTE>((nFlags >> 1) & 7);
  lorn_fuzz::SelectCodePage(nPage);
  const bool bSingleByte = nPage == 0 || nPage >= 5;
  char cSep = '\t';
  if ((nFlags & 32) != 0) {
    cSep = static_cast<char>(input.Byte());
    if (cSep == '\0') {
      cSep = '\t';
    }
  }
  const DWORD nLimit = input.Word();
  const DWORD nOffset = input.Dword();
  const std::string strText = (nFlags & 16) != 0
                                  ? lorn_fuzz::Expand(input, s_arLimits, std::size(s_arLimits))
                                  : input.Rest();

  const std::string strPath = WorkFile(bScrambled ? "L.SDC" : "L.TXT");
  lorn_fuzz::RemoveFile(WorkFile("L.SDX"));
  lorn_fuzz::PutFile(strPath, strText);
  SetColSep(cSep);

  try {
    CCatStd table;
    if (!table.Open(strPath.c_str())) {
      LORN_FUZZ_CHECK(table.GetColCount() == 0);
      return 0;
    }
    LORN_FUZZ_CHECK(table.GetColCount() > 0);
    LORN_FUZZ_CHECK(table.m_nDataPos <= strText.size());
    std::vector<CLine> arLines;
    bool bWhole = true;
    try {
      arLines = ReadAll(table, table.m_nDataPos, strText.size());
    } catch (const CFileException& e) {
      // Only a cell too long for the buffer stops a pass over a file that
      // can be read.
      LORN_FUZZ_CHECK(e.m_cause == CFileException::cellTooLong);
      bWhole = false;
    }
    if (bWhole) {
      CheckCopy(table, strText, cSep, bSingleByte, arLines);
    }

    CStringArray arCells;
    table.SeekLine(nOffset % (strText.size() + 1));
    table.ReadLine(arCells, nLimit, nullptr);

    if ((nFlags & 64) != 0 && bWhole) {
      CheckRows(table, arLines, strText.size(), (nFlags & 128) != 0);
    }
  } catch (const CFileException&) {
  } catch (const CArchiveException&) {
  } catch (const CInvalidArgException&) {
  }
  SetColSep('\t');
  return 0;
}
