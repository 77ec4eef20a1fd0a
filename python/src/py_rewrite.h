// The rewrites of a table, each on a table opened for the call alone: fold
// rows into list cells (compact) and back (uncompact), delete rows, and write
// the scrambled or plain twin (crypt, decrypt). Each runs without the
// interpreter lock, under CLibLock, and reports to an optional progress
// callable as CPyMonitor tells.
#ifndef LORN_PYTHON_SRC_PY_REWRITE_H_
#define LORN_PYTHON_SRC_PY_REWRITE_H_

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

// Columns by name, "#N" or number; none: every column.
void CompactTable(const std::string& strPath, const std::vector<pybind11::object>& columns,
                  pybind11::object progress);
// With a target, writes the expanded rows there and leaves the table alone.
void UncompactTable(const std::string& strPath, const std::vector<pybind11::object>& columns,
                    const std::string& strTarget, pybind11::object progress);
// Writes the twin (bCrypt: the SDC beside a TXT; else the TXT beside an SDC)
// and gives its path. Refuses a table already in that form, and an existing
// twin unless bOverwrite.
std::string ConvertTable(const std::string& strPath, bool bCrypt, bool bOverwrite,
                         pybind11::object progress);
// Deletes the rows (numbers from 0) of a plain table in place.
void DeleteTableRows(const std::string& strPath, const std::vector<long long>& rows);

#endif  // LORN_PYTHON_SRC_PY_REWRITE_H_
