// CCatStd: one catalogue table, a TXT or SDC file with its SDX sidecar, or an
// object chained to another table (a master) through which it reads.
//
// A root owns its two files, its column metadata, the reader's state and one
// CIndex per indexed column. A chained object (m_pMaster set) has no file and
// no column of its own: the operations marked "root" below walk to the end of
// the chain. A root lists its views in m_arViews; when it dies it hands the
// open table over to them.
//
// Ownership: the host owns the objects it makes. A root owns m_fileData,
// m_fileSide and the CIndex objects of m_arColIndexes. A master that an
// archive made while loading a table (ReadObject in Serialize) is shared by
// the objects chained to it: m_nArchiveRefs counts them, and the last one to
// leave it (destroyed, rechained or reopened) deletes it. The host deletes
// only what it made or extracted itself: an extraction operator hands the
// object it reads to the host, which ends any such sharing of it.
//
// Threads: none. A process uses the library from one thread at a time. All
// tables share one line buffer (s_pBuffer): a sequential pass with ReadLine
// on one table ends before another table reads; reads by row number start
// with SeekLine and may alternate freely.
//
// Failures are reported by results (FALSE, 0, -1, null, an empty string).
// What passes through is what the platform raises: CFileException,
// CArchiveException, CInvalidArgException.
#ifndef LORN_TABLE_CAT_STD_H_
#define LORN_TABLE_CAT_STD_H_

#include "frame/lorn_defs.h"
#include "platform/cfile.h"
#include "platform/cobject.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

class CArchive;
class CIndex;
class CProgressMonitor;
class CSetStd;

class LORN_API CCatStd : public CObject {
  DECLARE_SERIAL(CCatStd)

 public:
  // Allocates the shared line buffer when there is none, counts the instance,
  // clears the object, copies the library settings and, with a path, opens
  // it (the result is dropped: callers test IsOpen). A null path makes an
  // empty object, as archives do when they create one.
  explicit CCatStd(const char* pszPath = nullptr);
  // Chains the new object to pMaster (which may be null).
  explicit CCatStd(CCatStd* pMaster);
  // Closes, leaves the master, detaches the views, resets; the last object
  // alive frees the shared buffer.
  ~CCatStd() override;

  CCatStd(const CCatStd&) = delete;
  CCatStd& operator=(const CCatStd&) = delete;

  // Stores the version byte 1, the low 16 bits of m_bOpen, then the path of
  // an open root or the master of any other object. Loading closes the
  // object, then opens the stored path (in the catalogue directory of the
  // settings when one is set) or chains to the loaded master.
  void Serialize(CArchive& ar) override;

  // Brings the sidecar up to date: column analysis when a column is unknown,
  // every wanted index that is missing, row table; leaves the sidecar open
  // for reading. FALSE when the table cannot be opened or the sidecar cannot
  // be written; otherwise TRUE, and m_bIndexed tells whether it succeeded.
  // A chained object indexes its root.
  virtual BOOL IndexTable();
  // TRUE for a table, FALSE for a row set.
  virtual BOOL IsTable();

  // --- Table object (root unless marked "self") ---
  BOOL IsOpen();
  BOOL IsScrambled();
  BOOL IsIndexed();
  short GetColCount();
  // m_nRows; when it is 0, IndexTable runs first.
  DWORD GetRowCount();
  CCatStd* GetMaster();     // self
  CSetStd* GetMasterSet();  // self: the master when it is a set, else null
  void GetPath(CString& strPath);
  // Sidecar file name (with the directory when bFull), without the locale.
  void GetSidePath(CString& strPath, BOOL bFull);
  // Self: the table's locale name, empty when none. Returns its text.
  const char* GetLocale(CString& strLocale);
  // Self: FALSE when the runtime refuses the name.
  BOOL SetLocale(const char* pszLocale);
  void GetColName(WORD nCol, CString& strName);
  // Case-insensitive; the later of two equal names wins; -1 when unknown.
  short FindCol(const char* pszName);
  void Close();  // self
  BOOL SetMaster(CCatStd* pMaster);
  void CopyFrom(CCatStd* pSource);

