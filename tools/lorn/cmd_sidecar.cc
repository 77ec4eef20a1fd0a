// lorn sidecar: a readable dump of a table's sidecar (SDX).
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "host/code_page.h"
#include "index/entry_codec.h"
#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/sidecar_reader.h"

namespace {

const char kUsage[] =
    "Dumps a table's sidecar (SDX) as text, without changing anything: the\n"
    "header fields (version, stamp, locale, row count), a summary of the row\n"
    "table, and for each column its type, key size and index with its three\n"
    "counts (any-value rows, values, ranges). Column names are shown when the\n"
    "sidecar fits the table. With --entries every index entry follows.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] sidecar TABLE [--entries]\n"
    "  lorn sidecar --help\n"
    "\n"
    "Options:\n"
    "  --entries    list every entry of every index [default: counts only]\n"
    "  -h, --help   this text\n";

// Key size of a column's index entries; 0 when the type gives none.
BYTE KeySizeOf(BYTE nType, BYTE nSize) {
  switch (nType) {
    case COL_TYPE_LONG:
      return 4;
    case COL_TYPE_REAL:
      return 8;
    case COL_TYPE_STR:
      return nSize;
    default:
      return 0;
  }
}

class CSidecarDump {
 public:
  CSidecarDump(COutput& out, const std::vector<BYTE>& file, const CSidecarHeader& header,
               const CTextCodec* pCodec)
      : m_out(out), m_file(file), m_header(header), m_pCodec(pCodec) {}

  void RowTable() {
    DWORD nPos = m_header.nRowTablePos;
    DWORD nRows = m_header.nRows;
    ULONGLONG nAvail = m_file.size() > nPos ? (m_file.size() - nPos) / 4 : 0;
    std::string strLine = Format("row table  at %u: %u entries", nPos, nRows);
    if (nAvail < nRows) {
      m_out.Line(strLine + Format(", TRUNCATED: the file holds %llu",
                                  static_cast<unsigned long long>(nAvail)));
      return;
    }
    if (nRows == 0) {
      m_out.Line(strLine);
      return;
    }
    DWORD nFirst = GetDword(&m_file[nPos]);
    DWORD nLast = GetDword(&m_file[nPos + 4 * (nRows - 1)]);
    strLine += Format(", offsets %u to %u", nFirst, nLast);
    for (DWORD i = 1; i < nRows; ++i) {
      if (GetDword(&m_file[nPos + 4 * i]) <= GetDword(&m_file[nPos + 4 * (i - 1)])) {
        m_out.Line(strLine + Format(", NOT RISING at row %u", i));
        return;
      }
    }
    m_out.Line(strLine + ", rising");
  }

  // The counts of an index, or false when its header lies outside the file.
  bool Counts(DWORD nPos, DWORD& nAny, DWORD& nValues, DWORD& nRanges) const {
    if (static_cast<ULONGLONG>(nPos) + INDEX_HEADER_SIZE > m_file.size()) {
      return false;
    }
    nAny = GetDword(&m_file[nPos]);
    nValues = GetDword(&m_file[nPos + 4]);
    nRanges = GetDword(&m_file[nPos + 8]);
    return true;
  }

  static ULONGLONG IndexLength(BYTE nKey, DWORD nAny, DWORD nValues, DWORD nRanges) {
    return INDEX_HEADER_SIZE + 4ULL * nAny +
           static_cast<ULONGLONG>(ValueEntrySize(nKey)) * nValues +
           2ULL * RangeEntrySize(nKey) * nRanges;
  }

  std::string Key(const BYTE* p, BYTE nType, BYTE nKey) const {
    if (nType == COL_TYPE_LONG) {
      return std::to_string(GetLong(p));
    }
    if (nType == COL_TYPE_REAL) {
      return Format("%.15g", GetDouble(p));
    }
    size_t nLen = 0;
    while (nLen < nKey && p[nLen] != 0) {
      ++nLen;
    }
    std::string strText(reinterpret_cast<const char*>(p), nLen);
    return m_pCodec != nullptr ? m_pCodec->ToUtf8(strText) : strText;
  }

