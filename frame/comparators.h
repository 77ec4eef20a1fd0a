// Comparison functions on keys and index entries. Each takes two pointers,
// the stored key first and the value sought second, and gives a negative,
// zero or positive number; callers read the low 16 bits as a signed number.
//
// Text keys compare as bytes (plain locale) or as characters under the
// multi-byte code page (named locale). The Match functions know two pattern
// characters: "?" for exactly one byte (character) and "*" for any rest, the
// latter only as the pattern's last character.
#ifndef LORN_FRAME_COMPARATORS_H_
#define LORN_FRAME_COMPARATORS_H_

#include "frame/compare_fn.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Two 32-bit signed integers.
LORN_INTERNAL int CompareLong(const void* p1, const void* p2);
// Two doubles: 0 when the absolute difference is below REAL_TOLERANCE, 1 when
// the first is greater or either is not a number, else -1.
LORN_INTERNAL int CompareReal(const void* p1, const void* p2);
// Two NUL-terminated texts, bytes unsigned; -1, 0 or 1.
LORN_INTERNAL int CompareText(const void* p1, const void* p2);
// Two texts by character under the multi-byte code page (_mbscmp).
LORN_INTERNAL int CompareTextMb(const void* p1, const void* p2);
// Key against pattern, byte-wise and character-wise.
LORN_INTERNAL int MatchText(const void* pKey, const void* pPattern);
LORN_INTERNAL int MatchTextMb(const void* pKey, const void* pPattern);
// The same four comparisons on index entries: on what stands behind the
// entry's first 4 bytes (the row number).
LORN_INTERNAL int CompareLongEntry(const void* p1, const void* p2);
LORN_INTERNAL int CompareRealEntry(const void* p1, const void* p2);
LORN_INTERNAL int CompareTextEntry(const void* p1, const void* p2);
LORN_INTERNAL int CompareTextMbEntry(const void* p1, const void* p2);

#endif  // LORN_FRAME_COMPARATORS_H_
