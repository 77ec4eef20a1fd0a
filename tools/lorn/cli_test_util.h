// The harness of the lorn command's end-to-end tests: runs the built binary
// on small tables in a private directory and catches its exit status,
// standard output and standard error. Each *_test.cc of this folder uses it.
#ifndef LORN_TOOLS_LORN_CLI_TEST_UTIL_H_
#define LORN_TOOLS_LORN_CLI_TEST_UTIL_H_

#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "testing/test_util.h"

namespace lorn_cli_test {

struct CRun {
  int nStatus = -1;
  std::string strOut;
  std::string strErr;
};

// Runs lorn with args in strDir, its standard output and error caught in
// files. bCloseOut: standard output is a pipe whose reader has gone, as
// behind "| head -0". strIn, when not empty, is fed to standard input.
CRun Lorn(const std::string& strDir, const std::vector<std::string>& args, bool bCloseOut = false,
          const std::string& strIn = "");

// The lines, each ended by CR LF.
std::string Table(const std::vector<std::string>& lines);

// Six rows behind the header; PRICE is Real, QTY Long, COLOR holds a list,
// a wildcard and an empty cell.
extern const std::vector<std::string> kRows;
extern const std::string kTools;
extern const std::string kToolsHeader;

// A private directory holding tools.txt (kTools).
class LornCli : public ::testing::Test {
 protected:
  void SetUp() override { lorn_test::WriteFile(m_dir.File("tools.txt"), kTools); }
  CRun Run(const std::vector<std::string>& args, bool bCloseOut = false) {
    return Lorn(m_dir.path(), args, bCloseOut);
  }
  // A refused command: status 2 and nothing on standard output.
  CRun Fails(const std::vector<std::string>& args) {
    CRun run = Run(args);
    EXPECT_EQ(run.nStatus, 2) << run.strErr;
    EXPECT_EQ(run.strOut, "");
    return run;
  }
  void ExpectError(const std::vector<std::string>& args, const std::string& strPart) {
    EXPECT_THAT(Fails(args).strErr, ::testing::HasSubstr(strPart));
  }
  std::string File(const std::string& strName) const { return m_dir.File(strName); }

  lorn_test::TempDir m_dir;
};

}  // namespace lorn_cli_test

#endif  // LORN_TOOLS_LORN_CLI_TEST_UTIL_H_
