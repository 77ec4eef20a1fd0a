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

// Stable least-significant-digit radix sort of nLen entries in pA by the
// nDigits low bytes of KeyOf(entry); pB is scratch of the same size. Byte
// positions in which all keys agree cost no pass. Gives the buffer that
// holds the result.
template <WORD N, class KeyOf>
BYTE* RadixSortEntries(BYTE* pA, BYTE* pB, DWORD nLen, WORD nSize, int nDigits, KeyOf keyOf) {
  std::vector<DWORD> arCounts(static_cast<size_t>(nDigits) * 256, 0);
  for (DWORD n = 0; n < nLen; ++n) {
    ULONGLONG nKey = keyOf(pA + static_cast<size_t>(n) * nSize);
    for (int nDigit = 0; nDigit < nDigits; ++nDigit, nKey >>= 8) {
      ++arCounts[static_cast<size_t>(nDigit) * 256 + (nKey & 0xFF)];
    }
  }
  DWORD anNext[256];
  for (int nDigit = 0; nDigit < nDigits; ++nDigit) {
    const DWORD* pCounts = arCounts.data() + static_cast<size_t>(nDigit) * 256;
    if (std::find(pCounts, pCounts + 256, nLen) != pCounts + 256) {
      continue;  // one value for every key: the pass would change nothing
    }
    DWORD nSum = 0;
    for (int b = 0; b < 256; ++b) {
      anNext[b] = nSum;
      nSum += pCounts[b];
    }
    const int nShift = 8 * nDigit;
    for (DWORD n = 0; n < nLen; ++n) {
      const BYTE* pEntry = pA + static_cast<size_t>(n) * nSize;
      const DWORD nSlot = anNext[(keyOf(pEntry) >> nShift) & 0xFF]++;
      CopyEntry<N>(pB + static_cast<size_t>(nSlot) * nSize, pEntry, nSize);
    }
    std::swap(pA, pB);
  }
  return pA;
}

template <class KeyOf>
BYTE* RadixSortAnySize(BYTE* pA, BYTE* pB, DWORD nLen, WORD nSize, int nDigits, KeyOf keyOf) {
  // The entry sizes of Long and Real values and ranges.
  switch (nSize) {
    case 8:
      return RadixSortEntries<8>(pA, pB, nLen, nSize, nDigits, keyOf);
    case 12:
      return RadixSortEntries<12>(pA, pB, nLen, nSize, nDigits, keyOf);
    case 13:
      return RadixSortEntries<13>(pA, pB, nLen, nSize, nDigits, keyOf);
    case 21:
      return RadixSortEntries<21>(pA, pB, nLen, nSize, nDigits, keyOf);
    default:
      return RadixSortEntries<0>(pA, pB, nLen, nSize, nDigits, keyOf);
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

// A text entry in the order of a run: its place in the run, and eight bytes
// of its key, from where the entries of its bucket begin to differ.
struct CTextRecord {
  ULONGLONG nWord;  // big-endian, zero behind the terminator
  DWORD nIndex;
};

// Moves the monitor over nShare points as work units are done; the position
// only grows and reaches the start plus nShare with the last unit.
class CSortProgress {
 public:
  CSortProgress(CProgressMonitor* pMonitor, WORD nShare, ULONGLONG nTotal)
      : m_pMonitor(nShare != 0 && nTotal != 0 ? pMonitor : nullptr),
        m_nShare(nShare),
        m_nTotal(nTotal) {
    if (m_pMonitor != nullptr) {
      m_nStart = m_pMonitor->GetPos();
      m_nLast = m_nStart;
    }
  }

  void Advance(ULONGLONG nDone) {
    if (m_pMonitor == nullptr) {
      return;
    }
    m_nDone += nDone;
    ULONGLONG nDoneNow = std::min(m_nDone, m_nTotal);
    DWORD nPos = m_nStart + static_cast<DWORD>(nDoneNow * m_nShare / m_nTotal);
    if (nPos > m_nLast) {
      m_nLast = nPos;
      m_pMonitor->SetPos(static_cast<WORD>(nPos));
    }
  }

 private:
  CProgressMonitor* m_pMonitor;
  WORD m_nShare;
  ULONGLONG m_nTotal;
  ULONGLONG m_nDone = 0;
  DWORD m_nStart = 0;
  DWORD m_nLast = 0;
};

// The private file between two merge passes; closed and removed with the
// object.
class CScratchFile {
 public:
  CScratchFile() = default;
  ~CScratchFile() {
    m_file.Abort();
    if (!m_strPath.IsEmpty()) {
      try {
        CFile::Remove(m_strPath);
      } catch (const CFileException&) {
        // Already gone: nothing to clean.
      }
    }
  }
  CScratchFile(const CScratchFile&) = delete;
  CScratchFile& operator=(const CScratchFile&) = delete;

  // The open file, made on first use; null when it cannot be made.
  CFile* Get() {
    if (m_file.IsOpen()) {
      return &m_file;
    }
    if (m_strPath.IsEmpty() && !MakeTempFile("sdx", m_strPath)) {
      return nullptr;
    }
    if (!m_file.Open(m_strPath, CFile::modeReadWrite | CFile::modeCreate | CFile::shareExclusive)) {
      return nullptr;
    }
    return &m_file;
  }

 private:
  CFile m_file;
  CString m_strPath;
};

// Collects entries and writes them to a file in blocks of at most
// SORT_OUT_BUFFER_SIZE bytes (one entry at least), advancing the progress
// by the entries of each block.
class COutBuffer {
 public:
  COutBuffer(CFile* pFile, WORD nEntrySize, CSortProgress& progress)
      : m_pFile(pFile),
        m_nEntrySize(nEntrySize),
        m_nBlockEntries(std::max<DWORD>(SORT_OUT_BUFFER_SIZE / nEntrySize, 1)),
        m_abData(static_cast<size_t>(m_nBlockEntries) * nEntrySize),
        m_progress(progress) {}

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
      m_progress.Advance(nLen);
      pEntries += static_cast<size_t>(nLen) * m_nEntrySize;
      nCount -= nLen;
    }
  }

  void Flush() {
    if (m_nUsed == 0) {
      return;
    }
    m_pFile->Write(m_abData.data(), static_cast<UINT>(m_nUsed));
    m_progress.Advance(m_nUsed / m_nEntrySize);
    m_nUsed = 0;
  }

 private:
  CFile* m_pFile;
  WORD m_nEntrySize;
  DWORD m_nBlockEntries;
  std::vector<BYTE> m_abData;
  size_t m_nUsed = 0;
  CSortProgress& m_progress;
};

