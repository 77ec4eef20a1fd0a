// Text conversion of the lorn command: a table's bytes are text under the
// code page of its locale (Windows-1252 when it has none); --utf8 and --json
// show them as UTF-8, and command-line text typed in UTF-8 goes the other way
// before it meets the table. Conversion uses the C library's iconv.
#ifndef LORN_TOOLS_LORN_CLI_TEXT_H_
#define LORN_TOOLS_LORN_CLI_TEXT_H_

#include <iconv.h>

#include <string>

class CTextCodec {
 public:
  // nCodePage: a Windows code page (1250 to 1258, 932, 936, 949, 950), or
  // 65001, UTF-8, whose text passes through both ways unconverted.
  // Throws CCliError when the system has no converter for it.
  explicit CTextCodec(int nCodePage);
  ~CTextCodec();
  CTextCodec(const CTextCodec&) = delete;
  CTextCodec& operator=(const CTextCodec&) = delete;

  int GetCodePage() const { return m_nCodePage; }
  // Table text to UTF-8. A byte sequence that the code page does not define
  // becomes U+FFFD; nothing is dropped silently.
  std::string ToUtf8(const std::string& strText) const;
  // UTF-8 to table text. Throws CCliError naming the text when it is not
  // UTF-8 or holds a character the code page cannot write.
  std::string FromUtf8(const std::string& strText) const;

 private:
  int m_nCodePage;
  iconv_t m_toUtf8;
  iconv_t m_fromUtf8;
};

// The library's own texts (messages) are Windows-1252: this gives them in
// UTF-8.
std::string Cp1252ToUtf8(const std::string& strText);

// Whether the first 64 KiB of the file at strPath are well-formed UTF-8 that
// holds at least one character of more than one byte (a sequence cut by the
// end of the sample counts as well-formed). false when it cannot be read.
bool FileLooksLikeUtf8(const std::string& strPath);

#endif  // LORN_TOOLS_LORN_CLI_TEXT_H_
