#include "frame/numbers.h"

#include <locale.h>

#include <climits>
#include <cstdint>
#include <cstdlib>

namespace {

inline bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Where a number may begin: behind the spaces, at a sign or a digit. Null
// when something else comes first (other white space, a letter, a point),
// which the C library's own parse then handles.
const char* SimpleNumberStart(const char* pszText) {
  const char* p = pszText;
  while (*p == ' ') {
    ++p;
  }
  const char* pDigits = *p == '-' || *p == '+' ? p + 1 : p;
  return IsDigit(*pDigits) ? p : nullptr;
}

// Powers of ten that a double holds exactly.
constexpr double kExactPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kMaxExactPower = 22;
// Integers up to this are exact in a double.
constexpr uint64_t kMaxExactMantissa = uint64_t{1} << 53;

// strtod's result for digits with an optional point, when that can be had
// exactly without it: a mantissa that a double holds exactly divided by a
// power of ten that it holds exactly is one correctly rounded operation, as
// strtod's result is. FALSE when the text needs the full conversion.
bool SimpleReal(const char* p, double& dValue) {
  const bool bNegative = *p == '-';
  if (*p == '-' || *p == '+') {
    ++p;
  }
  uint64_t nMantissa = 0;
  int nFraction = 0;
  for (; IsDigit(*p); ++p) {
    nMantissa = nMantissa * 10 + static_cast<uint64_t>(*p - '0');
    if (nMantissa > kMaxExactMantissa) {
      return false;
    }
  }
  if (*p == '.') {
    for (++p; IsDigit(*p); ++p) {
      nMantissa = nMantissa * 10 + static_cast<uint64_t>(*p - '0');
      if (nMantissa > kMaxExactMantissa || ++nFraction > kMaxExactPower) {
        return false;
      }
    }
  }
  // An exponent, or a hexadecimal form behind a leading 0, would go on.
  if (*p == 'e' || *p == 'E' || *p == 'x' || *p == 'X') {
    return false;
  }
  dValue = static_cast<double>(nMantissa) / kExactPowers[nFraction];
  if (bNegative) {
    dValue = -dValue;
  }
  return true;
}

}  // namespace

LONG TextToLong(const char* pszText) {
  if (pszText == nullptr) {
    return 0;
  }
  // Up to 18 digits need no overflow check; anything else goes to strtoll.
  if (const char* p = SimpleNumberStart(pszText)) {
    const bool bNegative = *p == '-';
    if (*p == '-' || *p == '+') {
      ++p;
    }
    int64_t nValue = 0;
    int nDigits = 0;
    for (; IsDigit(*p) && nDigits < 18; ++p, ++nDigits) {
      nValue = nValue * 10 + (*p - '0');
    }
    if (!IsDigit(*p)) {
      nValue = bNegative ? -nValue : nValue;
      if (nValue > INT32_MAX) {
        return INT32_MAX;
      }
      if (nValue < INT32_MIN) {
        return INT32_MIN;
      }
      return static_cast<LONG>(nValue);
    }
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
  double dValue = 0.0;
  if (const char* p = SimpleNumberStart(pszText); p != nullptr && SimpleReal(p, dValue)) {
    return dValue;
  }
  // The "C" locale's decimal point, whatever locale the host has set.
  static const locale_t s_cLocale = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
  return strtod_l(pszText, nullptr, s_cLocale);
}
