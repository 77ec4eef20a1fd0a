#include "tools/lorn/cli_table.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

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

// Why the sidecar cannot be written, or empty when nothing is found.
std::string WhySidecarNotWritable(const std::string& strPath) {
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
        return Format("%s: its sidecar %s is locked by another process (being indexed?)",
                      strPath.c_str(), strSide.c_str());
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

}  // namespace

std::string WhyNotOpen(const std::string& strPath) {
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
        return Format("%s: its sidecar %s is locked by another process (being indexed?)",
                      strPath.c_str(), strSide.c_str());
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
  return Format("%s: cannot open the table", strPath.c_str());
}

void RequireOpen(CCatStd& table, const std::string& strPath) {
  if (!table.IsOpen()) {
    throw CCliError(WhyNotOpen(strPath));
  }
}

void ThrowIndexFailure(CCatStd& table, const std::string& strPath) {
  table.Close();
  std::string strWhy = WhySidecarNotWritable(strPath);
  if (strWhy.empty()) {
    CCatStd probe(strPath.c_str());
    if (!probe.IsOpen()) {
      strWhy = WhyNotOpen(strPath);
    }
  }
  if (strWhy.empty()) {
    const char* pszTemp = std::getenv("TMPDIR");
    strWhy = Format("%s: indexing failed: a working file could not be made in %s", strPath.c_str(),
                    pszTemp != nullptr && *pszTemp ? pszTemp : "/tmp");
  }
  throw CCliError(strWhy);
}

void RequireIndexed(CCatStd& table, const std::string& strPath) {
  if (!table.IndexTable() || !table.IsIndexed()) {
    ThrowIndexFailure(table, strPath);
  }
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
