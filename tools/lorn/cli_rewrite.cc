#include "tools/lorn/cli_rewrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "tools/lorn/cli_error.h"

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

std::string DirectoryOf(const std::string& strPath) {
  size_t nSlash = strPath.rfind('/');
  if (nSlash == std::string::npos) {
    return ".";
  }
  return nSlash == 0 ? "/" : strPath.substr(0, nSlash);
}

}  // namespace

std::string WhyNotWritable(const std::string& strPath) {
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
  std::string strDir = DirectoryOf(strPath);
  if (access(strDir.c_str(), W_OK) != 0) {
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

CRewriteGuard::CRewriteGuard(const std::string& strPath, const std::vector<std::string>& workFiles)
    : m_strPath(strPath) {
  for (const std::string& strWork : workFiles) {
    struct stat st {};
    if (lstat(strWork.c_str(), &st) == 0) {
      throw CCliError(
          Format("%s exists (left by an interrupted run?); the operation would "
                 "overwrite it: move it away first",
                 strWork.c_str()));
    }
  }
  m_workFiles = workFiles;

  CDescriptor source(open(strPath.c_str(), O_RDONLY));
  struct stat st {};
  if (source.Get() < 0 || fstat(source.Get(), &st) != 0) {
    throw CCliError(Format("%s: %s", strPath.c_str(), std::strerror(errno)));
  }
  std::string strDir = DirectoryOf(strPath);
  size_t nSlash = strPath.rfind('/');
  std::string strName = nSlash == std::string::npos ? strPath : strPath.substr(nSlash + 1);
  std::string strTemplate = strDir + "/." + strName + ".lorn-XXXXXX";
  CDescriptor copy(mkstemp(strTemplate.data()));
  if (copy.Get() < 0) {
    throw CCliError(Format("%s: cannot keep a copy of the table in %s: %s", strPath.c_str(),
                           strDir.c_str(), std::strerror(errno)));
  }
  m_strCopy = strTemplate;
  char buffer[65536];
  while (true) {
    ssize_t nRead = ReadSome(source.Get(), buffer, sizeof(buffer));
    if (nRead == 0) {
      break;
    }
    if (nRead < 0 || !WriteAll(copy.Get(), buffer, static_cast<size_t>(nRead))) {
      int nError = errno;
      unlink(m_strCopy.c_str());
      throw CCliError(Format("%s: cannot keep a copy of the table: %s", strPath.c_str(),
                             std::strerror(nError)));
    }
  }
  fchmod(copy.Get(), st.st_mode & 07777);
  timespec times[2] = {st.st_atim, st.st_mtim};
  futimens(copy.Get(), times);
}

void CRewriteGuard::Commit() {
  m_bCommitted = true;
}

CRewriteGuard::~CRewriteGuard() {
  if (!m_bCommitted) {
    if (!SameContent(m_strPath, m_strCopy)) {
      if (rename(m_strCopy.c_str(), m_strPath.c_str()) == 0) {
        m_strCopy.clear();
      } else {
        std::fprintf(stderr, "lorn: %s could not be restored; its old content is in %s\n",
                     m_strPath.c_str(), m_strCopy.c_str());
        m_strCopy.clear();
      }
    }
    for (const std::string& strWork : m_workFiles) {
      unlink(strWork.c_str());
    }
  }
  if (!m_strCopy.empty()) {
    unlink(m_strCopy.c_str());
  }
}
