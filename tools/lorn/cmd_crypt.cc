// lorn crypt: writes the scrambled (SDC) twin of a plain table.
#include <string>
#include <vector>

#include "tools/lorn/cli_rewrite.h"
#include "tools/lorn/commands.h"

namespace {

const char kUsage[] =
    "Writes the scrambled twin of a plain table beside it: NAME.TXT gives\n"
    "NAME.SDC, with the same lines at the same offsets and the same time, so\n"
    "that both share one sidecar. The plain table stays.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] crypt TABLE [--force]\n"
    "  lorn crypt --help\n"
    "\n"
    "Options:\n"
    "  --force      replace the SDC file when it exists [default: refuse]\n"
    "  -h, --help   this text\n";

int RunCrypt(CCliContext& context, const std::vector<std::string>& args) {
  return ConvertTable(context, args, true);
}

}  // namespace

const CCommand g_cmdCrypt = {"crypt", "write the scrambled (SDC) twin of a table", kUsage,
                             &RunCrypt};
