#include "index/entry_sort.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "frame/lorn_defs.h"
#include "index/entry_codec.h"
#include "platform/exceptions.h"
#include "platform/temp_file.h"

namespace {

// What the sort knows of the order of the keys, from the comparison
// function it was given.
enum class CKeyOrder {
  kOther,  // nothing: every decision is the function's
  kLong,   // CompareLongEntry: a 32-bit signed number behind the row
  kReal,   // CompareRealEntry: a double behind the row, with a tolerance
  kText,   // CompareTextEntry: NUL-terminated bytes behind the row
};

constexpr DWORD LONG_KEY_BYTES = 4;
constexpr DWORD REAL_KEY_BYTES = 8;
// Text runs this short, or the entries of one bucket, are sorted by
// insertion.
constexpr DWORD TEXT_INSERTION_MAX = 16;
// Work area per entry of the order by function: the order and the merge
// buffer of std::stable_sort.
constexpr DWORD ORDER_WORK_BYTES = 2 * sizeof(DWORD);

CKeyOrder KeyOrderOf(PFN_COMPARE pfnCompare, WORD nEntrySize) {
  if (pfnCompare == CompareLongEntry && nEntrySize >= ENTRY_KEY_OFFSET + LONG_KEY_BYTES) {
    return CKeyOrder::kLong;
  }
  if (pfnCompare == CompareRealEntry && nEntrySize >= ENTRY_KEY_OFFSET + REAL_KEY_BYTES) {
    return CKeyOrder::kReal;
  }
  if (pfnCompare == CompareTextEntry && nEntrySize > ENTRY_KEY_OFFSET) {
    return CKeyOrder::kText;
  }
  return CKeyOrder::kOther;
}

// A Long key as an unsigned number of the same order.
inline ULONGLONG LongRadixKey(const BYTE* pEntry) {
  return GetDword(pEntry + ENTRY_KEY_OFFSET) ^ 0x80000000u;
}

constexpr ULONGLONG REAL_SIGN_BIT = 1ULL << 63;
constexpr ULONGLONG REAL_EXPONENT_BITS = 0x7FFULL << 52;

// A Real key as an unsigned number that orders finite doubles by value;
// -0.0 and +0.0 differ here, so runs with a negative zero are not ordered by
// it.
inline ULONGLONG RealRadixKey(const BYTE* pEntry) {
  const ULONGLONG nBits = GetQword(pEntry + ENTRY_KEY_OFFSET);
  return (nBits & REAL_SIGN_BIT) != 0 ? ~nBits : nBits | REAL_SIGN_BIT;
}

// Copies one entry; the sizes of the numeric zones are known at compile
// time, so that the copy is a few moves.
template <WORD N>
inline void CopyEntry(BYTE* pDest, const BYTE* pSrc, WORD nSize) {
  if constexpr (N != 0) {
    (void)nSize;
    std::memcpy(pDest, pSrc, N);
  } else {
    std::memcpy(pDest, pSrc, nSize);
  }
}

// Digits of the radix sort: 11 bits, so that a 64-bit key takes six
// passes and a 32-bit key three, with counts that stay in the cache.
constexpr int RADIX_BITS = 11;
constexpr size_t RADIX_BUCKETS = size_t{1} << RADIX_BITS;

// Stable least-significant-digit radix sort of nLen entries in pA by the
// nKeyBits low bits of KeyOf(entry); pB is scratch of the same size. Digits
// in which all keys agree cost no pass. Gives the buffer that holds the
// result.
template <WORD N, class KeyOf>
BYTE* RadixSortEntries(BYTE* pA, BYTE* pB, DWORD nLen, WORD nSize, int nKeyBits, KeyOf keyOf) {
  const int nDigits = (nKeyBits + RADIX_BITS - 1) / RADIX_BITS;
  std::vector<DWORD> arCounts(static_cast<size_t>(nDigits) * RADIX_BUCKETS, 0);
  for (DWORD n = 0; n < nLen; ++n) {
    ULONGLONG nKey = keyOf(pA + static_cast<size_t>(n) * nSize);
    for (int nDigit = 0; nDigit < nDigits; ++nDigit, nKey >>= RADIX_BITS) {
      ++arCounts[static_cast<size_t>(nDigit) * RADIX_BUCKETS + (nKey & (RADIX_BUCKETS - 1))];
    }
  }
  std::vector<DWORD> arNext(RADIX_BUCKETS);
  for (int nDigit = 0; nDigit < nDigits; ++nDigit) {
    const DWORD* pCounts = arCounts.data() + static_cast<size_t>(nDigit) * RADIX_BUCKETS;
    if (std::find(pCounts, pCounts + RADIX_BUCKETS, nLen) != pCounts + RADIX_BUCKETS) {
      continue;  // one value for every key: the pass would change nothing
    }
    DWORD nSum = 0;
    for (size_t b = 0; b < RADIX_BUCKETS; ++b) {
      arNext[b] = nSum;
      nSum += pCounts[b];
    }
    const int nShift = RADIX_BITS * nDigit;
    for (DWORD n = 0; n < nLen; ++n) {
      const BYTE* pEntry = pA + static_cast<size_t>(n) * nSize;
      const DWORD nSlot = arNext[(keyOf(pEntry) >> nShift) & (RADIX_BUCKETS - 1)]++;
      CopyEntry<N>(pB + static_cast<size_t>(nSlot) * nSize, pEntry, nSize);
    }
    std::swap(pA, pB);
  }
  return pA;
}

template <class KeyOf>
BYTE* RadixSortAnySize(BYTE* pA, BYTE* pB, DWORD nLen, WORD nSize, int nKeyBits, KeyOf keyOf) {
  // The entry sizes of Long and Real values and ranges.
  switch (nSize) {
    case 8:
      return RadixSortEntries<8>(pA, pB, nLen, nSize, nKeyBits, keyOf);
    case 12:
      return RadixSortEntries<12>(pA, pB, nLen, nSize, nKeyBits, keyOf);
    case 13:
      return RadixSortEntries<13>(pA, pB, nLen, nSize, nKeyBits, keyOf);
    case 21:
      return RadixSortEntries<21>(pA, pB, nLen, nSize, nKeyBits, keyOf);
    default:
      return RadixSortEntries<0>(pA, pB, nLen, nSize, nKeyBits, keyOf);
  }
}

// Whether the bits order a Real run as CompareReal does: no value that is
// not a finite number, no negative zero (equal to +0.0 for the comparison,
// below it for the bits), and no two different values closer than the
// tolerance. The first two are checked on the unsorted run.
bool RealKeysHaveBitOrder(const BYTE* pEntries, DWORD nLen, WORD nSize) {
  for (DWORD n = 0; n < nLen; ++n) {
    const ULONGLONG nBits = GetQword(pEntries + static_cast<size_t>(n) * nSize + ENTRY_KEY_OFFSET);
    if ((nBits & REAL_EXPONENT_BITS) == REAL_EXPONENT_BITS || nBits == REAL_SIGN_BIT) {
      return false;
    }
  }
  return true;
}

// On a run sorted by bits: neighbours that differ differ by the tolerance or
// more, so that no two values of the run compare equal unless they are.
bool RealNeighboursApart(const BYTE* pSorted, DWORD nLen, WORD nSize) {
  for (DWORD n = 1; n < nLen; ++n) {
    const BYTE* pKey = pSorted + static_cast<size_t>(n) * nSize + ENTRY_KEY_OFFSET;
    const ULONGLONG nBefore = GetQword(pKey - nSize);
    const ULONGLONG nAt = GetQword(pKey);
    if (nBefore != nAt && std::fabs(GetDouble(pKey) - GetDouble(pKey - nSize)) < REAL_TOLERANCE) {
      return false;
    }
  }
  return true;
}

// The monitor's positions during one sort, the same whichever way the
// entries are really ordered. A zone that fits the shared line buffer moves
// the position up by a third of the share three times, whatever its entries.
// A larger zone counts as sorted by insertion on file: each entry that
// arrives below the last entry kept in place sets the position to the start
// plus its number divided by count / share (by count when the share is 0).
// Nothing here limits the position to 100.
class CSortPositions {
 public:
  CSortPositions(CProgressMonitor* pMonitor, WORD nShare, DWORD nCount, WORD nEntrySize,
                 PFN_COMPARE pfnCompare)
      : m_pMonitor(pMonitor),
        m_nShare(nShare),
        m_bInMemory(nCount <= LINE_BUFFER_SIZE / nEntrySize),
        m_nEntrySize(nEntrySize),
        m_pfnCompare(pfnCompare) {
    if (m_pMonitor != nullptr && !m_bInMemory) {
      m_nStart = m_pMonitor->GetPos();
      m_dRatio = nShare != 0 ? static_cast<double>(nCount) / nShare : 1.0;
      m_abLast.resize(nEntrySize);
    }
  }

