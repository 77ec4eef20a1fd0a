// A last line without a line end, and rows with more cells than the header:
// the rewriting commands refuse the first unless forced, the others say so.
#include "tools/lorn/cli_test_util.h"

namespace lorn_cli_test {
namespace {

using lorn_test::ReadFile;
using lorn_test::WriteFile;
using ::testing::HasSubstr;

// Line 3 (row 1) has a cell too many; the last line, from byte 30, no end.
const char kShaped[] = "REF\tCOLOR\r\nA1\tred\r\nA1\tblue\tX\r\nA2\tred";
const char kUnterminated[] = "the last line (at byte 30) has no line end";
const char kSurplus[] =
    "1 row has more cells than the header's 2 columns, the first on line 3 (row 1)";

TEST_F(LornCli, TablesThatLoseCellsAreRefusedOrTold) {
  WriteFile(File("t.txt"), kShaped);
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {"compact", "t.txt"}, {"uncompact", "t.txt"}, {"delete", "t.txt", "0"}}) {
    ExpectError(args, std::string("t.txt: ") + kUnterminated);
    EXPECT_EQ(ReadFile(File("t.txt")), kShaped);
  }
  // Reading commands answer, with one warning line for each shape they see.
  for (const auto& [args, bSurplus] : std::vector<std::pair<std::vector<std::string>, bool>>{
           {{"query", "t.txt", "REF=A2", "--count"}, false},
           {{"rows", "t.txt", "2"}, false},
           {{"-q", "index", "t.txt", "COLOR"}, true},
           {{"info", "t.txt"}, true}}) {
    const CRun run = Run(args);
    EXPECT_EQ(run.nStatus, 0) << run.strErr;
    EXPECT_THAT(run.strErr, HasSubstr(std::string("lorn: warning: t.txt: ") + kUnterminated));
    EXPECT_EQ(run.strErr.find(kSurplus) != std::string::npos, bSurplus) << args[0];
  }
  // Forced, the rewrite goes through and the row reads as it did.
  const CRun forced = Run({"delete", "t.txt", "0", "--force"});
  ASSERT_EQ(forced.nStatus, 0) << forced.strErr;
  EXPECT_EQ(Run({"rows", "t.txt", "1"}).strOut, "REF\tCOLOR\nA2\t\n");
}

}  // namespace
}  // namespace lorn_cli_test
