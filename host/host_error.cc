#include "host/host_error.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

std::string Format(const char* pszFormat, ...) {
  va_list args;
  va_start(args, pszFormat);
  va_list copy;
  va_copy(copy, args);
  int nLen = std::vsnprintf(nullptr, 0, pszFormat, copy);
  va_end(copy);
  std::string strText;
  if (nLen > 0) {
    std::vector<char> buffer(static_cast<size_t>(nLen) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), pszFormat, args);
    strText.assign(buffer.data(), static_cast<size_t>(nLen));
  }
  va_end(args);
  return strText;
}
