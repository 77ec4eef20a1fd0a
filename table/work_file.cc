#include "table/work_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "platform/exceptions.h"
#include "table/cat_std.h"

namespace {

constexpr char PATH_SEP = '/';
constexpr mode_t PRIVATE_MODE = 0600;  // while the work file is written
constexpr int NAME_TRIES = 100;

CString DirOf(const CString& strPath) {
  const int nSep = strPath.ReverseFind(PATH_SEP);
  return nSep < 0 ? CString(".") : nSep == 0 ? CString("/") : strPath.Left(nSep);
}

CString NameOf(const CString& strPath) {
  return strPath.Mid(strPath.ReverseFind(PATH_SEP) + 1);
}

// The file that strPath stands for, symbolic links followed; for a file that
// does not exist yet, the same name in its folder resolved.
CString RealPath(const CString& strPath) {
  char szReal[PATH_MAX];
  if (::realpath(strPath, szReal) != nullptr) {
    return szReal;
  }
  if (::realpath(DirOf(strPath), szReal) != nullptr) {
    return CString(szReal) + (szReal[1] == '\0' ? "" : "/") + NameOf(strPath);
  }
  return strPath;
}

// Opens pszPath (a directory when bDir) and commits it to the disk: the
// errno of the first failure, 0 when done; what has nothing to commit counts
// as done.
int SyncPath(const char* pszPath, bool bDir) {
  const int hFile = ::open(pszPath, O_RDONLY | O_CLOEXEC | (bDir ? O_DIRECTORY : 0));
  if (hFile < 0) {
    return errno;
  }
  int nErrno = 0;
  if (::fsync(hFile) != 0 && errno != EINVAL && errno != EROFS) {
    nErrno = errno;
  }
  ::close(hFile);
  return nErrno;
}

// Commits the entries of a folder that a rename or a removal changed. Best
// effort: the change is made when this runs.
void SyncFolderOf(const CString& strPath) {
  (void)SyncPath(DirOf(strPath), true);
}

// The hidden name that a work file may take beside strTarget for its last
// instant: ".NAME.lorn-XXXXXX", a name no file of the user's holds.
CString CandidateName(const CString& strTarget) {
  static std::mt19937 s_random{std::random_device{}()};
  char szSuffix[16];
  std::snprintf(szSuffix, sizeof(szSuffix), "%06x", static_cast<unsigned>(s_random() & 0xFFFFFF));
  return DirOf(strTarget) + "/." + NameOf(strTarget) + ".lorn-" + szSuffix;
}

// Work files of strTarget that a dead process left under their hidden name.
// A work file holds a shared lock from its creation to its end, so one that
// takes an exclusive lock has no living writer. Where the file system takes
// no locks, one older than a minute, far longer than the instant a live one
// has its name, counts as dead.
void RemoveDeadWorkFiles(const CString& strTarget) {
  const std::string strPrefix = std::string(".") + NameOf(strTarget).GetString() + ".lorn-";
  std::error_code error;
  const auto tNow = std::filesystem::file_time_type::clock::now();
  for (const auto& entry :
       std::filesystem::directory_iterator(DirOf(strTarget).GetString(), error)) {
    const std::string strName = entry.path().filename().string();
    if (strName.size() != strPrefix.size() + 6 ||
        strName.compare(0, strPrefix.size(), strPrefix) != 0 || !entry.is_regular_file(error)) {
      continue;
    }
    const int hFile = ::open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (hFile < 0) {
      continue;
    }
    bool bDead = ::flock(hFile, LOCK_EX | LOCK_NB) == 0;
    if (!bDead && errno != EWOULDBLOCK && errno != EINTR) {
      bDead = tNow - entry.last_write_time(error) > std::chrono::minutes(1);
    }
    if (bDead) {
      std::filesystem::remove(entry.path(), error);
    }
    ::close(hFile);
  }
}

// The lock by which others tell a living work file from a dead one.
void MarkAlive(int hFile) {
  (void)::flock(hFile, LOCK_SH | LOCK_NB);
}

}  // namespace

