#include <gtest/gtest.h>

#include <vector>

#include "table/cat_std.h"

namespace {

// A table without files whose analysis is a hook: it counts the calls and,
// when asked to, gives every unknown column the type Str and the size 9.
class CMetaTable : public CCatStd {
 public:
  CMetaTable() : CCatStd(static_cast<const char*>(nullptr)) {}

  BOOL IndexTable() override {
    ++m_nAnalyses;
    if (m_bAnalysisWorks) {
      for (INT_PTR i = 0; i < m_arColTypes.GetSize(); ++i) {
        if (m_arColTypes[i] == 0) {
          m_arColTypes[i] = COL_TYPE_STR;
          m_arColSizes[i] = 9;
        }
      }
    }
    return m_bAnalysisWorks;
  }

  // Columns with the given types; sizes 4/8/10 by type, no flags, no index.
  void SetColumns(const std::vector<BYTE>& types) {
    for (size_t i = 0; i < types.size(); ++i) {
      m_arColNames.Add(CString(static_cast<char>('A' + i)));
      m_arColTypes.Add(types[i]);
      m_arColSizes.Add(types[i] == COL_TYPE_LONG   ? 4
                       : types[i] == COL_TYPE_REAL ? 8
                       : types[i] == COL_TYPE_STR  ? 10
                                                   : 0);
      m_arColFlags.Add(0);
      m_arColIndexPos.Add(0);
      m_arColIndexes.Add(nullptr);
    }
  }

