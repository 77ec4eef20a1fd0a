// lorn import: a CSV file made into a catalogue table.
#include <iconv.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "table/work_file.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"
#include "tools/lorn/sidecar_reader.h"

namespace {

const char kUsage[] =
    "Imports a CSV file as a catalogue table. FILE is read as RFC 4180 CSV: a\n"
    "field in double quotes may hold the delimiter, line ends and doubled\n"
    "quotes. Its first record becomes the table's header line, each other\n"
    "record a row; cells are joined by the table's separator (TAB, or --sep\n"
    "given before the command) and lines end in CR LF. The table gets no\n"
    "sidecar: the first command that needs one makes it. FILE \"-\" is standard\n"
    "input, TABLE \"-\" standard output.\n"
    "\n"
    "A table cell has no quoting, so a field is refused, with FILE:LINE:COLUMN,\n"
    "when it holds the table's separator, a CR, an LF or a NUL, or is longer\n"
    "than 32767 bytes; and every record must have as many fields as the header.\n"
    "The cell grammar reads some texts as more than one value. Unless --literal\n"
    "is given, a field is refused as well when, leading spaces skipped, it\n"
    "  - is the lone wildcard alone (\"*\"): it would match every value;\n"
    "  - holds the value separator (\"*\"): it would be a list of values;\n"
    "  - starts with a range bracket, \"(\" or \")\", and holds the range\n"
    "    separator (\"..\"): it would be a range.\n"
    "(The characters are those of --any, --value-sep, --range-open,\n"
    "--range-close and --range-sep.) With --literal such fields are written as\n"
    "they stand, for the grammar to read. Column names are no cells: they are\n"
    "checked for separators and line ends only.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] import FILE TABLE [--delimiter C] [--encoding ENC] [--to ENC]\n"
    "                 [--literal] [--force]\n"
    "  lorn import --help\n"
    "\n"
    "Example:\n"
    "  lorn import people.csv people.txt --to 1252\n"
    "\n"
    "Options:\n"
    "  --delimiter C   the file's delimiter, one character or \\t [default: ,;\n"
    "                  a header of one field that holds \";\", TAB or \"|\" is\n"
    "                  refused without it]\n"
    "  --encoding ENC  the file's text: utf8, a Windows code page (1252, 1250,\n"
    "                  932, ...) or a name that iconv knows [default: bytes as\n"
    "                  given, or UTF-8 when --to is given]; a UTF-8 byte order\n"
    "                  mark is dropped\n"
    "  --to ENC        the table's text, converted from --encoding: a code page\n"
    "                  as above, which should be that of the locale the table\n"
    "                  is read under [default: the file's bytes as given]\n"
    "  --literal       write fields that the cell grammar reads as several\n"
    "                  values, ranges or the wildcard as they stand\n"
    "  --force         replace TABLE when it exists\n"
    "  -h, --help      this text\n";

const char kUsageLine[] =
    "lorn import FILE TABLE [--delimiter C] [--encoding ENC] [--to ENC] [--literal] [--force]";

// The characters of the cell grammar and the table's separator, from the
// common options or their defaults.
struct CGrammar {
  char cSep = '\t';
  char cRangeOpen = '(';
  char cRangeClose = ')';
  char cValueSep = '*';
  char cAny = '*';
  std::string strRangeSep = "..";
};

char OptionChar(const std::string& strValue, char cDefault) {
  if (strValue.empty()) {
    return cDefault;
  }
  return strValue == "\\t" ? '\t' : strValue[0];
}

CGrammar GrammarOf(const CGlobalOptions& options) {
  CGrammar grammar;
  grammar.cSep = OptionChar(options.strSep, '\t');
  grammar.cRangeOpen = OptionChar(options.strRangeOpen, '(');
  grammar.cRangeClose = OptionChar(options.strRangeClose, ')');
  grammar.cValueSep = OptionChar(options.strValueSep, '*');
  grammar.cAny = OptionChar(options.strAny, '*');
  if (!options.strRangeSep.empty()) {
    grammar.strRangeSep = options.strRangeSep;
  }
  return grammar;
}

std::string CharName(char c) {
  switch (c) {
    case '\t':
      return "a TAB";
    case '\r':
      return "a CR";
    case '\n':
      return "an LF";
    case '\0':
      return "a NUL";
    default:
      return Format("\"%c\"", c);
  }
}

// What to do about a field that holds the table's separator: choose another.
std::string SeparatorHint(const CGrammar& grammar) {
  return Format(
      " (its separator; another one is given before the command: lorn --sep '%c' "
      "import ...)",
      grammar.cSep == ';' ? '|' : ';');
}

// Why the cell grammar would read the field as something else than one
// value; empty when it would not.
std::string GrammarReading(const std::string& strField, const CGrammar& grammar) {
  size_t nStart = strField.find_first_not_of(' ');
  if (nStart == std::string::npos) {
    return "";
  }
  std::string strCell = strField.substr(nStart);
  if (strCell.size() == 1 && strCell[0] == grammar.cAny) {
    return Format("is the lone wildcard \"%c\", which matches every value", grammar.cAny);
  }
  if ((strCell[0] == grammar.cRangeOpen || strCell[0] == grammar.cRangeClose) &&
      strCell.find(grammar.strRangeSep) != std::string::npos) {
    return Format("starts with \"%c\" and holds \"%s\", which make a range", strCell[0],
                  grammar.strRangeSep.c_str());
  }
  if (strCell.find(grammar.cValueSep) != std::string::npos) {
    return Format("holds \"%c\", which separates the values of a list", grammar.cValueSep);
  }
  return "";
}

// iconv between two encodings named as the options take them.
class CConverter {
 public:
  CConverter(const std::string& strFrom, const std::string& strTo) {
    m_cd = iconv_open(IconvName(strTo).c_str(), IconvName(strFrom).c_str());
    if (m_cd == reinterpret_cast<iconv_t>(-1)) {
      throw CCliError(Format("import: no conversion from \"%s\" to \"%s\" on this system",
                             strFrom.c_str(), strTo.c_str()));
    }
  }
  ~CConverter() { iconv_close(m_cd); }
  CConverter(const CConverter&) = delete;
  CConverter& operator=(const CConverter&) = delete;

