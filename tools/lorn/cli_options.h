// Command-line parsing of the lorn command.
//
//   lorn [options] COMMAND ARGS...
//
// Global options stand before the command and are applied to the library's
// settings before any table is made. A command's own options may stand
// anywhere among its arguments; "--" ends them, so that an argument that
// starts with "-" can still be given.
#ifndef LORN_TOOLS_LORN_CLI_OPTIONS_H_
#define LORN_TOOLS_LORN_CLI_OPTIONS_H_

#include <map>
#include <set>
#include <string>
#include <vector>

struct CGlobalOptions {
  bool bHelp = false;
  bool bQuiet = false;          // -q: no progress
  bool bProgress = false;       // --progress: progress even when stderr is no terminal
  bool bJson = false;           // --json: JSON lines where a command prints rows
  bool bUtf8 = false;           // --utf8: table text shown in UTF-8
  bool bCsv = false;            // --csv: CSV (RFC 4180) where a command prints rows
  bool bVersion = false;        // --version
  bool bSidecarBeside = false;  // --sidecar-beside: beside the table even in a system folder
  bool bWalk = false;           // --walk: the index walk's answers, not the exact search's
  // The library's settings; an empty text leaves the setting alone (an
  // option given with an empty value is refused, but for the two below).
  std::string strSep, strRangeOpen, strRangeClose, strRangeSep, strValueSep, strAny;
  std::string strLocale, strCatalogDir, strSidecarDir;
  std::string strWait;       // --wait SECONDS: how long to wait for a lock
  bool bLocale = false;      // --locale given ("" is the plain locale)
  bool bCatalogDir = false;  // --catalog-dir given ("" empties the setting)
  bool bSidecarDir = false;  // --sidecar-dir given
};

// Parses argv[1..] up to the command. Gives the index of the command in
// argv, or argc when there is none. Throws CCliError on an unknown option or
// a missing value.
int ParseGlobalOptions(int argc, char** argv, CGlobalOptions& options);

// Hands the settings to the library (after InitLibrary). Throws CCliError
// for a character option that is not one character, and for a locale the
// library refuses.
void ApplyGlobalOptions(const CGlobalOptions& options);

// The arguments of one command: its positional arguments in order, the flags
// given and the values of its valued options.
class CArgList {
 public:
  // Splits args by the command's known flags and valued options (each with
  // its leading "--"). "--help" or "-h" sets IsHelp. An unknown option
  // throws CCliError naming it and the command.
  CArgList(const std::string& strCommand, const std::vector<std::string>& args,
           const std::set<std::string>& flags, const std::set<std::string>& valued);

  bool IsHelp() const { return m_bHelp; }
  const std::vector<std::string>& Positional() const { return m_positional; }
  bool Has(const std::string& strFlag) const { return m_flags.count(strFlag) != 0; }
  // The value of a valued option, or null when it was not given.
  const std::string* Value(const std::string& strOption) const;

  // Throws CCliError unless the number of positional arguments lies between
  // nMin and nMax (nMax negative: no limit), with the usage line.
  void RequireCount(size_t nMin, int nMax, const char* pszUsage) const;

 private:
  std::string m_strCommand;
  bool m_bHelp = false;
  std::vector<std::string> m_positional;
  std::set<std::string> m_flags;
  std::map<std::string, std::string> m_values;
};

#endif  // LORN_TOOLS_LORN_CLI_OPTIONS_H_
