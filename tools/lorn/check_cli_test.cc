#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/cfile.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_test_util.h"

namespace lorn_cli_test {
namespace {

using ::testing::HasSubstr;

// Another process that holds a file as an index build holds the sidecar,
// exclusively, for nHoldMs, then exits. Returns once the lock is held.
// nMode CFile::shareDenyWrite holds it as a reader does instead.
pid_t HoldFile(const std::string& strSide, int nHoldMs,
               UINT nMode = CFile::modeReadWrite | CFile::shareExclusive) {
  // The child says through a pipe once it holds the file: probing the lock
  // from here would itself take it, and make the child's open fail.
  int arPipe[2];
  if (pipe(arPipe) != 0) {
    return -1;
  }
  const pid_t pid = fork();
  if (pid == 0) {
    close(arPipe[0]);
    CFile file;
    const char cHeld = file.Open(strSide.c_str(), nMode) ? 'y' : 'n';
    (void)!write(arPipe[1], &cHeld, 1);
    if (cHeld != 'y') {
      _exit(1);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(nHoldMs));
    _exit(0);
  }
  close(arPipe[1]);
  char cHeld = 0;
  EXPECT_EQ(read(arPipe[0], &cHeld, 1), 1);
  EXPECT_EQ(cHeld, 'y') << strSide << " could not be held";
  close(arPipe[0]);
  return pid;
}

void PutDword(std::string& str, size_t nAt, DWORD nValue) {
  for (int i = 0; i < 4; ++i) {
    str[nAt + i] = static_cast<char>((nValue >> (8 * i)) & 0xFF);
  }
}

DWORD GetDword(const std::string& str, size_t nAt) {
  DWORD nValue = 0;
  for (int i = 3; i >= 0; --i) {
    nValue = (nValue << 8) | static_cast<BYTE>(str[nAt + i]);
  }
  return nValue;
}

}  // namespace

// lorn check finds what the load checks cannot see, says where, and
// --repair builds the sidecar anew.
TEST_F(LornCli, CheckFindsWhatTheSidecarGetsWrong) {
  // Same header, same number of rows, other row lengths.
  lorn_test::WriteFile(File("other.txt"), Table({kRows[0], "A\tB\tC\t1\t2\tX", "AA\tB\tC\t1\t2\tX",
                                                 "AAAAA\tB\tC\t1\t2\tX", "A\tB\tC\t1\t2\tX",
                                                 "A\tB\tC\t1\t2\tX", "A\tB\tC\t1\t2\tX"}));
  ASSERT_EQ(Run({"index", "other.txt"}).nStatus, 0);
  ASSERT_EQ(Run({"index", "tools.txt", "NAME", "QTY"}).nStatus, 0);
  EXPECT_EQ(Run({"check", "tools.txt"}).nStatus, 0);
  DWORD nRowTable = 0;
  DWORD nQty = 0;
  {
    CCatStd table(File("tools.txt").c_str());
    nRowTable = table.m_nRowTablePos;
    nQty = table.m_arColIndexPos[4];
  }
  const std::string strSound = lorn_test::ReadFile(File("tools.SDX"));
  const std::string strOther = lorn_test::ReadFile(File("other.SDX"));
  std::string strKey = strSound;
  const size_t nFirstKey = nQty + 12 + 4 * GetDword(strSound, nQty) + 4;
  PutDword(strKey, nFirstKey, GetDword(strSound, nFirstKey) + 1000);
  std::string strMoved = strSound;
  PutDword(strMoved, nRowTable + 8, GetDword(strSound, nRowTable + 8) + 1);
  std::string strForeign = strSound;
  strForeign.replace(nRowTable, 4 * kRows.size() - 4, strOther, nRowTable, 4 * kRows.size() - 4);
  struct {
    const char* pszWhat;
    std::string strSide;
    const char* pszFound;
  } const arCases[] = {
      {"flipped key", strKey,
       "column QTY, value entry 0: the sidecar holds row 4 key 1001, the table gives row 4 key 1"},
      {"moved row offset", strMoved, "row 2: the sidecar has it start at byte"},
      {"row table of another table", strForeign, "row 1: the sidecar has it start at byte"},
  };
  for (const auto& test : arCases) {
    SCOPED_TRACE(test.pszWhat);
    ASSERT_NE(test.strSide, strSound);
    lorn_test::WriteFile(File("tools.SDX"), test.strSide);
    const CRun check = Run({"check", "tools.txt"});
    EXPECT_EQ(check.nStatus, 2);
    EXPECT_THAT(check.strOut, HasSubstr(test.pszFound));
    EXPECT_EQ(Run({"-q", "check", "tools.txt", "--repair"}).nStatus, 0);
    EXPECT_EQ(lorn_test::ReadFile(File("tools.SDX")), strSound);
  }
}

// A query started while another process holds the sidecar waits its turn
// and answers right; with --wait 0, or a wait too short, it names the lock.
TEST_F(LornCli, CommandsWaitForALockedSidecar) {
  ASSERT_EQ(Run({"index", "tools.txt", "FAMILY"}).nStatus, 0);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = HoldFile(File("tools.SDX"), 1200);
  const std::vector<std::string> query = {"query", "tools.txt", "FAMILY=TOOLS", "--count"};
  std::vector<std::string> args = {"--wait", "0"};
  args.insert(args.end(), query.begin(), query.end());
  EXPECT_THAT(Fails(args).strErr, HasSubstr("locked by another process"));
  args[1] = "0.2";
  EXPECT_THAT(Fails(args).strErr, HasSubstr("still after 0.2 seconds"));
  const CRun run = Run(query);
  int nStatus = -1;
  ASSERT_EQ(waitpid(pid, &nStatus, 0), pid);
  EXPECT_EQ(nStatus, 0);
  EXPECT_EQ(run.nStatus, 0) << run.strErr;
  EXPECT_EQ(run.strOut, "3\n");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1200));
  ExpectError({"--wait", "-1", "info", "tools.txt"}, "--wait wants a number of seconds");

  // An index wanted while a reader holds the sidecar is built once it goes.
  const pid_t reader = HoldFile(File("tools.SDX"), 600, CFile::modeRead | CFile::shareDenyWrite);
  EXPECT_EQ(Run({"-q", "index", "tools.txt", "QTY"}).nStatus, 0);
  ASSERT_EQ(waitpid(reader, &nStatus, 0), reader);
  EXPECT_THAT(Run({"info", "tools.txt"}).strOut,
              ::testing::ContainsRegex("FAMILY +Str .* built\n.*\n.*QTY +Long .* built"));

  // A delete waits for a reader of the table file to go, then deletes.
  const pid_t reader2 = HoldFile(File("tools.txt"), 600, CFile::modeRead | CFile::shareDenyWrite);
  EXPECT_EQ(Run({"-q", "delete", "tools.txt", "0"}).nStatus, 0);
  ASSERT_EQ(waitpid(reader2, &nStatus, 0), reader2);
  EXPECT_EQ(Run({"query", "tools.txt", "REF=A1|REF=A2", "--count"}).strOut, "1\n");
}

// info says when the sidecar was written in the second of the table's last
// change, the one case where the stamp cannot tell a change.
TEST_F(LornCli, InfoTellsASidecarOfTheSameSecond) {
  ASSERT_EQ(Run({"index", "tools.txt"}).nStatus, 0);
  struct stat table {};
  ASSERT_EQ(stat(File("tools.txt").c_str(), &table), 0);
  for (const int nLater : {0, 5}) {
    SCOPED_TRACE(nLater);
    const struct timespec times[2] = {{table.st_mtim.tv_sec + nLater, 0},
                                      {table.st_mtim.tv_sec + nLater, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, File("tools.SDX").c_str(), times, 0), 0);
    const CRun run = Run({"info", "tools.txt"});
    EXPECT_THAT(run.strOut, HasSubstr("state    valid"));
    EXPECT_EQ(
        run.strOut.find("stamp    the sidecar was written in the second") != std::string::npos,
        nLater == 0);
  }
}

}  // namespace lorn_cli_test
