// How failures reach Python. The library reports by results and lets the
// platform's exceptions pass; the module turns both into the exceptions a
// Python user expects:
//   FileNotFoundError, PermissionError, IsADirectoryError  a file that cannot
//                                    be opened or written, with errno and path
//   lorn.QueryError (ValueError)     a bad expression (with .position, from 1)
//                                    or a value that its column cannot hold
//   lorn.ColumnError (KeyError)      a column that the table does not have
//   IndexError                       a row number beyond the last row
//   lorn.Error                       the base of lorn's own errors, and the rest
#ifndef LORN_PYTHON_SRC_PY_ERRORS_H_
#define LORN_PYTHON_SRC_PY_ERRORS_H_

#include <pybind11/pybind11.h>

#include <string>

#include "host/host_error.h"

// An operating-system failure on a file, raised as the OSError subclass of
// its errno.
class CPyOsError : public CHostError {
 public:
  CPyOsError(int nErrno, const std::string& strPath, const std::string& strWhy = "")
      : CHostError(strWhy), m_nErrno(nErrno), m_strPath(strPath) {}
  int m_nErrno;
  std::string m_strPath;
};

// A column that the table does not have.
class CColumnError : public CHostError {
 public:
  using CHostError::CHostError;
};

// A criterion's value that its column cannot hold.
class CValueError : public CHostError {
 public:
  using CHostError::CHostError;
};

// A row number beyond the last row.
class CRowError : public CHostError {
 public:
  using CHostError::CHostError;
};

// Makes lorn.Error, lorn.QueryError and lorn.ColumnError in the module and
// registers the translation of the C++ exceptions above and of the
// platform's.
void RegisterErrors(pybind11::module_& m);

#endif  // LORN_PYTHON_SRC_PY_ERRORS_H_
