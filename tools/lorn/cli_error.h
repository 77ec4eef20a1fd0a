// Errors of the lorn command. Every failure reaches main as one exception and
// becomes one line on standard error, "lorn: ...", with exit status 2; a
// closed standard output ends the command quietly.
#ifndef LORN_TOOLS_LORN_CLI_ERROR_H_
#define LORN_TOOLS_LORN_CLI_ERROR_H_

#include <stdexcept>
#include <string>

#include "host/host_error.h"
#include "platform/exceptions.h"

// A failure the user can act on. The text names the file, the column or the
// token at fault; main prints it behind "lorn: ".
using CCliError = CHostError;

// Standard output was closed by its reader (EPIPE). Not an error: the
// command stops and exits with status 0.
class CBrokenPipe : public std::exception {
 public:
  const char* what() const noexcept override { return "broken pipe"; }
};

// One line for an exception of the library: the file it names and why.
std::string DescribeException(const CException& e);
// Why a file operation failed, without the file name: "locked by another
// process", or the system's text for the error number.
std::string FileErrorText(const CFileException& e);

#endif  // LORN_TOOLS_LORN_CLI_ERROR_H_
