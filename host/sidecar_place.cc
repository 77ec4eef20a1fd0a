#include "host/sidecar_place.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/host_error.h"

namespace {

std::string DirectoryOf(const std::string& strPath) {
  size_t nSlash = strPath.rfind('/');
  if (nSlash == std::string::npos) {
    return ".";
  }
  return nSlash == 0 ? "/" : strPath.substr(0, nSlash);
}

std::string BaseNameOf(const std::string& strPath) {
  size_t nSlash = strPath.rfind('/');
  return nSlash == std::string::npos ? strPath : strPath.substr(nSlash + 1);
}

std::string RealPathOf(const std::string& strPath) {
  char* pszReal = realpath(strPath.c_str(), nullptr);
  if (pszReal == nullptr) {
    return strPath;
  }
  std::string strReal = pszReal;
  std::free(pszReal);
  return strReal;
}

// Creates strDir and its parents, private to the user.
void MakeDirs(const std::string& strDir) {
  for (size_t nSlash = strDir.find('/', 1);; nSlash = strDir.find('/', nSlash + 1)) {
    std::string strPart = strDir.substr(0, nSlash);
    if (mkdir(strPart.c_str(), 0700) != 0 && errno != EEXIST) {
      throw CHostError(
          Format("cannot make the sidecar folder %s: %s", strPart.c_str(), std::strerror(errno)));
    }
    if (nSlash == std::string::npos) {
      return;
    }
  }
}

// FNV-1a, 64 bits: a short, stable name for a path.
std::string HashOf(const std::string& strText) {
  uint64_t nHash = 14695981039346656037ULL;
  for (unsigned char c : strText) {
    nHash = (nHash ^ c) * 1099511628211ULL;
  }
  return Format("%016llx", static_cast<unsigned long long>(nHash));
}

std::string ReadLink(const std::string& strLink) {
  std::vector<char> buffer(4096);
  ssize_t nLen = readlink(strLink.c_str(), buffer.data(), buffer.size());
  return nLen > 0 ? std::string(buffer.data(), static_cast<size_t>(nLen)) : "";
}

// The link to the table in its own folder under strRoot.
std::string LinkInFolder(const std::string& strTable, const std::string& strRoot) {
  std::string strReal = RealPathOf(strTable);
  std::string strName = BaseNameOf(strReal);
  std::string strStem = strRoot + "/" + strName + "-" + HashOf(strReal);
  for (int nTry = 1; nTry < 100; ++nTry) {
    std::string strDir = nTry == 1 ? strStem : strStem + "-" + std::to_string(nTry);
    MakeDirs(strDir);
    std::string strLink = strDir + "/" + strName;
    if (symlink(strReal.c_str(), strLink.c_str()) == 0 || ReadLink(strLink) == strReal) {
      return strLink;
    }
    if (errno != EEXIST) {
      throw CHostError(Format("cannot make %s: %s", strLink.c_str(), std::strerror(errno)));
    }
  }
  throw CHostError(
      Format("no free sidecar folder for %s under %s", strReal.c_str(), strRoot.c_str()));
}

bool StartsWithFolder(const std::string& strPath, const char* pszFolder) {
  size_t nLen = std::strlen(pszFolder);
  return strPath.compare(0, nLen, pszFolder) == 0 &&
         (strPath.size() == nLen || strPath[nLen] == '/');
}

}  // namespace

bool IsSystemFolder(const std::string& strTable) {
  std::string strDir = DirectoryOf(RealPathOf(strTable));
  static const char* const s_apszSystem[] = {"/usr",   "/etc",     "/opt",       "/boot",
                                             "/srv",   "/bin",     "/sbin",      "/lib",
                                             "/lib64", "/var/lib", "/var/cache", "/var/log"};
  for (const char* pszFolder : s_apszSystem) {
    if (StartsWithFolder(strDir, pszFolder)) {
      return true;
    }
  }
  struct stat st {};
  return stat(strDir.c_str(), &st) == 0 && st.st_uid != geteuid();
}

std::string SidecarCacheDir() {
  const char* pszCache = std::getenv("XDG_CACHE_HOME");
  if (pszCache != nullptr && pszCache[0] == '/') {
    return std::string(pszCache) + "/lorn";
  }
  const char* pszHome = std::getenv("HOME");
  if (pszHome == nullptr || *pszHome == '\0') {
    const passwd* pUser = getpwuid(geteuid());
    pszHome = pUser != nullptr ? pUser->pw_dir : nullptr;
  }
  if (pszHome == nullptr || *pszHome == '\0') {
    throw CHostError("no cache folder for sidecars: set XDG_CACHE_HOME or HOME, or --sidecar-dir");
  }
  return std::string(pszHome) + "/.cache/lorn";
}

std::string PlaceForSidecar(const std::string& strPath, const std::string* pSidecarDir,
                            bool bBeside) {
  struct stat st {};
  if (stat(strPath.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    return strPath;
  }
  if (pSidecarDir != nullptr) {
    const std::string& strRoot = *pSidecarDir;
    MakeDirs(strRoot[0] == '/' ? strRoot : RealPathOf(".") + "/" + strRoot);
    return LinkInFolder(strPath, RealPathOf(strRoot));
  }
  if (bBeside) {
    return strPath;
  }
  // A folder without write permission is read-only to root as well, though
  // root could write in it.
  std::string strDir = DirectoryOf(strPath);
  struct stat dir {};
  bool bWritable = access(strDir.c_str(), W_OK) == 0 && stat(strDir.c_str(), &dir) == 0 &&
                   (dir.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0;
  if (bWritable && !IsSystemFolder(strPath)) {
    return strPath;
  }
  std::string strRoot = SidecarCacheDir();
  MakeDirs(strRoot);
  return LinkInFolder(strPath, strRoot);
}
