#include "tools/lorn/cli_table.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include "host/code_page.h"
#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/sidecar_reader.h"

namespace {

bool HasWriteBits(const struct stat& st) {
  return (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) != 0;
}

std::string DirectoryOf(const std::string& strPath) {
  size_t nSlash = strPath.rfind('/');
  if (nSlash == std::string::npos) {
    return ".";
  }
  return nSlash == 0 ? "/" : strPath.substr(0, nSlash);
}

// How long commands wait for a lock, and the pause between two tries.
double g_dLockWait = DEFAULT_LOCK_WAIT;
constexpr std::chrono::milliseconds LOCK_PAUSE(50);

// Counts down the time that a command may wait for locks.
class CLockWait {
 public:
  CLockWait()
      : m_end(std::chrono::steady_clock::now() +
              std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                  std::chrono::duration<double>(g_dLockWait))) {}
  // Sleeps a short while; false, at once, when the time is up.
  bool Pause() const {
    const auto now = std::chrono::steady_clock::now();
    if (now >= m_end) {
      return false;
    }
    std::this_thread::sleep_for(
        std::min<std::chrono::steady_clock::duration>(LOCK_PAUSE, m_end - now));
    return true;
  }

 private:
  std::chrono::steady_clock::time_point m_end;
};

std::string GaveUp(const std::string& strWhy) {
  if (g_dLockWait <= 0) {
    return strWhy + " (--wait SECONDS waits for it)";
  }
  return Format("%s, still after %g seconds (--wait)", strWhy.c_str(), g_dLockWait);
}

// Opens the table afresh under strPath, as a new table: one that failed to
// open has no stamp of its file to compare with, and would otherwise take
// its file for changed and drop the sidecar that another process just wrote.
void ReopenAsNew(CCatStd& table, const std::string& strPath) {
  table.Close();
  table.m_strName.Empty();
  // Opening keeps the flags an object had; those of the old opening would
  // hide that an index wanted there is not built in the sidecar found now.
  table.m_arColFlags.RemoveAll();
  table.Open(strPath.c_str());
}

// Opens the table anew as ReopenAsNew does, waiting for locks, with the
// indexes that were wanted wanted again: flags are not kept in the sidecar.
void ReopenWanting(CCatStd& table, const std::string& strPath) {
  CByteArray arFlags;
  arFlags.Copy(table.m_arColFlags);
  ReopenAsNew(table, strPath);
  RequireOpen(table, strPath);
  for (INT_PTR nCol = 0; nCol < arFlags.GetSize() && nCol < table.GetColCount(); ++nCol) {
    if ((arFlags[nCol] & COL_FLAG_INDEXED) != 0) {
      table.SetColFlags(static_cast<WORD>(nCol), arFlags[nCol]);
    }
  }
}

// Whether the sidecar that the table has open is the file under its name.
// When another process removed it meanwhile (dropped it, as any opening
// does with a sidecar it cannot use), what this process wrote went into a
// file that no one will read.
bool SidecarIsCurrent(CCatStd& table, const std::string& strPath) {
  if (!table.m_fileSide.IsOpen()) {
    return true;
  }
  struct stat open {};
  struct stat named {};
  return fstat(table.m_fileSide.m_hFile, &open) == 0 &&
         stat(SidecarPathOf(strPath).c_str(), &named) == 0 && open.st_ino == named.st_ino &&
         open.st_dev == named.st_dev;
}

std::string LockedText(const std::string& strPath, const std::string& strSide) {
  return Format("%s: its sidecar %s is locked by another process (being indexed?)", strPath.c_str(),
                strSide.c_str());
}

// Why the sidecar cannot be written, or empty when nothing is found.
// *pbLocked tells whether the cause is another process's lock.
std::string WhySidecarNotWritable(const std::string& strPath, bool* pbLocked) {
  *pbLocked = false;
  std::string strSide = SidecarPathOf(strPath);
  struct stat st {};
  if (stat(strSide.c_str(), &st) == 0) {
    if (!HasWriteBits(st)) {
      return Format("%s: its sidecar %s is read-only; make it writable or remove it",
                    strPath.c_str(), strSide.c_str());
    }
    CFile file;
    CFileException error;
    if (!file.Open(strSide.c_str(), CFile::modeReadWrite | CFile::shareExclusive, &error)) {
      if (error.m_cause == CFileException::sharingViolation) {
        *pbLocked = true;
        return LockedText(strPath, strSide);
      }
      return Format("%s: cannot write its sidecar %s: %s", strPath.c_str(), strSide.c_str(),
                    FileErrorText(error).c_str());
    }
    return "";
  }
  std::string strDir = DirectoryOf(strSide);
  if (access(strDir.c_str(), W_OK) != 0) {
    return Format("%s: cannot create its sidecar %s: %s", strPath.c_str(), strSide.c_str(),
                  std::strerror(errno));
  }
  return "";
}

