// CResultStd: a set that shows its base rows through chosen columns, keeps
// the first row of each group of rows that agree in all chosen cells (exact
// compare, case included) and stops at RESULT_ROW_LIMIT rows.
//
// Stored form, behind that of CSetStd: version byte 1; the chosen columns as
// a CByteArray.
#ifndef LORN_QUERY_RESULT_STD_H_
#define LORN_QUERY_RESULT_STD_H_

#include "platform/collections.h"
#include "platform/lorn_export.h"
#include "platform/types.h"
#include "query/set_std.h"

class LORN_API CResultStd : public CSetStd {
  DECLARE_SERIAL(CResultStd)

 public:
  explicit CResultStd(const char* pszPath = nullptr);
  // With names, SetColumns(pNames).
  CResultStd(CCatStd* pMaster, CStringArray* pNames);
  ~CResultStd() override;

  void Serialize(CArchive& ar) override;
  // 1, or 0 when there is no row to look at.
  BOOL Run() override;
  // The restriction, or the master set's source rows; never this view's own.
  CDWordArray* GetSourceRows() override;
  // The cells of the chosen columns, in table order; 0 without a column.
  BOOL GetRowCells(short nIndex, CStringArray* pCells) override;

  // Chooses the columns by name (any case; unknown names dropped, a name
  // given twice counts once). Result: the number of columns chosen.
  WORD SetColumns(CStringArray* pNames);
  WORD GetColumnNames(CStringArray* pNames);

  CByteArray m_arCols;  // chosen column numbers, ascending
};

LORN_API CArchive& operator>>(CArchive& ar, CResultStd*& pResult);

#endif  // LORN_QUERY_RESULT_STD_H_
