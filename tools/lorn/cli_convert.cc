#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_rewrite.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"
#include "tools/lorn/sidecar_reader.h"
#include "tools/lorn/table_shape.h"

namespace {

bool SameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Removes the twin when it goes, unless kept: the file that a failed
// conversion left unfinished. A file that stood there before and that the
// conversion did not touch stays.
class CTwinCleanup {
 public:
  explicit CTwinCleanup(const std::string& strPath) : m_strPath(strPath) {
    m_bExisted = stat(strPath.c_str(), &m_before) == 0;
  }
  ~CTwinCleanup() {
    if (m_bKeep) {
      return;
    }
    if (Written()) {
      unlink(m_strPath.c_str());
    }
  }
  CTwinCleanup(const CTwinCleanup&) = delete;
  CTwinCleanup& operator=(const CTwinCleanup&) = delete;
  void Keep() { m_bKeep = true; }
  bool Existed() const { return m_bExisted; }
  // The file is there and was written since the object was made.
  bool Written() const {
    struct stat now {};
    if (stat(m_strPath.c_str(), &now) != 0) {
      return false;
    }
    return !m_bExisted || now.st_ino != m_before.st_ino || !SameTime(now.st_ctim, m_before.st_ctim);
  }

 private:
  std::string m_strPath;
  struct stat m_before {};
  bool m_bExisted = false;
  bool m_bKeep = false;
};

// Why the twin could not be created.
std::string WhyNotCreated(const std::string& strTwin) {
  struct stat st {};
  if (stat(strTwin.c_str(), &st) == 0) {
    CFile file;
    CFileException error;
    if (!file.Open(strTwin.c_str(), CFile::modeReadWrite | CFile::shareExclusive, &error)) {
      return Format("%s: %s", strTwin.c_str(), FileErrorText(error).c_str());
    }
    return Format("%s: was not rewritten", strTwin.c_str());
  }
  size_t nSlash = strTwin.rfind('/');
  std::string strDir = nSlash == std::string::npos ? "." : strTwin.substr(0, nSlash + 1);
  if (access(strDir.c_str(), W_OK) != 0) {
    return Format("%s: cannot be created: %s", strTwin.c_str(), std::strerror(errno));
  }
  return Format("%s: cannot be created", strTwin.c_str());
}

}  // namespace

int ConvertTable(CCliContext& /*context*/, const std::vector<std::string>& args, bool bCrypt) {
  const char* pszCommand = bCrypt ? "crypt" : "decrypt";
  CArgList list(pszCommand, args, {"--force"}, {});
  list.RequireCount(1, 1, bCrypt ? "lorn crypt TABLE [--force]" : "lorn decrypt TABLE [--force]");
  const std::string& strPath = list.Positional()[0];
  CCatStd table(strPath.c_str());
  RequireOpen(table, strPath);
  if ((table.IsScrambled() != FALSE) == bCrypt) {
    throw CCliError(
        Format("%s: the table is %s already", strPath.c_str(), bCrypt ? "scrambled" : "plain"));
  }
  CString strTablePath;
  table.GetPath(strTablePath);
  std::string strTwin = SiblingPathOf(strTablePath.GetString(), bCrypt ? "SDC" : "TXT");
  CTwinCleanup twin(strTwin);
  if (twin.Existed() && !list.Has("--force")) {
    throw CCliError(Format("%s exists; give --force to replace it", strTwin.c_str()));
  }
  // Another process that holds the table (a compaction, a deletion) makes
  // the conversion wait its turn, as the other rewrites do.
  RetryRewrite(
      table, strPath,
      [&] {
        table.CryptTable(bCrypt ? TRUE : FALSE);
        return twin.Written() ? TRUE : FALSE;
      },
      false);
  struct stat source {};
  struct stat target {};
  if (!twin.Written() || stat(strTwin.c_str(), &target) != 0 ||
      stat(strPath.c_str(), &source) != 0 || source.st_size != target.st_size) {
    table.Close();
    throw CCliError(WhyNotCreated(strTwin));
  }
  twin.Keep();
  return EXIT_OK;
}

void RewriteByColumns(CCliContext& context, const std::string& strPath,
                      const std::vector<std::string>& arColumns, bool bForce, const char* pszWhat,
                      const std::function<BOOL(CCatStd&, CWordArray*)>& fnRewrite) {
  CCatStd table(strPath.c_str());
  RequireOpen(table, strPath);
  RequireTerminated(strPath, strPath, bForce);
  RequireNoQuotedFields(strPath, strPath, table.m_cColSep);
  std::unique_ptr<CTextCodec> pCodec = MakeTableCodec(table, context.options);
  CWordArray arCols;
  for (const std::string& strColumn : arColumns) {
    arCols.Add(ResolveColumn(table, strPath, strColumn, pCodec.get()));
  }
  const bool bDone = RetryRewrite(
      table, strPath, [&] { return fnRewrite(table, arCols.GetSize() > 0 ? &arCols : nullptr); },
      false);
  if (!bDone) {
    table.Close();
    const std::string strWhy = WhyNotWritable(strPath);
    throw CCliError(strWhy.empty() ? strPath + ": " + pszWhat + " failed" : strWhy);
  }
}
