// A minimal host: opens a catalogue and prints its columns with their types.
//
//   show_columns TABLE
#include <cstdio>

#include "lorn.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: show_columns TABLE\n");
    return 2;
  }
  InitLibrary();
  CCatStd table(argv[1]);
  if (!table.IsOpen()) {
    std::fprintf(stderr, "show_columns: cannot open %s\n", argv[1]);
    return 2;
  }
  static const char* const kTypeNames[] = {"-", "Long", "Real", "-", "Str"};
  std::printf("%s: %d columns, %u rows\n", argv[1], table.GetColCount(),
              static_cast<unsigned>(table.GetRowCount()));
  for (WORD nCol = 0; nCol < table.GetColCount(); ++nCol) {
    CString strName;
    table.GetColName(nCol, strName);
    BYTE nType = table.GetColType(nCol);
    std::printf("%3u  %-16s %s\n", static_cast<unsigned>(nCol), static_cast<const char*>(strName),
                nType <= 4 ? kTypeNames[nType] : "?");
  }
  return 0;
}
