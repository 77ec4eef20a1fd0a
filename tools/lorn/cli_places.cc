#include "tools/lorn/cli_places.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
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

}  // namespace

std::string PlaceTable(const std::string& strArg, const CGlobalOptions& options) {
  if (strArg == "-") {
    return CopyStdin();
  }
  if (options.bSidecarDir && options.strSidecarDir.empty()) {
    throw CCliError("--sidecar-dir wants a folder");
  }
  return PlaceForSidecar(strArg, options.bSidecarDir ? &options.strSidecarDir : nullptr,
                         options.bSidecarBeside);
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
