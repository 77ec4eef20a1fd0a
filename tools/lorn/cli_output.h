// Standard output of the lorn command: rows as TSV (cells separated by TAB,
// one row a line), as CSV (RFC 4180 quoting, comma, LF line ends) or as JSON
// lines (one object a row, keyed by column name).
//
// TSV and CSV give the table's own bytes unless a codec is set (--utf8). JSON text
// is UTF-8 by definition, so JSON output always goes through the codec.
// A write refused with EPIPE raises CBrokenPipe; any other write error a
// CCliError.
#ifndef LORN_TOOLS_LORN_CLI_OUTPUT_H_
#define LORN_TOOLS_LORN_CLI_OUTPUT_H_

#include <cstdio>
#include <string>
#include <vector>

#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/types.h"
#include "tools/lorn/cli_text.h"

class COutput {
 public:
  // pFile is not owned. bCsv is ignored when bJson is set.
  COutput(FILE* pFile, bool bJson, bool bCsv = false);

  bool IsJson() const { return m_bJson; }
  bool IsCsv() const { return m_bCsv; }
  // The codec for table text; null: bytes as they stand. Not owned.
  void SetCodec(const CTextCodec* pCodec) { m_pCodec = pCodec; }
  const CTextCodec* GetCodec() const { return m_pCodec; }

  // Table text as it goes out: through the codec when one is set.
  std::string Text(const char* pszText) const;

  // Raw bytes, and a line with its "\n".
  void Write(const std::string& strBytes);
  void Line(const std::string& strLine);

  // Rows. BeginRows takes the column names (table text): TSV prints them as
  // the header line ("#" first with row numbers), JSON keeps them as keys,
  // a repeated name suffixed _2, _3, ... so that no object repeats a key.
  void BeginRows(const CStringArray& arNames, bool bRowNumbers);
  void Row(DWORD nRow, const CStringArray& arCells);
  // One value a line (TSV), one CSV field a line or one JSON string a line.
  void Value(const char* pszValue);

  // Flushes; a failure raises as Write does.
  void Flush();

  // A JSON string literal of UTF-8 text.
  static std::string JsonString(const std::string& strText);

 private:
  void Check();

  FILE* m_pFile;
  bool m_bJson;
  bool m_bCsv;
  const CTextCodec* m_pCodec = nullptr;
  bool m_bRowNumbers = false;
  std::vector<std::string> m_arKeys;  // JSON string literals of the names
};

// Sets a codec on the output for as long as the guard lives.
class CCodecGuard {
 public:
  CCodecGuard(COutput& out, const CTextCodec* pCodec) : m_out(out) { m_out.SetCodec(pCodec); }
  ~CCodecGuard() { m_out.SetCodec(nullptr); }
  CCodecGuard(const CCodecGuard&) = delete;
  CCodecGuard& operator=(const CCodecGuard&) = delete;

 private:
  COutput& m_out;
};

#endif  // LORN_TOOLS_LORN_CLI_OUTPUT_H_
