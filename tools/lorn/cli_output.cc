#include "tools/lorn/cli_output.h"

#include <cerrno>
#include <cstring>
#include <set>

#include "tools/lorn/cli_error.h"
#include "tools/lorn/csv_format.h"

COutput::COutput(FILE* pFile, bool bJson, bool bCsv)
    : m_pFile(pFile), m_bJson(bJson), m_bCsv(bCsv && !bJson) {}

std::string COutput::Text(const char* pszText) const {
  std::string strText = pszText != nullptr ? pszText : "";
  return m_pCodec != nullptr ? m_pCodec->ToUtf8(strText) : strText;
}

void COutput::Check() {
  if (!std::ferror(m_pFile)) {
    return;
  }
  int nError = errno;
  if (nError == EPIPE) {
    throw CBrokenPipe();
  }
  throw CCliError(Format("standard output: %s", std::strerror(nError)));
}

void COutput::Write(const std::string& strBytes) {
  errno = 0;
  if (!strBytes.empty() &&
      std::fwrite(strBytes.data(), 1, strBytes.size(), m_pFile) != strBytes.size()) {
    Check();
    throw CCliError("standard output: short write");
  }
}

void COutput::Line(const std::string& strLine) {
  Write(strLine + "\n");
}

void COutput::Flush() {
  errno = 0;
  if (std::fflush(m_pFile) != 0) {
    Check();
    throw CCliError(Format("standard output: %s", std::strerror(errno)));
  }
}

std::string COutput::JsonString(const std::string& strText) {
  std::string strOut = "\"";
  for (unsigned char c : strText) {
    switch (c) {
      case '"':
        strOut += "\\\"";
        break;
      case '\\':
        strOut += "\\\\";
        break;
      case '\n':
        strOut += "\\n";
        break;
      case '\r':
        strOut += "\\r";
        break;
      case '\t':
        strOut += "\\t";
        break;
      default:
        if (c < 0x20 || c == 0x7F) {
          strOut += Format("\\u%04x", c);
        } else {
          strOut += static_cast<char>(c);
        }
        break;
    }
  }
  return strOut + "\"";
}

void COutput::BeginRows(const CStringArray& arNames, bool bRowNumbers) {
  m_bRowNumbers = bRowNumbers;
  m_arKeys.clear();
  std::string strHeader = bRowNumbers ? "#" : "";
  const char cSep = m_bCsv ? ',' : '\t';
  // A JSON object holds a key once: a name met again (a column chosen twice,
  // or named "#" beside the row numbers) takes the first free of NAME_2,
  // NAME_3, ...
  std::set<std::string> used;
  if (bRowNumbers) {
    used.insert("#");
  }
  for (INT_PTR i = 0; i < arNames.GetSize(); ++i) {
    std::string strName = Text(arNames.GetAt(i));
    // A UTF-8 byte order mark before a table's header is no part of a key.
    const char* pszName = arNames.GetAt(i).GetString();
    const std::string strBase =
        std::strncmp(pszName, "\xEF\xBB\xBF", 3) == 0 ? Text(pszName + 3) : strName;
    std::string strKey = strBase;
    for (int nTwin = 2; !used.insert(strKey).second; ++nTwin) {
      strKey = strBase + "_" + std::to_string(nTwin);
    }
    m_arKeys.push_back(JsonString(strKey));
    if (i > 0 || bRowNumbers) {
      strHeader += cSep;
    }
    strHeader += m_bCsv ? CsvField(strName, cSep) : strName;
  }
  if (!m_bJson) {
    Line(strHeader);
  }
}

void COutput::Row(DWORD nRow, const CStringArray& arCells) {
  std::string strLine;
  if (m_bJson) {
    strLine = "{";
    if (m_bRowNumbers) {
      strLine += "\"#\":" + std::to_string(nRow);
    }
    for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
      if (i > 0 || m_bRowNumbers) {
        strLine += ',';
      }
      size_t nKey = static_cast<size_t>(i);
      strLine += nKey < m_arKeys.size() ? m_arKeys[nKey] : JsonString(std::to_string(i));
      strLine += ':';
      strLine += JsonString(Text(arCells.GetAt(i)));
    }
    strLine += '}';
  } else {
    const char cSep = m_bCsv ? ',' : '\t';
    if (m_bRowNumbers) {
      strLine = std::to_string(nRow);
    }
    for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
      if (i > 0 || m_bRowNumbers) {
        strLine += cSep;
      }
      strLine += m_bCsv ? CsvField(Text(arCells.GetAt(i)), cSep) : Text(arCells.GetAt(i));
    }
  }
  Line(strLine);
}

void COutput::Value(const char* pszValue) {
  if (m_bCsv) {
    Line(CsvField(Text(pszValue), ','));
    return;
  }
  Line(m_bJson ? JsonString(Text(pszValue)) : Text(pszValue));
}
