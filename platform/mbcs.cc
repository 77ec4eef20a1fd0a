#include "platform/mbcs.h"

#include <algorithm>
#include <cstring>

#include "platform/ctype_locale.h"

namespace {

constexpr int kAnsiCodePage = 1252;  // the system's ANSI code page on this platform
constexpr int kMbcpAnsi = -3;        // `_setmbcp`: the ANSI code page
constexpr int kMbcpLocale = -4;      // `_setmbcp`: the page of the character-type locale

int s_nMbCodePage = kAnsiCodePage;
const CCodePageTable* s_pMbTable = nullptr;  // tables of s_nMbCodePage, found on first use

const CCodePageTable& MbTable() {
  if (s_pMbTable == nullptr) {
    s_pMbTable = FindCodePageTable(s_nMbCodePage);
  }
  return *s_pMbTable;
}

unsigned char Byte(const char* p) {
  return static_cast<unsigned char>(*p);
}

bool IsLead(const CCodePageTable& table, unsigned char c) {
  return table.m_pbyLead != nullptr && table.m_pbyLead[c] != 0;
}

// Reads the character at `p` under `table`: its value (lead * 256 + trail for a
// double-byte character, the code point in UTF-8, 0 at the end of the text)
// and its size in bytes (0 at the end, where a lead byte whose character the
// NUL cuts short also stands).
struct CMbChar {
  unsigned int m_nValue;
  size_t m_nBytes;
};

// Value of a UTF-8 byte that belongs to no well-formed sequence.
constexpr unsigned int kStrayByteBase = 0xDC00;

CMbChar ReadUtf8(const char* p) {
  const unsigned char c = Byte(p);
  const size_t nBytes = c < 0xE0 ? 2 : (c < 0xF0 ? 3 : 4);
  // The second byte's range excludes overlong forms, surrogates and code
  // points above U+10FFFF; later bytes are plain continuation bytes.
  unsigned char byLow = 0x80;
  unsigned char byHigh = 0xBF;
  if (c == 0xE0) {
    byLow = 0xA0;
  } else if (c == 0xED) {
    byHigh = 0x9F;
  } else if (c == 0xF0) {
    byLow = 0x90;
  } else if (c == 0xF4) {
    byHigh = 0x8F;
  }
  unsigned int nValue = c & (0x7Fu >> nBytes);
  for (size_t i = 1; i < nBytes; ++i) {
    const unsigned char b = Byte(p + i);
    if (b == 0) {
      return {0, 0};
    }
    if (b < byLow || b > byHigh) {
      return {kStrayByteBase + c, 1};
    }
    nValue = (nValue << 6) | (b & 0x3Fu);
    byLow = 0x80;
    byHigh = 0xBF;
  }
  return {nValue, nBytes};
}

CMbChar ReadChar(const CCodePageTable& table, const char* p) {
  const unsigned char c = Byte(p);
  if (c == 0) {
    return {0, 0};
  }
  if (!IsLead(table, c)) {
    return {table.m_bUtf8 && c >= 0x80 ? kStrayByteBase + c : c, 1};
  }
  if (table.m_bUtf8) {
    return ReadUtf8(p);
  }
  const unsigned char trail = Byte(p + 1);
  if (trail == 0) {
    return {0, 0};
  }
  return {c * 256u + trail, 2};
}

// The case partner of a character of more than one byte, or the character
// itself when `pRuns` gives none.
unsigned int FoldValue(const CCaseRun* pRuns, size_t nRuns, unsigned int nValue) {
  size_t nLow = 0;
  size_t nHigh = nRuns;
  while (nLow < nHigh) {  // the first run that starts after nValue
    const size_t nMid = (nLow + nHigh) / 2;
    if (pRuns[nMid].m_nFirst <= nValue) {
      nLow = nMid + 1;
    } else {
      nHigh = nMid;
    }
  }
  if (nLow == 0) {
    return nValue;
  }
  const CCaseRun& run = pRuns[nLow - 1];
  if (nValue > run.m_nLast ||
      (nValue - run.m_nFirst) % static_cast<unsigned int>(run.m_nStride) != 0) {
    return nValue;
  }
  return static_cast<unsigned int>(static_cast<int>(nValue) + run.m_nDelta);
}

// Writes the character `nValue` of `nBytes` bytes at `p`.
void WriteChar(const CCodePageTable& table, char* p, unsigned int nValue, size_t nBytes) {
  if (!table.m_bUtf8) {
    p[0] = static_cast<char>(nValue >> 8);
    p[1] = static_cast<char>(nValue & 0xFF);
    return;
  }
  static constexpr unsigned char abyLeadMark[] = {0, 0, 0xC0, 0xE0, 0xF0};
  for (size_t i = nBytes - 1; i > 0; --i) {
    p[i] = static_cast<char>(0x80 | (nValue & 0x3F));
    nValue >>= 6;
  }
  p[0] = static_cast<char>(abyLeadMark[nBytes] | nValue);
}

// Folds every character of `p` in place: single bytes with `pbyMap`, longer
// characters with `pRuns`, whose partners have the same size in bytes.
char* FoldMb(char* p, bool bUpper) {
  const CCodePageTable& table = MbTable();
  const unsigned char* pbyMap = bUpper ? table.m_pbyUpper : table.m_pbyLower;
  const CCaseRun* pRuns = bUpper ? table.m_pUpperRuns : table.m_pLowerRuns;
  const size_t nRuns = bUpper ? table.m_nUpperRuns : table.m_nLowerRuns;
  for (char* q = p;;) {
    const CMbChar ch = ReadChar(table, q);
    if (ch.m_nBytes == 0) {
      break;
    }
    if (ch.m_nBytes == 1) {
      *q = static_cast<char>(pbyMap[Byte(q)]);
    } else {
      const unsigned int nFolded = FoldValue(pRuns, nRuns, ch.m_nValue);
      if (nFolded != ch.m_nValue) {
        WriteChar(table, q, nFolded, ch.m_nBytes);
      }
    }
    q += ch.m_nBytes;
  }
  return p;
}

// Value of a character for `_mbsicmp`: upper-cased.
unsigned int UpperValue(const CCodePageTable& table, const CMbChar& ch) {
  if (ch.m_nBytes == 1) {
    return table.m_pbyUpper[ch.m_nValue];
  }
  return FoldValue(table.m_pUpperRuns, table.m_nUpperRuns, ch.m_nValue);
}

// Bytes of the first `nChars` characters of `p` (fewer at the end of the text).
size_t CharsToBytes(const CCodePageTable& table, const char* p, size_t nChars) {
  size_t nUsed = 0;
  for (size_t i = 0; i < nChars; ++i) {
    const CMbChar ch = ReadChar(table, p + nUsed);
    if (ch.m_nBytes == 0) {
      break;
    }
    nUsed += ch.m_nBytes;
  }
  return nUsed;
}

// UTF-8 texts compare in byte order, which is code-point order for
// well-formed text and a total order for any bytes. Folding keeps sizes.
int CompareUtf8(const CCodePageTable& table, const char* a, const char* b, size_t nChars,
                bool bFold) {
  const size_t nBytesA = CharsToBytes(table, a, nChars);
  const size_t nBytesB = CharsToBytes(table, b, nChars);
  int nResult = 0;
  if (bFold) {
    std::string strA(a, nBytesA);
    std::string strB(b, nBytesB);
    _mbsupr(strA.data());
    _mbsupr(strB.data());
    nResult = strA.compare(strB);
  } else {
    // The index sort comes here: no copy.
    nResult = std::memcmp(a, b, std::min(nBytesA, nBytesB));
    if (nResult == 0) {
      nResult = nBytesA < nBytesB ? -1 : (nBytesA > nBytesB ? 1 : 0);
    }
  }
  return nResult < 0 ? -1 : (nResult > 0 ? 1 : 0);
}

int CompareMb(const char* a, const char* b, size_t nChars, bool bFold) {
  const CCodePageTable& table = MbTable();
  if (table.m_bUtf8) {
    return CompareUtf8(table, a, b, nChars, bFold);
  }
  for (size_t i = 0; i < nChars; ++i) {
    const CMbChar ca = ReadChar(table, a);
    const CMbChar cb = ReadChar(table, b);
    const unsigned int va = bFold ? UpperValue(table, ca) : ca.m_nValue;
    const unsigned int vb = bFold ? UpperValue(table, cb) : cb.m_nValue;
    if (va != vb) {
      return va < vb ? -1 : 1;
    }
    if (ca.m_nBytes == 0) {
      break;
    }
    a += ca.m_nBytes;
    b += cb.m_nBytes;
  }
  return 0;
}

// Number of bytes of the text up to its end (a lead byte before the NUL
// excluded).
size_t MbTextBytes(const CCodePageTable& table, const char* p) {
  const char* q = p;
  for (CMbChar ch = ReadChar(table, q); ch.m_nBytes != 0; ch = ReadChar(table, q)) {
    q += ch.m_nBytes;
  }
  return static_cast<size_t>(q - p);
}

// The tables of the character-type locale, or null for the plain locale.
const CCodePageTable* CtypeTable() {
  return IsCtypeLocalePlain() ? nullptr : FindCodePageTable(GetCtypeCodePage());
}

// One byte folded under the character-type locale whose tables are `pTable`
// (null for the plain locale, which folds ASCII letters only).
unsigned char FoldCtypeByte(const CCodePageTable* pTable, bool bUpper, unsigned char c) {
  if (pTable != nullptr) {
    return (bUpper ? pTable->m_pbyUpper : pTable->m_pbyLower)[c];
  }
  if (bUpper) {
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - ('a' - 'A')) : c;
  }
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

char* FoldCtype(char* p, bool bUpper) {
  const CCodePageTable* pTable = CtypeTable();
  for (char* q = p; *q != '\0'; ++q) {
    if (pTable != nullptr && IsLead(*pTable, Byte(q))) {
      const size_t nBytes = ReadChar(*pTable, q).m_nBytes;
      if (nBytes == 0) {
        break;
      }
      q += nBytes - 1;  // the other bytes belong to the character and are no letters
      continue;
    }
    *q = static_cast<char>(FoldCtypeByte(pTable, bUpper, Byte(q)));
  }
  return p;
}

// Where the text at `p` has its terminating NUL, given that `p` is its end
// (the NUL itself or a lead byte that the NUL cuts short).
const char* TerminatorOf(const char* p) {
  return p + std::strlen(p);
}

const char16_t kReplacement = u'?';

bool IsHighSurrogate(char16_t wc) {
  return wc >= 0xD800 && wc <= 0xDBFF;
}
bool IsLowSurrogate(char16_t wc) {
  return wc >= 0xDC00 && wc <= 0xDFFF;
}

}  // namespace

