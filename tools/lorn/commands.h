// The commands of lorn: one source file each, opening with its usage text.
#ifndef LORN_TOOLS_LORN_COMMANDS_H_
#define LORN_TOOLS_LORN_COMMANDS_H_

#include <string>
#include <vector>

#include "tools/lorn/cli_options.h"
#include "tools/lorn/cli_output.h"

// What a command gets: the global options (already applied to the
// library's settings) and standard output.
struct CCliContext {
  const CGlobalOptions& options;
  COutput& out;
};

// Exit statuses.
constexpr int EXIT_OK = 0;
constexpr int EXIT_NO_MATCH = 1;  // query: no row qualified
constexpr int EXIT_ERROR = 2;

struct CCommand {
  const char* pszName;
  const char* pszSummary;  // one line for "lorn --help"
  const char* pszUsage;    // description, usage lines, options with defaults
  // Runs with the arguments behind the command name. Throws CCliError or a
  // library exception on failure.
  int (*pfnRun)(CCliContext& context, const std::vector<std::string>& args);
};

extern const CCommand g_cmdInfo;
extern const CCommand g_cmdIndex;
extern const CCommand g_cmdQuery;
extern const CCommand g_cmdValues;
extern const CCommand g_cmdRows;
extern const CCommand g_cmdCell;
extern const CCommand g_cmdCompact;
extern const CCommand g_cmdUncompact;
extern const CCommand g_cmdCrypt;
extern const CCommand g_cmdDecrypt;
extern const CCommand g_cmdDelete;
extern const CCommand g_cmdDrop;
extern const CCommand g_cmdSidecar;
extern const CCommand g_cmdImport;
extern const CCommand g_cmdCheck;

#endif  // LORN_TOOLS_LORN_COMMANDS_H_