  // --- Opening (self) ---
  // Opens pszPath, or with a null or empty path reopens the table already
  // named, noticing a change of its file. Result: IsOpen.
  BOOL Open(const char* pszPath);

  // --- Sidecar (root) ---
  // Gives up the sidecar: closes and removes the SDX file; FALSE when it is
  // read-only (it then stays as it was).
  BOOL DropSide();

  // --- Row access (root) ---
  // File offset of row nRow in the table file, -1 on failure; *pLen the
  // row's length with its line end, 0 on failure.
  LONG GetRowPos(DWORD nRow, DWORD* pLen);
  // The row's cells, exactly GetColCount of them. FALSE when the row cannot
  // be read whole.
  BOOL ReadRow(DWORD nRow, CStringArray& arCells);
  // Distinct values of an indexed column, in key order: bFirst TRUE gives the
  // first, then pass back what came to get the next. FALSE at the end.
  BOOL NextColValue(WORD nCol, CString& strValue, BOOL bFirst);

  // --- Rewriting (root) ---
  BOOL DeleteRows(CDWordArray& arRows);
  BOOL CompactTable(const char* pszReserved, CWordArray* pCols);
  BOOL UncompactTable(const char* pszTarget, CWordArray* pCols);
  void CryptTable(BOOL bCrypt);

  // --- Column metadata (root) ---
  BYTE GetColType(WORD nCol);
  WORD GetColTypes(CByteArray& arTypes);
  BYTE GetColSize(WORD nCol);
  WORD GetColSizes(CByteArray& arSizes);
  WORD GetColsByKind(BYTE nMask, CWordArray& arCols);
  void SetColFlags(WORD nCol, BYTE nFlags);
  void SetColFlags(const CByteArray* pFlags);
  void SetColType(WORD nCol, BYTE nType, BYTE nSize);
  void SetColTypes(const CByteArray* pTypes, const CByteArray* pSizes);

  // --- Cells (self: this object's grammar settings) ---
  BYTE SplitCell(const char* pszCell, CStringArray& arValues, BYTE* pFlags);

  // --- Index (root) ---
  // The index object of a wanted column, made on first use; null when the
  // column is not wanted or its type is not known.
  CIndex* GetColIndex(WORD nCol);

  // ---------------------------------------------------------------------
  // Internal operations: used by the library's own units, not exported.
  // ---------------------------------------------------------------------
  LORN_INTERNAL CCatStd* GetRoot();
  LORN_INTERNAL void Reset();
  LORN_INTERNAL void FreeColIndexes();
  LORN_INTERNAL void DetachMaster();
  LORN_INTERNAL WORD AddView(CCatStd* pView);
  LORN_INTERNAL void RemoveView(short nSlot);
  // Leaves the master (if any): frees the slot, clears the link and gives up
  // this object's share in a master made by an archive (see Ownership).
  LORN_INTERNAL void LeaveMaster();
  LORN_INTERNAL static BOOL SameFileTime(DWORD a, DWORD b);

  // Line reader. The key of the line at nPos times nSign, as a signed byte.
  LORN_INTERNAL static void MakeLineKey(char* pKey, DWORD nPos, char nSign);
  LORN_INTERNAL void SeekLine(DWORD nPos);
  // Reads one line into arCells (or, with pOut, copies it there with the
  // scrambling put on or taken off). nMaxBytes 0: no limit. Result: the
  // number of cells, or -1 at the end of the file or of the limit. A cell
  // that does not fit the line buffer raises CFileException (cellTooLong).
  LORN_INTERNAL short ReadLine(CStringArray& arCells, DWORD nMaxBytes, CFile* pOut);
  // ReadLine for a pass over the rows (no limit, no copy target) that does
  // not copy the cells: cell i < nMaxCells of the line is apszCells[i],
  // NUL-terminated, of anLengths[i] bytes, valid until the next read. It
  // stands in the line buffer, or in arSpill when a refill of the buffer
  // within the line would have overwritten it. Result and reader state as
  // with ReadLine.
  LORN_INTERNAL short ReadCells(const char** apszCells, UINT* anLengths, short nMaxCells,
                                CStringArray& arSpill);

