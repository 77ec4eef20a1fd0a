#include "cells/cell_grammar.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/cstring.h"
#include "platform/mbcs.h"

namespace {

// Offsets inside a cell are 15-bit quantities: a separator that starts
// further in counts as absent. Offsets are kept in ptrdiff_t, so a longer
// cell never wraps one into a small or negative number.
constexpr ptrdiff_t kMaxSepOffset = 0x7FFF;

// Lead bytes of the multi-byte code page in force; null for a single-byte
// page. The page is looked up again only when it changes.
const unsigned char* LeadBytesInForce() {
  static int s_nPage = 0;
  static const unsigned char* s_pbyLead = nullptr;
  const int nPage = _getmbcp();
  if (nPage != s_nPage) {
    const CCodePageTable* pTable = FindCodePageTable(nPage);
    s_pbyLead = pTable != nullptr ? pTable->m_pbyLead : nullptr;
    s_nPage = nPage;
  }
  return s_pbyLead;
}

// Gives arValues nValues places. Strings that stay keep their storage, so
// that a pass that reuses one array for every cell does not allocate.
void SetValueCount(CStringArray& arValues, INT_PTR nValues) {
  const INT_PTR nSize = arValues.GetSize();
  if (nSize > nValues) {
    arValues.RemoveAt(nValues, nSize - nValues);
  } else if (nSize < nValues) {
    arValues.SetSize(nValues);
  }
}

// Steps through a text one character at a time under the multi-byte code
// page in force. The lead-byte table is looked up once per call of the
// splitter, not once per byte.
class CCharStepper {
 public:
  CCharStepper() : m_pbyLead(LeadBytesInForce()) {}

  // Size in bytes of the character at p, which is not the terminator. A lead
  // byte right before the terminator stands alone.
  size_t Size(const char* p) const {
    if (m_pbyLead != nullptr && m_pbyLead[static_cast<unsigned char>(*p)] != 0 && p[1] != '\0') {
      return 2;
    }
    return 1;
  }

