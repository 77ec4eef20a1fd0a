// Safety of the rewriting commands (compact, uncompact, crypt, decrypt,
// delete): a table is either rewritten whole or left as it was.
//
// The library rewrites a table in place (it blanks merged rows, moves rows
// down over deleted ones) and leaves the table half done when a pass fails
// or an exception passes. CRewriteGuard keeps a copy of the table file beside
// it for the time of the operation and puts it back on failure, with its
// modification time, so that the sidecar still fits.
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

// The working files of the library's rewriting operations: the table's path
// cut behind its last dot (nothing when it has none), then the suffix
// ("TMP", "~TM").
std::string WorkFileOf(const std::string& strPath, const char* pszSuffix);

// Why a table file cannot be rewritten: read-only, locked by another
// process, or its directory not writable. Empty when nothing is found.
std::string WhyNotWritable(const std::string& strPath);

// Throws CCliError unless the table file is plain (a scrambled file cannot
// be rewritten row by row: each line's scrambling depends on its offset).
void RequirePlain(bool bScrambled, const std::string& strPath, const char* pszCommand);

// The path of a table's twin in the other form: the table's name cut behind
// its last dot, then "SDC" (bScrambled) or "TXT".
std::string TwinPathOf(const std::string& strPath, bool bScrambled);

// crypt and decrypt: writes the twin of the table at args[0] in the form
// asked (bCrypt: scrambled). Refuses a table already in that form and an
// existing twin unless --force is given; a twin left unfinished by a failure
// is removed.
struct CCliContext;
int ConvertTable(CCliContext& context, const std::vector<std::string>& args, bool bCrypt);

#endif  // LORN_TOOLS_LORN_CLI_REWRITE_H_
