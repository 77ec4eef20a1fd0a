// Where the reading commands (info, index, query, rows, values) open a table,
// and so where its sidecar lives.
//
// The library keeps a table's sidecar beside it, under a name derived from
// the table's path. That is right for the user's own folders, but a
// read-only folder (a mounted share, a CD, a folder without write
// permission, even to root) cannot take one, and a system
// folder should not get one behind the user's back. There the command opens
// the table through a symbolic link in a private folder of the user's cache,
//
//   $XDG_CACHE_HOME/lorn/NAME-HASH/NAME -> /real/path/of/NAME
//   $XDG_CACHE_HOME/lorn/NAME-HASH/STEM.SDX
//
// (~/.cache/lorn without XDG_CACHE_HOME): the library then names the sidecar
// beside the link, while the table's stamp is that of the file the link
// reaches. HASH is taken from the table's real path, and a folder whose link
// leads elsewhere is never reused, so two tables never share a sidecar; the
// sidecar is reused for as long as it fits the table. The library itself is
// unchanged.
//
// A system folder is one not owned by the user who runs lorn (as root: not
// owned by root), or one under /usr, /etc, /opt, /boot, /srv, /bin, /sbin,
// /lib, /var/lib, /var/cache or /var/log. --sidecar-beside keeps the sidecar
// beside the table all the same; --sidecar-dir DIR puts every sidecar in DIR
// (in the same per-table folders) wherever the table is.
//
// "-" as the table is standard input, copied into a private temporary folder
// (TMPDIR, else /tmp) for the run; the copy and its sidecar are removed at
// exit.
#ifndef LORN_TOOLS_LORN_CLI_PLACES_H_
#define LORN_TOOLS_LORN_CLI_PLACES_H_

#include <string>

#include "tools/lorn/cli_options.h"

// The path to open for the table the user named strArg: strArg itself, a link
// in the sidecar folder, or the copy of standard input. Throws CCliError
// when the cache folder or the copy cannot be made. A path that cannot be
// found is handed back as it is, so that the usual error names it.
std::string PlaceTable(const std::string& strArg, const CGlobalOptions& options);

// Throws CCliError for "-" as the table of a command that keeps or rewrites
// a file (drop, sidecar, the rewriting commands): the copy of standard
// input lasts one run.
void RequireTableFile(const std::string& strArg, const char* pszCommand);

// Whether the table's folder is a system folder as above.
bool IsSystemFolder(const std::string& strTable);

// The user's cache folder for sidecars: $XDG_CACHE_HOME/lorn or
// ~/.cache/lorn.
std::string SidecarCacheDir();

// Removes the copy of standard input and its folder, if one was made.
// Registered with atexit by PlaceTable; main calls it on its quick exits.
void RemoveStdinCopy();

// strText with the path of the copy of standard input, which is gone when
// the user reads it, told as "standard input".
std::string NameStdinCopy(const std::string& strText);

#endif  // LORN_TOOLS_LORN_CLI_PLACES_H_