 private:
  const unsigned char* m_pbyLead;
};

void Assign(CStringArray& arValues, INT_PTR nIndex, const char* pBegin, const char* pEnd) {
  arValues.ElementAt(nIndex).SetString(pBegin, static_cast<int>(pEnd - pBegin));
}

// Where the two values of a range stand in its cell, and its flags.
struct CRangeCut {
  const char* pLow;
  const char* pLowEnd;
  const char* pHigh;
  const char* pHighEnd;
  BYTE nFlags;
};

// The range form of a cell that opens with a bracket: false when the range
// separator is absent (a null or empty separator never occurs). Brackets are
// found at any offset.
bool FindRange(const char* pCell, const CCharStepper& step, char cOpen, char cClose,
               const char* pszRangeSep, CRangeCut& cut) {
  if (pszRangeSep == nullptr || *pszRangeSep == '\0') {
    return false;
  }
  const size_t nSepLen = strlen(pszRangeSep);

  // One walk up to the separator: the first opening and closing brackets
  // before it.
  ptrdiff_t nP1 = -1;
  ptrdiff_t nP2 = -1;
  ptrdiff_t nS = -1;
  for (const char* p = pCell; *p != '\0';) {
    const ptrdiff_t nOff = p - pCell;
    if (nOff > kMaxSepOffset) {
      return false;
    }
    if (*p == *pszRangeSep && strncmp(p, pszRangeSep, nSepLen) == 0) {
      nS = nOff;
      break;
    }
    const size_t nSize = step.Size(p);
    if (nSize == 1) {
      if (*p == cOpen && nP1 < 0) {
        nP1 = nOff;
      }
      if (*p == cClose && nP2 < 0) {
        nP2 = nOff;
      }
    }
    p += nSize;
  }
  if (nS < 0) {
    return false;
  }

  // Behind the separator: the first opening bracket and the first closing
  // bracket before it; a closing bracket further on decides nothing.
  const ptrdiff_t nHighBegin = nS + static_cast<ptrdiff_t>(nSepLen);
  ptrdiff_t nQ1 = -1;
  ptrdiff_t nQ2 = -1;
  const char* p = pCell + nHighBegin;
  while (*p != '\0') {
    const size_t nSize = step.Size(p);
    if (nSize == 1) {
      if (*p == cOpen) {
        nQ1 = p - pCell;
        break;
      }
      if (*p == cClose && nQ2 < 0) {
        nQ2 = p - pCell;
      }
    }
    p += nSize;
  }

  BYTE nRange = 0;
  ptrdiff_t nLowBegin = 0;
  ptrdiff_t nHighEnd = 0;
  if (nP1 >= 0) {
    nRange |= RANGE_LOW_CLOSED;
    nLowBegin = nP1 + 1;
  }
  if (nQ1 >= 0) {
    nRange |= RANGE_HIGH_OPEN;
    nHighEnd = nQ1;
  }
  if (nQ2 >= 0 && ((nRange & RANGE_HIGH_OPEN) == 0 || nQ2 < nQ1)) {
    nRange |= RANGE_HIGH_CLOSED;
    nHighEnd = nQ2;
  }
  if (nP2 >= 0 && ((nRange & RANGE_LOW_CLOSED) == 0 || nP2 > nQ1)) {
    nRange |= RANGE_LOW_OPEN;
    nLowBegin = nP2 + 1;
  }
  if ((nRange & (RANGE_HIGH_CLOSED | RANGE_HIGH_OPEN)) == 0) {
    // No bracket behind the separator: the walk above ran to the end, and the
    // high value is the rest of the cell.
    nRange |= RANGE_HIGH_CLOSED;
    nHighEnd = p - pCell;
  }

  cut = {pCell + nLowBegin, pCell + nS, pCell + nHighBegin, pCell + nHighEnd, nRange};
  return true;
}

bool SplitRange(const char* pCell, const CCharStepper& step, char cOpen, char cClose,
                const char* pszRangeSep, CStringArray& arValues, BYTE& nFlags) {
  CRangeCut cut;
  if (!FindRange(pCell, step, cOpen, cClose, pszRangeSep, cut)) {
    return false;
  }
  SetValueCount(arValues, 2);
  Assign(arValues, 0, cut.pLow, cut.pLowEnd);
  Assign(arValues, 1, cut.pHigh, cut.pHighEnd);
  nFlags = cut.nFlags;
  return true;
}

// The value separators of a cell, as far as they cut: those beyond the
// 15-bit offset limit do not, and the last value runs to the end of the
// cell, which *ppEnd receives.
INT_PTR CountCuts(const char* pCell, const CCharStepper& step, char cValueSep, const char** ppEnd) {
  INT_PTR nSeps = 0;
  const char* p = pCell;
  while (*p != '\0' && p - pCell <= kMaxSepOffset) {
    const size_t nSize = step.Size(p);
    if (nSize == 1 && *p == cValueSep) {
      ++nSeps;
    }
    p += nSize;
  }
  *ppEnd = p + strlen(p);
  return nSeps;
}

// Hands the nSeps + 1 values of a list, in the order of the text, to
// onValue(pBegin, pEnd).
template <class F>
void CutList(const char* pCell, const char* pEnd, const CCharStepper& step, char cValueSep,
             INT_PTR nSeps, F onValue) {
  INT_PTR nValue = 0;
  const char* pBegin = pCell;
  for (const char* p = pCell; nValue < nSeps;) {
    const size_t nSize = step.Size(p);
    if (nSize == 1 && *p == cValueSep) {
      onValue(pBegin, p);
      ++nValue;
      pBegin = p + 1;
    }
    p += nSize;
  }
  onValue(pBegin, pEnd);
}

// A single value or a list.
BYTE SplitList(const char* pCell, const CCharStepper& step, char cValueSep, CStringArray& arValues,
               BYTE& nFlags) {
  const char* pEnd = nullptr;
  const INT_PTR nSeps = CountCuts(pCell, step, cValueSep, &pEnd);
  if (nSeps == 0) {
    SetValueCount(arValues, 1);
    Assign(arValues, 0, pCell, pEnd);
    return CELL_SINGLE;
  }

  const INT_PTR nValues = nSeps + 1;
  SetValueCount(arValues, nValues);
  INT_PTR nValue = 0;
  CutList(pCell, pEnd, step, cValueSep, nSeps, [&](const char* pBegin, const char* pStop) {
    Assign(arValues, nValue++, pBegin, pStop);
  });

  CString* pData = arValues.GetData();
  std::sort(pData, pData + nValues,
            [](const CString& a, const CString& b) { return a.Compare(b) < 0; });
  nFlags = static_cast<BYTE>(nValues & 0xFF);
  return CELL_LIST;
}

// ClassifyCell on the value that stands from p to pEnd (no NUL within).
BYTE ClassifyValue(const char* p, const char* pEnd, BYTE nType, const CCharStepper& step) {
  if (nType >= COL_TYPE_STR) {
    return COL_TYPE_STR;
  }
  while (p < pEnd && *p == ' ') {
    ++p;
  }
  if (p == pEnd) {
    return nType;
  }
  if (*p == '-' || (*p == '+' && p + 1 < pEnd)) {
    ++p;
    while (p < pEnd && *p == ' ') {
      ++p;
    }
  }

  BYTE nResult = nType;
  bool bDot = false;
  while (p < pEnd) {
    // A lead byte right before the end stands alone, as before a NUL.
    if (p + 1 < pEnd && step.Size(p) != 1) {
      return COL_TYPE_STR;
    }
    const char c = *p;
    if (c == ' ') {
      while (p < pEnd && *p == ' ') {
        ++p;
      }
      return p == pEnd ? nResult : BYTE{COL_TYPE_STR};
    }
    if (c == '.') {
      if (bDot) {
        return COL_TYPE_STR;
      }
      bDot = true;
      nResult = std::max<BYTE>(nResult, COL_TYPE_REAL);
    } else if (c < '0' || c > '9') {
      return COL_TYPE_STR;
    }
    ++p;
  }
  return nResult;
}

}  // namespace

