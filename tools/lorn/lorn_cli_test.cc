// End-to-end tests of the lorn command: each runs the built binary on small
// tables in a private directory and checks its exit status, standard output
// and standard error.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "host/code_page.h"
#include "host/expr_parser.h"
#include "testing/test_util.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_options.h"
#include "tools/lorn/cli_output.h"
#include "tools/lorn/cli_progress.h"
#include "tools/lorn/cli_rewrite.h"
#include "tools/lorn/cli_test_util.h"
#include "tools/lorn/cli_text.h"
#include "tools/lorn/sidecar_reader.h"

namespace {

using namespace lorn_test;
using namespace lorn_cli_test;
using ::testing::HasSubstr;

TEST_F(LornCli, HelpAndUsageErrors) {
  CRun help = Run({"--help"});
  EXPECT_EQ(help.nStatus, 0);
  EXPECT_THAT(help.strOut, HasSubstr("Usage:\n  lorn [options] COMMAND ARGS..."));
  EXPECT_THAT(help.strOut, HasSubstr("--sep C            cell separator, one character or \\t "
                                     "[default: \\t]"));
  CRun query = Run({"query", "--help"});
  EXPECT_EQ(query.nStatus, 0);
  // What it does, then its usage, then its options.
  EXPECT_THAT(query.strOut,
              ::testing::ContainsRegex("Runs a query(.|\n)*Usage:\n  lorn \\[options\\] "
                                       "query TABLE EXPR(.|\n)*Options:\n  --select"));

  ExpectError({}, "Usage:");
  EXPECT_EQ(Fails({"frobnicate", "x"}).strErr,
            "lorn: unknown command \"frobnicate\" (see lorn --help)\n");
  ExpectError({"--bogus", "info", "tools.txt"}, "unknown option --bogus");
  ExpectError({"--locale", "xx_YY", "info", "tools.txt"}, "unknown locale \"xx_YY\"");
  ExpectError({"rows", "tools.txt"}, "missing argument");
  ExpectError({"query", "tools.txt", "REF=A1", "--nope"}, "query: unknown option --nope");
}

TEST_F(LornCli, InfoTellsStateWithoutChangingAnything) {
  CRun fresh = Run({"info", "tools.txt"});
  ASSERT_EQ(fresh.nStatus, 0) << fresh.strErr;
  EXPECT_THAT(fresh.strOut, HasSubstr("form     plain\nsidecar  tools.SDX\nstate    absent\n"
                                      "locale   (plain)\nrows     unknown\ncolumns  6\n"));
  EXPECT_THAT(fresh.strOut, HasSubstr("    3  PRICE   -        -  -      -\n"));
  EXPECT_FALSE(Exists(File("tools.SDX")));

  ASSERT_EQ(Run({"index", "tools.txt", "price"}).nStatus, 0);
  CRun indexed = Run({"info", "tools.txt"});
  EXPECT_THAT(indexed.strOut, HasSubstr("state    valid\nlocale   (plain)\nrows     6\n"));
  EXPECT_THAT(indexed.strOut, HasSubstr("    3  PRICE   Real     8  0x10   built\n"
                                        "    4  QTY     Long     4  -      -\n"));
  CRun json = Run({"--json", "info", "tools.txt"});
  EXPECT_THAT(json.strOut, HasSubstr("\"state\":\"valid\",\"locale\":\"\",\"rows\":6"));
  EXPECT_THAT(json.strOut,
              HasSubstr("{\"number\":3,\"name\":\"PRICE\",\"type\":\"Real\",\"size\":8,"
                        "\"flags\":16,\"index\":\"built\"}"));

  lorn_test::SetMTime(File("tools.txt"), lorn_test::GetMTime(File("tools.txt")) + 10);
  CRun stale = Run({"info", "tools.txt"});
  // Opening the table drops its stale sidecar, and info says so.
  EXPECT_THAT(stale.strOut, HasSubstr("state    stale (the table changed since it was indexed), "
                                      "dropped now; lorn index builds it anew\n"));
  EXPECT_FALSE(Exists(File("tools.SDX")));
  EXPECT_THAT(stale.strOut, HasSubstr("rows     unknown\n"));

  EXPECT_EQ(Fails({"info", "nothing.txt"}).strErr,
            "lorn: nothing.txt: No such file or directory\n");
  WriteFile(File("empty.txt"), "");
  ExpectError({"info", "empty.txt"}, "empty.txt: empty file");
}

TEST_F(LornCli, IndexReportsWhyItCannotWrite) {
  EXPECT_EQ(Fails({"index", "tools.txt", "COLOUR"}).strErr,
            "lorn: tools.txt: unknown column \"COLOUR\"; the columns are REF, NAME, FAMILY, "
            "PRICE, QTY, COLOR\n");
  ExpectError({"index", "tools.txt", "#9"}, "no column #9; the table has columns #0 to #5");

  CRun ok = Run({"index", "tools.txt", "#5"});
  EXPECT_EQ(ok.nStatus, 0) << ok.strErr;
  EXPECT_EQ(ok.strOut, "");
  EXPECT_THAT(Run({"info", "tools.txt"}).strOut, HasSubstr("COLOR   Str      6  0x10   built"));

  // Another process holds the sidecar: being indexed.
  int fd = open(File("tools.SDX").c_str(), O_RDONLY);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);
  ExpectError({"index", "tools.txt", "QTY"}, "sidecar tools.SDX is locked by another process");
  EXPECT_THAT(Run({"info", "tools.txt"}).strOut, HasSubstr("state    being indexed\n"));
  close(fd);

