#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/settings.h"
#include "platform/carchive.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

// A string of fewer than 255 bytes as an archive stores it.
std::string Str(const std::string& strText) {
  return std::string(1, static_cast<char>(strText.size())) + strText;
}

void Store(const std::string& strPath, const std::vector<CCatStd*>& arTables) {
  CFile file(strPath.c_str(), CFile::modeCreate | CFile::modeWrite);
  CArchive ar(&file, CArchive::store);
  for (CCatStd* pTable : arTables) {
    ar.WriteObject(pTable);
  }
  ar.Close();
}

std::vector<CCatStd*> Load(const std::string& strPath, size_t nCount) {
  CFile file(strPath.c_str(), CFile::modeRead);
  CArchive ar(&file, CArchive::load);
  std::vector<CCatStd*> arTables(nCount);
  for (CCatStd*& pTable : arTables) {
    ar >> pTable;
  }
  return arTables;
}

std::string Path(CCatStd* pTable) {
  CString strPath;
  pTable->GetPath(strPath);
  return strPath.GetString();
}

}  // namespace

TEST(CatArchive, StoredForms) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\n");
  WriteFile(dir.File("U.TXT"), "B\n");
  CCatStd table(dir.File("T.TXT").c_str());
  CCatStd other(dir.File("U.TXT").c_str());
  CCatStd closed;
  CCatStd view(&table);
  Store(dir.File("ar"), {&table, &table, &other, &closed, &view});
  const std::string strDir = Str(dir.path() + "/");
  // Class 1, then the objects 2 to 5; the view names its master by number.
  EXPECT_EQ(ReadFile(dir.File("ar")),
            std::string("\xFF\xFF\0\0\x07\0CCatStd\x01\x01\0", 16) + strDir + Str("T.TXT") +
                std::string("\x02\0\x01\x80\x01\x01\0", 7) + strDir + Str("U.TXT") +
                std::string("\x01\x80\x01\0\0\0\0", 7) + std::string("\x01\x80\x01\0\0\x02\0", 7));
}

TEST(CatArchive, LoadedMastersAreSharedAndFreed) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\tB\n");
  const short nInstances = CCatStd::s_nInstances;
  {
    CCatStd table(dir.File("T.TXT").c_str());
    CCatStd view1(&table);
    CCatStd view2(&table);
    CCatStd deep(&view2);
    Store(dir.File("ar"), {&view1, &view2, &table});
    Store(dir.File("deep"), {&deep});
  }
  std::vector<CCatStd*> arLoaded = Load(dir.File("ar"), 2);
  CCatStd* pMaster = arLoaded[0]->GetMaster();
  EXPECT_EQ(arLoaded[1]->GetMaster(), pMaster);
  EXPECT_EQ(Path(arLoaded[1]), dir.File("T.TXT"));
  delete arLoaded[0];
  EXPECT_EQ(pMaster->GetColCount(), 2);  // still there for the other view
  delete arLoaded[1];
  EXPECT_EQ(CCatStd::s_nInstances, nInstances);
  // A chain comes back whole and goes with its last view.
  CCatStd* pDeep = Load(dir.File("deep"), 1)[0];
  EXPECT_TRUE(pDeep->IsOpen());
  delete pDeep;
  EXPECT_EQ(CCatStd::s_nInstances, nInstances);
  // A master that the host extracts itself is the host's.
  arLoaded = Load(dir.File("ar"), 3);
  EXPECT_EQ(arLoaded[2], arLoaded[0]->GetMaster());
  delete arLoaded[0];
  delete arLoaded[1];
  EXPECT_TRUE(arLoaded[2]->IsOpen());
  delete arLoaded[2];
  // One that the host deletes unasked leaves its view a table of its own.
  arLoaded = Load(dir.File("ar"), 1);
  delete arLoaded[0]->GetMaster();
  EXPECT_TRUE(arLoaded[0]->IsOpen());
  delete arLoaded[0];
  EXPECT_EQ(CCatStd::s_nInstances, nInstances);
}

TEST(CatArchive, LoadedTablesOpenWhereTheyCan) {
  TempDir dir;
  TempDir catalog;
  WriteFile(dir.File("T.TXT"), "A\n");
  WriteFile(catalog.File("T.TXT"), "B\tC\n");
  Store(dir.File("ar"), {std::make_unique<CCatStd>(dir.File("T.TXT").c_str()).get()});
  SetCatalogDir(catalog.path().c_str());
  std::unique_ptr<CCatStd> pTable(Load(dir.File("ar"), 1)[0]);
  SetCatalogDir(nullptr);
  EXPECT_EQ(Path(pTable.get()), catalog.File("T.TXT"));
  std::remove(dir.File("T.TXT").c_str());
  pTable.reset(Load(dir.File("ar"), 1)[0]);
  EXPECT_FALSE(pTable->IsOpen());
}

TEST(CatArchive, ChainsOfViewsPastTheLimitAreRefused) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\n");
  CCatStd table(dir.File("T.TXT").c_str());
  // Each view stores its master first: the longest chain that loads, then
  // one more, which neither stores nor loads.
  std::vector<std::unique_ptr<CCatStd>> arViews;
  CCatStd* pLast = &table;
  for (int i = 1; i < CArchive::kMaxObjectDepth; ++i) {
    arViews.push_back(std::make_unique<CCatStd>(pLast));
    pLast = arViews.back().get();
  }
  Store(dir.File("ar"), {pLast});
  std::unique_ptr<CCatStd> pLoaded(Load(dir.File("ar"), 1)[0]);
  EXPECT_EQ(Path(pLoaded.get()), dir.File("T.TXT"));  // through its masters
  pLoaded.reset();
  arViews.push_back(std::make_unique<CCatStd>(pLast));
  EXPECT_THROW(Store(dir.File("ar"), {arViews.back().get()}), CArchiveException);

  // A hostile archive of 40,000 closed tables, each the master of the one
  // before: refused.
  std::string strBytes("\xFF\xFF\0\0\x07\0CCatStd", 13);
  for (int i = 0; i < 40000; ++i) {
    strBytes += (i == 0 ? std::string() : std::string("\x01\x80", 2)) + std::string("\x01\0\0", 3);
  }
  WriteFile(dir.File("ar"), strBytes + std::string(2, '\0'));
  EXPECT_THROW(Load(dir.File("ar"), 1), CArchiveException);
}
