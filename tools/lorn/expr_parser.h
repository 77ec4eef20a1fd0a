// The query expression of "lorn query": criteria joined left to right by "&"
// and "|", with no brackets and no precedence (A & B | C is (A and B) or C).
//
//   criterion  COLUMN OP VALUE
//   COLUMN     a column name (any case), or #N for column N from 0
//   OP         =  <  <=  >  >=  !=  <>      (masks 1, 16, 17, 32, 33, 48)
//   VALUE      the text up to the next "&" or "|", trimmed of blanks; or
//              quoted with '...' or "..." to hold blanks, "&" or "|"
//
// Example: FAMILLE=OUTILS & PRIX<50 | REF=A12*
#ifndef LORN_TOOLS_LORN_EXPR_PARSER_H_
#define LORN_TOOLS_LORN_EXPR_PARSER_H_

#include <string>
#include <vector>

#include "platform/types.h"

struct CExprCriterion {
  BYTE cConnector = '&';  // what joins it to the criteria before it
  std::string strColumn;
  BYTE nMask = 0;
  std::string strValue;
};

// Parses strExpr. Throws CCliError for a malformed expression, with the
// character position (from 1) and what was expected there.
std::vector<CExprCriterion> ParseExpression(const std::string& strExpr);

#endif  // LORN_TOOLS_LORN_EXPR_PARSER_H_
