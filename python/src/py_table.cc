#include "python/src/py_table.h"

#include <pybind11/numpy.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <set>
#include <utility>

#include "frame/lorn_defs.h"
#include "host/expr_parser.h"
#include "host/host_error.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "python/src/lib_lock.h"
#include "python/src/py_errors.h"
#include "python/src/py_monitor.h"
#include "query/query_std.h"
#include "query/result_std.h"

namespace py = pybind11;

namespace {

std::string FolderOf(const std::string& strPath) {
  size_t nSlash = strPath.rfind('/');
  return nSlash == std::string::npos ? "." : (nSlash == 0 ? "/" : strPath.substr(0, nSlash));
}

bool IsMask(int nMask) {
  return nMask == CRIT_EQUAL || nMask == CRIT_LESS || nMask == (CRIT_LESS | CRIT_EQUAL) ||
         nMask == CRIT_GREATER || nMask == (CRIT_GREATER | CRIT_EQUAL) || nMask == CRIT_DIFFERENT;
}

// A cell of the array as a Python object of the table's text.
py::object CellObject(const CPyText& text, const CStringArray& arCells, INT_PTR i) {
  const CString& strCell = arCells.GetAt(i);
  return text.Cell(strCell.GetString(), static_cast<size_t>(strCell.GetLength()));
}

// The files that tables of this module hold open, by device and inode;
// changed under CLibLock.
std::multiset<std::pair<dev_t, ino_t>>& OpenTables() {
  static std::multiset<std::pair<dev_t, ino_t>> s_openTables;
  return s_openTables;
}

}  // namespace

bool IsTableOpen(const std::string& strPath) {
  struct stat st {};
  CLibLock lock;
  return stat(strPath.c_str(), &st) == 0 && OpenTables().count({st.st_dev, st.st_ino}) > 0;
}

CPyTable::CPyTable(const std::string& strPath, bool bRaw, const std::string& strOpen)
    : m_strPath(strPath), m_bRaw(bRaw) {
  struct stat st {};
  if (stat(strPath.c_str(), &st) != 0) {
    throw CPyOsError(errno, strPath);
  }
  if (S_ISDIR(st.st_mode)) {
    throw CPyOsError(EISDIR, strPath);
  }
  if (access(strPath.c_str(), R_OK) != 0) {
    throw CPyOsError(errno, strPath);
  }
  CLibLock lock;
  m_pTable = std::make_unique<CCatStd>(strOpen.empty() ? strPath.c_str() : strOpen.c_str());
  if (!m_pTable->IsOpen()) {
    m_pTable.reset();
    throw CHostError(strPath +
                     ": cannot be opened as a table (no header line, or the table or its "
                     "sidecar is locked by another process)");
  }
  CString strLocale;
  m_text = CPyText(m_pTable->GetLocale(strLocale), bRaw);
  m_fileId = {st.st_dev, st.st_ino};
  OpenTables().insert(m_fileId);
}

CPyTable::~CPyTable() {
  if (m_pTable == nullptr) {
    return;
  }
  try {
    CLibLock lock;
    m_pQuery.reset();
    m_pTable.reset();
    OpenTables().erase(OpenTables().find(m_fileId));
  } catch (...) {
    // Dropped from within a progress callback, where the library is busy:
    // the objects are left to the end of the process rather than destroyed
    // under the operation.
    static_cast<void>(m_pQuery.release());
    static_cast<void>(m_pTable.release());
  }
}

void CPyTable::Close() {
  if (m_pTable != nullptr) {
    CLibLock lock;
    m_pQuery.reset();
    m_pTable.reset();
    OpenTables().erase(OpenTables().find(m_fileId));
  }
}

CCatStd& CPyTable::Root() {
  if (m_pTable == nullptr) {
    throw CHostError(m_strPath + ": the table is closed");
  }
  return *m_pTable;
}

bool CPyTable::IsScrambled() {
  CLibLock lock;
  return Root().IsScrambled() != FALSE;
}

std::string CPyTable::Locale() {
  CLibLock lock;
  CString strLocale;
  return Root().GetLocale(strLocale);
}

void CPyTable::BringUpToDate(py::object progress) {
  CCatStd& table = Root();
  CPyMonitor monitor(std::move(progress));
  BOOL bOK = FALSE;
  {
    CMonitorScope scope(&monitor);
    py::gil_scoped_release release;
    bOK = table.IndexTable();
  }
  monitor.RaiseKept();
  if (bOK && table.IsIndexed()) {
    CString strLocale;
    m_text = CPyText(table.GetLocale(strLocale), m_bRaw);
    return;
  }
  CString strSide;
  table.GetSidePath(strSide, TRUE);
  std::string strSidePath = strSide.GetString();
  if (access(FolderOf(strSidePath).c_str(), W_OK) != 0) {
    throw CPyOsError(errno, strSidePath, "the sidecar cannot be written in this folder");
  }
  if (access(strSidePath.c_str(), F_OK) == 0 && access(strSidePath.c_str(), W_OK) != 0) {
    throw CPyOsError(errno, strSidePath, "the sidecar is read-only");
  }
  throw CHostError(m_strPath +
                   ": cannot be indexed (the table or its sidecar is locked by another "
                   "process, or a working file could not be made)");
}

