// Helpers of an index build, shared inside the index subsystem. An open
// build keeps one temporary file per zone, made on the zone's first entry,
// in m_arTempFiles (place i for zone i). The files have no name (see
// OpenTempFile), so m_arTempNames keeps its places empty, and nothing of a
// build outlives the process.
#ifndef LORN_INDEX_INDEX_BUILD_H_
#define LORN_INDEX_INDEX_BUILD_H_

#include "index/column_index.h"
#include "index/zone_file.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// The temporary file of zone nZone, made on first use: a private file with
// the prefix "sdx" in the temporary directory, open for reading and writing.
// Null when it cannot be made. CInvalidArgException for a zone outside the
// build's places.
LORN_INTERNAL CZoneFile* GetTempFile(CIndex& index, int nZone);

// Encodes the key of a value text into pKey (K bytes): Long atol, Real
// strtod, Str the text cut to K - 1 bytes without splitting a character
// (under the code page in force), folded to upper case with the index's
// locale and NUL-padded. A null text counts as empty.
LORN_INTERNAL void WriteKey(const CIndex& index, BYTE* pKey, const char* pszValue);

// Closes and removes the temporary files and ends the build state; the last
// build to end frees g_pBuildBuffer. Does nothing without an open build and
// never throws, so it can run while an exception passes.
LORN_INTERNAL void FreeBuild(CIndex& index);

// CopyFileRange with g_pBuildBuffer.
LORN_INTERNAL void CopyWithBuildBuffer(CFile* pDest, CFile* pSrc, LONG nFrom, LONG nTo);

#endif  // LORN_INDEX_INDEX_BUILD_H_