  // The entries of the source, nLen of them, in their order of arrival and
  // following those given before.
  void Arrive(const BYTE* pEntries, DWORD nLen) {
    if (m_pMonitor == nullptr || m_bInMemory) {
      return;
    }
    for (DWORD n = 0; n < nLen; ++n, ++m_nArrived) {
      const BYTE* pEntry = pEntries + static_cast<size_t>(n) * m_nEntrySize;
      if (m_nArrived > 0 && CompareSign16(m_pfnCompare(m_abLast.data(), pEntry)) > 0) {
        m_pMonitor->SetPos(static_cast<WORD>(m_nStart + static_cast<DWORD>(m_nArrived / m_dRatio)));
      } else {
        std::memcpy(m_abLast.data(), pEntry, m_nEntrySize);
      }
    }
  }

  // The sort is over.
  void Done() {
    if (m_pMonitor == nullptr || !m_bInMemory) {
      return;
    }
    for (int nStep = 0; nStep < 3; ++nStep) {
      m_pMonitor->SetPos(static_cast<WORD>(m_pMonitor->GetPos() + m_nShare / 3));
    }
  }

 private:
  CProgressMonitor* m_pMonitor;
  WORD m_nShare;
  bool m_bInMemory;
  WORD m_nEntrySize;
  PFN_COMPARE m_pfnCompare;
  WORD m_nStart = 0;
  double m_dRatio = 1.0;
  DWORD m_nArrived = 0;
  std::vector<BYTE> m_abLast;
};

// The private file between two merge passes, without a name: it goes with
// the object, or with the process.
class CScratchFile {
 public:
  CScratchFile() = default;
  CScratchFile(const CScratchFile&) = delete;
  CScratchFile& operator=(const CScratchFile&) = delete;

