// The floor of any full pass over a table file: read it in 64 KiB blocks and
// count its TAB and LF bytes, nothing more. A pass of the library that reads
// and splits every line cannot be faster than this.
#ifndef LORN_BENCH_FLOOR_SCAN_H_
#define LORN_BENCH_FLOOR_SCAN_H_

#include "platform/types.h"

namespace lorn_bench {

struct CFloorCounts {
  ULONGLONG nBytes = 0;
  ULONGLONG nTabs = 0;
  ULONGLONG nLines = 0;
};

// Reads pszPath to its end. FALSE when it cannot be opened or read.
BOOL ScanFile(const char* pszPath, CFloorCounts& counts);

}  // namespace lorn_bench

#endif  // LORN_BENCH_FLOOR_SCAN_H_