BYTE PeekCell(const char* pszCell, size_t nLength, const char** ppszValue, char cRangeOpen,
              char cRangeClose, char cValueSep, char cAnyValue) {
  if (pszCell == nullptr) {
    return CELL_EMPTY;
  }
  const char* pCell = pszCell;
  while (*pCell == ' ') {
    ++pCell;
  }
  if (*pCell == '\0') {
    return CELL_EMPTY;
  }
  if (pCell[0] == cAnyValue && pCell[1] == '\0') {
    return CELL_ANY;
  }
  // Without a byte equal to the value separator no character is one, in any
  // code page.
  const size_t nRest = nLength - static_cast<size_t>(pCell - pszCell);
  if (pCell[0] == cRangeOpen || pCell[0] == cRangeClose ||
      (cValueSep != '\0' && memchr(pCell, cValueSep, nRest) != nullptr)) {
    return CELL_UNSPLIT;
  }
  *ppszValue = pCell;
  return CELL_SINGLE;
}

BYTE SplitCellEx(const char* pszCell, CStringArray& arValues, BYTE* pFlags, char cRangeOpen,
                 char cRangeClose, char cValueSep, char cAnyValue, const char* pszRangeSep) {
  BYTE nIgnored = 0;
  BYTE& nFlags = pFlags != nullptr ? *pFlags : nIgnored;
  nFlags = 0;
  // Emptied without giving up the array's storage: a pass over a table calls
  // this once per cell and reuses one array. The kinds with values size it
  // to their count, keeping the strings that stay.
  const char* pCell = pszCell;
  while (pCell != nullptr && *pCell == ' ') {
    ++pCell;
  }
  if (pCell == nullptr || *pCell == '\0' || (pCell[0] == cAnyValue && pCell[1] == '\0')) {
    arValues.RemoveAt(0, arValues.GetSize());
    return pCell != nullptr && *pCell != '\0' ? CELL_ANY : CELL_EMPTY;
  }
  const CCharStepper step;
  if ((pCell[0] == cRangeOpen || pCell[0] == cRangeClose) &&
      SplitRange(pCell, step, cRangeOpen, cRangeClose, pszRangeSep, arValues, nFlags)) {
    return CELL_RANGE;
  }
  return SplitList(pCell, step, cValueSep, arValues, nFlags);
}

BYTE ClassifyCell(const char* pszValue, BYTE nType) {
  if (nType >= COL_TYPE_STR) {
    return COL_TYPE_STR;
  }
  if (pszValue == nullptr) {
    return nType;
  }
  const CCharStepper step;
  return ClassifyValue(pszValue, pszValue + strlen(pszValue), nType, step);
}

int MeasureCell(const char* pszCell, size_t nLength, BYTE& nType, BOOL bClassify, char cRangeOpen,
                char cRangeClose, char cValueSep, char cAnyValue, const char* pszRangeSep) {
  const CCharStepper step;
  const char* pszValue = nullptr;
  switch (PeekCell(pszCell, nLength, &pszValue, cRangeOpen, cRangeClose, cValueSep, cAnyValue)) {
    case CELL_EMPTY:
    case CELL_ANY:
      return -1;
    case CELL_SINGLE: {
      const char* pEnd = pszCell + nLength;
      if (bClassify) {
        nType = ClassifyValue(pszValue, pEnd, nType, step);
      }
      return static_cast<int>(pEnd - pszValue);
    }
    default:
      break;
  }
  int nLongest = -1;
  auto onValue = [&](const char* pBegin, const char* pEnd) {
    if (bClassify) {
      nType = ClassifyValue(pBegin, pEnd, nType, step);
    }
    nLongest = std::max(nLongest, static_cast<int>(pEnd - pBegin));
  };
  const char* pCell = pszCell;
  while (*pCell == ' ') {
    ++pCell;
  }
  CRangeCut cut;
  if ((pCell[0] == cRangeOpen || pCell[0] == cRangeClose) &&
      FindRange(pCell, step, cRangeOpen, cRangeClose, pszRangeSep, cut)) {
    onValue(cut.pLow, cut.pLowEnd);
    onValue(cut.pHigh, cut.pHighEnd);
    return nLongest;
  }
  const char* pEnd = nullptr;
  const INT_PTR nSeps = CountCuts(pCell, step, cValueSep, &pEnd);
  CutList(pCell, pEnd, step, cValueSep, nSeps, onValue);
  return nLongest;
}
