#include "frame/numbers.h"

#include <locale.h>

#include <climits>
#include <cstdlib>

LONG TextToLong(const char* pszText) {
  if (pszText == nullptr) {
    return 0;
  }
  long long nValue = std::strtoll(pszText, nullptr, 10);
  if (nValue > INT32_MAX) {
    return INT32_MAX;
  }
  if (nValue < INT32_MIN) {
    return INT32_MIN;
  }
  return static_cast<LONG>(nValue);
}

double TextToReal(const char* pszText) {
  if (pszText == nullptr) {
    return 0.0;
  }
  // The "C" locale's decimal point, whatever locale the host has set.
  static const locale_t s_cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  return strtod_l(pszText, nullptr, s_cLocale);
}