std::vector<std::string> CPyTable::ColumnNames() {
  std::vector<std::string> names;
  CCatStd& table = Root();
  for (short nCol = 0; nCol < table.GetColCount(); ++nCol) {
    CString strName;
    table.GetColName(static_cast<WORD>(nCol), strName);
    names.emplace_back(strName.GetString(), static_cast<size_t>(strName.GetLength()));
  }
  return names;
}

WORD CPyTable::ResolveColumn(py::handle column) {
  CCatStd& table = Root();
  short nCount = table.GetColCount();
  long long nCol = -1;
  std::string strShown;
  if (py::isinstance<py::int_>(column)) {
    nCol = column.cast<long long>();
    strShown = std::to_string(nCol);
  } else {
    std::string strName = m_text.ToTable(column);
    strShown = py::str(column).cast<std::string>();
    if (strName.size() > 1 && strName[0] == '#' &&
        strName.find_first_not_of("0123456789", 1) == std::string::npos && strName.size() < 7) {
      nCol = std::atoll(strName.c_str() + 1);
    } else {
      nCol = table.FindCol(strName.c_str());
    }
  }
  if (nCol < 0 || nCol >= nCount) {
    std::string strList;
    for (const std::string& strName : ColumnNames()) {
      if (!strList.empty()) {
        strList.append(", ");
      }
      strList.append(py::str(m_text.Cell(strName.data(), strName.size())).cast<std::string>());
    }
    throw CColumnError(Format("%s: no column \"%s\"; the columns are %s", m_strPath.c_str(),
                              strShown.c_str(), strList.c_str()));
  }
  return static_cast<WORD>(nCol);
}

py::list CPyTable::Columns() {
  CLibLock lock;
  CCatStd& table = Root();
  if (!table.IsIndexed()) {
    BringUpToDate(py::none());
  }
  py::list columns;
  std::vector<std::string> names = ColumnNames();
  for (size_t i = 0; i < names.size(); ++i) {
    auto nCol = static_cast<WORD>(i);
    bool bBuilt = static_cast<INT_PTR>(i) < table.m_arColIndexPos.GetSize() &&
                  table.m_arColIndexPos.GetAt(static_cast<INT_PTR>(i)) != 0;
    columns.append(py::make_tuple(m_text.Cell(names[i].data(), names[i].size()),
                                  table.GetColType(nCol), table.GetColSize(nCol), bBuilt));
  }
  return columns;
}

void CPyTable::Index(const std::vector<py::object>& columns, py::object progress) {
  CLibLock lock;
  CCatStd& table = Root();
  std::vector<WORD> cols;
  for (const py::object& column : columns) {
    cols.push_back(ResolveColumn(column));
  }
  for (WORD nCol : cols) {
    table.SetColFlags(nCol, COL_FLAG_INDEXED);
  }
  BringUpToDate(std::move(progress));
}

DWORD CPyTable::RowCount() {
  CLibLock lock;
  if (!Root().IsIndexed()) {
    BringUpToDate(py::none());
  }
  return Root().GetRowCount();
}

py::tuple CPyTable::RowTuple(DWORD nRow, CStringArray& arCells, const std::vector<WORD>& cols) {
  if (!Root().ReadRow(nRow, arCells)) {
    throw CHostError(
        Format("%s: row %u cannot be read (the table changed since it was indexed, or its last "
               "line has no line end)",
               m_strPath.c_str(), static_cast<unsigned>(nRow)));
  }
  INT_PTR nCells = cols.empty() ? arCells.GetSize() : static_cast<INT_PTR>(cols.size());
  py::tuple row(nCells);
  for (INT_PTR i = 0; i < nCells; ++i) {
    INT_PTR nCol = cols.empty() ? i : cols[static_cast<size_t>(i)];
    PyTuple_SET_ITEM(row.ptr(), i, CellObject(m_text, arCells, nCol).release().ptr());
  }
  return row;
}

py::list CPyTable::Rows(const std::vector<long long>& rows, const std::vector<WORD>& cols) {
  CLibLock lock;
  if (!Root().IsIndexed()) {
    BringUpToDate(py::none());
  }
  DWORD nRows = Root().GetRowCount();
  for (long long nRow : rows) {
    if (nRow < 0 || nRow >= nRows) {
      throw CRowError(Format("row %lld is not in %s (%u rows, numbered from 0)", nRow,
                             m_strPath.c_str(), static_cast<unsigned>(nRows)));
    }
  }
  py::list result(rows.size());
  CStringArray arCells;
  for (size_t i = 0; i < rows.size(); ++i) {
    result[i] = RowTuple(static_cast<DWORD>(rows[i]), arCells, cols);
  }
  return result;
}