BOOL CWorkFile::Create(const CString& strTarget, CFileException* pError, const char* pszModel) {
  Discard();
  m_strTarget = RealPath(strTarget);
  m_strModel = pszModel;
  auto Fail = [&](int nErrno, const CString& strName) {
    if (pError != nullptr) {
      pError->m_cause = CFileException::OsErrorToException(nErrno);
      pError->m_lOsError = nErrno;
      pError->m_strFileName = strName;
    }
    return FALSE;
  };

  RemoveDeadWorkFiles(m_strTarget);
  const CString strFolder = DirOf(m_strTarget);
  int hFile = ::open(strFolder, O_TMPFILE | O_RDWR | O_CLOEXEC, PRIVATE_MODE);
  if (hFile >= 0) {
    MarkAlive(hFile);
    m_file.Attach(hFile, m_strTarget);
    m_bCreated = TRUE;
    return TRUE;
  }
  if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
    return Fail(errno, strFolder);
  }
  // No anonymous files here: a name of its own from the start.
  for (int nTry = 0; nTry < NAME_TRIES; ++nTry) {
    const CString strName = CandidateName(m_strTarget);
    hFile = ::open(strName, O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, PRIVATE_MODE);
    if (hFile >= 0) {
      MarkAlive(hFile);
      m_file.Attach(hFile, strName);
      m_strVisible = strName;
      m_bCreated = TRUE;
      return TRUE;
    }
    if (errno != EEXIST) {
      return Fail(errno, strName);
    }
  }
  return Fail(EEXIST, strFolder);
}

CString CWorkFile::GetReadPath() const {
  // The pass that reads the file takes a lock of its own, which this one
  // would refuse; LinkVisible takes it again before the file has a name.
  (void)::flock(m_file.m_hFile, LOCK_UN);
  if (!m_strVisible.IsEmpty()) {
    return m_strVisible;
  }
  char szSelf[32];
  std::snprintf(szSelf, sizeof(szSelf), "/proc/self/fd/%d", m_file.m_hFile);
  return szSelf;
}

BOOL CWorkFile::LinkVisible() {
  MarkAlive(m_file.m_hFile);
  char szSelf[32];
  std::snprintf(szSelf, sizeof(szSelf), "/proc/self/fd/%d", m_file.m_hFile);
  for (int nTry = 0; nTry < NAME_TRIES; ++nTry) {
    const CString strName = CandidateName(m_strTarget);
    int nResult = ::linkat(AT_FDCWD, szSelf, AT_FDCWD, strName, AT_SYMLINK_FOLLOW);
    if (nResult != 0 && errno == ENOENT) {
      // No /proc: the descriptor itself, which needs the right to do so.
      nResult = ::linkat(m_file.m_hFile, "", AT_FDCWD, strName, AT_EMPTY_PATH);
    }
    if (nResult == 0) {
      m_strVisible = strName;
      return TRUE;
    }
    if (errno != EEXIST) {
      return FALSE;
    }
  }
  errno = EEXIST;
  return FALSE;
}

void CWorkFile::Commit() {
  const int hFile = m_file.m_hFile;
  struct stat st;
  const bool bExists = ::stat(m_strTarget, &st) == 0;
  if (bExists && (S_ISDIR(st.st_mode) || (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)) {
    // What Remove would refuse is not replaced either.
    CFileException::ThrowOsError(S_ISDIR(st.st_mode) ? EISDIR : EACCES, m_strTarget);
  }
  if (bExists || (!m_strModel.IsEmpty() && ::stat(m_strModel, &st) == 0)) {
    // Owner and group first: giving a file away clears its set-id bits,
    // which the mode then puts back.
    if (::fchown(hFile, st.st_uid, st.st_gid) != 0) {
      (void)::fchown(hFile, static_cast<uid_t>(-1), st.st_gid);
    }
    (void)::fchmod(hFile, st.st_mode & 07777);
  } else {
    const mode_t nMask = ::umask(0);
    ::umask(nMask);
    (void)::fchmod(hFile, 0666 & ~nMask);
  }
  if (::fsync(hFile) != 0 && errno != EINVAL && errno != EROFS) {
    CFileException::ThrowOsError(errno, m_strTarget);
  }
  if (m_strVisible.IsEmpty() && !LinkVisible()) {
    CFileException::ThrowOsError(errno, m_strTarget);
  }
  if (::rename(m_strVisible, m_strTarget) != 0) {
    CFileException::ThrowOsError(errno, m_strTarget);
  }
  m_strVisible.Empty();
  m_bCreated = FALSE;
  m_file.Close();
  SyncFolderOf(m_strTarget);
}

void CWorkFile::Discard() {
  if (!m_bCreated) {
    return;
  }
  m_bCreated = FALSE;
  m_file.Abort();
  if (!m_strVisible.IsEmpty()) {
    (void)::unlink(m_strVisible);
    m_strVisible.Empty();
  }
}

BOOL DropSideForRewrite(CCatStd& table) {
  CString strSide;
  table.GetSidePath(strSide, TRUE);
  const BOOL bExisted = FileExists(strSide);
  if (!table.DropSide()) {
    return FALSE;
  }
  if (bExisted) {
    SyncFolderOf(strSide);
  }
  return TRUE;
}
