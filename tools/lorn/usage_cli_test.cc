// What a user new to lorn is told where a command would find less than its
// words say.
#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tools/lorn/cli_test_util.h"

namespace {

using namespace lorn_cli_test;
using namespace lorn_test;

TEST_F(LornCli, QueryTellsWhatACriterionCannotFind) {
  struct {
    std::vector<std::string> args;
    const char* pszErr;
  } cases[] = {
      {{"query", "tools.txt", "COLOR=''", "--count"},
       "lorn: query: COLOR='' finds no empty cell: an empty cell holds no value, and no "
       "criterion finds it alone (COLOR!='' finds it with every other value)\n"},
      {{"query", "tools.txt", "NAME=*mer", "--count"},
       "lorn: query: in \"*mer\" the \"*\" at position 1 stands for itself: only a \"*\" at "
       "the end of a value stands for any rest of the text (\"?\" for one character)\n"},
      {{"query", "tools.txt", "NAME=ha*", "--count"}, ""},
      {{"query", "tools.txt", "QTY=5", "--count"}, ""},
  };
  for (const auto& c : cases) {
    CRun run = Run(c.args);
    EXPECT_EQ(run.strErr, c.pszErr) << c.args[2];
  }
}

TEST_F(LornCli, HintsGiveCommandsThatRun) {
  WriteFile(File("twice.txt"), Table({"a\tA", "1\t2"}));
  WriteFile(File("semi.txt"), Table({"a;b", "1;2"}));
  // A common option behind the command: the hint keeps its value, quoted
  // for the shell where it needs it.
  struct {
    std::vector<std::string> args;
    const char* pszErr;
  } cases[] = {
      {{"rows", "tools.txt", "0", "--sep", ";"}, "(lorn --sep ';' rows ...)"},
      {{"rows", "tools.txt", "0", "--locale", "fra"}, "(lorn --locale fra rows ...)"},
      {{"rows", "tools.txt", "0", "--json"}, "(lorn --json rows ...)"},
      // A name two columns hold picks neither.
      {{"query", "twice.txt", "a=1"}, "twice.txt: \"a\" names two columns, #0 and #1; give #N"},
      // A table read with the wrong separator.
      {{"--sep", ",", "query", "tools.txt", "REF=A1"},
       "(one column whose name holds a TAB: read the table without --sep, TAB is the default)"},
      {{"query", "semi.txt", "a=1"}, "(one column whose name holds \";\": give --sep ';' before"},
      // Standard input is a table for one run only.
      {{"drop", "-"},
       "drop: \"-\" reads the table from standard input, into a copy that lasts "
       "one run (for info, index, query, rows and values): give the table's file"},
  };
  for (const auto& c : cases) {
    ExpectError(c.args, c.pszErr);
  }
}

TEST_F(LornCli, AByteOrderMarkIsNoPartOfAName) {
  // The header keeps the mark as the table has it; names are found without it.
  WriteFile(File("bom.txt"), Table({"\xEF\xBB\xBFname\tage", "Anna\t30"}));
  CRun run = Run({"query", "bom.txt", "NAME=anna", "--select", "age,name"});
  EXPECT_EQ(run.strOut, "age\t\xEF\xBB\xBFname\n30\tAnna\n") << run.strErr;
  EXPECT_EQ(Run({"--json", "rows", "bom.txt", "0"}).strOut, "{\"name\":\"Anna\",\"age\":\"30\"}\n");
}

TEST_F(LornCli, AnEmptyStandardInputIsNamedSo) {
  // The copy of standard input is gone when the user reads the error.
  std::string strCommand = std::string("cd '") + m_dir.path() + "' && : | '" + LORN_CLI_PATH +
                           "' query - 'A=1' 2>err.txt";
  EXPECT_EQ(WEXITSTATUS(std::system(strCommand.c_str())), 2);
  EXPECT_EQ(ReadFile(File("err.txt")),
            "lorn: standard input: empty file, a table needs a header line\n");
}

}  // namespace