int _ismbblead(unsigned int c) {
  return IsLead(MbTable(), static_cast<unsigned char>(c)) ? 1 : 0;
}

size_t MbCharBytes(const char* p, unsigned int* pnValue) {
  const CMbChar ch = ReadChar(MbTable(), p);
  if (pnValue != nullptr) {
    *pnValue = ch.m_nValue;
  }
  return ch.m_nBytes;
}

size_t MbWriteChar(unsigned int nValue, char* pOut) {
  const CCodePageTable& table = MbTable();
  if (table.m_bUtf8 && nValue >= kStrayByteBase + 0x80 && nValue <= kStrayByteBase + 0xFF) {
    pOut[0] = static_cast<char>(nValue - kStrayByteBase);
    return 1;
  }
  size_t nBytes = nValue > 0xFF ? 2 : 1;
  if (table.m_bUtf8) {
    nBytes = nValue < 0x80 ? 1 : (nValue < 0x800 ? 2 : (nValue < 0x10000 ? 3 : 4));
  }
  if (nBytes == 1) {
    pOut[0] = static_cast<char>(nValue);
  } else {
    WriteChar(table, pOut, nValue, nBytes);
  }
  return nBytes;
}

const char* _mbsinc(const char* p) {
  const size_t nBytes = MbCharBytes(p);
  if (nBytes != 0) {
    return p + nBytes;
  }
  return *p == '\0' ? p + 1 : TerminatorOf(p);
}

