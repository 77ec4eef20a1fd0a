// Catalogue files for the query tests.
#ifndef LORN_QUERY_QUERY_TEST_UTIL_H_
#define LORN_QUERY_QUERY_TEST_UTIL_H_

#include <string>
#include <vector>

#include "platform/collections.h"

namespace lorn_test {

// Joins rows of cells with TAB and CR LF; the first row is the header.
inline std::string MakeTable(const std::vector<std::vector<std::string>>& rows) {
  std::string text;
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      if (i > 0) text += '\t';
      text += row[i];
    }
    text += "\r\n";
  }
  return text;
}

inline std::vector<DWORD> Rows(const CDWordArray* pRows) {
  std::vector<DWORD> rows;
  if (pRows != nullptr) {
    for (INT_PTR i = 0; i < pRows->GetSize(); ++i) rows.push_back(pRows->GetAt(i));
  }
  return rows;
}

}  // namespace lorn_test

#endif  // LORN_QUERY_QUERY_TEST_UTIL_H_
