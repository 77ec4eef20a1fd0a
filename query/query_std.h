// CQueryStd: the row set that a caller defines by criteria on columns,
// joined two by two by "&" and "|" and read strictly from left to right
// (A & B | C is (A and B) or C). Every criterion is one walk through its
// column's index (under SetExactSearch, the exact search of
// index/exact_search.h); adding a criterion marks its column as wanted and the run
// builds every missing index first. The answer is the ascending list of the
// rows that qualify, a row repeated once for each of its values that
// qualifies.
//
// Stored form, behind that of CSetStd: version byte 1; WORD count; for each
// criterion WORD column, BYTE mask, string value; then the connectors as a
// CByteArray.
#ifndef LORN_QUERY_QUERY_STD_H_
#define LORN_QUERY_QUERY_STD_H_

#include "platform/collections.h"
#include "platform/lorn_export.h"
#include "platform/types.h"
#include "query/set_std.h"

class CCriteria;

class LORN_API CQueryStd : public CSetStd {
  DECLARE_SERIAL(CQueryStd)

 public:
  explicit CQueryStd(const char* pszPath = nullptr);
  explicit CQueryStd(CCatStd* pMaster);
  // Deletes every criterion.
  ~CQueryStd() override;

  void Serialize(CArchive& ar) override;
  // Builds what is missing; replaces criteria whose column changed type.
  // Result: the root's m_bIndexed.
  BOOL IndexTable() override;
  // 1, or 0 when the table cannot be indexed (the old rows stay).
  BOOL Run() override;

  WORD GetCriteriaCount();
  // Position of the new criterion, or -1 for a closed table or a bad column.
  short AddCriteria(WORD nCol, BYTE nOp, const char* pszValue);
  // Appends a connector ("&" or "|"); does not clear done.
  short AddOperator(BYTE cOp);
  BOOL SetCriteriaValue(short nPos, const char* pszValue);
  BOOL SetCriteria(short nPos, WORD nCol, BYTE nOp, const char* pszValue);
  // 1, or 0 with the column 0xFFFF, the mask 0 and an empty text.
  BOOL GetCriteria(short nPos, WORD& nCol, BYTE& nOp, CString& strValue);
  void RemoveCriteria(short nPos);
  // Does nothing; always -1.
  short ReservedQueryOp(DWORD nReserved1, DWORD nReserved2);

  // A new criterion of the column's type, owned by the caller.
  LORN_INTERNAL CCriteria* CreateCriteria(WORD nCol, BYTE nOp, const char* pszValue);

  CObArray m_arCriteria;     // CCriteria*, owned
  CByteArray m_arOperators;  // entry i stands between criteria i and i + 1
};

LORN_API CArchive& operator>>(CArchive& ar, CQueryStd*& pQuery);

#endif  // LORN_QUERY_QUERY_STD_H_