  chmod(File("tools.SDX").c_str(), 0444);
  ExpectError({"index", "tools.txt", "QTY"}, "its sidecar tools.SDX is read-only");
}

// Each command's output for its arguments, and its exit status.
struct COutCase {
  std::vector<std::string> args;
  std::string strOut;
  int nStatus = 0;
};

void ExpectOutputs(const std::string& strDir, const std::vector<COutCase>& cases) {
  for (const COutCase& c : cases) {
    CRun run = Lorn(strDir, c.args);
    EXPECT_EQ(run.nStatus, c.nStatus) << ::testing::PrintToString(c.args) << run.strErr;
    EXPECT_EQ(run.strOut, c.strOut) << ::testing::PrintToString(c.args);
  }
}

TEST_F(LornCli, QueryPrintsQualifyingRowsOnce) {
  CRun run = Run({"-q", "query", "tools.txt", "FAMILY=TOOLS & PRICE<20 | COLOR=RED"});
  ASSERT_EQ(run.nStatus, 0) << run.strErr;
  EXPECT_EQ(run.strOut, kToolsHeader +
                            "A1\tHammer\tTOOLS\t12.5\t5\tRED*BLUE\n"
                            "B1\tRake\tGARDEN\t45\t2\tRED\n"
                            "B2\tHose\tGARDEN\t8\t7\t*\n"
                            "D1\tNuts & Bolts\tTOOLS\t1\t3\tGREY\n");
  EXPECT_EQ(run.strErr, "");

  ExpectOutputs(
      m_dir.path(),
      {
          // RED and BLUE both qualify in row 0: it counts once.
          {{"query", "tools.txt", "color>A", "--count"}, "5\n"},
          {{"query", "tools.txt", "COLOR<>RED", "--row-numbers"},
           "#\t" + kToolsHeader +
               "1\tA2\tSaw\tTOOLS\t30\t10\tGREEN\n4\tC1\tBrush\tPAINT\t3\t1\t\n"
               "5\tD1\tNuts & Bolts\tTOOLS\t1\t3\tGREY\n"},
          {{"query", "tools.txt", "NAME = 'Nuts & Bolts' | #0=\"C1\""},
           kToolsHeader + "C1\tBrush\tPAINT\t3\t1\t\nD1\tNuts & Bolts\tTOOLS\t1\t3\tGREY\n"},
          {{"query", "tools.txt", "PRICE>0", "--columns", "family,#0", "--row-numbers"},
           "#\tREF\tFAMILY\n0\tA1\tTOOLS\n1\tA2\tTOOLS\n2\tB1\tGARDEN\n"
           "3\tB2\tGARDEN\n4\tC1\tPAINT\n5\tD1\tTOOLS\n"},
          {{"query", "tools.txt", "PRICE>0", "--columns=FAMILY"}, "FAMILY\nTOOLS\nGARDEN\nPAINT\n"},
          {{"query", "tools.txt", "PRICE>0", "--columns=FAMILY", "--count"}, "3\n"},
          {{"--json", "query", "tools.txt", "REF=B*", "--columns", "REF,QTY"},
           "{\"REF\":\"B1\",\"QTY\":\"2\"}\n{\"REF\":\"B2\",\"QTY\":\"7\"}\n"},
          // No row: the header alone, status 1, with --count too.
          {{"query", "tools.txt", "FAMILY=NOTHING"}, kToolsHeader, 1},
          {{"query", "tools.txt", "FAMILY=NOTHING", "--count"}, "0\n", 1},
      });
}