  // false when the text is not valid in the source or has a character the
  // target cannot hold.
  bool Convert(const std::string& strIn, std::string& strOut) {
    iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
    strOut.clear();
    std::vector<char> in(strIn.begin(), strIn.end());
    char* pIn = in.data();
    size_t nIn = in.size();
    char buffer[4096];
    while (nIn > 0) {
      char* pOut = buffer;
      size_t nOut = sizeof buffer;
      size_t nDone = iconv(m_cd, &pIn, &nIn, &pOut, &nOut);
      strOut.append(buffer, static_cast<size_t>(pOut - buffer));
      if (nDone == static_cast<size_t>(-1) && errno != E2BIG) {
        return false;
      }
    }
    char* pOut = buffer;
    size_t nOut = sizeof buffer;
    iconv(m_cd, nullptr, nullptr, &pOut, &nOut);
    strOut.append(buffer, static_cast<size_t>(pOut - buffer));
    return true;
  }

  static std::string IconvName(const std::string& strName) {
    if (strName == "utf8" || strName == "UTF8" || strName == "utf-8" || strName == "65001") {
      return "UTF-8";
    }
    if (!strName.empty() && strName.find_first_not_of("0123456789") == std::string::npos) {
      return "CP" + strName;
    }
    return strName;
  }

