#include <cstring>

#include "frame/settings.h"
#include "platform/default_locale.h"
#include "table/cat_std.h"

void CCatStd::CopySettings() {
  m_cColSep = SettingColSep();
  m_cRangeOpen = SettingRangeOpen();
  m_cRangeClose = SettingRangeClose();
  m_strRangeSep = SettingRangeSep();
  m_cValueSep = SettingValueSep();
  m_cAnyValue = SettingAnyValue();

  // The host is asked for its default locale once, and not at all when
  // SetDefaultLocale came first. A name that does not fit leaves it empty.
  if (s_bDefLocaleSet == 0) {
    const char* pszLocale = GetHostDefaultLocale();
    std::memset(s_szDefLocale, 0, sizeof(s_szDefLocale));
    if (pszLocale != nullptr && std::strlen(pszLocale) < sizeof(s_szDefLocale)) {
      std::memcpy(s_szDefLocale, pszLocale, std::strlen(pszLocale));
    }
    s_bDefLocaleSet = 1;
  }
}