  // The open file, made on first use; null when it cannot be made.
  CFile* Get() {
    if (!m_file.IsOpen() && !OpenTempFile("sdx", m_file)) {
      return nullptr;
    }
    return &m_file;
  }

 private:
  CFile m_file;
};

// Collects entries and writes them to a file in blocks of at most
// SORT_OUT_BUFFER_SIZE bytes (one entry at least).
class COutBuffer {
 public:
  COutBuffer(CFile* pFile, WORD nEntrySize)
      : m_pFile(pFile),
        m_nEntrySize(nEntrySize),
        m_nBlockEntries(std::max<DWORD>(SORT_OUT_BUFFER_SIZE / nEntrySize, 1)),
        m_abData(static_cast<size_t>(m_nBlockEntries) * nEntrySize) {}

  void Put(const BYTE* pEntry) {
    if (m_nUsed + m_nEntrySize > m_abData.size()) {
      Flush();
    }
    std::memcpy(m_abData.data() + m_nUsed, pEntry, m_nEntrySize);
    m_nUsed += m_nEntrySize;
  }

  // nCount entries that stand in order in memory, written from there in
  // blocks of the same size as those of Put.
  void PutBlock(const BYTE* pEntries, DWORD nCount) {
    Flush();
    while (nCount > 0) {
      const DWORD nLen = std::min(nCount, m_nBlockEntries);
      m_pFile->Write(pEntries, nLen * m_nEntrySize);
      pEntries += static_cast<size_t>(nLen) * m_nEntrySize;
      nCount -= nLen;
    }
  }

  void Flush() {
    if (m_nUsed == 0) {
      return;
    }
    m_pFile->Write(m_abData.data(), static_cast<UINT>(m_nUsed));
    m_nUsed = 0;
  }

 private:
  CFile* m_pFile;
  WORD m_nEntrySize;
  DWORD m_nBlockEntries;
  std::vector<BYTE> m_abData;
  size_t m_nUsed = 0;
};

// One input run of a merge: a slice of the run buffer refilled from the file.
struct CRunCursor {
  ULONGLONG nNext;   // file offset of the next entry not yet loaded
  DWORD nLeft;       // entries of the run not yet loaded
  BYTE* pSlice;      // its part of the run buffer
  DWORD nFill;       // entries loaded in the slice
  DWORD nAt;         // next entry of the slice
  ULONGLONG nHead;   // order key of the entry at nAt, where the keys have one
  ULONGLONG nHead2;  // for text: the next eight bytes
  bool bHeadWhole;   // that key decides alone when it ties
};

class CEntrySorter {
 public:
  CEntrySorter(CFile* pSrc, DWORD nCount, WORD nEntrySize, PFN_COMPARE pfnCompare, CFile* pDest,
               DWORD nRunBytes)
      : m_pSrc(pSrc),
        m_nCount(nCount),
        m_nEntrySize(nEntrySize),
        m_pfnCompare(pfnCompare),
        m_pDest(pDest),
        m_keyOrder(KeyOrderOf(pfnCompare, nEntrySize)) {
    // The work area of an entry: a second copy for the radix sorts, the
    // order and its merge buffer for the function alone. Neither the entries
    // of a run nor its work area take more than nRunBytes.
    DWORD nWorkBytes = ORDER_WORK_BYTES;
    if (m_keyOrder != CKeyOrder::kOther) {
      nWorkBytes = std::max<DWORD>(nEntrySize, ORDER_WORK_BYTES);
    }
    m_nRunEntries = std::max<DWORD>(nRunBytes / std::max<DWORD>(nEntrySize, nWorkBytes), 3);
    if (m_nRunEntries > nCount) {
      m_nRunEntries = nCount;  // never more memory than the entries need
    }
    m_nWays = std::min<DWORD>(SORT_MAX_WAYS, std::max<DWORD>(m_nRunEntries - 1, 2));
  }