 private:
  iconv_t m_cd;
};

std::string ReadAll(const std::string& strPath) {
  FILE* pFile = strPath == "-" ? stdin : std::fopen(strPath.c_str(), "rb");
  if (pFile == nullptr) {
    throw CCliError(Format("%s: %s", strPath.c_str(), std::strerror(errno)));
  }
  std::string strText;
  char buffer[1 << 16];
  size_t nRead = 0;
  while ((nRead = std::fread(buffer, 1, sizeof buffer, pFile)) > 0) {
    strText.append(buffer, nRead);
  }
  bool bError = std::ferror(pFile) != 0;
  int nError = errno;
  if (pFile != stdin) {
    std::fclose(pFile);
  }
  if (bError) {
    throw CCliError(Format("%s: %s", strPath.c_str(), std::strerror(nError)));
  }
  return strText;
}

// Writes strText to strPath as a rewrite writes a table: a work file
// without a name until it is complete, then renamed over strPath, so that a
// failure or a kill leaves neither a half table nor a stray file.
void WriteTable(const std::string& strPath, const std::string& strText) {
  CFile file;
  CWorkFile work(file);
  CFileException error;
  if (!work.Create(strPath.c_str(), &error)) {
    throw CCliError(Format("%s: %s", strPath.c_str(), FileErrorText(error).c_str()));
  }
  try {
    file.Write(strText.data(), static_cast<UINT>(strText.size()));
    work.Commit();
  } catch (const CFileException& e) {
    throw CCliError(Format("%s: %s", strPath.c_str(), FileErrorText(e).c_str()));
  }
}

// The reader's next record; its errors name the file.
bool NextRecord(CCsvReader& reader, std::vector<CCsvField>& fields, const std::string& strFile) {
  try {
    return reader.Next(fields);
  } catch (const CCliError& e) {
    throw CCliError(strFile + ":" + e.what());
  }
}

int RunImport(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("import", args, {"--literal", "--force"}, {"--delimiter", "--encoding", "--to"});
  list.RequireCount(2, 2, kUsageLine);
  const std::string& strFile = list.Positional()[0];
  const std::string& strTable = list.Positional()[1];
  const std::string* pDelimiter = list.Value("--delimiter");
  char cDelimiter = ',';
  if (pDelimiter != nullptr) {
    if (*pDelimiter != "\\t" && (pDelimiter->size() != 1 || (*pDelimiter)[0] == '"')) {
      throw CCliError(
          Format("import: --delimiter wants one character (or \\t) other than a "
                 "double quote, not \"%s\"",
                 pDelimiter->c_str()));
    }
    cDelimiter = OptionChar(*pDelimiter, ',');
  }
  const bool bToStdout = strTable == "-";
  if (!bToStdout && !list.Has("--force") && access(strTable.c_str(), F_OK) == 0) {
    throw CCliError(Format("import: %s exists; give --force to replace it", strTable.c_str()));
  }
  const CGrammar grammar = GrammarOf(context.options);
  const bool bLiteral = list.Has("--literal");
  const std::string* pFrom = list.Value("--encoding");
  const std::string* pTo = list.Value("--to");
  std::unique_ptr<CConverter> pConverter;
  if (pTo != nullptr) {
    pConverter = std::make_unique<CConverter>(pFrom != nullptr ? *pFrom : "utf8", *pTo);
  }

  std::string strText = ReadAll(strFile);
  bool bUtf8In = pFrom == nullptr || CConverter::IconvName(*pFrom) == "UTF-8";
  if (bUtf8In && strText.compare(0, 3, "\xEF\xBB\xBF") == 0) {
    strText.erase(0, 3);
  }
  if (strText.empty()) {
    throw CCliError(Format("%s: empty file, a table needs a header line", strFile.c_str()));
  }

  CCsvReader reader(strText, cDelimiter);
  std::vector<CCsvField> fields;
  std::string strOut;
  std::string strCell;
  size_t nColumns = 0;
  bool bHeader = true;
  while (NextRecord(reader, fields, strFile)) {
    if (bHeader) {
      nColumns = fields.size();
      // A file of another delimiter reads as one column: say so unless the
      // delimiter was chosen.
      size_t nOther = fields[0].strText.find_first_of(";\t|");
      if (nColumns == 1 && pDelimiter == nullptr && nOther != std::string::npos) {
        std::string strOther =
            fields[0].strText[nOther] == '\t' ? "\\t" : std::string(1, fields[0].strText[nOther]);
        throw CCliError(
            Format("%s:1: the header is one field that holds %s: give its delimiter, --delimiter "
                   "'%s' (or --delimiter , for one column)",
                   strFile.c_str(), CharName(fields[0].strText[nOther]).c_str(), strOther.c_str()));
      }
    } else if (fields.size() != nColumns) {
      throw CCliError(Format("%s:%zu: %zu fields where the header has %zu", strFile.c_str(),
                             fields[0].place.nLine, fields.size(), nColumns));
    }
    for (size_t i = 0; i < fields.size(); ++i) {
      const CCsvField& field = fields[i];
      std::string strWhere =
          Format("%s:%zu:%zu: ", strFile.c_str(), field.place.nLine, field.place.nColumn);
      if (pConverter != nullptr) {
        if (!pConverter->Convert(field.strText, strCell)) {
          throw CCliError(
              strWhere + Format("the field is not %s text%s or has a character that %s cannot hold",
                                pFrom != nullptr ? pFrom->c_str() : "UTF-8",
                                pFrom != nullptr ? "" : " (--encoding names the file's own)",
                                pTo->c_str()));
        }
      } else {
        strCell = field.strText;
      }
      for (char c : {grammar.cSep, '\r', '\n', '\0'}) {
        if (strCell.find(c) != std::string::npos) {
          throw CCliError(strWhere +
                          Format("the field holds %s, which a table cell cannot hold%s",
                                 CharName(c).c_str(),
                                 c == grammar.cSep ? SeparatorHint(grammar).c_str() : ""));
        }
      }
      if (strCell.size() > 32767) {
        throw CCliError(strWhere + "the field is longer than a cell may be (32767 bytes)");
      }
      std::string strReading = bHeader || bLiteral ? "" : GrammarReading(strCell, grammar);
      if (!strReading.empty()) {
        throw CCliError(strWhere + "the field " + strReading +
                        "; give --literal to write it as it stands");
      }
      if (i > 0) {
        strOut += grammar.cSep;
      }
      strOut += strCell;
    }
    strOut += "\r\n";
    bHeader = false;
  }
  if (bToStdout) {
    context.out.Write(strOut);
    return EXIT_OK;
  }
  WriteTable(strTable, strOut);
  // A sidecar left by an older table of that name is stale: it goes now
  // rather than at the next command.
  std::remove(SidecarPathOf(strTable).c_str());
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdImport = {"import", "make a table of a CSV file", kUsage, &RunImport};
