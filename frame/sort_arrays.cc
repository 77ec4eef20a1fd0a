#include "frame/sort_arrays.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

// Number of elements from nStart to nSize; none when nStart lies beyond.
DWORD CountFrom(INT_PTR nSize, DWORD nStart) {
  return static_cast<INT_PTR>(nStart) < nSize ? static_cast<DWORD>(nSize - nStart) : 0;
}

template <class TYPE>
const TYPE* ElementsFrom(const TYPE* pData, DWORD nStart, DWORD nCount) {
  return nCount == 0 ? nullptr : pData + nStart;
}

// Replaces the content of an array with arValues.
template <class ARRAY, class TYPE>
void AssignFrom(ARRAY& array, const std::vector<TYPE>& arValues) {
  array.SetSize(static_cast<INT_PTR>(arValues.size()));
  if (!arValues.empty()) {
    std::memcpy(array.GetData(), arValues.data(), arValues.size() * sizeof(TYPE));
  }
}

}  // namespace

DWORD BinaryFind(const void* pKey, const void* pBase, DWORD nCount, short nSize,
                 PFN_COMPARE pfnCompare) {
  if (nCount == 0) {
    return 0;
  }
  const BYTE* pbyBase = static_cast<const BYTE*>(pBase);
  auto elementAt = [pbyBase, nSize](DWORD nIndex) {
    return pbyBase + static_cast<size_t>(nSize) * nIndex;
  };
  // The tests at both ends read the whole result.
  if (pfnCompare(elementAt(0), pKey) >= 0) {
    return 0;
  }
  if (pfnCompare(elementAt(nCount - 1), pKey) < 0) {
    return nCount;
  }
  // nLow stands on an element below the key, nHigh on one that is not; the
  // steps between read only the low 16 bits of the result.
  DWORD nLow = 0;
  DWORD nHigh = nCount - 1;
  DWORD nHalf = nHigh / 2;
  DWORD nMid;
  for (;;) {
    nMid = nLow + nHalf;
    const int nSign = CompareSign16(pfnCompare(elementAt(nMid), pKey));
    if (nSign == 0) {
      break;
    }
    if (nSign > 0) {
      nHigh = nMid;
    } else {
      nLow = nMid;
    }
    nHalf = (nHigh - nLow) / 2;
    if (nHalf == 0) {
      return nHigh;
    }
  }
  // Back to the first of a run of equal elements.
  while (nMid > 0 && CompareSign16(pfnCompare(elementAt(nMid - 1), pKey)) == 0) {
    --nMid;
  }
  return nMid;
}

// ---------------------------------------------------------------------------
// CSortStringArray

CSortStringArray::CSortStringArray() = default;

CSortStringArray::~CSortStringArray() = default;

int CSortStringArray::CompareString(const void* p1, const void* p2) {
  return static_cast<const CString*>(p1)->Compare(*static_cast<const CString*>(p2));
}

void CSortStringArray::Sort() {
  SortArray(this);
}

void CSortStringArray::SortItems() {
  Sort();
}

void CSortStringArray::SortArray(CStringArray* pArray) {
  if (pArray == nullptr || pArray->GetSize() < 2) {
    return;
  }
  CString* pData = pArray->GetData();
  std::sort(pData, pData + pArray->GetSize(),
            [](const CString& str1, const CString& str2) { return str1.Compare(str2) < 0; });
}

INT_PTR CSortStringArray::Find(const CString* pKey, DWORD nStart) {
  const DWORD nCount = CountFrom(GetSize(), nStart);
  return BinaryFind(pKey, ElementsFrom<CString>(GetData(), nStart, nCount), nCount,
                    static_cast<short>(sizeof(CString)), CompareString);
}

INT_PTR CSortStringArray::InsertSorted(const CString* pString, BOOL bUnique) {
  const INT_PTR nPos = Find(pString, 0);
  if (bUnique && nPos < GetSize() && GetAt(nPos).Compare(*pString) == 0) {
    return -1;
  }
  InsertAt(nPos, *pString);
  return nPos;
}

// ---------------------------------------------------------------------------
// CSortWordArray

CSortWordArray::CSortWordArray() = default;

CSortWordArray::~CSortWordArray() = default;

int CSortWordArray::CompareWord(const void* p1, const void* p2) {
  WORD n1;
  WORD n2;
  std::memcpy(&n1, p1, sizeof(n1));
  std::memcpy(&n2, p2, sizeof(n2));
  return static_cast<int>(n1) - static_cast<int>(n2);
}

void CSortWordArray::Sort() {
  if (GetSize() > 1) {
    std::sort(GetData(), GetData() + GetSize());
  }
}

void CSortWordArray::SortItems() {
  Sort();
}

void CSortWordArray::Append(const CWordArray* pArray) {
  if (pArray == nullptr) {
    return;
  }
  InsertAt(0, pArray);
  Sort();
}

INT_PTR CSortWordArray::Find(WORD nKey, DWORD nStart) {
  const DWORD nCount = CountFrom(GetSize(), nStart);
  return BinaryFind(&nKey, ElementsFrom<WORD>(GetData(), nStart, nCount), nCount,
                    static_cast<short>(sizeof(WORD)), CompareWord);
}

INT_PTR CSortWordArray::Merge(const CWordArray* pOther, BOOL bUnique) {
  if (pOther == nullptr) {
    return GetSize();
  }
  // Word arrays hold column numbers: short enough to merge in place, each
  // search starting where the last one ended.
  const std::vector<WORD> arOther(pOther->GetData(), pOther->GetData() + pOther->GetSize());
  INT_PTR nPos = 0;
  for (size_t i = 0; i < arOther.size(); ++i) {
    const WORD nEntry = arOther[i];
    nPos += Find(nEntry, static_cast<DWORD>(nPos));
    if (nPos >= GetSize()) {
      // Everything left lies behind the end: copied as it stands, repeats
      // included.
      for (; i < arOther.size(); ++i) {
        Add(arOther[i]);
      }
      break;
    }
    if (bUnique && GetAt(nPos) == nEntry) {
      continue;
    }
    InsertAt(nPos, nEntry);
  }
  return GetSize();
}