  void Entries(DWORD nPos, BYTE nType, BYTE nKey, DWORD nAny, DWORD nValues, DWORD nRanges) {
    ULONGLONG nAt = nPos + INDEX_HEADER_SIZE;
    for (DWORD i = 0; i < nAny; ++i, nAt += AnyEntrySize()) {
      m_out.Line(Format("    any    row %u", GetDword(&m_file[nAt])));
    }
    for (DWORD i = 0; i < nValues; ++i, nAt += ValueEntrySize(nKey)) {
      const BYTE* p = &m_file[nAt];
      m_out.Line(Format("    value  row %u  %s", GetDword(p), Key(p + 4, nType, nKey).c_str()));
    }
    for (int nZone = 2; nZone <= 3; ++nZone) {
      for (DWORD i = 0; i < nRanges; ++i, nAt += RangeEntrySize(nKey)) {
        const BYTE* p = &m_file[nAt];
        std::string strFirst = Key(p + 4, nType, nKey);
        std::string strSecond = Key(p + 4 + nKey, nType, nKey);
        m_out.Line(Format("    %s  row %u  %s %s  %s %s  flags %u", nZone == 2 ? "low  " : "high ",
                          GetDword(p), nZone == 2 ? "low" : "high", strFirst.c_str(),
                          nZone == 2 ? "high" : "low", strSecond.c_str(), p[4 + 2 * nKey]));
      }
    }
  }

