#include "python/src/py_errors.h"

#include <cerrno>
#include <cstring>

#include "platform/exceptions.h"

namespace py = pybind11;

namespace {

PyObject* g_pError = nullptr;
PyObject* g_pQueryError = nullptr;
PyObject* g_pColumnError = nullptr;

PyObject* NewClass(py::module_& m, const char* pszName, PyObject* pBases, const char* pszDoc) {
  std::string strFull = std::string("lorn.") + pszName;
  PyObject* pClass = PyErr_NewExceptionWithDoc(strFull.c_str(), pszDoc, pBases, nullptr);
  if (pClass == nullptr) {
    throw py::error_already_set();
  }
  m.add_object(pszName, py::handle(pClass));
  return pClass;
}

void RaiseOsError(int nErrno, const std::string& strPath, const std::string& strWhy) {
  std::string strText = strWhy.empty() ? std::strerror(nErrno) : strWhy;
  py::object error = py::reinterpret_borrow<py::object>(PyExc_OSError)(nErrno, strText, strPath);
  PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
}

void RaiseWithPosition(const std::string& strText, py::object position) {
  py::object error = py::reinterpret_borrow<py::object>(g_pQueryError)(strText);
  error.attr("position") = position;
  PyErr_SetObject(g_pQueryError, error.ptr());
}

std::string FileText(const CFileException& e) {
  std::string strName = e.m_strFileName.GetString();
  std::string strCause =
      e.m_lOsError > 0 ? std::strerror(static_cast<int>(e.m_lOsError)) : e.what();
  if (e.m_cause == CFileException::sharingViolation || e.m_cause == CFileException::lockViolation) {
    strCause = "locked by another process";
  } else if (e.m_cause == CFileException::cellTooLong) {
    strCause = "a cell does not fit the line buffer (61,440 bytes)";
  }
  return strName.empty() ? strCause : strName + ": " + strCause;
}

}  // namespace

void RegisterErrors(py::module_& m) {
  g_pError = NewClass(m, "Error", PyExc_Exception,
                      "Base class of lorn's own errors: a table that cannot be opened, read, "
                      "indexed or rewritten for a reason that is no plain file error.");
  py::tuple queryBases = py::make_tuple(py::handle(g_pError), py::handle(PyExc_ValueError));
  g_pQueryError = NewClass(m, "QueryError", queryBases.ptr(),
                           "A query that cannot be made: a malformed expression (position "
                           "gives the character, from 1, where reading stopped) or a value "
                           "that its column cannot hold (position is None).");
  // Raised from Python as well, where no position is given.
  py::handle(g_pQueryError).attr("position") = py::none();
  py::tuple columnBases = py::make_tuple(py::handle(g_pError), py::handle(PyExc_KeyError));
  g_pColumnError = NewClass(m, "ColumnError", columnBases.ptr(),
                            "A column name or number that the table does not have.");
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) {
        std::rethrow_exception(p);
      }
    } catch (const CPyOsError& e) {
      RaiseOsError(e.m_nErrno, e.m_strPath, e.what());
    } catch (const CExprError& e) {
      RaiseWithPosition(e.what(), py::int_(e.m_nPos));
    } catch (const CValueError& e) {
      RaiseWithPosition(e.what(), py::none());
    } catch (const CColumnError& e) {
      PyErr_SetString(g_pColumnError, e.what());
    } catch (const CRowError& e) {
      PyErr_SetString(PyExc_IndexError, e.what());
    } catch (const CHostError& e) {
      PyErr_SetString(g_pError, e.what());
    } catch (const CFileException& e) {
      int nErrno = static_cast<int>(e.m_lOsError);
      if (nErrno == ENOENT || nErrno == EACCES || nErrno == EPERM || nErrno == EISDIR) {
        RaiseOsError(nErrno, e.m_strFileName.GetString(), "");
      } else {
        PyErr_SetString(g_pError, FileText(e).c_str());
      }
    } catch (const CArchiveException& e) {
      std::string strText = std::string(e.m_strFileName.GetString()) +
                            ": damaged sidecar or archive (" + e.what() +
                            "); removing the sidecar makes the next use rebuild it";
      PyErr_SetString(g_pError, strText.c_str());
    } catch (const CException& e) {
      PyErr_SetString(g_pError, e.what());
    }
  });
}
