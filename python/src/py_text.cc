#include "python/src/py_text.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "host/code_page.h"
#include "platform/ctype_locale.h"

namespace py = pybind11;

namespace {

// Windows-1252 from 0x80 to 0x9F; U+FFFD where the code page defines no
// character. Below and above, a byte is the code point of the same number.
constexpr Py_UCS4 kCp1252High[32] = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

Py_UCS4 Cp1252Char(unsigned char c) {
  return c >= 0x80 && c <= 0x9F ? kCp1252High[c - 0x80] : c;
}

// A Windows-1252 text as str, without the codec machinery: cells are short
// and many, and a lookup of the codec by name would cost more than the text.
PyObject* DecodeCp1252(const char* pData, size_t nLen) {
  const auto* pBytes = reinterpret_cast<const unsigned char*>(pData);
  size_t nAscii = 0;
  while (nAscii < nLen && pBytes[nAscii] < 0x80) {
    ++nAscii;
  }
  if (nAscii == nLen) {
    PyObject* pText = PyUnicode_New(static_cast<Py_ssize_t>(nLen), 0x7F);
    if (pText != nullptr) {
      std::memcpy(PyUnicode_DATA(pText), pData, nLen);
    }
    return pText;
  }
  Py_UCS4 nMax = 0;
  for (size_t i = 0; i < nLen; ++i) {
    nMax = std::max(nMax, Cp1252Char(pBytes[i]));
  }
  PyObject* pText = PyUnicode_New(static_cast<Py_ssize_t>(nLen), nMax);
  if (pText == nullptr) {
    return nullptr;
  }
  int nKind = PyUnicode_KIND(pText);
  void* pOut = PyUnicode_DATA(pText);
  for (size_t i = 0; i < nLen; ++i) {
    PyUnicode_WRITE(nKind, pOut, static_cast<Py_ssize_t>(i), Cp1252Char(pBytes[i]));
  }
  return pText;
}

}  // namespace

CPyText::CPyText(const char* pszLocale, bool bRaw) : m_bRaw(bRaw) {
  int nCodePage = CodePageOfLocale(pszLocale);
  if (nCodePage == 65001) {
    m_eKind = EKind::utf8;
    m_strEncoding = "utf-8";
  } else if (nCodePage != 1252) {
    m_eKind = EKind::other;
    m_strEncoding = "cp" + std::to_string(nCodePage);
  }
}

py::object CPyText::Cell(const char* pData, size_t nLen) const {
  auto nSize = static_cast<Py_ssize_t>(nLen);
  PyObject* pObject = nullptr;
  if (m_bRaw) {
    pObject = PyBytes_FromStringAndSize(pData, nSize);
  } else if (m_eKind == EKind::utf8) {
    pObject = PyUnicode_DecodeUTF8(pData, nSize, "replace");
  } else if (m_eKind == EKind::cp1252) {
    pObject = DecodeCp1252(pData, nLen);
  } else {
    pObject = PyUnicode_Decode(pData, nSize, m_strEncoding.c_str(), "replace");
  }
  if (pObject == nullptr) {
    throw py::error_already_set();
  }
  return py::reinterpret_steal<py::object>(pObject);
}

std::string CPyText::ToTable(py::handle text) const {
  if (PyBytes_Check(text.ptr())) {
    return {PyBytes_AS_STRING(text.ptr()), static_cast<size_t>(PyBytes_GET_SIZE(text.ptr()))};
  }
  if (!PyUnicode_Check(text.ptr())) {
    // Numbers are written as Python writes them: 50, 12.5.
    return ToTable(py::str(text));
  }
  if (m_eKind == EKind::utf8 || PyUnicode_IS_ASCII(text.ptr())) {
    Py_ssize_t nSize = 0;
    const char* pData = PyUnicode_AsUTF8AndSize(text.ptr(), &nSize);
    if (pData == nullptr) {
      throw py::error_already_set();
    }
    return {pData, static_cast<size_t>(nSize)};
  }
  PyObject* pEncoded = PyUnicode_AsEncodedString(text.ptr(), m_strEncoding.c_str(), "strict");
  if (pEncoded == nullptr) {
    throw py::error_already_set();
  }
  py::bytes encoded = py::reinterpret_steal<py::bytes>(pEncoded);
  return encoded.cast<std::string>();
}
