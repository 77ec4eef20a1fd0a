// Arrays kept in ascending order, the one binary search they share, and the
// union and intersection of sorted row lists, done in place. Order is not
// enforced: the base class's operations stay available, and every operation
// here but Sort, SortItems, SortArray and Append expects an ascending array.
// Each class is stored exactly as its base class.
#ifndef LORN_FRAME_SORT_ARRAYS_H_
#define LORN_FRAME_SORT_ARRAYS_H_

#include "frame/compare_fn.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Lower bound: the position of the first of nCount elements of nSize bytes
// from pBase that is not below pKey, or nCount when all are below.
// pfnCompare gets the element first and the key second; the steps in the
// middle read the low 16 bits of its result as a signed number.
LORN_API DWORD BinaryFind(const void* pKey, const void* pBase, DWORD nCount, short nSize,
                          PFN_COMPARE pfnCompare);

class LORN_API CSortStringArray : public CStringArray {
 public:
  CSortStringArray();
  ~CSortStringArray() override;

  // CString::Compare of the first with the second.
  static int CompareString(const void* p1, const void* p2);
  void Sort();
  void SortItems();
  static void SortArray(CStringArray* pArray);
  // Lower bound of *pKey from nStart on, counted from nStart.
  INT_PTR Find(const CString* pKey, DWORD nStart = 0);
  // Inserts in front of equal strings; -1 when bUnique and an equal exists.
  INT_PTR InsertSorted(const CString* pString, BOOL bUnique);
};

class LORN_API CSortWordArray : public CWordArray {
 public:
  CSortWordArray();
  ~CSortWordArray() override;

  // The first less the second, as 32-bit numbers.
  static int CompareWord(const void* p1, const void* p2);
  void Sort();
  void SortItems();
  // Inserts the whole array in front, then sorts.
  void Append(const CWordArray* pArray);
  INT_PTR Find(WORD nKey, DWORD nStart = 0);
  // Union in place; with bUnique an entry equal to an element is not added
  // (the tail copy keeps repeats). Result: the new size.
  INT_PTR Merge(const CWordArray* pOther, BOOL bUnique);
};

class LORN_API CSortDWordArray : public CDWordArray {
 public:
  CSortDWordArray();
  ~CSortDWordArray() override;

  // 1, 0 or -1, unsigned.
  static int CompareDWord(const void* p1, const void* p2);
  void Sort();
  void SortItems();
  static void SortArray(CDWordArray* pArray);
  INT_PTR Find(DWORD nKey, DWORD nStart = 0);
  // Position of the first element equal to nValue, or -1.
  INT_PTR IndexOf(DWORD nValue);
  void Append(const CDWordArray* pArray);
  INT_PTR Merge(const CDWordArray* pOther, BOOL bUnique);
  // Keeps the elements that also stand in pOther. Result: the new size.
  INT_PTR Intersect(const CDWordArray* pOther, BOOL bUnique);
};

#endif  // LORN_FRAME_SORT_ARRAYS_H_
