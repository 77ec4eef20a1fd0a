#include "bench/floor_scan.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace lorn_bench {

BOOL ScanFile(const char* pszPath, CFloorCounts& counts) {
  counts = CFloorCounts();
  const int nFd = ::open(pszPath, O_RDONLY | O_CLOEXEC);
  if (nFd < 0) {
    return FALSE;
  }
  constexpr size_t kBlock = 64 * 1024;
  std::vector<unsigned char> arBlock(kBlock);
  BOOL bOK = TRUE;
  for (;;) {
    const ssize_t nRead = ::read(nFd, arBlock.data(), kBlock);
    if (nRead < 0) {
      if (errno == EINTR) {
        continue;
      }
      bOK = FALSE;
      break;
    }
    if (nRead == 0) {
      break;
    }
    ULONGLONG nTabs = 0;
    ULONGLONG nLines = 0;
    for (ssize_t i = 0; i < nRead; ++i) {
      nTabs += arBlock[static_cast<size_t>(i)] == '\t';
      nLines += arBlock[static_cast<size_t>(i)] == '\n';
    }
    counts.nBytes += static_cast<ULONGLONG>(nRead);
    counts.nTabs += nTabs;
    counts.nLines += nLines;
  }
  ::close(nFd);
  return bOK;
}

}  // namespace lorn_bench
