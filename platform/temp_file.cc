#include "platform/temp_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

BOOL MakeTempFile(const char* pszPrefix, CString& strPath) {
  strPath.Empty();
  const char* pszDir = std::getenv("TMPDIR");
  std::string strTemplate = (pszDir != nullptr && *pszDir != '\0') ? pszDir : "/tmp";
  while (strTemplate.size() > 1 && strTemplate.back() == '/') {
    strTemplate.pop_back();
  }
  if (strTemplate.empty() || strTemplate[0] != '/') {
    // A relative directory would give a name that stops working once the
    // process changes its directory.
    char* pszCwd = ::getcwd(nullptr, 0);
    if (pszCwd == nullptr) {
      return FALSE;
    }
    strTemplate = std::string(pszCwd) + "/" + strTemplate;
    std::free(pszCwd);
  }
  if (strTemplate.back() != '/') {
    strTemplate += '/';
  }
  strTemplate += pszPrefix != nullptr ? pszPrefix : "";
  strTemplate += "XXXXXX";
  // mkstemp creates the file with mode 0600 and O_EXCL, so the name is ours.
  int fd = ::mkstemp(strTemplate.data());
  if (fd < 0) {
    return FALSE;
  }
  (void)::close(fd);
  strPath = strTemplate.c_str();
  return TRUE;
}
