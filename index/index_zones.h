// The four zones of an index in the shared numbering of its entries, and the
// binary search over the zone of values or the zone of ranges by high bound.
// Used by the walk and by the exact search.
#ifndef LORN_INDEX_INDEX_ZONES_H_
#define LORN_INDEX_INDEX_ZONES_H_

#include "frame/compare_fn.h"
#include "index/column_index.h"
#include "index/entry_cache.h"
#include "index/entry_codec.h"
#include "platform/types.h"

struct CZoneBounds {
  DWORD nAny;     // W: first entry of zone 1
  DWORD nRanges;  // E1: first entry of zone 2
  DWORD nByHigh;  // E2: first entry of zone 3
  DWORD nEnd;     // E3
};

inline CZoneBounds BoundsOf(const CIndex& index) {
  CZoneBounds bounds;
  bounds.nAny = index.m_nAnyCount;
  bounds.nRanges = bounds.nAny + index.m_nValueCount;
  bounds.nByHigh = bounds.nRanges + index.m_nRangeCount;
  bounds.nEnd = bounds.nByHigh + index.m_nRangeCount;
  return bounds;
}

// Binary search with pfnCompare over zone 1 (bZoneByHigh FALSE) or zone 3
// (TRUE); the position relative to the zone at which pKey stands or would be
// inserted, with bFirst the lowest equal one.
inline DWORD FindInZone(CIndex& index, const void* pKey, BOOL bZoneByHigh, PFN_COMPARE pfnCompare,
                        BOOL bFirst) {
  DWORD nPos = index.m_nDataPos + 4 * index.m_nAnyCount;
  DWORD nCount = index.m_nValueCount;
  WORD nEntrySize = ValueEntrySize(index.m_nKeySize);
  if (bZoneByHigh) {
    nPos += ValueEntrySize(index.m_nKeySize) * index.m_nValueCount +
            RangeEntrySize(index.m_nKeySize) * index.m_nRangeCount;
    nCount = index.m_nRangeCount;
    nEntrySize = RangeEntrySize(index.m_nKeySize);
  }
  return FindInFileCached(*index.m_pCache, index.m_pFile, pKey, nPos, nCount, nEntrySize,
                          pfnCompare, index.m_pEntry, bFirst);
}

#endif  // LORN_INDEX_INDEX_ZONES_H_
