// lorn drop: gives up a table's sidecar.
#include <string>
#include <vector>

#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/sidecar_reader.h"

namespace {

const char kUsage[] =
    "Removes a table's sidecar (SDX): column types, row table and indexes.\n"
    "The table itself does not change; the next command that needs the\n"
    "sidecar analyses the table and builds it anew. A damaged sidecar that\n"
    "keeps the table from opening is removed too. Nothing is printed.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] drop TABLE\n"
    "  lorn drop --help\n"
    "\n"
    "Options:\n"
    "  -h, --help   this text\n";

int RunDrop(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("drop", args, {}, {});
  list.RequireCount(1, 1, "lorn drop TABLE");
  RequireTableFile(list.Positional()[0], "drop");
  // Where the reading commands keep the table's sidecar.
  const std::string strPath = PlaceTable(list.Positional()[0], context.options);
  std::string strSide = SidecarPathOf(strPath);
  try {
    CCatStd table(strPath.c_str());
    RequireOpen(table, strPath);
    if (!table.DropSide()) {
      throw CCliError(Format("%s: its sidecar %s is read-only; make it writable first",
                             strPath.c_str(), strSide.c_str()));
    }
  } catch (const CArchiveException&) {
    // The header cannot be read, so the table cannot open: the file goes
    // as the table would have dropped it.
    try {
      CFile::Remove(strSide.c_str());
    } catch (const CFileException& e) {
      throw CCliError(Format("%s: damaged sidecar %s cannot be removed: %s", strPath.c_str(),
                             strSide.c_str(), FileErrorText(e).c_str()));
    }
  }
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdDrop = {"drop", "remove a table's sidecar", kUsage, &RunDrop};
