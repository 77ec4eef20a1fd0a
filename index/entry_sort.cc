#include "index/entry_sort.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/exceptions.h"
#include "platform/temp_file.h"

namespace {

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

// Collects entries and writes them to a file in blocks.
class COutBuffer {
 public:
  COutBuffer(CFile* pFile, WORD nEntrySize, CSortProgress& progress)
      : m_pFile(pFile),
        m_nEntrySize(nEntrySize),
        m_abData(std::max<DWORD>(SORT_OUT_BUFFER_SIZE / nEntrySize, 1) * nEntrySize),
        m_progress(progress) {}

  void Put(const BYTE* pEntry) {
    if (m_nUsed + m_nEntrySize > m_abData.size()) {
      Flush();
    }
    std::memcpy(m_abData.data() + m_nUsed, pEntry, m_nEntrySize);
    m_nUsed += m_nEntrySize;
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
};

class CEntrySorter {
 public:
  CEntrySorter(CFile* pSrc, DWORD nCount, WORD nEntrySize, PFN_COMPARE pfnCompare, CFile* pDest,
               DWORD nRunBytes)
      : m_pSrc(pSrc),
        m_nCount(nCount),
        m_nEntrySize(nEntrySize),
        m_pfnCompare(pfnCompare),
        m_pDest(pDest) {
    m_nRunEntries = std::max<DWORD>(nRunBytes / nEntrySize, 3);
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
    m_abRun.resize(static_cast<size_t>(m_nRunEntries) * m_nEntrySize);
    if (CopyIfInOrder()) {
      progress.Advance(nTotal);
      return TRUE;
    }
    m_anOrder.resize(m_nRunEntries);

    if (nPasses == 0) {
      if (!LoadRun(0, m_nCount)) {
        return FALSE;
      }
      progress.Advance(m_nCount);
      OrderRun(m_nCount);
      progress.Advance(m_nCount);
      COutBuffer out(m_pDest, m_nEntrySize, progress);
      WriteRun(m_nCount, out);
      return TRUE;
    }

    for (DWORD nRun = 0; nRun < nRuns; ++nRun) {
      ULONGLONG nFirst = static_cast<ULONGLONG>(nRun) * m_nRunEntries;
      DWORD nLen = static_cast<DWORD>(std::min<ULONGLONG>(m_nRunEntries, m_nCount - nFirst));
      if (!LoadRun(nFirst, nLen)) {
        return FALSE;
      }
      OrderRun(nLen);
      m_pSrc->Seek(static_cast<LONGLONG>(nFirst * m_nEntrySize), CFile::begin);
      COutBuffer out(m_pSrc, m_nEntrySize, progress);
      WriteRun(nLen, out);
    }

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
      BOOL bInOrder = m_pSrc->Read(m_abRun.data(), nBytes) == nBytes;
      for (DWORD n = 0; bInOrder && n < nLen; ++n) {
        const BYTE* pBefore = n > 0 ? EntryAt(n - 1) : nDone > 0 ? abLast.data() : nullptr;
        bInOrder = pBefore == nullptr || CompareSign16(m_pfnCompare(pBefore, EntryAt(n))) <= 0;
      }
      if (!bInOrder) {
        m_pDest->Seek(static_cast<LONGLONG>(nDestStart), CFile::begin);
        return FALSE;
      }
      std::memcpy(abLast.data(), EntryAt(nLen - 1), m_nEntrySize);
      m_pDest->Write(m_abRun.data(), nBytes);
      nDone += nLen;
    }
    return TRUE;
  }

  const BYTE* EntryAt(DWORD n) const {
    return m_abRun.data() + static_cast<size_t>(n) * m_nEntrySize;
  }

  // Entries nFirst to nFirst + nLen - 1 of the source into the run buffer.
  BOOL LoadRun(ULONGLONG nFirst, DWORD nLen) {
    UINT nBytes = nLen * m_nEntrySize;
    m_pSrc->Seek(static_cast<LONGLONG>(nFirst * m_nEntrySize), CFile::begin);
    return m_pSrc->Read(m_abRun.data(), nBytes) == nBytes;
  }

  // Stable order of the first nLen entries of the run buffer.
  void OrderRun(DWORD nLen) {
    for (DWORD n = 0; n < nLen; ++n) {
      m_anOrder[n] = n;
    }
    std::stable_sort(m_anOrder.begin(), m_anOrder.begin() + nLen, [this](DWORD a, DWORD b) {
      return CompareSign16(m_pfnCompare(EntryAt(a), EntryAt(b))) < 0;
    });
  }

  void WriteRun(DWORD nLen, COutBuffer& out) {
    for (DWORD n = 0; n < nLen; ++n) {
      out.Put(EntryAt(m_anOrder[n]));
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
    // Heap order: the smaller entry first, on a tie the earlier run.
    auto after = [&](DWORD a, DWORD b) {
      int nCmp = CompareSign16(m_pfnCompare(entryOf(a), entryOf(b)));
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
        run.pSlice = m_abRun.data() + static_cast<size_t>(r) * nSliceEntries * m_nEntrySize;
        if (!Refill(pIn, run, nSliceEntries)) {
          return FALSE;
        }
        arHeap.push_back(r);
        std::push_heap(arHeap.begin(), arHeap.end(), after);
      }
      while (!arHeap.empty()) {
        std::pop_heap(arHeap.begin(), arHeap.end(), after);
        DWORD r = arHeap.back();
        CRunCursor& run = arRuns[r];
        out.Put(entryOf(r));
        if (++run.nAt == run.nFill) {
          if (run.nLeft == 0) {
            arHeap.pop_back();
            continue;
          }
          if (!Refill(pIn, run, nSliceEntries)) {
            return FALSE;
          }
        }
        std::push_heap(arHeap.begin(), arHeap.end(), after);
      }
    }
    return TRUE;
  }

  CFile* m_pSrc;
  DWORD m_nCount;
  WORD m_nEntrySize;
  PFN_COMPARE m_pfnCompare;
  CFile* m_pDest;
  DWORD m_nRunEntries;
  DWORD m_nWays;
  std::vector<BYTE> m_abRun;
  std::vector<DWORD> m_anOrder;
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
