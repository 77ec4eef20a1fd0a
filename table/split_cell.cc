#include "cells/cell_grammar.h"
#include "table/cat_std.h"

BYTE CCatStd::SplitCell(const char* pszCell, CStringArray& arValues, BYTE* pFlags) {
  return SplitCellEx(pszCell, arValues, pFlags, m_cRangeOpen, m_cRangeClose, m_cValueSep,
                     m_cAnyValue, m_strRangeSep);
}
