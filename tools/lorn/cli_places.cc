#include "tools/lorn/cli_places.h"

#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tools/lorn/cli_error.h"

namespace {

std::string g_strStdinDir;  // private folder of the copy of standard input

// The same paths for a signal handler, which may only call unlink and rmdir.
char g_szStdinDir[4096];
char g_szStdinCopy[4096];
char g_szStdinSide[4096];

void RemoveOnSignal(int nSignal) {
  unlink(g_szStdinCopy);
  unlink(g_szStdinSide);
  rmdir(g_szStdinDir);
  signal(nSignal, SIG_DFL);
  raise(nSignal);
}

// A copy of standard input goes on Ctrl-C and termination as well.
void RemoveCopyOnSignals(const std::string& strDir) {
  if (strDir.size() + 16 > sizeof g_szStdinDir) {
    return;
  }
  std::snprintf(g_szStdinDir, sizeof g_szStdinDir, "%s", strDir.c_str());
  std::snprintf(g_szStdinCopy, sizeof g_szStdinCopy, "%s/stdin.txt", strDir.c_str());
  std::snprintf(g_szStdinSide, sizeof g_szStdinSide, "%s/stdin.SDX", strDir.c_str());
  for (int nSignal : {SIGINT, SIGTERM, SIGHUP}) {
    signal(nSignal, RemoveOnSignal);
  }
}

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
      throw CCliError(
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
      throw CCliError(Format("cannot make %s: %s", strLink.c_str(), std::strerror(errno)));
    }
  }
  throw CCliError(
      Format("no free sidecar folder for %s under %s", strReal.c_str(), strRoot.c_str()));
}

std::string CopyStdin() {
  if (isatty(STDIN_FILENO)) {
    throw CCliError("-: standard input is a terminal; pipe a table into it");
  }
  const char* pszTemp = std::getenv("TMPDIR");
  std::string strTemplate =
      std::string(pszTemp != nullptr && *pszTemp ? pszTemp : "/tmp") + "/lorn-stdin-XXXXXX";
  std::vector<char> name(strTemplate.begin(), strTemplate.end());
  name.push_back('\0');
  if (mkdtemp(name.data()) == nullptr) {
    throw CCliError(Format("-: cannot make a folder for standard input (%s): %s",
                           strTemplate.c_str(), std::strerror(errno)));
  }
  g_strStdinDir = name.data();
  std::atexit(RemoveStdinCopy);
  RemoveCopyOnSignals(g_strStdinDir);
  std::string strCopy = g_strStdinDir + "/stdin.txt";
  FILE* pFile = std::fopen(strCopy.c_str(), "wb");
  if (pFile == nullptr) {
    throw CCliError(Format("%s: %s", strCopy.c_str(), std::strerror(errno)));
  }
  std::vector<char> buffer(1 << 16);
  size_t nRead = 0;
  while ((nRead = std::fread(buffer.data(), 1, buffer.size(), stdin)) > 0) {
    if (std::fwrite(buffer.data(), 1, nRead, pFile) != nRead) {
      int nError = errno;
      std::fclose(pFile);
      throw CCliError(Format("%s: %s", strCopy.c_str(), std::strerror(nError)));
    }
  }
  bool bReadError = std::ferror(stdin) != 0;
  if (std::fclose(pFile) != 0 || bReadError) {
    throw CCliError(Format("-: standard input could not be copied to %s", strCopy.c_str()));
  }
  return strCopy;
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
    throw CCliError("no cache folder for sidecars: set XDG_CACHE_HOME or HOME, or --sidecar-dir");
  }
  return std::string(pszHome) + "/.cache/lorn";
}

std::string PlaceTable(const std::string& strArg, const CGlobalOptions& options) {
  if (strArg == "-") {
    return CopyStdin();
  }
  struct stat st {};
  if (stat(strArg.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    return strArg;
  }
  if (options.bSidecarDir) {
    std::string strRoot = options.strSidecarDir;
    if (strRoot.empty()) {
      throw CCliError("--sidecar-dir wants a folder");
    }
    MakeDirs(strRoot[0] == '/' ? strRoot : RealPathOf(".") + "/" + strRoot);
    return LinkInFolder(strArg, RealPathOf(strRoot));
  }
  if (options.bSidecarBeside) {
    return strArg;
  }
  // A folder without write permission is read-only to root as well, though
  // root could write in it.
  std::string strDir = DirectoryOf(strArg);
  struct stat dir {};
  bool bWritable = access(strDir.c_str(), W_OK) == 0 && stat(strDir.c_str(), &dir) == 0 &&
                   (dir.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0;
  if (bWritable && !IsSystemFolder(strArg)) {
    return strArg;
  }
  std::string strRoot = SidecarCacheDir();
  MakeDirs(strRoot);
  return LinkInFolder(strArg, strRoot);
}

void RemoveStdinCopy() {
  if (g_strStdinDir.empty()) {
    return;
  }
  // The folder holds the copy, its sidecar and nothing else lorn keeps.
  std::string strDir = g_strStdinDir;
  g_strStdinDir.clear();
  for (const char* pszName : {"/stdin.txt", "/stdin.SDX"}) {
    unlink((strDir + pszName).c_str());
  }
  rmdir(strDir.c_str());
}

std::string NameStdinCopy(const std::string& strText) {
  if (g_strStdinDir.empty()) {
    return strText;
  }
  const std::string strCopy = g_strStdinDir + "/stdin.txt";
  std::string strOut = strText;
  for (size_t nAt = strOut.find(strCopy); nAt != std::string::npos;
       nAt = strOut.find(strCopy, nAt)) {
    strOut.replace(nAt, strCopy.size(), "standard input");
  }
  return strOut;
}

void RequireTableFile(const std::string& strArg, const char* pszCommand) {
  if (strArg == "-") {
    throw CCliError(
        Format("%s: \"-\" reads the table from standard input, into a copy that lasts one run "
               "(for info, index, query, rows and values): give the table's file",
               pszCommand));
  }
}
