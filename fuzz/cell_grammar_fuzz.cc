// The cell splitter and the classifier over arbitrary cell texts, grammars
// and code pages.
//
// Input: a flag byte (bits 0-2: code page; bit 3: own grammar; bit 4: expand
// the cell), with an own grammar the four grammar bytes and a range separator
// of 1 to 4 bytes, then the cell (expanded as fuzz_util.h tells when bit 4 is
// set, at or near one of the lengths named below; cut at its first NUL like
// any C text).
#include <cstring>
#include <iterator>
#include <string>

#include "cells/cell_grammar.h"
#include "frame/lorn_defs.h"
#include "fuzz/fuzz_util.h"
#include "platform/collections.h"
#include "platform/exceptions.h"
#include "platform/mbcs.h"

namespace {

using lorn_fuzz::CInput;

// Cell lengths worth reaching: a one-byte length, the 15 bits of offsets
// inside a cell, the longest cell of the line reader, 16 bits.
const size_t s_arLimits[] = {255, 32767, 61439, 65535};
// Values classified one by one; a long list costs no more than that.
constexpr INT_PTR MAX_CLASSIFIED = 64;

bool IsType(BYTE nType) {
  return nType == COL_TYPE_LONG || nType == COL_TYPE_REAL || nType == COL_TYPE_STR;
}

// bBrackets: the brackets are characters of their own (no lead bytes of the
// code page) and the range separator does not begin with one, so a range
// always has a bracket in front of its separator.
void CheckSplit(const char* pszCell, BYTE nKind, const CStringArray& arValues, BYTE nFlags,
                bool bBrackets) {
  const size_t nLen = std::strlen(pszCell);
  size_t nTotal = 0;
  for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
    nTotal += static_cast<size_t>(arValues[i].GetLength());
  }
  // Values are pieces of the cell: together never longer than it.
  LORN_FUZZ_CHECK(nTotal <= nLen);
  switch (nKind) {
    case CELL_EMPTY:
    case CELL_ANY:
      LORN_FUZZ_CHECK(arValues.GetSize() == 0 && nFlags == 0);
      break;
    case CELL_SINGLE:
      LORN_FUZZ_CHECK(arValues.GetSize() == 1 && nFlags == 0);
      break;
    case CELL_RANGE:
      LORN_FUZZ_CHECK(arValues.GetSize() == 2);
      LORN_FUZZ_CHECK(!bBrackets || (nFlags & (RANGE_LOW_CLOSED | RANGE_LOW_OPEN)) != 0);
      LORN_FUZZ_CHECK((nFlags & ~0x0F) == 0);
      break;
    case CELL_LIST:
      LORN_FUZZ_CHECK(arValues.GetSize() >= 2);
      LORN_FUZZ_CHECK(nFlags == static_cast<BYTE>(arValues.GetSize()));
      for (INT_PTR i = 1; i < arValues.GetSize(); ++i) {
        LORN_FUZZ_CHECK(arValues[i - 1].Compare(arValues[i]) <= 0);
      }
      break;
    default:
      LORN_FUZZ_CHECK(!"unknown cell kind");
  }
}

void Classify(const char* pszValue) {
  static const BYTE s_arStart[] = {COL_TYPE_NONE, COL_TYPE_LONG, COL_TYPE_REAL, COL_TYPE_STR, 3,
                                   0xFF};
  for (BYTE nStart : s_arStart) {
    const BYTE nType = ClassifyCell(pszValue, nStart);
    if (nStart >= COL_TYPE_STR) {
      LORN_FUZZ_CHECK(nType == COL_TYPE_STR);
    } else if (nStart == COL_TYPE_LONG || nStart == COL_TYPE_REAL) {
      // Types only grow.
      LORN_FUZZ_CHECK(IsType(nType) && nType >= nStart);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  CInput input(pData, nSize);
  const BYTE nFlags = input.Byte();
  lorn_fuzz::SelectCodePage(nFlags & 7);
  char cOpen = '(';
  char cClose = ')';
  char cValueSep = '*';
  char cAny = '*';
  std::string strRangeSep = "..";
  if ((nFlags & 8) != 0) {
    cOpen = static_cast<char>(input.Byte());
    cClose = static_cast<char>(input.Byte());
    cValueSep = static_cast<char>(input.Byte());
    cAny = static_cast<char>(input.Byte());
    strRangeSep = input.Bytes(1 + input.Byte() % 4);
    // The grammar needs a separator of at least one byte.
    if (strRangeSep.empty() || strRangeSep[0] == '\0') {
      strRangeSep = "..";
    }
  }
  const std::string strCell = (nFlags & 16) != 0
                                  ? lorn_fuzz::Expand(input, s_arLimits, std::size(s_arLimits))
                                  : input.Rest();
  const char* pszCell = strCell.c_str();

  try {
    CStringArray arValues;
    BYTE nCellFlags = 0xEE;
    const BYTE nKind = SplitCellEx(pszCell, arValues, &nCellFlags, cOpen, cClose, cValueSep, cAny,
                                   strRangeSep.c_str());
    CheckSplit(pszCell, nKind, arValues, nCellFlags,
               strRangeSep[0] != cOpen && strRangeSep[0] != cClose && !_ismbblead(cOpen) &&
                   !_ismbblead(cClose));
    for (INT_PTR i = 0; i < arValues.GetSize() && i < MAX_CLASSIFIED; ++i) {
      Classify(arValues[i]);
    }
    Classify(pszCell);

    // A second split into the same array starts afresh.
    const BYTE nAgain = SplitCellEx(pszCell, arValues, &nCellFlags, cOpen, cClose, cValueSep, cAny,
                                    strRangeSep.c_str());
    LORN_FUZZ_CHECK(nAgain == nKind);
  } catch (const CInvalidArgException&) {
  } catch (const CArchiveException&) {
  } catch (const CFileException&) {
  }
  return 0;
}
