// Expressions that say what they mean: operators and connectors the parser
// does not know, values that do not fit the column's type, and numbers
// compared with text columns.
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "host/expr_parser.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_test_util.h"

namespace {

using namespace lorn_cli_test;
using ::testing::HasSubstr;

TEST(LornExpr, ValuesMustFitTheColumnType) {
  struct {
    const char* pszValue;
    BYTE nType;
    bool bAccepted;
  } cases[] = {
      {"22", COL_TYPE_LONG, true},          {"-7", COL_TYPE_LONG, true},
      {"+2147483647", COL_TYPE_LONG, true}, {"2147483648", COL_TYPE_LONG, false},
      {"22abc", COL_TYPE_LONG, false},      {"20.5", COL_TYPE_LONG, false},
      {"1*", COL_TYPE_LONG, false},         {"", COL_TYPE_LONG, false},
      {"20.5", COL_TYPE_REAL, true},        {"1e3", COL_TYPE_REAL, true},
      {"-.5", COL_TYPE_REAL, true},         {"1,5", COL_TYPE_REAL, false},
      {"inf", COL_TYPE_REAL, false},        {"0x10", COL_TYPE_REAL, false},
      {"1e999", COL_TYPE_REAL, false},      {"abc", COL_TYPE_STR, true},
      {"22abc", COL_TYPE_NONE, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pszValue);
    CExprCriterion criterion;
    criterion.strColumn = "PORT";
    criterion.strValue = c.pszValue;
    if (c.bAccepted) {
      EXPECT_NO_THROW(ValidateCriterion(criterion, c.nType));
    } else {
      EXPECT_THROW(ValidateCriterion(criterion, c.nType), CCliError);
    }
  }
  const char* apszNumbers[] = {"100", "-1.5", "+3", "1."};
  const char* apszText[] = {"1e3", "1,5", "n/a", "1.2.3", "-", ""};
  for (const char* pszValue : apszNumbers) {
    EXPECT_TRUE(IsNumberText(pszValue)) << pszValue;
  }
  for (const char* pszValue : apszText) {
    EXPECT_FALSE(IsNumberText(pszValue)) << pszValue;
  }
}

// PORT Long, NAME Str, PRICE Str from row 1 on: a column holds no exponent.
const std::string kPorts =
    Table({"PORT\tNAME\tPRICE", "22\tssh\t100", "80\thttp\t1e3", "443\thttps\tn/a", "8\tx\t9"});

TEST_F(LornCli, QueryRefusesWhatItWouldMisread) {
  lorn_test::WriteFile(File("ports.txt"), kPorts);
  struct {
    const char* pszExpr;
    const char* pszError;
  } cases[] = {
      {"PORT==22", "lorn: bad expression at character 5 (\"==22\"): unknown operator \"==\""},
      {"PORT=>22", "lorn: bad expression at character 5 (\"=>22\"): unknown operator \"=>\""},
      {"PORT<>=22", "at character 5 (\"<>=22\"): unknown operator \"<>=\""},
      {"PORT=22 NAME=ssh", "at character 9 (\"NAME=ssh\"): missing \"&\" or \"|\" before"},
      {"NAME=a=b", "at character 7 (\"=b\"): \"=\" inside a value"},
      {"PORT=22abc", "lorn: column \"PORT\" is Long (whole numbers): \"22abc\" is not"},
      {"port>=20.5", "lorn: column \"port\" is Long (whole numbers): \"20.5\""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pszExpr);
    CRun run = Fails({"query", "ports.txt", c.pszExpr});
    EXPECT_THAT(run.strErr, HasSubstr(c.pszError));
  }
  // Quoted, the same characters are a value.
  EXPECT_EQ(Run({"query", "ports.txt", "NAME='a=b' | NAME=\"=x\""}).nStatus, 1);

  // A number against a Str column: compared as text ("100" and "1e3" sort
  // before "50"), said once with the row that made the column text.
  CRun text = Run({"-q", "query", "ports.txt", "PRICE<50 | PRICE>5", "--select", "PRICE"});
  EXPECT_EQ(text.nStatus, 0);
  EXPECT_EQ(text.strOut, "PRICE\n100\n1e3\nn/a\n9\n");
  EXPECT_EQ(text.strErr,
            "lorn: query: column \"PRICE\" is Str (text) since row 1 (from 0) holds \"1e3\": "
            "\"50\" is compared with its cells as text, not as a number\n");
  EXPECT_EQ(Run({"-q", "query", "ports.txt", "NAME=ssh"}).strErr, "");
}

// The command answers with the rows whose cells qualify; --walk gives the
// index walk's answer, which misses a range that holds the value behind
// one whose excluded low bound equals it.
TEST_F(LornCli, QueryIsExactUnlessToldToWalk) {
  lorn_test::WriteFile(File("n.txt"), Table({"N", ")5..9)", "(5..9)"}));
  EXPECT_EQ(Run({"-q", "query", "n.txt", "N<=5"}).strOut, "N\n(5..9)\n");
  EXPECT_EQ(Run({"-q", "--walk", "query", "n.txt", "N<=5"}).nStatus, 1);
  EXPECT_EQ(Run({"-q", "query", "n.txt", "N<=5", "--count"}).strOut, "1\n");
}

}  // namespace
