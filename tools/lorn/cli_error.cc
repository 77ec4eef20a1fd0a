#include "tools/lorn/cli_error.h"

#include <cerrno>
#include <cstring>

std::string FileErrorText(const CFileException& e) {
  switch (e.m_cause) {
    case CFileException::sharingViolation:
    case CFileException::lockViolation:
      return "locked by another process";
    case CFileException::cellTooLong:
      return "a cell does not fit the line buffer (61440 bytes)";
    case CFileException::endOfFile:
      return "unexpected end of file";
    case CFileException::diskFull:
      // The platform files a file past its size limit (EFBIG) under
      // diskFull as well; only ENOSPC is a full disk.
      if (e.m_lOsError > 0 && e.m_lOsError != ENOSPC) {
        return std::strerror(static_cast<int>(e.m_lOsError));
      }
      return "disk full";
    default:
      break;
  }
  if (e.m_lOsError > 0) {
    return std::strerror(static_cast<int>(e.m_lOsError));
  }
  return e.what();
}

namespace {

bool EndsWithNoCase(const CString& strText, const char* pszTail) {
  int nTail = static_cast<int>(std::strlen(pszTail));
  return strText.GetLength() >= nTail && strText.Right(nTail).CompareNoCase(pszTail) == 0;
}

}  // namespace

std::string DescribeException(const CException& e) {
  if (const auto* pFile = dynamic_cast<const CFileException*>(&e)) {
    std::string strCause = FileErrorText(*pFile);
    if (pFile->m_strFileName.IsEmpty()) {
      return strCause;
    }
    return std::string(pFile->m_strFileName.GetString()) + ": " + strCause;
  }
  if (const auto* pArchive = dynamic_cast<const CArchiveException*>(&e)) {
    std::string strName =
        pArchive->m_strFileName.IsEmpty() ? "archive" : pArchive->m_strFileName.GetString();
    if (EndsWithNoCase(pArchive->m_strFileName, ".SDX")) {
      return strName + ": damaged sidecar (" + e.what() + "); \"lorn drop TABLE\" removes it";
    }
    return strName + ": damaged file (" + e.what() + ")";
  }
  if (dynamic_cast<const CInvalidArgException*>(&e) != nullptr) {
    return "index out of range: the sidecar does not fit the table's columns; "
           "remove it and the next command rebuilds it";
  }
  return e.what();
}
