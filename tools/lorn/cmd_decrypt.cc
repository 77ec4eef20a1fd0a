// lorn decrypt: writes the plain (TXT) twin of a scrambled table.
#include <string>
#include <vector>

#include "tools/lorn/cli_rewrite.h"
#include "tools/lorn/commands.h"

namespace {

const char kUsage[] =
    "Writes the plain twin of a scrambled table beside it: NAME.SDC gives\n"
    "NAME.TXT, with the same lines at the same offsets and the same time, so\n"
    "that both share one sidecar. The scrambled table stays.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] decrypt TABLE [--force]\n"
    "  lorn decrypt --help\n"
    "\n"
    "Options:\n"
    "  --force      replace the TXT file when it exists [default: refuse]\n"
    "  -h, --help   this text\n";

int RunDecrypt(CCliContext& context, const std::vector<std::string>& args) {
  return ConvertTable(context, args, false);
}

}  // namespace

const CCommand g_cmdDecrypt = {"decrypt", "write the plain (TXT) twin of a scrambled table", kUsage,
                               &RunDecrypt};
