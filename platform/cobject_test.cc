#include "platform/cobject.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

class CTestBase : public CObject {
  DECLARE_SERIAL(CTestBase)
 public:
  CTestBase() = default;
  int m_nValue = 17;
};

class CTestDerived : public CTestBase {
  DECLARE_DYNAMIC(CTestDerived)
};

class CTestCreatable : public CObject {
  DECLARE_DYNCREATE(CTestCreatable)
};

}  // namespace

IMPLEMENT_SERIAL(CTestBase, CObject, 3)
IMPLEMENT_DYNAMIC(CTestDerived, CTestBase)
IMPLEMENT_DYNCREATE(CTestCreatable, CObject)

namespace {

TEST(CRuntimeClass, DerivationNamesAndCreation) {
  const CRuntimeClass* pBase = RUNTIME_CLASS(CTestBase);
  const CRuntimeClass* pDerived = RUNTIME_CLASS(CTestDerived);
  EXPECT_TRUE(pDerived->IsDerivedFrom(pBase));
  EXPECT_TRUE(pDerived->IsDerivedFrom(RUNTIME_CLASS(CObject)));
  EXPECT_TRUE(pBase->IsDerivedFrom(pBase));
  EXPECT_FALSE(pBase->IsDerivedFrom(pDerived));
  EXPECT_FALSE(pBase->IsDerivedFrom(RUNTIME_CLASS(CTestCreatable)));
  EXPECT_FALSE(pBase->IsDerivedFrom(nullptr));

  CTestDerived derived;
  const CObject& object = derived;
  EXPECT_EQ(pDerived, object.GetRuntimeClass());
  EXPECT_TRUE(object.IsKindOf(pBase));
  EXPECT_FALSE(object.IsKindOf(RUNTIME_CLASS(CTestCreatable)));
  EXPECT_FALSE(object.IsSerializable());  // a dynamic record has no schema
  EXPECT_TRUE(CTestBase().IsSerializable());

  EXPECT_EQ(RUNTIME_CLASS(CTestBase), CRuntimeClass::FromName("CTestBase"));
  EXPECT_EQ(RUNTIME_CLASS(CObject), CRuntimeClass::FromName("CObject"));
  EXPECT_EQ(nullptr, CRuntimeClass::FromName("CTestBas"));
  EXPECT_EQ(nullptr, CRuntimeClass::FromName("ctestbase"));
  EXPECT_EQ(nullptr, CRuntimeClass::FromName(nullptr));

  std::unique_ptr<CObject> pObject(CRuntimeClass::FromName("CTestBase")->CreateObject());
  ASSERT_NE(nullptr, pObject);
  ASSERT_EQ(RUNTIME_CLASS(CTestBase), pObject->GetRuntimeClass());
  EXPECT_EQ(17, static_cast<CTestBase*>(pObject.get())->m_nValue);

  std::unique_ptr<CObject> pCreated(RUNTIME_CLASS(CTestCreatable)->CreateObject());
  ASSERT_NE(nullptr, pCreated);
  EXPECT_TRUE(pCreated->IsKindOf(RUNTIME_CLASS(CTestCreatable)));
  EXPECT_FALSE(pCreated->IsSerializable());
  EXPECT_EQ(nullptr, RUNTIME_CLASS(CTestDerived)->CreateObject());
  EXPECT_EQ(nullptr, RUNTIME_CLASS(CObject)->CreateObject());
}

}  // namespace
