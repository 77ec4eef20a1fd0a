#include "platform/cfile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <typeinfo>

IMPLEMENT_DYNAMIC(CFile, CObject)

namespace {

constexpr mode_t kWriteBits = S_IWUSR | S_IWGRP | S_IWOTH;

// Positions up to here are taken without asking the system: every file
// system accepts them. Beyond, lseek gives its verdict.
constexpr ULONGLONG kPlainPositionLimit = 0xFFFFFFFFULL;

// The view of an empty file: no byte, but not null.
const BYTE g_byEmptyView = 0;

// The path made absolute and free of "." and ".." steps, without resolving
// symbolic links; the path as given when that fails.
std::string FullPath(const char* pszFileName) {
  std::error_code ec;
  std::filesystem::path path = std::filesystem::absolute(pszFileName, ec);
  if (ec) {
    return pszFileName;
  }
  return path.lexically_normal().string();
}

void FillStatus(const struct stat& st, const std::string& strFullName, CFileStatus& rStatus) {
  rStatus.m_ctime = CTime(static_cast<int64_t>(st.st_ctime));
  rStatus.m_mtime = CTime(static_cast<int64_t>(st.st_mtime));
  rStatus.m_atime = CTime(static_cast<int64_t>(st.st_atime));
  rStatus.m_size = static_cast<ULONGLONG>(st.st_size);
  BYTE nAttribute = CFile::normal;
  if (S_ISDIR(st.st_mode)) {
    nAttribute |= CFile::directory;
  }
  if ((st.st_mode & kWriteBits) == 0) {
    nAttribute |= CFile::readOnly;
  }
  rStatus.m_attribute = nAttribute;
  size_t nLen = strFullName.size();
  if (nLen >= sizeof(rStatus.m_szFullName)) {
    nLen = sizeof(rStatus.m_szFullName) - 1;
  }
  std::memcpy(rStatus.m_szFullName, strFullName.data(), nLen);
  rStatus.m_szFullName[nLen] = '\0';
}

[[noreturn]] void ThrowForPath(int nErrno, const char* pszFileName) {
  CFileException::ThrowOsError(nErrno, pszFileName);
}

void CloseQuietly(int fd) {
  // The descriptor is gone after close() whatever it reports, so a failure
  // leaves nothing to retry or release.
  (void)::close(fd);
}

// Takes the share lock without waiting. Gives 0 or the errno of the refusal;
// bLocked tells whether a lock is held (a file system that cannot lock
// serves its files unlocked).
int LockShared(int fd, bool bExclusive, bool& bLocked) {
  bLocked = false;
  int nOperation = (bExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
  for (;;) {
    if (::flock(fd, nOperation) == 0) {
      bLocked = true;
      return 0;
    }
    int nErrno = errno;
    if (nErrno == EINTR) {
      continue;
    }
    if (nErrno == EOPNOTSUPP || nErrno == ENOSYS) {
      return 0;
    }
    return nErrno;
  }
}

}  // namespace

CFile::CFile() = default;

CFile::CFile(const char* pszFileName, UINT nOpenFlags) {
  CFileException error;
  if (!Open(pszFileName, nOpenFlags, &error)) {
    throw error;
  }
}

CFile::~CFile() {
  if (IsOpen()) {
    Abort();
  }
}

BOOL CFile::Open(const char* pszFileName, UINT nOpenFlags, CFileException* pError) {
  if (IsOpen()) {
    Abort();
  }
  m_strFileName.Empty();

  auto Fail = [&](int nErrno, int nCause) -> BOOL {
    if (pError != nullptr) {
      pError->m_cause = nCause;
      pError->m_lOsError = nErrno;
      pError->m_strFileName = pszFileName;
    }
    return FALSE;
  };
  if (pszFileName == nullptr) {
    return Fail(ENOENT, CFileException::fileNotFound);
  }

  const UINT nAccess = nOpenFlags & 0x3;
  if (nAccess == 0x3) {
    return Fail(EINVAL, CFileException::genericException);
  }
  const bool bCreate = (nOpenFlags & modeCreate) != 0;
  const bool bTruncate = bCreate && (nOpenFlags & modeNoTruncate) == 0;
  // Emptying a file is writing to it, whatever access was asked for.
  const bool bWrite = nAccess != modeRead || bTruncate;
  const UINT nShare = nOpenFlags & 0x70;
  const bool bExclusive = bWrite || nShare == shareExclusive || nShare == shareDenyRead;

  int nFlags = bWrite ? (nAccess == modeWrite ? O_WRONLY : O_RDWR) : O_RDONLY;
  nFlags |= O_NOCTTY;
  if (nOpenFlags & modeNoInherit) {
    nFlags |= O_CLOEXEC;
  }

  // A file made by this very call may be written whatever its permission
  // bits, so creation is told apart from opening an existing file.
  bool bCreated = false;
  int fd = -1;
  if (bCreate) {
    fd = ::open(pszFileName, nFlags | O_CREAT | O_EXCL, 0666);
    bCreated = fd >= 0;
    if (fd < 0 && errno == EEXIST) {
      fd = ::open(pszFileName, nFlags);
      if (fd < 0 && errno == ENOENT) {
        // Removed in between, or a dangling link: create without the claim.
        fd = ::open(pszFileName, nFlags | O_CREAT, 0666);
      }
    }
  } else {
    fd = ::open(pszFileName, nFlags);
  }
  if (fd < 0) {
    int nErrno = errno;
    return Fail(nErrno, CFileException::OsErrorToException(nErrno));
  }

  struct stat st;
  if (::fstat(fd, &st) != 0) {
    int nErrno = errno;
    CloseQuietly(fd);
    return Fail(nErrno, CFileException::OsErrorToException(nErrno));
  }
  if (S_ISDIR(st.st_mode)) {
    CloseQuietly(fd);
    return Fail(EISDIR, CFileException::accessDenied);
  }
  // The permission bits are checked here rather than left to open(), which
  // lets the superuser write anything.
  if (bWrite && !bCreated && (st.st_mode & kWriteBits) == 0) {
    CloseQuietly(fd);
    return Fail(EACCES, CFileException::accessDenied);
  }

  bool bLocked = false;
  int nLockErrno = LockShared(fd, bExclusive, bLocked);
  if (nLockErrno != 0) {
    CloseQuietly(fd);
    if (nLockErrno == EWOULDBLOCK) {
      return Fail(nLockErrno, CFileException::sharingViolation);
    }
    return Fail(nLockErrno, CFileException::OsErrorToException(nLockErrno));
  }

  if (bTruncate && !bCreated && st.st_size != 0 && ::ftruncate(fd, 0) != 0) {
    int nErrno = errno;
    CloseQuietly(fd);
    return Fail(nErrno, CFileException::OsErrorToException(nErrno));
  }

  m_hFile = fd;
  m_strFileName = FullPath(pszFileName).c_str();
  m_bOwnPosition = !bWrite && S_ISREG(st.st_mode);
  m_nPosition = 0;
  // Writers are kept out by the lock of every share mode but shareDenyNone
  // and shareCompat.
  const bool bDeniesWriters =
      nShare == shareDenyWrite || nShare == shareDenyRead || nShare == shareExclusive;
  m_nViewState = m_bOwnPosition && bLocked && bDeniesWriters ? VIEW_UNTRIED : VIEW_NONE;
  m_nViewAsks = 0;
  return TRUE;
}

void CFile::Attach(int hFile, const char* pszFileName) {
  if (IsOpen()) {
    Abort();
  }
  m_hFile = hFile;
  m_strFileName = pszFileName;
}

void CFile::Close() {
  if (!IsOpen()) {
    return;
  }
  DropView();
  m_bOwnPosition = false;
  int fd = m_hFile;
  m_hFile = hFileNull;
  CString strName = m_strFileName;
  m_strFileName.Empty();
  if (::close(fd) != 0 && errno != EINTR) {
    ThrowForPath(errno, strName.GetString());
  }
}

void CFile::Abort() {
  if (!IsOpen()) {
    return;
  }
  DropView();
  m_bOwnPosition = false;
  CloseQuietly(m_hFile);
  m_hFile = hFileNull;
  m_strFileName.Empty();
}

void CFile::ThrowErrno(int nErrno) const {
  ThrowForPath(nErrno, m_strFileName.GetString());
}

UINT CFile::Read(void* lpBuf, UINT nCount) {
  if (!IsOpen()) {
    ThrowErrno(EBADF);
  }
  BYTE* pBuf = static_cast<BYTE*>(lpBuf);
  UINT nDone = 0;
  // A file that keeps its position itself reads at it; a read ends at the
  // file's end or once nCount bytes are in.
  while (nDone < nCount) {
    const ssize_t nGot = m_bOwnPosition ? ::pread(m_hFile, pBuf + nDone, nCount - nDone,
                                                  static_cast<off_t>(m_nPosition))
                                        : ::read(m_hFile, pBuf + nDone, nCount - nDone);
    if (nGot < 0) {
      if (errno == EINTR) {
        continue;
      }
      ThrowErrno(errno);
    }
    if (nGot == 0) {
      break;
    }
    nDone += static_cast<UINT>(nGot);
    if (m_bOwnPosition) {
      m_nPosition += static_cast<ULONGLONG>(nGot);
    }
  }
  return nDone;
}

void CFile::Write(const void* lpBuf, UINT nCount) {
  if (!IsOpen()) {
    ThrowErrno(EBADF);
  }
  DropView();
  const BYTE* pBuf = static_cast<const BYTE*>(lpBuf);
  UINT nDone = 0;
  while (nDone < nCount) {
    ssize_t nPut = ::write(m_hFile, pBuf + nDone, nCount - nDone);
    if (nPut < 0) {
      if (errno == EINTR) {
        continue;
      }
      ThrowErrno(errno);
    }
    if (nPut == 0) {
      ThrowErrno(ENOSPC);
    }
    nDone += static_cast<UINT>(nPut);
  }
}

ULONGLONG CFile::Seek(LONGLONG lOff, UINT nFrom) {
  if (!IsOpen()) {
    ThrowErrno(EBADF);
  }
  int nWhence = SEEK_SET;
  switch (nFrom) {
    case begin:
      nWhence = SEEK_SET;
      break;
    case current:
      nWhence = SEEK_CUR;
      break;
    case end:
      nWhence = SEEK_END;
      break;
    default:
      throw CFileException(CFileException::badSeek, EINVAL, m_strFileName.GetString());
  }
  if (m_bOwnPosition) {
    // The arithmetic of lseek, whose checks it repeats for every position
    // that a file system may refuse.
    const ULONGLONG nBase = nFrom == begin     ? 0
                            : nFrom == current ? m_nPosition
                                               : CFile::GetLength();
    const bool bBelowStart = lOff < 0 && static_cast<ULONGLONG>(-(lOff + 1)) + 1 > nBase;
    const bool bTooFar = lOff > 0 && static_cast<ULONGLONG>(lOff) > INT64_MAX - nBase;
    if (bBelowStart || bTooFar) {
      throw CFileException(CFileException::badSeek, EINVAL, m_strFileName.GetString());
    }
    const ULONGLONG nTarget =
        lOff < 0 ? nBase - (static_cast<ULONGLONG>(-(lOff + 1)) + 1) : nBase + lOff;
    if (nTarget > kPlainPositionLimit &&
        ::lseek(m_hFile, static_cast<off_t>(nTarget), SEEK_SET) < 0) {
      throw CFileException(CFileException::badSeek, errno, m_strFileName.GetString());
    }
    m_nPosition = nTarget;
    return nTarget;
  }
  off_t nPos = ::lseek(m_hFile, static_cast<off_t>(lOff), nWhence);
  if (nPos < 0) {
    throw CFileException(CFileException::badSeek, errno, m_strFileName.GetString());
  }
  return static_cast<ULONGLONG>(nPos);
}

ULONGLONG CFile::GetPosition() const {
  if (!IsOpen()) {
    ThrowErrno(EBADF);
  }
  if (m_bOwnPosition) {
    return m_nPosition;
  }
  off_t nPos = ::lseek(m_hFile, 0, SEEK_CUR);
  if (nPos < 0) {
    throw CFileException(CFileException::badSeek, errno, m_strFileName.GetString());
  }
  return static_cast<ULONGLONG>(nPos);
}

ULONGLONG CFile::GetLength() const {
  struct stat st;
  if (!IsOpen()) {
    ThrowErrno(EBADF);
  }
  if (::fstat(m_hFile, &st) != 0) {
    ThrowErrno(errno);
  }
  return static_cast<ULONGLONG>(st.st_size);
}

void CFile::SetLength(ULONGLONG nNewLen) {
  if (!IsOpen()) {
    ThrowErrno(EBADF);
  }
  if (nNewLen > static_cast<ULONGLONG>(INT64_MAX)) {
    ThrowErrno(EFBIG);
  }
  DropView();
  while (::ftruncate(m_hFile, static_cast<off_t>(nNewLen)) != 0) {
    if (errno != EINTR) {
      ThrowErrno(errno);
    }
  }
}

void CFile::Flush() {
  if (!IsOpen()) {
    return;
  }
  // Descriptors that cannot be synchronised (pipes, special files) have
  // nothing to commit.
  if (::fsync(m_hFile) != 0 && errno != EINVAL && errno != EROFS) {
    ThrowErrno(errno);
  }
}

UINT CFile::ReadAt(ULONGLONG nPos, void* lpBuf, UINT nCount) {
  ULONGLONG nLength = 0;
  const BYTE* pView = GetView(&nLength);
  if (pView == nullptr) {
    Seek(static_cast<LONGLONG>(nPos), begin);
    return Read(lpBuf, nCount);
  }
  if (nPos >= nLength) {
    return 0;
  }
  const UINT nGot = nLength - nPos < nCount ? static_cast<UINT>(nLength - nPos) : nCount;
  std::memcpy(lpBuf, pView + nPos, nGot);
  return nGot;
}

const BYTE* CFile::MapView(ULONGLONG* pnLength) {
  *pnLength = 0;
  if (m_nViewState != VIEW_UNTRIED || !IsOpen() || ++m_nViewAsks < VIEW_AFTER_ASKS) {
    return nullptr;
  }
  // One attempt per opening: a refusal is not asked again at every read.
  m_nViewState = VIEW_NONE;
  if (typeid(*this) != typeid(CFile)) {
    return nullptr;
  }
  struct stat st;
  if (::fstat(m_hFile, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size < 0 ||
      static_cast<ULONGLONG>(st.st_size) > SIZE_MAX) {
    return nullptr;
  }
  const ULONGLONG nLength = static_cast<ULONGLONG>(st.st_size);
  if (nLength == 0) {
    m_pView = &g_byEmptyView;
  } else {
    void* pMap = ::mmap(nullptr, static_cast<size_t>(nLength), PROT_READ, MAP_SHARED, m_hFile, 0);
    if (pMap == MAP_FAILED) {
      return nullptr;
    }
    m_pView = static_cast<const BYTE*>(pMap);
  }
  m_nViewLength = nLength;
  m_nViewState = VIEW_MAPPED;
  *pnLength = nLength;
  return m_pView;
}

void CFile::DropView() {
  if (m_nViewState == VIEW_MAPPED && m_nViewLength > 0) {
    // Unmapping a range that was mapped cannot fail.
    (void)::munmap(const_cast<BYTE*>(m_pView), static_cast<size_t>(m_nViewLength));
  }
  m_nViewState = VIEW_NONE;
  m_pView = nullptr;
  m_nViewLength = 0;
}

BOOL CFile::GetStatus(CFileStatus& rStatus) const {
  struct stat st;
  if (!IsOpen() || ::fstat(m_hFile, &st) != 0) {
    return FALSE;
  }
  FillStatus(st, m_strFileName.GetString(), rStatus);
  return TRUE;
}

BOOL CFile::GetStatus(const char* pszFileName, CFileStatus& rStatus) {
  struct stat st;
  if (pszFileName == nullptr || ::stat(pszFileName, &st) != 0) {
    return FALSE;
  }
  FillStatus(st, FullPath(pszFileName), rStatus);
  return TRUE;
}

void CFile::SetStatus(const char* pszFileName, const CFileStatus& status) {
  struct stat st;
  if (::stat(pszFileName, &st) != 0) {
    ThrowForPath(errno, pszFileName);
  }
  const mode_t nMode = st.st_mode & 07777;
  const bool bWasReadOnly = (nMode & kWriteBits) == 0;
  const bool bReadOnly = (status.m_attribute & readOnly) != 0;

  if (bWasReadOnly && !bReadOnly && ::chmod(pszFileName, nMode | S_IWUSR) != 0) {
    ThrowForPath(errno, pszFileName);
  }
  if (status.m_mtime.GetTime() != 0 || status.m_atime.GetTime() != 0) {
    struct timespec aTimes[2];
    const CTime* apTimes[2] = {&status.m_atime, &status.m_mtime};
    for (int i = 0; i < 2; ++i) {
      aTimes[i].tv_sec = static_cast<time_t>(apTimes[i]->GetTime());
      aTimes[i].tv_nsec = apTimes[i]->GetTime() != 0 ? 0 : UTIME_OMIT;
    }
    if (::utimensat(AT_FDCWD, pszFileName, aTimes, 0) != 0) {
      ThrowForPath(errno, pszFileName);
    }
  }
  if (!bWasReadOnly && bReadOnly && ::chmod(pszFileName, nMode & ~kWriteBits) != 0) {
    ThrowForPath(errno, pszFileName);
  }
}

void CFile::Rename(const char* pszOldName, const char* pszNewName) {
  if (::renameat2(AT_FDCWD, pszOldName, AT_FDCWD, pszNewName, RENAME_NOREPLACE) == 0) {
    return;
  }
  int nErrno = errno;
  if (nErrno != EINVAL && nErrno != ENOSYS && nErrno != EOPNOTSUPP) {
    ThrowForPath(nErrno, pszOldName);
  }
  // The file system cannot rename without replacing: a hard link claims the
  // new name atomically where links exist, a check before the rename
  // elsewhere.
  if (::link(pszOldName, pszNewName) == 0) {
    if (::unlink(pszOldName) != 0) {
      nErrno = errno;
      (void)::unlink(pszNewName);
      ThrowForPath(nErrno, pszOldName);
    }
    return;
  }
  nErrno = errno;
  if (nErrno == EEXIST || nErrno == ENOENT || nErrno == ENOTDIR) {
    ThrowForPath(nErrno, pszOldName);
  }
  struct stat st;
  if (::lstat(pszNewName, &st) == 0) {
    ThrowForPath(EEXIST, pszOldName);
  }
  if (::rename(pszOldName, pszNewName) != 0) {
    ThrowForPath(errno, pszOldName);
  }
}

void CFile::Remove(const char* pszFileName) {
  struct stat st;
  if (::lstat(pszFileName, &st) != 0) {
    ThrowForPath(errno, pszFileName);
  }
  if (S_ISDIR(st.st_mode)) {
    ThrowForPath(EISDIR, pszFileName);
  }
  if (S_ISREG(st.st_mode) && (st.st_mode & kWriteBits) == 0) {
    ThrowForPath(EACCES, pszFileName);
  }
  if (::unlink(pszFileName) != 0) {
    ThrowForPath(errno, pszFileName);
  }
}

CString CFile::GetFileName() const {
  std::string strPath = m_strFileName.GetString();
  size_t nSlash = strPath.rfind('/');
  return CString(nSlash == std::string::npos ? strPath.c_str() : strPath.c_str() + nSlash + 1);
}
