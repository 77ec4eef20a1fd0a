// CFile, CFileStatus and CTime: unbuffered binary files on a POSIX file
// descriptor, with the open flags, share modes and attributes of the class
// library the catalogue code was written for.
//
// Failure behaviour: the constructor that takes a path, Close, Read, Write,
// Seek, SetLength, Flush, SetStatus, Rename and Remove throw CFileException
// (by value) with m_lOsError = errno and m_strFileName set to the path. Open
// and the two GetStatus never throw: they give FALSE. Abort and the
// destructor close quietly.
//
// Share modes are advisory locks taken with flock() on the open file
// description, so they hold between two CFile objects of one process as well
// as between processes that both go through CFile:
//   exclusive lock  write access (modeWrite, modeReadWrite), or shareExclusive,
//                   or shareDenyRead
//   shared lock     read access with shareDenyWrite, shareDenyNone or
//                   shareCompat
// An open that the lock of another handle forbids fails at once with
// CFileException::sharingViolation; it never waits. On a file system without
// lock support files open unlocked.
//
// The read-only attribute is a file with no write permission bit at all.
// Opening such a file for writing (or for truncation) fails with
// accessDenied whoever the caller is, root included, and Remove refuses it.
#ifndef LORN_PLATFORM_CFILE_H_
#define LORN_PLATFORM_CFILE_H_

#include <cstdint>

#include "platform/cobject.h"
#include "platform/cstring.h"
#include "platform/exceptions.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Seconds since 1970-01-01 UTC.
class LORN_API CTime {
 public:
  CTime() = default;
  CTime(int64_t nTime) : m_nTime(nTime) {}
  int64_t GetTime() const { return m_nTime; }
  bool operator==(const CTime& other) const { return m_nTime == other.m_nTime; }
  bool operator!=(const CTime& other) const { return m_nTime != other.m_nTime; }
  bool operator<(const CTime& other) const { return m_nTime < other.m_nTime; }

 private:
  int64_t m_nTime = 0;
};

// Room for a full path with its terminator.
#define LORN_MAX_PATH 4096

struct LORN_API CFileStatus {
  CTime m_ctime;  // last status change (the system keeps no creation time)
  CTime m_mtime;  // last modification
  CTime m_atime;  // last access
  ULONGLONG m_size = 0;
  BYTE m_attribute = 0;                   // CFile::Attribute bits
  char m_szFullName[LORN_MAX_PATH] = {};  // absolute path; truncated if longer
};

class LORN_API CFile : public CObject {
  DECLARE_DYNAMIC(CFile)

 public:
  enum OpenFlags : UINT {
    modeRead = 0x0000,
    modeWrite = 0x0001,
    modeReadWrite = 0x0002,
    shareCompat = 0x0000,
    shareExclusive = 0x0010,
    shareDenyWrite = 0x0020,
    shareDenyRead = 0x0030,
    shareDenyNone = 0x0040,
    modeNoInherit = 0x0080,
    modeCreate = 0x1000,
    modeNoTruncate = 0x2000,
    typeText = 0x4000,  // accepted and ignored: files are always binary
    typeBinary = 0x8000,
  };

  enum Attribute : BYTE {
    normal = 0x00,
    readOnly = 0x01,
    hidden = 0x02,
    system = 0x04,
    volume = 0x08,
    directory = 0x10,
    archive = 0x20,
  };

  enum SeekPosition : UINT { begin = 0, current = 1, end = 2 };

  static constexpr int hFileNull = -1;

  CFile();
  // Opens like Open and throws the CFileException that Open would report.
  CFile(const char* pszFileName, UINT nOpenFlags);
  // Closes an open file; errors are dropped.
  ~CFile() override;

  // Opens pszFileName. On failure gives FALSE, leaves the object closed and,
  // if pError is given, fills its m_cause, m_lOsError and m_strFileName.
  // Never throws. An open object is closed quietly first.
  // modeCreate makes the file if needed and empties an existing one unless
  // modeNoTruncate is given; the emptying happens only once the share lock
  // is held, so a refused open leaves the other holder's content alone.
  // Directories are refused with accessDenied.
  virtual BOOL Open(const char* pszFileName, UINT nOpenFlags, CFileException* pError = nullptr);
  // Takes over an open descriptor, as Open would have left it: the object
  // closes it from then on and names it pszFileName in its exceptions. An
  // open object is closed quietly first. No lock is taken.
  void Attach(int hFile, const char* pszFileName);
  // Closes the descriptor, which releases the share lock. Throws if the
  // system reports an error; the object is closed either way.
  virtual void Close();
  // Closes without reporting anything.
  virtual void Abort();

