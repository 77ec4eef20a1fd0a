#include "index/exact_search.h"

#include <cstring>
#include <string>

#include "frame/locale_scope.h"
#include "frame/lorn_defs.h"
#include "index/index_zones.h"
#include "platform/mbcs.h"

namespace {

constexpr BYTE MASK_BITS = CRIT_EQUAL | CRIT_LESS | CRIT_GREATER;

// The row of the entry in the index's buffer.
void Deliver(const CIndex& index, std::vector<DWORD>& arRows) {
  arRows.push_back(static_cast<DWORD>(index.GetRow()));
}

// Zone 1. Entries ascend by key, and the match function orders every key
// against the search key as the sort does, so the entries that compare
// equal form one block, those below stand before it and those above after
// it. A "?" breaks that order only among the entries that start with what
// stands before it: those form the block instead, and each is tested.
void FindValues(CIndex& index, const CZoneBounds& zones, const void* pKey, BYTE nOp,
                std::vector<DWORD>& arRows) {
  const void* pBlockKey = pKey;
  bool bTestEach = false;
  std::string strPrefix;
  if (index.m_nType == COL_TYPE_STR) {
    const char* pszKey = static_cast<const char*>(pKey);
    const char* pszQuestion =
        IsNamedLocale(index.m_strLocale) ? _mbschr(pszKey, '?') : std::strchr(pszKey, '?');
    if (pszQuestion != nullptr) {
      strPrefix.assign(pszKey, pszQuestion);
      strPrefix += '*';
      pBlockKey = strPrefix.c_str();
      bTestEach = true;
    }
  }
  const DWORD nBlock = zones.nAny + FindInZone(index, pBlockKey, FALSE, index.m_pfnMatch, TRUE);
  if (nOp & CRIT_LESS) {
    for (DWORD n = zones.nAny; n < nBlock; ++n) {
      if (index.ReadValueEntry(n)) {
        Deliver(index, arRows);
      }
    }
  }
  if (!bTestEach && (nOp & (CRIT_EQUAL | CRIT_GREATER)) == 0) {
    return;  // nothing in or behind the block qualifies
  }
  DWORD n = nBlock;
  for (; n < zones.nRanges && index.CompareValue(n, pBlockKey) == 0; ++n) {
    if (bTestEach ? index.TestValue(n, nOp, pKey) != 0 : (nOp & CRIT_EQUAL) != 0) {
      Deliver(index, arRows);
    }
  }
  if (nOp & CRIT_GREATER) {
    for (; n < zones.nRanges; ++n) {
      if (index.ReadValueEntry(n)) {
        Deliver(index, arRows);
      }
    }
  }
}

// Whether range entry n (zone 2 or 3) qualifies; the entry stays in the
// buffer.
bool TestRangeEntry(CIndex& index, const CZoneBounds& zones, DWORD n, const void* pKey, BYTE nOp) {
  if (!index.ReadRangeEntry(n)) {
    return false;
  }
  const BYTE* pFirst = index.m_pEntry + ENTRY_KEY_OFFSET;
  const BYTE* pSecond = pFirst + index.m_nKeySize;
  const BYTE nFlags = pFirst[2 * index.m_nKeySize];
  const bool bByHigh = n >= zones.nByHigh;
  return RangeQualifies(index.m_pfnCompareKeys, bByHigh ? pSecond : pFirst,
                        bByHigh ? pFirst : pSecond, nFlags, pKey, nOp);
}

// Zones 2 and 3: only the ranges that can qualify are looked at, each one.
void FindRanges(CIndex& index, const CZoneBounds& zones, const void* pKey, BYTE nOp,
                std::vector<DWORD>& arRows) {
  if (nOp & CRIT_LESS) {
    // Zone 2 ascends by low bound; without CRIT_GREATER a range qualifies
    // only with its low bound at or below the key.
    for (DWORD n = zones.nRanges; n < zones.nByHigh; ++n) {
      const bool bHit = TestRangeEntry(index, zones, n, pKey, nOp);
      if (!(nOp & CRIT_GREATER) &&
          CompareSign16(index.m_pfnCompareKeys(index.m_pEntry + ENTRY_KEY_OFFSET, pKey)) > 0) {
        break;
      }
      if (bHit) {
        Deliver(index, arRows);
      }
    }
    return;
  }
  // Under CRIT_EQUAL and CRIT_GREATER a range qualifies only with its high
  // bound at or above the key: zone 3 from the first such range.
  const DWORD nFirst = zones.nByHigh + FindInZone(index, pKey, TRUE, index.m_pfnCompareKeys, TRUE);
  for (DWORD n = nFirst; n < zones.nEnd; ++n) {
    if (TestRangeEntry(index, zones, n, pKey, nOp)) {
      Deliver(index, arRows);
    }
  }
}

}  // namespace

bool RangeQualifies(PFN_COMPARE pfnCompare, const void* pLow, const void* pHigh, BYTE nFlags,
                    const void* pKey, BYTE nOp) {
  const bool bLowIn = (nFlags & RANGE_LOW_OPEN) == 0;
  const bool bHighIn = (nFlags & RANGE_HIGH_OPEN) == 0;
  const int nSpan = CompareSign16(pfnCompare(pLow, pHigh));
  if (nSpan > 0 || (nSpan == 0 && !(bLowIn && bHighIn))) {
    return false;  // no value between the bounds
  }
  const int nLow = CompareSign16(pfnCompare(pLow, pKey));
  const int nHigh = CompareSign16(pfnCompare(pHigh, pKey));
  const bool bHolds = (nLow < 0 || (nLow == 0 && bLowIn)) && (nHigh > 0 || (nHigh == 0 && bHighIn));
  return ((nOp & CRIT_EQUAL) && bHolds) || ((nOp & CRIT_LESS) && nLow < 0) ||
         ((nOp & CRIT_GREATER) && nHigh > 0);
}

void FindExact(CIndex& index, const void* pKey, BYTE nOp, std::vector<DWORD>& arRows) {
  if (index.m_bBuilding || pKey == nullptr || index.m_pEntry == nullptr ||
      index.m_pCache == nullptr) {
    return;
  }
  CLocaleScope scope(index.m_strLocale);
  index.m_pCache->Invalidate();
  const CZoneBounds zones = BoundsOf(index);
  for (DWORD n = 0; n < zones.nAny; ++n) {
    if (index.ReadAnyEntry(n)) {
      Deliver(index, arRows);
    }
  }
  if ((nOp & MASK_BITS) == 0) {
    return;
  }
  if (zones.nRanges > zones.nAny) {
    FindValues(index, zones, pKey, nOp, arRows);
  }
  if (zones.nEnd > zones.nByHigh) {
    FindRanges(index, zones, pKey, nOp, arRows);
  }
}