TEST_F(LornCli, QueryNamesTheFaultyTokenOrColumn) {
  struct {
    const char* pszExpr;
    const char* pszError;
  } cases[] = {
      {"", "lorn: bad expression at the end: empty expression"},
      {"FAMILY TOOLS",
       "lorn: bad expression at the end: expected one of = < <= > >= != <> "
       "after \"FAMILY TOOLS\""},
      {"FAMILY=TOOLS &", "lorn: bad expression at the end: a criterion must follow \"&\""},
      {"REF= | QTY=1", "lorn: bad expression at character 6 (\"| QTY=1\"): expected a value"},
      {"REF='A1", "lorn: bad expression at character 5 (\"'A1\"): no closing ' for the value"},
      {"REF='A1' B", "lorn: bad expression at character 10 (\"B\"): expected \"&\", \"|\""},
      {"=A1", "lorn: bad expression at character 1 (\"=A1\"): expected a column name"},
      {"REF!A1", "lorn: bad expression at character 4 (\"!A1\"): \"!\" must be followed"},
      {"PRIZE<3", "lorn: tools.txt: unknown column \"PRIZE\"; the columns are REF, NAME"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pszExpr);
    CRun run = Fails({"query", "tools.txt", c.pszExpr});
    EXPECT_EQ(run.strErr.rfind(c.pszError, 0), 0u) << run.strErr;
  }
  ExpectError({"query", "tools.txt", "REF=A1", "--columns", "REF,,QTY"}, "has an empty name");
}

TEST_F(LornCli, TextConvertsBetweenCodePageAndUtf8) {
  // \311 is E acute in code page 1252, \303\211 in UTF-8.
  WriteFile(File("accents.txt"), Table({"REF\tNAME", "X1\t\311clair", "X2\tP\xE2te"}));
  ExpectOutputs(
      m_dir.path(),
      {
          {{"rows", "accents.txt", "0"}, "REF\tNAME\nX1\t\311clair\n"},
          {{"--utf8", "rows", "accents.txt", "0", "1"},
           "REF\tNAME\nX1\t\303\211clair\nX2\tP\xC3\xA2te\n"},
          {{"--utf8", "query", "accents.txt", "NAME=P\xC3\xA2te"}, "REF\tNAME\nX2\tP\xC3\xA2te\n"},
          {{"--json", "rows", "accents.txt", "0"}, "{\"REF\":\"X1\",\"NAME\":\"\303\211clair\"}\n"},
          {{"--utf8", "values", "accents.txt", "NAME"}, "P\xC3\xA2te\n\303\211clair\n"},
      });
  ExpectError({"--utf8", "query", "accents.txt", "NAME=\xE2\x82\xAC\xF0\x9F\x98\x80"},
              "cannot be written in code page 1252");
}

