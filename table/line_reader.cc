// The line reader: the one routine through which every line of a table file,
// TXT or SDC, is read.
//
// A line is cells separated by m_cColSep; it ends at the first CR, LF or NUL,
// and every CR and LF right behind that byte belongs to its end. An SDC file
// holds the same bytes at the same offsets, but each byte of a line that is
// not the separator, CR, LF or NUL is stored lower by the line's key (1 to
// 18, from the offset of the line's first byte), in 8-bit arithmetic.
//
// The reader works in place in the shared buffer: keys are added and
// separators overwritten with NUL there, and each cell is handed over as the
// NUL-terminated text in the buffer. Only the unfinished cell is moved when
// the buffer is filled again, so a line may be longer than the buffer, but a
// cell may not.
#include <algorithm>
#include <bit>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/lorn_defs.h"
#include "platform/mbcs.h"
#include "table/cat_std.h"

namespace {

constexpr BYTE CR = 13;
constexpr BYTE LF = 10;
constexpr short MAX_CELL_COUNT = 0x7FFF;

inline bool IsLineEnd(BYTE b) {
  return b == CR || b == LF || b == 0;
}

// Bytes at which the scan stops: the separator and the three line ends.
struct CStopTable {
  BYTE m_cSep = 0;
  bool m_abStop[256] = {};
  explicit CStopTable(BYTE cSep) : m_cSep(cSep) {
    m_abStop[CR] = m_abStop[LF] = m_abStop[0] = m_abStop[cSep] = true;
  }
};

// The table of the separator in use, made again only when it changes.
const CStopTable& StopTableFor(BYTE cSep) {
  static CStopTable s_stop(9);
  if (s_stop.m_cSep != cSep) {
    s_stop = CStopTable(cSep);
  }
  return s_stop;
}

// Lead bytes of the multi-byte code page in force; null for a single-byte
// page. The page is looked up again only when it changes.
const unsigned char* LeadBytesInForce() {
  static int s_nPage = 0;
  static const unsigned char* s_pLead = nullptr;
  const int nPage = _getmbcp();
  if (nPage != s_nPage) {
    const CCodePageTable* pPage = FindCodePageTable(nPage);
    s_pLead = pPage != nullptr ? pPage->m_pbyLead : nullptr;
    s_nPage = nPage;
  }
  return s_pLead;
}

#if defined(__SSE2__)
// One bit for each stop byte among the 16 bytes at p, the first byte lowest.
inline unsigned int StopMask16(const BYTE* p, const __m128i& vSep) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  const __m128i vHit = _mm_or_si128(
      _mm_or_si128(_mm_cmpeq_epi8(v, vSep), _mm_cmpeq_epi8(v, _mm_set1_epi8(CR))),
      _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(LF)), _mm_cmpeq_epi8(v, _mm_setzero_si128())));
  return static_cast<unsigned int>(_mm_movemask_epi8(vHit));
}
#endif

// Where the cells of a line go: CStrings for ReadLine, pointers into the
// buffer for ReadCells.
class CStringSink {
 public:
  explicit CStringSink(CStringArray& arCells) : m_arCells(arCells) {}

  // Hands a cell to the array, reusing the string already at its place.
  void Store(int nCell, const BYTE* pText, UINT nLength) {
    const char* pszText = reinterpret_cast<const char*>(pText);
    if (nCell < m_arCells.GetSize()) {
      m_arCells.ElementAt(nCell).SetString(pszText, static_cast<int>(nLength));
    } else {
      m_arCells.SetAtGrow(nCell, CString(pszText, static_cast<int>(nLength)));
    }
  }
  // Cells already stored are copies: a refill cannot touch them.
  void BeforeRefill(int /*nCells*/) {}
  void Finish(int nCells) { m_arCells.SetSize(nCells); }

 private:
  CStringArray& m_arCells;
};

class CPointerSink {
 public:
  CPointerSink(const char** apszCells, UINT* anLengths, short nMaxCells, CStringArray& arSpill)
      : m_apszCells(apszCells), m_anLengths(anLengths), m_nMaxCells(nMaxCells), m_arSpill(arSpill) {
    // Sized once, so that no string moves while pointers to it are out.
    if (m_arSpill.GetSize() < nMaxCells) {
      m_arSpill.SetSize(nMaxCells);
    }
  }