py::list CPyTable::ColumnArrays(const std::vector<long long>& rows, bool bAll,
                                const std::vector<WORD>& cols) {
  CLibLock lock;
  CCatStd& table = Root();
  if (!table.IsIndexed()) {
    BringUpToDate(py::none());
  }
  DWORD nRows = table.GetRowCount();
  size_t nCount = bAll ? nRows : rows.size();
  std::vector<WORD> chosen = cols;
  if (chosen.empty()) {
    for (short nCol = 0; nCol < table.GetColCount(); ++nCol) {
      chosen.push_back(static_cast<WORD>(nCol));
    }
  }
  // Object arrays of numpy, filled in place: pandas takes them as they are.
  std::vector<py::array> arrays;
  std::vector<PyObject**> data;
  for (size_t c = 0; c < chosen.size(); ++c) {
    arrays.emplace_back(py::dtype("object"),
                        std::vector<py::ssize_t>{static_cast<py::ssize_t>(nCount)});
    data.push_back(static_cast<PyObject**>(arrays.back().mutable_data()));
  }
  CStringArray arCells;
  for (size_t i = 0; i < nCount; ++i) {
    long long nRow = bAll ? static_cast<long long>(i) : rows[i];
    if (nRow < 0 || nRow >= nRows || !table.ReadRow(static_cast<DWORD>(nRow), arCells)) {
      throw CRowError(Format("row %lld is not in %s (%u rows, numbered from 0)", nRow,
                             m_strPath.c_str(), static_cast<unsigned>(nRows)));
    }
    for (size_t c = 0; c < chosen.size(); ++c) {
      // The array holds None (a null entry) until the cell replaces it.
      PyObject*& pSlot = data[c][i];
      Py_XDECREF(pSlot);
      pSlot = CellObject(m_text, arCells, chosen[c]).release().ptr();
    }
  }
  py::list result;
  for (py::array& array : arrays) {
    result.append(std::move(array));
  }
  return result;
}

py::list CPyTable::Values(py::object column) {
  CLibLock lock;
  CCatStd& table = Root();
  WORD nCol = ResolveColumn(column);
  table.SetColFlags(nCol, COL_FLAG_INDEXED);
  BringUpToDate(py::none());
  py::list values;
  CString strValue;
  for (BOOL bMore = table.NextColValue(nCol, strValue, TRUE); bMore;
       bMore = table.NextColValue(nCol, strValue, FALSE)) {
    values.append(m_text.Cell(strValue.GetString(), static_cast<size_t>(strValue.GetLength())));
  }
  return values;
}

namespace {

// The criterion in the table's text, its value checked against its column.
CExprCriterion CheckCriterion(CPyTable& table, CQueryStd& query, const CPyCriterion& criterion,
                              WORD nCol) {
  if (!IsMask(criterion.nMask)) {
    throw CValueError(
        Format("%d is no comparison: the masks are 1 (=), 16 (<), 17 (<=), 32 (>), 33 (>=) "
               "and 48 (!=)",
               criterion.nMask));
  }
  if (criterion.strConnector != "&" && criterion.strConnector != "|") {
    throw CValueError("criteria are joined by \"&\" or \"|\", not \"" + criterion.strConnector +
                      "\"");
  }
  CExprCriterion checked;
  checked.strColumn = PyUnicode_Check(criterion.column.ptr())
                          ? criterion.column.cast<std::string>()
                          : py::str(criterion.column).cast<std::string>();
  checked.nMask = static_cast<BYTE>(criterion.nMask);
  checked.strValue = table.Text().ToTable(criterion.value);
  try {
    ValidateCriterion(checked, query.GetColType(nCol));
  } catch (const CHostError& e) {
    throw CValueError(e.what());
  }
  return checked;
}

// Puts the criteria into the query, each checked against its column.
void AddCriteria(CPyTable& table, CQueryStd& query, const std::vector<CPyCriterion>& criteria) {
  if (criteria.empty()) {
    throw CValueError("a query needs at least one criterion");
  }
  // A query chained to the table folds its values under its own locale:
  // it takes the table's, so that its keys are those of the indexes.
  CString strLocale;
  table.Root().GetLocale(strLocale);
  if (!strLocale.IsEmpty()) {
    query.SetLocale(strLocale);
  }
  for (size_t i = 0; i < criteria.size(); ++i) {
    const CPyCriterion& criterion = criteria[i];
    WORD nCol = table.ResolveColumn(criterion.column);
    CExprCriterion checked = CheckCriterion(table, query, criterion, nCol);
    if (i > 0) {
      query.AddOperator(criterion.strConnector == "|" ? CRIT_OR : CRIT_AND);
    }
    if (query.AddCriteria(nCol, checked.nMask, checked.strValue.c_str()) < 0) {
      throw CHostError(Format("%s: the criterion on \"%s\" was refused", table.Path().c_str(),
                              checked.strColumn.c_str()));
    }
  }
}

}  // namespace