TEST_F(LornCli, ValuesRowsAndCells) {
  ExpectOutputs(
      m_dir.path(),
      {
          // Distinct values in index order: text without case, numbers by value.
          {{"values", "tools.txt", "color"}, "BLUE\nGREEN\nGREY\nRED\n"},
          {{"values", "tools.txt", "QTY"}, "1\n2\n3\n5\n7\n10\n"},
          // Rows by number, in the order given.
          {{"rows", "tools.txt", "4", "0"},
           kToolsHeader + "C1\tBrush\tPAINT\t3\t1\t\nA1\tHammer\tTOOLS\t12.5\t5\tRED*BLUE\n"},
          {{"rows", "tools.txt", "1", "--row-numbers"},
           "#\t" + kToolsHeader + "1\tA2\tSaw\tTOOLS\t30\t10\tGREEN\n"},
          // How the grammar reads a cell, with the stock and other characters.
          {{"cell", "(10..20("}, "RANGE\n9\n10\n20\n"},
          {{"cell", "b*a"}, "LIST\n2\na\nb\n"},
          {{"cell", "*"}, "ANY\n0\n"},
          {{"--value-sep", "/", "--range-open", "[", "--range-sep", "-", "cell", "[1-5["},
           "RANGE\n9\n1\n5\n"},
          {{"--value-sep=/", "cell", "x/y*z"}, "LIST\n2\nx\ny*z\n"},
          {{"--json", "cell", "a\"b"},
           "{\"kind\":\"SINGLE\",\"flags\":0,\"values\":[\"a\\\"b\"]}\n"},
      });
  ExpectError({"values", "tools.txt", "SHADE"}, "unknown column \"SHADE\"");
  EXPECT_EQ(Fails({"rows", "tools.txt", "0", "6"}).strErr,
            "lorn: tools.txt: no row 6; the table has 6 rows (0 to 5)\n");
  EXPECT_EQ(Fails({"rows", "tools.txt", "x1"}).strErr,
            "lorn: rows: \"x1\" is not a row number (0, 1, 2, ...)\n");
}

TEST_F(LornCli, CompactAndUncompactRewriteWhole) {
  const std::string kFolded = Table({"REF\tCOLOR", "A1\tblue*red", "A2\tred"});
  const std::string kFlat = Table({"REF\tCOLOR", "A1\tblue", "A1\tred", "A2\tred"});
  WriteFile(File("colors.txt"), Table({"REF\tCOLOR", "A1\tred", "A1\tblue", "A2\tred"}));
  CRun compact = Run({"compact", "colors.txt", "COLOR"});
  ASSERT_EQ(compact.nStatus, 0) << compact.strErr;
  EXPECT_EQ(ReadFile(File("colors.txt")), kFolded);

  CRun to = Run({"uncompact", "colors.txt", "--to", "flat.txt"});
  ASSERT_EQ(to.nStatus, 0) << to.strErr;
  EXPECT_EQ(ReadFile(File("flat.txt")), kFlat);
  EXPECT_EQ(ReadFile(File("colors.txt")), kFolded);
  ExpectError({"uncompact", "colors.txt", "--to", "flat.txt"}, "flat.txt exists; give --force");

  // A file of the user's by a working file's old name is left alone.
  WriteFile(File("colors.TMP"), "mine");
  ASSERT_EQ(Run({"uncompact", "colors.txt", "COLOR"}).nStatus, 0);
  EXPECT_EQ(ReadFile(File("colors.txt")), kFlat);
  EXPECT_EQ(ReadFile(File("colors.TMP")), "mine");

  // A table that cannot be written is left as it was.
  chmod(File("colors.txt").c_str(), 0444);
  ExpectError({"compact", "colors.txt"}, "colors.txt: the table is read-only");
  EXPECT_EQ(ReadFile(File("colors.txt")), kFlat);
}

TEST_F(LornCli, CryptAndDecryptMakeTwins) {
  const std::string kPlain = Table({"REF\tPRIX", "A\t10", "B\t20"});
  WriteFile(File("art.txt"), kPlain);
  ASSERT_EQ(Run({"crypt", "art.txt"}).nStatus, 0);
  std::string strScrambled = ReadFile(File("art.SDC"));
  EXPECT_EQ(strScrambled.substr(0, 10), "QDE\tOQHW\r\n");
  EXPECT_EQ(strScrambled.size(), kPlain.size());
  EXPECT_EQ(Run({"rows", "art.SDC", "1"}).strOut, "REF\tPRIX\nB\t20\n");
  EXPECT_EQ(Fails({"crypt", "art.SDC"}).strErr, "lorn: art.SDC: the table is scrambled already\n");
  ExpectError({"crypt", "art.txt"}, "art.SDC exists; give --force");
  ExpectError({"delete", "art.SDC", "0"}, "plain tables only");

  unlink(File("art.txt").c_str());
  ASSERT_EQ(Run({"decrypt", "art.SDC"}).nStatus, 0);
  EXPECT_EQ(ReadFile(File("art.TXT")), kPlain);
  CRun force = Run({"decrypt", "art.SDC", "--force"});
  EXPECT_EQ(force.nStatus, 0) << force.strErr;
  EXPECT_EQ(ReadFile(File("art.TXT")), kPlain);
}

