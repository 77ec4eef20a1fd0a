// Safety of the rewriting commands (compact, uncompact, delete): a table is
// either rewritten whole or left as it was.
//
// Row deletion moves rows down inside the table file, so a failure part way
// would leave it half done; whatever an operation does inside, CRewriteGuard
// keeps a copy of the table file beside it while the operation runs and puts
// it back on failure, with its modification time, so that the sidecar still
// fits.
#ifndef LORN_TOOLS_LORN_CLI_REWRITE_H_
#define LORN_TOOLS_LORN_CLI_REWRITE_H_

#include <string>
#include <vector>

class CRewriteGuard {
 public:
  // Refuses (CCliError) when one of the working files exists already, since
  // the operation would overwrite or trip over it; then copies strPath to a
  // hidden file in its directory. Working files that the failed operation
  // leaves behind are removed.
  CRewriteGuard(const std::string& strPath, const std::vector<std::string>& workFiles);
  // Without Commit, the destructor restores: the copy takes the table's
  // place again if the table file changed, and the working files go.
  ~CRewriteGuard();
  CRewriteGuard(const CRewriteGuard&) = delete;
  CRewriteGuard& operator=(const CRewriteGuard&) = delete;

  // The operation succeeded: the copy is removed.
  void Commit();

 private:
  std::string m_strPath;
  std::string m_strCopy;
  std::vector<std::string> m_workFiles;
  bool m_bCommitted = false;
};

// Why a table file cannot be rewritten: read-only, locked by another
// process, or its directory not writable. Empty when nothing is found.
std::string WhyNotWritable(const std::string& strPath);

// Throws CCliError unless the table file is plain (rows of a scrambled file
// cannot move: each line's scrambling depends on its offset).
void RequirePlain(bool bScrambled, const std::string& strPath, const char* pszCommand);

// crypt and decrypt: writes the twin of the table at args[0] in the form
// asked (bCrypt: scrambled). Refuses a table already in that form and an
// existing twin unless --force is given; a twin left unfinished by a failure
// is removed.
struct CCliContext;
int ConvertTable(CCliContext& context, const std::vector<std::string>& args, bool bCrypt);

#endif  // LORN_TOOLS_LORN_CLI_REWRITE_H_
