#include "platform/mbcs.h"

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
// double-byte character, 0 at the end of the text) and its size in bytes (0 at
// the end, where a lead byte before the NUL also stands).
struct CMbChar {
  unsigned int m_nValue;
  size_t m_nBytes;
};

CMbChar ReadChar(const CCodePageTable& table, const char* p) {
  const unsigned char c = Byte(p);
  if (c == 0) {
    return {0, 0};
  }
  if (!IsLead(table, c)) {
    return {c, 1};
  }
  const unsigned char trail = Byte(p + 1);
  if (trail == 0) {
    return {0, 0};
  }
  return {c * 256u + trail, 2};
}

// Folds every single-byte character of `p` in place with `pbyMap`.
char* FoldMb(char* p, const unsigned char* pbyMap) {
  const CCodePageTable& table = MbTable();
  for (char* q = p;;) {
    const CMbChar ch = ReadChar(table, q);
    if (ch.m_nBytes == 0) {
      break;
    }
    if (ch.m_nBytes == 1) {
      *q = static_cast<char>(pbyMap[ch.m_nValue]);
    }
    q += ch.m_nBytes;
  }
  return p;
}

// Value of a character for `_mbsicmp`: single bytes upper-cased.
unsigned int UpperValue(const CCodePageTable& table, const CMbChar& ch) {
  return ch.m_nBytes == 1 ? table.m_pbyUpper[ch.m_nValue] : ch.m_nValue;
}

int CompareMb(const char* a, const char* b, size_t nChars, bool bFold) {
  const CCodePageTable& table = MbTable();
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
      if (q[1] == '\0') {
        break;
      }
      ++q;  // the trail byte belongs to the character and is no letter
      continue;
    }
    *q = static_cast<char>(FoldCtypeByte(pTable, bUpper, Byte(q)));
  }
  return p;
}

// Where the text at `p` has its terminating NUL, given that `p` is its end
// (the NUL itself or a lead byte before it).
const char* TerminatorOf(const char* p) {
  return *p == '\0' ? p : p + 1;
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

const char* _mbsinc(const char* p) {
  if (IsLead(MbTable(), Byte(p)) && p[1] != '\0') {
    return p + 2;
  }
  return p + 1;
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
  return FoldMb(p, MbTable().m_pbyUpper);
}

char* _mbslwr(char* p) {
  return FoldMb(p, MbTable().m_pbyLower);
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
    if (IsHighSurrogate(wc) && i + 1 < n && IsLowSurrogate(p[i + 1])) {
      ++i;  // one character, which no page here holds
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
