#include "platform/carchive.h"

#include <bit>
#include <climits>
#include <cstring>
#include <string>

#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "platform/mbcs.h"

static_assert(sizeof(long) == 8 && sizeof(int) == 4 && sizeof(short) == 2,
              "the scalar operators assume an LP64 target");

namespace {

// Tags of the object and class references.
constexpr WORD kNullTag = 0;
constexpr WORD kNewClassTag = 0xFFFF;
constexpr WORD kClassTag = 0x8000;
constexpr WORD kBigObjectTag = 0x7FFF;
constexpr DWORD kBigClassTag = 0x80000000;
constexpr DWORD kMaxMapCount = 0x3FFFFFFE;

// Marks of the string and count lengths.
constexpr BYTE kByteLengthEscape = 0xFF;
constexpr WORD kWordLengthEscape = 0xFFFF;
constexpr WORD kWideMark = 0xFFFE;
constexpr DWORD kDWordLengthEscape = 0xFFFFFFFF;

void EncodeFixed(BYTE* pDest, ULONGLONG nValue, UINT nBytes) {
  for (UINT i = 0; i < nBytes; ++i) {
    pDest[i] = static_cast<BYTE>(nValue >> (8 * i));
  }
}

ULONGLONG DecodeFixed(const BYTE* pSrc, UINT nBytes) {
  ULONGLONG nValue = 0;
  for (UINT i = 0; i < nBytes; ++i) {
    nValue |= static_cast<ULONGLONG>(pSrc[i]) << (8 * i);
  }
  return nValue;
}

// Reads a string length in any of its stored forms; bWide tells whether the
// wide mark came first, so that the length counts 16-bit units.
ULONGLONG ReadStringLength(CArchive& ar, bool& bWide) {
  bWide = false;
  BYTE byLength;
  ar >> byLength;
  if (byLength < kByteLengthEscape) {
    return byLength;
  }
  WORD wLength;
  ar >> wLength;
  if (wLength == kWideMark) {
    bWide = true;
    ar >> byLength;
    if (byLength < kByteLengthEscape) {
      return byLength;
    }
    ar >> wLength;
  }
  if (wLength < kWordLengthEscape) {
    return wLength;
  }
  DWORD dwLength;
  ar >> dwLength;
  if (dwLength < kDWordLengthEscape) {
    return dwLength;
  }
  ULONGLONG nLength;
  ar >> nLength;
  return nLength;
}

[[noreturn]] void ThrowFor(CArchive& ar, int nCause) {
  CFile* pFile = ar.GetFile();
  CString strPath = pFile != nullptr ? pFile->GetFilePath() : CString();
  AfxThrowArchiveException(nCause, strPath.GetString());
}

}  // namespace

CArchive::CArchive(CFile* pFile, UINT nMode, int nBufSize)
    : m_pFile(pFile),
      m_nMode(nMode),
      m_nBufSize(nBufSize < 16 ? 16u : static_cast<UINT>(nBufSize)),
      m_pBuf(new BYTE[m_nBufSize]) {
  if (IsLoading()) {
    m_arLoaded.push_back(CLoadEntry{nullptr, nullptr});
  }
}

CArchive::~CArchive() {
  if (m_pFile == nullptr) {
    return;
  }
  if ((m_nMode & bNoFlushOnDelete) == 0) {
    try {
      Close();
    } catch (...) {
      // Destruction may run during unwinding; the error is lost.
    }
  }
  Abort();
}

void CArchive::Throw(int nCause) const {
  CString strPath = m_pFile != nullptr ? m_pFile->GetFilePath() : CString();
  AfxThrowArchiveException(nCause, strPath.GetString());
}

void CArchive::CheckStoring() {
  if (m_pFile == nullptr) {
    Throw(CArchiveException::genericException);
  }
  if (IsLoading()) {
    Throw(CArchiveException::readOnly);
  }
}

void CArchive::CheckLoading() {
  if (m_pFile == nullptr) {
    Throw(CArchiveException::genericException);
  }
  if (IsStoring()) {
    Throw(CArchiveException::writeOnly);
  }
}

