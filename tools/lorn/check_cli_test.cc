#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/cfile.h"
#include "tools/lorn/cli_test_util.h"

namespace lorn_cli_test {
namespace {

using ::testing::HasSubstr;

// Another process that holds the sidecar as an index build does,
// exclusively, for nHoldMs, then exits. Returns once the lock is held.
pid_t HoldSidecar(const std::string& strSide, int nHoldMs) {
  const pid_t pid = fork();
  if (pid == 0) {
    CFile file;
    if (!file.Open(strSide.c_str(), CFile::modeReadWrite | CFile::shareExclusive)) {
      _exit(1);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(nHoldMs));
    _exit(0);
  }
  for (int i = 0; i < 1000; ++i) {
    CFile probe;
    CFileException error;
    if (!probe.Open(strSide.c_str(), CFile::modeRead | CFile::shareDenyWrite, &error)) {
      break;
    }
    probe.Close();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return pid;
}

}  // namespace

// A query started while another process holds the sidecar waits its turn
// and answers right; with --wait 0, or a wait too short, it names the lock.
TEST_F(LornCli, CommandsWaitForALockedSidecar) {
  ASSERT_EQ(Run({"index", "tools.txt", "FAMILY"}).nStatus, 0);
  const auto start = std::chrono::steady_clock::now();
  const pid_t pid = HoldSidecar(File("tools.SDX"), 1200);
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
}

}  // namespace lorn_cli_test
