// Queries and result views stored in archives and loaded again.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/carchive.h"
#include "platform/cfile.h"
#include "query/query_std.h"
#include "query/query_test_util.h"
#include "query/result_std.h"
#include "testing/test_util.h"

namespace {

using lorn_test::MakeTable;
using lorn_test::Rows;

std::string Str(const std::string& text) {  // short archive string
  return std::string(1, static_cast<char>(text.size())) + text;
}
std::string Word(unsigned n) {
  return {static_cast<char>(n & 0xFF), static_cast<char>(n >> 8)};
}
std::string DWord(unsigned n) {
  return Word(n & 0xFFFF) + Word(n >> 16);
}

class QueryArchiveTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = dir_.File("ART.TXT");
    lorn_test::WriteFile(
        path_,
        MakeTable(
            {{"REF", "COLOR"}, {"A1", "red"}, {"A2", "blue*red"}, {"A3", "green"}, {"A4", "red"}}));
  }

  template <class T>
  void Store(T* pObject, const std::string& archivePath) {
    CFile file;
    ASSERT_TRUE(file.Open(archivePath.c_str(), CFile::modeCreate | CFile::modeReadWrite));
    CArchive ar(&file, CArchive::store);
    ar << static_cast<const CObject*>(pObject);
    ar.Close();
  }

  template <class T>
  std::unique_ptr<T> Load(const std::string& archivePath) {
    CFile file(archivePath.c_str(), CFile::modeRead);
    CArchive ar(&file, CArchive::load);
    T* pLoaded = nullptr;
    ar >> pLoaded;
    return std::unique_ptr<T>(pLoaded);
  }

  lorn_test::TempDir dir_;
  std::string path_;
};

TEST_F(QueryArchiveTest, QueryStoresItsLinkRowsAndDefinition) {
  CQueryStd query(path_.c_str());
  query.AddCriteria(1, CRIT_EQUAL, "red");
  query.AddOperator(CRIT_OR);
  query.AddCriteria(0, CRIT_EQUAL, "a3");
  ASSERT_EQ(Rows(query.GetRows()), (std::vector<DWORD>{0, 1, 2, 3}));

  std::string archive = dir_.File("query.bin");
  Store(&query, archive);
  std::string want = Word(0xFFFF) + Word(0) + Word(9) + "CQueryStd" + "\x01" + Word(1) +
                     Str(dir_.path() + "/") + Str("ART.TXT") +
                     // the set: version, done, no restriction, rows
                     "\x01" + Word(1) + Word(0) + Word(1) + Word(4) + DWord(0) + DWord(1) +
                     DWord(2) + DWord(3) +
                     // the query: version, two criteria, connectors
                     "\x01" + Word(2) + Word(1) + "\x01" + Str("RED") + Word(0) + "\x01" +
                     Str("A3") + Word(1) + "|";
  EXPECT_EQ(lorn_test::ReadFile(archive), want);

  auto pLoaded = Load<CQueryStd>(archive);
  ASSERT_NE(pLoaded, nullptr);
  EXPECT_TRUE(pLoaded->IsOpen());
  EXPECT_EQ(pLoaded->GetCriteriaCount(), 2);
  // AddCriteria of the records cleared the done flag: the query runs again
  // and finds the same rows.
  EXPECT_FALSE(pLoaded->m_bDone);
  EXPECT_EQ(Rows(pLoaded->GetRows()), (std::vector<DWORD>{0, 1, 2, 3}));
  EXPECT_EQ(pLoaded->m_arOperators.GetSize(), 1);
  EXPECT_THROW(Load<CResultStd>(archive), CArchiveException);  // not the class stored
}

TEST_F(QueryArchiveTest, ViewOnQueryTravelsWithItsMaster) {
  CQueryStd query(path_.c_str());
  query.AddCriteria(1, CRIT_EQUAL, "red");
  CStringArray arNames;
  arNames.Add("COLOR");
  CResultStd view(&query, &arNames);
  ASSERT_EQ(view.GetCount(), 2);  // red and blue*red

  std::string archive = dir_.File("view.bin");
  Store(&view, archive);
  std::string bytes = lorn_test::ReadFile(archive);
  // The view's class first, then its master, a new object of a new class.
  EXPECT_EQ(bytes.substr(0, 16), Word(0xFFFF) + Word(0) + Word(10) + "CResultStd");
  EXPECT_EQ(bytes.substr(16, 3), "\x01" + Word(0));  // version, not open
  EXPECT_EQ(bytes.substr(19, 15), Word(0xFFFF) + Word(0) + Word(9) + "CQueryStd");
  // The view's own fields close the archive: version 1, one column, 1.
  EXPECT_EQ(bytes.substr(bytes.size() - 4), "\x01" + Word(1) + "\x01");

  // The master the archive made goes with the last view.
  auto pLoaded = Load<CResultStd>(archive);
  ASSERT_NE(pLoaded, nullptr);
  ASSERT_NE(pLoaded->GetMasterSet(), nullptr);
  EXPECT_EQ(pLoaded->m_arCols.GetSize(), 1);
  EXPECT_EQ(pLoaded->GetCount(), 2);
  CStringArray arCells;
  ASSERT_TRUE(pLoaded->GetRowCells(1, &arCells));
  EXPECT_STREQ(arCells[0], "blue*red");
}

}  // namespace