TEST_F(LornCli, DeleteTakesRowsOutOrNothing) {
  EXPECT_EQ(Fails({"delete", "tools.txt", "1", "9"}).strErr,
            "lorn: tools.txt: no row 9; the table has 6 rows\n");
  EXPECT_EQ(ReadFile(File("tools.txt")), kTools);

  CRun run = Run({"delete", "tools.txt", "4", "1", "1"});
  ASSERT_EQ(run.nStatus, 0) << run.strErr;
  const std::string strAfter = Table({kRows[0], kRows[1], kRows[3], kRows[4], kRows[6]});
  EXPECT_EQ(ReadFile(File("tools.txt")), strAfter);
  EXPECT_EQ(Run({"query", "tools.txt", "REF=D1", "--row-numbers"}).strOut,
            "#\t" + kToolsHeader + "3\tD1\tNuts & Bolts\tTOOLS\t1\t3\tGREY\n");

  chmod(File("tools.txt").c_str(), 0444);
  ExpectError({"delete", "tools.txt", "0"}, "the table is read-only");
  EXPECT_EQ(ReadFile(File("tools.txt")), strAfter);
}

TEST_F(LornCli, DropAndSidecarDump) {
  ExpectError({"sidecar", "tools.txt"}, "no sidecar tools.SDX; \"lorn index TABLE\" builds it");

  ASSERT_EQ(Run({"index", "tools.txt", "COLOR", "QTY"}).nStatus, 0);
  CRun dump = Run({"sidecar", "tools.txt"});
  ASSERT_EQ(dump.nStatus, 0) << dump.strErr;
  EXPECT_THAT(dump.strOut, HasSubstr("version    5\n"));
  EXPECT_THAT(dump.strOut,
              HasSubstr("state      valid\nlocale     (plain)\nrows       6\n"
                        "columns    6\nrow table  at 52: 6 entries, offsets 33 to 160, rising\n"));
  // COLOR: one wildcard row, four values (RED, BLUE, GREEN, RED, GREY), no range.
  EXPECT_THAT(dump.strOut, HasSubstr("    5  COLOR             Str      6  "));
  EXPECT_THAT(dump.strOut, HasSubstr("      1          5          0\n"));
  EXPECT_THAT(dump.strOut, HasSubstr("    0  REF               Str      3  -\n"));
  CRun entries = Run({"sidecar", "tools.txt", "--entries"});
  EXPECT_THAT(entries.strOut, HasSubstr("    any    row 3\n"));
  EXPECT_THAT(entries.strOut, HasSubstr("    value  row 0  BLUE\n    value  row 1  GREEN\n"));
  EXPECT_THAT(entries.strOut, HasSubstr("    value  row 4  1\n    value  row 2  2\n"));

  ASSERT_EQ(Run({"drop", "tools.txt"}).nStatus, 0);
  EXPECT_FALSE(Exists(File("tools.SDX")));
  EXPECT_EQ(Run({"drop", "tools.txt"}).nStatus, 0);

  // A damaged sidecar: the dump tells it, drop removes it, and opening the
  // table drops it too and builds it anew.
  WriteFile(File("tools.SDX"), std::string("\x05\x01", 2));
  EXPECT_THAT(Run({"sidecar", "tools.txt"}).strErr, HasSubstr("damaged header"));
  EXPECT_EQ(Run({"drop", "tools.txt"}).nStatus, 0);
  EXPECT_FALSE(Exists(File("tools.SDX")));
  WriteFile(File("tools.SDX"), std::string("\x05\x01", 2));
  EXPECT_EQ(Run({"rows", "tools.txt", "2"}).nStatus, 0);
  EXPECT_THAT(Run({"sidecar", "tools.txt"}).strOut, HasSubstr("state      valid\n"));
}