void CArchive::WriteBuffer() {
  if (m_nBufCur > 0) {
    UINT nCount = m_nBufCur;
    m_nBufCur = 0;
    m_pFile->Write(m_pBuf.get(), nCount);
  }
}

void CArchive::FillBuffer(UINT nNeeded) {
  UINT nKept = m_nBufMax - m_nBufCur;
  if (nKept > 0 && m_nBufCur > 0) {
    std::memmove(m_pBuf.get(), m_pBuf.get() + m_nBufCur, nKept);
  }
  m_nBufCur = 0;
  m_nBufMax = nKept;
  m_nBufMax += m_pFile->Read(m_pBuf.get() + nKept, m_nBufSize - nKept);
  if (m_nBufMax < nNeeded) {
    Throw(CArchiveException::endOfFile);
  }
}

UINT CArchive::Read(void* lpBuf, UINT nMax) {
  CheckLoading();
  if (nMax == 0) {
    return 0;
  }
  BYTE* pDest = static_cast<BYTE*>(lpBuf);
  UINT nBuffered = m_nBufMax - m_nBufCur;
  UINT nDone = nMax < nBuffered ? nMax : nBuffered;
  if (nDone > 0) {
    std::memcpy(pDest, m_pBuf.get() + m_nBufCur, nDone);
    m_nBufCur += nDone;
  }
  UINT nLeft = nMax - nDone;
  if (nLeft == 0) {
    return nMax;
  }
  // The buffer is empty now. Large reads bypass it.
  m_nBufCur = 0;
  m_nBufMax = 0;
  if (nLeft >= m_nBufSize) {
    return nDone + m_pFile->Read(pDest + nDone, nLeft);
  }
  m_nBufMax = m_pFile->Read(m_pBuf.get(), m_nBufSize);
  UINT nCopy = nLeft < m_nBufMax ? nLeft : m_nBufMax;
  std::memcpy(pDest + nDone, m_pBuf.get(), nCopy);
  m_nBufCur = nCopy;
  return nDone + nCopy;
}

void CArchive::ReadExact(void* lpBuf, UINT nCount) {
  if (Read(lpBuf, nCount) != nCount) {
    Throw(CArchiveException::endOfFile);
  }
}

void CArchive::Write(const void* lpBuf, UINT nMax) {
  CheckStoring();
  if (nMax == 0) {
    return;
  }
  const BYTE* pSrc = static_cast<const BYTE*>(lpBuf);
  if (nMax <= m_nBufSize - m_nBufCur) {
    std::memcpy(m_pBuf.get() + m_nBufCur, pSrc, nMax);
    m_nBufCur += nMax;
    return;
  }
  WriteBuffer();
  if (nMax >= m_nBufSize) {
    m_pFile->Write(pSrc, nMax);
    return;
  }
  std::memcpy(m_pBuf.get(), pSrc, nMax);
  m_nBufCur = nMax;
}

void CArchive::Flush() {
  if (m_pFile == nullptr) {
    Throw(CArchiveException::genericException);
  }
  if (IsStoring()) {
    WriteBuffer();
    return;
  }
  UINT nUnread = m_nBufMax - m_nBufCur;
  m_nBufCur = 0;
  m_nBufMax = 0;
  if (nUnread > 0) {
    m_pFile->Seek(-static_cast<LONGLONG>(nUnread), CFile::current);
  }
}

void CArchive::Close() {
  Flush();
  Abort();
}

void CArchive::Abort() {
  m_pFile = nullptr;
  m_nBufCur = 0;
  m_nBufMax = 0;
  m_mapStoredObjects.clear();
  m_mapStoredClasses.clear();
  m_arLoaded.clear();
}

ULONGLONG CArchive::GetBytesLeft() {
  CheckLoading();
  ULONGLONG nLength = m_pFile->GetLength();
  ULONGLONG nPosition = m_pFile->GetPosition();
  ULONGLONG nInFile = nLength > nPosition ? nLength - nPosition : 0;
  return static_cast<ULONGLONG>(m_nBufMax - m_nBufCur) + nInFile;
}

