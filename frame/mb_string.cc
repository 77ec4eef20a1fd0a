#include "frame/mb_string.h"

#include "platform/mbcs.h"

namespace {

// Size in bytes of the character at p under the code page in force: 0 at
// the end of the text, where a lead byte before the NUL stands too.
int CharBytes(const char* p) {
  return static_cast<int>(MbCharBytes(p));
}

unsigned int CharValue(const char* p) {
  unsigned int nValue = 0;
  MbCharBytes(p, &nValue);
  return nValue;
}

// Byte offset of the character that ends the first nChars characters.
int ByteOffsetOfChar(const char* psz, int nChars) {
  const char* p = psz;
  for (int i = 0; i < nChars; ++i) {
    const int nBytes = CharBytes(p);
    if (nBytes == 0) {
      break;
    }
    p += nBytes;
  }
  return static_cast<int>(p - psz);
}

// Number of characters of the text.
int CountChars(const char* psz) {
  int nChars = 0;
  for (int nBytes = CharBytes(psz); nBytes != 0; nBytes = CharBytes(psz)) {
    psz += nBytes;
    ++nChars;
  }
  return nChars;
}

}  // namespace

int MbFind(const CString& str, unsigned int c) {
  const char* p = str.GetString();
  for (int nIndex = 0;; ++nIndex) {
    const int nBytes = CharBytes(p);
    if (nBytes == 0) {
      return -1;
    }
    if (CharValue(p) == c) {
      return nIndex;
    }
    p += nBytes;
  }
}

int MbReverseFind(const CString& str, unsigned int c) {
  const char* p = str.GetString();
  int nFound = -1;
  for (int nIndex = 0;; ++nIndex) {
    const int nBytes = CharBytes(p);
    if (nBytes == 0) {
      return nFound;
    }
    if (CharValue(p) == c) {
      nFound = nIndex;
    }
    p += nBytes;
  }
}

CString MbLeft(const CString& str, int n) {
  if (n <= 0) {
    return CString();
  }
  if (n >= CountChars(str.GetString())) {
    return str;
  }
  return str.Left(ByteOffsetOfChar(str.GetString(), n));
}

CString MbRight(const CString& str, int n) {
  if (n <= 0) {
    return CString();
  }
  const int nChars = CountChars(str.GetString());
  if (n >= nChars) {
    return str;
  }
  return str.Mid(ByteOffsetOfChar(str.GetString(), nChars - n));
}

void MbAppend(CString& str, unsigned int c) {
  char acBytes[4];
  const size_t nBytes = MbWriteChar(c, acBytes);
  for (size_t i = 0; i < nBytes; ++i) {
    str += acBytes[i];
  }
}
