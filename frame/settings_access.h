// Access to the library's settings from inside the library. Each accessor
// gives a reference to the setting in the library object, or to the
// process-wide copy when no host has called InitLibrary. Hosts set the
// settings through the setters of frame/settings.h and never read them.
#ifndef LORN_FRAME_SETTINGS_ACCESS_H_
#define LORN_FRAME_SETTINGS_ACCESS_H_

#include "platform/cstring.h"
#include "platform/lorn_export.h"

class CProgressMonitor;

LORN_INTERNAL char& SettingColSep();
LORN_INTERNAL char& SettingRangeOpen();
LORN_INTERNAL char& SettingRangeClose();
LORN_INTERNAL char& SettingValueSep();
LORN_INTERNAL char& SettingAnyValue();
// Without a library object this reads ".." whatever was stored.
LORN_INTERNAL CString& SettingRangeSep();
LORN_INTERNAL CString& SettingCatalogDir();
LORN_INTERNAL CProgressMonitor*& SettingMonitor();

// The five grammar settings of SplitCellDefault in one call.
struct CCellSettings {
  char cRangeOpen;
  char cRangeClose;
  char cValueSep;
  char cAnyValue;
  CString strRangeSep;
};
LORN_INTERNAL void GetCellSettings(CCellSettings& settings);

#endif  // LORN_FRAME_SETTINGS_ACCESS_H_
