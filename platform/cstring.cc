#include "platform/cstring.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "platform/exceptions.h"
#include "platform/mbcs.h"

namespace {

// Byte length of the character at a NUL-terminated p; 0 at the NUL, 1 for a
// lead byte whose character the NUL cuts short.
size_t CharLen(const char* p) {
  const size_t nLen = MbCharBytes(p);
  return nLen == 0 && *p != '\0' ? 1 : nLen;
}

// Same at position i of s (i < s.size()), where a NUL byte is a character of
// one byte too.
size_t CharLen(const std::string& s, size_t i) {
  const size_t nLen = CharLen(s.c_str() + i);
  return nLen == 0 ? 1 : nLen;
}

// Whether the character of nLen bytes at pch is one of the characters of
// pszSet, compared character by character so that a trail byte of the set
// never matches.
bool CharInSet(const char* pch, size_t nLen, const char* pszSet) {
  for (const char* p = pszSet; *p != '\0';) {
    size_t nSetLen = CharLen(p);
    if (nSetLen == nLen && std::memcmp(p, pch, nLen) == 0) {
      return true;
    }
    p += nSetLen;
  }
  return false;
}

bool IsWhiteSpace(char ch) {
  return ch == ' ' || ch == '\t' || ch == '\n' || ch == '\v' || ch == '\f' || ch == '\r';
}

// Byte count of the leading characters of s that are (bInSet) or are not
// (!bInSet) in pszSet.
size_t SpanLength(const std::string& s, const char* pszSet, bool bInSet) {
  if (pszSet == nullptr) {
    pszSet = "";
  }
  size_t i = 0;
  while (i < s.size()) {
    size_t nLen = CharLen(s, i);
    if (CharInSet(s.data() + i, nLen, pszSet) != bInSet) {
      break;
    }
    i += nLen;
  }
  return i;
}

std::string FormatArgs(const char* pszFormat, va_list args) {
  if (pszFormat == nullptr) {
    AfxThrowInvalidArgException();
  }
  char szSmall[256];
  va_list argsCopy;
  va_copy(argsCopy, args);
  int nLen = std::vsnprintf(szSmall, sizeof(szSmall), pszFormat, argsCopy);
  va_end(argsCopy);
  if (nLen < 0) {
    AfxThrowInvalidArgException();
  }
  if (static_cast<size_t>(nLen) < sizeof(szSmall)) {
    return std::string(szSmall, static_cast<size_t>(nLen));
  }
  std::string str(static_cast<size_t>(nLen), '\0');
  std::vsnprintf(str.data(), str.size() + 1, pszFormat, args);
  return str;
}

}  // namespace

CString::CString(const char* psz) {
  if (psz != nullptr) {
    m_str = psz;
  }
}

CString::CString(const char* pch, int nLength) {
  SetString(pch, nLength);
}

CString::CString(char ch, int nRepeat) {
  if (nRepeat > 0) {
    m_str.assign(static_cast<size_t>(nRepeat), ch);
  }
}

CString& CString::operator=(const char* psz) {
  if (psz == nullptr) {
    m_str.clear();
  } else {
    m_str = psz;  // std::string handles a psz that points into m_str
  }
  return *this;
}

CString& CString::operator=(char ch) {
  m_str.assign(1, ch);
  return *this;
}

CString& CString::operator+=(const CString& str) {
  m_str += str.m_str;
  return *this;
}

CString& CString::operator+=(const char* psz) {
  if (psz != nullptr) {
    m_str += psz;
  }
  return *this;
}

CString& CString::operator+=(char ch) {
  m_str += ch;
  return *this;
}

char CString::GetAt(int nIndex) const {
  // The terminating NUL may be read, as with a C string.
  if (nIndex < 0 || nIndex > GetLength()) {
    AfxThrowInvalidArgException();
  }
  return m_str.c_str()[nIndex];
}

void CString::SetAt(int nIndex, char ch) {
  if (nIndex < 0 || nIndex >= GetLength()) {
    AfxThrowInvalidArgException();
  }
  m_str[static_cast<size_t>(nIndex)] = ch;
}

void CString::SetString(const char* pch, int nLength) {
  if (nLength < 0 || (pch == nullptr && nLength > 0)) {
    AfxThrowInvalidArgException();
  }
  if (nLength == 0) {
    m_str.clear();
  } else {
    m_str.assign(pch, static_cast<size_t>(nLength));
  }
}

void CString::Append(const char* pch, int nLength) {
  if (nLength < 0 || (pch == nullptr && nLength > 0)) {
    AfxThrowInvalidArgException();
  }
  if (nLength > 0) {
    m_str.append(pch, static_cast<size_t>(nLength));
  }
}

