#include "platform/collections.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<DWORD> Elements(const CDWordArray& ar) {
  return std::vector<DWORD>(ar.GetData(), ar.GetData() + ar.GetSize());
}

CDWordArray* MakeArray(CDWordArray& ar, std::initializer_list<DWORD> values) {
  ar.RemoveAll();
  for (DWORD dw : values) {
    ar.Add(dw);
  }
  return &ar;
}

TEST(CElementArray, EveryAccessorChecksBounds) {
  CWordArray ar;
  EXPECT_THROW(ar.GetAt(0), CInvalidArgException);
  ar.Add(7);
  ar.Add(8);
  const CWordArray& arConst = ar;
  for (INT_PTR nBad : {INT_PTR(-1), INT_PTR(2)}) {
    EXPECT_THROW(ar.GetAt(nBad), CInvalidArgException);
    EXPECT_THROW(ar.SetAt(nBad, 1), CInvalidArgException);
    EXPECT_THROW(ar.ElementAt(nBad), CInvalidArgException);
    EXPECT_THROW(arConst.ElementAt(nBad), CInvalidArgException);
    EXPECT_THROW(ar[nBad], CInvalidArgException);
    EXPECT_THROW(arConst[nBad], CInvalidArgException);
  }
  EXPECT_THROW(ar.SetSize(-1), CInvalidArgException);
  EXPECT_THROW(ar.SetAtGrow(-1, 1), CInvalidArgException);
  EXPECT_THROW(ar.InsertAt(-1, 1), CInvalidArgException);
  EXPECT_THROW(ar.InsertAt(0, 1, 0), CInvalidArgException);
  EXPECT_THROW(ar.InsertAt(0, nullptr), CInvalidArgException);
  EXPECT_THROW(ar.RemoveAt(-1), CInvalidArgException);
  EXPECT_THROW(ar.RemoveAt(2), CInvalidArgException);
  EXPECT_THROW(ar.RemoveAt(1, 2), CInvalidArgException);
  EXPECT_THROW(ar.RemoveAt(0, -1), CInvalidArgException);
  // Nothing above changed the array.
  ASSERT_EQ(2, ar.GetSize());
  EXPECT_EQ(7, ar[0]);
  EXPECT_EQ(8, arConst.GetAt(1));
  ar.ElementAt(1) = 9;
  EXPECT_EQ(9, ar.GetData()[1]);
  ar.RemoveAt(2, 0);  // an empty range at the end is allowed
  EXPECT_EQ(2, ar.GetSize());
}

TEST(CElementArray, SizeAndGrowth) {
  CDWordArray ar;
  EXPECT_TRUE(ar.IsEmpty());
  EXPECT_EQ(-1, ar.GetUpperBound());
  EXPECT_EQ(nullptr, ar.GetData());
  ar.SetSize(3);
  EXPECT_EQ((std::vector<DWORD>{0, 0, 0}), Elements(ar));
  ar.SetAt(2, 5);
  ar.SetAtGrow(5, 9);
  EXPECT_EQ((std::vector<DWORD>{0, 0, 5, 0, 0, 9}), Elements(ar));
  EXPECT_EQ(5, ar.GetUpperBound());
  ar.SetSize(2);
  ar.SetSize(4, 16);
  EXPECT_EQ((std::vector<DWORD>{0, 0, 0, 0}), Elements(ar));
  ar.FreeExtra();
  EXPECT_EQ(4, ar.GetCount());
  ar.RemoveAll();
  EXPECT_TRUE(ar.IsEmpty());

  EXPECT_EQ(0, ar.Add(1));
  EXPECT_EQ(1, ar.Add(ar[0]));
  ar.SetAtGrow(3, ar[1]);
  EXPECT_EQ((std::vector<DWORD>{1, 1, 0, 1}), Elements(ar));
}

