// Private temporary files, in the system's temporary directory.
#ifndef LORN_PLATFORM_TEMP_FILE_H_
#define LORN_PLATFORM_TEMP_FILE_H_

#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Makes a new, empty file that only its owner may read and write (0600),
// named pszPrefix followed by six unique characters, in $TMPDIR or, when
// that is unset or empty, /tmp. The file exists but is not open; strPath
// receives its absolute path, by which the caller opens and later removes
// it. FALSE, with strPath emptied, when no file could be made (no such
// directory, no room, no permission).
LORN_INTERNAL BOOL MakeTempFile(const char* pszPrefix, CString& strPath);

#endif  // LORN_PLATFORM_TEMP_FILE_H_
