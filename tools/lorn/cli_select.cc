#include "tools/lorn/cli_select.h"

#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_table.h"

DWORD ParseLimit(const std::string* pLimit, const char* pszCommand) {
  if (pLimit == nullptr) {
    return kNoLimit;
  }
  bool bDigits = !pLimit->empty() && pLimit->size() <= 9 &&
                 pLimit->find_first_not_of("0123456789") == std::string::npos;
  if (!bDigits) {
    throw CCliError(Format("%s: --limit wants a number (0, 1, 2, ...), not \"%s\"", pszCommand,
                           pLimit->c_str()));
  }
  return static_cast<DWORD>(std::stoul(*pLimit));
}

std::vector<WORD> ResolveSelect(CCatStd& table, const std::string& strPath,
                                const std::string* pSelect, const CTextCodec* pCodec,
                                const char* pszCommand) {
  std::vector<WORD> cols;
  if (pSelect == nullptr) {
    return cols;
  }
  for (const std::string& strName : SplitList(*pSelect, ',')) {
    if (strName.empty()) {
      throw CCliError(
          Format("%s: --select \"%s\" has an empty name", pszCommand, pSelect->c_str()));
    }
    cols.push_back(ResolveColumn(table, strPath, strName, pCodec));
  }
  return cols;
}

void SelectCells(const std::vector<WORD>& cols, const CStringArray& arAll, CStringArray& arChosen) {
  if (cols.empty()) {
    arChosen.Copy(arAll);
    return;
  }
  arChosen.SetSize(static_cast<INT_PTR>(cols.size()));
  for (size_t j = 0; j < cols.size(); ++j) {
    arChosen.SetAt(static_cast<INT_PTR>(j),
                   cols[j] < arAll.GetSize() ? arAll.GetAt(cols[j]) : CString());
  }
}