char* _mbsinc(char* p) {
  return const_cast<char*>(_mbsinc(static_cast<const char*>(p)));
}

const char* _mbsdec(const char* start, const char* p) {
  if (p <= start) {
    return nullptr;
  }
  const char* pPrev = start;
  for (const char* q = start; q < p; q = _mbsinc(q)) {
    pPrev = q;
  }
  return pPrev;
}

const char* _mbsninc(const char* p, size_t n) {
  const CCodePageTable& table = MbTable();
  for (; n > 0; --n) {
    const CMbChar ch = ReadChar(table, p);
    if (ch.m_nBytes == 0) {
      break;
    }
    p += ch.m_nBytes;
  }
  return p;
}

size_t _mbsnccnt(const char* p, size_t nBytes) {
  const CCodePageTable& table = MbTable();
  size_t nChars = 0;
  for (size_t nUsed = 0;;) {
    const CMbChar ch = ReadChar(table, p + nUsed);
    if (ch.m_nBytes == 0 || nUsed + ch.m_nBytes > nBytes) {
      break;
    }
    nUsed += ch.m_nBytes;
    ++nChars;
  }
  return nChars;
}

size_t _mbslen(const char* p) {
  const CCodePageTable& table = MbTable();
  size_t nChars = 0;
  for (CMbChar ch = ReadChar(table, p); ch.m_nBytes != 0; ch = ReadChar(table, p)) {
    p += ch.m_nBytes;
    ++nChars;
  }
  return nChars;
}

