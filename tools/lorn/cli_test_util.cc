#include "tools/lorn/cli_test_util.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lorn_test;

namespace lorn_cli_test {

CRun Lorn(const std::string& strDir, const std::vector<std::string>& args, bool bCloseOut,
          const std::string& strIn) {
  TempDir io;
  int fdPipe[2];
  if (pipe(fdPipe) != 0) {
    ADD_FAILURE() << "pipe";
    return {};
  }
  if (!strIn.empty()) {
    WriteFile(io.File("in"), strIn);
  }
  const pid_t pid = fork();
  if (pid == 0) {
    const int nFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    dup2(bCloseOut ? fdPipe[1] : open(io.File("out").c_str(), nFlags, 0600), STDOUT_FILENO);
    dup2(open(io.File("err").c_str(), nFlags, 0600), STDERR_FILENO);
    if (!strIn.empty()) {
      dup2(open(io.File("in").c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    }
    close(fdPipe[0]);
    close(fdPipe[1]);
    if (chdir(strDir.c_str()) != 0) {
      _exit(126);
    }
    std::vector<char*> argv = {const_cast<char*>(LORN_CLI_PATH)};
    for (const std::string& strArg : args) {
      argv.push_back(const_cast<char*>(strArg.c_str()));
    }
    argv.push_back(nullptr);
    execv(LORN_CLI_PATH, argv.data());
    _exit(127);
  }
  close(fdPipe[0]);
  close(fdPipe[1]);
  int nWait = 0;
  waitpid(pid, &nWait, 0);
  return {WIFEXITED(nWait) ? WEXITSTATUS(nWait) : 128 + WTERMSIG(nWait), ReadFile(io.File("out")),
          ReadFile(io.File("err"))};
}

std::string Table(const std::vector<std::string>& lines) {
  std::string strText;
  for (const std::string& strLine : lines) {
    strText += strLine + "\r\n";
  }
  return strText;
}

const std::vector<std::string> kRows = {
    "REF\tNAME\tFAMILY\tPRICE\tQTY\tCOLOR",
    "A1\tHammer\tTOOLS\t12.5\t5\tRED*BLUE",
    "A2\tSaw\tTOOLS\t30\t10\tGREEN",
    "B1\tRake\tGARDEN\t45\t2\tRED",
    "B2\tHose\tGARDEN\t8\t7\t*",
    "C1\tBrush\tPAINT\t3\t1\t",
    "D1\tNuts & Bolts\tTOOLS\t1\t3\tGREY",
};
const std::string kTools = Table(kRows);
const std::string kToolsHeader = "REF\tNAME\tFAMILY\tPRICE\tQTY\tCOLOR\n";

}  // namespace lorn_cli_test
