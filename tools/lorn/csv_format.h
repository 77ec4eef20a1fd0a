// CSV as RFC 4180 writes it: fields separated by a delimiter (a comma by
// default), records ended by CR LF or LF, and a field that holds the
// delimiter, a double quote or a line end enclosed in double quotes, with
// each of its double quotes doubled.
//
// lorn reads CSV to import it as a table (lorn import) and writes it where
// rows print (--csv). A catalogue table itself has no quoting: a cell cannot
// hold its separator or a line end, which is why a table with quoted fields
// must be imported rather than read with --sep ,.
#ifndef LORN_TOOLS_LORN_CSV_FORMAT_H_
#define LORN_TOOLS_LORN_CSV_FORMAT_H_

#include <cstddef>
#include <string>
#include <vector>

// Where a field starts in the text: line and column from 1, the column
// counted in bytes.
struct CCsvPlace {
  size_t nLine = 1;
  size_t nColumn = 1;
};

struct CCsvField {
  std::string strText;
  CCsvPlace place;
};

// Reads records one by one from CSV text held in memory.
class CCsvReader {
 public:
  // strText is not copied and must outlive the reader.
  CCsvReader(const std::string& strText, char cDelimiter);

  // The next record into fields; false at the end of the text. A final line
  // end gives no empty record; an empty line gives one empty field. Throws
  // CCliError, with "line:column: " first, for a quoted field with no
  // closing quote and for text behind a closing quote.
  bool Next(std::vector<CCsvField>& fields);

 private:
  [[noreturn]] void Fail(const CCsvPlace& place, const char* pszWhat) const;
  void Advance();  // one byte on, keeping line and column

  const std::string& m_strText;
  char m_cDelimiter;
  size_t m_nPos = 0;
  CCsvPlace m_place;
};

// The field as it goes out: quoted when it holds cDelimiter, a double quote,
// CR or LF.
std::string CsvField(const std::string& strText, char cDelimiter);

// The first field of a table file that starts with a double quote, as a CSV
// writer quotes: its line and column (in cells from 1). false when there is
// none or the file cannot be read. Reads the whole file.
bool FindQuotedField(const std::string& strPath, char cSep, size_t& nLine, size_t& nCell);

// With a comma or a semicolon as the table's separator, when the table file
// at strPath holds a quoted field (see FindQuotedField), the one-line reason
// the table cannot be read as it stands: it would split "Smith, John" in two.
// It names strShown and tells to import the file. Empty otherwise.
std::string QuotedFieldProblem(const std::string& strPath, const std::string& strShown, char cSep);
// Throws CCliError with QuotedFieldProblem when there is one. Every command
// that reads a table's cells calls it; info, which reads none, warns instead.
void RequireNoQuotedFields(const std::string& strPath, const std::string& strShown, char cSep);

#endif  // LORN_TOOLS_LORN_CSV_FORMAT_H_
