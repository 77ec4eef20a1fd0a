#include "tools/lorn/expr_parser.h"

#include <cstring>

#include "frame/lorn_defs.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_table.h"

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

class CExprReader {
 public:
  explicit CExprReader(const std::string& strExpr) : m_strExpr(strExpr) {}

  std::vector<CExprCriterion> Parse() {
    std::vector<CExprCriterion> criteria;
    SkipBlanks();
    if (AtEnd()) {
      Fail("empty expression, expected COLUMN OP VALUE");
    }
    BYTE cConnector = CRIT_AND;
    while (true) {
      CExprCriterion criterion = ParseCriterion();
      criterion.cConnector = cConnector;
      criteria.push_back(criterion);
      if (AtEnd()) {
        return criteria;
      }
      cConnector = static_cast<BYTE>(m_strExpr[m_nPos]);
      ++m_nPos;
      SkipBlanks();
      if (AtEnd()) {
        Fail(Format("a criterion must follow \"%c\"", cConnector));
      }
    }
  }

 private:
  CExprCriterion ParseCriterion() {
    CExprCriterion criterion;
    size_t nStart = m_nPos;
    while (!AtEnd() && std::strchr("=<>!&|", m_strExpr[m_nPos]) == nullptr) {
      ++m_nPos;
    }
    criterion.strColumn = Trim(m_strExpr.substr(nStart, m_nPos - nStart));
    if (criterion.strColumn.empty()) {
      Fail("expected a column name");
    }
    if (AtEnd() || m_strExpr[m_nPos] == '&' || m_strExpr[m_nPos] == '|') {
      Fail(Format("expected one of = < <= > >= != <> after \"%s\"", criterion.strColumn.c_str()));
    }
    criterion.nMask = ParseOperator();
    SkipBlanks();
    criterion.strValue = ParseValue(criterion.strColumn);
    return criterion;
  }

  BYTE ParseOperator() {
    char c = m_strExpr[m_nPos];
    char cNext = m_nPos + 1 < m_strExpr.size() ? m_strExpr[m_nPos + 1] : '\0';
    m_nPos += 1;
    if (c == '=') {
      return CRIT_EQUAL;
    }
    if (c == '!') {
      if (cNext != '=') {
        --m_nPos;
        Fail("\"!\" must be followed by \"=\"");
      }
      ++m_nPos;
      return CRIT_DIFFERENT;
    }
    if (c == '<' && cNext == '>') {
      ++m_nPos;
      return CRIT_DIFFERENT;
    }
    BYTE nMask = c == '<' ? CRIT_LESS : CRIT_GREATER;
    if (cNext == '=') {
      ++m_nPos;
      nMask |= CRIT_EQUAL;
    }
    return nMask;
  }

  std::string ParseValue(const std::string& strColumn) {
    if (!AtEnd() && (m_strExpr[m_nPos] == '\'' || m_strExpr[m_nPos] == '"')) {
      char cQuote = m_strExpr[m_nPos];
      size_t nOpen = m_nPos;
      size_t nClose = m_strExpr.find(cQuote, nOpen + 1);
      if (nClose == std::string::npos) {
        Fail(Format("no closing %c for the value of \"%s\"", cQuote, strColumn.c_str()));
      }
      m_nPos = nClose + 1;
      SkipBlanks();
      if (!AtEnd() && m_strExpr[m_nPos] != '&' && m_strExpr[m_nPos] != '|') {
        Fail("expected \"&\", \"|\" or the end after a quoted value");
      }
      return m_strExpr.substr(nOpen + 1, nClose - nOpen - 1);
    }
    size_t nStart = m_nPos;
    while (!AtEnd() && m_strExpr[m_nPos] != '&' && m_strExpr[m_nPos] != '|') {
      ++m_nPos;
    }
    std::string strValue = Trim(m_strExpr.substr(nStart, m_nPos - nStart));
    if (strValue.empty()) {
      m_nPos = nStart;
      Fail(Format("expected a value for \"%s\" (quote an empty one: '')", strColumn.c_str()));
    }
    return strValue;
  }

  bool AtEnd() const { return m_nPos >= m_strExpr.size(); }

  void SkipBlanks() {
    while (!AtEnd() && IsBlank(m_strExpr[m_nPos])) {
      ++m_nPos;
    }
  }

  [[noreturn]] void Fail(const std::string& strWhat) const {
    std::string strAt = AtEnd() ? "at the end" : Format("at character %zu", m_nPos + 1);
    std::string strRest = AtEnd() ? "" : " (\"" + m_strExpr.substr(m_nPos) + "\")";
    throw CCliError(
        Format("bad expression %s%s: %s", strAt.c_str(), strRest.c_str(), strWhat.c_str()));
  }

  const std::string& m_strExpr;
  size_t m_nPos = 0;
};

}  // namespace

std::vector<CExprCriterion> ParseExpression(const std::string& strExpr) {
  return CExprReader(strExpr).Parse();
}
