// lorn check: verifies a table's sidecar against the table, by building the
// sidecar anew beside a link to the table in a private folder, with the
// stored column types, sizes, locale and indexes, and comparing the two.
// The new one comes from the library's own reader and key encoding, so it
// is what the sidecar must hold.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "index/entry_codec.h"
#include "platform/cfile.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/sidecar_reader.h"

namespace {

const char kUsage[] =
    "Verifies the table's sidecar against the table: re-reads the table and\n"
    "compares the offset of every row, then derives every key of every index\n"
    "from the cells and compares it with the stored entries and their order.\n"
    "Prints the first differences (row, column, what the sidecar holds, what\n"
    "the table holds). The sidecar is built anew in a private temporary\n"
    "folder for the comparison: the check costs about what indexing costs.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] check TABLE [--repair]\n"
    "  lorn check --help\n"
    "\n"
    "Options:\n"
    "  --repair     drop a sidecar that does not agree and build it anew, with\n"
    "               the same indexes; exit 0 once it agrees\n"
    "  -h, --help   this text\n"
    "\n"
    "Exit status: 0 the sidecar agrees with the table (or there is none),\n"
    "2 it does not, or the check failed.\n";

// Differences printed before the rest is only counted.
constexpr size_t MAX_SHOWN = 10;

struct CSideImage {
  CSidecarHeader header;
  std::string strBytes;
};

bool LoadImage(const std::string& strSide, CSideImage& image) {
  CFile file;
  if (!file.Open(strSide.c_str(), CFile::modeRead | CFile::shareDenyWrite)) {
    return false;
  }
  try {
    ReadSidecarHeader(file, image.header);
  } catch (const CArchiveException&) {
    return false;
  }
  image.strBytes.resize(static_cast<size_t>(file.GetLength()));
  file.SeekToBegin();
  const UINT nLength = static_cast<UINT>(image.strBytes.size());
  return file.Read(image.strBytes.data(), nLength) == nLength;
}

const BYTE* At(const CSideImage& image, ULONGLONG nPos) {
  return reinterpret_cast<const BYTE*>(image.strBytes.data()) + nPos;
}

class CDiffs {
 public:
  void Add(const std::string& strLine) {
    if (m_nCount++ < MAX_SHOWN) {
      m_lines.push_back(strLine);
    }
  }
  size_t Count() const { return m_nCount; }
  void Print(COutput& out) const {
    for (const std::string& strLine : m_lines) {
      out.Write(strLine + "\n");
    }
    if (m_nCount > MAX_SHOWN) {
      out.Write(Format("... and %zu more differences\n", m_nCount - MAX_SHOWN));
    }
  }

