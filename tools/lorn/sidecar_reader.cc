#include "tools/lorn/sidecar_reader.h"

#include "platform/carchive.h"
#include "platform/exceptions.h"
#include "platform/time_zone.h"
#include "table/cat_internal.h"
#include "table/cat_std.h"
#include "tools/lorn/cli_error.h"

std::string SiblingPathOf(const std::string& strTable, const char* pszExt) {
  size_t nSlash = strTable.rfind('/');
  size_t nNameStart = nSlash == std::string::npos ? 0 : nSlash + 1;
  size_t nDot = strTable.rfind('.');
  if (nDot == std::string::npos || nDot < nNameStart) {
    return strTable.substr(0, nNameStart) + pszExt;
  }
  return strTable.substr(0, nDot + 1) + pszExt;
}

std::string SidecarPathOf(const std::string& strTable) {
  return SiblingPathOf(strTable, "SDX");
}

bool TableStampOf(const std::string& strTable, DWORD& nStamp) {
  CFileStatus status;
  if (!CFile::GetStatus(strTable.c_str(), status)) {
    return false;
  }
  nStamp = static_cast<DWORD>(status.m_mtime.GetTime()) - static_cast<DWORD>(GetTimeZoneBias());
  return true;
}

void ReadSidecarHeader(CFile& file, CSidecarHeader& header) {
  file.SeekToBegin();
  CArchive ar(&file, CArchive::load);
  ar >> header.nVersion;
  ar >> header.nStamp;
  header.arTypes.Serialize(ar);
  header.arSizes.Serialize(ar);
  header.arIndexPos.Serialize(ar);
  header.bHasLocale = header.nVersion >= 5;
  header.strLocale.Empty();
  if (header.bHasLocale) {
    ar >> header.strLocale;
  }
  ar >> header.nRows;
  if (header.nVersion == 2) {
    WORD nIgnored = 0;
    ar >> nIgnored;
  }
  ar.Close();
  header.nRowTablePos = static_cast<DWORD>(file.GetPosition());
}

void InspectSidecar(const std::string& strTable, CSidecarState& state) {
  state.strPath = SidecarPathOf(strTable);
  state.bTableStamp = TableStampOf(strTable, state.nTableStamp);
  if (!FileExists(state.strPath.c_str())) {
    state.nState = ESideState::absent;
    return;
  }
  CFile file;
  CFileException error;
  if (!file.Open(state.strPath.c_str(), CFile::modeRead | CFile::shareDenyWrite, &error)) {
    if (error.m_cause == CFileException::sharingViolation) {
      state.nState = ESideState::locked;
      state.strReason = "locked by another process";
    } else {
      state.nState = ESideState::unreadable;
      state.strReason = DescribeException(error);
    }
    return;
  }
  state.nState = ESideState::stale;
  try {
    ReadSidecarHeader(file, state.header);
  } catch (const CArchiveException&) {
    state.strReason = "damaged header";
    return;
  }
  state.bHeader = true;
  const CSidecarHeader& header = state.header;
  if (header.nVersion != 4 && header.nVersion != 5) {
    state.strReason = Format("version %u, not 4 or 5", static_cast<unsigned>(header.nVersion));
  } else if (!state.bTableStamp) {
    state.strReason = "the table file is missing";
  } else if (!CCatStd::SameFileTime(header.nStamp, state.nTableStamp)) {
    state.strReason = "the table changed since it was indexed";
  } else if (!header.strLocale.IsEmpty() && !IsLocaleValid(header.strLocale)) {
    state.strReason = Format("unknown locale \"%s\"", header.strLocale.GetString());
  } else {
    state.nState = ESideState::valid;
  }
}

const char* SideStateName(ESideState nState) {
  switch (nState) {
    case ESideState::absent:
      return "absent";
    case ESideState::valid:
      return "valid";
    case ESideState::stale:
      return "stale";
    case ESideState::locked:
      return "being indexed";
    case ESideState::unreadable:
      return "unreadable";
  }
  return "?";
}