// Why the table cannot be opened; *pbLocked tells whether the cause is
// another process's lock, *pbFound whether any cause was found.
std::string WhyNotOpen(const std::string& strPath, bool* pbLocked, bool* pbFound) {
  *pbLocked = false;
  *pbFound = true;
  struct stat st {};
  if (stat(strPath.c_str(), &st) != 0) {
    return Format("%s: %s", strPath.c_str(), std::strerror(errno));
  }
  if (S_ISDIR(st.st_mode)) {
    return Format("%s: is a directory, not a table", strPath.c_str());
  }
  {
    CFile file;
    CFileException error;
    if (!file.Open(strPath.c_str(), CFile::modeRead | CFile::shareDenyWrite, &error)) {
      *pbLocked = error.m_cause == CFileException::sharingViolation;
      return Format("%s: %s", strPath.c_str(), FileErrorText(error).c_str());
    }
  }
  if (st.st_size == 0) {
    return Format("%s: empty file, a table needs a header line", strPath.c_str());
  }
  std::string strSide = SidecarPathOf(strPath);
  struct stat side {};
  if (stat(strSide.c_str(), &side) == 0) {
    CFile file;
    CFileException error;
    if (!file.Open(strSide.c_str(), CFile::modeRead | CFile::shareDenyWrite, &error)) {
      if (error.m_cause == CFileException::sharingViolation) {
        *pbLocked = true;
        return LockedText(strPath, strSide);
      }
      return Format("%s: cannot read its sidecar %s: %s", strPath.c_str(), strSide.c_str(),
                    FileErrorText(error).c_str());
    }
    if (!HasWriteBits(side)) {
      return Format(
          "%s: its sidecar %s is read-only and out of date; make it writable or "
          "remove it",
          strPath.c_str(), strSide.c_str());
    }
  }
  *pbFound = false;
  return Format("%s: cannot open the table", strPath.c_str());
}

// Why indexing the table fails, found with the table closed. *pbLocked as
// above; empty when nothing is found.
std::string WhyNotIndexed(const std::string& strPath, bool* pbLocked) {
  std::string strWhy = WhySidecarNotWritable(strPath, pbLocked);
  if (strWhy.empty()) {
    CCatStd probe(strPath.c_str());
    if (!probe.IsOpen()) {
      bool bFound = false;
      strWhy = WhyNotOpen(strPath, pbLocked, &bFound);
    }
  }
  return strWhy;
}

// What is left to say when indexing failed and no cause can be seen: a
// working file that could not be made, or another process that changed the
// table meanwhile.
std::string UnseenIndexFailure(const std::string& strPath, bool bSawLock) {
  if (bSawLock) {
    return GaveUp(
        Format("%s: the table or its sidecar is locked by another process", strPath.c_str()));
  }
  const char* pszTemp = std::getenv("TMPDIR");
  const std::string strTemp = pszTemp != nullptr && *pszTemp ? pszTemp : "/tmp";
  if (access(strTemp.c_str(), W_OK) != 0) {
    return Format("%s: indexing failed: a working file could not be made in %s: %s",
                  strPath.c_str(), strTemp.c_str(), std::strerror(errno));
  }
  return Format("%s: indexing failed: another process changed the table or its sidecar meanwhile",
                strPath.c_str());
}

}  // namespace

void SetLockWait(double dSeconds) {
  g_dLockWait = dSeconds;
}

std::string WhyNotOpen(const std::string& strPath) {
  bool bLocked = false;
  bool bFound = false;
  return WhyNotOpen(strPath, &bLocked, &bFound);
}

void RequireOpen(CCatStd& table, const std::string& strPath) {
  const CLockWait wait;
  bool bTriedAgain = false;
  while (!table.IsOpen()) {
    bool bLocked = false;
    bool bFound = false;
    const std::string strWhy = WhyNotOpen(strPath, &bLocked, &bFound);
    // A lock that went before it could be seen is tried again once.
    if (!bLocked && (bFound || bTriedAgain)) {
      throw CCliError(strWhy);
    }
    if (bLocked && !wait.Pause()) {
      throw CCliError(GaveUp(strWhy));
    }
    bTriedAgain = !bLocked;
    ReopenAsNew(table, strPath);
  }
}

