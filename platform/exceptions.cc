#include "platform/exceptions.h"

#include <cerrno>
#include <cstring>

namespace {

const char* const s_apszFileCauses[] = {
    "none",         "genericException", "fileNotFound",     "badPath",       "tooManyOpenFiles",
    "accessDenied", "invalidFile",      "removeCurrentDir", "directoryFull", "badSeek",
    "hardIO",       "sharingViolation", "lockViolation",    "diskFull",      "endOfFile",
    "cellTooLong",
};

const char* const s_apszArchiveCauses[] = {
    "none",      "genericException", "readOnly", "endOfFile",
    "writeOnly", "badIndex",         "badClass", "badSchema",
};

template <size_t N>
std::string CauseName(const char* const (&apszNames)[N], int cause) {
  if (cause >= 0 && static_cast<size_t>(cause) < N) {
    return apszNames[cause];
  }
  return "cause " + std::to_string(cause);
}

}  // namespace

CException::~CException() = default;

const char* CException::what() const noexcept {
  try {
    m_strWhat = Describe();
  } catch (...) {
    return "exception";
  }
  return m_strWhat.c_str();
}

BOOL CException::GetErrorMessage(char* pszError, UINT nMaxError, UINT* pnHelpContext) const {
  if (pnHelpContext != nullptr) {
    *pnHelpContext = 0;
  }
  if (pszError == nullptr || nMaxError == 0) {
    return FALSE;
  }
  const char* pszWhat = what();
  size_t nLen = std::strlen(pszWhat);
  if (nLen > nMaxError - 1) {
    nLen = nMaxError - 1;
  }
  std::memcpy(pszError, pszWhat, nLen);
  pszError[nLen] = '\0';
  return TRUE;
}

std::string CException::Describe() const {
  return "exception";
}

CFileException::CFileException(int cause, LONG lOsError, const char* pszFileName)
    : m_cause(cause), m_lOsError(lOsError), m_strFileName(pszFileName) {}

CFileException::~CFileException() = default;

int CFileException::OsErrorToException(LONG lOsError) {
  switch (lOsError) {
    case 0:
      return none;
    case ENOENT:
      return fileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
      return badPath;
    case EMFILE:
    case ENFILE:
      return tooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case EEXIST:
      return accessDenied;
    case EBADF:
      return invalidFile;
    case EBUSY:
    case ETXTBSY:
      return sharingViolation;
    case ENOTEMPTY:
      return removeCurrentDir;
    case ESPIPE:
    case EOVERFLOW:
      return badSeek;
    case EIO:
      return hardIO;
    case EDEADLK:
    case ENOLCK:
      return lockViolation;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return diskFull;
    default:
      return genericException;
  }
}

void CFileException::ThrowOsError(LONG lOsError, const char* pszFileName) {
  throw CFileException(OsErrorToException(lOsError), lOsError, pszFileName);
}

std::string CFileException::Describe() const {
  std::string strWhat = "file exception: " + CauseName(s_apszFileCauses, m_cause);
  if (!m_strFileName.IsEmpty()) {
    strWhat += " '";
    strWhat += m_strFileName.GetString();
    strWhat += "'";
  }
  if (m_lOsError != -1) {
    strWhat += " (";
    strWhat += std::strerror(m_lOsError);
    strWhat += ")";
  }
  return strWhat;
}

CArchiveException::CArchiveException(int cause, const char* pszArchiveName)
    : m_cause(cause), m_strFileName(pszArchiveName) {}

CArchiveException::~CArchiveException() = default;

std::string CArchiveException::Describe() const {
  std::string strWhat = "archive exception: " + CauseName(s_apszArchiveCauses, m_cause);
  if (!m_strFileName.IsEmpty()) {
    strWhat += " '";
    strWhat += m_strFileName.GetString();
    strWhat += "'";
  }
  return strWhat;
}

CInvalidArgException::~CInvalidArgException() = default;

std::string CInvalidArgException::Describe() const {
  return "invalid argument or index";
}

void AfxThrowFileException(int cause, LONG lOsError, const char* pszFileName) {
  throw CFileException(cause, lOsError, pszFileName);
}

void AfxThrowArchiveException(int cause, const char* pszName) {
  throw CArchiveException(cause, pszName);
}

void AfxThrowInvalidArgException() {
  throw CInvalidArgException();
}
