#include "frame/sort_arrays.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using Values = std::vector<DWORD>;

template <class ARRAY, class TYPE>
void Fill(ARRAY& array, const std::vector<TYPE>& arValues) {
  array.RemoveAll();
  for (TYPE n : arValues) {
    array.Add(n);
  }
}

Values Contents(const CDWordArray& array) {
  return Values(array.GetData(), array.GetData() + array.GetSize());
}

DWORD Find(const Values& ar, DWORD nKey) {
  return BinaryFind(&nKey, ar.data(), static_cast<DWORD>(ar.size()), sizeof(DWORD),
                    CSortDWordArray::CompareDWord);
}

// Union and intersection done step by step, with an insertion or removal
// per entry, as the operations are defined. Their surprising forms: a run
// of other's entries behind the last element is appended whole even when
// unique ({1} with {3, 3} gives {1, 3, 3}), and the tail cut of an
// intersection leaves one element of the last entry's run ({7, 7, 8} with
// {7} gives {7}).
Values StepwiseMerge(Values ar, const Values& arOther, bool bUnique) {
  size_t nPos = 0;
  for (size_t j = 0; j < arOther.size(); ++j) {
    nPos = std::lower_bound(ar.begin() + nPos, ar.end(), arOther[j]) - ar.begin();
    if (nPos == ar.size()) {
      ar.insert(ar.end(), arOther.begin() + j, arOther.end());
      break;
    }
    if (!bUnique || ar[nPos] != arOther[j]) {
      ar.insert(ar.begin() + nPos, arOther[j]);
    }
  }
  return ar;
}

Values StepwiseIntersect(Values ar, const Values& arOther, bool bUnique) {
  if (ar.empty() || arOther.empty()) {
    return {};
  }
  if (arOther.front() > ar.front()) {
    auto it = std::lower_bound(ar.begin(), ar.end(), arOther.front());
    ar.erase(ar.begin(), it);
  }
  if (!ar.empty() && arOther.back() < ar.back()) {
    auto it = std::lower_bound(ar.begin(), ar.end(), arOther.back());
    ar.erase(*it == arOther.back() ? it + 1 : it, ar.end());
  }
  size_t i = 0;
  size_t j = 0;
  while (i < ar.size() && j < arOther.size()) {
    j = std::lower_bound(arOther.begin() + j, arOther.end(), ar[i]) - arOther.begin();
    if (j == arOther.size()) {
      ar.resize(i);
    } else if (ar[i] < arOther[j]) {
      ar.erase(ar.begin() + i);
    } else if (++i, bUnique) {
      while (i < ar.size() && ar[i] == arOther[j]) {
        ar.erase(ar.begin() + i);
      }
      ++j;
    }
  }
  return ar;
}

// The array after Merge, or after Intersect; the size returned is checked.
Values MergeOf(const Values& ar, const Values& arOther, bool bUnique, bool bIntersect = false) {
  CSortDWordArray array;
  CDWordArray other;
  Fill(array, ar);
  Fill(other, arOther);
  const INT_PTR nSize =
      bIntersect ? array.Intersect(&other, bUnique) : array.Merge(&other, bUnique);
  EXPECT_EQ(nSize, array.GetSize());
  return Contents(array);
}

Values IntersectOf(const Values& ar, const Values& arOther, bool bUnique) {
  return MergeOf(ar, arOther, bUnique, true);
}

// A result whose low 16 bits are 0 reads as "equal" in the middle steps.
int CompareScaled(const void* p1, const void* p2) {
  return (*static_cast<const int*>(p1) - *static_cast<const int*>(p2)) * 0x10000;
}

TEST(SortArrays, SearchesGiveTheLowerBound) {
  EXPECT_EQ(Find({1, 2, 2, 2, 3}, 2), 1u);
  EXPECT_EQ(Find({1, 2, 2, 2, 3}, 0), 0u);
  EXPECT_EQ(Find({1, 2, 2, 2, 3}, 4), 5u);
  EXPECT_EQ(Find({2, 2, 2}, 2), 0u);
  EXPECT_EQ(Find({}, 2), 0u);
  const int anValues[] = {1, 2, 3, 4, 5, 6, 7};
  const int nKey = 6;
  EXPECT_EQ(BinaryFind(&nKey, anValues, 7, sizeof(int), CompareScaled), 0u);

  CSortDWordArray array;
  Fill(array, Values{1, 2, 3, 4});
  EXPECT_EQ(array.Find(3, 1), 1);
  Fill(array, Values{2, 4, 4, 8});
  EXPECT_EQ(array.IndexOf(4), 1);
  EXPECT_EQ(array.IndexOf(5), -1);
  EXPECT_EQ(array.IndexOf(9), -1);

  CSortStringArray strings;
  const CString strA("a");
  const CString strB("b");
  EXPECT_EQ(strings.InsertSorted(&strB, FALSE), 0);
  EXPECT_EQ(strings.InsertSorted(&strA, TRUE), 0);
  EXPECT_EQ(strings.InsertSorted(&strB, TRUE), -1);
  EXPECT_EQ(strings.InsertSorted(&strB, FALSE), 1);  // in front of the equal one
}

TEST(SortArrays, AppendInsertsThenSorts) {
  CSortWordArray words;
  CWordArray more;
  Fill(words, std::vector<WORD>{7, 2});
  Fill(more, std::vector<WORD>{65535, 4});
  words.Append(&more);
  EXPECT_EQ(std::vector<WORD>(words.GetData(), words.GetData() + 4),
            (std::vector<WORD>{2, 4, 7, 65535}));
  Fill(more, std::vector<WORD>{3, 3});
  EXPECT_EQ(words.Merge(&more, TRUE), 5);
}

TEST(SortArrays, MergeAndIntersectMatchTheStepwiseAlgorithm) {
  std::mt19937 rng(20240601);
  for (int nRound = 0; nRound < 4000; ++nRound) {
    Values ar(rng() % 9);
    Values arOther(rng() % 9);
    std::generate(ar.begin(), ar.end(), [&rng] { return rng() % 7; });
    std::generate(arOther.begin(), arOther.end(), [&rng] { return rng() % 7; });
    std::sort(ar.begin(), ar.end());
    std::sort(arOther.begin(), arOther.end());
    const bool bUnique = (nRound & 1) != 0;
    ASSERT_EQ(MergeOf(ar, arOther, bUnique), StepwiseMerge(ar, arOther, bUnique)) << nRound;
    ASSERT_EQ(IntersectOf(ar, arOther, bUnique), StepwiseIntersect(ar, arOther, bUnique)) << nRound;
  }
  // A million interleaved rows: one insertion per entry would take minutes.
  Values arEven;
  Values arOdd;
  for (DWORD n = 0; n < 1000000; ++n) {
    (n % 2 == 0 ? arEven : arOdd).push_back(n);
  }
  Values arAll = MergeOf(arEven, arOdd, true);
  ASSERT_EQ(arAll.size(), 1000000u);
  EXPECT_TRUE(std::is_sorted(arAll.begin(), arAll.end()));
  EXPECT_EQ(IntersectOf(arAll, arOdd, true), arOdd);
}

}  // namespace