  BOOL Sort(CSortPositions& positions) {
    DWORD nRuns = (m_nCount + m_nRunEntries - 1) / m_nRunEntries;
    DWORD nPasses = 0;
    for (DWORD n = nRuns; n > 1; n = (n + m_nWays - 1) / m_nWays) {
      ++nPasses;
    }
    m_pRun.reset(new BYTE[static_cast<size_t>(m_nRunEntries) * m_nEntrySize]);
    if (CopyIfInOrder()) {
      return TRUE;
    }

    if (nPasses == 0) {
      if (!LoadRun(0, m_nCount)) {
        return FALSE;
      }
      positions.Arrive(m_pRun.get(), m_nCount);
      const BYTE* pSorted = nullptr;
      if (!OrderRun(0, m_nCount, pSorted)) {
        return FALSE;
      }
      COutBuffer out(m_pDest, m_nEntrySize);
      WriteRun(pSorted, m_nCount, out);
      return TRUE;
    }

    for (DWORD nRun = 0; nRun < nRuns; ++nRun) {
      ULONGLONG nFirst = static_cast<ULONGLONG>(nRun) * m_nRunEntries;
      DWORD nLen = static_cast<DWORD>(std::min<ULONGLONG>(m_nRunEntries, m_nCount - nFirst));
      if (!LoadRun(nFirst, nLen)) {
        return FALSE;
      }
      positions.Arrive(m_pRun.get(), nLen);
      const BYTE* pSorted = nullptr;
      if (!OrderRun(nFirst, nLen, pSorted)) {
        return FALSE;
      }
      m_pSrc->Seek(static_cast<LONGLONG>(nFirst * m_nEntrySize), CFile::begin);
      COutBuffer out(m_pSrc, m_nEntrySize);
      WriteRun(pSorted, nLen, out);
    }
    // The merge needs the run buffer only.
    m_pWork.reset();
    m_arOrder = std::vector<DWORD>();

    CScratchFile scratch;
    CFile* pIn = m_pSrc;
    ULONGLONG nRunLen = m_nRunEntries;
    for (DWORD nPass = 1; nPass <= nPasses; ++nPass) {
      CFile* pOut = m_pDest;
      if (nPass < nPasses) {
        pOut = pIn == m_pSrc ? scratch.Get() : m_pSrc;
        if (pOut == nullptr) {
          return FALSE;
        }
        pOut->Seek(0, CFile::begin);
      }
      COutBuffer out(pOut, m_nEntrySize);
      if (!MergePass(pIn, nRunLen, out)) {
        return FALSE;
      }
      out.Flush();
      pIn = pOut;
      nRunLen *= m_nWays;
    }
    return TRUE;
  }

 private:
  // Entries that arrive in order need no sort: copies the source to the
  // destination while each entry is at or above the one before. FALSE at the
  // first one below, with the destination's position back where it was, so
  // that the sorted entries overwrite what was copied.
  BOOL CopyIfInOrder() {
    const ULONGLONG nDestStart = m_pDest->GetPosition();
    const DWORD nChunk =
        std::min(std::max<DWORD>(SORT_OUT_BUFFER_SIZE / m_nEntrySize, 1), m_nRunEntries);
    std::vector<BYTE> abLast(m_nEntrySize);
    m_pSrc->Seek(0, CFile::begin);
    for (DWORD nDone = 0; nDone < m_nCount;) {
      const DWORD nLen = std::min(nChunk, m_nCount - nDone);
      const UINT nBytes = nLen * m_nEntrySize;
      BOOL bInOrder = m_pSrc->Read(m_pRun.get(), nBytes) == nBytes;
      for (DWORD n = 0; bInOrder && n < nLen; ++n) {
        const BYTE* pBefore = n > 0 ? EntryAt(n - 1) : nDone > 0 ? abLast.data() : nullptr;
        bInOrder = pBefore == nullptr || CompareSign16(m_pfnCompare(pBefore, EntryAt(n))) <= 0;
      }
      if (!bInOrder) {
        m_pDest->Seek(static_cast<LONGLONG>(nDestStart), CFile::begin);
        return FALSE;
      }
      std::memcpy(abLast.data(), EntryAt(nLen - 1), m_nEntrySize);
      m_pDest->Write(m_pRun.get(), nBytes);
      nDone += nLen;
    }
    return TRUE;
  }