CQueryStd& CPyTable::ReusableQuery(const std::vector<CPyCriterion>& criteria) {
  std::string strShape;
  std::vector<WORD> cols;
  for (const CPyCriterion& criterion : criteria) {
    cols.push_back(ResolveColumn(criterion.column));
    strShape += Format("%s%u:%d,", criterion.strConnector.c_str(),
                       static_cast<unsigned>(cols.back()), criterion.nMask);
  }
  if (m_pQuery != nullptr && !criteria.empty() && strShape == m_strQueryShape) {
    for (size_t i = 0; i < criteria.size(); ++i) {
      CExprCriterion checked = CheckCriterion(*this, *m_pQuery, criteria[i], cols[i]);
      m_pQuery->SetCriteriaValue(static_cast<short>(i), checked.strValue.c_str());
    }
    // The table may have changed since the last run: the search runs again.
    m_pQuery->Invalidate();
    return *m_pQuery;
  }
  m_pQuery.reset();
  m_strQueryShape.clear();
  auto pQuery = std::make_unique<CQueryStd>(&Root());
  AddCriteria(*this, *pQuery, criteria);
  m_pQuery = std::move(pQuery);
  m_strQueryShape = strShape;
  return *m_pQuery;
}

std::vector<DWORD> CPyTable::Run(const std::vector<CPyCriterion>& criteria) {
  CLibLock lock;
  CCatStd& table = Root();
  if (!table.IsIndexed()) {
    BringUpToDate(py::none());
  }
  CQueryStd& query = ReusableQuery(criteria);
  // The indexes that the criteria want are built here, other threads
  // running meanwhile.
  if (!table.IsIndexed()) {
    BringUpToDate(py::none());
  }
  if (!query.Run()) {
    BringUpToDate(py::none());
    throw CHostError(m_strPath + ": the query could not run");
  }
  std::vector<DWORD> rows;
  CDWordArray* pRows = query.GetRows();
  if (pRows != nullptr) {
    rows.reserve(static_cast<size_t>(pRows->GetSize()));
    for (INT_PTR i = 0; i < pRows->GetSize(); ++i) {
      DWORD nRow = pRows->GetAt(i);
      // A row qualifies once for each of its values that does; the rows
      // are ascending, so repeats stand together.
      if (rows.empty() || rows.back() != nRow) {
        rows.push_back(nRow);
      }
    }
  }
  return rows;
}

py::tuple CPyTable::View(const std::vector<CPyCriterion>& criteria, const std::vector<WORD>& cols) {
  CLibLock lock;
  CCatStd& table = Root();
  if (!table.IsIndexed()) {
    BringUpToDate(py::none());
  }
  if (cols.empty()) {
    throw CValueError("a view needs at least one column");
  }
  CQueryStd query(&table);
  AddCriteria(*this, query, criteria);
  if (!table.IsIndexed()) {
    BringUpToDate(py::none());
  }
  CStringArray arNames;
  for (WORD nCol : cols) {
    CString strName;
    table.GetColName(nCol, strName);
    arNames.Add(strName);
  }
  CResultStd view(&query, &arNames);
  CDWordArray* pRows = view.GetRows();
  INT_PTR nCount = pRows != nullptr ? pRows->GetSize() : 0;
  CStringArray arHeader;
  view.GetColumnNames(&arHeader);
  py::list names;
  for (INT_PTR i = 0; i < arHeader.GetSize(); ++i) {
    names.append(CellObject(m_text, arHeader, i));
  }
  py::list rows;
  py::list cells;
  CStringArray arCells;
  for (INT_PTR i = 0; i < nCount; ++i) {
    if (!view.GetRowCells(static_cast<short>(i), &arCells)) {
      throw CHostError(
          Format("%s: row %u cannot be read (the table changed since it was indexed, or its last "
                 "line has no line end)",
                 m_strPath.c_str(), static_cast<unsigned>(pRows->GetAt(i))));
    }
    py::tuple row(static_cast<size_t>(arCells.GetSize()));
    for (INT_PTR c = 0; c < arCells.GetSize(); ++c) {
      row[static_cast<size_t>(c)] = CellObject(m_text, arCells, c);
    }
    rows.append(pRows->GetAt(i));
    cells.append(std::move(row));
  }
  return py::make_tuple(names, rows, cells);
}
