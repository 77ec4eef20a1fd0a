// CryptTable writes the other form of a table beside it: the SDC file from a
// TXT file, or the TXT file from an SDC file. The reader does the work: it
// copies each line to the new file with the key of the line's offset put on
// or taken off, so that the new file has the same lines at the same offsets
// and can share the table's sidecar. The new file gets the time that the
// table had when it was opened, so that both forms pass the sidecar's stamp.
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <vector>

#include "frame/monitor.h"
#include "frame/settings.h"
#include "platform/time_zone.h"
#include "table/cat_std.h"
#include "table/work_file.h"
#include "table/written_form.h"

namespace {

constexpr UINT READ_SOURCE = CFile::modeRead | CFile::shareDenyWrite;
// Bytes gathered before each write.
constexpr UINT TWIN_BLOCK = 65536;

// The new file of a conversion. It gathers what the reader copies into
// blocks, and checks each block against the source's bytes at the same
// offsets: a byte that the conversion turned into a separator, CR, LF or
// NUL would cut the line in another place when the new file is read, and
// the new file would not give the table's lines back.
//
// The check is exact in single-byte code pages, where the reader finds the
// same line and cell bounds in both forms exactly when no such byte arose.
class CTwinFile : public CFile {
 public:
  CTwinFile(const CString& strSource, char cColSep) : m_cColSep(cColSep) {
    CFileException error;
    m_bSourceOpen = m_fileSource.Open(strSource, READ_SOURCE, &error);
    m_block.reserve(TWIN_BLOCK);
  }

  BOOL IsSourceOpen() const { return m_bSourceOpen; }
  BOOL IsFaithful() const { return m_bFaithful; }

  void Write(const void* lpBuf, UINT nCount) override {
    const char* pch = static_cast<const char*>(lpBuf);
    while (nCount > 0) {
      const UINT nRoom = TWIN_BLOCK - static_cast<UINT>(m_block.size());
      const UINT nTake = nCount < nRoom ? nCount : nRoom;
      m_block.insert(m_block.end(), pch, pch + nTake);
      pch += nTake;
      nCount -= nTake;
      if (m_block.size() == TWIN_BLOCK) {
        WriteBlock();
      }
    }
  }

  // Writes what is gathered.
  void Finish() { WriteBlock(); }

 private:
  BOOL IsLineByte(char c) const { return c == m_cColSep || c == '\r' || c == '\n' || c == '\0'; }

  void WriteBlock() {
    if (m_block.empty()) {
      return;
    }
    m_source.resize(m_block.size());
    const UINT nGot = m_fileSource.Read(m_source.data(), static_cast<UINT>(m_source.size()));
    for (size_t i = 0; i < m_block.size(); ++i) {
      const char c = m_block[i];
      if (IsLineByte(c) && (i >= nGot || m_source[i] != c)) {
        m_bFaithful = FALSE;
        break;
      }
    }
    CFile::Write(m_block.data(), static_cast<UINT>(m_block.size()));
    m_block.clear();
  }

  char m_cColSep;
  CFile m_fileSource;
  BOOL m_bSourceOpen = FALSE;
  BOOL m_bFaithful = TRUE;
  std::vector<char> m_block;
  std::vector<char> m_source;
};

}  // namespace

void CCatStd::CryptTable(BOOL bCrypt) {
  if (m_pMaster != nullptr) {
    m_pMaster->CryptTable(bCrypt);
    return;
  }
  CProgressMonitor* pMonitor = GetProgressMonitor();
  const BOOL bWanted = bCrypt != FALSE ? TRUE : FALSE;
  if (bWanted == (m_bScrambled != FALSE ? TRUE : FALSE) || !m_bOpen) {
    return;
  }

  const CString strNew = MakeSiblingPath(*this, bWanted ? "SDC" : "TXT");
  // A read-only file of that name stays as it is.
  CFileStatus status;
  if (CFile::GetStatus(strNew, status) &&
      (status.m_attribute & (CFile::readOnly | CFile::directory)) != 0) {
    return;
  }
  // The new file is written as a work file (work_file.h) and takes its name
  // only when it is complete, in one step: a process that dies on the way
  // leaves the file of that name as it was.
  CTwinFile fileNew(m_strDir + m_strName, m_cColSep);
  if (!fileNew.IsSourceOpen()) {
    return;
  }
  CWorkFile work(fileNew);
  CFileException error;
  if (!work.Create(strNew, &error, m_strDir + m_strName)) {
    return;
  }

  double dRate = 0.0;
  if (pMonitor != nullptr) {
    MonitorTitle(pMonitor, bWanted ? MSG_CRYPT_TITLE : MSG_DECRYPT_TITLE, strNew);
    pMonitor->SetStep("");
    dRate = RewriteRate(*this);
  }

  try {
    // The header line is converted with the rest.
    SeekLine(0);
    CStringArray arCells;
    DWORD nLines = 0;
    while (ReadLine(arCells, 0, &fileNew) > 0) {
      if (pMonitor != nullptr) {
        pMonitor->SetPos(RewritePos(nLines, dRate));
      }
      ++nLines;
    }
    fileNew.Finish();
  } catch (...) {
    work.Discard();
    throw;
  }
  if (pMonitor != nullptr) {
    pMonitor->End();
  }

  // A file that would not read back as the table's lines is not left.
  if (!fileNew.IsFaithful()) {
    return;
  }

  // The source's time as the table found it, so that both forms share the
  // sidecar.
  const DWORD nTime = m_tStamp + static_cast<DWORD>(GetTimeZoneBias());
  const struct timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(nTime), 0}};
  if (::futimens(fileNew.m_hFile, times) != 0) {
    CFileException::ThrowOsError(errno, strNew);
  }
  work.Commit();
}