  const BYTE* EntryAt(DWORD n) const {
    return m_pRun.get() + static_cast<size_t>(n) * m_nEntrySize;
  }

  // Entries nFirst to nFirst + nLen - 1 of the source into the run buffer.
  BOOL LoadRun(ULONGLONG nFirst, DWORD nLen) {
    UINT nBytes = nLen * m_nEntrySize;
    m_pSrc->Seek(static_cast<LONGLONG>(nFirst * m_nEntrySize), CFile::begin);
    return m_pSrc->Read(m_pRun.get(), nBytes) == nBytes;
  }

  BYTE* Work() {
    if (!m_pWork) {
      m_pWork.reset(new BYTE[static_cast<size_t>(m_nRunEntries) * m_nEntrySize]);
    }
    return m_pWork.get();
  }

  // Orders the nLen entries of the run buffer, which hold entries nFirst and
  // on of the source, stably. The sorted entries then stand in the buffer
  // that pSorted points at, or, with pSorted null, the order stands in
  // m_arOrder. FALSE when the source cannot be read again.
  BOOL OrderRun(ULONGLONG nFirst, DWORD nLen, const BYTE*& pSorted) {
    pSorted = nullptr;
    switch (m_keyOrder) {
      case CKeyOrder::kLong:
        pSorted = RadixSortAnySize(m_pRun.get(), Work(), nLen, m_nEntrySize, 8 * LONG_KEY_BYTES,
                                   [](const BYTE* pEntry) { return LongRadixKey(pEntry); });
        return TRUE;
      case CKeyOrder::kReal:
        if (RealKeysHaveBitOrder(m_pRun.get(), nLen, m_nEntrySize)) {
          const BYTE* pByBits =
              RadixSortAnySize(m_pRun.get(), Work(), nLen, m_nEntrySize, 8 * REAL_KEY_BYTES,
                               [](const BYTE* pEntry) { return RealRadixKey(pEntry); });
          if (RealNeighboursApart(pByBits, nLen, m_nEntrySize)) {
            pSorted = pByBits;
            return TRUE;
          }
          // Values within the tolerance compare equal and keep their order
          // of arrival, which the bits do not know: the run once more, in
          // the order of the source, for the function.
          m_pWork.reset();
          if (!LoadRun(nFirst, nLen)) {
            return FALSE;
          }
        }
        break;
      case CKeyOrder::kText:
        SortTextEntries(m_pRun.get(), Work(), nLen, 0, false);
        pSorted = m_pRun.get();
        return TRUE;
      case CKeyOrder::kOther:
        break;
    }
    OrderByFunction(nLen);
    return TRUE;
  }

  // Stable order of the first nLen entries of the run buffer by the
  // function alone.
  void OrderByFunction(DWORD nLen) {
    m_arOrder.resize(nLen);
    for (DWORD n = 0; n < nLen; ++n) {
      m_arOrder[n] = n;
    }
    std::stable_sort(m_arOrder.begin(), m_arOrder.end(), [this](DWORD a, DWORD b) {
      return CompareSign16(m_pfnCompare(EntryAt(a), EntryAt(b))) < 0;
    });
  }

