#include "tools/lorn/csv_format.h"

#include <cstdio>
#include <vector>

#include "tools/lorn/cli_error.h"

CCsvReader::CCsvReader(const std::string& strText, char cDelimiter)
    : m_strText(strText), m_cDelimiter(cDelimiter) {}

void CCsvReader::Fail(const CCsvPlace& place, const char* pszWhat) const {
  throw CCliError(Format("%zu:%zu: %s", place.nLine, place.nColumn, pszWhat));
}

void CCsvReader::Advance() {
  if (m_strText[m_nPos] == '\n') {
    ++m_place.nLine;
    m_place.nColumn = 1;
  } else {
    ++m_place.nColumn;
  }
  ++m_nPos;
}

bool CCsvReader::Next(std::vector<CCsvField>& fields) {
  fields.clear();
  if (m_nPos >= m_strText.size()) {
    return false;
  }
  const size_t nSize = m_strText.size();
  while (true) {
    CCsvField field;
    field.place = m_place;
    if (m_nPos < nSize && m_strText[m_nPos] == '"') {
      Advance();
      while (true) {
        if (m_nPos >= nSize) {
          Fail(field.place, "a quoted field has no closing quote");
        }
        char c = m_strText[m_nPos];
        if (c == '"') {
          if (m_nPos + 1 < nSize && m_strText[m_nPos + 1] == '"') {
            field.strText += '"';
            Advance();
            Advance();
            continue;
          }
          Advance();
          break;
        }
        // A CR LF inside quotes is kept as it stands.
        field.strText += c;
        Advance();
      }
      if (m_nPos < nSize && m_strText[m_nPos] != m_cDelimiter && m_strText[m_nPos] != '\r' &&
          m_strText[m_nPos] != '\n') {
        Fail(m_place, "text behind the closing quote of a field (double a quote inside one)");
      }
    } else {
      while (m_nPos < nSize && m_strText[m_nPos] != m_cDelimiter && m_strText[m_nPos] != '\r' &&
             m_strText[m_nPos] != '\n') {
        field.strText += m_strText[m_nPos];
        Advance();
      }
    }
    fields.push_back(field);
    if (m_nPos >= nSize) {
      return true;
    }
    if (m_strText[m_nPos] == m_cDelimiter) {
      Advance();
      continue;
    }
    // The record ends: CR LF, LF or a CR alone.
    if (m_strText[m_nPos] == '\r') {
      ++m_nPos;
      if (m_nPos < nSize && m_strText[m_nPos] == '\n') {
        ++m_nPos;
      }
      ++m_place.nLine;
      m_place.nColumn = 1;
    } else {
      Advance();
    }
    return true;
  }
}

std::string CsvField(const std::string& strText, char cDelimiter) {
  if (strText.find_first_of(std::string("\"\r\n") + cDelimiter) == std::string::npos) {
    return strText;
  }
  std::string strOut = "\"";
  for (char c : strText) {
    strOut += c;
    if (c == '"') {
      strOut += '"';
    }
  }
  return strOut + "\"";
}

bool FindQuotedField(const std::string& strPath, char cSep, size_t& nLine, size_t& nCell) {
  FILE* pFile = std::fopen(strPath.c_str(), "rb");
  if (pFile == nullptr) {
    return false;
  }
  std::vector<char> buffer(1 << 16);
  bool bFieldStart = true;
  bool bAfterCr = false;  // an LF right behind a CR ends the same line
  bool bFound = false;
  nLine = 1;
  nCell = 1;
  size_t nRead = 0;
  while (!bFound && (nRead = std::fread(buffer.data(), 1, buffer.size(), pFile)) > 0) {
    for (size_t i = 0; i < nRead; ++i) {
      char c = buffer[i];
      if (c == '"' && bFieldStart) {
        bFound = true;
        break;
      }
      bFieldStart = c == cSep || c == '\n' || c == '\r';
      if (c == cSep) {
        ++nCell;
      } else if (c == '\r' || (c == '\n' && !bAfterCr)) {
        ++nLine;
        nCell = 1;
      }
      bAfterCr = c == '\r';
    }
  }
  std::fclose(pFile);
  return bFound;
}

std::string QuotedFieldProblem(const std::string& strPath, const std::string& strShown, char cSep) {
  size_t nLine = 0;
  size_t nCell = 0;
  if ((cSep != ',' && cSep != ';') || !FindQuotedField(strPath, cSep, nLine, nCell)) {
    return "";
  }
  return Format(
      "%s:%zu: cell %zu is quoted as in CSV, which a table does not read (a separator "
      "inside quotes would split the cell); import it: lorn import %s TABLE.txt%s, then "
      "read TABLE.txt without --sep",
      strShown.c_str(), nLine, nCell, strShown.c_str(), cSep == ',' ? "" : " --delimiter ';'");
}

void RequireNoQuotedFields(const std::string& strPath, const std::string& strShown, char cSep) {
  std::string strProblem = QuotedFieldProblem(strPath, strShown, cSep);
  if (!strProblem.empty()) {
    throw CCliError(strProblem);
  }
}
