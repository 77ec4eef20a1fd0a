#include "platform/temp_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace {

constexpr mode_t PRIVATE_MODE = 0600;

// $TMPDIR, or /tmp, as an absolute path without a trailing slash: a relative
// one would stop working once the process changes its directory.
std::string TempDirectory() {
  const char* pszDir = std::getenv("TMPDIR");
  std::string strDir = (pszDir != nullptr && *pszDir != '\0') ? pszDir : "/tmp";
  if (strDir[0] != '/') {
    char* pszCwd = ::getcwd(nullptr, 0);
    if (pszCwd == nullptr) {
      return std::string();
    }
    strDir = std::string(pszCwd) + "/" + strDir;
    std::free(pszCwd);
  }
  while (strDir.size() > 1 && strDir.back() == '/') {
    strDir.pop_back();
  }
  return strDir;
}

}  // namespace

BOOL OpenTempFile(const char* pszPrefix, CFile& file) {
  file.Abort();
  const std::string strDir = TempDirectory();
  if (strDir.empty()) {
    return FALSE;
  }
  std::string strName =
      (strDir == "/" ? "" : strDir) + "/" + (pszPrefix != nullptr ? pszPrefix : "");
  int fd = ::open(strDir.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, PRIVATE_MODE);
  if (fd < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    // The file system makes no file without a name: a private name, made
    // exclusively, removed at once.
    std::string strTemplate = strName + "XXXXXX";
    fd = ::mkostemp(strTemplate.data(), O_CLOEXEC);
    if (fd >= 0) {
      (void)::unlink(strTemplate.c_str());
    }
  }
  if (fd < 0) {
    return FALSE;
  }
  file.Attach(fd, strName.c_str());
  return TRUE;
}
