// What the command prints around the rows: chosen columns and limits, its
// version and help, aligned info columns, and one line for a failed write.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/exceptions.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_test_util.h"

namespace {

using namespace lorn_cli_test;
using namespace lorn_test;
using ::testing::HasSubstr;

TEST_F(LornCli, SelectLimitVersionAndHelp) {
  struct {
    std::vector<std::string> args;
    const char* pszOut;
  } cases[] = {
      // Every qualifying row, in the order asked, repeats kept.
      {{"query", "tools.txt", "QTY>1", "--select", "family,REF,family"},
       "FAMILY\tREF\tFAMILY\nTOOLS\tA1\tTOOLS\nTOOLS\tA2\tTOOLS\nGARDEN\tB1\tGARDEN\n"
       "GARDEN\tB2\tGARDEN\nTOOLS\tD1\tTOOLS\n"},
      {{"query", "tools.txt", "QTY>1", "--select", "#1", "--limit", "2", "--row-numbers"},
       "#\tNAME\n0\tHammer\n1\tSaw\n"},
      {{"query", "tools.txt", "QTY>1", "--columns", "FAMILY", "--limit", "1"}, "FAMILY\nTOOLS\n"},
      {{"query", "tools.txt", "QTY>1", "--limit", "1", "--count"}, "5\n"},
      {{"rows", "tools.txt", "5", "0", "--select", "qty,#0", "--row-numbers"},
       "#\tQTY\tREF\n5\t3\tD1\n0\t5\tA1\n"},
      {{"values", "tools.txt", "FAMILY", "--limit", "1"}, "GARDEN\n"},
      {{"values", "tools.txt", "FAMILY", "--limit", "0"}, ""},
      // A JSON object holds each key once.
      {{"--json", "rows", "tools.txt", "0", "--select", "REF,ref,QTY,REF", "--row-numbers"},
       "{\"#\":0,\"REF\":\"A1\",\"REF_2\":\"A1\",\"QTY\":\"5\",\"REF_3\":\"A1\"}\n"},
  };
  for (const auto& c : cases) {
    CRun run = Run(c.args);
    EXPECT_EQ(run.nStatus, 0) << run.strErr;
    EXPECT_EQ(run.strOut, c.pszOut);
  }
  ExpectError({"query", "tools.txt", "QTY>1", "--select", "REF", "--columns", "REF"}, "not both");
  ExpectError({"query", "tools.txt", "QTY>1", "--limit", "x"}, "query: --limit wants a number");
  ExpectError({"values", "tools.txt", "REF", "--limit", "-1"}, "values: --limit wants a number");
  ExpectError({"rows", "tools.txt", "0", "--select", "REF,"},
              "rows: --select \"REF,\" has an empty");

  CRun version = Run({"--version"});
  EXPECT_EQ(version.nStatus, 0);
  EXPECT_THAT(version.strOut, ::testing::MatchesRegex("lorn [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  // The common options are told once, by lorn --help.
  CRun rows = Run({"rows", "--help"});
  EXPECT_THAT(rows.strOut, HasSubstr("see lorn --help"));
  EXPECT_THAT(rows.strOut, ::testing::Not(HasSubstr("--range-open")));
}

TEST_F(LornCli, InfoAlignsWideNames) {
  WriteFile(File("wide.txt"),
            Table({"ID\tCAF\xC3\x89_CR\xC3\x88ME\t\xE5\x90\x8D\xE5\x89\x8D\tZ", "1\tx\ty\tz"}));
  CRun run = Run({"info", "wide.txt"});
  ASSERT_EQ(run.nStatus, 0) << run.strErr;
  // Ten characters for the longest name: the type column starts at the
  // same place on every line.
  EXPECT_THAT(run.strOut, HasSubstr("    #  name        type"));
  EXPECT_THAT(run.strOut, HasSubstr("    1  CAF\xC3\x89_CR\xC3\x88ME  -   "));
  EXPECT_THAT(run.strOut, HasSubstr("    2  \xE5\x90\x8D\xE5\x89\x8D        -   "));
  EXPECT_THAT(run.strOut, HasSubstr("    3  Z           -   "));
}

TEST_F(LornCli, AFailedWriteIsOneLine) {
  const std::string strFull = "/dev/full";
  if (access(strFull.c_str(), W_OK) != 0) {
    GTEST_SKIP() << "no /dev/full";
  }
  // The shell's redirection, without the harness's file.
  std::string strCommand = std::string("cd '") + m_dir.path() + "' && '" + LORN_CLI_PATH +
                           "' query tools.txt 'QTY>0' >/dev/full 2>err.txt";
  int nStatus = std::system(strCommand.c_str());
  EXPECT_EQ(WEXITSTATUS(nStatus), 2);
  EXPECT_EQ(ReadFile(File("err.txt")), "lorn: standard output: No space left on device\n");
  // A file past its size limit is filed as diskFull too, but is no full disk.
  EXPECT_EQ(FileErrorText(CFileException(CFileException::diskFull, ENOSPC)), "disk full");
  EXPECT_EQ(FileErrorText(CFileException(CFileException::diskFull, EFBIG)), "File too large");
}

}  // namespace
