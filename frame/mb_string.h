// String operations that count characters, a double-byte character as one,
// under the multi-byte code page in force.
#ifndef LORN_FRAME_MB_STRING_H_
#define LORN_FRAME_MB_STRING_H_

#include "platform/cstring.h"
#include "platform/lorn_export.h"

// Index in characters of the first (last) c, or -1. A byte that stands only
// as the trail byte of a double-byte character is no match.
LORN_INTERNAL int MbFind(const CString& str, unsigned int c);
LORN_INTERNAL int MbReverseFind(const CString& str, unsigned int c);
// The first (last) n characters; the whole text when n reaches its length.
LORN_INTERNAL CString MbLeft(const CString& str, int n);
LORN_INTERNAL CString MbRight(const CString& str, int n);
// Appends one character (two bytes for a double-byte character c > 0xFF).
LORN_INTERNAL void MbAppend(CString& str, unsigned int c);

#endif  // LORN_FRAME_MB_STRING_H_
