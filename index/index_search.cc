#include <cstdio>

#include "frame/locale_scope.h"
#include "frame/numbers.h"
#include "index/column_index.h"
#include "index/entry_cache.h"
#include "index/entry_codec.h"
#include "index/index_zones.h"

namespace {

// Text of a Real key: 16 significant digits.
CString FormatReal(double dValue) {
  char szText[40];
  std::snprintf(szText, sizeof(szText), "%.16g", dValue);
  return CString(szText);
}

}  // namespace

BOOL CIndex::Find(const void* pKey, BYTE nOp, BOOL bFirst) {
  CLocaleScope scope(m_strLocale);
  return FindStep(pKey, nOp, bFirst);
}

int CIndex::CompareValue(DWORD n, const void* pKey) {
  // A short read leaves what was read in the buffer, and that is compared.
  ReadValueEntry(n);
  return CompareSign16(m_pfnMatch(m_pEntry + ENTRY_KEY_OFFSET, pKey));
}

BOOL CIndex::TestValue(DWORD n, BYTE nOp, const void* pKey) {
  int nCmp = CompareValue(n, pKey);
  if (nCmp == 0) {
    return nOp & CRIT_EQUAL;
  }
  return nCmp < 0 ? nOp & CRIT_LESS : nOp & CRIT_GREATER;
}

BOOL CIndex::TestRange(DWORD n, BYTE nOp, const void* pKey) {
  CZoneBounds bounds = BoundsOf(*this);
  if (n < bounds.nRanges || m_pEntry == nullptr) {
    return FALSE;
  }
  ReadRangeEntry(n);
  const BYTE* pFirst = m_pEntry + ENTRY_KEY_OFFSET;
  const BYTE* pSecond = pFirst + m_nKeySize;
  BYTE nFlags = m_pEntry[ENTRY_KEY_OFFSET + 2 * m_nKeySize];
  BOOL bByHigh = n >= bounds.nByHigh;
  const BYTE* pLow = bByHigh ? pSecond : pFirst;
  const BYTE* pHigh = bByHigh ? pFirst : pSecond;

  int nCmp = CompareSign16(m_pfnCompareKeys(pLow, pKey));
  if (nCmp > 0) {
    return nOp & CRIT_GREATER;
  }
  if (nCmp == 0) {
    if (nFlags & RANGE_LOW_OPEN) {
      return nOp & CRIT_GREATER;
    }
    if (nOp == CRIT_LESS) {
      return FALSE;
    }
  }
  nCmp = CompareSign16(m_pfnCompareKeys(pHigh, pKey));
  if (nCmp < 0) {
    return nOp & CRIT_LESS;
  }
  if (nCmp > 0) {
    return TRUE;
  }
  if (nFlags & RANGE_HIGH_OPEN) {
    return nOp & CRIT_LESS;
  }
  return nOp == CRIT_GREATER ? FALSE : TRUE;
}