const char* _mbschr(const char* p, unsigned int c) {
  const CCodePageTable& table = MbTable();
  for (;;) {
    const CMbChar ch = ReadChar(table, p);
    if (ch.m_nBytes == 0) {
      return c == 0 ? TerminatorOf(p) : nullptr;
    }
    if (ch.m_nValue == c) {
      return p;
    }
    p += ch.m_nBytes;
  }
}

char* _mbschr(char* p, unsigned int c) {
  return const_cast<char*>(_mbschr(static_cast<const char*>(p), c));
}

const char* _mbsrchr(const char* p, unsigned int c) {
  const CCodePageTable& table = MbTable();
  const char* pFound = nullptr;
  for (;;) {
    const CMbChar ch = ReadChar(table, p);
    if (ch.m_nBytes == 0) {
      return c == 0 ? TerminatorOf(p) : pFound;
    }
    if (ch.m_nValue == c) {
      pFound = p;
    }
    p += ch.m_nBytes;
  }
}

char* _mbsrchr(char* p, unsigned int c) {
  return const_cast<char*>(_mbsrchr(static_cast<const char*>(p), c));
}

const char* _mbsstr(const char* p, const char* pszSub) {
  const CCodePageTable& table = MbTable();
  const size_t nSub = MbTextBytes(table, pszSub);
  for (;;) {
    size_t i = 0;
    while (i < nSub && p[i] == pszSub[i]) {
      ++i;
    }
    if (i == nSub) {
      return p;
    }
    const CMbChar ch = ReadChar(table, p);
    if (ch.m_nBytes == 0) {
      return nullptr;
    }
    p += ch.m_nBytes;
  }
}

char* _mbsstr(char* p, const char* pszSub) {
  return const_cast<char*>(_mbsstr(static_cast<const char*>(p), pszSub));
}

int _mbscmp(const char* a, const char* b) {
  return CompareMb(a, b, static_cast<size_t>(-1), false);
}

