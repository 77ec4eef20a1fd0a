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
#include <cstring>

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
  bool m_abStop[256] = {};
  explicit CStopTable(BYTE cSep) {
    m_abStop[CR] = m_abStop[LF] = m_abStop[0] = m_abStop[cSep] = true;
  }
};

// Hands a cell to the array, reusing the string already at its place.
inline void StoreCell(CStringArray& arCells, int nCell, const BYTE* pText, UINT nLength) {
  const char* pszText = reinterpret_cast<const char*>(pText);
  if (nCell < arCells.GetSize()) {
    arCells.ElementAt(nCell).SetString(pszText, static_cast<int>(nLength));
  } else {
    arCells.SetAtGrow(nCell, CString(pszText, static_cast<int>(nLength)));
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
  if (s_pBuffer == nullptr) {
    s_pBuffer = new BYTE[LINE_BUFFER_SIZE];
  }
  BYTE* const pBuf = s_pBuffer;
  const BYTE cSep = static_cast<BYTE>(m_cColSep);
  const CStopTable stop(cSep);
  // Lead bytes of the code page in force; null for a single-byte page.
  const CCodePageTable* pPage = FindCodePageTable(_getmbcp());
  const unsigned char* pLead = pPage != nullptr ? pPage->m_pbyLead : nullptr;
  // Reading an SDC file adds the key; copying a TXT file out subtracts it.
  const bool bTransform = pOut != nullptr || m_bScrambled;
  char cKey = 0;
  if (bTransform) {
    MakeLineKey(&cKey, m_nFilePos, static_cast<char>(m_bScrambled ? 1 : -1));
  }

  int nCells = 0;
  UINT nCarried = 0;          // bytes of the unfinished cell moved to the buffer's start
  bool bEof = false;          // the last fill got less than it asked for
  bool bLeadCarried = false;  // the carried bytes end with a lead byte
  DWORD nBudget = nMaxBytes;
  UINT nLineStart = m_nBufPos;

  for (;;) {
    // Fill: the carried bytes were scanned (and transformed) before; the
    // scan goes on behind them.
    UINT nScan = m_nBufPos;
    if (m_nBufPos >= m_nBufEnd) {
      m_nFilePos = static_cast<DWORD>(m_fileData.GetPosition());
      const UINT nRoom = LINE_BUFFER_SIZE - nCarried;
      if (nRoom == 0) {
        m_nBufEnd = 0;
        m_nBufPos = 0;
        throw CFileException(CFileException::cellTooLong, -1, m_fileData.GetFilePath());
      }
      UINT nWant = nRoom;
      if (nMaxBytes != 0) {
        nWant = std::min<DWORD>(nWant, nBudget);
        nBudget -= nWant;
      }
      const UINT nGot = nWant != 0 ? m_fileData.Read(pBuf + nCarried, nWant) : 0;
      bEof = nGot < nWant;
      m_nBufEnd = static_cast<WORD>(nCarried + nGot);
      m_nBufPos = static_cast<WORD>(nCarried);
      nLineStart = nCarried;
      nScan = nCarried;
      // The trail byte of a carried lead byte is neither tested nor changed.
      if (bLeadCarried && nGot > 0) {
        ++nScan;
      }
    }

    // Scan.
    const UINT nEnd = m_nBufEnd;
    UINT nCellStart = m_nBufPos - nCarried;
    UINT nCur = nScan;
    bool bLineEnd = false;
    bLeadCarried = false;
    while (nCur < nEnd) {
      // Plain text in a single-byte page: nothing to do but find the next
      // stop byte.
      if (!bTransform && pLead == nullptr) {
        while (nCur < nEnd && !stop.m_abStop[pBuf[nCur]]) {
          ++nCur;
        }
        if (nCur == nEnd) {
          break;
        }
      }
      const BYTE b = pBuf[nCur];
      if (stop.m_abStop[b]) {
        bLineEnd = IsLineEnd(b);
        if (pOut == nullptr) {
          pBuf[nCur] = 0;
          StoreCell(arCells, nCells, pBuf + nCellStart, nCur - nCellStart);
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
      if (pOut != nullptr && nCur > m_nBufPos) {
        pOut->Write(pBuf + m_nBufPos, nCur - m_nBufPos);
      }
      m_nFilePos += nCur - nLineStart;
      m_nBufPos = static_cast<WORD>(nCur);
      arCells.SetSize(nCells);
      if (nCells == 0) {
        return -1;
      }
      return static_cast<short>(std::min<int>(nCells, MAX_CELL_COUNT));
    }

    // The buffer ran out inside the line: keep the unfinished cell.
    if (pOut != nullptr && nCur > m_nBufPos) {
      pOut->Write(pBuf + m_nBufPos, nCur - m_nBufPos);
    }
    nCarried = nEnd - nCellStart;
    std::memmove(pBuf, pBuf + nCellStart, nCarried);
    m_nBufPos = 0;
    m_nBufEnd = 0;
    if (nMaxBytes != 0 && nBudget == 0) {
      return -1;
    }
  }
}
