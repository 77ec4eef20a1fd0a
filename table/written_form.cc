#include "table/written_form.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform/exceptions.h"
#include "platform/mbcs.h"
#include "platform/time_zone.h"
#include "table/cat_std.h"

namespace {

constexpr char CR = '\r';
constexpr char LF = '\n';
constexpr char PATH_SEP = '/';
// Written in blocks of this size; a pass writes far more than one block.
constexpr size_t WRITE_BLOCK = 65536;

}  // namespace

// ---------------------------------------------------------------------------
// CTableWriter

CTableWriter::CTableWriter(CFile* pFile, char cColSep, BOOL bScramble)
    : m_pFile(pFile), m_cColSep(cColSep), m_bScramble(bScramble), m_buffer(WRITE_BLOCK) {}

void CTableWriter::WriteLine(const CStringArray& arCells) {
  for (INT_PTR nCell = 0; nCell < arCells.GetSize(); ++nCell) {
    if (nCell > 0) {
      AddSep();
    }
    const CString& strCell = arCells[nCell];
    AddText(strCell.GetString(), static_cast<size_t>(strCell.GetLength()));
  }
  EndLine();
}

void CTableWriter::AddText(const char* pchText, size_t nLength) {
  StartLine();
  // The reader holds a cell and the byte that ends it in its buffer.
  m_nCellLength += nLength;
  if (m_nCellLength >= LINE_BUFFER_SIZE) {
    m_bReadable = FALSE;
  }
  if (m_bScramble) {
    PutScrambled(pchText, nLength);
    return;
  }
  while (nLength > 0) {
    if (m_nUsed == m_buffer.size()) {
      Flush();
    }
    const size_t nRoom = m_buffer.size() - m_nUsed;
    const size_t nCount = nLength < nRoom ? nLength : nRoom;
    std::memcpy(m_buffer.data() + m_nUsed, pchText, nCount);
    m_nUsed += nCount;
    pchText += nCount;
    nLength -= nCount;
  }
}

void CTableWriter::AddSep() {
  StartLine();
  // The reader would take a separator behind a lead byte as its trail.
  if (m_bTrail) {
    m_bReadable = FALSE;
    m_bTrail = FALSE;
  }
  Put(m_cColSep);
  m_nCellLength = 0;
}

void CTableWriter::EndLine() {
  StartLine();
  if (m_bTrail) {
    m_bReadable = FALSE;
    m_bTrail = FALSE;
  }
  Put(CR);
  Put(LF);
  m_bInLine = FALSE;
  m_nCellLength = 0;
}

void CTableWriter::Flush() {
  if (m_nUsed == 0) {
    return;
  }
  m_pFile->Write(m_buffer.data(), static_cast<UINT>(m_nUsed));
  m_nFlushed += m_nUsed;
  m_nUsed = 0;
}

void CTableWriter::Put(char c) {
  if (m_nUsed == m_buffer.size()) {
    Flush();
  }
  m_buffer[m_nUsed++] = c;
}

void CTableWriter::StartLine() {
  if (m_bInLine) {
    return;
  }
  m_bInLine = TRUE;
  m_bTrail = FALSE;
  if (m_bScramble) {
    CCatStd::MakeLineKey(&m_cKey, static_cast<DWORD>(m_nFlushed + m_nUsed), -1);
  }
}

BOOL CTableWriter::IsLineByte(char c) const {
  return c == m_cColSep || c == CR || c == LF || c == '\0';
}

void CTableWriter::PutScrambled(const char* pchText, size_t nLength) {
  for (size_t i = 0; i < nLength; ++i) {
    const char c = pchText[i];
    if (m_bTrail) {
      m_bTrail = FALSE;
      Put(c);
      continue;
    }
    const char cStored = static_cast<char>(static_cast<unsigned char>(c) + m_cKey);
    if (IsLineByte(cStored)) {
      m_bReadable = FALSE;
    }
    Put(cStored);
    // The reader judges a lead byte on the byte it has unscrambled.
    m_bTrail = _ismbblead(static_cast<unsigned char>(c)) ? TRUE : FALSE;
  }
}

// ---------------------------------------------------------------------------
// Names

CString MakeSiblingPath(const CCatStd& table, const char* pszExt) {
  const int nDot = table.m_strName.ReverseFind('.');
  return table.m_strDir + table.m_strName.Left(nDot + 1) + pszExt;
}

BOOL IsScrambledPath(const CString& strPath) {
  const CString strName = strPath.Mid(strPath.ReverseFind(PATH_SEP) + 1);
  CString strExt = strName.Mid(strName.ReverseFind('.') + 1);
  strExt.MakeUpper();
  return strExt == "SDC" ? TRUE : FALSE;
}

// ---------------------------------------------------------------------------
// Stamp

void ForgetStamp(CCatStd& table) {
  CFileStatus status;
  if (!CFile::GetStatus(table.m_strDir + table.m_strName, status)) {
    return;
  }
  // The stamp as Open makes it; one second apart is never the same time.
  const DWORD nLow = static_cast<DWORD>(static_cast<uint64_t>(status.m_mtime.GetTime()));
  const DWORD nStamp = nLow - static_cast<DWORD>(GetTimeZoneBias());
  table.m_tStamp = nStamp + 1;
}

// ---------------------------------------------------------------------------
// Progress

double RewriteRate(CCatStd& table) {
  const double dRate = static_cast<double>(table.m_nRows) / 100.0;
  if (dRate >= REAL_TOLERANCE) {
    return dRate;
  }
  if (table.m_nDataPos == 0) {
    return 1.0;
  }
  const DWORD nLength = static_cast<DWORD>(table.m_fileData.GetLength());
  return static_cast<double>(nLength / table.m_nDataPos);
}

WORD RewritePos(DWORD nDone, double dRate) {
  if (dRate <= 0.0) {
    return 0;
  }
  return static_cast<WORD>(static_cast<ULONGLONG>(static_cast<double>(nDone) / dRate));
}
