// Reading a table's sidecar (SDX) from outside the table object, without
// changing anything: its header, and whether the table may trust it. The
// table object drops a sidecar that it finds stale as soon as it opens, so
// what was there is told before the table is opened.
#ifndef LORN_TOOLS_LORN_SIDECAR_READER_H_
#define LORN_TOOLS_LORN_SIDECAR_READER_H_

#include <string>

#include "platform/cfile.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/types.h"

// The header fields of a sidecar, and where its row table starts.
struct CSidecarHeader {
  BYTE nVersion = 0;
  DWORD nStamp = 0;
  CByteArray arTypes;
  CByteArray arSizes;
  CDWordArray arIndexPos;
  bool bHasLocale = false;  // version 5 and above
  CString strLocale;
  DWORD nRows = 0;
  DWORD nRowTablePos = 0;
};

enum class ESideState {
  absent,      // no file
  valid,       // the table will use it
  stale,       // the table will drop it and build a new one
  locked,      // held by another process: being indexed or rewritten
  unreadable,  // exists but cannot be opened for reading
};

struct CSidecarState {
  std::string strPath;
  ESideState nState = ESideState::absent;
  std::string strReason;  // why it is stale or unreadable
  bool bHeader = false;   // header holds what the file says
  CSidecarHeader header;
  bool bTableStamp = false;  // the table file was found; nTableStamp is its stamp
  DWORD nTableStamp = 0;
};

// A file beside a table: the table's directory and file name cut behind the
// name's last dot, then pszExt (a name without a dot leaves the directory
// alone). The sidecar, the twin of the other form and the working files of
// the rewriting operations are named so.
std::string SiblingPathOf(const std::string& strTable, const char* pszExt);
// The sidecar path of a table path: SiblingPathOf with "SDX".
std::string SidecarPathOf(const std::string& strTable);
// The stamp that the table object takes from its file: the low 32 bits of
// the modification time less the time zone's offset. false when the file
// cannot be found.
bool TableStampOf(const std::string& strTable, DWORD& nStamp);

// Reads the header from the start of an open file and sets nRowTablePos.
// Throws CArchiveException when the file is too short for it.
void ReadSidecarHeader(CFile& file, CSidecarHeader& header);

// Tells the state of the sidecar of strTable as the table object would judge
// it on opening: version 4 or 5, the table's stamp (a whole number of hours
// apart counts as equal) and a locale the library knows.
void InspectSidecar(const std::string& strTable, CSidecarState& state);

// "absent", "valid", "stale", "being indexed", "unreadable".
const char* SideStateName(ESideState nState);

#endif  // LORN_TOOLS_LORN_SIDECAR_READER_H_
