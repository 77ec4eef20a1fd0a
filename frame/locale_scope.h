// The locale scope: a process-wide switch of the character-type locale and of
// the multi-byte code page to a table's locale, and back. A table's locale
// decides how its text keys fold to upper case and how they compare; it never
// changes the order of characters within a code page.
//
// The scope has no depth: entering with the name already in force costs
// nothing, and a scope that changed nothing stays open when left.
#ifndef LORN_FRAME_LOCALE_SCOPE_H_
#define LORN_FRAME_LOCALE_SCOPE_H_

#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

extern CString g_strLocaleName;    // name last given to EnterLocale
extern CString g_strLocaleSaved;   // character-type locale before the scope
extern CString g_strLocaleActive;  // what the runtime gave back on entry
extern int g_nMbcpSaved;           // multi-byte code page before; -3: ANSI

LORN_INTERNAL void EnterLocale(const char* pszLocale);
LORN_INTERNAL void LeaveLocale();

// Enters on construction and leaves on destruction, so that the scope is
// left also when an exception passes.
class CLocaleScope {
 public:
  explicit CLocaleScope(const char* pszLocale) { EnterLocale(pszLocale); }
  ~CLocaleScope() { LeaveLocale(); }
  CLocaleScope(const CLocaleScope&) = delete;
  CLocaleScope& operator=(const CLocaleScope&) = delete;
};

// 1 for a named locale; 0 for null, empty or "C" in any case.
LORN_INTERNAL BOOL IsNamedLocale(const char* pszLocale);

// Upper-cases pszText in place: by character under a named locale's code
// page, or byte by byte under the character-type locale in force for the
// plain locale. Then, when nMaxSize is not 0 and the text is longer than
// nMaxSize bytes, cuts it to nMaxSize - 1 bytes. Under the UTF-8 locale (an
// extension) only whole characters stay: those that fit in nMaxSize - 1
// bytes, and never a last sequence that the NUL cuts short.
LORN_INTERNAL void FoldCase(char* pszText, const char* pszLocale, BYTE nMaxSize);

#endif  // LORN_FRAME_LOCALE_SCOPE_H_
