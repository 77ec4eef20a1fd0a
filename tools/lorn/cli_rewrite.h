// Safety of lorn delete where the library rewrites in place.
//
// A rewrite replaces the table file whole, in one step, when its folder
// takes a new file: then nothing here is needed. Where the folder takes
// none (a folder the user may not write), DeleteRows moves the rows down
// inside the file and cuts it, and a failure part way would leave it half
// done. For that case CRewriteGuard keeps a private copy of the table in the
// user's cache folder while the deletion runs, writes it back into the same
// file (same inode, links and mode) when the deletion fails, and holds
// SIGINT, SIGTERM and SIGHUP until the deletion is over, so that an
// interrupted command finishes or leaves the table as it was.
#ifndef LORN_TOOLS_LORN_CLI_REWRITE_H_
#define LORN_TOOLS_LORN_CLI_REWRITE_H_

#include <signal.h>
#include <time.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/collections.h"
#include "platform/types.h"

class CRewriteGuard {
 public:
  // With bInPlace (see FolderTakesNewFiles) keeps the copy, or throws
  // CCliError when it cannot; without, does nothing.
  CRewriteGuard(const std::string& strPath, bool bInPlace);
  // Without Commit, the copy is written back when the table changed.
  ~CRewriteGuard();
  CRewriteGuard(const CRewriteGuard&) = delete;
  CRewriteGuard& operator=(const CRewriteGuard&) = delete;

  // The deletion succeeded: the copy goes.
  void Commit();
  // The table is rewritten in place, under this guard's copy.
  bool InPlace() const { return !m_strCopy.empty(); }

 private:
  std::string m_strPath;
  std::string m_strCopy;
  struct timespec m_mtime {};  // the table's, given back with its bytes
  sigset_t m_oldMask{};
  bool m_bCommitted = false;
};

// Whether the folder of the file that strPath leads to (links followed)
// takes a new file, so that a rewrite replaces the table whole.
bool FolderTakesNewFiles(const std::string& strPath);

// Why a table file cannot be rewritten: read-only, locked by another
// process, or (unless bInPlace) its folder not writable. Empty when nothing
// is found.
std::string WhyNotWritable(const std::string& strPath, bool bInPlace = false);

// Throws CCliError unless the table file is plain (rows of a scrambled file
// cannot move: each line's scrambling depends on its offset).
void RequirePlain(bool bScrambled, const std::string& strPath, const char* pszCommand);

// crypt and decrypt: writes the twin of the table at args[0] in the form
// asked (bCrypt: scrambled). Refuses a table already in that form and an
// existing twin unless --force is given; a twin left unfinished by a failure
// is removed.
struct CCliContext;
int ConvertTable(CCliContext& context, const std::vector<std::string>& args, bool bCrypt);

// compact and uncompact: opens the table at strPath, refuses what a rewrite
// would make worse (a last line without a line end unless bForce, quoted
// fields), resolves arColumns (names or #N), and runs fnRewrite with them
// (null for none given: every column) under RetryRewrite. Throws CCliError
// with the cause found, else "PATH: <pszWhat> failed", when it fails.
class CCatStd;
void RewriteByColumns(CCliContext& context, const std::string& strPath,
                      const std::vector<std::string>& arColumns, bool bForce, const char* pszWhat,
                      const std::function<BOOL(CCatStd&, CWordArray*)>& fnRewrite);

#endif  // LORN_TOOLS_LORN_CLI_REWRITE_H_
