// lorn cell: how the cell grammar reads a text.
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "frame/settings.h"
#include "platform/collections.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/commands.h"

namespace {

const char kUsage[] =
    "Shows how the cell grammar reads TEXT, with the grammar characters of the\n"
    "common options: first the kind (EMPTY, SINGLE, RANGE, LIST or ANY), then\n"
    "the flag byte (for a range its bound flags: 1 low closed, 2 low open,\n"
    "4 high closed, 8 high open; for a list the number of values), then each\n"
    "value on its own line.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] cell TEXT\n"
    "  lorn cell --help\n"
    "\n"
    "Example:\n"
    "  lorn cell \"(10..20(\"      prints RANGE, 9, 10, 20\n"
    "\n"
    "Options:\n"
    "  -h, --help   this text\n";

const char* KindName(BYTE nKind) {
  switch (nKind) {
    case CELL_EMPTY:
      return "EMPTY";
    case CELL_SINGLE:
      return "SINGLE";
    case CELL_RANGE:
      return "RANGE";
    case CELL_LIST:
      return "LIST";
    case CELL_ANY:
      return "ANY";
    default:
      return "?";
  }
}

int RunCell(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("cell", args, {}, {});
  list.RequireCount(1, 1, "lorn cell TEXT");
  CStringArray arValues;
  BYTE nFlags = 0;
  BYTE nKind = SplitCellDefault(list.Positional()[0].c_str(), arValues, &nFlags);
  COutput& out = context.out;
  if (out.IsJson()) {
    std::string strLine = Format("{\"kind\":\"%s\",\"flags\":%u,\"values\":[", KindName(nKind),
                                 static_cast<unsigned>(nFlags));
    for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
      if (i > 0) {
        strLine += ',';
      }
      strLine += COutput::JsonString(arValues.GetAt(i).GetString());
    }
    out.Line(strLine + "]}");
  } else {
    out.Line(KindName(nKind));
    out.Line(std::to_string(nFlags));
    for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
      out.Line(arValues.GetAt(i).GetString());
    }
  }
  out.Flush();
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdCell = {"cell", "how the cell grammar reads a text", kUsage, &RunCell};