TEST_F(LornCli, GrammarOptionsReachTheTables) {
  WriteFile(File("semi.txt"),
            Table({"REF;SIZE;COLOR", "A;[1-5];red/blue", "B;7;red", "C;%;green"}));
  auto With = [&](std::vector<std::string> args) {
    std::vector<std::string> all = {"--sep",       ";", "--range-open", "[", "--range-close", "]",
                                    "--range-sep", "-", "--value-sep",  "/", "--any",         "%"};
    all.insert(all.end(), args.begin(), args.end());
    return Run(all);
  };
  // Rows print with TAB between cells, whatever the table's separator.
  EXPECT_EQ(With({"query", "semi.txt", "SIZE=3"}).strOut,
            "REF\tSIZE\tCOLOR\nA\t[1-5]\tred/blue\nC\t%\tgreen\n");
  EXPECT_EQ(With({"query", "semi.txt", "COLOR=BLUE", "--count"}).strOut, "1\n");
  EXPECT_EQ(With({"values", "semi.txt", "COLOR"}).strOut, "blue\ngreen\nred\n");
  EXPECT_EQ(Run({"--sep", "\\t", "query", "tools.txt", "REF=A1", "--count"}).strOut, "1\n");
  ExpectError({"--sep", "", "cell", "x"}, "--sep wants one character");
}

TEST_F(LornCli, ScrambledTablesAndBadPaths) {
  ASSERT_EQ(Run({"crypt", "tools.txt"}).nStatus, 0);
  unlink(File("tools.txt").c_str());
  EXPECT_THAT(Run({"info", "tools.SDC"}).strOut, HasSubstr("form     scrambled\n"));
  EXPECT_EQ(Run({"query", "tools.SDC", "REF=B*", "--columns", "REF"}).strOut, "REF\nB1\nB2\n");
  EXPECT_EQ(Run({"--json", "query", "tools.SDC", "FAMILY=GARDEN", "--count"}).strOut,
            "{\"count\":2}\n");
  ASSERT_EQ(Run({"uncompact", "tools.SDC", "COLOR"}).nStatus, 0);
  EXPECT_EQ(Run({"rows", "tools.SDC", "0", "1"}).strOut,
            kToolsHeader + "A1\tHammer\tTOOLS\t12.5\t5\tBLUE\nA1\tHammer\tTOOLS\t12.5\t5\tRED\n");
  EXPECT_THAT(ReadFile(File("tools.SDC")), ::testing::Not(HasSubstr("Hammer")));

  mkdir(File("dir.txt").c_str(), 0700);
  EXPECT_EQ(Fails({"index", "dir.txt"}).strErr, "lorn: dir.txt: is a directory, not a table\n");
  ASSERT_EQ(Run({"index", "tools.SDC"}).nStatus, 0);
  chmod(File("tools.SDX").c_str(), 0444);
  ExpectError({"drop", "tools.SDC"}, "its sidecar tools.SDX is read-only");
  EXPECT_TRUE(Exists(File("tools.SDX")));
}

TEST_F(LornCli, ProgressErrorsAndPipes) {
  // Progress goes to standard error only, in English; -q silences it.
  CRun progress = Run({"--progress", "index", "tools.txt", "COLOR"});
  EXPECT_EQ(progress.nStatus, 0);
  EXPECT_EQ(progress.strOut, "");
  EXPECT_THAT(progress.strErr, HasSubstr("Indexing table tools.txt"));
  EXPECT_THAT(progress.strErr, HasSubstr("100%"));
  WriteFile(File("lists.txt"), Table({"A\tB", "1\tx*y"}));
  EXPECT_THAT(Run({"--progress", "uncompact", "lists.txt"}).strErr,
              HasSubstr("Uncompacting table lists.txt"));
  EXPECT_EQ(Run({"-q", "--progress", "index", "tools.txt", "QTY"}).strErr, "");

  // A reader that goes away ends the command quietly.
  std::string strBig = "K\tV\r\n";
  for (int i = 0; i < 20000; ++i) {
    strBig.append("k").append(std::to_string(i)).append("\tsome text to fill the pipe\r\n");
  }
  WriteFile(File("big.txt"), strBig);
  CRun piped = Run({"query", "big.txt", "K=k*"}, true);
  EXPECT_EQ(piped.nStatus, 0);
  EXPECT_EQ(piped.strErr, "");
}