// ---------------------------------------------------------------------------
// CSortDWordArray

CSortDWordArray::CSortDWordArray() = default;

CSortDWordArray::~CSortDWordArray() = default;

int CSortDWordArray::CompareDWord(const void* p1, const void* p2) {
  DWORD n1;
  DWORD n2;
  std::memcpy(&n1, p1, sizeof(n1));
  std::memcpy(&n2, p2, sizeof(n2));
  return n1 > n2 ? 1 : (n1 < n2 ? -1 : 0);
}

void CSortDWordArray::Sort() {
  SortArray(this);
}

void CSortDWordArray::SortItems() {
  Sort();
}

void CSortDWordArray::SortArray(CDWordArray* pArray) {
  if (pArray != nullptr && pArray->GetSize() > 1) {
    std::sort(pArray->GetData(), pArray->GetData() + pArray->GetSize());
  }
}

INT_PTR CSortDWordArray::Find(DWORD nKey, DWORD nStart) {
  const DWORD nCount = CountFrom(GetSize(), nStart);
  return BinaryFind(&nKey, ElementsFrom<DWORD>(GetData(), nStart, nCount), nCount,
                    static_cast<short>(sizeof(DWORD)), CompareDWord);
}

INT_PTR CSortDWordArray::IndexOf(DWORD nValue) {
  const INT_PTR nPos = Find(nValue, 0);
  return nPos < GetSize() && GetAt(nPos) == nValue ? nPos : -1;
}

void CSortDWordArray::Append(const CDWordArray* pArray) {
  if (pArray == nullptr) {
    return;
  }
  InsertAt(0, pArray);
  Sort();
}

// Row lists reach millions of entries, so the union is built in one linear
// pass into a new buffer. It gives exactly what inserting the entries of
// pOther one by one would give: each entry goes in front of the elements
// not below it, unless bUnique is set and an equal element is present
// (entries inserted before included); once an entry lies behind the last
// element, it and all entries after it are appended as they stand.
INT_PTR CSortDWordArray::Merge(const CDWordArray* pOther, BOOL bUnique) {
  if (pOther == nullptr || pOther->IsEmpty()) {
    return GetSize();
  }
  const INT_PTR nThis = GetSize();
  const INT_PTR nOther = pOther->GetSize();
  const DWORD* pThis = GetData();
  const DWORD* pOtherData = pOther->GetData();

  std::vector<DWORD> arResult;
  arResult.reserve(static_cast<size_t>(nThis + nOther));
  INT_PTR i = 0;
  bool bLastFromOther = false;  // the result ends with an inserted entry
  for (INT_PTR j = 0; j < nOther; ++j) {
    const DWORD nEntry = pOtherData[j];
    while (i < nThis && pThis[i] < nEntry) {
      arResult.push_back(pThis[i++]);
      bLastFromOther = false;
    }
    // An inserted entry equal to this one stands right before the search
    // position, and so counts as the element found there.
    const bool bEqualInserted = bLastFromOther && arResult.back() == nEntry;
    if (!bEqualInserted && i == nThis) {
      arResult.insert(arResult.end(), pOtherData + j, pOtherData + nOther);
      break;
    }
    if (bUnique && (bEqualInserted || pThis[i] == nEntry)) {
      continue;
    }
    arResult.push_back(nEntry);
    bLastFromOther = true;
  }
  arResult.insert(arResult.end(), pThis + i, pThis + nThis);
  AssignFrom(*this, arResult);
  return GetSize();
}

// Keeps, in place and in one pass, the elements that stand in pOther (the
// first of each run with bUnique). One more cut comes from the tail: when
// the last entry of pOther is below the last element, everything behind the
// first element equal to that entry goes, so that its run keeps one element.
INT_PTR CSortDWordArray::Intersect(const CDWordArray* pOther, BOOL bUnique) {
  if (pOther == nullptr || IsEmpty() || pOther->IsEmpty()) {
    RemoveAll();
    return 0;
  }
  // The pass writes into this array while it reads pOther.
  const std::vector<DWORD> arSelf =
      pOther == this ? std::vector<DWORD>(GetData(), GetData() + GetSize()) : std::vector<DWORD>();
  const INT_PTR nOther = pOther->GetSize();
  const DWORD* pOtherData = pOther == this ? arSelf.data() : pOther->GetData();
  DWORD* pThis = GetData();
  INT_PTR nEnd = GetSize();

  const DWORD nOtherLast = pOtherData[nOther - 1];
  if (nOtherLast < pThis[nEnd - 1]) {
    INT_PTR nCut = Find(nOtherLast, 0);
    if (pThis[nCut] == nOtherLast) {
      ++nCut;
    }
    nEnd = nCut;
  }

  INT_PTR nKept = 0;
  INT_PTR j = 0;
  for (INT_PTR i = 0; i < nEnd; ++i) {
    const DWORD nValue = pThis[i];
    while (j < nOther && pOtherData[j] < nValue) {
      ++j;
    }
    if (j == nOther) {
      break;
    }
    if (pOtherData[j] != nValue) {
      continue;
    }
    if (bUnique && nKept > 0 && pThis[nKept - 1] == nValue) {
      continue;
    }
    pThis[nKept++] = nValue;
  }
  SetSize(nKept);
  return nKept;
}
