// The library's settings: the characters of the cell syntax, the catalogue
// directory and the progress monitor. They hang on the library object once a
// host has made it with InitLibrary (one per process); until then
// process-wide copies serve. Every new table copies the cell syntax when it
// is made; a later change reaches only tables made later.
#ifndef LORN_FRAME_SETTINGS_H_
#define LORN_FRAME_SETTINGS_H_

#include "platform/cobject.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

class CProgressMonitor;

// The library object. Lives from InitLibrary to the end of the process.
// Hosts get it from InitLibrary and may read its members; they neither make
// nor destroy one, so its operations are not exported.
class CLornDynLinkLibrary : public CObject {
  DECLARE_DYNAMIC(CLornDynLinkLibrary)

 public:
  CLornDynLinkLibrary();
  ~CLornDynLinkLibrary() override;

  char m_cColSep;                // cell separator, TAB
  char m_cRangeOpen;             // "("
  char m_cRangeClose;            // ")"
  char m_cValueSep;              // "*", between the values of a list
  char m_cAnyValue;              // "*", the lone wildcard
  CString m_strRangeSep;         // ".."
  CString m_strCatalogDir;       // replaces a loaded table's directory; empty: none
  CProgressMonitor* m_pMonitor;  // not owned; null: no monitor
};

// Gives the library object, making it on the first call.
LORN_API CLornDynLinkLibrary* InitLibrary();

// Setters. A 0 or null argument leaves its setting as it is, but for
// SetCatalogDir (null empties it) and SetProgressMonitor (null removes it).
LORN_API void SetColSep(char cSep);
LORN_API void SetRange(char cOpen, char cClose, const char* pszSep);
LORN_API void SetValueSep(char c);
LORN_API void SetAnyValue(char c);
// Stores the text without its leading blanks (character 32 only).
LORN_API void SetCatalogDir(const char* pszDir);
// FALSE, and nothing changes, when the runtime refuses the name.
LORN_API BOOL SetDefaultLocale(const char* pszLocale);
// The monitor is not owned: the host clears it before destroying it.
LORN_API void SetProgressMonitor(CProgressMonitor* pMonitor);
LORN_API CProgressMonitor* GetProgressMonitor();
// Extension, off by default: with bExact, a query answers each criterion
// with exactly the rows whose cells qualify by the criterion's plain meaning
// (a value compared with the key, a range by its bounds and brackets, the
// wildcard always), where the index walk can miss or add rows at ranges and
// "?" patterns. Reaches the queries run after the call; no file changes.
LORN_API void SetExactSearch(BOOL bExact);
LORN_API BOOL GetExactSearch();
// SplitCellEx with the library's grammar settings (the stock ones while no
// library object exists).
LORN_API BYTE SplitCellDefault(const char* pszCell, CStringArray& arValues, BYTE* pFlags);

// The library's own units reach the settings through the accessors of
// frame/settings_access.h, which is not part of the installed interface.
#ifdef LORN_BUILDING_LIBRARY
#include "frame/settings_access.h"
#endif

#endif  // LORN_FRAME_SETTINGS_H_