// One input run of a merge: a slice of the run buffer refilled from the file.
struct CRunCursor {
  ULONGLONG nNext;  // file offset of the next entry not yet loaded
  DWORD nLeft;      // entries of the run not yet loaded
  BYTE* pSlice;     // its part of the run buffer
  DWORD nFill;      // entries loaded in the slice
  DWORD nAt;        // next entry of the slice
  ULONGLONG nHead;  // order key of the entry at nAt, where the keys have one
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
    // The work area of an entry: a second copy for the radix sort, a record
    // for text keys, the order and its merge buffer otherwise. Neither the
    // entries of a run nor its work area take more than nRunBytes.
    DWORD nWorkBytes = ORDER_WORK_BYTES;
    if (m_keyOrder == CKeyOrder::kLong || m_keyOrder == CKeyOrder::kReal) {
      nWorkBytes = std::max<DWORD>(nEntrySize, ORDER_WORK_BYTES);
    } else if (m_keyOrder == CKeyOrder::kText) {
      nWorkBytes = 2 * sizeof(CTextRecord);
    }
    m_nRunEntries = std::max<DWORD>(nRunBytes / std::max<DWORD>(nEntrySize, nWorkBytes), 3);
    if (m_nRunEntries > nCount) {
      m_nRunEntries = nCount;  // never more memory than the entries need
    }
    m_nWays = std::min<DWORD>(SORT_MAX_WAYS, std::max<DWORD>(m_nRunEntries - 1, 2));
  }

  BOOL Sort(CProgressMonitor* pMonitor, WORD nShare) {
    DWORD nRuns = (m_nCount + m_nRunEntries - 1) / m_nRunEntries;
    DWORD nPasses = 0;
    for (DWORD n = nRuns; n > 1; n = (n + m_nWays - 1) / m_nWays) {
      ++nPasses;
    }
    // Work units: every entry once per pass over the data; a sort in memory
    // counts reading, ordering and writing.
    ULONGLONG nTotal =
        nPasses == 0 ? 3ULL * m_nCount : static_cast<ULONGLONG>(m_nCount) * (1 + nPasses);
    CSortProgress progress(pMonitor, nShare, nTotal);
    m_pRun.reset(new BYTE[static_cast<size_t>(m_nRunEntries) * m_nEntrySize]);
    if (CopyIfInOrder()) {
      progress.Advance(nTotal);
      return TRUE;
    }

    if (nPasses == 0) {
      if (!LoadRun(0, m_nCount)) {
        return FALSE;
      }
      progress.Advance(m_nCount);
      const BYTE* pSorted = nullptr;
      if (!OrderRun(0, m_nCount, pSorted)) {
        return FALSE;
      }
      progress.Advance(m_nCount);
      COutBuffer out(m_pDest, m_nEntrySize, progress);
      WriteRun(pSorted, m_nCount, out);
      return TRUE;
    }

    for (DWORD nRun = 0; nRun < nRuns; ++nRun) {
      ULONGLONG nFirst = static_cast<ULONGLONG>(nRun) * m_nRunEntries;
      DWORD nLen = static_cast<DWORD>(std::min<ULONGLONG>(m_nRunEntries, m_nCount - nFirst));
      if (!LoadRun(nFirst, nLen)) {
        return FALSE;
      }
      const BYTE* pSorted = nullptr;
      if (!OrderRun(nFirst, nLen, pSorted)) {
        return FALSE;
      }
      m_pSrc->Seek(static_cast<LONGLONG>(nFirst * m_nEntrySize), CFile::begin);
      COutBuffer out(m_pSrc, m_nEntrySize, progress);
      WriteRun(pSorted, nLen, out);
    }
    // The merge needs the run buffer only.
    m_pWork.reset();
    m_arOrder = std::vector<DWORD>();
    m_arText = std::vector<CTextRecord>();
    m_arTextWork = std::vector<CTextRecord>();

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
      COutBuffer out(pOut, m_nEntrySize, progress);
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
  // m_arText (text keys) or m_arOrder. FALSE when the source cannot be read
  // again.
  BOOL OrderRun(ULONGLONG nFirst, DWORD nLen, const BYTE*& pSorted) {
    pSorted = nullptr;
    switch (m_keyOrder) {
      case CKeyOrder::kLong:
        pSorted = RadixSortAnySize(m_pRun.get(), Work(), nLen, m_nEntrySize, LONG_KEY_BYTES,
                                   [](const BYTE* pEntry) { return LongRadixKey(pEntry); });
        return TRUE;
      case CKeyOrder::kReal:
        if (RealKeysHaveBitOrder(m_pRun.get(), nLen, m_nEntrySize)) {
          const BYTE* pByBits =
              RadixSortAnySize(m_pRun.get(), Work(), nLen, m_nEntrySize, REAL_KEY_BYTES,
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
        OrderTextRun(nLen);
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

  // Stable order of a run of text entries, by their keys' bytes from the
  // first on: a most-significant-digit radix sort, each bucket sorted apart
  // on the next byte. The function decides only in buckets of a few entries
  // and where the keys run past the entry without a terminator; entries of
  // equal keys never change places.
  void OrderTextRun(DWORD nLen) {
    m_arText.resize(nLen);
    m_arTextWork.resize(nLen);
    for (DWORD n = 0; n < nLen; ++n) {
      m_arText[n].nIndex = n;
    }
    LoadTextWords(m_arText.data(), nLen, 0);
    SortTextBucket(m_arText.data(), m_arTextWork.data(), nLen, 0, 0, false);
  }

  // Eight bytes of the key of an entry from offset nFrom, as far as the
  // entry goes, big-endian, zero from the terminator on; bWhole is cleared
  // when they hold no terminator.
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

  void LoadTextWords(CTextRecord* pRecords, DWORD nLen, DWORD nFrom) const {
    bool bWhole = false;
    for (DWORD n = 0; n < nLen; ++n) {
      pRecords[n].nWord = TextWord(EntryAt(pRecords[n].nIndex), nFrom, bWhole);
    }
  }

  // Sorts nLen records whose keys agree in their first nDepth bytes, none of
  // which is a terminator; their words hold the key bytes from nLoaded on,
  // with nLoaded a multiple of 8 at or below nDepth. pSpare has room for as
  // many records. The records move between the two places from one byte to
  // the next; with bBack they stand in the spare place, and the sorted ones
  // go to pSpare.
  void SortTextBucket(CTextRecord* pRecords, CTextRecord* pSpare, DWORD nLen, DWORD nDepth,
                      DWORD nLoaded, bool bBack) {
    const DWORD nKeyBytes = m_nEntrySize - ENTRY_KEY_OFFSET;
    auto done = [&] {
      if (bBack) {
        std::copy(pRecords, pRecords + nLen, pSpare);
      }
    };
    for (;;) {
      if (nDepth >= nLoaded + 8 && nDepth < nKeyBytes) {
        nLoaded = nDepth;
        LoadTextWords(pRecords, nLen, nLoaded);
      }
      if (nLen <= TEXT_INSERTION_MAX) {
        // Words that differ order the keys (the bytes before nDepth agree);
        // equal words that hold a terminator mean equal keys; else the
        // function decides.
        const bool bWholeWords = nLoaded + 8 <= nKeyBytes;
        auto before = [this, bWholeWords](const CTextRecord& a, const CTextRecord& b) {
          if (a.nWord != b.nWord) {
            return a.nWord < b.nWord;
          }
          if (bWholeWords && (a.nWord & 0xFF) == 0) {
            return false;
          }
          return CompareSign16(m_pfnCompare(EntryAt(a.nIndex), EntryAt(b.nIndex))) < 0;
        };
        for (DWORD n = 1; n < nLen; ++n) {
          const CTextRecord record = pRecords[n];
          DWORD m = n;
          for (; m > 0 && before(record, pRecords[m - 1]); --m) {
            pRecords[m] = pRecords[m - 1];
          }
          pRecords[m] = record;
        }
        done();
        return;
      }
      if (nDepth >= nKeyBytes) {
        // The keys run on behind the entry: only the function knows.
        std::stable_sort(pRecords, pRecords + nLen, [this](const CTextRecord& a,
                                                           const CTextRecord& b) {
          return CompareSign16(m_pfnCompare(EntryAt(a.nIndex), EntryAt(b.nIndex))) < 0;
        });
        done();
        return;
      }
      // Bytes in which all keys of the bucket agree are passed over at once.
      const ULONGLONG nFirstWord = pRecords[0].nWord;
      ULONGLONG nDiffer = 0;
      for (DWORD n = 1; n < nLen; ++n) {
        nDiffer |= pRecords[n].nWord ^ nFirstWord;
      }
      // Bytes of the word that come from the entry: a zero among them is a
      // terminator.
      const DWORD nInEntry = std::min<DWORD>(8, nKeyBytes - nLoaded);
      const DWORD nInWord = nDepth - nLoaded;
      const DWORD nSame = nDiffer == 0 ? 8 : static_cast<DWORD>(std::countl_zero(nDiffer)) / 8;
      if (nSame > nInWord) {
        // A terminator among the common bytes: the keys are equal, and stay
        // in their order of arrival.
        for (DWORD i = nInWord; i < std::min(nSame, nInEntry); ++i) {
          if (((nFirstWord >> (56 - 8 * i)) & 0xFF) == 0) {
            done();
            return;
          }
        }
        nDepth += nSame - nInWord;
        continue;
      }
      const int nShift = 56 - 8 * static_cast<int>(nInWord);
      DWORD anCounts[256] = {};
      for (DWORD n = 0; n < nLen; ++n) {
        ++anCounts[(pRecords[n].nWord >> nShift) & 0xFF];
      }
      DWORD anNext[256];
      DWORD nSum = 0;
      for (int b = 0; b < 256; ++b) {
        anNext[b] = nSum;
        nSum += anCounts[b];
      }
      for (DWORD n = 0; n < nLen; ++n) {
        pSpare[anNext[(pRecords[n].nWord >> nShift) & 0xFF]++] = pRecords[n];
      }
      // The records now stand in the other place. Bucket 0 holds keys that
      // ended here: equal, and in order, as is a bucket of one.
      const bool bChildBack = !bBack;
      DWORD nStart = 0;
      for (int b = 0; b < 256; ++b) {
        const DWORD nCount = anCounts[b];
        if (b != 0 && nCount > 1) {
          SortTextBucket(pSpare + nStart, pRecords + nStart, nCount, nDepth + 1, nLoaded,
                         bChildBack);
        } else if (bChildBack && nCount != 0) {
          std::copy(pSpare + nStart, pSpare + nStart + nCount, pRecords + nStart);
        }
        nStart += nCount;
      }
      return;
    }
  }

  // The run in order: the sorted buffer when there is one, else the run
  // buffer through the order.
  void WriteRun(const BYTE* pSorted, DWORD nLen, COutBuffer& out) {
    if (pSorted != nullptr) {
      out.PutBlock(pSorted, nLen);
      return;
    }
    if (m_keyOrder == CKeyOrder::kText) {
      for (DWORD n = 0; n < nLen; ++n) {
        out.Put(EntryAt(m_arText[n].nIndex));
      }
    } else {
      for (DWORD n = 0; n < nLen; ++n) {
        out.Put(EntryAt(m_arOrder[n]));
      }
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
  std::unique_ptr<BYTE[]> m_pWork;  // second buffer of the radix sort
  std::vector<DWORD> m_arOrder;
  std::vector<CTextRecord> m_arText;
  std::vector<CTextRecord> m_arTextWork;
};

}  // namespace

BOOL SortEntries(CFile* pSrc, DWORD nCount, WORD nEntrySize, PFN_COMPARE pfnCompareEntries,
                 CFile* pDest, CProgressMonitor* pMonitor, WORD nShare, DWORD nRunBytes) {
  if (pSrc == nullptr || pDest == nullptr || pfnCompareEntries == nullptr || nEntrySize == 0) {
    return FALSE;
  }
  if (nCount == 0) {
    return TRUE;
  }
  CEntrySorter sorter(pSrc, nCount, nEntrySize, pfnCompareEntries, pDest, nRunBytes);
  return sorter.Sort(pMonitor, nShare);
}