void CString::Truncate(int nNewLength) {
  if (nNewLength < 0 || nNewLength > GetLength()) {
    AfxThrowInvalidArgException();
  }
  m_str.resize(static_cast<size_t>(nNewLength));
}

int CString::Compare(const char* psz) const {
  return _mbscmp(m_str.c_str(), psz == nullptr ? "" : psz);
}

int CString::CompareNoCase(const char* psz) const {
  return _mbsicmp(m_str.c_str(), psz == nullptr ? "" : psz);
}

CString& CString::MakeUpper() {
  _mbsupr(m_str.data());
  return *this;
}

CString& CString::MakeLower() {
  _mbslwr(m_str.data());
  return *this;
}

CString& CString::MakeReverse() {
  std::string strReversed(m_str.size(), '\0');
  size_t nOut = m_str.size();
  for (size_t i = 0; i < m_str.size();) {
    size_t nLen = CharLen(m_str, i);
    nOut -= nLen;
    std::memcpy(strReversed.data() + nOut, m_str.data() + i, nLen);
    i += nLen;
  }
  m_str.swap(strReversed);
  return *this;
}

CString CString::Left(int nCount) const {
  nCount = std::clamp(nCount, 0, GetLength());
  return CString(m_str.data(), nCount);
}

CString CString::Right(int nCount) const {
  nCount = std::clamp(nCount, 0, GetLength());
  return CString(m_str.data() + (GetLength() - nCount), nCount);
}

CString CString::Mid(int nFirst) const {
  return Mid(nFirst, GetLength());
}

CString CString::Mid(int nFirst, int nCount) const {
  nFirst = std::clamp(nFirst, 0, GetLength());
  nCount = std::clamp(nCount, 0, GetLength() - nFirst);
  return CString(m_str.data() + nFirst, nCount);
}

int CString::Find(char ch, int nStart) const {
  if (nStart < 0 || nStart >= GetLength()) {
    return -1;
  }
  const char* pszText = m_str.c_str();
  const char* p = _mbschr(pszText + nStart, static_cast<unsigned char>(ch));
  if (p == nullptr || ch == '\0') {
    return -1;
  }
  return static_cast<int>(p - pszText);
}

int CString::Find(const char* pszSub, int nStart) const {
  if (pszSub == nullptr || nStart < 0 || nStart > GetLength()) {
    return -1;
  }
  const char* pszText = m_str.c_str();
  const char* p = _mbsstr(pszText + nStart, pszSub);
  return p == nullptr ? -1 : static_cast<int>(p - pszText);
}

int CString::ReverseFind(char ch) const {
  if (ch == '\0') {
    return -1;
  }
  const char* pszText = m_str.c_str();
  const char* p = _mbsrchr(pszText, static_cast<unsigned char>(ch));
  return p == nullptr ? -1 : static_cast<int>(p - pszText);
}

int CString::FindOneOf(const char* pszCharSet) const {
  size_t n = SpanLength(m_str, pszCharSet, false);
  return n == m_str.size() ? -1 : static_cast<int>(n);
}

CString CString::SpanIncluding(const char* pszCharSet) const {
  return Left(static_cast<int>(SpanLength(m_str, pszCharSet, true)));
}

CString CString::SpanExcluding(const char* pszCharSet) const {
  return Left(static_cast<int>(SpanLength(m_str, pszCharSet, false)));
}

CString& CString::TrimLeft() {
  size_t i = 0;
  while (i < m_str.size() && IsWhiteSpace(m_str[i])) {
    ++i;
  }
  m_str.erase(0, i);
  return *this;
}

CString& CString::TrimRight() {
  // White-space bytes are never lead or trail bytes, yet the walk goes by
  // character so that the same code serves TrimRight(char).
  size_t nKeep = 0;
  for (size_t i = 0; i < m_str.size();) {
    size_t nLen = CharLen(m_str, i);
    i += nLen;
    if (nLen != 1 || !IsWhiteSpace(m_str[i - 1])) {
      nKeep = i;
    }
  }
  m_str.resize(nKeep);
  return *this;
}

CString& CString::Trim() {
  return TrimRight().TrimLeft();
}

CString& CString::TrimLeft(char chTarget) {
  size_t i = 0;
  while (i < m_str.size() && m_str[i] == chTarget && CharLen(m_str, i) == 1) {
    ++i;
  }
  m_str.erase(0, i);
  return *this;
}

CString& CString::TrimRight(char chTarget) {
  size_t nKeep = 0;
  for (size_t i = 0; i < m_str.size();) {
    size_t nLen = CharLen(m_str, i);
    i += nLen;
    if (nLen != 1 || m_str[i - 1] != chTarget) {
      nKeep = i;
    }
  }
  m_str.resize(nKeep);
  return *this;
}