// --- Units behind the commands ---

TEST(LornExpr, ReadsMasksConnectorsAndQuotes) {
  std::vector<CExprCriterion> criteria =
      ParseExpression(" A=1 & b < 2|#3<=x y & d>y | e>=z&f!=g|h<>'i & j' & k=\"a|b\"");
  ASSERT_EQ(criteria.size(), 8u);
  const char* apszColumns[] = {"A", "b", "#3", "d", "e", "f", "h", "k"};
  const BYTE anMasks[] = {1, 16, 17, 32, 33, 48, 48, 1};
  const char* apszValues[] = {"1", "2", "x y", "y", "z", "g", "i & j", "a|b"};
  const char acConnectors[] = "&&|&|&|&";
  for (size_t i = 0; i < criteria.size(); ++i) {
    EXPECT_EQ(criteria[i].strColumn, apszColumns[i]) << i;
    EXPECT_EQ(criteria[i].nMask, anMasks[i]) << i;
    EXPECT_EQ(criteria[i].strValue, apszValues[i]) << i;
    EXPECT_EQ(criteria[i].cConnector, static_cast<BYTE>(acConnectors[i])) << i;
  }
  EXPECT_EQ(ParseExpression("REF=''")[0].strValue, "");
  EXPECT_EQ(ParseExpression("NAME='=x'")[0].strValue, "=x");
}

TEST(LornText, ConvertsBetweenCodePagesAndUtf8) {
  CTextCodec western(1252);
  EXPECT_EQ(western.ToUtf8("\xC9t\xE9 \x80"), "\xC3\x89t\xC3\xA9 \xE2\x82\xAC");
  EXPECT_EQ(western.FromUtf8("\xC3\x89t\xC3\xA9 \xE2\x82\xAC"), "\xC9t\xE9 \x80");
  // 0x81 is no character of 1252: it shows as U+FFFD and the rest follows.
  EXPECT_EQ(western.ToUtf8("a\x81z"), "a\xEF\xBF\xBDz");
  EXPECT_THROW(western.FromUtf8("\xE3\x81\x82"), CCliError);
  EXPECT_THROW(western.FromUtf8("\xC3"), CCliError);
  CTextCodec japanese(932);
  EXPECT_EQ(japanese.ToUtf8("\x82\xA0"), "\xE3\x81\x82");
  EXPECT_EQ(japanese.FromUtf8("\xE3\x81\x82"), "\x82\xA0");
  EXPECT_EQ(Cp1252ToUtf8("D\351compactage"), "D\303\251compactage");
  EXPECT_EQ(CodePageOfLocale(""), 1252);
  EXPECT_EQ(CodePageOfLocale("jpn"), 932);
  EXPECT_EQ(CodePageOfLocale("xx_YY"), 1252);
  EXPECT_EQ(COutput::JsonString("a\"b\\c\n\t\x01\xC3\xA9"), "\"a\\\"b\\\\c\\n\\t\\u0001\xC3\xA9\"");
}

TEST(LornPaths, SiblingsOfATable) {
  EXPECT_EQ(SidecarPathOf("dir.x/art.txt"), "dir.x/art.SDX");
  EXPECT_EQ(SidecarPathOf("dir.x/art"), "dir.x/SDX");
  EXPECT_EQ(SidecarPathOf("a.b.sdc"), "a.b.SDX");
  EXPECT_EQ(SiblingPathOf("d/art.txt", "SDC"), "d/art.SDC");
  EXPECT_EQ(SiblingPathOf("/t/art.SDC", "TMP"), "/t/art.TMP");
}

