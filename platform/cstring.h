// CString: a byte string of the multi-byte world.
//
// Lengths and positions count bytes. Operations that look for a character
// (Find, ReverseFind, FindOneOf, Span*, Trim*, Remove, Replace, MakeReverse)
// step by character under the multi-byte code page in force (_setmbcp), so a
// trail byte never matches a single-byte character. Ordering (Compare and the
// relational operators) is _mbscmp's, case-blind ordering _mbsicmp's.
//
// The text is meant to hold no NUL byte: the C-string view
// (operator const char*, GetString) ends at the first one. Only the
// (pointer, length) constructor, SetString and ReleaseBuffer with a length
// can bring one in.
//
// Bounds: GetAt, SetAt and operator[] throw CInvalidArgException for an index
// outside [0, GetLength()); so do a negative length or count given to the
// constructors and buffer functions, and a null pointer with a non-zero
// length. Left, Right, Mid, Insert and Delete clamp their arguments instead.
#ifndef LORN_PLATFORM_CSTRING_H_
#define LORN_PLATFORM_CSTRING_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/lorn_export.h"

class LORN_API CString {
 public:
  CString() = default;
  // A null pointer makes an empty string.
  CString(const char* psz);  // NOLINT: converts implicitly, as the library expects
  // nLength bytes from pch, as they stand.
  CString(const char* pch, int nLength);
  // ch repeated nRepeat times (none for nRepeat <= 0).
  explicit CString(char ch, int nRepeat = 1);
  CString(const CString&) = default;
  CString(CString&&) noexcept = default;
  ~CString() = default;

  CString& operator=(const CString&) = default;
  CString& operator=(CString&&) noexcept = default;
  CString& operator=(const char* psz);
  CString& operator=(char ch);

  CString& operator+=(const CString& str);
  CString& operator+=(const char* psz);
  CString& operator+=(char ch);

  int GetLength() const { return static_cast<int>(m_str.size()); }
  bool IsEmpty() const { return m_str.empty(); }
  void Empty() { m_str.clear(); }

  operator const char*() const { return m_str.c_str(); }  // NOLINT
  const char* GetString() const { return m_str.c_str(); }

  char GetAt(int nIndex) const;
  void SetAt(int nIndex, char ch);
  char operator[](int nIndex) const { return GetAt(nIndex); }

  void SetString(const char* pch, int nLength);
  void Append(const char* psz) { *this += psz; }
  void Append(const char* pch, int nLength);
  void AppendChar(char ch) { m_str.push_back(ch); }
  // Keeps the first nNewLength bytes; throws when nNewLength is negative or
  // above the length.
  void Truncate(int nNewLength);

  // <0, 0, >0 as this string orders before, with, after psz (null: empty).
  int Compare(const char* psz) const;
  int CompareNoCase(const char* psz) const;

  CString& MakeUpper();
  CString& MakeLower();
  // Reverses the order of the characters; a double-byte character keeps
  // its two bytes in order.
  CString& MakeReverse();

  // Substrings by byte position and count, clamped to the string.
  CString Left(int nCount) const;
  CString Right(int nCount) const;
  CString Mid(int nFirst) const;
  CString Mid(int nFirst, int nCount) const;

  // Byte index of the first match at or after nStart, or -1.
  int Find(char ch, int nStart = 0) const;
  int Find(const char* pszSub, int nStart = 0) const;
  // Byte index of the last ch, or -1.
  int ReverseFind(char ch) const;
  // Byte index of the first character that is one of pszCharSet, or -1.
  int FindOneOf(const char* pszCharSet) const;
  // The leading characters that are all in / all outside pszCharSet.
  CString SpanIncluding(const char* pszCharSet) const;
  CString SpanExcluding(const char* pszCharSet) const;

  // White space: space, \t, \n, \v, \f, \r.
  CString& TrimLeft();
  CString& TrimRight();
  CString& Trim();
  CString& TrimLeft(char chTarget);
  CString& TrimRight(char chTarget);
  CString& Trim(char chTarget);