  LORN_INTERNAL void SaveSide();
  LORN_INTERNAL void LoadSide();
  LORN_INTERNAL void ScanColumns(BOOL bWriteOffsets, CProgressMonitor* pMonitor);

  // --- Static data ---
  static char s_szDefLocale[8];  // default locale name
  static short s_nInstances;     // living objects, derived classes included
  static BYTE s_bDefLocaleSet;   // s_szDefLocale has been initialised
  static BYTE* s_pBuffer;        // the shared line buffer, LINE_BUFFER_SIZE bytes

  // --- Members, in declaration order. They are public so that the library's
  // units and its tests reach them; hosts use the operations above. ---
  CString m_strDir;              // directory of the table file with its closing "/", or empty
  CString m_strName;             // file name of the table with extension
  BOOL m_bOpen = FALSE;          // the table's files are open; FALSE when chained
  CCatStd* m_pMaster = nullptr;  // null at a root
  WORD m_nViewSlot = 0xFFFF;     // this object's slot in the master's m_arViews; 0xFFFF when none
  CObArray m_arViews;            // objects chained to this one; null in a free slot
  CFile m_fileData;              // the TXT or SDC file
  DWORD m_tStamp = 0;            // modification time as the library counts it
  DWORD m_nDataPos = 0;          // offset of the first data row
  CString m_strSideName;         // sidecar file name, optionally "|" and the locale
  CFile m_fileSide;              // the SDX file
  DWORD m_nRowTablePos = 0;      // offset of the row table in the SDX
  CStringArray m_arColNames;
  CMapStringToPtr m_mapColNames{10};  // upper-cased name -> column number
  CByteArray m_arColTypes;
  CByteArray m_arColSizes;
  CDWordArray m_arColIndexPos;  // offset of a column's index in the SDX, 0 when none
  DWORD m_nRows = 0;            // 0 until the table has been analysed
  CByteArray m_arColFlags;
  CObArray m_arColIndexes;    // CIndex per column, null until first use
  BOOL m_bIndexed = FALSE;    // the sidecar is open, valid and holds every wanted index
  DWORD m_nFilePos = 0;       // offset of the line that ReadLine reads next
  WORD m_nBufEnd = 0;         // end of the valid bytes in the shared buffer
  WORD m_nBufPos = 0;         // reader's cursor in the shared buffer
  BOOL m_bScrambled = FALSE;  // the table file is an SDC file
  char m_cColSep = 0;
  char m_cRangeOpen = 0;
  char m_cRangeClose = 0;
  CString m_strRangeSep;
  char m_cValueSep = 0;
  char m_cAnyValue = 0;
  WORD m_nArchiveRefs = 0;     // chained objects sharing this archive-made master
  BOOL m_bOwnsMaster = FALSE;  // this object holds one of m_pMaster's m_nArchiveRefs

 protected:
  // Copies the grammar settings of the library into this object and makes
  // sure that a default locale name exists. Both constructors end with it.
  LORN_INTERNAL void CopySettings();
};

// Extraction of a table from an archive: ReadObject with CCatStd requested.
LORN_API CArchive& operator>>(CArchive& ar, CCatStd*& pTable);

// Sets strLocale to the default locale name and returns its text.
LORN_API const char* GetDefaultLocale(CString& strLocale);
// Whether the file exists.
LORN_API BOOL FileExists(const char* pszPath);

// The library's units share a few plain functions of the table through
// table/cat_internal.h, which is not part of the installed interface.
#ifdef LORN_BUILDING_LIBRARY
#include "table/cat_internal.h"
#endif

#endif  // LORN_TABLE_CAT_STD_H_