 private:
  std::vector<std::string> m_lines;
  size_t m_nCount = 0;
};

std::string KeyText(BYTE nType, const BYTE* pKey, DWORD nKey) {
  if (nType == COL_TYPE_LONG) {
    return Format("%ld", static_cast<long>(GetLong(pKey)));
  }
  if (nType == COL_TYPE_REAL) {
    return Format("%.17g", GetDouble(pKey));
  }
  const BYTE* pEnd = std::find(pKey, pKey + nKey, BYTE{0});
  return "\"" + std::string(reinterpret_cast<const char*>(pKey), pEnd - pKey) + "\"";
}

struct CZone {
  const char* pszName;
  ULONGLONG nStored;  // offset of the first entry in each image
  ULONGLONG nBuilt;
  DWORD nCount;
  DWORD nEntry;  // bytes of an entry
};

// Compares one zone: the same sort keys in the same order, and for each run
// of equal keys the same entries (their order within a run is free).
void CompareZone(const CSideImage& stored, const CSideImage& built, const CZone& zone,
                 const std::string& strCol, BYTE nType, DWORD nKey, CDiffs& diffs) {
  const DWORD nSortKey = zone.nEntry == 4 ? 0 : nKey;
  auto entry = [&](const CSideImage& image, ULONGLONG nFirst, DWORD n) {
    return std::string(
        reinterpret_cast<const char*>(At(image, nFirst + ULONGLONG{zone.nEntry} * n)), zone.nEntry);
  };
  for (DWORD n = 0; n < zone.nCount;) {
    const std::string strBuilt = entry(built, zone.nBuilt, n);
    const std::string strKey = strBuilt.substr(4, nSortKey);
    DWORD nEnd = n + 1;
    while (nEnd < zone.nCount && entry(built, zone.nBuilt, nEnd).substr(4, nSortKey) == strKey) {
      ++nEnd;
    }
    std::vector<std::string> arStored, arBuilt;
    for (DWORD i = n; i < nEnd; ++i) {
      arStored.push_back(entry(stored, zone.nStored, i));
      arBuilt.push_back(entry(built, zone.nBuilt, i));
    }
    std::sort(arStored.begin(), arStored.end());
    std::sort(arBuilt.begin(), arBuilt.end());
    for (size_t i = 0; i < arStored.size(); ++i) {
      if (arStored[i] == arBuilt[i]) {
        continue;
      }
      const BYTE* pStored = reinterpret_cast<const BYTE*>(arStored[i].data());
      const BYTE* pBuilt = reinterpret_cast<const BYTE*>(arBuilt[i].data());
      std::string strWhat =
          Format("column %s, %s entry %u: the sidecar holds row %u", strCol.c_str(), zone.pszName,
                 static_cast<unsigned>(n + i), GetDword(pStored));
      if (nSortKey != 0) {
        strWhat += " key " + KeyText(nType, pStored + 4, nKey);
      }
      strWhat += Format(", the table gives row %u", GetDword(pBuilt));
      if (nSortKey != 0) {
        strWhat += " key " + KeyText(nType, pBuilt + 4, nKey);
      }
      diffs.Add(strWhat);
      break;
    }
    n = nEnd;
  }
}

void CompareIndex(const CSideImage& stored, const CSideImage& built, int nCol,
                  const std::string& strCol, CDiffs& diffs) {
  const BYTE nType = stored.header.arTypes[nCol];
  const DWORD nKey = nType == COL_TYPE_LONG   ? 4
                     : nType == COL_TYPE_REAL ? 8
                                              : stored.header.arSizes[nCol];
  const ULONGLONG nStored = stored.header.arIndexPos[nCol];
  const ULONGLONG nBuilt = built.header.arIndexPos[nCol];
  DWORD anStored[3], anBuilt[3];
  for (int i = 0; i < 3; ++i) {
    anStored[i] = GetDword(At(stored, nStored + 4 * i));
    anBuilt[i] = GetDword(At(built, nBuilt + 4 * i));
  }
  if (!std::equal(anStored, anStored + 3, anBuilt)) {
    diffs.Add(Format(
        "column %s: the sidecar counts %u wildcards, %u values, %u ranges; the "
        "table holds %u, %u, %u",
        strCol.c_str(), anStored[0], anStored[1], anStored[2], anBuilt[0], anBuilt[1], anBuilt[2]));
    return;
  }
  ULONGLONG nOffset = INDEX_HEADER_SIZE;
  const DWORD anEntry[4] = {4, nKey + 4, 2 * nKey + 5, 2 * nKey + 5};
  const DWORD anCount[4] = {anBuilt[0], anBuilt[1], anBuilt[2], anBuilt[2]};
  const char* const apszZone[4] = {"wildcard", "value", "range (low)", "range (high)"};
  for (int nZone = 0; nZone < 4; ++nZone) {
    CompareZone(
        stored, built,
        {apszZone[nZone], nStored + nOffset, nBuilt + nOffset, anCount[nZone], anEntry[nZone]},
        strCol, nType, nKey, diffs);
    nOffset += ULONGLONG{anEntry[nZone]} * anCount[nZone];
  }
}

// Builds the sidecar that the table should have, in a private folder, and
// reads it. The folder goes with it.
bool BuildReference(const std::string& strOpen, const CSideImage& stored, CSideImage& built) {
  const char* pszTemp = std::getenv("TMPDIR");
  std::string strDir =
      std::string(pszTemp != nullptr && *pszTemp ? pszTemp : "/tmp") + "/lorn-check-XXXXXX";
  if (mkdtemp(strDir.data()) == nullptr) {
    throw CCliError(Format("check: cannot make a working folder in %s", strDir.c_str()));
  }
  char* pszReal = realpath(strOpen.c_str(), nullptr);
  const std::string strName = strOpen.substr(strOpen.rfind('/') + 1);
  const std::string strLink = strDir + "/" + strName;
  bool bOK = pszReal != nullptr && symlink(pszReal, strLink.c_str()) == 0;
  free(pszReal);
  if (bOK) {
    CCatStd table(strLink.c_str());
    bOK = table.IsOpen() != FALSE;
    if (bOK) {
      table.SetLocale(stored.header.strLocale);
      const INT_PTR nCols = std::min<INT_PTR>(table.GetColCount(), stored.header.arTypes.GetSize());
      for (INT_PTR nCol = 0; nCol < nCols; ++nCol) {
        const BYTE nType = stored.header.arTypes[nCol];
        if (nType != COL_TYPE_NONE) {
          table.SetColType(static_cast<WORD>(nCol), nType, stored.header.arSizes[nCol]);
        }
        if (stored.header.arIndexPos[nCol] != 0) {
          table.SetColFlags(static_cast<WORD>(nCol), COL_FLAG_INDEXED);
        }
      }
      bOK = table.IndexTable() && table.IsIndexed();
    }
  }
  const std::string strSide = SidecarPathOf(strLink);
  bOK = bOK && LoadImage(strSide, built);
  unlink(strSide.c_str());
  unlink(strLink.c_str());
  rmdir(strDir.c_str());
  return bOK;
}

void Compare(CCatStd& table, const CSideImage& stored, const CSideImage& built, CDiffs& diffs) {
  const DWORD nStoredRows = stored.header.nRows;
  const DWORD nRows = built.header.nRows;
  if (nStoredRows != nRows) {
    diffs.Add(Format("rows: the sidecar counts %u, the table holds %u", nStoredRows, nRows));
  }
  for (DWORD nRow = 0; nRow < std::min(nStoredRows, nRows); ++nRow) {
    const DWORD nStored = GetDword(At(stored, stored.header.nRowTablePos + 4ULL * nRow));
    const DWORD nBuilt = GetDword(At(built, built.header.nRowTablePos + 4ULL * nRow));
    if (nStored != nBuilt) {
      diffs.Add(Format("row %u: the sidecar has it start at byte %u, the table at byte %u", nRow,
                       nStored, nBuilt));
    }
  }
  for (INT_PTR nCol = 0; nCol < stored.header.arIndexPos.GetSize(); ++nCol) {
    if (stored.header.arIndexPos[nCol] == 0) {
      continue;
    }
    const std::string strCol = nCol < table.GetColCount()
                                   ? std::string(table.m_arColNames[nCol].GetString())
                                   : Format("#%d", static_cast<int>(nCol));
    if (stored.header.arTypes[nCol] != built.header.arTypes[nCol] ||
        (stored.header.arTypes[nCol] == COL_TYPE_STR &&
         stored.header.arSizes[nCol] != built.header.arSizes[nCol])) {
      diffs.Add(
          Format("column %s: the sidecar gives type %u size %u, the table needs type %u "
                 "size %u",
                 strCol.c_str(), stored.header.arTypes[nCol], stored.header.arSizes[nCol],
                 built.header.arTypes[nCol], built.header.arSizes[nCol]));
      continue;
    }
    if (built.header.arIndexPos.GetSize() <= nCol || built.header.arIndexPos[nCol] == 0) {
      diffs.Add(Format("column %s: its index could not be built anew", strCol.c_str()));
      continue;
    }
    CompareIndex(stored, built, static_cast<int>(nCol), strCol, diffs);
  }
}

int RunCheck(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("check", args, {"--repair"}, {});
  list.RequireCount(1, 1, "lorn check TABLE [--repair]");
  const std::string& strPath = list.Positional()[0];
  const bool bRepair = list.Has("--repair");
  std::string strOpen = PlaceTable(strPath, context.options);

  CSidecarState state;
  InspectSidecar(strOpen, state);
  CSideImage stored;
  const bool bLoaded = state.nState == ESideState::valid && LoadImage(state.strPath, stored);
  CCatStd table(strOpen.c_str());
  RequireOpen(table, strOpen);
  if (state.nState == ESideState::absent) {
    context.out.Write(Format("%s: no sidecar, nothing to check\n", strPath.c_str()));
    return EXIT_OK;
  }

  CDiffs diffs;
  if (!bLoaded || !table.IsIndexed()) {
    diffs.Add(Format("%s: the sidecar %s cannot serve the table (%s); opening the table drops it",
                     strPath.c_str(), state.strPath.c_str(),
                     state.nState != ESideState::valid ? state.strReason.c_str()
                                                       : "its structure cannot be right"));
  } else {
    CSideImage built;
    if (!BuildReference(strOpen, stored, built)) {
      throw CCliError(Format("%s: check: the sidecar could not be built anew for the comparison",
                             strPath.c_str()));
    }
    Compare(table, stored, built, diffs);
  }
  diffs.Print(context.out);
  if (diffs.Count() == 0) {
    context.out.Write(
        Format("%s: the sidecar agrees with the table: %u rows, %d indexes\n", strPath.c_str(),
               stored.header.nRows,
               static_cast<int>(std::count_if(
                   stored.header.arIndexPos.GetData(),
                   stored.header.arIndexPos.GetData() + stored.header.arIndexPos.GetSize(),
                   [](DWORD nPos) { return nPos != 0; }))));
    return EXIT_OK;
  }
  if (!bRepair) {
    context.out.Write(
        Format("%s: the sidecar does not agree with the table (lorn check --repair "
               "builds it anew)\n",
               strPath.c_str()));
    return EXIT_ERROR;
  }
  table.DropSide();
  for (INT_PTR nCol = 0; nCol < stored.header.arIndexPos.GetSize() && nCol < table.GetColCount();
       ++nCol) {
    if (bLoaded && stored.header.arIndexPos[nCol] != 0) {
      table.SetColFlags(static_cast<WORD>(nCol), COL_FLAG_INDEXED);
    }
  }
  RequireIndexed(table, strOpen);
  context.out.Write(Format("%s: the sidecar was built anew\n", strPath.c_str()));
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdCheck = {"check", "verify a table's sidecar against the table", kUsage,
                             &RunCheck};
