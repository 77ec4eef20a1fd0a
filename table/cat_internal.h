// Plain functions of the table unit that the library's own units share and
// hosts do not see. Reached through table/cat_std.h inside the library.
#ifndef LORN_TABLE_CAT_INTERNAL_H_
#define LORN_TABLE_CAT_INTERNAL_H_

#include "platform/lorn_export.h"
#include "platform/types.h"

class CArchive;
class CCatStd;
struct CRuntimeClass;

// The separator of the locale in a table's sidecar name: "ART.SDX|fra".
// A table file whose own name holds it cannot be opened, as its sidecar's
// name could not be told from that separator.
constexpr char LOCALE_SEP = '|';

// ReadObject for the extraction operators of CCatStd and its derived
// classes: the object read is the host's from then on, even when objects
// loaded before it share it as their master (see CCatStd, Ownership).
LORN_INTERNAL CCatStd* ReadHostObject(CArchive& ar, const CRuntimeClass* pClass);

// Whether the runtime accepts a locale name (shorter than 8 bytes). Leaves
// the character-type locale as it found it.
LORN_INTERNAL BOOL IsLocaleValid(const char* pszLocale);

#endif  // LORN_TABLE_CAT_INTERNAL_H_
