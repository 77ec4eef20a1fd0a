// The query expression of the hosts ("lorn query", the Python module):
// criteria joined left to right by "&" and "|", with no brackets and no
// precedence (A & B | C is (A and B) or C).
//
//   criterion  COLUMN OP VALUE
//   COLUMN     a column name (any case), or #N for column N from 0
//   OP         =  <  <=  >  >=  !=  <>      (masks 1, 16, 17, 32, 33, 48)
//   VALUE      the text up to the next "&" or "|", trimmed of blanks; or
//              quoted with '...' or "..." to hold blanks, "&", "|" or the
//              operator characters = < > (which an unquoted value refuses,
//              so that "A==1", "A=>1" and "A=1 B=2" are errors, not values)
//
// Example: FAMILLE=OUTILS & PRIX<50 | REF=A12*
//
// This unit parses and checks; it prints nothing and knows no table, so that
// every host of the expression shares it (it needs host_error only).
#ifndef LORN_HOST_EXPR_PARSER_H_
#define LORN_HOST_EXPR_PARSER_H_

#include <string>
#include <vector>

#include "platform/types.h"

struct CExprCriterion {
  BYTE cConnector = '&';  // what joins it to the criteria before it
  std::string strColumn;
  BYTE nMask = 0;
  std::string strValue;
};

// Parses strExpr. Throws CExprError for a malformed expression, with the
// character position (from 1) and what was expected there.
std::vector<CExprCriterion> ParseExpression(const std::string& strExpr);

// Checks the value of a criterion against the type of its column, as the
// column's index will read it: on a Long column (COL_TYPE_LONG) a whole
// number of 32 bits, on a Real column a finite number; any text on a Str
// column or one not yet typed (0). Throws CHostError naming the column and its
// type otherwise: the library would read "22abc" as 22 and "20.5" as 20.
void ValidateCriterion(const CExprCriterion& criterion, BYTE nColType);

// Whether strValue is a number as a Long or Real column holds one: an
// optional sign, digits with at most one dot. Compared with a Str column
// such a value is compared as text ("100" < "50").
bool IsNumberText(const std::string& strValue);

// What a criterion on a Str column finds that its text does not say, as one
// line for standard error; empty when there is nothing to say. An empty cell
// holds no value, so "=" with an empty value finds none; and only a final "*"
// stands for any rest of the text: a "*" before the end stands for itself.
std::string CriterionSurprise(const CExprCriterion& criterion, BYTE nColType);

#endif  // LORN_HOST_EXPR_PARSER_H_
