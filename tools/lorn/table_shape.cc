#include "tools/lorn/table_shape.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "tools/lorn/cli_error.h"

namespace {

bool IsLineEnd(char c) {
  return c == '\r' || c == '\n' || c == '\0';
}

}  // namespace

long long UnterminatedLineAt(const std::string& strPath) {
  const int fd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat st {};
  if (fd < 0 || fstat(fd, &st) != 0 || st.st_size == 0) {
    if (fd >= 0) {
      close(fd);
    }
    return -1;
  }
  // Backwards, a block at a time, to the line end in front of the last line.
  char buffer[65536];
  long long nEnd = st.st_size;
  long long nStart = -1;
  bool bFirst = true;
  while (nEnd > 0 && nStart < 0) {
    const long long nFrom = nEnd > static_cast<long long>(sizeof buffer)
                                ? nEnd - static_cast<long long>(sizeof buffer)
                                : 0;
    const ssize_t nGot = pread(fd, buffer, static_cast<size_t>(nEnd - nFrom), nFrom);
    if (nGot != nEnd - nFrom) {
      break;
    }
    if (bFirst && IsLineEnd(buffer[nGot - 1])) {
      break;  // the file ends with a line end
    }
    bFirst = false;
    for (ssize_t n = nGot; n > 0; --n) {
      if (IsLineEnd(buffer[n - 1])) {
        nStart = nFrom + n;
        break;
      }
    }
    nEnd = nFrom;
    if (nEnd == 0 && nStart < 0) {
      nStart = 0;
    }
  }
  close(fd);
  return nStart;
}

void RequireTerminated(const std::string& strPath, const std::string& strShown, bool bForce) {
  const long long nAt = UnterminatedLineAt(strPath);
  if (nAt >= 0 && !bForce) {
    throw CCliError(
        Format("%s: the last line (at byte %lld) has no line end, so its last cell "
               "reads as empty and the rewrite would lose it; end the line, or give "
               "--force",
               strShown.c_str(), nAt));
  }
}

void WarnUnterminated(const std::string& strPath, const std::string& strShown) {
  const long long nAt = UnterminatedLineAt(strPath);
  if (nAt >= 0) {
    std::fprintf(stderr,
                 "lorn: warning: %s: the last line (at byte %lld) has no line end; its last "
                 "cell reads as empty\n",
                 strShown.c_str(), nAt);
  }
}

void WarnSurplusCells(CCatStd& table, const std::string& strShown) {
  const short nCols = table.GetColCount();
  if (nCols <= 0) {
    return;
  }
  std::vector<const char*> arCells(static_cast<size_t>(nCols) + 1);
  std::vector<UINT> arLengths(arCells.size());
  CStringArray arSpill;
  unsigned long long nRows = 0;
  unsigned long long nFirst = 0;
  unsigned long long nRow = 0;
  table.SeekLine(table.m_nDataPos);
  for (short nRead; (nRead = table.ReadCells(arCells.data(), arLengths.data(),
                                             static_cast<short>(arCells.size()), arSpill)) >= 0;
       ++nRow) {
    if (nRead > nCols && nRows++ == 0) {
      nFirst = nRow;
    }
  }
  if (nRows > 0) {
    std::fprintf(stderr,
                 "lorn: warning: %s: %llu row%s more cells than the header's %d column%s, "
                 "the first on line %llu (row %llu); cells behind the last column are ignored\n",
                 strShown.c_str(), nRows, nRows == 1 ? " has" : "s have", nCols,
                 nCols == 1 ? "" : "s", nFirst + 2, nFirst);
  }
}