  // Eight bytes of the key of an entry from offset nFrom, as far as the
  // entry goes, big-endian, zero from the terminator on; bWhole tells
  // whether they hold the terminator.
  ULONGLONG TextWord(const BYTE* pEntry, DWORD nFrom, bool& bWhole) const {
    const DWORD nKeyBytes = m_nEntrySize - ENTRY_KEY_OFFSET;
    const DWORD nTake = std::min<DWORD>(8, nKeyBytes - nFrom);
    const BYTE* pKey = pEntry + ENTRY_KEY_OFFSET + nFrom;
    ULONGLONG nWord = 0;
    if (nTake == 8) {
      // The first byte lowest: the lowest zero byte that the borrow test
      // flags is the first terminator.
      const ULONGLONG nBytes = GetQword(pKey);
      const ULONGLONG nZero = (nBytes - 0x0101010101010101ULL) & ~nBytes & 0x8080808080808080ULL;
      bWhole = nZero != 0;
      const ULONGLONG nKept =
          bWhole ? nBytes & ((ULONGLONG{1} << (std::countr_zero(nZero) & ~7)) - 1) : nBytes;
      for (int i = 0; i < 8; ++i) {
        nWord = (nWord << 8) | ((nKept >> (8 * i)) & 0xFF);
      }
      return nWord;
    }
    DWORD i = 0;
    for (; i < nTake && pKey[i] != 0; ++i) {
      nWord |= static_cast<ULONGLONG>(pKey[i]) << (56 - 8 * i);
    }
    bWhole = i < nTake;
    return nWord;
  }

  // Stable order of nLen text entries whose keys agree in their first nDepth
  // bytes, none of which is a terminator: a most-significant-digit radix
  // sort on the entries themselves, each bucket sorted apart on the next
  // byte, and bytes that all keys share passed over eight at a time. The
  // entries move between pData and pSpare from one byte to the next; the
  // sorted ones go to pSpare with bBack, else to pData. The function decides
  // only between equal beginnings in buckets of a few entries.
  void SortTextEntries(BYTE* pData, BYTE* pSpare, DWORD nLen, DWORD nDepth, bool bBack) {
    const WORD nSize = m_nEntrySize;
    const DWORD nKeyBytes = nSize - ENTRY_KEY_OFFSET;
    auto at = [nSize](BYTE* p, DWORD n) { return p + static_cast<size_t>(n) * nSize; };
    auto done = [&] {
      if (bBack) {
        std::memcpy(pSpare, pData, static_cast<size_t>(nLen) * nSize);
      }
    };
    for (;;) {
      if (nDepth >= nKeyBytes) {
        // The keys run on behind the entry: only the function knows.
        SortTextByFunction(pData, pSpare, nLen);
        done();
        return;
      }
      if (nLen <= TEXT_INSERTION_MAX) {
        InsertTextEntries(pData, pSpare, nLen, nDepth);
        done();
        return;
      }
      // Bytes that all keys share (none, as soon as the first differs).
      bool bWhole = false;
      const ULONGLONG nFirst = TextWord(pData, nDepth, bWhole);
      ULONGLONG nDiffer = 0;
      for (DWORD n = 1; n < nLen && (nDiffer >> 56) == 0; ++n) {
        nDiffer |= TextWord(at(pData, n), nDepth, bWhole) ^ nFirst;
      }
      const DWORD nSame = nDiffer == 0 ? 8 : static_cast<DWORD>(std::countl_zero(nDiffer)) / 8;
      if (nSame > 0) {
        // A terminator among them: the keys are equal and stay in their
        // order of arrival.
        const DWORD nInEntry = std::min<DWORD>(nSame, nKeyBytes - nDepth);
        for (DWORD i = 0; i < nInEntry; ++i) {
          if (((nFirst >> (56 - 8 * i)) & 0xFF) == 0) {
            done();
            return;
          }
        }
        nDepth += nSame;
        continue;
      }
      DWORD anCounts[256] = {};
      const size_t nByte = ENTRY_KEY_OFFSET + nDepth;
      for (DWORD n = 0; n < nLen; ++n) {
        ++anCounts[at(pData, n)[nByte]];
      }
      DWORD anNext[256];
      DWORD nSum = 0;
      for (int b = 0; b < 256; ++b) {
        anNext[b] = nSum;
        nSum += anCounts[b];
      }
      for (DWORD n = 0; n < nLen; ++n) {
        const BYTE* pEntry = at(pData, n);
        std::memcpy(at(pSpare, anNext[pEntry[nByte]]++), pEntry, nSize);
      }
      // The entries now stand in the other place. Bucket 0 holds keys that
      // ended here: equal, and in order, as is a bucket of one.
      const bool bChildBack = !bBack;
      DWORD nStart = 0;
      for (int b = 0; b < 256; ++b) {
        const DWORD nCount = anCounts[b];
        if (b != 0 && nCount > 1) {
          SortTextEntries(at(pSpare, nStart), at(pData, nStart), nCount, nDepth + 1, bChildBack);
        } else if (bChildBack && nCount != 0) {
          std::memcpy(at(pData, nStart), at(pSpare, nStart), static_cast<size_t>(nCount) * nSize);
        }
        nStart += nCount;
      }
      return;
    }
  }

