// Byte encoding of index entries and headers: little-endian numbers made and
// read with explicit shifts, whatever the host's byte order, and the sizes
// of the entries of each zone. The layout itself is documented in
// index/column_index.h.
#ifndef LORN_INDEX_ENTRY_CODEC_H_
#define LORN_INDEX_ENTRY_CODEC_H_

#include <bit>
#include <cstdint>

#include "platform/types.h"

// Where the parts of an entry stand: the row number first, the sort key
// behind it.
constexpr DWORD ENTRY_ROW_OFFSET = 0;
constexpr DWORD ENTRY_KEY_OFFSET = 4;
// Size of the index header: W, V, R.
constexpr DWORD INDEX_HEADER_SIZE = 12;

// Entry sizes of the zones for key size K.
constexpr WORD AnyEntrySize() {
  return 4;
}
constexpr WORD ValueEntrySize(BYTE nKeySize) {
  return static_cast<WORD>(nKeySize + 4);
}
constexpr WORD RangeEntrySize(BYTE nKeySize) {
  return static_cast<WORD>(2 * nKeySize + 5);
}

inline DWORD GetDword(const BYTE* p) {
  return static_cast<DWORD>(p[0]) | (static_cast<DWORD>(p[1]) << 8) |
         (static_cast<DWORD>(p[2]) << 16) | (static_cast<DWORD>(p[3]) << 24);
}

inline void PutDword(BYTE* p, DWORD n) {
  p[0] = static_cast<BYTE>(n);
  p[1] = static_cast<BYTE>(n >> 8);
  p[2] = static_cast<BYTE>(n >> 16);
  p[3] = static_cast<BYTE>(n >> 24);
}

inline LONG GetLong(const BYTE* p) {
  return static_cast<LONG>(GetDword(p));
}
inline void PutLong(BYTE* p, LONG n) {
  PutDword(p, static_cast<DWORD>(n));
}

inline ULONGLONG GetQword(const BYTE* p) {
  return static_cast<ULONGLONG>(GetDword(p)) | (static_cast<ULONGLONG>(GetDword(p + 4)) << 32);
}

inline void PutQword(BYTE* p, ULONGLONG n) {
  PutDword(p, static_cast<DWORD>(n));
  PutDword(p + 4, static_cast<DWORD>(n >> 32));
}

// IEEE doubles travel as their 64-bit pattern.
inline double GetDouble(const BYTE* p) {
  return std::bit_cast<double>(GetQword(p));
}
inline void PutDouble(BYTE* p, double d) {
  PutQword(p, std::bit_cast<ULONGLONG>(d));
}

#endif  // LORN_INDEX_ENTRY_CODEC_H_
