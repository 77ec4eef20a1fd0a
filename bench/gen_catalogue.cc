// lorn_gen: writes a generated catalogue (see catalogue_gen.h).
//
//   lorn_gen [--rows N] [--seed S] [--plain] OUTPUT
//
//   --rows N   data rows (default 1000000)
//   --seed S   seed of the drawing (default 1998); same seed, same bytes
//   --plain    no lists, ranges or wildcards: only single values and empty
//              cells, for tools that cannot read the cell syntax
//   OUTPUT     file to create or replace, or "-" for standard output
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/catalogue_gen.h"

namespace {

int Usage() {
  std::fprintf(stderr, "usage: lorn_gen [--rows N] [--seed S] [--plain] OUTPUT\n");
  return 2;
}

BOOL ParseNumber(const char* pszText, ULONGLONG nMax, ULONGLONG& nValue) {
  char* pszEnd = nullptr;
  errno = 0;
  const unsigned long long n = std::strtoull(pszText, &pszEnd, 10);
  if (errno != 0 || pszEnd == pszText || *pszEnd != '\0' || n > nMax) {
    return FALSE;
  }
  nValue = n;
  return TRUE;
}

}  // namespace

int main(int argc, char** argv) {
  ULONGLONG nRows = 1000000;
  ULONGLONG nSeed = 1998;
  BOOL bPlain = FALSE;
  const char* pszOutput = nullptr;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--rows") == 0 && i + 1 < argc) {
      if (!ParseNumber(argv[++i], 0xFFFFFFFEULL, nRows)) {
        return Usage();
      }
    } else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc) {
      if (!ParseNumber(argv[++i], ~0ULL, nSeed)) {
        return Usage();
      }
    } else if (std::strcmp(argv[i], "--plain") == 0) {
      bPlain = TRUE;
    } else if (pszOutput == nullptr && (argv[i][0] != '-' || std::strcmp(argv[i], "-") == 0)) {
      pszOutput = argv[i];
    } else {
      return Usage();
    }
  }
  if (pszOutput == nullptr) {
    return Usage();
  }

  const lorn_bench::CCatalogueGen gen(static_cast<DWORD>(nRows), nSeed, bPlain);
  if (std::strcmp(pszOutput, "-") == 0) {
    if (gen.WriteTo(STDOUT_FILENO) < 0) {
      std::fprintf(stderr, "lorn_gen: cannot write: %s\n", std::strerror(errno));
      return 1;
    }
    return 0;
  }
  ULONGLONG nBytes = 0;
  if (!gen.WriteFile(pszOutput, &nBytes)) {
    std::fprintf(stderr, "lorn_gen: cannot write %s: %s\n", pszOutput, std::strerror(errno));
    return 1;
  }
  std::fprintf(stderr, "lorn_gen: %s: %llu rows, %llu bytes\n", pszOutput,
               static_cast<unsigned long long>(nRows), static_cast<unsigned long long>(nBytes));
  return 0;
}