  // Insertion sort of a few text entries whose keys agree in their first
  // nDepth bytes; pSpare has room for one entry.
  void InsertTextEntries(BYTE* pData, BYTE* pSpare, DWORD nLen, DWORD nDepth) const {
    const WORD nSize = m_nEntrySize;
    auto before = [&](const BYTE* a, const BYTE* b) {
      bool bWholeA = false;
      bool bWholeB = false;
      const ULONGLONG nA = TextWord(a, nDepth, bWholeA);
      const ULONGLONG nB = TextWord(b, nDepth, bWholeB);
      if (nA != nB) {
        return nA < nB;
      }
      return !bWholeA && CompareSign16(m_pfnCompare(a, b)) < 0;
    };
    for (DWORD n = 1; n < nLen; ++n) {
      BYTE* pEntry = pData + static_cast<size_t>(n) * nSize;
      DWORD m = n;
      while (m > 0 && before(pEntry, pData + static_cast<size_t>(m - 1) * nSize)) {
        --m;
      }
      if (m != n) {
        BYTE* pTo = pData + static_cast<size_t>(m) * nSize;
        std::memcpy(pSpare, pEntry, nSize);
        std::memmove(pTo + nSize, pTo, static_cast<size_t>(n - m) * nSize);
        std::memcpy(pTo, pSpare, nSize);
      }
    }
  }

  // Stable order of text entries by the function alone, through pSpare.
  void SortTextByFunction(BYTE* pData, BYTE* pSpare, DWORD nLen) {
    const WORD nSize = m_nEntrySize;
    std::vector<DWORD> arOrder(nLen);
    for (DWORD n = 0; n < nLen; ++n) {
      arOrder[n] = n;
    }
    std::stable_sort(arOrder.begin(), arOrder.end(), [&](DWORD a, DWORD b) {
      return CompareSign16(m_pfnCompare(pData + static_cast<size_t>(a) * nSize,
                                        pData + static_cast<size_t>(b) * nSize)) < 0;
    });
    for (DWORD n = 0; n < nLen; ++n) {
      std::memcpy(pSpare + static_cast<size_t>(n) * nSize,
                  pData + static_cast<size_t>(arOrder[n]) * nSize, nSize);
    }
    std::memcpy(pData, pSpare, static_cast<size_t>(nLen) * nSize);
  }

  // The run in order: the sorted buffer when there is one, else the run
  // buffer through the order.
  void WriteRun(const BYTE* pSorted, DWORD nLen, COutBuffer& out) {
    if (pSorted != nullptr) {
      out.PutBlock(pSorted, nLen);
      return;
    }
    for (DWORD n = 0; n < nLen; ++n) {
      out.Put(EntryAt(m_arOrder[n]));
    }
    out.Flush();
  }

  BOOL Refill(CFile* pIn, CRunCursor& run, DWORD nSliceEntries) {
    DWORD nWant = std::min(run.nLeft, nSliceEntries);
    UINT nBytes = nWant * m_nEntrySize;
    pIn->Seek(static_cast<LONGLONG>(run.nNext), CFile::begin);
    if (pIn->Read(run.pSlice, nBytes) != nBytes) {
      return FALSE;
    }
    run.nNext += nBytes;
    run.nLeft -= nWant;
    run.nFill = nWant;
    run.nAt = 0;
    return TRUE;
  }