  void Store(int nCell, const BYTE* pText, UINT nLength) {
    if (nCell < m_nMaxCells) {
      m_apszCells[nCell] = reinterpret_cast<const char*>(pText);
      m_anLengths[nCell] = nLength;
    }
  }
  // The finished cells of the line still in the buffer are copied out: the
  // buffer is about to be filled anew.
  void BeforeRefill(int nCells) {
    const int nKept = std::min<int>(nCells, m_nMaxCells);
    for (int nCell = m_nFirstInBuffer; nCell < nKept; ++nCell) {
      CString& strCell = m_arSpill.ElementAt(nCell);
      strCell.SetString(m_apszCells[nCell], static_cast<int>(m_anLengths[nCell]));
      m_apszCells[nCell] = strCell.GetString();
    }
    m_nFirstInBuffer = std::max(m_nFirstInBuffer, nKept);
  }
  void Finish(int /*nCells*/) {}

 private:
  const char** m_apszCells;
  UINT* m_anLengths;
  short m_nMaxCells;
  CStringArray& m_arSpill;
  int m_nFirstInBuffer = 0;
};

// The reader itself; see ReadLine. The sink receives each cell as it ends,
// is told before the buffer is filled in the middle of a line, and gets the
// count of cells when the line has ended.
template <class CSink>
short ReadLineInto(CCatStd& table, CSink& sink, DWORD nMaxBytes, CFile* pOut) {
  if (CCatStd::s_pBuffer == nullptr) {
    CCatStd::s_pBuffer = new BYTE[LINE_BUFFER_SIZE];
  }
  BYTE* const pBuf = CCatStd::s_pBuffer;
  const CStopTable& stop = StopTableFor(static_cast<BYTE>(table.m_cColSep));
  const unsigned char* const pLead = LeadBytesInForce();
  // Reading an SDC file adds the key; copying a TXT file out subtracts it.
  const bool bTransform = pOut != nullptr || table.m_bScrambled;
  const bool bPlain = !bTransform && pLead == nullptr;
  char cKey = 0;
  if (bTransform) {
    CCatStd::MakeLineKey(&cKey, table.m_nFilePos, static_cast<char>(table.m_bScrambled ? 1 : -1));
  }

  int nCells = 0;
  UINT nCarried = 0;          // bytes of the unfinished cell moved to the buffer's start
  bool bEof = false;          // the last fill got less than it asked for
  bool bLeadCarried = false;  // the carried bytes end with a lead byte
  DWORD nBudget = nMaxBytes;
  UINT nLineStart = table.m_nBufPos;

  for (;;) {
    // Fill: the carried bytes were scanned (and transformed) before; the
    // scan goes on behind them.
    UINT nScan = table.m_nBufPos;
    if (table.m_nBufPos >= table.m_nBufEnd) {
      table.m_nFilePos = static_cast<DWORD>(table.m_fileData.GetPosition());
      const UINT nRoom = LINE_BUFFER_SIZE - nCarried;
      if (nRoom == 0) {
        table.m_nBufEnd = 0;
        table.m_nBufPos = 0;
        throw CFileException(CFileException::cellTooLong, -1, table.m_fileData.GetFilePath());
      }
      UINT nWant = nRoom;
      if (nMaxBytes != 0) {
        nWant = std::min<DWORD>(nWant, nBudget);
        nBudget -= nWant;
      }
      const UINT nGot = nWant != 0 ? table.m_fileData.Read(pBuf + nCarried, nWant) : 0;
      bEof = nGot < nWant;
      table.m_nBufEnd = static_cast<WORD>(nCarried + nGot);
      table.m_nBufPos = static_cast<WORD>(nCarried);
      nLineStart = nCarried;
      nScan = nCarried;
      // The trail byte of a carried lead byte is neither tested nor changed.
      if (bLeadCarried && nGot > 0) {
        ++nScan;
      }
    }

    // Scan.
    const UINT nEnd = table.m_nBufEnd;
    UINT nCellStart = table.m_nBufPos - nCarried;
    UINT nCur = nScan;
    bool bLineEnd = false;
    bLeadCarried = false;
    if (bPlain) {
      // Plain text in a single-byte page: nothing to do but find the stop
      // bytes, 16 at a time where the processor allows it.
      auto endCell = [&](UINT nAt) {
        bLineEnd = IsLineEnd(pBuf[nAt]);
        pBuf[nAt] = 0;
        sink.Store(nCells, pBuf + nCellStart, nAt - nCellStart);
        ++nCells;
        nCellStart = nAt + 1;
        return bLineEnd;
      };
#if defined(__SSE2__)
      const __m128i vSep = _mm_set1_epi8(static_cast<char>(stop.m_cSep));
      while (!bLineEnd && nCur + 16 <= nEnd) {
        for (unsigned int nMask = StopMask16(pBuf + nCur, vSep); nMask != 0; nMask &= nMask - 1) {
          const UINT nAt = nCur + static_cast<UINT>(std::countr_zero(nMask));
          if (endCell(nAt)) {
            nCur = nAt + 1;
            break;
          }
        }
        if (!bLineEnd) {
          nCur += 16;
        }
      }
#endif
      for (; !bLineEnd && nCur < nEnd; ++nCur) {
        if (stop.m_abStop[pBuf[nCur]] && endCell(nCur)) {
          ++nCur;
          break;
        }
      }
    }
    while (!bPlain && nCur < nEnd) {
      const BYTE b = pBuf[nCur];
      if (stop.m_abStop[b]) {
        bLineEnd = IsLineEnd(b);
        if (pOut == nullptr) {
          // The cell is the NUL-terminated text from its start: a byte that
          // unscrambles to NUL, or a NUL trail byte, cuts it there.
          pBuf[nCur] = 0;
          const char* pszCell = reinterpret_cast<const char*>(pBuf + nCellStart);
          sink.Store(nCells, pBuf + nCellStart,
                     static_cast<UINT>(strnlen(pszCell, nCur - nCellStart)));
        }
        ++nCells;
        nCellStart = nCur + 1;
        ++nCur;
        if (bLineEnd) {
          break;
        }
        continue;
      }
      if (bTransform) {
        pBuf[nCur] = static_cast<BYTE>(b + cKey);
      }
      if (pLead == nullptr || !pLead[pBuf[nCur]]) {
        ++nCur;
      } else if (nCur + 1 < nEnd) {
        nCur += 2;
      } else if (!bEof) {
        // A lead byte that ends the fill: it goes along with the unfinished
        // cell, and its trail byte is the first one of the next fill.
        bLeadCarried = true;
        nCur = nEnd;
      } else {
        ++nCur;  // the file ends on it: a byte of its own
      }
    }

    // End of the line, or of the file.
    if (bLineEnd || bEof) {
      while (nCur < nEnd && (pBuf[nCur] == CR || pBuf[nCur] == LF)) {
        ++nCur;
      }
      if (pOut != nullptr && nCur > table.m_nBufPos) {
        pOut->Write(pBuf + table.m_nBufPos, nCur - table.m_nBufPos);
      }
      table.m_nFilePos += nCur - nLineStart;
      table.m_nBufPos = static_cast<WORD>(nCur);
      sink.Finish(nCells);
      if (nCells == 0) {
        return -1;
      }
      return static_cast<short>(std::min<int>(nCells, MAX_CELL_COUNT));
    }

    // The buffer ran out inside the line: keep the unfinished cell.
    if (pOut != nullptr && nCur > table.m_nBufPos) {
      pOut->Write(pBuf + table.m_nBufPos, nCur - table.m_nBufPos);
    }
    sink.BeforeRefill(nCells);
    nCarried = nEnd - nCellStart;
    std::memmove(pBuf, pBuf + nCellStart, nCarried);
    table.m_nBufPos = 0;
    table.m_nBufEnd = 0;
    if (nMaxBytes != 0 && nBudget == 0) {
      return -1;
    }
  }
}

}  // namespace

void CCatStd::MakeLineKey(char* pKey, DWORD nPos, char nSign) {
  const DWORD nRest = nPos % 100;
  int nKey = static_cast<int>(nRest / 10 + nRest % 10);
  if (nKey < 2) {
    nKey = 1;
  }
  *pKey = static_cast<char>(nKey * nSign);
}

void CCatStd::SeekLine(DWORD nPos) {
  m_fileData.Seek(nPos, CFile::begin);
  m_nFilePos = nPos;
  m_nBufEnd = 0;
  m_nBufPos = 0;
}

short CCatStd::ReadLine(CStringArray& arCells, DWORD nMaxBytes, CFile* pOut) {
  CStringSink sink(arCells);
  return ReadLineInto(*this, sink, nMaxBytes, pOut);
}

short CCatStd::ReadCells(const char** apszCells, UINT* anLengths, short nMaxCells,
                         CStringArray& arSpill) {
  CPointerSink sink(apszCells, anLengths, nMaxCells, arSpill);
  return ReadLineInto(*this, sink, 0, nullptr);
}