void CArchive::EnsureBytesLeft(ULONGLONG nBytes) {
  CheckLoading();
  if (nBytes <= m_nBufMax - m_nBufCur) {
    return;
  }
  if (nBytes > GetBytesLeft()) {
    Throw(CArchiveException::endOfFile);
  }
}

CArchive& CArchive::StoreUnsigned(ULONGLONG nValue, UINT nBytes) {
  CheckStoring();
  if (m_nBufSize - m_nBufCur < nBytes) {
    WriteBuffer();
  }
  EncodeFixed(m_pBuf.get() + m_nBufCur, nValue, nBytes);
  m_nBufCur += nBytes;
  return *this;
}

ULONGLONG CArchive::LoadUnsigned(UINT nBytes) {
  CheckLoading();
  if (m_nBufMax - m_nBufCur < nBytes) {
    FillBuffer(nBytes);
  }
  ULONGLONG nValue = DecodeFixed(m_pBuf.get() + m_nBufCur, nBytes);
  m_nBufCur += nBytes;
  return nValue;
}

CArchive& CArchive::operator<<(float f) {
  return StoreUnsigned(std::bit_cast<DWORD>(f), 4);
}

CArchive& CArchive::operator<<(double d) {
  return StoreUnsigned(std::bit_cast<ULONGLONG>(d), 8);
}

CArchive& CArchive::operator>>(BYTE& by) {
  by = static_cast<BYTE>(LoadUnsigned(1));
  return *this;
}

CArchive& CArchive::operator>>(char& ch) {
  ch = static_cast<char>(LoadUnsigned(1));
  return *this;
}

CArchive& CArchive::operator>>(signed char& ch) {
  ch = static_cast<signed char>(LoadUnsigned(1));
  return *this;
}

CArchive& CArchive::operator>>(bool& b) {
  b = LoadUnsigned(1) != 0;
  return *this;
}

CArchive& CArchive::operator>>(WORD& w) {
  w = static_cast<WORD>(LoadUnsigned(2));
  return *this;
}

CArchive& CArchive::operator>>(short& n) {
  n = static_cast<short>(LoadUnsigned(2));
  return *this;
}

CArchive& CArchive::operator>>(unsigned int& n) {
  n = static_cast<unsigned int>(LoadUnsigned(4));
  return *this;
}

CArchive& CArchive::operator>>(int& n) {
  n = static_cast<int>(static_cast<unsigned int>(LoadUnsigned(4)));
  return *this;
}

CArchive& CArchive::operator>>(unsigned long& n) {
  n = static_cast<unsigned long>(LoadUnsigned(8));
  return *this;
}

CArchive& CArchive::operator>>(long& n) {
  n = static_cast<long>(LoadUnsigned(8));
  return *this;
}

CArchive& CArchive::operator>>(unsigned long long& n) {
  n = LoadUnsigned(8);
  return *this;
}

CArchive& CArchive::operator>>(long long& n) {
  n = static_cast<long long>(LoadUnsigned(8));
  return *this;
}

CArchive& CArchive::operator>>(float& f) {
  f = std::bit_cast<float>(static_cast<DWORD>(LoadUnsigned(4)));
  return *this;
}

CArchive& CArchive::operator>>(double& d) {
  d = std::bit_cast<double>(static_cast<ULONGLONG>(LoadUnsigned(8)));
  return *this;
}

void CArchive::WriteCount(DWORD nCount) {
  if (nCount < kWordLengthEscape) {
    *this << static_cast<WORD>(nCount);
  } else {
    *this << kWordLengthEscape << nCount;
  }
}

DWORD CArchive::ReadCount() {
  WORD wCount;
  *this >> wCount;
  if (wCount != kWordLengthEscape) {
    return wCount;
  }
  DWORD nCount;
  *this >> nCount;
  return nCount;
}

DWORD CArchive::NextNumber() {
  if (m_nMapCount >= kMaxMapCount) {
    Throw(CArchiveException::badIndex);
  }
  return m_nMapCount++;
}

