// The library is compiled with hidden symbol visibility; every class and
// function that a host may reach is marked LORN_API to stay visible in the
// shared object. Exception classes must be marked too, or a host cannot catch
// them by type across the library boundary.
//
// What is public: the library's own entries (the table and set classes, the
// sorted arrays, the progress monitor's base class, the plain functions of
// the settings, messages and files, the class records and the static members
// of CCatStd), and the platform classes that cross the boundary with them
// (CObject and CRuntimeClass, CString, the arrays and the map, CArchive,
// CFile, the exceptions), which host and library share. Everything else stays
// inside: the index, the criteria, the cell classes, the comparators, the
// line reader, the sidecar's reading and writing, the text and locale helpers
// and the platform's stand-ins for the runtime. Members of an exported class
// that stay inside are marked LORN_INTERNAL. The shared object's symbol table
// is checked against cmake/exports.txt by a test, and a linker version script
// made from that list keeps anything else out of it.
//
// Headers that hosts get may declare internal things only through headers
// that are not installed, included when LORN_BUILDING_LIBRARY is defined
// (the library, its tests and its tools).
#ifndef LORN_PLATFORM_LORN_EXPORT_H_
#define LORN_PLATFORM_LORN_EXPORT_H_

#define LORN_API __attribute__((visibility("default")))
// Members of an exported class that stay inside the library.
#define LORN_INTERNAL __attribute__((visibility("hidden")))

#endif  // LORN_PLATFORM_LORN_EXPORT_H_
