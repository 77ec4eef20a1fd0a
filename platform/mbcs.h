// Multi-byte text: the byte-string functions of the Windows C runtime's MBCS
// family, for Linux.
//
// Text is a NUL-terminated run of `char` bytes under a multi-byte code page. In
// a double-byte page (932, 936, 949, 950) a lead byte and the byte behind it
// form one character; every other byte is a character of its own. A lead byte
// that stands right before the terminating NUL counts as the end of the text:
// it is no character, it is never copied, compared or folded, and no function
// reads past the NUL because of it.
//
// Two pieces of process-wide state decide the meaning of bytes, and neither is
// the C library's locale, which this layer never touches:
//  - the multi-byte code page (`_getmbcp`/`_setmbcp`), used by every `_mbs`
//    function and by `_ismbblead`; 1252 when the process starts;
//  - the character-type locale (platform/ctype_locale.h), used by `_strupr`,
//    `_strlwr`, `_stricmp` and `_toupper_ctype`; "C" when the process starts.
// Code pages known: 1250, 1251, 1252, 1253, 1254, 1257 (single-byte) and 932,
// 936, 949, 950 (double-byte). Case folding follows the page's own upper and
// lower case, double-byte letters included (the full-width Latin letters, and
// Greek and Cyrillic where the page holds them). There is no collation: texts
// compare by character values.
//
// Extension: UTF-8 as page 65001. A character is a well-formed sequence of one
// to four bytes; the bytes C2 to F4 are its lead bytes. A lead byte whose
// sequence the NUL cuts short ends the text, as a double-byte lead byte before
// the NUL does; any other byte that does not belong to a well-formed sequence
// is a character of one byte. A character's value is its code point, or
// 0xDC00 + byte for such a stray byte (a value no well-formed sequence has).
// Texts compare in byte order, which for well-formed text is code-point order.
// Case folding changes only letters whose partner has the same length in
// bytes, so it never changes the length of a text.
//
// None of these functions is thread-safe with respect to `_setmbcp` or to
// `SetCtypeLocale`; the library uses them from one thread at a time.

#ifndef LORN_PLATFORM_MBCS_H_
#define LORN_PLATFORM_MBCS_H_

#include <cstddef>
#include <string>

// 1 when byte `c` (low 8 bits; a sign-extended `char` is fine) opens a
// double-byte character under the multi-byte code page, else 0.
int _ismbblead(unsigned int c);

// The page number of UTF-8.
constexpr int kUtf8CodePage = 65001;

// Size in bytes of the character at `p`: 0 at the end of the text (a lead byte
// whose character the NUL cuts short stands there too), else 1 to 4. With
// `pnValue`, the character's value goes there (0 at the end).
size_t MbCharBytes(const char* p, unsigned int* pnValue = nullptr);

// Writes the bytes of the character of value `nValue` to `pOut` (room for 4)
// and gives their number: a value above 0xFF takes two bytes in a double-byte
// page; in UTF-8 a code point takes its sequence, 0xDC80 to 0xDCFF a stray
// byte.
size_t MbWriteChar(unsigned int nValue, char* pOut);

// The next character. On a lead byte before the NUL this is the NUL; on the NUL
// itself it is the byte behind it, so callers stop at the NUL.
const char* _mbsinc(const char* p);
char* _mbsinc(char* p);

// The character before `p`, found by walking from `start`; null when `p` is not
// behind `start`.
const char* _mbsdec(const char* start, const char* p);

// `n` characters on, or the end of the text when it has fewer.
const char* _mbsninc(const char* p, size_t n);

// Number of characters in the first `nBytes` bytes (stopping at the end of the
// text); a character that does not fit whole in `nBytes` is not counted.
size_t _mbsnccnt(const char* p, size_t nBytes);
// Number of characters in the text.
size_t _mbslen(const char* p);

// First / last character equal to `c`, where a double-byte character is given
// as lead * 256 + trail. A trail byte never matches. `c` 0 finds the
// terminating NUL. Null when absent.
const char* _mbschr(const char* p, unsigned int c);
char* _mbschr(char* p, unsigned int c);
const char* _mbsrchr(const char* p, unsigned int c);
char* _mbsrchr(char* p, unsigned int c);