CString& CString::Trim(char chTarget) {
  return TrimRight(chTarget).TrimLeft(chTarget);
}

int CString::Replace(char chOld, char chNew) {
  if (chOld == chNew) {
    return 0;
  }
  int nCount = 0;
  for (size_t i = 0; i < m_str.size();) {
    size_t nLen = CharLen(m_str, i);
    if (nLen == 1 && m_str[i] == chOld) {
      m_str[i] = chNew;
      ++nCount;
    }
    i += nLen;
  }
  return nCount;
}

int CString::Replace(const char* pszOld, const char* pszNew) {
  if (pszOld == nullptr || *pszOld == '\0') {
    return 0;
  }
  if (pszNew == nullptr) {
    pszNew = "";
  }
  const size_t nOldLen = std::strlen(pszOld);
  const char* pszText = m_str.c_str();
  std::string strResult;
  int nCount = 0;
  const char* pStart = pszText;
  for (const char* pMatch = _mbsstr(pStart, pszOld); pMatch != nullptr;
       pMatch = _mbsstr(pStart, pszOld)) {
    strResult.append(pStart, pMatch);
    strResult += pszNew;
    pStart = pMatch + nOldLen;
    ++nCount;
  }
  if (nCount > 0) {
    strResult.append(pStart, pszText + m_str.size());
    m_str.swap(strResult);
  }
  return nCount;
}

int CString::Remove(char ch) {
  std::string strResult;
  strResult.reserve(m_str.size());
  int nCount = 0;
  for (size_t i = 0; i < m_str.size();) {
    size_t nLen = CharLen(m_str, i);
    if (nLen == 1 && m_str[i] == ch) {
      ++nCount;
    } else {
      strResult.append(m_str, i, nLen);
    }
    i += nLen;
  }
  m_str.swap(strResult);
  return nCount;
}

int CString::Insert(int nIndex, char ch) {
  nIndex = std::clamp(nIndex, 0, GetLength());
  m_str.insert(static_cast<size_t>(nIndex), 1, ch);
  return GetLength();
}

int CString::Insert(int nIndex, const char* psz) {
  nIndex = std::clamp(nIndex, 0, GetLength());
  if (psz != nullptr) {
    m_str.insert(static_cast<size_t>(nIndex), std::string(psz));
  }
  return GetLength();
}

int CString::Delete(int nIndex, int nCount) {
  nIndex = std::max(nIndex, 0);
  if (nCount > 0 && nIndex < GetLength()) {
    nCount = std::min(nCount, GetLength() - nIndex);
    m_str.erase(static_cast<size_t>(nIndex), static_cast<size_t>(nCount));
  }
  return GetLength();
}

void CString::Format(const char* pszFormat, ...) {
  va_list args;
  va_start(args, pszFormat);
  try {
    m_str = FormatArgs(pszFormat, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void CString::AppendFormat(const char* pszFormat, ...) {
  va_list args;
  va_start(args, pszFormat);
  try {
    m_str += FormatArgs(pszFormat, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

char* CString::GetBuffer(int nMinBufLength) {
  if (nMinBufLength < 0) {
    AfxThrowInvalidArgException();
  }
  if (static_cast<size_t>(nMinBufLength) > m_str.size()) {
    m_str.resize(static_cast<size_t>(nMinBufLength));
  }
  return m_str.data();
}

char* CString::GetBufferSetLength(int nLength) {
  if (nLength < 0) {
    AfxThrowInvalidArgException();
  }
  m_str.resize(static_cast<size_t>(nLength));
  return m_str.data();
}

void CString::ReleaseBuffer(int nNewLength) {
  if (nNewLength == -1) {
    m_str.resize(std::strlen(m_str.c_str()));
    return;
  }
  if (nNewLength < 0 || static_cast<size_t>(nNewLength) > m_str.size()) {
    AfxThrowInvalidArgException();
  }
  m_str.resize(static_cast<size_t>(nNewLength));
}

CString operator+(const CString& str1, const CString& str2) {
  CString strResult(str1);
  strResult += str2;
  return strResult;
}

CString operator+(const CString& str, const char* psz) {
  CString strResult(str);
  strResult += psz;
  return strResult;
}

CString operator+(const char* psz, const CString& str) {
  CString strResult(psz);
  strResult += str;
  return strResult;
}

CString operator+(const CString& str, char ch) {
  CString strResult(str);
  strResult += ch;
  return strResult;
}

CString operator+(char ch, const CString& str) {
  CString strResult(ch);
  strResult += str;
  return strResult;
}