void CArchive::WriteTag(DWORD nNumber, bool bClass) {
  if (nNumber < kBigObjectTag) {
    *this << static_cast<WORD>(bClass ? (kClassTag | nNumber) : nNumber);
  } else {
    *this << kBigObjectTag << (bClass ? (kBigClassTag | nNumber) : nNumber);
  }
}

void CArchive::WriteClass(const CRuntimeClass* pClassRef) {
  CheckStoring();
  if (pClassRef == nullptr || pClassRef->m_wSchema == LORN_NOT_SERIAL_SCHEMA) {
    Throw(CArchiveException::badClass);
  }
  auto it = m_mapStoredClasses.find(pClassRef);
  if (it != m_mapStoredClasses.end()) {
    WriteTag(it->second, true);
    return;
  }
  size_t nNameLen = std::strlen(pClassRef->m_lpszClassName);
  if (nNameLen > 0xFFFF) {
    Throw(CArchiveException::badClass);
  }
  *this << kNewClassTag << static_cast<WORD>(pClassRef->m_wSchema) << static_cast<WORD>(nNameLen);
  Write(pClassRef->m_lpszClassName, static_cast<UINT>(nNameLen));
  m_mapStoredClasses.emplace(pClassRef, NextNumber());
}

namespace {

// Counts one level of objects nested in one another for as long as it
// lives; the level past the limit throws before anything of it is read or
// written.
class CDepthGuard {
 public:
  CDepthGuard(int& nDepth, CArchive& ar) : m_nDepth(nDepth) {
    if (m_nDepth >= CArchive::kMaxObjectDepth) {
      ThrowFor(ar, CArchiveException::genericException);
    }
    ++m_nDepth;
  }
  ~CDepthGuard() { --m_nDepth; }
  CDepthGuard(const CDepthGuard&) = delete;
  CDepthGuard& operator=(const CDepthGuard&) = delete;

 private:
  int& m_nDepth;
};

}  // namespace

void CArchive::WriteObject(const CObject* pOb) {
  CheckStoring();
  if (pOb == nullptr) {
    *this << kNullTag;
    return;
  }
  auto it = m_mapStoredObjects.find(pOb);
  if (it != m_mapStoredObjects.end()) {
    WriteTag(it->second, false);
    return;
  }
  CDepthGuard depth(m_nObjectDepth, *this);
  WriteClass(pOb->GetRuntimeClass());
  m_mapStoredObjects.emplace(pOb, NextNumber());
  // Serialize is not const in the class library, though it only reads the
  // object when storing.
  const_cast<CObject*>(pOb)->Serialize(*this);
}

CRuntimeClass* CArchive::ReadClass(const CRuntimeClass* pClassRefRequested, UINT* pSchema,
                                   DWORD* pObTag) {
  CheckLoading();
  WORD wTag;
  *this >> wTag;
  DWORD nObTag;
  if (wTag == kBigObjectTag) {
    *this >> nObTag;
  } else {
    nObTag = (static_cast<DWORD>(wTag & kClassTag) << 16) | (wTag & ~kClassTag);
  }
  if ((nObTag & kBigClassTag) == 0) {
    if (pObTag == nullptr) {
      Throw(CArchiveException::badIndex);
    }
    *pObTag = nObTag;
    return nullptr;
  }

  CRuntimeClass* pClassRef = nullptr;
  if (wTag == kNewClassTag) {
    WORD wSchema;
    WORD wNameLen;
    *this >> wSchema >> wNameLen;
    std::string strName(wNameLen, '\0');
    ReadExact(strName.data(), wNameLen);
    pClassRef = CRuntimeClass::FromName(strName.c_str());
    if (pClassRef == nullptr || strName.size() != std::strlen(strName.c_str()) ||
        pClassRef->m_wSchema == LORN_NOT_SERIAL_SCHEMA) {
      Throw(CArchiveException::badClass);
    }
    if (pClassRef->m_wSchema != wSchema) {
      Throw(CArchiveException::badSchema);
    }
    NextNumber();
    m_arLoaded.push_back(CLoadEntry{pClassRef, nullptr});
  } else {
    DWORD nClassIndex = nObTag & ~kBigClassTag;
    if (nClassIndex == 0 || nClassIndex >= m_arLoaded.size() ||
        m_arLoaded[nClassIndex].m_pClass == nullptr) {
      Throw(CArchiveException::badIndex);
    }
    pClassRef = m_arLoaded[nClassIndex].m_pClass;
  }
  if (pClassRefRequested != nullptr && !pClassRef->IsDerivedFrom(pClassRefRequested)) {
    Throw(CArchiveException::badClass);
  }
  if (pSchema != nullptr) {
    *pSchema = pClassRef->m_wSchema;
  }
  return pClassRef;
}

