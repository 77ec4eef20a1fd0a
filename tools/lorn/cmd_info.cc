// lorn info: what lorn knows of a table, without changing it.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"
#include "tools/lorn/cli_places.h"
#include "tools/lorn/cli_table.h"
#include "tools/lorn/cli_text.h"
#include "tools/lorn/commands.h"
#include "tools/lorn/csv_format.h"
#include "tools/lorn/sidecar_reader.h"
#include "tools/lorn/table_shape.h"

namespace {

const char kUsage[] =
    "Shows what lorn knows of a table, without changing it: its path, its form\n"
    "(plain TXT or scrambled SDC), its sidecar and the sidecar's state (absent,\n"
    "valid, stale, being indexed), its locale and row count, then one line per\n"
    "column: number, name, type (Long, Real, Str, or - when not yet examined),\n"
    "key size, flags and whether its index is built (or only wanted).\n"
    "\"info\" neither analyses nor indexes: run \"lorn index TABLE\" for that.\n"
    "Like every command that opens a table, it drops a stale sidecar.\n"
    "\n"
    "Usage:\n"
    "  lorn [options] info TABLE\n"
    "  lorn info --help\n"
    "\n"
    "Options:\n"
    "  -h, --help   this text\n";

bool IsScrambledName(const std::string& strPath) {
  size_t nDot = strPath.rfind('.');
  size_t nSlash = strPath.rfind('/');
  if (nDot == std::string::npos || (nSlash != std::string::npos && nDot < nSlash)) {
    return false;
  }
  std::string strExt = strPath.substr(nDot + 1);
  std::transform(strExt.begin(), strExt.end(), strExt.begin(), [](char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  });
  return strExt == "SDC";
}

// bGone: the sidecar is no longer there, as opening the table drops a stale
// one.
std::string StateText(const CSidecarState& side, bool bGone) {
  std::string strText = SideStateName(side.nState);
  if (side.nState == ESideState::stale) {
    strText += " (" + side.strReason + ")" + (bGone ? ", dropped now" : "") +
               "; lorn index builds it anew";
  } else if (side.nState == ESideState::unreadable) {
    strText += " (" + side.strReason + ")";
  }
  return strText;
}

// The columns a text takes on a terminal: UTF-8 text by its characters, East
// Asian wide ones counting two; other text (a single-byte code page) by its
// bytes.
size_t DisplayWidth(const std::string& strText) {
  size_t nWidth = 0;
  for (size_t i = 0; i < strText.size();) {
    unsigned char c = static_cast<unsigned char>(strText[i]);
    size_t nLen = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    if (nLen == 0 || i + nLen > strText.size()) {
      return strText.size();
    }
    unsigned int nCode = nLen == 1 ? c : c & (0x7F >> nLen);
    for (size_t j = 1; j < nLen; ++j) {
      unsigned char cNext = static_cast<unsigned char>(strText[i + j]);
      if ((cNext & 0xC0) != 0x80) {
        return strText.size();
      }
      nCode = (nCode << 6) | (cNext & 0x3F);
    }
    bool bWide = (nCode >= 0x1100 && nCode <= 0x115F) || (nCode >= 0x2E80 && nCode <= 0xA4CF) ||
                 (nCode >= 0xAC00 && nCode <= 0xD7A3) || (nCode >= 0xF900 && nCode <= 0xFAFF) ||
                 (nCode >= 0xFE30 && nCode <= 0xFE4F) || (nCode >= 0xFF00 && nCode <= 0xFF60) ||
                 (nCode >= 0xFFE0 && nCode <= 0xFFE6) || nCode >= 0x20000;
    nWidth += bWide ? 2 : 1;
    i += nLen;
  }
  return nWidth;
}

std::string PadRight(const std::string& strText, size_t nWidth) {
  size_t nShown = DisplayWidth(strText);
  return nShown >= nWidth ? strText : strText + std::string(nWidth - nShown, ' ');
}

struct CColumnInfo {
  std::string strName;
  BYTE nType = 0;
  BYTE nSize = 0;
  BYTE nFlags = 0;
  const char* pszIndex = "-";
};

// Entry i of a metadata array, 0 beyond its end.
template <typename TArray>
DWORD Entry(const TArray& ar, INT_PTR i) {
  return i < ar.GetSize() ? static_cast<DWORD>(ar.GetAt(i)) : 0;
}

// Whether the sidecar was written within the second in which the table file
// last changed. The stamp counts whole seconds, so a later change in that
// same second leaves the table looking as the sidecar describes it.
bool SidecarInChangeSecond(const std::string& strTable, const std::string& strSide) {
  struct stat table {};
  struct stat side {};
  return stat(strTable.c_str(), &table) == 0 && stat(strSide.c_str(), &side) == 0 &&
         side.st_mtim.tv_sec == table.st_mtim.tv_sec;
}

int RunInfo(CCliContext& context, const std::vector<std::string>& args) {
  CArgList list("info", args, {}, {});
  list.RequireCount(1, 1, "lorn info TABLE");
  const std::string& strPath = list.Positional()[0];
  COutput& out = context.out;

  // The state is told before the table is opened: opening drops a stale
  // sidecar.
  std::string strOpen = PlaceTable(strPath, context.options);
  CSidecarState side;
  InspectSidecar(strOpen, side);
  bool bScrambled = IsScrambledName(strPath);
  std::string strLocale;
  std::string strRows = "unknown";
  std::vector<CColumnInfo> columns;
  bool bColumns = false;

  if (side.nState != ESideState::locked) {
    CCatStd table(strOpen.c_str());
    RequireOpen(table, strOpen);
    // The columns shown are those a reading command would see, and would
    // refuse: said first, on standard error.
    std::string strQuoted = QuotedFieldProblem(strOpen, strPath, table.m_cColSep);
    if (!strQuoted.empty()) {
      std::fprintf(stderr, "lorn: info: %s\n", strQuoted.c_str());
    }
    WarnUnterminated(strOpen, strPath);
    std::unique_ptr<CTextCodec> pCodec = MakeTableCodec(table, context.options);
    CCodecGuard codecGuard(out, pCodec.get());
    bScrambled = table.IsScrambled() != FALSE;
    CString strLoc;
    table.GetLocale(strLoc);
    strLocale = strLoc.GetString();
    if (side.nState == ESideState::valid) {
      strRows = std::to_string(table.m_nRows);
    }
    bColumns = true;
    for (short nCol = 0; nCol < table.GetColCount(); ++nCol) {
      CColumnInfo column;
      CString strName;
      table.GetColName(static_cast<WORD>(nCol), strName);
      column.strName = out.Text(strName);
      column.nType = static_cast<BYTE>(Entry(table.m_arColTypes, nCol));
      column.nSize = static_cast<BYTE>(Entry(table.m_arColSizes, nCol));
      column.nFlags = static_cast<BYTE>(Entry(table.m_arColFlags, nCol));
      if (Entry(table.m_arColIndexPos, nCol) != 0) {
        column.pszIndex = "built";
      } else if ((column.nFlags & COL_FLAG_INDEXED) != 0) {
        column.pszIndex = "wanted";
      }
      columns.push_back(column);
    }
    WarnSurplusCells(table, strPath);
  }

  std::string strForm = bScrambled ? "scrambled" : "plain";
  if (out.IsJson()) {
    std::string strLine = "{\"table\":" + COutput::JsonString(strPath) +
                          ",\"form\":" + COutput::JsonString(strForm) +
                          ",\"sidecar\":" + COutput::JsonString(side.strPath) +
                          ",\"state\":" + COutput::JsonString(SideStateName(side.nState));
    if (!side.strReason.empty()) {
      strLine += ",\"reason\":" + COutput::JsonString(side.strReason);
    }
    strLine += ",\"locale\":" + COutput::JsonString(strLocale);
    strLine += ",\"rows\":" + (strRows == "unknown" ? std::string("null") : strRows);
    strLine += ",\"columns\":";
    if (!bColumns) {
      strLine += "null";
    } else {
      strLine += "[";
      for (size_t i = 0; i < columns.size(); ++i) {
        const CColumnInfo& column = columns[i];
        strLine += Format(
            "%s{\"number\":%zu,\"name\":%s,\"type\":\"%s\",\"size\":%u,"
            "\"flags\":%u,\"index\":\"%s\"}",
            i > 0 ? "," : "", i, COutput::JsonString(column.strName).c_str(),
            ColTypeName(column.nType), column.nSize, column.nFlags, column.pszIndex);
      }
      strLine += "]";
    }
    out.Line(strLine + "}");
    return EXIT_OK;
  }

  out.Line("table    " + strPath);
  out.Line("form     " + strForm);
  out.Line("sidecar  " + side.strPath);
  out.Line("state    " + StateText(side, access(side.strPath.c_str(), F_OK) != 0));
  if (!bColumns) {
    out.Line("columns  unknown while another process holds the sidecar");
    return EXIT_OK;
  }
  bool bPlain = strLocale.empty() || strLocale == "C" || strLocale == "c";
  out.Line("locale   " + (bPlain ? std::string("(plain)") : strLocale));
  if (bPlain && !bScrambled && FileLooksLikeUtf8(strOpen)) {
    // The locale is taken when the sidecar is made, so a sidecar goes first.
    out.Line("hint     text in UTF-8: " +
             (side.nState == ESideState::absent ? "" : "lorn drop " + strPath + " && ") +
             "lorn --locale utf8 index " + strPath + " folds its accented letters");
  }
  out.Line("rows     " + strRows);
  out.Line("columns  " + std::to_string(columns.size()));
  out.Line("");
  size_t nWidth = 4;
  for (const CColumnInfo& column : columns) {
    nWidth = std::max(nWidth, DisplayWidth(column.strName));
  }
  out.Line(Format("%5s  %s  %-4s  %4s  %-5s  %s", "#", PadRight("name", nWidth).c_str(), "type",
                  "size", "flags", "index"));
  for (size_t i = 0; i < columns.size(); ++i) {
    const CColumnInfo& column = columns[i];
    std::string strFlags = column.nFlags != 0 ? Format("0x%02X", column.nFlags) : "-";
    std::string strSize = column.nSize != 0 ? std::to_string(column.nSize) : "-";
    out.Line(Format("%5zu  %s  %-4s  %4s  %-5s  %s", i, PadRight(column.strName, nWidth).c_str(),
                    ColTypeName(column.nType), strSize.c_str(), strFlags.c_str(), column.pszIndex));
  }
  if (side.nState == ESideState::valid && SidecarInChangeSecond(strOpen, side.strPath)) {
    out.Line(
        "stamp    the sidecar was written in the second of the table's last change: a "
        "change within that second cannot be seen (lorn check compares)");
  }
  return EXIT_OK;
}

}  // namespace

const CCommand g_cmdInfo = {"info", "what lorn knows of a table and its sidecar", kUsage, &RunInfo};
