#include "query/criteria.h"

#include <cstring>

#include "frame/locale_scope.h"
#include "frame/lorn_defs.h"
#include "frame/numbers.h"

CCriteria::CCriteria(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale)
    : m_nCol(nCol), m_nOp(nOp) {
  if (pszValue != nullptr && *pszValue != '\0') {
    SetText(pszValue, pszLocale);
  }
}

CCriteria::~CCriteria() = default;

BOOL CCriteria::SetText(const char* pszValue, const char* pszLocale) {
  m_strValue = pszValue;
  int nLength = m_strValue.GetLength();
  FoldCase(m_strValue.GetBuffer(nLength), pszLocale, 0);
  m_strValue.ReleaseBuffer();
  return TRUE;
}

void CCriteria::GetDefinition(WORD& nCol, BYTE& nOp, CString& strValue) {
  nCol = m_nCol;
  nOp = m_nOp;
  strValue = m_strValue;
}

// --- Text ---

CCriteriaStr::CCriteriaStr(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale)
    : CCriteria(nCol, nOp, pszValue, pszLocale) {}

CCriteriaStr::~CCriteriaStr() = default;

BYTE CCriteriaStr::GetType() { return COL_TYPE_STR; }

BOOL CCriteriaStr::SetValue(const char* pszValue, const char* pszLocale) {
  // Exact compare with the stored upper-cased text: a lower-case spelling
  // of the same value counts as a change.
  if (std::strcmp(pszValue, m_strValue) == 0) {
    return FALSE;
  }
  return SetText(pszValue, pszLocale);
}

void CCriteriaStr::GetKey(WORD& nCol, BYTE& nOp, const void*& pKey) {
  nCol = m_nCol;
  nOp = m_nOp;
  pKey = static_cast<const char*>(m_strValue);
}

// --- Long ---

CCriteriaLong::CCriteriaLong(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale)
    : CCriteria(nCol, nOp, pszValue, pszLocale), m_nValue(TextToLong(pszValue)) {}

CCriteriaLong::~CCriteriaLong() = default;

BYTE CCriteriaLong::GetType() { return COL_TYPE_LONG; }

BOOL CCriteriaLong::SetValue(const char* pszValue, const char* pszLocale) {
  LONG nValue = TextToLong(pszValue);
  if (nValue == m_nValue) {
    return FALSE;  // the old text stays
  }
  m_nValue = nValue;
  return SetText(pszValue, pszLocale);
}

void CCriteriaLong::GetKey(WORD& nCol, BYTE& nOp, const void*& pKey) {
  nCol = m_nCol;
  nOp = m_nOp;
  pKey = &m_nValue;
}

// --- Real ---

CCriteriaReal::CCriteriaReal(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale)
    : CCriteria(nCol, nOp, pszValue, pszLocale), m_dValue(TextToReal(pszValue)) {}

CCriteriaReal::~CCriteriaReal() = default;

BYTE CCriteriaReal::GetType() { return COL_TYPE_REAL; }

BOOL CCriteriaReal::SetValue(const char* pszValue, const char* pszLocale) {
  double dValue = TextToReal(pszValue);
  // Exact, with no tolerance: two values closer than the index's tolerance
  // still count as a change of the definition.
  if (dValue == m_dValue) {
    return FALSE;
  }
  m_dValue = dValue;
  return SetText(pszValue, pszLocale);
}

void CCriteriaReal::GetKey(WORD& nCol, BYTE& nOp, const void*& pKey) {
  nCol = m_nCol;
  nOp = m_nOp;
  pKey = &m_dValue;
}
