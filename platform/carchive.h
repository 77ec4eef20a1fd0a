// CArchive: the byte stream in which tables, queries and sidecar headers are
// stored, over a CFile, with the byte form of the class library it stands in
// for, so that archives written by either side read on the other.
//
// Byte layout. No header, padding, alignment or type tags beyond those below.
// Every number is little-endian; a signed value is stored as its unsigned
// bit pattern.
//
//   Scalars     BYTE, char, signed char, bool    1 byte (bool: 0 or 1)
//               WORD, short                      2 bytes
//               DWORD, UINT, LONG, int, float    4 bytes (float: IEEE bits)
//               LONGLONG, ULONGLONG, double      8 bytes (double: IEEE bits)
//
//   Count       n < 0xFFFF           WORD n
//               n >= 0xFFFF          WORD 0xFFFF, DWORD n
//
//   CString     a length, then that many bytes, no terminator:
//               n < 0xFF             BYTE n
//               0xFF <= n < 0xFFFE   BYTE 0xFF, WORD n
//               0xFFFE <= n          BYTE 0xFF, WORD 0xFFFF, DWORD n
//               (DWORD 0xFFFFFFFF is followed by a 64-bit length; it is read,
//               never written.)
//               Wide form, read only: BYTE 0xFF, WORD 0xFFFE, then a length as
//               above counting 16-bit units, then the units, converted to the
//               multi-byte code page on loading. The library writes bytes.
//               Examples: ""  -> 00;  "ab" -> 02 61 62;
//               255 bytes -> FF FF 00 + bytes;  0xFFFE bytes -> FF FF FF FE FF 00 00 + bytes.
//
//   Arrays      CByteArray, CWordArray, CDWordArray: Count, then the elements
//               as scalars. CStringArray: Count, then the strings.
//               An empty array is 00 00.
//
//   Object pointer, as WriteObject writes it:
//               null                               WORD 0
//               stored before, number n < 0x7FFF   WORD n
//               stored before, n >= 0x7FFF         WORD 0x7FFF, DWORD n
//               new object                         class tag, then whatever
//                                                  the object's Serialize writes
//   Class tag:  class new to this archive          WORD 0xFFFF, WORD schema,
//                                                  WORD name length, name bytes
//               stored before, number n < 0x7FFF   WORD 0x8000 | n
//               stored before, n >= 0x7FFF         WORD 0x7FFF, DWORD 0x80000000 | n
//   Numbering: classes and objects share one sequence from 1, in order of
//   first appearance, a class before its first object. An object takes its
//   number before its Serialize runs, so references back to it from inside
//   its own data (and any object stored twice) load as the same pointer.
//   Example, in a fresh archive: a new object of class "CCatStd", schema 0,
//   is FF FF 00 00 07 00 "CCatStd" + data (class 1, object 2); the same object
//   again is 02 00; a second object of that class is 01 80 + data.
//
// Failures, all CArchiveException thrown by value (m_strFileName is the path
// of the file):
//   readOnly   storing into an archive made for loading
//   writeOnly  loading from an archive made for storing
//   endOfFile  reading past the end of the data, including a string, count or
//              name whose length runs past the end; such a length is checked
//              against the bytes left in the file before anything is
//              allocated for it
//   badClass   a class name unknown to CRuntimeClass::FromName, a class that
//              cannot be stored or created, or one not derived from the
//              requested class
//   badSchema  a stored schema that differs from the class's
//   badIndex   a reference to a number not yet read, to a class where an
//              object is expected or to an object where a class is expected,
//              or more than 0x3FFFFFFE numbered entries
//   genericException  use after Close or Abort, or objects nested deeper
//              than kMaxObjectDepth (an object whose Serialize reads or
//              writes another object, as a view stores its master): a
//              chain that deep is refused rather than exhausting the stack
// CFileException from the file passes through unchanged.
//
// Ownership: the archive does not own the file. Objects made by ReadObject
// belong to the caller; an object whose Serialize throws while loading is
// deleted before the exception passes on.
#ifndef LORN_PLATFORM_CARCHIVE_H_
#define LORN_PLATFORM_CARCHIVE_H_

#include <memory>
#include <unordered_map>
#include <vector>

#include "platform/cobject.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

class CFile;

class LORN_API CArchive {
 public:
  enum Mode { store = 0, load = 1, bNoFlushOnDelete = 2 };

  // REQUIRES: pFile open, readable for load, writable for store, and alive
  // as long as the archive uses it. Loading starts at the file's current
  // position; storing writes at it. nBufSize below 16 is taken as 16.
  CArchive(CFile* pFile, UINT nMode, int nBufSize = 4096);
  // Closes the archive unless bNoFlushOnDelete was given or it was closed
  // already; an error while writing the buffer out is dropped here, so
  // callers that need to know call Close.
  ~CArchive();
  CArchive(const CArchive&) = delete;
  CArchive& operator=(const CArchive&) = delete;

  BOOL IsLoading() const { return (m_nMode & load) != 0; }
  BOOL IsStoring() const { return (m_nMode & load) == 0; }
  CFile* GetFile() const { return m_pFile; }

  // Raw bytes. Read gives the number of bytes read, fewer than nMax only at
  // the end of the data; it never raises endOfFile.
  UINT Read(void* lpBuf, UINT nMax);
  void Write(const void* lpBuf, UINT nMax);

  // Storing: writes the buffer to the file. Loading: moves the file back
  // over the bytes read ahead into the buffer, so that the file's position
  // is right behind the last byte consumed. The archive stays usable.
  void Flush();
  // Flush, then detach from the file. Further use raises genericException.
  void Close();
  // Detaches from the file without writing anything.
  void Abort();