CObject* CArchive::ReadObject(const CRuntimeClass* pClassRefRequested) {
  CheckLoading();
  DWORD nObTag = 0;
  CRuntimeClass* pClassRef = ReadClass(pClassRefRequested, nullptr, &nObTag);
  if (pClassRef == nullptr) {
    if (nObTag >= m_arLoaded.size() || m_arLoaded[nObTag].m_pClass != nullptr) {
      Throw(CArchiveException::badIndex);
    }
    CObject* pOb = m_arLoaded[nObTag].m_pObject;
    if (pOb != nullptr && pClassRefRequested != nullptr && !pOb->IsKindOf(pClassRefRequested)) {
      Throw(CArchiveException::badClass);
    }
    return pOb;
  }

  CDepthGuard depth(m_nObjectDepth, *this);
  CObject* pOb = pClassRef->CreateObject();
  if (pOb == nullptr) {
    Throw(CArchiveException::badClass);
  }
  size_t nIndex = m_arLoaded.size();
  try {
    NextNumber();
    m_arLoaded.push_back(CLoadEntry{nullptr, pOb});
    pOb->Serialize(*this);
  } catch (...) {
    if (nIndex < m_arLoaded.size()) {
      m_arLoaded[nIndex].m_pObject = nullptr;
    }
    delete pOb;
    throw;
  }
  return pOb;
}

CArchive& operator<<(CArchive& ar, const CString& str) {
  DWORD nLength = static_cast<DWORD>(str.GetLength());
  if (nLength < kByteLengthEscape) {
    ar << static_cast<BYTE>(nLength);
  } else if (nLength < kWideMark) {
    ar << kByteLengthEscape << static_cast<WORD>(nLength);
  } else {
    ar << kByteLengthEscape << kWordLengthEscape << nLength;
  }
  ar.Write(str.GetString(), nLength);
  return ar;
}

CArchive& operator>>(CArchive& ar, CString& str) {
  bool bWide = false;
  ULONGLONG nLength = ReadStringLength(ar, bWide);
  if (nLength > static_cast<ULONGLONG>(INT_MAX)) {
    // Longer than any CString: truncated data still reports endOfFile, a
    // file that really holds that much is refused.
    ar.EnsureBytesLeft(nLength);
    ThrowFor(ar, CArchiveException::genericException);
  }
  if (!bWide) {
    ar.EnsureBytesLeft(nLength);
    std::string strBytes(static_cast<size_t>(nLength), '\0');
    if (ar.Read(strBytes.data(), static_cast<UINT>(nLength)) != nLength) {
      ThrowFor(ar, CArchiveException::endOfFile);
    }
    str.SetString(strBytes.data(), static_cast<int>(nLength));
    return ar;
  }
  ar.EnsureBytesLeft(2 * nLength);
  std::u16string strWide(static_cast<size_t>(nLength), u'\0');
  for (char16_t& wch : strWide) {
    WORD wUnit;
    ar >> wUnit;
    wch = static_cast<char16_t>(wUnit);
  }
  std::string strBytes = WideToMultiByte(strWide.data(), strWide.size());
  str.SetString(strBytes.data(), static_cast<int>(strBytes.size()));
  return ar;
}

CArchive& operator<<(CArchive& ar, const CObject* pOb) {
  ar.WriteObject(pOb);
  return ar;
}

CArchive& operator>>(CArchive& ar, CObject*& pOb) {
  pOb = ar.ReadObject(nullptr);
  return ar;
}

CArchive& operator>>(CArchive& ar, const CObject*& pOb) {
  pOb = ar.ReadObject(nullptr);
  return ar;
}
