#include "cells/cell_range.h"

#include <cmath>

#include "frame/numbers.h"
#include "platform/mbcs.h"

IMPLEMENT_DYNAMIC(CCellStd, CObject)
IMPLEMENT_DYNAMIC(CCellRange, CCellStd)
IMPLEMENT_DYNAMIC(CCellRangeStr, CCellRange)
IMPLEMENT_DYNAMIC(CCellRangeLong, CCellRange)
IMPLEMENT_DYNAMIC(CCellRangeReal, CCellRange)

namespace {

// Entry nIndex of the values, or null when the array does not reach it.
const char* ValueAt(const CStringArray* pValues, INT_PTR nIndex) {
  if (pValues == nullptr || nIndex >= pValues->GetSize()) {
    return nullptr;
  }
  return pValues->GetAt(nIndex);
}

// Characters behind the last "." of the text, 0 without one.
short CountDecimals(const char* pszText) {
  if (pszText == nullptr) {
    return 0;
  }
  const char* pDot = _mbsrchr(pszText, '.');
  if (pDot == nullptr) {
    return 0;
  }
  const size_t nChars = _mbslen(pszText);
  const size_t nDotIndex = _mbsnccnt(pszText, static_cast<size_t>(pDot - pszText));
  return static_cast<short>(nChars - nDotIndex - 1);
}

// The comparison of every range class, given how the value stands to each
// bound (negative: below it, 0: equal, positive: above).
short PlaceInRange(int nToLow, int nToHigh, BYTE nFlags) {
  if (nToLow < 0 || (nToLow == 0 && (nFlags & RANGE_LOW_OPEN) != 0)) {
    return -1;
  }
  if (nToHigh > 0 || (nToHigh == 0 && (nFlags & RANGE_HIGH_OPEN) != 0)) {
    return 1;
  }
  return 0;
}

// How a real value stands to the low bound: strictly below it, however
// little, is below; within the tolerance above it is on it.
int RealToLow(double dValue, double dLow) {
  if (dValue < dLow) {
    return -1;
  }
  return std::fabs(dValue - dLow) < REAL_TOLERANCE ? 0 : 1;
}

// Likewise at the high bound: strictly above it is above.
int RealToHigh(double dValue, double dHigh) {
  if (dValue > dHigh) {
    return 1;
  }
  return std::fabs(dValue - dHigh) < REAL_TOLERANCE ? 0 : -1;
}

}  // namespace

// --- CCellStd ---

CCellStd::~CCellStd() = default;

BYTE CCellStd::GetFlags() const {
  return 0;
}

// --- CCellRange ---

CCellRange::~CCellRange() = default;

BYTE CCellRange::GetKind() const {
  return CELL_RANGE;
}

BYTE CCellRange::GetFlags() const {
  return m_nFlags;
}

// --- CCellRangeStr ---

CCellRangeStr::CCellRangeStr(BYTE nFlags, const CStringArray* pValues) : CCellRange(nFlags) {
  m_strLow = ValueAt(pValues, 0);
  m_strHigh = ValueAt(pValues, 1);
}

CCellRangeStr::~CCellRangeStr() = default;

BYTE CCellRangeStr::GetType() const {
  return COL_TYPE_STR;
}

const void* CCellRangeStr::GetBound(BYTE bHigh) const {
  return bHigh != 0 ? m_strHigh.GetString() : m_strLow.GetString();
}

short CCellRangeStr::Compare(const void* pValue) const {
  if (pValue == nullptr) {
    return 1;
  }
  const char* pszValue = static_cast<const char*>(pValue);
  // CompareNoCase orders the bound against the value: reverse its sign.
  return PlaceInRange(-m_strLow.CompareNoCase(pszValue), -m_strHigh.CompareNoCase(pszValue),
                      m_nFlags);
}

WORD CCellRangeStr::GetValues(CStringArray& arValues) const {
  arValues.SetSize(2);
  arValues[0] = m_strLow;
  arValues[1] = m_strHigh;
  return 2;
}

// --- CCellRangeLong ---

CCellRangeLong::CCellRangeLong(BYTE nFlags, const CStringArray* pValues) : CCellRange(nFlags) {
  m_nLow = TextToLong(ValueAt(pValues, 0));
  m_nHigh = TextToLong(ValueAt(pValues, 1));
}

CCellRangeLong::~CCellRangeLong() = default;

BYTE CCellRangeLong::GetType() const {
  return COL_TYPE_LONG;
}

const void* CCellRangeLong::GetBound(BYTE bHigh) const {
  return bHigh != 0 ? &m_nHigh : &m_nLow;
}

short CCellRangeLong::Compare(const void* pValue) const {
  if (pValue == nullptr) {
    return 1;
  }
  const LONG nValue = *static_cast<const LONG*>(pValue);
  return PlaceInRange((nValue > m_nLow) - (nValue < m_nLow),
                      (nValue > m_nHigh) - (nValue < m_nHigh), m_nFlags);
}

WORD CCellRangeLong::GetValues(CStringArray& arValues) const {
  arValues.SetSize(2);
  arValues[0].Format("%d", static_cast<int>(m_nLow));
  arValues[1].Format("%d", static_cast<int>(m_nHigh));
  return 2;
}

// --- CCellRangeReal ---

CCellRangeReal::CCellRangeReal(BYTE nFlags, const CStringArray* pValues) : CCellRange(nFlags) {
  const char* pszLow = ValueAt(pValues, 0);
  const char* pszHigh = ValueAt(pValues, 1);
  m_dLow = TextToReal(pszLow);
  m_dHigh = TextToReal(pszHigh);
  m_nLowDecimals = CountDecimals(pszLow);
  m_nHighDecimals = CountDecimals(pszHigh);
}

CCellRangeReal::~CCellRangeReal() = default;

BYTE CCellRangeReal::GetType() const {
  return COL_TYPE_REAL;
}

const void* CCellRangeReal::GetBound(BYTE bHigh) const {
  return bHigh != 0 ? &m_dHigh : &m_dLow;
}

short CCellRangeReal::Compare(const void* pValue) const {
  if (pValue == nullptr) {
    return 1;
  }
  const double dValue = *static_cast<const double*>(pValue);
  return PlaceInRange(RealToLow(dValue, m_dLow), RealToHigh(dValue, m_dHigh), m_nFlags);
}

WORD CCellRangeReal::GetValues(CStringArray& arValues) const {
  arValues.SetSize(2);
  arValues[0].Format("%.*f", static_cast<int>(m_nLowDecimals), m_dLow);
  arValues[1].Format("%.*f", static_cast<int>(m_nHighDecimals), m_dHigh);
  return 2;
}
