// CZoneFile: the temporary file of one zone during an index build.
//
// Entries arrive one by one, so Append collects them in a write buffer of
// ZONE_WRITE_BUFFER_SIZE bytes that goes to the end of the file when it is
// full. Every other operation of CFile first writes the buffer out, so a
// reader of the file always sees every entry appended. The destructor and
// Abort drop what was not written yet: a zone file is removed after use.
#ifndef LORN_INDEX_ZONE_FILE_H_
#define LORN_INDEX_ZONE_FILE_H_

#include <vector>

#include "platform/cfile.h"
#include "platform/types.h"

constexpr UINT ZONE_WRITE_BUFFER_SIZE = 65536;

class CZoneFile : public CFile {
 public:
  CZoneFile() = default;
  ~CZoneFile() override = default;

  // Adds nCount bytes at the end of the file. CFileException from a write
  // of the buffer passes through; the buffer is then empty.
  void Append(const void* pData, UINT nCount);
  // Writes the buffer at the end of the file.
  void FlushAppends();

  void Close() override;
  void Abort() override;
  UINT Read(void* lpBuf, UINT nCount) override;
  void Write(const void* lpBuf, UINT nCount) override;
  ULONGLONG Seek(LONGLONG lOff, UINT nFrom) override;
  ULONGLONG GetPosition() const override;
  ULONGLONG GetLength() const override;
  void SetLength(ULONGLONG nNewLen) override;
  void Flush() override;

 private:
  std::vector<BYTE> m_abPending;  // appended bytes not yet written
};

#endif  // LORN_INDEX_ZONE_FILE_H_