TEST(LornArgs, SplitsPositionalFlagsAndValues) {
  CArgList list("query", {"t.txt", "--count", "--columns=A,B", "-5", "--", "--row-numbers"},
                {"--count", "--row-numbers"}, {"--columns"});
  EXPECT_EQ(list.Positional(), (std::vector<std::string>{"t.txt", "-5", "--row-numbers"}));
  EXPECT_TRUE(list.Has("--count"));
  EXPECT_FALSE(list.Has("--row-numbers"));
  ASSERT_NE(list.Value("--columns"), nullptr);
  EXPECT_EQ(*list.Value("--columns"), "A,B");
  EXPECT_EQ(*CArgList("q", {"--columns", "C"}, {}, {"--columns"}).Value("--columns"), "C");
  EXPECT_THROW(CArgList("q", {"--columns"}, {}, {"--columns"}), CCliError);
  EXPECT_THROW(CArgList("q", {"--count=1"}, {"--count"}, {}), CCliError);
  EXPECT_THROW(list.RequireCount(4, -1, "usage"), CCliError);
  EXPECT_THROW(list.RequireCount(1, 2, "usage"), CCliError);
  list.RequireCount(3, 3, "usage");
}

// Where rows move in place, a deletion that fails gives the table its bytes
// and time back in the same file (a hard link sees them), and the copy in
// the cache folder goes either way.
TEST(LornRewrite, GuardPutsTheTableBackUnlessCommitted) {
  TempDir dir;
  lorn_test::ScopedEnv cache("XDG_CACHE_HOME", dir.File("cache").c_str());
  const std::string strTable = dir.File("t.txt");
  for (const bool bCommit : {false, true}) {
    WriteFile(strTable, "A\r\n1\r\n");
    lorn_test::SetMTime(strTable, 1000000000);
    ASSERT_EQ(link(strTable.c_str(), dir.File("link.txt").c_str()), 0);
    {
      CRewriteGuard guard(strTable, true);
      EXPECT_TRUE(guard.InPlace());
      std::FILE* pFile = std::fopen(strTable.c_str(), "r+");
      ASSERT_NE(pFile, nullptr);
      std::fputs("B\r\n2\r\n3\r\n", pFile);
      std::fclose(pFile);
      if (bCommit) {
        guard.Commit();
      }
    }
    EXPECT_EQ(ReadFile(dir.File("link.txt")), bCommit ? "B\r\n2\r\n3\r\n" : "A\r\n1\r\n");
    EXPECT_EQ(lorn_test::GetMTime(strTable) == 1000000000, !bCommit);
    EXPECT_TRUE(std::filesystem::is_empty(dir.File("cache/lorn")));
    unlink(dir.File("link.txt").c_str());
  }
  EXPECT_FALSE(CRewriteGuard(strTable, false).InPlace());
}

TEST(LornProgress, WritesLinesAndErrorsToItsFile) {
  TempDir dir;
  FILE* pFile = std::fopen(dir.File("log").c_str(), "w");
  ASSERT_NE(pFile, nullptr);
  {
    CConsoleMonitor monitor(pFile, true, false);
    CString strTitle;
    monitor.GetMessage(5, strTitle);
    monitor.SetTitle(strTitle);
    monitor.SetStep("COL");
    for (WORD nPos : {3, 7, 55, 300}) {
      monitor.SetPos(nPos);
    }
    monitor.End();
    monitor.ShowError("Tri imposssible...");
  }
  {
    CConsoleMonitor quiet(pFile, false, false);
    quiet.SetTitle("nothing");
    quiet.SetPos(50);
    quiet.ShowError("shown anyway");
  }
  std::fclose(pFile);
  EXPECT_EQ(ReadFile(dir.File("log")),
            "Uncompacting table %s [....................] 0%\n"
            "Uncompacting table %s: COL [....................] 0%\n"
            "Uncompacting table %s: COL [###########.........] 55%\n"
            "Uncompacting table %s: COL [####################] 100%\n"
            "lorn: Tri imposssible...\n"
            "lorn: shown anyway\n");
}

}  // namespace