 private:
  COutput& m_out;
  const std::vector<BYTE>& m_file;
  const CSidecarHeader& m_header;
  const CTextCodec* m_pCodec;
};

std::vector<BYTE> ReadWhole(CFile& file) {
  std::vector<BYTE> bytes(static_cast<size_t>(file.GetLength()));
  file.SeekToBegin();
  UINT nRead = bytes.empty() ? 0 : file.Read(bytes.data(), static_cast<UINT>(bytes.size()));
  bytes.resize(nRead);
  return bytes;
}

int RunSidecar(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("sidecar", args, {"--entries"}, {});
  list.RequireCount(1, 1, "lorn sidecar TABLE [--entries]");
  if (context.options.bJson) {
    throw CCliError("sidecar: --json is not supported; the dump is text");
  }
  RequireTableFile(list.Positional()[0], "sidecar");
  // Where the reading commands keep the table's sidecar.
  const std::string strPath = PlaceTable(list.Positional()[0], context.options);
  CSidecarState state;
  InspectSidecar(strPath, state);
  switch (state.nState) {
    case ESideState::absent:
      throw CCliError(Format("%s: no sidecar %s; \"lorn index TABLE\" builds it", strPath.c_str(),
                             state.strPath.c_str()));
    case ESideState::locked:
      throw CCliError(Format("%s: its sidecar %s is locked by another process (being indexed?)",
                             strPath.c_str(), state.strPath.c_str()));
    case ESideState::unreadable:
      throw CCliError(Format("%s: %s", state.strPath.c_str(), state.strReason.c_str()));
    default:
      break;
  }
  if (!state.bHeader) {
    throw CCliError(
        Format("%s: damaged header; \"lorn drop TABLE\" removes it", state.strPath.c_str()));
  }
  std::vector<BYTE> bytes;
  {
    CFile file(state.strPath.c_str(), CFile::modeRead | CFile::shareDenyWrite);
    bytes = ReadWhole(file);
  }
  const CSidecarHeader& header = state.header;

  // Names come from the table's header line, which the sidecar does not
  // hold; the table is opened only when it will not drop the sidecar.
  CStringArray arNames;
  if (state.nState == ESideState::valid) {
    CCatStd table(strPath.c_str());
    if (table.IsOpen()) {
      GetColumnNames(table, arNames);
    }
  }
  std::unique_ptr<CTextCodec> pCodec;
  if (context.options.bUtf8) {
    pCodec = std::make_unique<CTextCodec>(CodePageOfLocale(header.strLocale));
  }
  COutput& out = context.out;
  CCodecGuard codecGuard(out, pCodec.get());

  out.Line(Format("sidecar    %s, %zu bytes", state.strPath.c_str(), bytes.size()));
  out.Line(Format("version    %u", header.nVersion));
  std::string strStamp = std::to_string(header.nStamp);
  time_t tStamp = static_cast<time_t>(header.nStamp);
  struct tm parts {};
  char szTime[32] = "";
  if (gmtime_r(&tStamp, &parts) != nullptr) {
    std::strftime(szTime, sizeof(szTime), "%Y-%m-%d %H:%M:%S", &parts);
  }
  std::string strTable = state.bTableStamp
                             ? (CCatStd::SameFileTime(header.nStamp, state.nTableStamp)
                                    ? "the table's"
                                    : "the table has " + std::to_string(state.nTableStamp))
                             : "no table file";
  out.Line(Format("stamp      %u (%s standard time; %s)", header.nStamp, szTime, strTable.c_str()));
  out.Line(Format("state      %s%s", SideStateName(state.nState),
                  state.strReason.empty() ? "" : (" (" + state.strReason + ")").c_str()));
  out.Line(Format("locale     %s", !header.bHasLocale           ? "(none stored: version 4)"
                                   : header.strLocale.IsEmpty() ? "(plain)"
                                                                : header.strLocale.GetString()));
  out.Line(Format("rows       %u", header.nRows));
  out.Line(Format("columns    %d", static_cast<int>(header.arTypes.GetSize())));
  CSidecarDump dump(out, bytes, header, pCodec.get());
  dump.RowTable();
  out.Line("");
  out.Line("    #  name              type  size  index at        any     values     ranges");
  bool bEntries = list.Has("--entries");
  for (INT_PTR nCol = 0; nCol < header.arTypes.GetSize(); ++nCol) {
    BYTE nType = header.arTypes.GetAt(nCol);
    BYTE nSize = nCol < header.arSizes.GetSize() ? header.arSizes.GetAt(nCol) : 0;
    DWORD nPos = nCol < header.arIndexPos.GetSize() ? header.arIndexPos.GetAt(nCol) : 0;
    std::string strName = nCol < arNames.GetSize() ? out.Text(arNames.GetAt(nCol)) : "";
    std::string strLine = Format("%5d  %-16s  %-4s  %4u", static_cast<int>(nCol), strName.c_str(),
                                 ColTypeName(nType), nSize);
    if (nPos == 0) {
      out.Line(strLine + "  -");
      continue;
    }
    DWORD nAny = 0;
    DWORD nValues = 0;
    DWORD nRanges = 0;
    if (!dump.Counts(nPos, nAny, nValues, nRanges)) {
      out.Line(strLine + Format("  %-10u  BEYOND THE END OF THE FILE", nPos));
      continue;
    }
    strLine += Format("  %-10u  %5u  %9u  %9u", nPos, nAny, nValues, nRanges);
    BYTE nKey = KeySizeOf(nType, nSize);
    ULONGLONG nEnd = nPos + CSidecarDump::IndexLength(nKey, nAny, nValues, nRanges);
    if (nKey == 0) {
      out.Line(strLine + "  (no key size)");
      continue;
    }
    if (nEnd > bytes.size()) {
      out.Line(strLine + "  TRUNCATED");
      continue;
    }
    out.Line(strLine);
    if (bEntries) {
      dump.Entries(nPos, nType, nKey, nAny, nValues, nRanges);
    }
  }
  out.Flush();
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdSidecar = {"sidecar", "a readable dump of a table's sidecar", kUsage,
                               &RunSidecar};
