// Where the reading commands keep a table's sidecar: beside it, in the
// user's cache for read-only and system folders, in --sidecar-dir; and
// tables read from standard input.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_test_util.h"

namespace {

using namespace lorn_cli_test;
using namespace lorn_test;
using ::testing::HasSubstr;

// The files under strDir, paths relative to it, sorted.
std::vector<std::string> FilesUnder(const std::string& strDir) {
  std::vector<std::string> files;
  if (!std::filesystem::exists(strDir)) {
    return files;
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(strDir)) {
    if (!entry.is_directory() || entry.is_symlink()) {
      files.push_back(std::filesystem::relative(entry.path(), strDir).string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

TEST_F(LornCli, SidecarsOfTablesInFoldersLornMustNotWrite) {
  const ScopedEnv cache("XDG_CACHE_HOME", File("cache").c_str());
  const bool bRoot = geteuid() == 0;
  // Two folders lorn may not write beside a table in: one without write
  // permission (read-only to root as well), and as root one that belongs to
  // another user.
  for (const char* pszDir : {"a", "b"}) {
    ASSERT_EQ(mkdir(File(pszDir).c_str(), 0755), 0);
    WriteFile(File(pszDir) + "/t.txt", kTools);
    if (bRoot && pszDir[0] == 'b') {
      ASSERT_EQ(chown(File(pszDir).c_str(), 65534, 65534), 0);
    } else {
      ASSERT_EQ(chmod(File(pszDir).c_str(), 0555), 0);
    }
  }
  EXPECT_TRUE(IsSystemFolder("/etc/services"));
  EXPECT_TRUE(IsSystemFolder("/usr/share/x/t.txt"));
  EXPECT_FALSE(IsSystemFolder(File("tools.txt")));

  for (const char* pszDir : {"a", "b", "a"}) {
    CRun run = Run({"-q", "query", std::string(pszDir) + "/t.txt", "QTY>6", "--select", "REF"});
    EXPECT_EQ(run.strOut, "REF\nA2\nB2\n") << run.strErr;
  }
  EXPECT_FALSE(Exists(File("a/t.SDX")));
  std::vector<std::string> cached = FilesUnder(File("cache/lorn"));
  ASSERT_EQ(cached.size(), 4u);  // one link and one sidecar for each table
  EXPECT_NE(cached[0].substr(0, cached[0].find('/')), cached[2].substr(0, cached[2].find('/')));
  EXPECT_THAT(Run({"info", "a/t.txt"}).strOut,
              ::testing::ContainsRegex("sidecar  .*/cache/lorn/t\\.txt-[0-9a-f]{16}/t\\.SDX\n"
                                       "state    valid\n"));

  // --sidecar-dir: that folder, wherever the table is.
  ASSERT_EQ(Run({"--sidecar-dir", "sd", "index", "tools.txt", "QTY"}).nStatus, 0);
  EXPECT_FALSE(Exists(File("tools.SDX")));
  EXPECT_EQ(FilesUnder(File("sd")).size(), 2u);
  if (bRoot) {
    // Beside the table when asked.
    EXPECT_EQ(Run({"--sidecar-beside", "index", "b/t.txt"}).nStatus, 0);
    EXPECT_TRUE(Exists(File("b/t.SDX")));
  }
  chmod(File("a").c_str(), 0755);
  chmod(File("b").c_str(), 0755);
}

TEST_F(LornCli, TableOnStandardInput) {
  const ScopedEnv temp("TMPDIR", File("tmp").c_str());
  ASSERT_EQ(mkdir(File("tmp").c_str(), 0700), 0);
  CRun run =
      Lorn(m_dir.path(), {"-q", "query", "-", "FAMILY=GARDEN", "--select", "NAME"}, false, kTools);
  EXPECT_EQ(run.nStatus, 0) << run.strErr;
  EXPECT_EQ(run.strOut, "NAME\nRake\nHose\n");
  CRun piped = Lorn(m_dir.path(), {"-q", "rows", "-", "0"}, true, kTools);
  EXPECT_EQ(piped.nStatus, 0);
  // The copy and its sidecar are gone, whichever way the command ended.
  EXPECT_EQ(FilesUnder(File("tmp")), std::vector<std::string>());
  CRun failed = Lorn(m_dir.path(), {"query", "-", "NOPE=1"}, false, kTools);
  EXPECT_THAT(failed.strErr, HasSubstr("unknown column \"NOPE\""));
  EXPECT_EQ(FilesUnder(File("tmp")), std::vector<std::string>());
}

}  // namespace
