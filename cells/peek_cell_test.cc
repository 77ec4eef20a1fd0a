#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "cells/cell_grammar.h"
#include "platform/mbcs.h"

// Wherever PeekCell decides, SplitCellEx decides the same: kind and value,
// with the stock grammar and with another one, in a single-byte and in a
// double-byte code page (where "*" may be a trail byte).
TEST(PeekCell, AgreesWithSplitCellEx) {
  struct CGrammar {
    char cOpen, cClose, cValueSep, cAny;
  };
  const CGrammar aGrammars[] = {{'(', ')', '*', '*'}, {'[', ']', ';', '?'}};
  const char szBytes[] = " *();[]?.ab\x81\x82";
  std::mt19937 random(9);
  const int nSavedPage = _getmbcp();
  int anDecided[2] = {0, 0};
  for (int nPage : {1252, 932}) {
    ASSERT_EQ(_setmbcp(nPage), 0);
    for (const CGrammar& g : aGrammars) {
      for (int n = 0; n < 20000; ++n) {
        std::string strCell;
        for (int nLen = static_cast<int>(random() % 7); nLen > 0; --nLen) {
          strCell += szBytes[random() % (sizeof(szBytes) - 1)];
        }
        const char* pszValue = nullptr;
        const BYTE nPeek = PeekCell(strCell.c_str(), strCell.size(), &pszValue, g.cOpen, g.cClose,
                                    g.cValueSep, g.cAny);
        CStringArray arValues;
        BYTE nFlags = 0;
        const BYTE nKind = SplitCellEx(strCell.c_str(), arValues, &nFlags, g.cOpen, g.cClose,
                                       g.cValueSep, g.cAny, "..");
        ++anDecided[nPeek != CELL_UNSPLIT];
        if (nPeek == CELL_UNSPLIT) {
          EXPECT_TRUE(nKind == CELL_LIST || nKind == CELL_RANGE || nKind == CELL_SINGLE) << strCell;
          continue;
        }
        EXPECT_EQ(nPeek, nKind) << strCell;
        if (nKind == CELL_SINGLE) {
          ASSERT_EQ(arValues.GetSize(), 1);
          EXPECT_STREQ(pszValue, arValues[0]) << strCell;
        }
      }
    }
  }
  _setmbcp(nSavedPage);
  EXPECT_GT(anDecided[0], 1000);
  EXPECT_GT(anDecided[1], 1000);
}

// MeasureCell gives what the values of SplitCellEx give through ClassifyCell
// one by one: the type from every starting type, and the longest value.
TEST(MeasureCell, AgreesWithSplitAndClassify) {
  const char szBytes[] = " *()..-+0123456789ab\x81\x82";
  std::mt19937 random(10);
  const int nSavedPage = _getmbcp();
  for (int nPage : {1252, 932}) {
    ASSERT_EQ(_setmbcp(nPage), 0);
    for (int n = 0; n < 30000; ++n) {
      std::string strCell;
      for (int nLen = static_cast<int>(random() % 9); nLen > 0; --nLen) {
        strCell += szBytes[random() % (sizeof(szBytes) - 1)];
      }
      CStringArray arValues;
      BYTE nFlags = 0;
      SplitCellEx(strCell.c_str(), arValues, &nFlags, '(', ')', '*', '*', "..");
      for (BYTE nStart : {COL_TYPE_LONG, COL_TYPE_REAL, COL_TYPE_STR}) {
        BYTE nWant = nStart;
        int nLongest = -1;
        for (INT_PTR i = 0; i < arValues.GetSize(); ++i) {
          nWant = ClassifyCell(arValues[i], nWant);
          nLongest = std::max(nLongest, arValues[i].GetLength());
        }
        BYTE nType = nStart;
        EXPECT_EQ(
            MeasureCell(strCell.c_str(), strCell.size(), nType, TRUE, '(', ')', '*', '*', ".."),
            nLongest)
            << strCell;
        EXPECT_EQ(nType, nWant) << strCell;
      }
    }
  }
  _setmbcp(nSavedPage);
}
