#include "tools/lorn/cli_options.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "frame/settings.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_table.h"

namespace {

struct CValuedOption {
  const char* pszName;
  std::string CGlobalOptions::*pMember;
};

const CValuedOption kValuedOptions[] = {
    {"--sep", &CGlobalOptions::strSep},
    {"--range-open", &CGlobalOptions::strRangeOpen},
    {"--range-close", &CGlobalOptions::strRangeClose},
    {"--range-sep", &CGlobalOptions::strRangeSep},
    {"--value-sep", &CGlobalOptions::strValueSep},
    {"--any", &CGlobalOptions::strAny},
    {"--locale", &CGlobalOptions::strLocale},
    {"--catalog-dir", &CGlobalOptions::strCatalogDir},
    {"--sidecar-dir", &CGlobalOptions::strSidecarDir},
    {"--wait", &CGlobalOptions::strWait},
};

// An argument that reads as a negative number is no option.
bool LooksLikeOption(const std::string& strArg) {
  return strArg.size() > 1 && strArg[0] == '-' &&
         !std::isdigit(static_cast<unsigned char>(strArg[1]));
}

// The one byte of a character option; "\t" (backslash, t) stands for TAB.
char OneCharacter(const char* pszOption, const std::string& strValue) {
  if (strValue == "\\t") {
    return '\t';
  }
  if (strValue.size() != 1 || strValue[0] == '\0') {
    throw CCliError(
        Format("%s wants one character (or \\t), not \"%s\"", pszOption, strValue.c_str()));
  }
  return strValue[0];
}

bool IsGlobalOption(const std::string& strName) {
  static const char* const s_apszFlags[] = {"-q",     "--quiet", "--progress",       "--json",
                                            "--utf8", "--csv",   "--sidecar-beside", "--walk"};
  for (const char* pszFlag : s_apszFlags) {
    if (strName == pszFlag) {
      return true;
    }
  }
  for (const CValuedOption& option : kValuedOptions) {
    if (strName == option.pszName) {
      return true;
    }
  }
  return false;
}

// A POSIX name with the UTF-8 code set ("en_US.UTF-8", "de_DE.utf8") names the
// UTF-8 locale, whose case folding is the same for every language; the library
// knows it by a short name, as a stored locale name stays under 8 bytes.
std::string LibraryLocaleName(const std::string& strName) {
  const size_t nDot = strName.rfind('.');
  if (nDot == std::string::npos || nDot == 0) {
    return strName;
  }
  std::string strSet = strName.substr(nDot + 1);
  for (char& c : strSet) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return strSet == "utf8" || strSet == "utf-8" ? "utf8" : strName;
}

// The seconds of --wait: a decimal number from 0 to a day.
double ParseWait(const std::string& strValue) {
  char* pEnd = nullptr;
  const double dSeconds = std::strtod(strValue.c_str(), &pEnd);
  if (strValue.empty() || *pEnd != '\0' || !(dSeconds >= 0 && dSeconds <= 86400)) {
    throw CCliError(
        Format("--wait wants a number of seconds from 0 to 86400, not \"%s\"", strValue.c_str()));
  }
  return dSeconds;
}

}  // namespace

int ParseGlobalOptions(int argc, char** argv, CGlobalOptions& options) {
  int i = 1;
  for (; i < argc; ++i) {
    std::string strArg = argv[i];
    if (strArg == "--") {
      return i + 1;
    }
    if (!LooksLikeOption(strArg)) {
      return i;
    }
    if (strArg == "--help" || strArg == "-h") {
      options.bHelp = true;
    } else if (strArg == "-q" || strArg == "--quiet") {
      options.bQuiet = true;
    } else if (strArg == "--progress") {
      options.bProgress = true;
    } else if (strArg == "--json") {
      options.bJson = true;
    } else if (strArg == "--utf8") {
      options.bUtf8 = true;
    } else if (strArg == "--csv") {
      options.bCsv = true;
    } else if (strArg == "--version") {
      options.bVersion = true;
    } else if (strArg == "--sidecar-beside") {
      options.bSidecarBeside = true;
    } else if (strArg == "--walk") {
      options.bWalk = true;
    } else {
      std::string strName = strArg;
      std::string strValue;
      bool bHasValue = false;
      size_t nEqual = strArg.find('=');
      if (nEqual != std::string::npos) {
        strName = strArg.substr(0, nEqual);
        strValue = strArg.substr(nEqual + 1);
        bHasValue = true;
      }
      const CValuedOption* pOption = nullptr;
      for (const CValuedOption& option : kValuedOptions) {
        if (strName == option.pszName) {
          pOption = &option;
        }
      }
      if (pOption == nullptr) {
        throw CCliError(Format("unknown option %s (see lorn --help)", strName.c_str()));
      }
      if (!bHasValue) {
        if (i + 1 >= argc) {
          throw CCliError(Format("%s wants a value", strName.c_str()));
        }
        strValue = argv[++i];
      }
      options.*(pOption->pMember) = strValue;
      if (pOption->pMember == &CGlobalOptions::strCatalogDir) {
        options.bCatalogDir = true;
      } else if (pOption->pMember == &CGlobalOptions::strLocale) {
        options.bLocale = true;
      } else if (pOption->pMember == &CGlobalOptions::strSidecarDir) {
        if (strValue.empty()) {
          throw CCliError("--sidecar-dir wants a folder");
        }
        options.bSidecarDir = true;
      } else if (pOption->pMember == &CGlobalOptions::strWait) {
        ParseWait(strValue);
      } else if (strValue.empty()) {
        throw CCliError(
            strName == "--range-sep"
                ? std::string("--range-sep wants a text of one byte or more")
                : Format("%s wants one character (or \\t), not an empty text", strName.c_str()));
      }
    }
  }
  return i;
}

