#include "frame/settings.h"

#include <cstring>
#include <memory>

#include "cells/cell_grammar.h"
#include "table/cat_std.h"

namespace {

// The stock grammar, which the process-wide copies start from and which
// SplitCellDefault uses while no library object exists.
constexpr char kStockColSep = '\t';
constexpr char kStockRangeOpen = '(';
constexpr char kStockRangeClose = ')';
constexpr char kStockValueSep = '*';
constexpr char kStockAnyValue = '*';
constexpr const char* kStockRangeSep = "..";

// The library object of the process: registered by its constructor, so that
// every setting is read from it once it exists.
CLornDynLinkLibrary* s_pLibrary = nullptr;
// The object that InitLibrary made; it lives until the process ends.
std::unique_ptr<CLornDynLinkLibrary> s_pOwnedLibrary;

// Process-wide copies, serving while no library object exists.
char s_cColSep = kStockColSep;
char s_cRangeOpen = kStockRangeOpen;
char s_cRangeClose = kStockRangeClose;
char s_cValueSep = kStockValueSep;
char s_cAnyValue = kStockAnyValue;
CString& ProcessRangeSep() {
  static CString s_strRangeSep;
  return s_strRangeSep;
}
CString& ProcessCatalogDir() {
  static CString s_strCatalogDir;
  return s_strCatalogDir;
}
CProgressMonitor* s_pMonitor = nullptr;
// The exact search: process-wide, as the library object has no member for it.
BOOL s_bExactSearch = FALSE;

}  // namespace

IMPLEMENT_DYNAMIC(CLornDynLinkLibrary, CObject)

CLornDynLinkLibrary::CLornDynLinkLibrary()
    : m_cColSep(kStockColSep),
      m_cRangeOpen(kStockRangeOpen),
      m_cRangeClose(kStockRangeClose),
      m_cValueSep(kStockValueSep),
      m_cAnyValue(kStockAnyValue),
      m_strRangeSep(kStockRangeSep),
      m_pMonitor(nullptr) {
  if (s_pLibrary == nullptr) {
    s_pLibrary = this;
  }
}

CLornDynLinkLibrary::~CLornDynLinkLibrary() {
  if (s_pLibrary == this) {
    s_pLibrary = nullptr;
  }
}

CLornDynLinkLibrary* InitLibrary() {
  if (s_pLibrary == nullptr) {
    s_pOwnedLibrary = std::make_unique<CLornDynLinkLibrary>();
  }
  return s_pLibrary;
}

char& SettingColSep() {
  return s_pLibrary ? s_pLibrary->m_cColSep : s_cColSep;
}
char& SettingRangeOpen() {
  return s_pLibrary ? s_pLibrary->m_cRangeOpen : s_cRangeOpen;
}
char& SettingRangeClose() {
  return s_pLibrary ? s_pLibrary->m_cRangeClose : s_cRangeClose;
}
char& SettingValueSep() {
  return s_pLibrary ? s_pLibrary->m_cValueSep : s_cValueSep;
}
char& SettingAnyValue() {
  return s_pLibrary ? s_pLibrary->m_cAnyValue : s_cAnyValue;
}

CString& SettingRangeSep() {
  if (s_pLibrary != nullptr) {
    return s_pLibrary->m_strRangeSep;
  }
  // The process-wide copy takes what a setter stores but always reads as
  // the stock separator.
  CString& strSep = ProcessRangeSep();
  strSep = kStockRangeSep;
  return strSep;
}

CString& SettingCatalogDir() {
  return s_pLibrary ? s_pLibrary->m_strCatalogDir : ProcessCatalogDir();
}

CProgressMonitor*& SettingMonitor() {
  return s_pLibrary ? s_pLibrary->m_pMonitor : s_pMonitor;
}

void GetCellSettings(CCellSettings& settings) {
  if (s_pLibrary == nullptr) {
    settings.cRangeOpen = kStockRangeOpen;
    settings.cRangeClose = kStockRangeClose;
    settings.cValueSep = kStockValueSep;
    settings.cAnyValue = kStockAnyValue;
    settings.strRangeSep = kStockRangeSep;
    return;
  }
  settings.cRangeOpen = SettingRangeOpen();
  settings.cRangeClose = SettingRangeClose();
  settings.cValueSep = SettingValueSep();
  settings.cAnyValue = SettingAnyValue();
  settings.strRangeSep = SettingRangeSep();
}

void SetColSep(char cSep) {
  if (cSep != 0) {
    SettingColSep() = cSep;
  }
}

void SetRange(char cOpen, char cClose, const char* pszSep) {
  if (cOpen != 0) {
    SettingRangeOpen() = cOpen;
  }
  if (cClose != 0) {
    SettingRangeClose() = cClose;
  }
  if (pszSep != nullptr) {
    SettingRangeSep() = pszSep;
  }
}

void SetValueSep(char c) {
  if (c != 0) {
    SettingValueSep() = c;
  }
}

void SetAnyValue(char c) {
  if (c != 0) {
    SettingAnyValue() = c;
  }
}

void SetCatalogDir(const char* pszDir) {
  if (pszDir == nullptr) {
    SettingCatalogDir().Empty();
    return;
  }
  while (*pszDir == ' ') {
    ++pszDir;
  }
  SettingCatalogDir() = pszDir;
}

BOOL SetDefaultLocale(const char* pszLocale) {
  if (!IsLocaleValid(pszLocale)) {
    return FALSE;
  }
  // An accepted name is shorter than the buffer; the copy stays bounded all
  // the same.
  std::memset(CCatStd::s_szDefLocale, 0, sizeof(CCatStd::s_szDefLocale));
  std::strncpy(CCatStd::s_szDefLocale, pszLocale, sizeof(CCatStd::s_szDefLocale) - 1);
  CCatStd::s_bDefLocaleSet = 1;
  return TRUE;
}

void SetExactSearch(BOOL bExact) {
  s_bExactSearch = bExact ? TRUE : FALSE;
}

BOOL GetExactSearch() {
  return s_bExactSearch;
}

void SetProgressMonitor(CProgressMonitor* pMonitor) {
  SettingMonitor() = pMonitor;
}

CProgressMonitor* GetProgressMonitor() {
  return SettingMonitor();
}

BYTE SplitCellDefault(const char* pszCell, CStringArray& arValues, BYTE* pFlags) {
  CCellSettings settings;
  GetCellSettings(settings);
  return SplitCellEx(pszCell, arValues, pFlags, settings.cRangeOpen, settings.cRangeClose,
                     settings.cValueSep, settings.cAnyValue, settings.strRangeSep);
}