// First occurrence of `pszSub` that starts on a character of `p`; `p` for an
// empty `pszSub`; null when absent.
const char* _mbsstr(const char* p, const char* pszSub);
char* _mbsstr(char* p, const char* pszSub);

// Character by character: a single byte is its unsigned value, a double-byte
// character the 16-bit value lead * 256 + trail, above every single byte; the
// end of a text is below every character. Result -1, 0 or 1.
int _mbscmp(const char* a, const char* b);
// As `_mbscmp` after upper-casing both texts under the multi-byte code page.
int _mbsicmp(const char* a, const char* b);
// As `_mbscmp` on at most `nChars` characters.
int _mbsncmp(const char* a, const char* b, size_t nChars);

// Upper / lower case in place, character by character, under the multi-byte
// code page; a double-byte character becomes its partner when the page holds
// it as a double-byte character too. Returns `p`.
char* _mbsupr(char* p);
char* _mbslwr(char* p);

// Copies at most `n` bytes of whole characters of `src` to `dst` and fills the
// rest of the `n` bytes with NUL. `dst` is NUL-terminated only when `src` ends
// within `n` bytes. REQUIRES: `dst` holds `n` bytes and does not overlap `src`.
// Returns `dst`.
char* _mbsnbcpy(char* dst, const char* src, size_t n);

// One byte upper / lower case under the character-type locale: the plain locale
// changes ASCII letters only, a named locale follows its code page.
int _toupper_ctype(int c);
int _tolower_ctype(int c);

// Upper / lower case in place, byte by byte, under the character-type locale.
// When the locale's code page is double-byte, the two bytes of a character are
// left as they are. Returns `p`.
char* _strupr(char* p);
char* _strlwr(char* p);

// Compares byte by byte after `_tolower_ctype` on each byte. Result -1, 0 or 1.
int _stricmp(const char* a, const char* b);

// The multi-byte code page in force.
int _getmbcp();
// Sets the multi-byte code page: a known page, -3 for the system's ANSI page
// (1252), or -4 for the page of the character-type locale in force. Returns 0;
// -1 for any other value, which changes nothing.
int _setmbcp(int nCodePage);

// Converts `n` UTF-16 units to bytes of the multi-byte code page. A single-byte
// page maps each character to its byte; a character that the page lacks, a
// surrogate pair included, becomes "?". A double-byte page keeps ASCII and
// turns everything else into "?"; UTF-8 writes every character, a lone
// surrogate as "?". NUL units are kept.
std::string WideToMultiByte(const char16_t* p, size_t n);

// Case pairs of characters of more than one byte, as runs: each character
// from m_nFirst to m_nLast, every m_nStride-th, has the partner character +
// m_nDelta. Characters are lead * 256 + trail, or code points in UTF-8.
struct CCaseRun {
  unsigned int m_nFirst;
  unsigned int m_nLast;
  int m_nStride;
  int m_nDelta;
};

// The generated tables of one code page (platform/codepage_tables.cc).
struct CCodePageTable {
  int m_nCodePage;
  const unsigned char* m_pbyLead;   // 256 flags; null for a single-byte page
  const unsigned char* m_pbyUpper;  // 256 bytes
  const unsigned char* m_pbyLower;  // 256 bytes
  const char16_t* m_pwcToUnicode;   // 256 units, 0xFFFD undefined; null if multi-byte
  const CCaseRun* m_pUpperRuns;     // sorted by m_nFirst; null for a single-byte page
  size_t m_nUpperRuns;
  const CCaseRun* m_pLowerRuns;
  size_t m_nLowerRuns;
  bool m_bUtf8;  // page 65001: sequences of up to four bytes
};

// The Unicode version whose case mappings the UTF-8 tables hold.
const char* Utf8CaseUnicodeVersion();

// The tables of `nCodePage`, or null for an unknown page.
const CCodePageTable* FindCodePageTable(int nCodePage);

#endif  // LORN_PLATFORM_MBCS_H_
