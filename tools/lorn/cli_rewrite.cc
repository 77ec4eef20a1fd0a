#include "tools/lorn/cli_rewrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_places.h"

namespace {

// Closes a descriptor when it goes.
class CDescriptor {
 public:
  explicit CDescriptor(int fd) : m_fd(fd) {}
  ~CDescriptor() {
    if (m_fd >= 0) {
      close(m_fd);
    }
  }
  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;
  int Get() const { return m_fd; }

 private:
  int m_fd;
};

bool WriteAll(int fd, const char* pData, size_t nLen) {
  while (nLen > 0) {
    ssize_t nDone = write(fd, pData, nLen);
    if (nDone < 0 && errno == EINTR) {
      continue;
    }
    if (nDone <= 0) {
      return false;
    }
    pData += nDone;
    nLen -= static_cast<size_t>(nDone);
  }
  return true;
}

ssize_t ReadSome(int fd, char* pData, size_t nLen) {
  ssize_t nDone;
  do {
    nDone = read(fd, pData, nLen);
  } while (nDone < 0 && errno == EINTR);
  return nDone;
}

// Whether two files hold the same bytes.
bool SameContent(const std::string& strA, const std::string& strB) {
  CDescriptor a(open(strA.c_str(), O_RDONLY));
  CDescriptor b(open(strB.c_str(), O_RDONLY));
  if (a.Get() < 0 || b.Get() < 0) {
    return false;
  }
  struct stat sa {};
  struct stat sb {};
  if (fstat(a.Get(), &sa) != 0 || fstat(b.Get(), &sb) != 0 || sa.st_size != sb.st_size) {
    return false;
  }
  char bufA[65536];
  char bufB[65536];
  while (true) {
    ssize_t nA = ReadSome(a.Get(), bufA, sizeof(bufA));
    if (nA <= 0) {
      return nA == 0;
    }
    size_t nGot = 0;
    while (nGot < static_cast<size_t>(nA)) {
      ssize_t nB = ReadSome(b.Get(), bufB + nGot, static_cast<size_t>(nA) - nGot);
      if (nB <= 0) {
        return false;
      }
      nGot += static_cast<size_t>(nB);
    }
    if (std::memcmp(bufA, bufB, static_cast<size_t>(nA)) != 0) {
      return false;
    }
  }
}

// Copies what is left of fdFrom, from its position, to fdTo at its position.
bool CopyAll(int fdFrom, int fdTo) {
  char buffer[65536];
  while (true) {
    const ssize_t nRead = ReadSome(fdFrom, buffer, sizeof(buffer));
    if (nRead <= 0) {
      return nRead == 0;
    }
    if (!WriteAll(fdTo, buffer, static_cast<size_t>(nRead))) {
      return false;
    }
  }
}

std::string DirectoryOf(const std::string& strPath) {
  size_t nSlash = strPath.rfind('/');
  if (nSlash == std::string::npos) {
    return ".";
  }
  return nSlash == 0 ? "/" : strPath.substr(0, nSlash);
}

// The folder of the file that strPath leads to, links followed.
std::string RealFolderOf(const std::string& strPath) {
  char* pszReal = realpath(strPath.c_str(), nullptr);
  const std::string strReal = pszReal != nullptr ? pszReal : strPath;
  std::free(pszReal);
  return DirectoryOf(strReal);
}

}  // namespace

std::string WhyNotWritable(const std::string& strPath, bool bInPlace) {
  struct stat st {};
  if (stat(strPath.c_str(), &st) != 0) {
    return Format("%s: %s", strPath.c_str(), std::strerror(errno));
  }
  if ((st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
    return Format("%s: the table is read-only", strPath.c_str());
  }
  {
    CFile file;
    CFileException error;
    if (!file.Open(strPath.c_str(), CFile::modeReadWrite | CFile::shareExclusive, &error)) {
      return Format("%s: %s", strPath.c_str(), FileErrorText(error).c_str());
    }
  }
  const std::string strDir = RealFolderOf(strPath);
  if (!bInPlace && access(strDir.c_str(), W_OK) != 0) {
    return Format("%s: cannot write working files in %s: %s", strPath.c_str(), strDir.c_str(),
                  std::strerror(errno));
  }
  return "";
}

void RequirePlain(bool bScrambled, const std::string& strPath, const char* pszCommand) {
  if (bScrambled) {
    throw CCliError(
        Format("%s: %s works on plain tables only; decrypt it first", strPath.c_str(), pszCommand));
  }
}

bool FolderTakesNewFiles(const std::string& strPath) {
  return access(RealFolderOf(strPath).c_str(), W_OK) == 0;
}

CRewriteGuard::CRewriteGuard(const std::string& strPath, bool bInPlace) : m_strPath(strPath) {
  if (!bInPlace) {
    return;  // the library replaces the file whole
  }
  CDescriptor source(open(strPath.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat st {};
  if (source.Get() < 0 || fstat(source.Get(), &st) != 0) {
    throw CCliError(Format("%s: %s", strPath.c_str(), std::strerror(errno)));
  }
  m_mtime = st.st_mtim;
  const std::string strDir = SidecarCacheDir();
  std::error_code error;
  std::filesystem::create_directories(strDir, error);
  const size_t nSlash = strPath.rfind('/');
  std::string strCopy = strDir + "/" +
                        (nSlash == std::string::npos ? strPath : strPath.substr(nSlash + 1)) +
                        ".lorn-backup-XXXXXX";
  CDescriptor copy(mkostemp(strCopy.data(), O_CLOEXEC));
  if (copy.Get() < 0 || !CopyAll(source.Get(), copy.Get()) || fsync(copy.Get()) != 0) {
    const int nError = errno;
    if (copy.Get() >= 0) {
      unlink(strCopy.c_str());
    }
    throw CCliError(
        Format("%s: its folder takes no new file, so the rows move in place; a copy "
               "to undo a failure cannot be kept in %s: %s",
               strPath.c_str(), strDir.c_str(), std::strerror(nError)));
  }
  m_strCopy = strCopy;
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGINT);
  sigaddset(&held, SIGTERM);
  sigaddset(&held, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &held, &m_oldMask);
}

void CRewriteGuard::Commit() {
  m_bCommitted = true;
}

CRewriteGuard::~CRewriteGuard() {
  if (m_strCopy.empty()) {
    return;
  }
  bool bKeepCopy = false;
  if (!m_bCommitted && !SameContent(m_strPath, m_strCopy)) {
    // The bytes go back into the same file, which keeps its links and mode.
    CDescriptor table(open(m_strPath.c_str(), O_WRONLY | O_CLOEXEC));
    CDescriptor copy(open(m_strCopy.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat st {};
    const timespec times[2] = {{0, UTIME_OMIT}, m_mtime};
    bKeepCopy = table.Get() < 0 || copy.Get() < 0 || !CopyAll(copy.Get(), table.Get()) ||
                fstat(copy.Get(), &st) != 0 || ftruncate(table.Get(), st.st_size) != 0 ||
                fsync(table.Get()) != 0;
    if (bKeepCopy) {
      std::fprintf(stderr, "lorn: %s could not be restored; its old content is in %s\n",
                   m_strPath.c_str(), m_strCopy.c_str());
    } else {
      futimens(table.Get(), times);
    }
  }
  if (!bKeepCopy) {
    unlink(m_strCopy.c_str());
  }
  // A signal that came meanwhile is delivered now.
  pthread_sigmask(SIG_SETMASK, &m_oldMask, nullptr);
}
