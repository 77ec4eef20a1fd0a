#include "frame/locale_scope.h"

#include <cstdint>
#include <cstring>

#include "platform/ctype_locale.h"
#include "platform/mbcs.h"

namespace {

// _setmbcp values: the system's ANSI page, and the page of the
// character-type locale in force.
constexpr int kMbcpAnsi = -3;
constexpr int kMbcpOfLocale = -4;

}  // namespace

CString g_strLocaleName;
CString g_strLocaleSaved;
CString g_strLocaleActive;
int g_nMbcpSaved = kMbcpAnsi;

void EnterLocale(const char* pszLocale) {
  // No depth counter: entering with the name already in force is free, also
  // while a scope with that name is open.
  if (pszLocale == nullptr || g_strLocaleName.CompareNoCase(pszLocale) == 0) {
    return;
  }
  g_nMbcpSaved = _getmbcp();
  g_strLocaleSaved = SetCtypeLocale(nullptr);
  // A refused name leaves the character-type locale as it was and the
  // active name empty.
  g_strLocaleActive = SetCtypeLocale(pszLocale);
  _setmbcp(kMbcpOfLocale);
  g_strLocaleName = pszLocale;
}

void LeaveLocale() {
  if (g_strLocaleSaved.IsEmpty()) {
    return;
  }
  // A scope that changed nothing stays open, so that entering it again with
  // the same name costs nothing.
  if (g_strLocaleSaved == g_strLocaleActive) {
    return;
  }
  SetCtypeLocale(g_strLocaleSaved);
  _setmbcp(g_nMbcpSaved);
  g_strLocaleName.Empty();
  g_strLocaleSaved.Empty();
  g_nMbcpSaved = kMbcpAnsi;
}

BOOL IsNamedLocale(const char* pszLocale) {
  if (pszLocale == nullptr || *pszLocale == '\0' || _stricmp(pszLocale, "C") == 0) {
    return 0;
  }
  return 1;
}

void FoldCase(char* pszText, const char* pszLocale, BYTE nMaxSize) {
  if (pszText == nullptr) {
    return;
  }
  if (IsNamedLocale(pszLocale)) {
    CLocaleScope scope(pszLocale);
    _mbsupr(pszText);
    if (_getmbcp() == kUtf8CodePage) {
      // The UTF-8 locale, an extension, keeps whole characters: a sequence
      // that the NUL cuts short (a key cut by bytes) goes, and a cut leaves
      // what fits in nMaxSize - 1 bytes, as the byte cut below would.
      const size_t nLimit =
          nMaxSize != 0 && std::strlen(pszText) > nMaxSize ? nMaxSize - 1u : SIZE_MAX;
      size_t nKept = 0;
      for (size_t nNext = MbCharBytes(pszText); nNext != 0 && nKept + nNext <= nLimit;
           nNext = MbCharBytes(pszText + nKept)) {
        nKept += nNext;
      }
      pszText[nKept] = '\0';
    }
  } else if (IsCtypeLocalePlain()) {
    // What _strupr does under the plain character-type locale: ASCII
    // letters only, byte by byte.
    for (unsigned char* p = reinterpret_cast<unsigned char*>(pszText); *p != 0; ++p) {
      *p = static_cast<unsigned char>(*p - (static_cast<unsigned char>(*p - 'a') < 26 ? 32 : 0));
    }
  } else {
    _strupr(pszText);
  }
  // The cut counts bytes and may split a double-byte character; a text of
  // exactly nMaxSize bytes stays whole. (Under the UTF-8 locale the text is
  // already short enough here.)
  if (nMaxSize != 0 && std::strlen(pszText) > nMaxSize) {
    pszText[nMaxSize - 1] = '\0';
  }
}
