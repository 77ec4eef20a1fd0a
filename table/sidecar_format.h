// The header of a sidecar (SDX) file, written and read through CArchive.
//
// A sidecar holds three regions, one behind the other: this header, the row
// table (table/row_table.h), and the index zones of the indexed columns
// (index/column_index.h). Nothing stores where the row table starts: it is
// the file position right behind the header. All numbers are little-endian;
// counts and strings have the archive's forms (platform/carchive.h).
//
// Version 5, the one written:
//
//   offset  size        field
//   0       1           version, 5
//   1       4           stamp: the table file's time as the table counts it
//   5       2 (or 6)    count n of the column types
//           n           column types, one byte per column
//           2 (or 6)    count n of the key sizes
//           n           key sizes, one byte per column
//           2 (or 6)    count n of the index offsets
//           4 n         index offsets: where the column's index starts in
//                       this file, 0 for none
//           1 + L       locale: a string of L bytes (L < 8), possibly empty
//           4           rows: number of data rows
//
// Counts take 6 bytes from 65,535 entries up. With fewer columns the header
// is 16 + 6 n + L bytes: a table of 3 columns with the locale "fra" has 37.
//
// Older versions, recognised on reading only:
//   4       as 5 without the locale field; valid if the stamp passes
//   2       as 4, followed by a WORD that is read and ignored; invalid
//   other   below 5: as 4; above 5: as 5; invalid
// An invalid sidecar is removed, so that it is built anew at version 5.
//
// Validity also requires one entry per column of the table in each of the
// three arrays, a stamp that passes SameFileTime, a locale that the runtime
// accepts, and a structure that can be right: the row table and the indexes
// whole in the file, in their places, with counts that fit the table
// (table/sidecar_check.h). A header cut short is no error: such a sidecar is
// built anew.
//
// While IndexTable writes a sidecar, its header carries the version 0, which
// no reader accepts; the run's last write puts the 5 in, after everything
// else has reached the disk. So a run that dies on the way leaves a sidecar
// that the next Open drops, never one whose row table or indexes are
// incomplete. The finished file is the same either way.
#ifndef LORN_TABLE_SIDECAR_FORMAT_H_
#define LORN_TABLE_SIDECAR_FORMAT_H_

#include "platform/lorn_export.h"
#include "platform/types.h"

constexpr BYTE SIDE_VERSION = 5;             // written, with the locale field
constexpr BYTE SIDE_VERSION_NO_LOCALE = 4;   // valid, without the locale field
constexpr BYTE SIDE_VERSION_EXTRA_WORD = 2;  // a WORD follows the row count
constexpr BYTE SIDE_VERSION_UNFINISHED = 0;  // a sidecar being built
// Buffer of the archives that read and write the header.
constexpr int SIDE_ARCHIVE_BUFFER = 4096;

// Bytes of an archive count of n entries.
constexpr DWORD SideCountSize(DWORD n) {
  return n < 0xFFFF ? 2 : 6;
}

// Size of a version-5 header with so many types, key sizes and index offsets
// and a locale of nLocaleLen bytes, as the archive writes it.
constexpr DWORD SideHeaderSize(DWORD nTypes, DWORD nSizes, DWORD nOffsets, DWORD nLocaleLen) {
  DWORD nString = 1;
  if (nLocaleLen >= 0xFFFE) {
    nString = 7;
  } else if (nLocaleLen >= 0xFF) {
    nString = 3;
  }
  return 1 + 4 + SideCountSize(nTypes) + nTypes + SideCountSize(nSizes) + nSizes +
         SideCountSize(nOffsets) + 4 * nOffsets + nString + nLocaleLen + 4;
}

static_assert(SideHeaderSize(3, 3, 3, 3) == 37, "16 + 6 n + L");

class CCatStd;
class CFile;

// Writes the header of the table's sidecar as SaveSide does, with version
// nVersion. SaveSide is this with SIDE_VERSION.
LORN_INTERNAL void WriteSideHeader(CCatStd& table, BYTE nVersion);
// Makes a sidecar whose header was written with SIDE_VERSION_UNFINISHED
// valid: commits what was written to the storage device, then writes
// SIDE_VERSION over the version byte. Raises what CFile raises.
LORN_INTERNAL void CommitSide(CFile& file);

#endif  // LORN_TABLE_SIDECAR_FORMAT_H_