  int m_nAnalyses = 0;
  BOOL m_bAnalysisWorks = FALSE;
};

// Stands for an index object; tells when it is destroyed.
class CIndexProbe : public CObject {
 public:
  explicit CIndexProbe(bool* pbGone) : m_pbGone(pbGone) {}
  ~CIndexProbe() override { *m_pbGone = true; }
  bool* m_pbGone;
};

std::vector<BYTE> Bytes(const CByteArray& ar) {
  return std::vector<BYTE>(ar.GetData(), ar.GetData() + ar.GetSize());
}

TEST(ColumnMetadata, ReadersAnalyseOnlyUnknownColumns) {
  CMetaTable table;
  table.SetColumns({COL_TYPE_LONG, COL_TYPE_REAL, 0});
  EXPECT_EQ(table.GetColType(0), COL_TYPE_LONG);
  EXPECT_EQ(table.GetColSize(1), 8);
  EXPECT_EQ(table.GetColType(3), 0);
  EXPECT_EQ(table.GetColSize(0xFFFF), 0);
  EXPECT_EQ(table.m_nAnalyses, 0);

  // A failing analysis leaves the answer 0.
  EXPECT_EQ(table.GetColType(2), 0);
  EXPECT_EQ(table.m_nAnalyses, 1);

  CByteArray arTypes;
  arTypes.Add(77);
  EXPECT_EQ(table.GetColTypes(arTypes), 3);
  EXPECT_EQ(Bytes(arTypes), (std::vector<BYTE>{1, 2, 0}));
  EXPECT_EQ(table.m_nAnalyses, 2);

  table.m_bAnalysisWorks = TRUE;
  EXPECT_EQ(table.GetColSize(2), 9);
  EXPECT_EQ(table.m_nAnalyses, 3);
  EXPECT_EQ(table.GetColType(2), COL_TYPE_STR);
  CByteArray arSizes;
  EXPECT_EQ(table.GetColSizes(arSizes), 3);
  EXPECT_EQ(Bytes(arSizes), (std::vector<BYTE>{4, 8, 9}));
  EXPECT_EQ(table.m_nAnalyses, 3);

  // A Long column typed by SetColType has size 0, which a reader analyses.
  table.m_arColSizes[0] = 0;
  EXPECT_EQ(table.GetColSize(0), 0);
  EXPECT_EQ(table.m_nAnalyses, 4);
}

TEST(ColumnMetadata, ColumnsByKindFilterOnTypesAndFlags) {
  CMetaTable table;
  table.SetColumns({COL_TYPE_LONG, COL_TYPE_STR, COL_TYPE_REAL, COL_TYPE_STR, 0});
  table.m_arColFlags[1] = COL_FLAG_INDEXED;
  table.m_arColFlags[2] = COL_FLAG_INDEXED | COL_FLAG_USER;
  table.m_arColFlags[4] = COL_FLAG_USER;

  // The columns of a kind, into an array that held something before.
  auto ByKind = [&table](BYTE nKind) {
    CWordArray arCols;
    arCols.Add(99);
    const INT_PTR nCount = table.GetColsByKind(nKind, arCols);
    EXPECT_EQ(nCount, arCols.GetSize());
    return std::vector<WORD>(arCols.GetData(), arCols.GetData() + arCols.GetSize());
  };
  EXPECT_EQ(ByKind(5), (std::vector<WORD>{0, 1, 3}));
  EXPECT_EQ(ByKind(0x14), (std::vector<WORD>{1}));
  EXPECT_EQ(ByKind(0x20), (std::vector<WORD>{2, 4}));
  EXPECT_EQ(ByKind(0), (std::vector<WORD>{0, 1, 2, 3, 4}));
  // A column of type 0 fails every type test, and nothing is analysed.
  EXPECT_EQ(ByKind(7).size(), 4u);
  EXPECT_EQ(table.m_nAnalyses, 0);
}

TEST(ColumnMetadata, FlagsAreAddedAndOnlyIndexedIsTakenAway) {
  CMetaTable table;
  table.SetColumns({COL_TYPE_LONG, COL_TYPE_STR, COL_TYPE_STR});
  table.m_bIndexed = TRUE;
  table.SetColFlags(0, 0);
  table.SetColFlags(3, COL_FLAG_INDEXED);
  EXPECT_EQ(Bytes(table.m_arColFlags), (std::vector<BYTE>{0, 0, 0}));
  EXPECT_TRUE(table.m_bIndexed);

  // A newly wanted index is not built yet.
  table.SetColFlags(1, COL_FLAG_INDEXED);
  EXPECT_FALSE(table.m_bIndexed);
  table.m_bIndexed = TRUE;
  table.SetColFlags(1, COL_FLAG_INDEXED | COL_FLAG_USER);
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_EQ(table.m_arColFlags[1], COL_FLAG_INDEXED | COL_FLAG_USER);

  // Without 0x10: a column with a built index loses it, one without keeps
  // its wish.
  table.m_arColFlags[2] = COL_FLAG_INDEXED;
  table.m_arColIndexPos[1] = 1234;
  table.SetColFlags(1, 0x01);
  table.SetColFlags(2, 0x01);
  EXPECT_EQ(table.m_arColFlags[1], COL_FLAG_USER | 0x01);
  EXPECT_EQ(table.m_arColFlags[2], COL_FLAG_INDEXED | 0x01);

  CByteArray arFlags;
  arFlags.Add(0x40);
  arFlags.Add(0);
  table.SetColFlags(&arFlags);
  table.SetColFlags(nullptr);
  EXPECT_EQ(Bytes(table.m_arColFlags),
            (std::vector<BYTE>{0x40, COL_FLAG_USER | 0x01, COL_FLAG_INDEXED | 0x01}));
}

TEST(ColumnMetadata, ChangingATypeDropsABuiltIndex) {
  CMetaTable table;
  table.SetColumns({COL_TYPE_LONG, COL_TYPE_LONG, COL_TYPE_STR, 0});
  bool bGone0 = false;
  bool bGone2 = false;
  table.m_arColIndexPos[0] = 100;
  table.m_arColIndexes[0] = new CIndexProbe(&bGone0);
  table.m_arColIndexPos[2] = 200;
  table.m_arColIndexes[2] = new CIndexProbe(&bGone2);
  table.m_bIndexed = TRUE;

  table.SetColType(0, 3, 0);
  table.SetColType(4, COL_TYPE_STR, 5);
  EXPECT_EQ(Bytes(table.m_arColTypes), (std::vector<BYTE>{1, 1, 4, 0}));

  // Same type, or a column without a built index: the index state stays.
  table.SetColType(0, COL_TYPE_LONG, 0);
  table.SetColType(1, COL_TYPE_REAL, 0);
  table.SetColType(3, COL_TYPE_STR, 1);
  table.SetColType(2, COL_TYPE_STR, 10);
  EXPECT_TRUE(table.m_bIndexed);
  EXPECT_FALSE(bGone0);
  EXPECT_EQ(table.m_arColSizes[1], 4);  // sizes are set for Str only
  EXPECT_EQ(table.m_arColSizes[3], 2);

  table.SetColType(0, COL_TYPE_REAL, 0);
  EXPECT_FALSE(table.m_bIndexed);
  EXPECT_TRUE(bGone0);
  EXPECT_EQ(table.m_arColIndexes[0], nullptr);
  EXPECT_EQ(table.m_arColIndexPos[0], 0u);
  EXPECT_EQ(table.m_arColTypes[0], COL_TYPE_REAL);

  // A new key size drops the index of a Str column too.
  table.m_bIndexed = TRUE;
  table.SetColType(2, COL_TYPE_STR, 12);
  EXPECT_TRUE(bGone2);
  EXPECT_FALSE(table.m_bIndexed);
  EXPECT_EQ(table.m_arColIndexPos[2], 0u);
  EXPECT_EQ(table.m_arColSizes[2], 12);
}

TEST(ColumnMetadata, SetColTypesTakesSizesWhereGiven) {
  CMetaTable table;
  table.SetColumns({0, 0, 0});
  table.SetColTypes(nullptr, nullptr);
  CByteArray arTypes;
  for (BYTE n : {COL_TYPE_STR, COL_TYPE_STR, COL_TYPE_LONG, COL_TYPE_STR}) {
    arTypes.Add(n);
  }
  CByteArray arSizes;
  arSizes.Add(30);
  table.SetColTypes(&arTypes, &arSizes);
  EXPECT_EQ(Bytes(table.m_arColTypes), (std::vector<BYTE>{4, 4, 1}));
  EXPECT_EQ(Bytes(table.m_arColSizes), (std::vector<BYTE>{30, 0, 0}));
}

TEST(ColumnMetadata, ChainedObjectsWorkOnTheRoot) {
  CMetaTable table;
  table.SetColumns({COL_TYPE_LONG, COL_TYPE_STR});
  CCatStd view(static_cast<CCatStd*>(&table));
  view.SetColType(1, COL_TYPE_STR, 40);
  view.SetColFlags(0, COL_FLAG_INDEXED);
  EXPECT_EQ(table.m_arColSizes[1], 40);
  EXPECT_EQ(table.m_arColFlags[0], COL_FLAG_INDEXED);
  EXPECT_EQ(view.GetColSize(1), 40);
  CWordArray arCols;
  EXPECT_EQ(view.GetColsByKind(COL_FLAG_INDEXED, arCols), 1);
  EXPECT_TRUE(view.m_arColTypes.IsEmpty());
}

TEST(ColumnMetadata, SplitCellUsesTheObjectsOwnGrammar) {
  CMetaTable table;
  table.m_cRangeOpen = '[';
  table.m_cRangeClose = ']';
  table.m_cValueSep = ';';
  table.m_cAnyValue = '?';
  table.m_strRangeSep = "--";
  CStringArray arValues;
  BYTE nFlags = 0;
  EXPECT_EQ(table.SplitCell("[1--5[", arValues, &nFlags), CELL_RANGE);
  EXPECT_EQ(nFlags, RANGE_LOW_CLOSED | RANGE_HIGH_OPEN);
  EXPECT_EQ(table.SplitCell("b;a", arValues, &nFlags), CELL_LIST);
  EXPECT_EQ(arValues[0], "a");
  EXPECT_EQ(table.SplitCell("?", arValues, &nFlags), CELL_ANY);
  EXPECT_EQ(table.SplitCell("(1..5)", arValues, &nFlags), CELL_SINGLE);
}

}  // namespace
