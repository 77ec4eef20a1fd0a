// The exceptions the platform raises. All are thrown by value and caught by
// const reference; each names its cause in what(). The cause numbers follow
// the class library's, so that a host that switches on m_cause keeps working.
#ifndef LORN_PLATFORM_EXCEPTIONS_H_
#define LORN_PLATFORM_EXCEPTIONS_H_

#include <exception>
#include <string>

#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

class LORN_API CException : public std::exception {
 public:
  CException() = default;
  ~CException() override;
  // A one-line description in English, valid while the exception lives.
  const char* what() const noexcept override;
  // Copies what() into pszError, cut to nMaxError - 1 bytes; FALSE when
  // there is no room at all. *pnHelpContext, when given, is set to 0.
  BOOL GetErrorMessage(char* pszError, UINT nMaxError, UINT* pnHelpContext = nullptr) const;

 protected:
  // Builds the description; called on each what().
  virtual std::string Describe() const;

 private:
  mutable std::string m_strWhat;
};

class LORN_API CFileException : public CException {
 public:
  enum {
    none,
    genericException,
    fileNotFound,
    badPath,
    tooManyOpenFiles,
    accessDenied,
    invalidFile,
    removeCurrentDir,
    directoryFull,
    badSeek,
    hardIO,
    sharingViolation,
    lockViolation,
    diskFull,
    endOfFile,
    cellTooLong = 15,  // a cell does not fit the line buffer
  };

  // lOsError is the errno value behind the failure, -1 when there is none.
  explicit CFileException(int cause = none, LONG lOsError = -1, const char* pszFileName = nullptr);
  ~CFileException() override;

  // The cause that matches an errno value; genericException for one that
  // has no closer match, none for 0.
  static int OsErrorToException(LONG lOsError);
  // Throws the exception that matches an errno value.
  [[noreturn]] static void ThrowOsError(LONG lOsError, const char* pszFileName = nullptr);

  int m_cause;
  LONG m_lOsError;
  CString m_strFileName;

 protected:
  std::string Describe() const override;
};

class LORN_API CArchiveException : public CException {
 public:
  enum {
    none,
    genericException,
    readOnly,  // storing into an archive opened for loading
    endOfFile,
    writeOnly,  // loading from an archive opened for storing
    badIndex,
    badClass,
    badSchema,
  };

  explicit CArchiveException(int cause = none, const char* pszArchiveName = nullptr);
  ~CArchiveException() override;

  int m_cause;
  CString m_strFileName;

 protected:
  std::string Describe() const override;
};

// An index out of bounds, a negative size or count, or a null argument where
// an object is required.
class LORN_API CInvalidArgException : public CException {
 public:
  CInvalidArgException() = default;
  ~CInvalidArgException() override;

 protected:
  std::string Describe() const override;
};

[[noreturn]] LORN_API void AfxThrowFileException(int cause, LONG lOsError = -1,
                                                 const char* pszFileName = nullptr);
[[noreturn]] LORN_API void AfxThrowArchiveException(int cause, const char* pszName = nullptr);
[[noreturn]] LORN_API void AfxThrowInvalidArgException();

#endif  // LORN_PLATFORM_EXCEPTIONS_H_
