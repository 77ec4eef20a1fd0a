#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/ctype_locale.h"
#include "table/cat_internal.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

std::string Locale(CCatStd& table) {
  CString strLocale;
  return table.GetLocale(strLocale);
}

}  // namespace

TEST(CatStd, ViewSlotsAndTheSharedBuffer) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\n1\n");
  const short nBefore = CCatStd::s_nInstances;
  {
    // Chained to no master and opened later, it reads all the same.
    CCatStd table(static_cast<CCatStd*>(nullptr));
    EXPECT_TRUE(table.Open(dir.File("T.TXT").c_str()));
    EXPECT_EQ(CCatStd::s_nInstances, nBefore + 1);
  }
  // The last object frees the buffer.
  EXPECT_EQ(CCatStd::s_nInstances, nBefore);
  if (nBefore == 0) {
    EXPECT_EQ(CCatStd::s_pBuffer, nullptr);
  }

  CCatStd root(dir.File("T.TXT").c_str());
  auto* pView0 = new CCatStd(&root);
  auto* pView1 = new CCatStd(&root);
  auto* pView2 = new CCatStd(&root);
  EXPECT_EQ(pView2->m_nViewSlot, 2);
  EXPECT_EQ(pView1->GetColCount(), 1);
  delete pView1;
  EXPECT_EQ(root.m_arViews.GetSize(), 3);
  delete pView2;
  EXPECT_EQ(root.m_arViews.GetSize(), 1);
  CCatStd view(&root);
  EXPECT_EQ(view.m_nViewSlot, 1);
  EXPECT_TRUE(view.SetMaster(&root));
  EXPECT_FALSE(root.SetMaster(&view));  // a chain without a root is refused
  EXPECT_FALSE(view.SetMaster(nullptr));
  EXPECT_EQ(view.m_nViewSlot, 0xFFFF);
  delete pView0;
  EXPECT_EQ(root.m_arViews.GetSize(), 0);
  EXPECT_TRUE(root.IsOpen());
}

TEST(CatStd, ViewsTakeOverFromADestroyedRoot) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\tB\n1\t2\n");
  auto* pRoot = new CCatStd(dir.File("T.TXT").c_str());
  pRoot->m_arColFlags[1] = 0x30;
  pRoot->m_arColTypes[1] = 4;
  pRoot->m_arColSizes[1] = 9;
  CCatStd view1(pRoot);
  CCatStd view2(pRoot);
  CCatStd deep(&view2);
  delete pRoot;
  for (CCatStd* pView : {&view1, &view2}) {
    EXPECT_TRUE(pView->m_bOpen);
    EXPECT_EQ(pView->m_strName, "T.TXT");
    EXPECT_EQ(
        (std::vector<int>{pView->m_arColFlags[1], pView->m_arColTypes[1], pView->m_arColSizes[1]}),
        (std::vector<int>{0x30, 4, 9}));
  }
  EXPECT_EQ(deep.GetMaster(), &view2);  // the middle view is the new root
  // A middle view that goes hands its views up to its own master.
  auto* pMiddle = new CCatStd(&view1);
  CCatStd leaf(pMiddle);
  delete pMiddle;
  EXPECT_EQ(leaf.GetMaster(), &view1);
}

TEST(CatStd, Locales) {
  TempDir dir;
  WriteFile(dir.File("ART.TXT"), "A\n");
  CCatStd root(dir.File("ART.TXT").c_str());
  CCatStd view(&root);
  EXPECT_TRUE(root.SetLocale("fra"));
  EXPECT_TRUE(root.SetLocale("FRA"));  // the same, whatever the case
  EXPECT_FALSE(root.SetLocale("nosuch"));
  EXPECT_EQ(root.m_strSideName, "ART.SDX|fra");
  // A view has a locale only when it is given one, behind the root's path.
  EXPECT_EQ(Locale(view), "");
  EXPECT_TRUE(view.SetLocale("deu"));
  EXPECT_EQ(std::string(view.m_strSideName), dir.File("ART.SDX") + "|deu");
  EXPECT_EQ(Locale(view) + Locale(root), "deufra");
  CString strSide;
  view.GetSidePath(strSide, FALSE);
  EXPECT_EQ(std::string(strSide), dir.File("ART.SDX"));

  const CString strBefore = SetCtypeLocale(nullptr);
  EXPECT_TRUE(IsLocaleValid("jpn.932"));
  EXPECT_FALSE(IsLocaleValid("jpn.9320"));  // 8 bytes
  EXPECT_FALSE(IsLocaleValid(nullptr));
  EXPECT_EQ(CString(SetCtypeLocale(nullptr)), strBefore);
}