  // Loading: bytes of data left, in the buffer and in the file behind it.
  ULONGLONG GetBytesLeft();
  // Loading: raises endOfFile unless at least nBytes are left. Cheap when
  // they are already buffered.
  void EnsureBytesLeft(ULONGLONG nBytes);

  CArchive& operator<<(BYTE by) { return StoreUnsigned(by, 1); }
  CArchive& operator<<(char ch) { return StoreUnsigned(static_cast<BYTE>(ch), 1); }
  CArchive& operator<<(signed char ch) { return StoreUnsigned(static_cast<BYTE>(ch), 1); }
  CArchive& operator<<(bool b) { return StoreUnsigned(b ? 1 : 0, 1); }
  CArchive& operator<<(WORD w) { return StoreUnsigned(w, 2); }
  CArchive& operator<<(short n) { return StoreUnsigned(static_cast<WORD>(n), 2); }
  CArchive& operator<<(unsigned int n) { return StoreUnsigned(n, 4); }
  CArchive& operator<<(int n) { return StoreUnsigned(static_cast<unsigned int>(n), 4); }
  CArchive& operator<<(unsigned long n) { return StoreUnsigned(n, 8); }
  CArchive& operator<<(long n) { return StoreUnsigned(static_cast<unsigned long>(n), 8); }
  CArchive& operator<<(unsigned long long n) { return StoreUnsigned(n, 8); }
  CArchive& operator<<(long long n) { return StoreUnsigned(static_cast<ULONGLONG>(n), 8); }
  CArchive& operator<<(float f);
  CArchive& operator<<(double d);
  // A string literal would otherwise be stored as a bool; store a CString.
  CArchive& operator<<(const char* psz) = delete;

  CArchive& operator>>(BYTE& by);
  CArchive& operator>>(char& ch);
  CArchive& operator>>(signed char& ch);
  CArchive& operator>>(bool& b);
  CArchive& operator>>(WORD& w);
  CArchive& operator>>(short& n);
  CArchive& operator>>(unsigned int& n);
  CArchive& operator>>(int& n);
  CArchive& operator>>(unsigned long& n);
  CArchive& operator>>(long& n);
  CArchive& operator>>(unsigned long long& n);
  CArchive& operator>>(long long& n);
  CArchive& operator>>(float& f);
  CArchive& operator>>(double& d);

  void WriteCount(DWORD nCount);
  DWORD ReadCount();

  // How deep WriteObject and ReadObject may nest: the chain of objects each
  // stored inside the one before, a view's masters up to its table.
  static constexpr int kMaxObjectDepth = 1000;

  void WriteObject(const CObject* pOb);
  // The object at this place of the archive: null, one loaded before, or a
  // new one made by its class record and loaded by its Serialize.
  // pClassRefRequested, if given, is the class the object must derive from.
  CObject* ReadObject(const CRuntimeClass* pClassRefRequested);

  // A class tag alone, numbered as WriteObject numbers it.
  void WriteClass(const CRuntimeClass* pClassRef);
  // Reads a tag. With pObTag null it must be a class tag (else badIndex);
  // with pObTag given, an object tag gives null and its number in *pObTag.
  // *pSchema, if given, receives the stored schema of a new class.
  CRuntimeClass* ReadClass(const CRuntimeClass* pClassRefRequested = nullptr,
                           UINT* pSchema = nullptr, DWORD* pObTag = nullptr);

 private:
  struct CLoadEntry {
    CRuntimeClass* m_pClass;  // set for a class
    CObject* m_pObject;       // set for an object; both null for entry 0
  };

  void CheckStoring();
  void CheckLoading();
  [[noreturn]] void Throw(int nCause) const;
  CArchive& StoreUnsigned(ULONGLONG nValue, UINT nBytes);
  ULONGLONG LoadUnsigned(UINT nBytes);
  void ReadExact(void* lpBuf, UINT nCount);
  void WriteBuffer();
  void FillBuffer(UINT nNeeded);
  void WriteTag(DWORD nNumber, bool bClass);
  DWORD NextNumber();

  CFile* m_pFile;
  UINT m_nMode;
  UINT m_nBufSize;
  std::unique_ptr<BYTE[]> m_pBuf;
  // Storing: bytes [0, m_nBufCur) wait to be written. Loading: bytes
  // [m_nBufCur, m_nBufMax) are read ahead and not yet consumed.
  UINT m_nBufCur = 0;
  UINT m_nBufMax = 0;

  int m_nObjectDepth = 0;  // objects being stored or loaded, one inside another
  DWORD m_nMapCount = 1;   // next number to give; 0 is the null object
  std::unordered_map<const CObject*, DWORD> m_mapStoredObjects;
  std::unordered_map<const CRuntimeClass*, DWORD> m_mapStoredClasses;
  std::vector<CLoadEntry> m_arLoaded;  // by number; entry 0 is null
};

LORN_API CArchive& operator<<(CArchive& ar, const CString& str);
LORN_API CArchive& operator>>(CArchive& ar, CString& str);

// WriteObject and ReadObject with no requested class.
LORN_API CArchive& operator<<(CArchive& ar, const CObject* pOb);
LORN_API CArchive& operator>>(CArchive& ar, CObject*& pOb);
LORN_API CArchive& operator>>(CArchive& ar, const CObject*& pOb);

#endif  // LORN_PLATFORM_CARCHIVE_H_