  // Number of replacements or removals made.
  int Replace(char chOld, char chNew);
  int Replace(const char* pszOld, const char* pszNew);
  int Remove(char ch);
  // Insert before byte nIndex (clamped to [0, length]); result the new length.
  int Insert(int nIndex, char ch);
  int Insert(int nIndex, const char* psz);
  // Removes up to nCount bytes from nIndex; result the new length.
  int Delete(int nIndex, int nCount = 1);

  void Format(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
  void AppendFormat(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));

  // A writable buffer of at least nMinBufLength + 1 bytes that starts with
  // the present text. Until ReleaseBuffer the length is undefined and no
  // other member may be used.
  char* GetBuffer(int nMinBufLength);
  char* GetBuffer() { return GetBuffer(0); }
  // As GetBuffer, with the length set to nLength at once.
  char* GetBufferSetLength(int nLength);
  // Ends buffer access: the length becomes nNewLength, or with -1 the bytes
  // up to the first NUL. A length above the buffer's throws.
  void ReleaseBuffer(int nNewLength = -1);
  char* LockBuffer() { return GetBuffer(0); }
  void UnlockBuffer() {}

 private:
  std::string m_str;
};

LORN_API CString operator+(const CString& str1, const CString& str2);
LORN_API CString operator+(const CString& str, const char* psz);
LORN_API CString operator+(const char* psz, const CString& str);
LORN_API CString operator+(const CString& str, char ch);
LORN_API CString operator+(char ch, const CString& str);

// Equality is byte equality; the order is Compare's.
inline bool operator==(const CString& str1, const CString& str2) {
  return std::string_view(str1.GetString(), static_cast<size_t>(str1.GetLength())) ==
         std::string_view(str2.GetString(), static_cast<size_t>(str2.GetLength()));
}
inline bool operator==(const CString& str, const char* psz) {
  return str.Compare(psz) == 0;
}
inline bool operator==(const char* psz, const CString& str) {
  return str.Compare(psz) == 0;
}
inline bool operator!=(const CString& str1, const CString& str2) {
  return !(str1 == str2);
}
inline bool operator!=(const CString& str, const char* psz) {
  return str.Compare(psz) != 0;
}
inline bool operator!=(const char* psz, const CString& str) {
  return str.Compare(psz) != 0;
}
inline bool operator<(const CString& str1, const CString& str2) {
  return str1.Compare(str2) < 0;
}
inline bool operator<(const CString& str, const char* psz) {
  return str.Compare(psz) < 0;
}
inline bool operator<(const char* psz, const CString& str) {
  return str.Compare(psz) > 0;
}
inline bool operator>(const CString& str1, const CString& str2) {
  return str1.Compare(str2) > 0;
}
inline bool operator>(const CString& str, const char* psz) {
  return str.Compare(psz) > 0;
}
inline bool operator>(const char* psz, const CString& str) {
  return str.Compare(psz) < 0;
}
inline bool operator<=(const CString& str1, const CString& str2) {
  return str1.Compare(str2) <= 0;
}
inline bool operator<=(const CString& str, const char* psz) {
  return str.Compare(psz) <= 0;
}
inline bool operator<=(const char* psz, const CString& str) {
  return str.Compare(psz) >= 0;
}
inline bool operator>=(const CString& str1, const CString& str2) {
  return str1.Compare(str2) >= 0;
}
inline bool operator>=(const CString& str, const char* psz) {
  return str.Compare(psz) >= 0;
}
inline bool operator>=(const char* psz, const CString& str) {
  return str.Compare(psz) <= 0;
}

// Hashes the bytes, so that equal strings hash alike.
template <>
struct std::hash<CString> {
  size_t operator()(const CString& str) const noexcept {
    return std::hash<std::string_view>()(
        std::string_view(str.GetString(), static_cast<size_t>(str.GetLength())));
  }
};

#endif  // LORN_PLATFORM_CSTRING_H_
