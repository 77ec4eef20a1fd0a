// The code page of a table's text, from the locale the library gives it.
#ifndef LORN_HOST_CODE_PAGE_H_
#define LORN_HOST_CODE_PAGE_H_

// The Windows code page of a locale name as the library knows it (65001 for
// the UTF-8 locale); 1252 for the plain locale (empty, "C") and for a name the
// library refuses.
int CodePageOfLocale(const char* pszLocale);

#endif  // LORN_HOST_CODE_PAGE_H_