BOOL CIndex::FindStep(const void* pKey, BYTE nOp, BOOL bFirst) {
  if (m_bBuilding || pKey == nullptr || m_pEntry == nullptr || m_pCache == nullptr) {
    return FALSE;
  }
  if (bFirst) {
    // A new search reads the sidecar afresh.
    m_pCache->Invalidate();
    m_nCursor = 0;
  } else {
    ++m_nCursor;
  }
  const CZoneBounds bounds = BoundsOf(*this);

  // Zone 0: wildcard rows qualify under every key and mask.
  if (m_nCursor < bounds.nAny) {
    return ReadAnyEntry(m_nCursor);
  }

  BOOL bFresh = bFirst || m_nCursor == bounds.nAny;
  if (m_nCursor == bounds.nRanges) {
    bFresh = TRUE;
  } else if (m_nCursor < bounds.nRanges) {
    // Zone 1.
    if (nOp & CRIT_LESS) {
      // Entries ascend: the first one that fails ends zone 1.
      if (TestValue(m_nCursor, nOp, pKey)) {
        return TRUE;
      }
      m_nCursor = bounds.nRanges;
    } else if (!bFresh) {
      if (TestValue(m_nCursor, nOp, pKey)) {
        return TRUE;
      }
      // Past the last equal entry: zone 3 is walked from its start.
      m_nCursor = bounds.nByHigh;
    } else {
      m_nCursor = bounds.nAny + FindInZone(*this, pKey, FALSE, m_pfnMatch, FALSE);
      if (m_nCursor < bounds.nRanges && CompareValue(m_nCursor, pKey) == 0) {
        if (nOp == CRIT_GREATER) {
          while (m_nCursor < bounds.nRanges && CompareValue(m_nCursor, pKey) == 0) {
            ++m_nCursor;
          }
          if (m_nCursor < bounds.nRanges) {
            return TRUE;  // the first entry above the key is in the buffer
          }
          bFresh = TRUE;
        } else {
          while (m_nCursor > bounds.nAny && CompareValue(m_nCursor - 1, pKey) == 0) {
            --m_nCursor;
          }
          return ReadValueEntry(m_nCursor);
        }
      } else {
        if (nOp != CRIT_EQUAL && m_nCursor != bounds.nRanges) {
          return ReadValueEntry(m_nCursor);  // the first entry above the key
        }
        bFresh = TRUE;
      }
    }
  }

  // Ranges.
  if (m_nCursor >= bounds.nEnd) {
    return FALSE;
  }
  if (nOp & CRIT_LESS) {
    // Zone 2 ascends by low bound: the first range that fails ends the search.
    if (m_nCursor >= bounds.nByHigh) {
      return FALSE;
    }
    return TestRange(m_nCursor, nOp, pKey);
  }
  if (bFresh) {
    // Whatever qualifies under masks 1, 32 and 33 has its high bound at or
    // above the key.
    m_nCursor = bounds.nByHigh + FindInZone(*this, pKey, TRUE, m_pfnMatch, FALSE);
    if (m_nCursor >= bounds.nEnd) {
      return FALSE;
    }
    if (TestRange(m_nCursor, nOp, pKey)) {
      while (m_nCursor > bounds.nByHigh && TestRange(m_nCursor - 1, nOp, pKey)) {
        --m_nCursor;
      }
      return ReadRangeEntry(m_nCursor);
    }
    ++m_nCursor;
  }
  for (; m_nCursor < bounds.nEnd; ++m_nCursor) {
    if (TestRange(m_nCursor, nOp, pKey)) {
      return TRUE;
    }
  }
  return FALSE;
}

LONG CIndex::GetNextValue(CString& strValue, BOOL bFirst) {
  const CZoneBounds bounds = BoundsOf(*this);
  if (m_bBuilding || m_pEntry == nullptr || m_pCache == nullptr) {
    strValue.Empty();
    return -1;
  }
  if (bFirst) {
    m_pCache->Invalidate();
    m_nCursor = bounds.nAny;
    if (m_nValueCount == 0 || !ReadValueEntry(m_nCursor)) {
      strValue.Empty();
      return -1;
    }
  } else {
    LONG nLong = 0;
    double dReal = 0.0;
    const void* pKey = strValue.GetString();
    if (m_nType == COL_TYPE_LONG) {
      nLong = TextToLong(strValue);
      pKey = &nLong;
    } else if (m_nType == COL_TYPE_REAL) {
      dReal = TextToReal(strValue);
      pKey = &dReal;
    }
    if (m_nCursor + 1 < bounds.nAny) {
      m_nCursor = bounds.nAny - 1;  // the walk stays within zone 1
    }
    do {
      ++m_nCursor;
      if (m_nCursor >= bounds.nRanges) {
        strValue.Empty();
        return -1;
      }
    } while (CompareValue(m_nCursor, pKey) <= 0);
  }

  const BYTE* pKeyBytes = m_pEntry + ENTRY_KEY_OFFSET;
  if (m_nType == COL_TYPE_LONG) {
    strValue.Format("%ld", static_cast<long>(GetLong(pKeyBytes)));
  } else if (m_nType == COL_TYPE_REAL) {
    strValue = FormatReal(GetDouble(pKeyBytes));
  } else {
    DWORD nLen = 0;
    while (nLen < m_nKeySize && pKeyBytes[nLen] != 0) {
      ++nLen;
    }
    strValue.Empty();
    for (DWORD n = 0; n < nLen; ++n) {
      strValue.AppendChar(static_cast<char>(pKeyBytes[n]));
    }
  }
  return GetRow();
}