int _mbsicmp(const char* a, const char* b) {
  return CompareMb(a, b, static_cast<size_t>(-1), true);
}

int _mbsncmp(const char* a, const char* b, size_t nChars) {
  return CompareMb(a, b, nChars, false);
}

char* _mbsupr(char* p) {
  return FoldMb(p, true);
}

char* _mbslwr(char* p) {
  return FoldMb(p, false);
}

char* _mbsnbcpy(char* dst, const char* src, size_t n) {
  const CCodePageTable& table = MbTable();
  size_t nCopied = 0;
  for (;;) {
    const CMbChar ch = ReadChar(table, src + nCopied);
    if (ch.m_nBytes == 0 || nCopied + ch.m_nBytes > n) {
      break;
    }
    for (size_t i = 0; i < ch.m_nBytes; ++i, ++nCopied) {
      dst[nCopied] = src[nCopied];
    }
  }
  for (; nCopied < n; ++nCopied) {
    dst[nCopied] = '\0';
  }
  return dst;
}

int _toupper_ctype(int c) {
  return FoldCtypeByte(CtypeTable(), true, static_cast<unsigned char>(c));
}

int _tolower_ctype(int c) {
  return FoldCtypeByte(CtypeTable(), false, static_cast<unsigned char>(c));
}

char* _strupr(char* p) {
  return FoldCtype(p, true);
}

char* _strlwr(char* p) {
  return FoldCtype(p, false);
}

int _stricmp(const char* a, const char* b) {
  const CCodePageTable* pTable = CtypeTable();
  for (;; ++a, ++b) {
    const unsigned char ca = FoldCtypeByte(pTable, false, Byte(a));
    const unsigned char cb = FoldCtypeByte(pTable, false, Byte(b));
    if (ca != cb) {
      return ca < cb ? -1 : 1;
    }
    if (ca == 0) {
      return 0;
    }
  }
}

int _getmbcp() {
  return s_nMbCodePage;
}

int _setmbcp(int nCodePage) {
  if (nCodePage == kMbcpAnsi) {
    nCodePage = kAnsiCodePage;
  } else if (nCodePage == kMbcpLocale) {
    nCodePage = GetCtypeCodePage();
  }
  const CCodePageTable* pTable = FindCodePageTable(nCodePage);
  if (pTable == nullptr) {
    return -1;
  }
  s_nMbCodePage = nCodePage;
  s_pMbTable = pTable;
  return 0;
}

std::string WideToMultiByte(const char16_t* p, size_t n) {
  const CCodePageTable& table = MbTable();
  std::string strResult;
  strResult.reserve(n);
  for (size_t i = 0; i < n; ++i) {
    const char16_t wc = p[i];
    if (wc < 0x80) {
      strResult.push_back(static_cast<char>(wc));
      continue;
    }
    const bool bPair = IsHighSurrogate(wc) && i + 1 < n && IsLowSurrogate(p[i + 1]);
    if (table.m_bUtf8) {
      unsigned int nValue = wc;
      if (bPair) {
        nValue = 0x10000 + ((wc - 0xD800u) << 10) + (p[i + 1] - 0xDC00u);
      } else if (IsHighSurrogate(wc) || IsLowSurrogate(wc)) {
        nValue = kReplacement;
      }
      char acOut[4];
      strResult.append(acOut, MbWriteChar(nValue, acOut));
      i += bPair ? 1 : 0;
      continue;
    }
    if (bPair) {
      ++i;  // one character, which no single-byte or double-byte page here holds
    }
    char cOut = static_cast<char>(kReplacement);
    if (table.m_pwcToUnicode != nullptr && wc != 0xFFFD) {
      for (int b = 0x80; b < 0x100; ++b) {
        if (table.m_pwcToUnicode[b] == wc) {
          cOut = static_cast<char>(b);
          break;
        }
      }
    }
    strResult.push_back(cOut);
  }
  return strResult;
}
