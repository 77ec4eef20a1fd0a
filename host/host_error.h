// Errors shared by the hosts of the library (the lorn command, the Python
// module): a failure the user can act on, and a malformed query expression
// with the place where it goes wrong.
#ifndef LORN_HOST_HOST_ERROR_H_
#define LORN_HOST_HOST_ERROR_H_

#include <cstddef>
#include <stdexcept>
#include <string>

// A failure the user can act on. The text names the file, the column or the
// token at fault.
class CHostError : public std::runtime_error {
 public:
  explicit CHostError(const std::string& strText) : std::runtime_error(strText) {}
};

// A query expression that does not parse. m_nPos is the character position,
// from 1, where reading stopped; the length of the text plus 1 at its end.
class CExprError : public CHostError {
 public:
  CExprError(const std::string& strText, size_t nPos) : CHostError(strText), m_nPos(nPos) {}
  size_t m_nPos;
};

// printf-style formatting into a std::string.
std::string Format(const char* pszFormat, ...) __attribute__((format(printf, 1, 2)));

#endif  // LORN_HOST_HOST_ERROR_H_
