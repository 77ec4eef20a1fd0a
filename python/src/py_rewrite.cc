#include "python/src/py_rewrite.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <utility>

#include "host/host_error.h"
#include "platform/collections.h"
#include "python/src/lib_lock.h"
#include "python/src/py_errors.h"
#include "python/src/py_monitor.h"
#include "python/src/py_table.h"

namespace py = pybind11;

namespace {

// Runs the library's rewrite without the interpreter lock; what it gives back
// is its result.
BOOL RunRewrite(const std::function<BOOL()>& rewrite, py::object progress) {
  CPyMonitor monitor(std::move(progress));
  BOOL bOK = FALSE;
  {
    CMonitorScope scope(&monitor);
    py::gil_scoped_release release;
    bOK = rewrite();
  }
  monitor.RaiseKept();
  return bOK;
}

// Raises lorn.Error when a table of this process holds the file.
void RequireClosed(const std::string& strPath) {
  if (IsTableOpen(strPath)) {
    throw CHostError(strPath +
                     ": the table is open (a lorn.Table of this process holds it); "
                     "close it before rewriting it");
  }
}

// Raises PermissionError when the table file or its folder cannot be written.
void RequireWritable(const std::string& strPath) {
  if (access(strPath.c_str(), W_OK) != 0) {
    throw CPyOsError(errno, strPath);
  }
  size_t nSlash = strPath.rfind('/');
  std::string strFolder =
      nSlash == std::string::npos ? "." : (nSlash == 0 ? "/" : strPath.substr(0, nSlash));
  if (access(strFolder.c_str(), W_OK) != 0) {
    throw CPyOsError(errno, strFolder, "the folder of the table cannot be written");
  }
}

std::string TwinPath(const std::string& strPath, bool bCrypt) {
  size_t nSlash = strPath.rfind('/');
  size_t nDot = strPath.rfind('.');
  std::string strStem = nDot == std::string::npos || (nSlash != std::string::npos && nDot < nSlash)
                            ? strPath + "."
                            : strPath.substr(0, nDot + 1);
  return strStem + (bCrypt ? "SDC" : "TXT");
}

}  // namespace

namespace {

// compact and uncompact: the table at strPath rewritten by fnRewrite with
// the columns resolved (null for none given: every column). bInPlace: the
// table file itself is rewritten, so it must be writable. strFailed names
// the failure.
void RewriteByColumns(const std::string& strPath, const std::vector<py::object>& columns,
                      bool bInPlace, py::object progress, const std::string& strFailed,
                      const std::function<BOOL(CCatStd&, CWordArray*)>& fnRewrite) {
  RequireClosed(strPath);
  if (bInPlace) {
    RequireWritable(strPath);
  }
  CPyTable table(strPath, false);
  CLibLock lock;
  CWordArray arCols;
  for (const py::object& column : columns) {
    arCols.Add(table.ResolveColumn(column));
  }
  CCatStd& root = table.Root();
  if (!RunRewrite([&] { return fnRewrite(root, columns.empty() ? nullptr : &arCols); },
                  std::move(progress))) {
    throw CHostError(strPath + strFailed);
  }
}

}  // namespace

void CompactTable(const std::string& strPath, const std::vector<py::object>& columns,
                  py::object progress) {
  RewriteByColumns(
      strPath, columns, true, std::move(progress),
      ": the compaction failed (a file of the rewrite could not be opened or "
      "made); the table is as it was",
      [](CCatStd& table, CWordArray* pCols) { return table.CompactTable(nullptr, pCols); });
}

void UncompactTable(const std::string& strPath, const std::vector<py::object>& columns,
                    const std::string& strTarget, py::object progress) {
  const char* pszTarget = strTarget.empty() ? nullptr : strTarget.c_str();
  RewriteByColumns(strPath, columns, strTarget.empty(), std::move(progress),
                   ": the expansion failed (a file of the rewrite could not be opened or made)",
                   [pszTarget](CCatStd& table, CWordArray* pCols) {
                     return table.UncompactTable(pszTarget, pCols);
                   });
}

std::string ConvertTable(const std::string& strPath, bool bCrypt, bool bOverwrite,
                         py::object progress) {
  RequireClosed(strPath);
  CPyTable table(strPath, false);
  if (table.IsScrambled() == bCrypt) {
    throw CHostError(
        Format("%s: the table is %s already", strPath.c_str(), bCrypt ? "scrambled" : "plain"));
  }
  std::string strTwin = TwinPath(strPath, bCrypt);
  struct stat st {};
  if (stat(strTwin.c_str(), &st) == 0 && !bOverwrite) {
    throw CPyOsError(EEXIST, strTwin, "the twin exists; give overwrite=True to replace it");
  }
  CLibLock lock;
  CCatStd& root = table.Root();
  RunRewrite(
      [&] {
        root.CryptTable(bCrypt ? TRUE : FALSE);
        return TRUE;
      },
      std::move(progress));
  if (stat(strTwin.c_str(), &st) != 0) {
    throw CPyOsError(errno, strTwin, "the twin could not be written");
  }
  return strTwin;
}

void DeleteTableRows(const std::string& strPath, const std::vector<long long>& rows) {
  RequireClosed(strPath);
  RequireWritable(strPath);
  CPyTable table(strPath, false);
  if (table.IsScrambled()) {
    throw CHostError(strPath +
                     ": rows of a scrambled table cannot be deleted (each line's scrambling "
                     "depends on its place): decrypt it first");
  }
  DWORD nRows = table.RowCount();
  CLibLock lock;
  CDWordArray arRows;
  for (long long nRow : rows) {
    if (nRow < 0 || nRow >= nRows) {
      throw CRowError(Format("row %lld is not in %s (%u rows, numbered from 0)", nRow,
                             strPath.c_str(), static_cast<unsigned>(nRows)));
    }
    arRows.Add(static_cast<DWORD>(nRow));
  }
  if (rows.empty()) {
    return;
  }
  CCatStd& root = table.Root();
  if (!RunRewrite([&] { return root.DeleteRows(arRows); }, py::none())) {
    throw CHostError(strPath +
                     ": the rows could not be deleted (the table could not be opened "
                     "for writing)");
  }
}
