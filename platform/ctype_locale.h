// The character-type locale of the multi-byte text layer: the stand-in for
// `setlocale(LC_CTYPE, ...)`. It is process-wide state of this layer only; the
// C library's own locale is never changed.
//
// A locale decides how `_strupr`, `_strlwr`, `_stricmp` and `_toupper_ctype`
// fold bytes, and which page `_setmbcp(-4)` takes (platform/mbcs.h).
//
// Names, always shorter than 8 bytes, compared without regard to ASCII case:
//  - the plain locale: "C" and the empty name, both stored as "C"; it folds
//    ASCII letters only and counts as code page 1252;
//  - Windows language names ("fra", "French", "jpn", "rus", ...) and POSIX
//    names ("fr_FR", "ja_JP", "ru_RU", ...), each with its code page;
//  - code-page names ".1250" ... ".1257", ".932", ".936", ".949", ".950";
//  - a language name with a code-page suffix ("jpn.932"), which takes that page;
//  - extension: UTF-8 (page 65001) as "utf8", "utf-8", "C.utf8", "C.utf-8",
//    ".utf8", ".utf-8" and ".65001", all stored as "utf8". No other name leads
//    to it, so only a host that names it gets it.
// The process starts in the plain locale.

#ifndef LORN_PLATFORM_CTYPE_LOCALE_H_
#define LORN_PLATFORM_CTYPE_LOCALE_H_

// With a null name: the name in force, nothing changes. Otherwise sets the
// locale and returns its stored, canonical spelling ("FRA" gives "fra"); the
// pointer stays valid until the next successful call. An unknown name, or one
// of 8 bytes or more, gives null and changes nothing.
const char* SetCtypeLocale(const char* pszName);

// The code page of the locale in force (1252 for the plain locale).
int GetCtypeCodePage();

// true while the plain locale is in force.
bool IsCtypeLocalePlain();

#endif  // LORN_PLATFORM_CTYPE_LOCALE_H_
