// Opening the sample table with an arbitrary sidecar, then reading rows,
// listing the values of every column and running queries of every mask on
// every column, alone (by the walk and by the exact search) and joined,
// with a result view on top.
//
// Input: a control byte (bit 0: put the table's true stamp into bytes 1 to 4
// of the sidecar, so that the rest of it is looked at; bit 1: open the
// scrambled form of the table; bits 2-4: the column searched with every
// mask; bits 5-7: which search values), then the sidecar's bytes.
//
// What must hold whatever the sidecar: no operation crashes, loops without
// end or allocates beyond what the files justify; failures are results or
// the platform's exceptions. A walk over the values of a column gives each
// value once, so it ends within the number of entries the file can hold.
#include <string>

#include "frame/lorn_defs.h"
#include "frame/settings.h"
#include "fuzz/fuzz_util.h"
#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "query/query_std.h"
#include "query/result_std.h"
#include "table/cat_std.h"

namespace {

using lorn_fuzz::CInput;
using lorn_fuzz::WorkFile;

constexpr short ROWS_READ = 40;
constexpr short SET_ROWS_READ = 64;

const BYTE s_arMasks[] = {CRIT_EQUAL,
                          CRIT_LESS,
                          CRIT_LESS | CRIT_EQUAL,
                          CRIT_GREATER,
                          CRIT_GREATER | CRIT_EQUAL,
                          CRIT_DIFFERENT,
                          CRIT_DIFFERENT | CRIT_EQUAL,
                          0,
                          0xFF};

// Search values, by column of the sample table and by choice.
const char* const s_arValues[4][5] = {
    {"A1", "a*", "A1?", "", "Z"},
    {"5", "-12", "0", "abc", "2147483648"},
    {"1.5", "2", "-4.75", "1e308", "."},
    {"red", "R*", "bl?e", "", "\xE9t\xE9"},
};

DWORD SampleStamp() {
  static DWORD s_tStamp = 0;
  static bool s_bKnown = false;
  if (!s_bKnown) {
    lorn_fuzz::RemoveFile(WorkFile("T.SDX"));
    CCatStd table;
    LORN_FUZZ_CHECK(table.Open(WorkFile("T.TXT").c_str()));
    s_tStamp = table.m_tStamp;
    s_bKnown = true;
  }
  return s_tStamp;
}

void ReadRows(CCatStd& table, size_t nSideLen) {
  const DWORD nRows = table.GetRowCount();
  CStringArray arCells;
  DWORD nLen = 0;
  for (DWORD nRow = 0; nRow < nRows && nRow < static_cast<DWORD>(ROWS_READ); ++nRow) {
    table.ReadRow(nRow, arCells);
    LORN_FUZZ_CHECK(arCells.GetSize() == table.GetColCount() || arCells.GetSize() == 0);
    table.GetRowPos(nRow, &nLen);
  }
  const DWORD arFar[] = {nRows - 2, nRows - 1, nRows, 0xFFFFFFFF};
  for (DWORD nRow : arFar) {
    table.ReadRow(nRow, arCells);
    table.GetRowPos(nRow, &nLen);
    table.GetRowPos(nRow, nullptr);
  }
  for (short nCol = 0; nCol <= table.GetColCount(); ++nCol) {
    CString strValue;
    size_t nValues = 0;
    const size_t nBound = nSideLen + lorn_fuzz::SampleTable().size();
    for (BOOL bFirst = TRUE; table.NextColValue(static_cast<WORD>(nCol), strValue, bFirst);
         bFirst = FALSE) {
      LORN_FUZZ_CHECK(++nValues <= nBound);
    }
  }
}

void ReadSet(CSetStd& set) {
  const WORD nCount = set.GetCount();
  CStringArray arCells;
  for (short nIndex = 0; nIndex < static_cast<short>(nCount) && nIndex < SET_ROWS_READ; ++nIndex) {
    set.GetRowAt(nIndex);
    set.GetRowCells(nIndex, &arCells);
  }
  set.GetRowAt(-1);
  set.GetRowCells(static_cast<short>(nCount), &arCells);
}

void RunQueries(CCatStd& table, WORD nCol, BYTE nChoice) {
  const char* pszValue = s_arValues[nCol % 4][nChoice % 5];
  for (BOOL bExact : {FALSE, TRUE}) {
    SetExactSearch(bExact);
    for (BYTE nMask : s_arMasks) {
      CQueryStd query(&table);
      query.AddCriteria(nCol, nMask, pszValue);
      ReadSet(query);
    }
  }
  SetExactSearch(FALSE);
  // Two criteria joined each way, a query on a query and a view on top.
  for (BYTE cOp : {CRIT_AND, CRIT_OR}) {
    CQueryStd query(&table);
    query.AddCriteria(1, CRIT_GREATER | CRIT_EQUAL, s_arValues[1][nChoice % 5]);
    query.AddOperator(cOp);
    query.AddCriteria(3, CRIT_EQUAL, s_arValues[3][nChoice % 5]);
    CQueryStd refined(&query);
    refined.AddCriteria(2, CRIT_LESS, s_arValues[2][nChoice % 5]);
    CStringArray arNames;
    arNames.Add("COLOR");
    arNames.Add("NAME");
    CResultStd result(&refined, &arNames);
    ReadSet(result);
    ReadSet(query);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  lorn_fuzz::WriteSampleFiles();
  const DWORD tStamp = SampleStamp();
  CInput input(pData, nSize);
  const BYTE nControl = input.Byte();
  std::string strSide = input.Rest();
  if ((nControl & 1) != 0 && strSide.size() >= 5) {
    for (int i = 0; i < 4; ++i) {
      strSide[1 + i] = static_cast<char>(tStamp >> (8 * i));
    }
  }
  lorn_fuzz::PutFile(WorkFile("T.SDX"), strSide);
  const std::string strPath = WorkFile((nControl & 2) != 0 ? "T.SDC" : "T.TXT");

  try {
    CCatStd table;
    if (!table.Open(strPath.c_str())) {
      return 0;
    }
    // A sidecar that Open dropped is built anew from the table like any
    // missing one; the unit tests cover that. Only one that was taken as
    // valid has its content looked at further.
    if (!table.IsIndexed()) {
      LORN_FUZZ_CHECK(!lorn_fuzz::FileExists(WorkFile("T.SDX")));
      return 0;
    }
    ReadRows(table, strSide.size());
    RunQueries(table, static_cast<WORD>((nControl >> 2) & 7), static_cast<BYTE>(nControl >> 5));
    // The sidecar as the run left it serves a table opened afresh.
    CCatStd again(strPath.c_str());
    ReadRows(again, strSide.size());
  } catch (const CFileException&) {
  } catch (const CArchiveException&) {
  } catch (const CInvalidArgException&) {
  }
  return 0;
}
