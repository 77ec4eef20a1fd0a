#include <sys/stat.h>

#include <ctime>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/time_zone.h"
#include "query/set_std.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

// The table of rows 0 to 9 but those in arGone, rows of different lengths.
std::string TableWithout(const std::set<DWORD>& arGone) {
  std::string strText = "N\tV\r\n";
  for (DWORD nRow = 0; nRow < 10; ++nRow) {
    if (arGone.count(nRow) == 0) {
      strText.append("R").append(std::to_string(nRow)).append("\t").append(nRow + 1, 'v') += "\r\n";
    }
  }
  return strText;
}

struct CDeletion {
  BOOL bResult;
  std::vector<DWORD> arList;  // the caller's list afterwards
  std::string strFile;
};

CDeletion Delete(const std::vector<DWORD>& arRows) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), TableWithout({}));
  CCatStd table(dir.File("T.TXT").c_str());
  CDWordArray arList;
  for (DWORD nRow : arRows) {
    arList.Add(nRow);
  }
  CDeletion result{table.DeleteRows(arList), {}, ReadFile(dir.File("T.TXT"))};
  for (INT_PTR i = 0; i < arList.GetSize(); ++i) {
    result.arList.push_back(arList[i]);
  }
  EXPECT_TRUE(table.IsOpen());
  if (result.bResult) {
    EXPECT_FALSE(table.IsIndexed() || Exists(dir.File("T.SDX")));
    std::set<DWORD> arGone;
    for (DWORD nRow : arRows) {
      if (nRow < 10) {
        arGone.insert(nRow);
      }
    }
    EXPECT_EQ(table.GetRowCount(), 10 - arGone.size());
  }
  return result;
}

class CTestSet : public CSetStd {
 public:
  explicit CTestSet(CCatStd* pMaster) : CSetStd(pMaster) {}
  BOOL Run() override { return m_bDone = TRUE; }
};

}  // namespace

TEST(DeleteRows, MovesTheKeptRowsDown) {
  EXPECT_EQ(Delete({9}).strFile, TableWithout({9}));
  EXPECT_EQ(Delete({3, 4, 5}).strFile, TableWithout({3, 4, 5}));
  EXPECT_EQ(Delete({5, 2}).strFile, TableWithout({2, 5}));
  EXPECT_EQ(Delete({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}).strFile, "N\tV\r\n");

  // Any order; a row given twice goes once; numbers beyond the table are
  // passed over. The list comes back sorted.
  const CDeletion mixed = Delete({12, 4, 7, 4, 0});
  EXPECT_TRUE(mixed.bResult);
  EXPECT_EQ(mixed.strFile, TableWithout({0, 4, 7}));
  EXPECT_EQ(mixed.arList, (std::vector<DWORD>{0, 4, 7, 12}));

  const CDeletion outside = Delete({11, 10});
  EXPECT_FALSE(outside.bResult);
  EXPECT_EQ(outside.strFile, TableWithout({}));
  EXPECT_EQ(outside.arList, (std::vector<DWORD>{10, 11}));
  EXPECT_FALSE(Delete({}).bResult);
}

TEST(DeleteRows, SetsOnTheTableRunAgain) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), TableWithout({}));
  // Hours apart count as one time: the stamp alone would not tell the change.
  lorn_test::SetMTime(dir.File("T.TXT"), std::time(nullptr) + 7200);
  CCatStd table(dir.File("T.TXT").c_str());
  CTestSet set(&table);
  CCatStd view(&table);
  ASSERT_TRUE(set.Run());
  CDWordArray arRows;
  arRows.Add(1);
  ASSERT_TRUE(table.DeleteRows(arRows));
  EXPECT_FALSE(set.m_bDone);
  EXPECT_EQ(table.m_tStamp,
            static_cast<DWORD>(lorn_test::GetMTime(dir.File("T.TXT")) - GetTimeZoneBias()));
  EXPECT_EQ(view.GetMaster(), &table);
  EXPECT_EQ(view.GetRowCount(), 9u);
}

TEST(DeleteRows, LeavesFilesItCannotMoveAlone) {
  TempDir dir;
  CDWordArray arRows;
  arRows.Add(0);
  // A scrambled file: a moved line would no longer read with its new key.
  WriteFile(dir.File("S.SDC"), "M\tU\r\n0\t/\r\n0\t/\r\n");
  CCatStd scrambled(dir.File("S.SDC").c_str());
  EXPECT_FALSE(scrambled.DeleteRows(arRows));
  EXPECT_EQ(ReadFile(dir.File("S.SDC")), "M\tU\r\n0\t/\r\n0\t/\r\n");

  // A read-only file: the table goes on reading it.
  WriteFile(dir.File("T.TXT"), TableWithout({}));
  ASSERT_EQ(chmod(dir.File("T.TXT").c_str(), 0444), 0);
  CCatStd table(dir.File("T.TXT").c_str());
  EXPECT_FALSE(table.DeleteRows(arRows));
  EXPECT_TRUE(table.IsOpen());
  EXPECT_EQ(ReadFile(dir.File("T.TXT")), TableWithout({}));
  CStringArray arRow;
  EXPECT_TRUE(table.ReadRow(0, arRow));
}
