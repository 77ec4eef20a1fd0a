// CPyTable: one open table as the Python module holds it. It owns the
// library's root object; queries and views are made on it for the length of
// one call and give back plain row numbers and cells, so that nothing of the
// library outlives the table or points into it. Closing the table destroys
// the root; every later call raises lorn.Error. Each operation takes CLibLock;
// indexing lets other Python threads run meanwhile.
#ifndef LORN_PYTHON_SRC_PY_TABLE_H_
#define LORN_PYTHON_SRC_PY_TABLE_H_

#include <pybind11/pybind11.h>

#include <sys/types.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/types.h"
#include "python/src/py_text.h"
#include "query/query_std.h"
#include "table/cat_std.h"

// A criterion as Python hands it over: connector ("&" or "|", ignored on the
// first), column (name, "#N" or number), mask (1, 16, 17, 32, 33, 48), value
// (str, bytes or a number).
struct CPyCriterion {
  std::string strConnector;
  pybind11::object column;
  int nMask;
  pybind11::object value;
};

// Whether a CPyTable is open on the file at strPath (the same file, by
// whatever path). A rewrite refuses such a file: the open table holds it.
bool IsTableOpen(const std::string& strPath);

class CPyTable {
 public:
  // Opens the table; raises FileNotFoundError, PermissionError,
  // IsADirectoryError or lorn.Error saying why it cannot. strOpen, when not
  // empty, is the path the library opens instead (a link placed for the
  // sidecar, see host/sidecar_place.h); strPath stays the table's name.
  CPyTable(const std::string& strPath, bool bRaw, const std::string& strOpen = std::string());
  ~CPyTable();
  CPyTable(const CPyTable&) = delete;
  CPyTable& operator=(const CPyTable&) = delete;

  void Close();
  bool IsClosed() const { return m_pTable == nullptr; }
  const std::string& Path() const { return m_strPath; }
  const CPyText& Text() const { return m_text; }
  bool IsScrambled();
  std::string Locale();

  // (name, type, key size, index built) for each column, after analysis.
  pybind11::list Columns();
  // Marks the columns as wanted and builds what the sidecar lacks.
  void Index(const std::vector<pybind11::object>& columns, pybind11::object progress);
  DWORD RowCount();
  // Rows by number as tuples of every cell, or of the cells of cols (column
  // numbers, in that order, repeats allowed) when it is not empty.
  pybind11::list Rows(const std::vector<long long>& rows, const std::vector<WORD>& cols);
  // The same cells column by column: one numpy object array per column of
  // cols (every column when empty); rows empty with bAll for every row.
  pybind11::list ColumnArrays(const std::vector<long long>& rows, bool bAll,
                              const std::vector<WORD>& cols);
  // The distinct values of a column, in key order; indexes it when needed.
  pybind11::list Values(pybind11::object column);
  // The rows that qualify, ascending, each once.
  std::vector<DWORD> Run(const std::vector<CPyCriterion>& criteria);
  // The rows that qualify seen through the columns (by number), rows that
  // agree in all of them once: (column names in table order, row numbers,
  // cells as tuples).
  pybind11::tuple View(const std::vector<CPyCriterion>& criteria, const std::vector<WORD>& cols);
  // A column number from a name (any case), "#N" or a number.
  WORD ResolveColumn(pybind11::handle column);

  // The library's table; raises lorn.Error when it is closed. Under CLibLock.
  CCatStd& Root();

 private:
  // Analyses and builds the wanted indexes without the interpreter lock.
  void BringUpToDate(pybind11::object progress);
  std::vector<std::string> ColumnNames();
  pybind11::tuple RowTuple(DWORD nRow, CStringArray& arCells, const std::vector<WORD>& cols);

  // The query of the last Run, kept for the next one of the same columns,
  // masks and connectors, which only sets its values: a series of point
  // queries makes one query object. Destroyed before the table.
  CQueryStd& ReusableQuery(const std::vector<CPyCriterion>& criteria);

  std::unique_ptr<CCatStd> m_pTable;
  std::unique_ptr<CQueryStd> m_pQuery;
  std::string m_strQueryShape;
  std::string m_strPath;
  CPyText m_text;
  bool m_bRaw;
  std::pair<dev_t, ino_t> m_fileId{};  // the open file, as OpenTables counts it
};

#endif  // LORN_PYTHON_SRC_PY_TABLE_H_
