#include "host/expr_parser.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "frame/lorn_defs.h"
#include "host/host_error.h"

namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

bool IsOperatorChar(char c) {
  return c == '=' || c == '<' || c == '>';
}

std::string TrimBlanks(const std::string& strText) {
  size_t nStart = strText.find_first_not_of(" \t");
  if (nStart == std::string::npos) {
    return "";
  }
  size_t nEnd = strText.find_last_not_of(" \t");
  return strText.substr(nStart, nEnd - nStart + 1);
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
    criterion.strColumn = TrimBlanks(m_strExpr.substr(nStart, m_nPos - nStart));
    if (criterion.strColumn.empty()) {
      Fail("expected a column name");
    }
    if (AtEnd() || m_strExpr[m_nPos] == '&' || m_strExpr[m_nPos] == '|') {
      Fail(Format("expected one of = < <= > >= != <> after \"%s\"", criterion.strColumn.c_str()));
    }
    size_t nOperator = m_nPos;
    criterion.nMask = ParseOperator();
    if (!AtEnd() && (IsOperatorChar(m_strExpr[m_nPos]) || m_strExpr[m_nPos] == '!')) {
      size_t nEnd = m_nPos;
      while (nEnd < m_strExpr.size() &&
             (IsOperatorChar(m_strExpr[nEnd]) || m_strExpr[nEnd] == '!')) {
        ++nEnd;
      }
      std::string strOperator = m_strExpr.substr(nOperator, nEnd - nOperator);
      m_nPos = nOperator;
      Fail(
          Format("unknown operator \"%s\"; the operators are = < <= > >= != <> (quote a value "
                 "that starts with one of = < > !)",
                 strOperator.c_str()));
    }
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
      if (IsOperatorChar(m_strExpr[m_nPos])) {
        FailOperatorInValue(nStart);
      }
      ++m_nPos;
    }
    std::string strValue = TrimBlanks(m_strExpr.substr(nStart, m_nPos - nStart));
    if (strValue.empty()) {
      m_nPos = nStart;
      Fail(Format("expected a value for \"%s\" (quote an empty one: '')", strColumn.c_str()));
    }
    return strValue;
  }

  // An operator character inside an unquoted value, at m_nPos: most often
  // a second criterion without its connector ("A=1 B=2"), which then starts
  // behind the last blank.
  [[noreturn]] void FailOperatorInValue(size_t nStart) {
    size_t nWord = m_nPos;
    while (nWord > nStart && !IsBlank(m_strExpr[nWord - 1])) {
      --nWord;
    }
    bool bWordBefore =
        nWord > nStart && !TrimBlanks(m_strExpr.substr(nStart, nWord - nStart)).empty();
    if (bWordBefore && nWord < m_nPos) {
      m_nPos = nWord;
      Fail("missing \"&\" or \"|\" before this criterion (quote a value that holds = < >)");
    }
    Fail(Format("\"%c\" inside a value: join criteria with \"&\" or \"|\", or quote the value",
                m_strExpr[m_nPos]));
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
    throw CExprError(
        Format("bad expression %s%s: %s", strAt.c_str(), strRest.c_str(), strWhat.c_str()),
        m_nPos + 1);
  }

  const std::string& m_strExpr;
  size_t m_nPos = 0;
};

bool IsWholeNumber(const std::string& strValue) {
  size_t nDigits = strValue[0] == '-' || strValue[0] == '+' ? 1 : 0;
  if (strValue.size() == nDigits ||
      strValue.find_first_not_of("0123456789", nDigits) != std::string::npos) {
    return false;
  }
  errno = 0;
  long long nValue = std::strtoll(strValue.c_str(), nullptr, 10);
  return errno == 0 && nValue >= -2147483648LL && nValue <= 2147483647LL;
}

bool IsFiniteNumber(const std::string& strValue) {
  // strtod alone would take "inf", "nan" and hexadecimal forms.
  if (strValue.find_first_not_of("0123456789+-.eE") != std::string::npos) {
    return false;
  }
  char* pEnd = nullptr;
  errno = 0;
  double dValue = std::strtod(strValue.c_str(), &pEnd);
  return *pEnd == '\0' && pEnd != strValue.c_str() && errno == 0 && std::isfinite(dValue);
}

}  // namespace

std::vector<CExprCriterion> ParseExpression(const std::string& strExpr) {
  return CExprReader(strExpr).Parse();
}

bool IsNumberText(const std::string& strValue) {
  size_t nStart = !strValue.empty() && (strValue[0] == '-' || strValue[0] == '+') ? 1 : 0;
  std::string strRest = strValue.substr(nStart);
  size_t nDot = strRest.find('.');
  return strRest.find_first_of("0123456789") != std::string::npos &&
         strRest.find_first_not_of("0123456789.") == std::string::npos &&
         (nDot == std::string::npos || strRest.find('.', nDot + 1) == std::string::npos);
}

void ValidateCriterion(const CExprCriterion& criterion, BYTE nColType) {
  const std::string& strValue = criterion.strValue;
  if (nColType == COL_TYPE_LONG && (strValue.empty() || !IsWholeNumber(strValue))) {
    throw CHostError(
        Format("column \"%s\" is Long (whole numbers): \"%s\" is not a whole number of 32 bits",
               criterion.strColumn.c_str(), strValue.c_str()));
  }
  if (nColType == COL_TYPE_REAL && (strValue.empty() || !IsFiniteNumber(strValue))) {
    throw CHostError(Format("column \"%s\" is Real (numbers): \"%s\" is not a number",
                            criterion.strColumn.c_str(), strValue.c_str()));
  }
}

std::string CriterionSurprise(const CExprCriterion& criterion, BYTE nColType) {
  const std::string& strValue = criterion.strValue;
  if (nColType != COL_TYPE_STR) {
    return "";
  }
  if (strValue.empty() && criterion.nMask == CRIT_EQUAL) {
    return Format(
        "%s='' finds no empty cell: an empty cell holds no value, and no criterion finds "
        "it alone (%s!='' finds it with every other value)",
        criterion.strColumn.c_str(), criterion.strColumn.c_str());
  }
  size_t nStar = strValue.find('*');
  if (nStar != std::string::npos && nStar + 1 < strValue.size()) {
    return Format(
        "in \"%s\" the \"*\" at position %zu stands for itself: only a \"*\" at the end "
        "of a value stands for any rest of the text (\"?\" for one character)",
        strValue.c_str(), nStar + 1);
  }
  return "";
}
