// Private temporary files, in the system's temporary directory.
#ifndef LORN_PLATFORM_TEMP_FILE_H_
#define LORN_PLATFORM_TEMP_FILE_H_

#include "platform/cfile.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Opens a new, empty file for reading and writing in $TMPDIR or, when that
// is unset or empty, /tmp. The file has no name from the start (or loses it
// at once where the file system cannot make a file without one), so that
// only this process reaches it and it vanishes when the object closes it,
// also when the process is killed. Exceptions of the object name it
// pszPrefix in that directory. FALSE, with the object closed, when no file
// could be made (no such directory, no room, no permission).
LORN_INTERNAL BOOL OpenTempFile(const char* pszPrefix, CFile& file);

#endif  // LORN_PLATFORM_TEMP_FILE_H_
