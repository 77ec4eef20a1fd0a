#include "host/code_page.h"

#include <string>

#include "platform/ctype_locale.h"

int CodePageOfLocale(const char* pszLocale) {
  if (pszLocale == nullptr || *pszLocale == '\0') {
    return 1252;
  }
  // The locale in force comes back as it was.
  const char* pszCurrent = SetCtypeLocale(nullptr);
  const std::string strSaved = pszCurrent != nullptr ? pszCurrent : "C";
  int nCodePage = 1252;
  if (SetCtypeLocale(pszLocale) != nullptr) {
    nCodePage = GetCtypeCodePage();
    SetCtypeLocale(strSaved.c_str());
  }
  return nCodePage;
}