void ApplyGlobalOptions(const CGlobalOptions& options) {
  // The command answers what a criterion plainly means unless told to walk
  // the indexes as the design does.
  SetExactSearch(options.bWalk ? FALSE : TRUE);
  if (!options.strWait.empty()) {
    SetLockWait(ParseWait(options.strWait));
  }
  if (!options.strSep.empty()) {
    SetColSep(OneCharacter("--sep", options.strSep));
  }
  char cOpen = 0;
  char cClose = 0;
  if (!options.strRangeOpen.empty()) {
    cOpen = OneCharacter("--range-open", options.strRangeOpen);
  }
  if (!options.strRangeClose.empty()) {
    cClose = OneCharacter("--range-close", options.strRangeClose);
  }
  SetRange(cOpen, cClose, options.strRangeSep.empty() ? nullptr : options.strRangeSep.c_str());
  if (!options.strValueSep.empty()) {
    SetValueSep(OneCharacter("--value-sep", options.strValueSep));
  }
  if (!options.strAny.empty()) {
    SetAnyValue(OneCharacter("--any", options.strAny));
  }
  if (options.bCatalogDir) {
    SetCatalogDir(options.strCatalogDir.c_str());
  }
  if (options.bLocale && !SetDefaultLocale(LibraryLocaleName(options.strLocale).c_str())) {
    throw CCliError(Format("--locale: unknown locale \"%s\"", options.strLocale.c_str()));
  }
}

CArgList::CArgList(const std::string& strCommand, const std::vector<std::string>& args,
                   const std::set<std::string>& flags, const std::set<std::string>& valued)
    : m_strCommand(strCommand) {
  bool bOptionsEnded = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& strArg = args[i];
    if (bOptionsEnded || !LooksLikeOption(strArg)) {
      m_positional.push_back(strArg);
      continue;
    }
    if (strArg == "--") {
      bOptionsEnded = true;
      continue;
    }
    if (strArg == "--help" || strArg == "-h") {
      m_bHelp = true;
      continue;
    }
    std::string strName = strArg;
    size_t nEqual = strArg.find('=');
    if (nEqual != std::string::npos) {
      strName = strArg.substr(0, nEqual);
    }
    if (valued.count(strName) != 0) {
      if (nEqual != std::string::npos) {
        m_values[strName] = strArg.substr(nEqual + 1);
      } else if (i + 1 < args.size()) {
        m_values[strName] = args[++i];
      } else {
        throw CCliError(Format("%s: %s wants a value", strCommand.c_str(), strName.c_str()));
      }
    } else if (flags.count(strArg) != 0) {
      m_flags.insert(strArg);
    } else if (IsGlobalOption(strName)) {
      // The hint shows the option as it was given, with its value.
      std::string strGiven = strArg;
      bool bValued = false;
      for (const CValuedOption& option : kValuedOptions) {
        bValued = bValued || strName == option.pszName;
      }
      if (bValued && nEqual == std::string::npos && i + 1 < args.size()) {
        const std::string& strValue = args[i + 1];
        bool bPlain =
            !strValue.empty() && strValue.find_first_not_of(
                                     "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                     "0123456789_./-") == std::string::npos;
        strGiven += bPlain ? " " + strValue : " '" + strValue + "'";
      }
      throw CCliError(
          Format("%s: %s is a common option: give it before the command (lorn %s %s ...)",
                 strCommand.c_str(), strName.c_str(), strGiven.c_str(), strCommand.c_str()));
    } else {
      throw CCliError(Format("%s: unknown option %s (see lorn %s --help)", strCommand.c_str(),
                             strName.c_str(), strCommand.c_str()));
    }
  }
}

const std::string* CArgList::Value(const std::string& strOption) const {
  auto it = m_values.find(strOption);
  return it != m_values.end() ? &it->second : nullptr;
}

void CArgList::RequireCount(size_t nMin, int nMax, const char* pszUsage) const {
  size_t nCount = m_positional.size();
  if (nCount < nMin || (nMax >= 0 && nCount > static_cast<size_t>(nMax))) {
    throw CCliError(Format("%s: %s; usage: %s", m_strCommand.c_str(),
                           nCount < nMin ? "missing argument" : "too many arguments", pszUsage));
  }
}
