// CIndex: the on-disk index of one column, in the table's sidecar.
//
// Because a cell can hold several values, a range or the lone wildcard, an
// index has four zones, one for each way a row can match. It stands at the
// offset that the table keeps for the column (0: no index). Little-endian;
// K is the key size of the column; no magic, version, checksum or gap.
//
//   offset                        size          field
//   0                             4             W: entries of zone 0
//   4                             4             V: entries of zone 1
//   8                             4             R: entries of zone 2 (= zone 3)
//   12                            4 W           zone 0: any-value rows
//   12 + 4W                       (K + 4) V     zone 1: values
//   12 + 4W + (K+4)V              (2K + 5) R    zone 2: ranges by low bound
//   12 + 4W + (K+4)V + (2K+5)R    (2K + 5) R    zone 3: ranges by high bound
//
// Entries (the sort key always stands at offset 4, behind the row number):
//   zone 0   row (4)                              ascending rows
//   zone 1   row (4), key (K)                     ascending keys
//   zone 2   row (4), low (K), high (K), flags (1)   ascending low keys
//   zone 3   row (4), high (K), low (K), flags (1)   ascending high keys
// The flags are the range flags of the cell. An empty cell has no entry.
//
// Keys: Long, K = 4, a signed 32-bit integer (atol of the value text); Real,
// K = 8, an IEEE double (strtod); Str, K = the column size (2 to 255), the
// text cut to at most K - 1 bytes without splitting a character, folded to
// upper case with the table's locale, NUL-padded to K bytes.
//
// The four zones share one numbering of entries: 0 to W - 1 zone 0, W to
// W + V - 1 zone 1, W + V to W + V + R - 1 zone 2, then zone 3 to W + V + 2R.
//
// An index has one cursor and one entry buffer and shares the sidecar's file
// position with the table: one search or build at a time on a table.
#ifndef LORN_INDEX_COLUMN_INDEX_H_
#define LORN_INDEX_COLUMN_INDEX_H_

#include "frame/comparators.h"
#include "frame/lorn_defs.h"
#include "index/file_blocks.h"
#include "platform/cfile.h"
#include "platform/cobject.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

class CEntryCache;

// Process-wide state of index builds.
extern BYTE* g_pBuildBuffer;  // BUILD_BUFFER_SIZE bytes while a build is open
extern WORD g_nBuildUsers;    // indexes with an open build
extern WORD g_nSortShare;     // monitor points the sorting of one index may use

class CIndex : public CObject {
 public:
  // pFile: the table's sidecar, not owned. nPos: offset of the index, 0 when
  // it is not on file. A type other than Long, Real or Str, or Str with a key
  // size of 0, leaves the object unusable (no buffer, status 5).
  CIndex(CFile* pFile, DWORD nPos, BYTE nType, BYTE nKeySize, const char* pszLocale);
  ~CIndex() override;

  CIndex(const CIndex&) = delete;
  CIndex& operator=(const CIndex&) = delete;

  // --- Object and zones ---
  void ReadHeader();   // the 12 header bytes at m_nPos; sets m_nDataPos
  void WriteHeader();  // likewise; neither acts when m_nPos is 0 or the file is closed
  // Read entry n (shared numbering) into m_pEntry; 1 when it was read whole.
  BOOL ReadAnyEntry(DWORD n);
  BOOL ReadValueEntry(DWORD n);
  BOOL ReadRangeEntry(DWORD n);  // zones 2 and 3 alike
  // Row number of the entry last read; -1 without a buffer. Raises
  // CArchiveException (badIndex) for a row number at or above m_nRowLimit:
  // a damaged index is refused before a caller takes the number for a row.
  LONG GetRow() const;
  void Reset();

  // --- Build ---
  // Opens a build; bFresh 1 starts with empty zones, 0 takes over the
  // entries on file.
  void BeginBuild(BOOL bFresh);
  // 1, or 0 when no build is open or a temporary file cannot be had.
  BOOL AddAny(DWORD nRow);
  BOOL AddValue(DWORD nRow, const char* pszValue);
  BOOL AddRange(DWORD nRow, const char* pszLow, const char* pszHigh, BYTE nFlags);
  // Sorts the zones and appends the index at the end of the sidecar; the
  // object then addresses the new index. FALSE when a zone could not be
  // sorted (message 9 was shown): the index on file is incomplete and must
  // not be used.
  BOOL EndBuild();
  // Drops the build and goes back to the index on file.
  void AbortBuild();
  BOOL IsBuilding() const { return m_bBuilding; }

  // --- Search ---
  // One step of a search under the index's locale: with bFirst the first
  // qualifying entry, then one more per call; 0 at the end. The row of a
  // hit is GetRow(). Rows come in zone order and may repeat.
  BOOL Find(const void* pKey, BYTE nOp, BOOL bFirst);
  BOOL FindStep(const void* pKey, BYTE nOp, BOOL bFirst);
  int CompareValue(DWORD n, const void* pKey);
  BOOL TestValue(DWORD n, BYTE nOp, const void* pKey);
  BOOL TestRange(DWORD n, BYTE nOp, const void* pKey);
  // Next distinct value of zone 1 above strValue (the first with bFirst);
  // the row of its first entry, or -1 with strValue emptied.
  LONG GetNextValue(CString& strValue, BOOL bFirst);

  // --- Accessors ---
  DWORD GetPos() const { return m_nPos; }
  BYTE GetType() const { return m_nType; }
  BYTE GetKeySize() const { return m_nKeySize; }
  DWORD GetAnyCount() const { return m_nAnyCount; }
  DWORD GetValueCount() const { return m_nValueCount; }
  DWORD GetRangeCount() const { return m_nRangeCount; }
  const BYTE* GetEntry() const { return m_pEntry; }

  // --- Members ---
  CFile* m_pFile;
  BYTE m_nKeySize;
  BYTE m_nType;
  DWORD m_nPos;
  CString m_strLocale;
  DWORD m_nAnyCount;
  DWORD m_nValueCount;
  DWORD m_nRangeCount;
  DWORD m_nDataPos;
  BYTE* m_pEntry;  // 2K + 5 bytes, owned
  WORD m_nStatus;  // 5 after Reset, 0 once set up
  DWORD m_nCursor;
  PFN_COMPARE m_pfnCompareEntries;
  PFN_COMPARE m_pfnCompareKeys;
  PFN_COMPARE m_pfnMatch;
  BOOL m_bBuilding;
  CObArray m_arTempFiles;      // CFile per zone during a build
  CStringArray m_arTempNames;  // empty: the temporary files have no name
  CByteArray m_arZoneSorted;   // zones 1 to 3: nothing added since the last sort
  CEntryCache* m_pCache;       // read-ahead window on the sidecar; owned
  // Rows of the table whose sidecar held this index when it was read; no
  // entry names a row from here up. 0xFFFFFFFF: no limit (an index built in
  // this process, whose rows come from the table itself).
  DWORD m_nRowLimit = 0xFFFFFFFF;
};

// Binary search over nCount entries of nEntrySize bytes from offset nPos in
// pFile, sorted by the key at offset 4 of each entry; pfnCompare gets the
// stored key first. Gives the position (0 to nCount, relative to nPos) at
// which pKey stands or would be inserted; with bFirst the lowest equal one.
// pScratch holds one entry.
LORN_INTERNAL DWORD FindInFile(CFile* pFile, const void* pKey, DWORD nPos, DWORD nCount,
                               WORD nEntrySize, PFN_COMPARE pfnCompare, BYTE* pScratch,
                               BOOL bFirst);

#endif  // LORN_INDEX_COLUMN_INDEX_H_
