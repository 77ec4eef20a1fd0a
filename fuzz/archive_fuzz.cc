// Loading a table, a query or a result view from an arbitrary archive, then
// using what came out and deleting it.
//
// Input: a selector byte (which class the host asks for: table, query or
// result view), then the archive's bytes. Stored paths are taken relative to
// the catalogue directory, which the target sets to its own working
// directory, holding the sample table T.TXT with a sidecar; inputs holding a
// "/" are skipped, so that no stored name leads out of it.
//
// What must hold whatever the archive: loading ends in an object or in the
// platform's exceptions, with every object that was made on the way either
// handed over or freed (the leak checker tells); the object works as far as
// its table does, and deleting it frees the masters it brought along.
#include <cstring>
#include <string>

#include "frame/settings.h"
#include "fuzz/fuzz_util.h"
#include "platform/carchive.h"
#include "platform/cfile.h"
#include "platform/exceptions.h"
#include "query/query_std.h"
#include "query/result_std.h"
#include "table/cat_std.h"

namespace {

using lorn_fuzz::CInput;
using lorn_fuzz::WorkFile;

constexpr short SET_ROWS_READ = 32;

// The sidecar of the sample table as a first run builds it, with an index on
// every column; put back before each input so that every run starts alike.
const std::string& PristineSidecar() {
  static std::string* s_pSide = nullptr;
  if (s_pSide == nullptr) {
    lorn_fuzz::RemoveFile(WorkFile("T.SDX"));
    {
      CCatStd table(WorkFile("T.TXT").c_str());
      for (short nCol = 0; nCol < table.GetColCount(); ++nCol) {
        table.SetColFlags(static_cast<WORD>(nCol), COL_FLAG_INDEXED);
      }
      LORN_FUZZ_CHECK(table.IndexTable() && table.IsIndexed());
    }
    s_pSide = new std::string(lorn_fuzz::GetFile(WorkFile("T.SDX")));
  }
  return *s_pSide;
}

void Use(CCatStd* pObject) {
  CStringArray arCells;
  pObject->IsOpen();
  pObject->GetColCount();
  if (pObject->IsTable()) {
    const DWORD nRows = pObject->GetRowCount();
    if (nRows > 0) {
      pObject->ReadRow(0, arCells);
      pObject->ReadRow(nRows - 1, arCells);
    }
    return;
  }
  CSetStd* pSet = static_cast<CSetStd*>(pObject);
  const WORD nCount = pSet->GetCount();
  for (short nIndex = 0; nIndex < static_cast<short>(nCount) && nIndex < SET_ROWS_READ; ++nIndex) {
    pSet->GetRowAt(nIndex);
    pSet->GetRowCells(nIndex, &arCells);
  }
  if (pObject->IsKindOf(RUNTIME_CLASS(CQueryStd))) {
    CQueryStd* pQuery = static_cast<CQueryStd*>(pObject);
    WORD nCol = 0;
    BYTE nOp = 0;
    CString strValue;
    for (short nPos = 0; nPos < static_cast<short>(pQuery->GetCriteriaCount()); ++nPos) {
      pQuery->GetCriteria(nPos, nCol, nOp, strValue);
    }
  }
  if (pObject->IsKindOf(RUNTIME_CLASS(CResultStd))) {
    CStringArray arNames;
    static_cast<CResultStd*>(pObject)->GetColumnNames(&arNames);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
  if (std::memchr(pData, '/', nSize) != nullptr) {
    return 0;
  }
  lorn_fuzz::WriteSampleFiles();
  SetCatalogDir(lorn_fuzz::WorkDir().c_str());
  const std::string& strSide = PristineSidecar();
  lorn_fuzz::PutFile(WorkFile("T.SDX"), strSide);
  lorn_fuzz::SetFileTime(WorkFile("T.SDX"), lorn_fuzz::SAMPLE_TIME);

  CInput input(pData, nSize);
  const BYTE nSelect = input.Byte();
  lorn_fuzz::PutFile(WorkFile("archive"), input.Rest());

  try {
    CFile file;
    LORN_FUZZ_CHECK(file.Open(WorkFile("archive").c_str(), CFile::modeRead));
    CArchive ar(&file, CArchive::load);
    CCatStd* pObject = nullptr;
    switch (nSelect % 3) {
      case 0:
        ar >> pObject;
        break;
      case 1: {
        CQueryStd* pQuery = nullptr;
        ar >> pQuery;
        pObject = pQuery;
        break;
      }
      default: {
        CResultStd* pResult = nullptr;
        ar >> pResult;
        pObject = pResult;
        break;
      }
    }
    if (pObject != nullptr) {
      try {
        Use(pObject);
      } catch (...) {
        delete pObject;
        throw;
      }
      delete pObject;
    }
  } catch (const CFileException&) {
  } catch (const CArchiveException&) {
  } catch (const CInvalidArgException&) {
  }
  return 0;
}
