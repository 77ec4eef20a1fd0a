// The text of a table as Python sees it. A table's bytes are text under the
// code page of its locale (Windows-1252 when it has none, UTF-8 for the UTF-8
// locale); cells come to Python as str decoded from that code page, a byte
// that the code page does not define as U+FFFD, or in bytes mode as the
// stored bytes. Text from Python goes the other way before it meets the
// table: a str is encoded strictly (a character the code page cannot write
// raises UnicodeEncodeError), bytes pass as they are.
#ifndef LORN_PYTHON_SRC_PY_TEXT_H_
#define LORN_PYTHON_SRC_PY_TEXT_H_

#include <pybind11/pybind11.h>

#include <string>

class CPyText {
 public:
  CPyText() = default;
  // pszLocale: the table's locale name, empty for none. With bRaw, cells are
  // handed out as bytes.
  CPyText(const char* pszLocale, bool bRaw);

  // A cell as str, or as bytes in bytes mode. Needs the interpreter lock.
  pybind11::object Cell(const char* pData, size_t nLen) const;
  // Text from Python (str or bytes) in the table's code page.
  std::string ToTable(pybind11::handle text) const;

  // The Python codec name of the code page: "cp1252", "utf-8", "cp932", ...
  const std::string& Encoding() const { return m_strEncoding; }
  bool IsRaw() const { return m_bRaw; }

 private:
  enum class EKind { cp1252, utf8, other };
  EKind m_eKind = EKind::cp1252;
  std::string m_strEncoding = "cp1252";
  bool m_bRaw = false;
};

#endif  // LORN_PYTHON_SRC_PY_TEXT_H_