void ThrowIndexFailure(CCatStd& table, const std::string& strPath) {
  table.Close();
  bool bLocked = false;
  std::string strWhy = WhyNotIndexed(strPath, &bLocked);
  throw CCliError(strWhy.empty() ? UnseenIndexFailure(strPath, false) : strWhy);
}

void RequireIndexed(CCatStd& table, const std::string& strPath) {
  const CLockWait wait;
  bool bSawLock = false;
  // A table opened before another process wrote its sidecar would write a
  // new one over it: it takes that sidecar up first.
  if (table.IsOpen() && !table.m_fileSide.IsOpen() && FileExists(SidecarPathOf(strPath).c_str())) {
    ReopenWanting(table, strPath);
  }
  for (;;) {
    if (table.IndexTable() && table.IsIndexed()) {
      if (SidecarIsCurrent(table, strPath)) {
        return;
      }
      // Another process removed the file while this one wrote it.
      if (!wait.Pause()) {
        throw CCliError(Format("%s: another process removed the sidecar while it was written",
                               strPath.c_str()));
      }
      ReopenWanting(table, strPath);
      continue;
    }
    table.Close();
    bool bLocked = false;
    const std::string strWhy = WhyNotIndexed(strPath, &bLocked);
    if (!strWhy.empty() && !bLocked) {
      throw CCliError(strWhy);
    }
    bSawLock = bSawLock || bLocked;
    if (!wait.Pause()) {
      throw CCliError(strWhy.empty() ? UnseenIndexFailure(strPath, bSawLock) : GaveUp(strWhy));
    }
    ReopenWanting(table, strPath);
  }
}

namespace {

// What tells one version of a table file from another.
struct CFileVersion {
  dev_t nDev = 0;
  ino_t nIno = 0;
  off_t nSize = -1;
  time_t tChanged = 0;
  bool operator==(const CFileVersion&) const = default;
};

CFileVersion VersionOf(const std::string& strPath) {
  CFileVersion version;
  struct stat st {};
  if (stat(strPath.c_str(), &st) == 0) {
    version = {st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec};
  }
  return version;
}

// Whether another process holds the table file or its sidecar so that it
// cannot be written; the table must be closed.
bool RewriteLocked(const std::string& strPath) {
  CFile file;
  CFileException error;
  if (!file.Open(strPath.c_str(), CFile::modeReadWrite | CFile::shareExclusive, &error)) {
    return error.m_cause == CFileException::sharingViolation;
  }
  file.Close();
  bool bLocked = false;
  WhySidecarNotWritable(strPath, &bLocked);
  return bLocked;
}

}  // namespace

bool RetryRewrite(CCatStd& table, const std::string& strPath, const std::function<BOOL()>& attempt,
                  bool bIndexed) {
  const CLockWait wait;
  const CFileVersion version = VersionOf(strPath);
  while (!attempt()) {
    table.Close();
    if (!RewriteLocked(strPath) || !wait.Pause()) {
      return false;
    }
    ReopenWanting(table, strPath);
    if (bIndexed) {
      RequireIndexed(table, strPath);
    }
    if (!(VersionOf(strPath) == version)) {
      throw CCliError(
          Format("%s: another process changed the table while this one waited; "
                 "nothing was done",
                 strPath.c_str()));
    }
  }
  return true;
}

std::unique_ptr<CTextCodec> MakeTableCodec(CCatStd& table, const CGlobalOptions& options) {
  if (!options.bUtf8 && !options.bJson) {
    return nullptr;
  }
  CString strLocale;
  table.GetLocale(strLocale);
  return std::make_unique<CTextCodec>(CodePageOfLocale(strLocale));
}

std::string ToTableText(const CTextCodec* pCodec, const std::string& strText) {
  return pCodec != nullptr ? pCodec->FromUtf8(strText) : strText;
}

void GetColumnNames(CCatStd& table, CStringArray& arNames) {
  short nCount = table.GetColCount();
  arNames.SetSize(nCount > 0 ? nCount : 0);
  for (short nCol = 0; nCol < nCount; ++nCol) {
    CString strName;
    table.GetColName(static_cast<WORD>(nCol), strName);
    arNames.SetAt(nCol, strName);
  }
}

