// CSetStd: a table object that stands for a subset of the rows of a table —
// a sorted list of row numbers of the root table. It opens a table itself or
// is chained to a master (a table or another set); how its rows are chosen is
// the business of its subclasses' Run (CQueryStd, CResultStd).
//
// Base rows: a set works on its restriction when it has one; otherwise on
// the source rows of its master set, if its master is a set; otherwise on
// every row of the root table.
//
// Stored form, behind that of CCatStd: version byte 1; WORD done; WORD
// restriction present, then the restriction as a CDWordArray; WORD rows
// present (done and rows not empty), then the rows as a CDWordArray.
#ifndef LORN_QUERY_SET_STD_H_
#define LORN_QUERY_SET_STD_H_

#include "frame/sort_arrays.h"
#include "platform/collections.h"
#include "platform/lorn_export.h"
#include "platform/types.h"
#include "table/cat_std.h"

class LORN_API CSetStd : public CCatStd {
 public:
  explicit CSetStd(const char* pszPath = nullptr);
  explicit CSetStd(CCatStd* pMaster);
  // Deletes the row array, then the restriction.
  ~CSetStd() override;

  void Serialize(CArchive& ar) override;
  BOOL IsTable() override;  // FALSE

  // 1 when the rows are valid, 0 when the run failed.
  virtual BOOL Run() = 0;
  // Runs; the rows (owned by the set, valid until the next run) or null.
  virtual CDWordArray* GetRows();
  virtual CDWordArray* GetSourceRows();
  // Runs; the number of rows cut to 16 bits; 0 on failure.
  virtual WORD GetCount();
  // Runs, then reads the row at nIndex of the set. 1 or 0.
  virtual BOOL GetRowCells(short nIndex, CStringArray* pCells);
  // Runs. Both arguments are ignored.
  virtual void Refresh(DWORD nReserved1, DWORD nReserved2);
  // Runs; the row number at nIndex, or 0xFFFFFFFF.
  virtual DWORD GetRowAt(short nIndex);

  BOOL SetMaster(CCatStd* pMaster);
  // Confines the set to a copy of these rows, sorted; clears done.
  void SetRestriction(const CDWordArray* pRows);
  void Invalidate();
  // 1 when done and the root is indexed.
  BOOL IsDone();

  // The base rows: the restriction, or the master set's source rows, or
  // null for every row of the root.
  LORN_INTERNAL CDWordArray* GetBaseRows();

  BOOL m_bDone;
  CSortDWordArray* m_pRestriction;  // owned, null when unset
  CDWordArray* m_pRows;             // owned, null before the first run
};

#endif  // LORN_QUERY_SET_STD_H_
