// Where the reading commands (info, index, query, rows, values) open a table,
// and so where its sidecar lives.
//
// Tables are opened where host/sidecar_place.h places them: beside
// themselves, or through a link in the user's cache folder when their folder
// is read-only or a system folder. --sidecar-beside keeps the sidecar beside
// the table all the same; --sidecar-dir DIR puts every sidecar in DIR.
//
// "-" as the table is standard input, copied into a private temporary folder
// (TMPDIR, else /tmp) for the run; the copy and its sidecar are removed at
// exit.
#ifndef LORN_TOOLS_LORN_CLI_PLACES_H_
#define LORN_TOOLS_LORN_CLI_PLACES_H_

#include <string>

#include "host/sidecar_place.h"
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

// Removes the copy of standard input and its folder, if one was made.
// Registered with atexit by PlaceTable; main calls it on its quick exits.
void RemoveStdinCopy();

// strText with the path of the copy of standard input, which is gone when
// the user reads it, told as "standard input".
std::string NameStdinCopy(const std::string& strText);

#endif  // LORN_TOOLS_LORN_CLI_PLACES_H_
