// A criterion: one condition of a query — a column of the root table, a
// comparison mask and a value. It tests nothing itself: it holds the value as
// upper-cased text (for reading back and storing) and as the key in the form
// that the column's index compares. Its class follows the column's type.
// A query owns its criteria; they are never stored as objects.
#ifndef LORN_QUERY_CRITERIA_H_
#define LORN_QUERY_CRITERIA_H_

#include "platform/cobject.h"
#include "platform/cstring.h"
#include "platform/types.h"

class CCriteria : public CObject {
 public:
  // If pszValue is neither null nor empty, SetText(pszValue, pszLocale).
  CCriteria(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale);
  ~CCriteria() override;

  // Type code: 4 Str, 1 Long, 2 Real.
  virtual BYTE GetType() = 0;
  // 1 when the value changed, 0 when it did not.
  virtual BOOL SetValue(const char* pszValue, const char* pszLocale) = 0;
  // The column, the mask and a pointer to the search key, valid until the
  // value changes or the criterion goes.
  virtual void GetKey(WORD& nCol, BYTE& nOp, const void*& pKey) = 0;

  WORD GetCol() const { return m_nCol; }
  BYTE GetOp() const { return m_nOp; }
  // Stores the text upper-cased with FoldCase under pszLocale. Always 1.
  BOOL SetText(const char* pszValue, const char* pszLocale);
  void GetDefinition(WORD& nCol, BYTE& nOp, CString& strValue);

  WORD m_nCol;
  BYTE m_nOp;
  CString m_strValue;
};

class CCriteriaStr : public CCriteria {
 public:
  CCriteriaStr(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale);
  ~CCriteriaStr() override;
  BYTE GetType() override;
  // pszValue must not be null.
  BOOL SetValue(const char* pszValue, const char* pszLocale) override;
  void GetKey(WORD& nCol, BYTE& nOp, const void*& pKey) override;
};

class CCriteriaLong : public CCriteria {
 public:
  CCriteriaLong(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale);
  ~CCriteriaLong() override;
  BYTE GetType() override;
  BOOL SetValue(const char* pszValue, const char* pszLocale) override;
  void GetKey(WORD& nCol, BYTE& nOp, const void*& pKey) override;

  LONG m_nValue;
};

class CCriteriaReal : public CCriteria {
 public:
  CCriteriaReal(WORD nCol, BYTE nOp, const char* pszValue, const char* pszLocale);
  ~CCriteriaReal() override;
  BYTE GetType() override;
  BOOL SetValue(const char* pszValue, const char* pszLocale) override;
  void GetKey(WORD& nCol, BYTE& nOp, const void*& pKey) override;

  double m_dValue;
};

#endif  // LORN_QUERY_CRITERIA_H_
