#include "python/src/py_text.h"

#include <string>

#include "platform/ctype_locale.h"

namespace py = pybind11;

int CodePageOfTableLocale(const char* pszLocale) {
  if (pszLocale == nullptr || *pszLocale == '\0') {
    return 1252;
  }
  const char* pszCurrent = SetCtypeLocale(nullptr);
  std::string strSaved = pszCurrent != nullptr ? pszCurrent : "C";
  int nCodePage = 1252;
  if (SetCtypeLocale(pszLocale) != nullptr) {
    nCodePage = GetCtypeCodePage();
    SetCtypeLocale(strSaved.c_str());
  }
  return nCodePage;
}

CPyText::CPyText(const char* pszLocale, bool bRaw) : m_bRaw(bRaw) {
  int nCodePage = CodePageOfTableLocale(pszLocale);
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
    // Windows-1252 and Latin-1 differ only in 0x80 to 0x9F: text without
    // such a byte takes the fast Latin-1 decoder.
    bool bPlain = true;
    for (size_t i = 0; i < nLen && bPlain; ++i) {
      auto c = static_cast<unsigned char>(pData[i]);
      bPlain = c < 0x80 || c > 0x9F;
    }
    pObject = bPlain ? PyUnicode_DecodeLatin1(pData, nSize, nullptr)
                     : PyUnicode_Decode(pData, nSize, "cp1252", "replace");
  } else {
    pObject = PyUnicode_Decode(pData, nSize, m_strEncoding.c_str(), "replace");
  }
  if (pObject == nullptr) {
    throw py::error_already_set();
  }
  return py::reinterpret_steal<py::object>(pObject);
}

std::string CPyText::ToTable(py::handle text) const {
  if (py::isinstance<py::bytes>(text)) {
    return text.cast<std::string>();
  }
  if (!py::isinstance<py::str>(text)) {
    // Numbers are written as Python writes them: 50, 12.5.
    return ToTable(py::str(text));
  }
  if (m_eKind == EKind::utf8) {
    return text.cast<std::string>();
  }
  py::object encoded = text.attr("encode")(m_strEncoding, "strict");
  return encoded.cast<std::string>();
}
