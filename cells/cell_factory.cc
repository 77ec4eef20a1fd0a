#include "cells/cell_factory.h"

#include "cells/cell_grammar.h"
#include "platform/carchive.h"

CCellStd* CreateCell(BYTE nKind, BYTE nType, BYTE nFlags, const CStringArray* pValues) {
  if (nKind != CELL_RANGE) {
    return nullptr;
  }
  switch (nType) {
    case COL_TYPE_LONG:
      return new CCellRangeLong(nFlags, pValues);
    case COL_TYPE_REAL:
      return new CCellRangeReal(nFlags, pValues);
    case COL_TYPE_STR:
      return new CCellRangeStr(nFlags, pValues);
    default:
      return nullptr;
  }
}

CCellStd* ParseCell(const char* pszCell, BYTE nType) {
  CStringArray arValues;
  BYTE nFlags = 0;
  const BYTE nKind = SplitCellEx(pszCell, arValues, &nFlags, '(', ')', '*', '*', "..");
  return CreateCell(nKind, nType, nFlags, &arValues);
}

void CCellStd::Store(CArchive& ar) const {
  if (!ar.IsStoring()) {
    return;
  }
  ar << GetKind() << GetType() << GetFlags();
  CStringArray arValues;
  GetValues(arValues);
  arValues.Serialize(ar);
}

CCellStd* LoadCell(CArchive& ar) {
  if (!ar.IsLoading()) {
    return nullptr;
  }
  BYTE nKind = 0;
  BYTE nType = 0;
  BYTE nFlags = 0;
  ar >> nKind >> nType >> nFlags;
  CStringArray arValues;
  arValues.Serialize(ar);
  return CreateCell(nKind, nType, nFlags, &arValues);
}
