// The new file of a rewrite (CompactTable, UncompactTable, DeleteRows, the
// twin of CryptTable) and how it takes the place of the file it replaces.
//
// What a rewrite guarantees to the file it replaces, the target:
//
//   - The target's name stands on the old file or on the complete new one at
//     every moment: the work file is written, committed to the disk, and
//     then renamed over the target in one step; the folder is committed
//     after. A process that dies on the way leaves the old file untouched.
//   - A symbolic link is followed: the work file is made in the folder of
//     the file the link leads to and replaces that file, so the link still
//     points where it did and its target holds the new rows.
//   - The new file gets the old one's permission bits, never wider ones, and
//     its owner and group as far as the process may give them (a process may
//     always keep the group when it belongs to it; only the superuser gives a
//     file to another owner). A target that does not exist yet gets what a
//     plain creation would give.
//   - Hard links cannot be kept by a rename: the other names of the old file
//     keep the old rows.
//   - Nothing of the user's is touched: the work file is anonymous while it
//     is written (O_TMPFILE), so a process that dies leaves nothing behind,
//     and gets a name only for the instant between two system calls before
//     the rename, a hidden ".NAME.lorn-XXXXXX" created exclusively. A work
//     file holds a shared lock (flock) while its process lives, so the next
//     rewrite of the same file removes such a name that nobody holds (where
//     locks are not kept, one older than a minute). On a file system
//     without anonymous files, the named file is made at the start instead
//     and removed on any failure.
#ifndef LORN_TABLE_WORK_FILE_H_
#define LORN_TABLE_WORK_FILE_H_

#include "platform/cfile.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Drives a caller's CFile (or a class derived from it) as the work file of
// one rewrite. The file is discarded when the object goes without Commit.
class LORN_INTERNAL CWorkFile {
 public:
  explicit CWorkFile(CFile& file) : m_file(file) {}
  ~CWorkFile() { Discard(); }
  CWorkFile(const CWorkFile&) = delete;
  CWorkFile& operator=(const CWorkFile&) = delete;

  // Opens the file, empty, for reading and writing, as the work file that
  // will replace strTarget (see above for where it stands). FALSE, with
  // pError filled, when the folder cannot take a new file.
  // strModel, when given, lends its mode, owner and group to a target that
  // does not exist yet (the table whose twin is written).
  BOOL Create(const CString& strTarget, CFileException* pError, const char* pszModel = nullptr);

  // The target's path with symbolic links followed: the file replaced.
  const CString& GetTarget() const { return m_strTarget; }

  // A path under which the file, open, can be opened again for reading, as
  // the source of a further pass: its name, or its descriptor's entry in
  // /proc while it is anonymous. The file gives up its lock for that pass.
  CString GetReadPath() const;

  // Gives the file the target's identity and name, as above, and closes it.
  // Raises CFileException; the target is then as it was.
  void Commit();

  // Closes the file and removes what it left, quietly. Nothing happens
  // after Commit or when nothing was created.
  void Discard();

 private:
  BOOL LinkVisible();

  CFile& m_file;
  CString m_strTarget;
  CString m_strModel;
  CString m_strVisible;  // the file's name while it has one
  BOOL m_bCreated = FALSE;
};

// Removes the table's sidecar (DropSide) and commits its folder, so that no
// crash after this can leave the old sidecar beside a new table file. FALSE
// when the sidecar cannot be removed: the rewrite must not go on.
class CCatStd;
LORN_INTERNAL BOOL DropSideForRewrite(CCatStd& table);

#endif  // LORN_TABLE_WORK_FILE_H_