  // Reads up to nCount bytes at the current position; fewer only at the end
  // of the file. Gives the number read.
  virtual UINT Read(void* lpBuf, UINT nCount);
  // Writes all nCount bytes; a full disk raises diskFull.
  virtual void Write(const void* lpBuf, UINT nCount);
  // Moves the position; a position before the start raises badSeek.
  // Gives the new position.
  virtual ULONGLONG Seek(LONGLONG lOff, UINT nFrom);
  void SeekToBegin() { Seek(0, begin); }
  ULONGLONG SeekToEnd() { return Seek(0, end); }
  virtual ULONGLONG GetPosition() const;
  virtual ULONGLONG GetLength() const;
  virtual void SetLength(ULONGLONG nNewLen);
  // Commits written data to the storage device (fsync).
  virtual void Flush();

  // Reads up to nCount bytes at offset nPos, fewer only at the end of the
  // file: exactly what Seek(nPos, begin) followed by Read would give. With a
  // view (below) the bytes are copied from it and the position stays where
  // it was; otherwise Seek and Read run, which leave the position behind the
  // bytes read. Throws what Seek and Read throw.
  UINT ReadAt(ULONGLONG nPos, void* lpBuf, UINT nCount);

  // A read-only view of the whole file, for readers that would otherwise
  // seek and read small pieces of it: the file's bytes at their offsets,
  // *pnLength of them. Offered only by a CFile itself (a derived class may
  // give Read another meaning) that is open for reading alone, on a regular
  // file, under a share lock that keeps every writer out (shareDenyWrite,
  // shareDenyRead or shareExclusive, and a file system that locks): while
  // that lock holds, neither the bytes nor the length can change. Null
  // otherwise, or when the system refuses the mapping; the caller then
  // reads. A file asked only a few times is read rather than mapped: the
  // view is made at the VIEW_AFTER_ASKS-th call of an opening. It goes with
  // Close, Abort, Open, Write and SetLength: a pointer must not be kept
  // across any of them. Never throws and does not move the position.
  const BYTE* GetView(ULONGLONG* pnLength) {
    if (m_nViewState == VIEW_MAPPED) {
      *pnLength = m_nViewLength;
      return m_pView;
    }
    return MapView(pnLength);
  }

  // Status of the open file; FALSE if the object is closed.
  BOOL GetStatus(CFileStatus& rStatus) const;
  // Status of a file or directory by path (symbolic links followed); FALSE
  // if it cannot be found.
  static BOOL GetStatus(const char* pszFileName, CFileStatus& rStatus);
  // Sets the modification and access times (a zero CTime leaves that time
  // as it is) and the read-only attribute: readOnly clears every write
  // permission bit, its absence gives the owner write permission back.
  // Other attribute bits are ignored.
  static void SetStatus(const char* pszFileName, const CFileStatus& status);
  // Renames a file or directory. An existing target is refused with
  // accessDenied (errno EEXIST) and left untouched.
  static void Rename(const char* pszOldName, const char* pszNewName);
  // Removes a file. Directories and read-only files are refused with
  // accessDenied.
  static void Remove(const char* pszFileName);

  // The absolute path given to Open, and its last component.
  CString GetFilePath() const { return m_strFileName; }
  CString GetFileName() const;
  BOOL IsOpen() const { return m_hFile != hFileNull; }

  int m_hFile = hFileNull;

 protected:
  // Throws the exception for errno value nErrno on this file.
  [[noreturn]] void ThrowErrno(int nErrno) const;

  CString m_strFileName;

 private:
  enum ViewState : BYTE {
    VIEW_NONE,     // no view can be had for this opening
    VIEW_UNTRIED,  // a view may be made at the VIEW_AFTER_ASKS-th GetView
    VIEW_MAPPED,   // m_pView holds m_nViewLength bytes
  };

  static constexpr BYTE VIEW_AFTER_ASKS = 8;

  const BYTE* MapView(ULONGLONG* pnLength);
  // Unmaps the view; later calls of GetView give null until the next Open.
  void DropView();

  // A file open for reading alone keeps its position here and reads with
  // pread, so that Seek and GetPosition cost no system call. Files open for
  // writing use the descriptor's own position, as do pipes and devices.
  bool m_bOwnPosition = false;
  ULONGLONG m_nPosition = 0;
  BYTE m_nViewState = VIEW_NONE;
  BYTE m_nViewAsks = 0;  // calls of GetView in state VIEW_UNTRIED
  const BYTE* m_pView = nullptr;
  ULONGLONG m_nViewLength = 0;
};

#endif  // LORN_PLATFORM_CFILE_H_
