// Where a host opens a table, and so where its sidecar lives.
//
// The library keeps a table's sidecar beside it, under a name derived from
// the table's path. That is right for the user's own folders, but a
// read-only folder (a mounted share, a CD, a folder without write
// permission, even to root) cannot take one, and a system folder should not
// get one behind the user's back. There the host opens the table through a
// symbolic link in a private folder of the user's cache,
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
// A system folder is one not owned by the user who runs the host (as root:
// not owned by root), or one under /usr, /etc, /opt, /boot, /srv, /bin,
// /sbin, /lib, /var/lib, /var/cache or /var/log.
#ifndef LORN_HOST_SIDECAR_PLACE_H_
#define LORN_HOST_SIDECAR_PLACE_H_

#include <string>

// The path to open for the table at strPath: strPath itself, or a link in
// the sidecar folder. With pSidecarDir (not empty), the link stands in that
// folder (in the same per-table folders) wherever the table is; with
// bBeside, strPath is kept even in a system folder. Throws CHostError when
// the folder or the link cannot be made. A path that is no regular file is
// handed back as it is, so that the usual error names it.
std::string PlaceForSidecar(const std::string& strPath, const std::string* pSidecarDir,
                            bool bBeside);

// Whether the table's folder is a system folder as above.
bool IsSystemFolder(const std::string& strTable);

// The user's cache folder for sidecars: $XDG_CACHE_HOME/lorn or
// ~/.cache/lorn.
std::string SidecarCacheDir();

#endif  // LORN_HOST_SIDECAR_PLACE_H_
