// lorn: the command-line host of the library. Dispatches to one command.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "frame/settings.h"
#include "platform/exceptions.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_options.h"
#include "tools/lorn/cli_output.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_progress.h"
#include "tools/lorn/commands.h"

namespace {

const char kUsage[] =
    "lorn: queries and rewrites catalogue tables, flat text tables (TXT, or\n"
    "the scrambled SDC twin) with a sidecar (SDX) of column types, row offsets\n"
    "and indexes that lorn keeps by itself.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] COMMAND ARGS...\n"
    "  lorn COMMAND --help\n"
    "  lorn --help | --version\n"
    "\n"
    "Commands:\n";

const char kCommonOptions[] =
    "Common options (before the command):\n"
    "  --sep C            cell separator, one character or \\t [default: \\t]\n"
    "  --range-open C     opening bracket of a range [default: (]\n"
    "  --range-close C    closing bracket of a range [default: )]\n"
    "  --range-sep TEXT   separator inside a range [default: ..]\n"
    "  --value-sep C      separator between the values of a list [default: *]\n"
    "  --any C            the lone wildcard, a cell that matches every value\n"
    "                     [default: *]\n"
    "  --locale NAME      locale of tables made without a sidecar (fra, jpn.932,\n"
    "                     utf8, ...) [default: the plain locale]\n"
    "  --catalog-dir DIR  directory of tables loaded from archives [default: none]\n"
    "  --utf8             show table text in UTF-8, converted from the code page\n"
    "                     of the table's locale (1252 without one); text given\n"
    "                     on the command line is taken as UTF-8 [default: bytes\n"
    "                     as stored]\n"
    "  --json             JSON lines instead of TSV where rows print (always UTF-8)\n"
    "  --csv              CSV (RFC 4180 quoting, comma, LF) instead of TSV where\n"
    "                     rows print\n"
    "  --sidecar-dir DIR  keep sidecars in DIR, one folder per table, whatever\n"
    "                     folder the table is in [default: beside the table;\n"
    "                     in the user's cache, $XDG_CACHE_HOME/lorn or\n"
    "                     ~/.cache/lorn, when the table's folder is read-only or\n"
    "                     a system folder: not the user's, or under /usr, /etc,\n"
    "                     /opt, /var/lib, ...]\n"
    "  --sidecar-beside   beside the table even in a system folder\n"
    "  --wait SECONDS     wait so long for a table or sidecar that another\n"
    "                     process has locked (being indexed, rewritten), trying\n"
    "                     again every 50 ms; 0 fails at once [default: 5]\n"
    "  --walk             answer queries by the index walk of other hosts, which\n"
    "                     can miss or add rows at range bounds equal to the\n"
    "                     value, at ranges that hold no value and at \"?\"\n"
    "                     [default: the rows whose cells qualify]\n"
    "  -q, --quiet        no progress\n"
    "  --progress         progress on standard error even when it is no terminal\n"
    "  -h, --help         this text\n"
    "  --version          the version of lorn\n"
    "\n"
    "TABLE \"-\" reads the table from standard input (info, index, query, rows,\n"
    "values).\n"
    "\n"
    "Exit status: 0 done, 1 a query found no row, 2 error.\n";

const CCommand* const kCommands[] = {
    &g_cmdInfo,   &g_cmdIndex,   &g_cmdQuery,     &g_cmdValues, &g_cmdRows,
    &g_cmdCell,   &g_cmdCompact, &g_cmdUncompact, &g_cmdCrypt,  &g_cmdDecrypt,
    &g_cmdDelete, &g_cmdDrop,    &g_cmdSidecar,   &g_cmdImport, &g_cmdCheck,
};

void PrintMainUsage(FILE* pFile) {
  std::fputs(kUsage, pFile);
  for (const CCommand* pCommand : kCommands) {
    std::fprintf(pFile, "  %-10s %s\n", pCommand->pszName, pCommand->pszSummary);
  }
  std::fputs("\n", pFile);
  std::fputs(kCommonOptions, pFile);
}

void PrintCommandUsage(const CCommand& command) {
  std::fputs(command.pszUsage, stdout);
  std::fputs(
      "\nCommon options (--sep, --utf8, --json, --csv, -q, ...) stand before the\n"
      "command: see lorn --help.\n",
      stdout);
}

const CCommand* FindCommand(const char* pszName) {
  for (const CCommand* pCommand : kCommands) {
    if (std::strcmp(pCommand->pszName, pszName) == 0) {
      return pCommand;
    }
  }
  return nullptr;
}

bool AsksForHelp(const std::vector<std::string>& args) {
  for (const std::string& strArg : args) {
    if (strArg == "--") {
      return false;
    }
    if (strArg == "--help" || strArg == "-h") {
      return true;
    }
  }
  return false;
}

void PrintError(const std::string& strText) {
  std::fflush(stdout);
  std::fprintf(stderr, "lorn: %s\n", NameStdinCopy(strText).c_str());
}

int Run(int argc, char** argv) {
  InitLibrary();
  CGlobalOptions options;
  int nCommand = ParseGlobalOptions(argc, argv, options);
  if (options.bHelp) {
    PrintMainUsage(stdout);
    return EXIT_OK;
  }
  if (options.bVersion) {
    std::printf("lorn %s\n", LORN_VERSION);
    return EXIT_OK;
  }
  if (options.bJson && options.bCsv) {
    throw CCliError("--json and --csv: choose one");
  }
  if (nCommand >= argc) {
    PrintMainUsage(stderr);
    return EXIT_ERROR;
  }
  const CCommand* pCommand = FindCommand(argv[nCommand]);
  if (pCommand == nullptr) {
    throw CCliError(Format("unknown command \"%s\" (see lorn --help)", argv[nCommand]));
  }
  std::vector<std::string> args(argv + nCommand + 1, argv + argc);
  if (AsksForHelp(args)) {
    PrintCommandUsage(*pCommand);
    return EXIT_OK;
  }

  ApplyGlobalOptions(options);
  bool bTerminal = isatty(STDERR_FILENO) != 0;
  CConsoleMonitor monitor(stderr, !options.bQuiet && (bTerminal || options.bProgress), bTerminal);
  CMonitorGuard guard(&monitor);
  COutput out(stdout, options.bJson, options.bCsv);
  CCliContext context = {options, out};
  int nStatus = pCommand->pfnRun(context, args);
  out.Flush();
  return nStatus;
}

}  // namespace

int main(int argc, char** argv) {
  signal(SIGPIPE, SIG_IGN);
  int nStatus = EXIT_ERROR;
  try {
    nStatus = Run(argc, argv);
  } catch (const CBrokenPipe&) {
    // The reader went away: nothing more to say to anyone.
    RemoveStdinCopy();
    _exit(EXIT_OK);
  } catch (const CCliError& e) {
    PrintError(e.what());
  } catch (const CException& e) {
    PrintError(DescribeException(e));
  } catch (const std::bad_alloc&) {
    PrintError("out of memory");
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    RemoveStdinCopy();
    if (errno == EPIPE) {
      _exit(nStatus == EXIT_ERROR ? EXIT_ERROR : EXIT_OK);
    }
    // A failed write has been told already, as the command's error.
    if (nStatus != EXIT_ERROR) {
      std::fprintf(stderr, "lorn: standard output: %s\n", std::strerror(errno));
    }
    return EXIT_ERROR;
  }
  return nStatus;
}