  // Merges groups of m_nWays consecutive runs of nRunLen entries of pIn.
  BOOL MergePass(CFile* pIn, ULONGLONG nRunLen, COutBuffer& out) {
    DWORD nSliceEntries = m_nRunEntries / m_nWays;
    std::vector<CRunCursor> arRuns(m_nWays);
    std::vector<DWORD> arHeap;
    arHeap.reserve(m_nWays);
    auto entryOf = [&](DWORD r) {
      const CRunCursor& run = arRuns[r];
      return run.pSlice + static_cast<size_t>(run.nAt) * m_nEntrySize;
    };
    // Long keys and the first bytes of text keys order the heads without
    // the function, as far as they go.
    const bool bKeyed = m_keyOrder == CKeyOrder::kLong || m_keyOrder == CKeyOrder::kText;
    const DWORD nKeyBytes = m_nEntrySize - ENTRY_KEY_OFFSET;
    auto takeHead = [&](CRunCursor& run) {
      if (!bKeyed) {
        return;
      }
      const BYTE* pEntry = run.pSlice + static_cast<size_t>(run.nAt) * m_nEntrySize;
      run.nHead2 = 0;
      run.bHeadWhole = true;
      if (m_keyOrder == CKeyOrder::kLong) {
        run.nHead = LongRadixKey(pEntry);
        return;
      }
      run.nHead = TextWord(pEntry, 0, run.bHeadWhole);
      if (!run.bHeadWhole && nKeyBytes > 8) {
        run.nHead2 = TextWord(pEntry, 8, run.bHeadWhole);
      }
    };
    // Heap order: the smaller entry first, on a tie the earlier run.
    auto after = [&](DWORD a, DWORD b) {
      int nCmp = 0;
      const CRunCursor& runA = arRuns[a];
      const CRunCursor& runB = arRuns[b];
      if (bKeyed && runA.nHead != runB.nHead) {
        nCmp = runA.nHead < runB.nHead ? -1 : 1;
      } else if (bKeyed && runA.nHead2 != runB.nHead2) {
        nCmp = runA.nHead2 < runB.nHead2 ? -1 : 1;
      } else if (!bKeyed || !runA.bHeadWhole) {
        nCmp = CompareSign16(m_pfnCompare(entryOf(a), entryOf(b)));
      }
      return nCmp > 0 || (nCmp == 0 && a > b);
    };

    for (ULONGLONG nGroup = 0; nGroup < m_nCount; nGroup += nRunLen * m_nWays) {
      arHeap.clear();
      for (DWORD r = 0; r < m_nWays; ++r) {
        ULONGLONG nFirst = nGroup + r * nRunLen;
        if (nFirst >= m_nCount) {
          break;
        }
        CRunCursor& run = arRuns[r];
        run.nNext = nFirst * m_nEntrySize;
        run.nLeft = static_cast<DWORD>(std::min<ULONGLONG>(nRunLen, m_nCount - nFirst));
        run.pSlice = m_pRun.get() + static_cast<size_t>(r) * nSliceEntries * m_nEntrySize;
        if (!Refill(pIn, run, nSliceEntries)) {
          return FALSE;
        }
        takeHead(run);
        arHeap.push_back(r);
      }
      // The run at the top gives its entry and, with its next one or
      // without it, sinks to its place: one walk down the heap per entry.
      auto sinkTop = [&] {
        const size_t nHeap = arHeap.size();
        const DWORD nTop = arHeap[0];
        size_t i = 0;
        for (size_t nChild = 1; nChild < nHeap; nChild = 2 * i + 1) {
          if (nChild + 1 < nHeap && after(arHeap[nChild], arHeap[nChild + 1])) {
            ++nChild;
          }
          if (!after(nTop, arHeap[nChild])) {
            break;
          }
          arHeap[i] = arHeap[nChild];
          i = nChild;
        }
        arHeap[i] = nTop;
      };
      std::make_heap(arHeap.begin(), arHeap.end(), after);
      while (!arHeap.empty()) {
        DWORD r = arHeap.front();
        CRunCursor& run = arRuns[r];
        out.Put(entryOf(r));
        if (++run.nAt == run.nFill) {
          if (run.nLeft == 0) {
            arHeap.front() = arHeap.back();
            arHeap.pop_back();
            if (!arHeap.empty()) {
              sinkTop();
            }
            continue;
          }
          if (!Refill(pIn, run, nSliceEntries)) {
            return FALSE;
          }
        }
        takeHead(run);
        sinkTop();
      }
    }
    return TRUE;
  }

  CFile* m_pSrc;
  DWORD m_nCount;
  WORD m_nEntrySize;
  PFN_COMPARE m_pfnCompare;
  CFile* m_pDest;
  CKeyOrder m_keyOrder;
  DWORD m_nRunEntries;
  DWORD m_nWays;
  std::unique_ptr<BYTE[]> m_pRun;   // the entries of a run, then the merge's slices
  std::unique_ptr<BYTE[]> m_pWork;  // second buffer of the radix sorts
  std::vector<DWORD> m_arOrder;
};

}  // namespace

BOOL SortEntries(CFile* pSrc, DWORD nCount, WORD nEntrySize, PFN_COMPARE pfnCompareEntries,
                 CFile* pDest, CProgressMonitor* pMonitor, WORD nShare, DWORD nRunBytes) {
  if (pSrc == nullptr || pDest == nullptr || pfnCompareEntries == nullptr || nEntrySize == 0) {
    return FALSE;
  }
  CSortPositions positions(pMonitor, nShare, nCount, nEntrySize, pfnCompareEntries);
  if (nCount != 0) {
    CEntrySorter sorter(pSrc, nCount, nEntrySize, pfnCompareEntries, pDest, nRunBytes);
    if (!sorter.Sort(positions)) {
      return FALSE;
    }
  }
  positions.Done();
  return TRUE;
}
