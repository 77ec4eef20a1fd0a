// floor_pass: one plain pass over a file in 64 KiB blocks, counting TAB and
// LF bytes; prints the counts and the time taken. The floor that any full
// pass over a table can be held against.
//
//   floor_pass FILE
#include <chrono>
#include <cstdio>

#include "bench/floor_scan.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: floor_pass FILE\n");
    return 2;
  }
  lorn_bench::CFloorCounts counts;
  const auto tStart = std::chrono::steady_clock::now();
  if (!lorn_bench::ScanFile(argv[1], counts)) {
    std::perror(argv[1]);
    return 1;
  }
  const double dSeconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count();
  std::printf("%llu bytes %llu tabs %llu lines %.6f s %.1f MB/s\n",
              static_cast<unsigned long long>(counts.nBytes),
              static_cast<unsigned long long>(counts.nTabs),
              static_cast<unsigned long long>(counts.nLines), dSeconds,
              dSeconds > 0 ? counts.nBytes / dSeconds / 1e6 : 0.0);
  return 0;
}
