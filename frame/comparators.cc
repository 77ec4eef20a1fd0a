#include "frame/comparators.h"

#include <cmath>
#include <cstring>

#include "frame/lorn_defs.h"
#include "platform/mbcs.h"

namespace {

// An index entry starts with the 4-byte row number; the key stands behind it.
constexpr size_t kEntryKeyOffset = 4;

const void* EntryKey(const void* pEntry) {
  return static_cast<const char*>(pEntry) + kEntryKeyOffset;
}

// Keys come from buffers of any alignment, so they are read by copy.
LONG ReadLong(const void* p) {
  LONG n;
  std::memcpy(&n, p, sizeof(n));
  return n;
}

double ReadReal(const void* p) {
  double d;
  std::memcpy(&d, p, sizeof(d));
  return d;
}

const BYTE* Bytes(const void* p) {
  return static_cast<const BYTE*>(p);
}

// True when the pattern stands on a "*" that is its last byte.
bool AtFinalStar(const BYTE* pPattern) {
  return pPattern[0] == '*' && pPattern[1] == '\0';
}

// One character of a multi-byte text under the code page in force: its value
// (lead * 256 + trail for a double-byte character) and its size in bytes.
// Size 0 at the end of the text, where a lead byte before the NUL stands too.
struct CMbChar {
  unsigned int nValue;
  size_t nBytes;
};

CMbChar ReadMbChar(const BYTE* p) {
  CMbChar ch{0, 0};
  ch.nBytes = MbCharBytes(reinterpret_cast<const char*>(p), &ch.nValue);
  return ch;
}

// Order of two different characters at pK and pP: by value, and in UTF-8 by
// their bytes, so that a search walks keys in the order _mbscmp sorted them,
// stray bytes included. 1 when the pattern's character is lower, else -1.
int OrderOfChars(const BYTE* pK, const CMbChar& chKey, const BYTE* pP, const CMbChar& chPat) {
  if (_getmbcp() != kUtf8CodePage) {
    return chPat.nValue < chKey.nValue ? 1 : -1;
  }
  // The characters differ, so their bytes differ within the longer one.
  size_t i = 0;
  while (pK[i] == pP[i]) {
    ++i;
  }
  return pP[i] < pK[i] ? 1 : -1;
}

}  // namespace

int CompareLong(const void* p1, const void* p2) {
  const LONG n1 = ReadLong(p1);
  const LONG n2 = ReadLong(p2);
  return n1 < n2 ? -1 : (n1 > n2 ? 1 : 0);
}

int CompareReal(const void* p1, const void* p2) {
  const double d1 = ReadReal(p1);
  const double d2 = ReadReal(p2);
  if (std::isnan(d1) || std::isnan(d2)) {
    return 1;
  }
  // An absolute tolerance, not scaled by magnitude.
  if (std::fabs(d1 - d2) < REAL_TOLERANCE) {
    return 0;
  }
  return d1 > d2 ? 1 : -1;
}

int CompareText(const void* p1, const void* p2) {
  const int n = std::strcmp(static_cast<const char*>(p1), static_cast<const char*>(p2));
  return n < 0 ? -1 : (n > 0 ? 1 : 0);
}

int CompareTextMb(const void* p1, const void* p2) {
  return _mbscmp(static_cast<const char*>(p1), static_cast<const char*>(p2));
}

int MatchText(const void* pKey, const void* pPattern) {
  const BYTE* pK = Bytes(pKey);
  const BYTE* pP = Bytes(pPattern);
  while (*pK != '\0' && *pP != '\0') {
    if (AtFinalStar(pP)) {
      return 0;
    }
    if (*pP != '?') {
      if (*pK < *pP) {
        return -1;
      }
      if (*pK > *pP) {
        return 1;
      }
    }
    ++pK;
    ++pP;
  }
  if (AtFinalStar(pP) || (*pK == '\0' && *pP == '\0')) {
    return 0;
  }
  return *pK != '\0' ? 1 : -1;
}

int MatchTextMb(const void* pKey, const void* pPattern) {
  const BYTE* pK = Bytes(pKey);
  const BYTE* pP = Bytes(pPattern);
  CMbChar chKey = ReadMbChar(pK);
  CMbChar chPat = ReadMbChar(pP);
  // An empty key is not tested against a final "*": against "*" it is below.
  if (chKey.nBytes == 0) {
    return chPat.nBytes == 0 ? 0 : -1;
  }
  while (chKey.nBytes != 0 && chPat.nBytes != 0) {
    if (chPat.nValue == '*' && ReadMbChar(pP + 1).nBytes == 0) {
      return 0;
    }
    if (chPat.nValue != '?' && chPat.nValue != chKey.nValue) {
      return OrderOfChars(pK, chKey, pP, chPat);
    }
    pK += chKey.nBytes;
    pP += chPat.nBytes;
    chKey = ReadMbChar(pK);
    chPat = ReadMbChar(pP);
  }
  if (chPat.nValue == '*' && ReadMbChar(pP + 1).nBytes == 0) {
    return 0;
  }
  if (chKey.nBytes == 0 && chPat.nBytes == 0) {
    return 0;
  }
  return chKey.nBytes != 0 ? 1 : -1;
}

int CompareLongEntry(const void* p1, const void* p2) {
  return CompareLong(EntryKey(p1), EntryKey(p2));
}

int CompareRealEntry(const void* p1, const void* p2) {
  return CompareReal(EntryKey(p1), EntryKey(p2));
}

int CompareTextEntry(const void* p1, const void* p2) {
  return CompareText(EntryKey(p1), EntryKey(p2));
}

int CompareTextMbEntry(const void* p1, const void* p2) {
  return CompareTextMb(EntryKey(p1), EntryKey(p2));
}