WORD ResolveColumn(CCatStd& table, const std::string& strPath, const std::string& strName,
                   const CTextCodec* pCodec) {
  short nCount = table.GetColCount();
  if (strName.size() > 1 && strName[0] == '#') {
    char* pEnd = nullptr;
    errno = 0;
    long nCol = std::strtol(strName.c_str() + 1, &pEnd, 10);
    if (*pEnd == '\0' && errno == 0 && nCol >= 0 && nCol < nCount) {
      return static_cast<WORD>(nCol);
    }
    throw CCliError(Format("%s: no column %s; the table has columns #0 to #%d", strPath.c_str(),
                           strName.c_str(), nCount - 1));
  }
  short nCol = table.FindCol(ToTableText(pCodec, strName).c_str());
  if (nCol >= 0) {
    // A name that two columns hold would pick one without a word.
    CString strFound;
    table.GetColName(static_cast<WORD>(nCol), strFound);
    for (short i = 0; i < nCount; ++i) {
      CString strOther;
      table.GetColName(static_cast<WORD>(i), strOther);
      if (i != nCol && strOther.CompareNoCase(strFound) == 0) {
        throw CCliError(Format("%s: \"%s\" names two columns, #%d and #%d; give #N",
                               strPath.c_str(), strName.c_str(), std::min(i, nCol),
                               std::max(i, nCol)));
      }
    }
    return static_cast<WORD>(nCol);
  }
  // A UTF-8 byte order mark before the header belongs to the first name, and
  // cannot be seen: "name" finds it.
  if (table.FindCol(("\xEF\xBB\xBF" + ToTableText(pCodec, strName)).c_str()) == 0) {
    return 0;
  }
  std::string strList;
  for (short i = 0; i < nCount; ++i) {
    CString strColumn;
    table.GetColName(static_cast<WORD>(i), strColumn);
    strList += i > 0 ? ", " : "";
    strList += pCodec != nullptr ? pCodec->ToUtf8(strColumn.GetString()) : strColumn.GetString();
  }
  // One column whose name holds another separator: the table was read with
  // the wrong one.
  std::string strHint;
  CString strOnly;
  table.GetColName(0, strOnly);
  for (char cOther : {'\t', ',', ';', '|'}) {
    if (nCount == 1 && cOther != table.m_cColSep && std::strchr(strOnly.GetString(), cOther)) {
      strHint = cOther == '\t' ? " (one column whose name holds a TAB: read the table without "
                                 "--sep, TAB is the default)"
                               : Format(
                                     " (one column whose name holds \"%c\": give --sep '%c' "
                                     "before the command)",
                                     cOther, cOther);
      break;
    }
  }
  throw CCliError(Format("%s: unknown column \"%s\"; the columns are %s%s", strPath.c_str(),
                         strName.c_str(), strList.c_str(), strHint.c_str()));
}

std::string Trim(const std::string& strText) {
  size_t nStart = strText.find_first_not_of(" \t");
  if (nStart == std::string::npos) {
    return "";
  }
  size_t nEnd = strText.find_last_not_of(" \t");
  return strText.substr(nStart, nEnd - nStart + 1);
}

std::vector<std::string> SplitList(const std::string& strText, char cSep) {
  std::vector<std::string> pieces;
  size_t nStart = 0;
  while (true) {
    size_t nSep = strText.find(cSep, nStart);
    pieces.push_back(Trim(
        strText.substr(nStart, nSep == std::string::npos ? std::string::npos : nSep - nStart)));
    if (nSep == std::string::npos) {
      return pieces;
    }
    nStart = nSep + 1;
  }
}

DWORD ParseRowNumber(const std::string& strToken, const char* pszCommand) {
  bool bDigits = !strToken.empty() && strToken.size() <= 10 &&
                 strToken.find_first_not_of("0123456789") == std::string::npos;
  unsigned long long nValue = bDigits ? std::strtoull(strToken.c_str(), nullptr, 10) : 0;
  if (!bDigits || nValue > 0xFFFFFFFFULL) {
    throw CCliError(
        Format("%s: \"%s\" is not a row number (0, 1, 2, ...)", pszCommand, strToken.c_str()));
  }
  return static_cast<DWORD>(nValue);
}

const char* ColTypeName(BYTE nType) {
  switch (nType) {
    case COL_TYPE_LONG:
      return "Long";
    case COL_TYPE_REAL:
      return "Real";
    case COL_TYPE_STR:
      return "Str";
    default:
      return "-";
  }
}