TEST(CElementArray, InsertRemoveAppendAndCopy) {
  CDWordArray ar;
  MakeArray(ar, {1, 2, 3});
  ar.InsertAt(1, 7, 2);
  EXPECT_EQ((std::vector<DWORD>{1, 7, 7, 2, 3}), Elements(ar));
  ar.InsertAt(5, 8);  // at the end
  ar.InsertAt(8, 9);  // beyond: grows with zeros first
  EXPECT_EQ((std::vector<DWORD>{1, 7, 7, 2, 3, 8, 0, 0, 9}), Elements(ar));
  ar.InsertAt(0, ar[8]);
  EXPECT_EQ(9u, ar[0]);
  ar.RemoveAt(0);
  ar.RemoveAt(5, 4);
  EXPECT_EQ((std::vector<DWORD>{1, 7, 7, 2, 3}), Elements(ar));
  ar.RemoveAt(1, 2);
  EXPECT_EQ((std::vector<DWORD>{1, 2, 3}), Elements(ar));

  CDWordArray arOther;
  MakeArray(arOther, {5, 6});
  ar.InsertAt(1, &arOther);
  EXPECT_EQ((std::vector<DWORD>{1, 5, 6, 2, 3}), Elements(ar));
  ar.InsertAt(7, &arOther);
  EXPECT_EQ((std::vector<DWORD>{1, 5, 6, 2, 3, 0, 0, 5, 6}), Elements(ar));
  MakeArray(ar, {1, 2});
  ar.InsertAt(1, &ar);
  EXPECT_EQ((std::vector<DWORD>{1, 1, 2, 2}), Elements(ar));
  arOther.RemoveAll();
  ar.InsertAt(9, &arOther);  // nothing to insert, no growth
  EXPECT_EQ(4, ar.GetSize());

  // Appending and copying, the array itself included.
  MakeArray(ar, {1, 2});
  MakeArray(arOther, {3});
  EXPECT_EQ(2, ar.Append(arOther));
  EXPECT_EQ(3, ar.Append(ar));
  EXPECT_EQ((std::vector<DWORD>{1, 2, 3, 1, 2, 3}), Elements(ar));
  ar.Copy(arOther);
  EXPECT_EQ((std::vector<DWORD>{3}), Elements(ar));
  ar.Copy(ar);
  EXPECT_EQ((std::vector<DWORD>{3}), Elements(ar));
}

TEST(CElementArray, StringAndPointerElements) {
  CStringArray arStrings;
  arStrings.Add("one");
  arStrings.SetAtGrow(2, CString("three"));
  EXPECT_TRUE(arStrings[1].IsEmpty());
  arStrings[1] = "two";
  arStrings.InsertAt(0, arStrings[2]);
  EXPECT_EQ(arStrings[0], "three");
  EXPECT_EQ(arStrings[2], "two");
  EXPECT_EQ(4, arStrings.GetSize());

  CObArray arObjects;
  CStringArray arPointed;
  arObjects.SetSize(2);
  EXPECT_EQ(nullptr, arObjects[1]);
  arObjects.SetAt(1, &arPointed);
  EXPECT_EQ(&arPointed, arObjects.GetAt(1));
  arObjects.RemoveAll();  // does not delete arPointed
  EXPECT_EQ(0, arPointed.Add("still alive"));
}

TEST(CMapStringToPtr, LookupSetRemove) {
  CMapStringToPtr map;
  int a = 0;
  int b = 0;
  void* pValue = &b;
  EXPECT_FALSE(map.Lookup("A", pValue));
  EXPECT_EQ(&b, pValue);
  map.SetAt("A", &a);
  map["B"] = &b;
  EXPECT_EQ(2, map.GetCount());
  EXPECT_TRUE(map.Lookup("A", pValue));
  EXPECT_EQ(&a, pValue);
  EXPECT_FALSE(map.Lookup("a", pValue));  // keys are exact bytes
  EXPECT_EQ(nullptr, map["C"]);           // added with a null value
  EXPECT_EQ(3, map.GetSize());
  map.SetAt("A", &b);
  EXPECT_EQ(&b, map["A"]);
  EXPECT_TRUE(map.RemoveKey("A"));
  EXPECT_FALSE(map.RemoveKey("A"));
  EXPECT_FALSE(map.Lookup("A", pValue));
  map.RemoveAll();
  EXPECT_TRUE(map.IsEmpty());
}

}  // namespace
