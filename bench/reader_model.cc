#include "bench/reader_model.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "frame/lorn_defs.h"

namespace lorn_bench {

namespace {

constexpr BYTE CR = 13;
constexpr BYTE LF = 10;
constexpr BYTE TAB = 9;

bool IsLineEnd(BYTE b) {
  return b == CR || b == LF || b == 0;
}

// The bytes of a string, by offset.
class CStringBytes {
 public:
  explicit CStringBytes(const std::string& strText) : m_strText(strText) {}
  ULONGLONG GetLength() const { return m_strText.size(); }
  BYTE At(ULONGLONG nPos) { return static_cast<BYTE>(m_strText[nPos]); }
  BOOL IsGood() const { return TRUE; }

 private:
  const std::string& m_strText;
};

// The bytes of a file, by offset, for a reader that only moves forward.
class CFileBytes {
 public:
  explicit CFileBytes(const char* pszPath) : m_pFile(std::fopen(pszPath, "rb"), &std::fclose) {
    if (m_pFile != nullptr && std::fseek(m_pFile.get(), 0, SEEK_END) == 0) {
      const long nLength = std::ftell(m_pFile.get());
      m_nLength = nLength > 0 ? static_cast<ULONGLONG>(nLength) : 0;
      std::rewind(m_pFile.get());
    }
    m_abBlock.resize(1 << 20);
  }
  ULONGLONG GetLength() const { return m_nLength; }
  BYTE At(ULONGLONG nPos) {
    if (nPos < m_nBlockStart || nPos >= m_nBlockStart + m_nBlockSize) {
      m_nBlockStart = nPos;
      m_nBlockSize = 0;
      if (std::fseek(m_pFile.get(), static_cast<long>(nPos), SEEK_SET) == 0) {
        m_nBlockSize = std::fread(m_abBlock.data(), 1, m_abBlock.size(), m_pFile.get());
      }
      if (m_nBlockSize == 0) {
        m_bGood = FALSE;
        return 0;
      }
    }
    return m_abBlock[nPos - m_nBlockStart];
  }
  BOOL IsGood() const { return m_pFile != nullptr && m_bGood; }

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> m_pFile;
  ULONGLONG m_nLength = 0;
  std::vector<BYTE> m_abBlock;
  ULONGLONG m_nBlockStart = 0;
  ULONGLONG m_nBlockSize = 0;
  BOOL m_bGood = TRUE;
};

template <class TBytes>
BOOL RunPass(TBytes& bytes, DWORD nStart, CReaderRows& rows) {
  rows = CReaderRows();
  const ULONGLONG nLength = bytes.GetLength();
  ULONGLONG nFetched = std::min<ULONGLONG>(nStart, nLength);  // bytes the fills have read
  ULONGLONG nCursor = nFetched;
  for (;;) {
    DWORD nCells = 0;
    BOOL bText = FALSE;  // a delivered cell holds a byte
    BOOL bCellText = FALSE;
    ULONGLONG nCarried = 0;
    ULONGLONG nCellStart = nCursor;
    BOOL bEof = FALSE;
    for (;;) {
      if (nCursor >= nFetched) {
        if (nCarried >= LINE_BUFFER_SIZE) {
          return FALSE;  // the unfinished cell fills the buffer
        }
        const ULONGLONG nWant = LINE_BUFFER_SIZE - nCarried;
        const ULONGLONG nGot = std::min(nWant, nLength - nFetched);
        bEof = nGot < nWant;
        nFetched += nGot;
      }
      BOOL bLineEnd = FALSE;
      while (nCursor < nFetched) {
        const BYTE b = bytes.At(nCursor++);
        if (b == TAB || IsLineEnd(b)) {
          ++nCells;
          bText = bText || bCellText;
          bCellText = FALSE;
          nCellStart = nCursor;
          if (IsLineEnd(b)) {
            bLineEnd = TRUE;
            break;
          }
        } else {
          bCellText = TRUE;
        }
      }
      if (bLineEnd || bEof) {
        // The line end takes the CR and LF bytes behind it, up to the end of
        // the fill only.
        while (bLineEnd && nCursor < nFetched) {
          const BYTE b = bytes.At(nCursor);
          if (b != CR && b != LF) {
            break;
          }
          ++nCursor;
        }
        break;
      }
      nCarried = nFetched - nCellStart;
    }
    if (!bytes.IsGood()) {
      return FALSE;
    }
    if (nCells == 0) {
      return TRUE;
    }
    if (!bText) {
      rows.arBlank.push_back(rows.nRows);
    }
    ++rows.nRows;
  }
}

}  // namespace

LONG CReaderRows::LineOf(DWORD nRow) const {
  const auto it = std::lower_bound(arBlank.begin(), arBlank.end(), nRow);
  if (it != arBlank.end() && *it == nRow) {
    return -1;
  }
  return static_cast<LONG>(nRow - static_cast<DWORD>(it - arBlank.begin()));
}

BOOL ModelReaderPass(const std::string& strText, DWORD nStart, CReaderRows& rows) {
  CStringBytes bytes(strText);
  return RunPass(bytes, nStart, rows);
}

BOOL ModelReaderPassOnFile(const char* pszPath, DWORD nStart, CReaderRows& rows) {
  CFileBytes bytes(pszPath);
  if (!bytes.IsGood()) {
    rows = CReaderRows();
    return FALSE;
  }
  return RunPass(bytes, nStart, rows);
}

}  // namespace lorn_bench
