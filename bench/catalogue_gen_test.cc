#include "bench/catalogue_gen.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace lorn_bench {
namespace {

std::string Generate(const CCatalogueGen& gen) {
  std::string strText;
  gen.AppendHeader(strText);
  for (DWORD nRow = 0; nRow < gen.GetRows(); ++nRow) {
    gen.AppendRow(nRow, strText);
  }
  return strText;
}

// Lines without their CR LF, cut into cells at TAB.
std::vector<std::vector<std::string>> Parse(const std::string& strText) {
  std::vector<std::vector<std::string>> arRows;
  size_t nStart = 0;
  while (nStart < strText.size()) {
    const size_t nEnd = strText.find("\r\n", nStart);
    EXPECT_NE(nEnd, std::string::npos) << "line without CR LF";
    if (nEnd == std::string::npos) {
      break;
    }
    std::vector<std::string> arCells;
    std::stringstream line(strText.substr(nStart, nEnd - nStart) + "\t");
    std::string strCell;
    while (std::getline(line, strCell, '\t')) {
      arCells.push_back(strCell);
    }
    arRows.push_back(arCells);
    nStart = nEnd + 2;
  }
  return arRows;
}

TEST(CatalogueGen, SameSeedSameBytesOtherSeedOtherBytes) {
  const std::string strFirst = Generate(CCatalogueGen(2000, 7, FALSE));
  EXPECT_EQ(strFirst, Generate(CCatalogueGen(2000, 7, FALSE)));
  EXPECT_NE(strFirst, Generate(CCatalogueGen(2000, 8, FALSE)));
}

TEST(CatalogueGen, RowsHoldTheDrawnValues) {
  const CCatalogueGen gen(5000, 1998, FALSE);
  const auto arRows = Parse(Generate(gen));
  ASSERT_EQ(arRows.size(), 5001u);
  for (WORD nCol = 0; nCol < GEN_COL_COUNT; ++nCol) {
    EXPECT_EQ(arRows[0][nCol], CCatalogueGen::GetColumnName(nCol));
  }
  std::set<std::string> setRefs;
  std::set<std::string> setFamilies;
  size_t nBytes = 0;
  for (DWORD nRow = 0; nRow < gen.GetRows(); ++nRow) {
    const auto& arCells = arRows[nRow + 1];
    ASSERT_EQ(arCells.size(), GEN_COL_COUNT) << "row " << nRow;
    EXPECT_EQ(arCells[GEN_COL_STOCK], std::to_string(gen.GetStock(nRow)));
    EXPECT_EQ(arCells[GEN_COL_PRIX], CCatalogueGen::FormatPrice(gen.GetPriceCents(nRow)));
    EXPECT_EQ(arCells[GEN_COL_LIBELLE], CCatalogueGen::FormatLabel(gen.GetLabelId(nRow)));
    EXPECT_EQ(arCells[GEN_COL_FAMILLE], CCatalogueGen::GetFamilyName(gen.GetFamily(nRow)));
    EXPECT_LT(gen.GetStock(nRow), gen.GetValueDomain());
    EXPECT_NE(arCells[GEN_COL_PRIX].find('.'), std::string::npos);
    setRefs.insert(arCells[GEN_COL_REF]);
    setFamilies.insert(arCells[GEN_COL_FAMILLE]);
    for (const std::string& strCell : arCells) {
      nBytes += strCell.size() + 1;
    }
    nBytes += 1;
  }
  EXPECT_EQ(gen.GetValueDomain(), 500u);
  EXPECT_EQ(setRefs.size(), 5000u);
  EXPECT_EQ(setFamilies.size(), GEN_FAMILY_COUNT);
  const double dPerRow = static_cast<double>(nBytes) / gen.GetRows();
  EXPECT_GT(dPerRow, 60.0);
  EXPECT_LT(dPerRow, 80.0);
}

TEST(CatalogueGen, FullModeHasEveryCellFormPlainModeOnlySingleValues) {
  const auto arFull = Parse(Generate(CCatalogueGen(3000, 5, FALSE)));
  const auto arPlain = Parse(Generate(CCatalogueGen(3000, 5, TRUE)));
  ASSERT_EQ(arFull.size(), arPlain.size());
  int nLists = 0, nAny = 0, nEmpty = 0, nRanges = 0, nOpenBounds = 0, nClosedBounds = 0;
  for (size_t nRow = 1; nRow < arFull.size(); ++nRow) {
    for (WORD nCol = 0; nCol < GEN_COL_COUNT; ++nCol) {
      const std::string& strPlain = arPlain[nRow][nCol];
      EXPECT_EQ(strPlain.find_first_of("*()\""), std::string::npos) << strPlain;
      EXPECT_EQ(strPlain.find(".."), std::string::npos) << strPlain;
      if (nCol != GEN_COL_COULEUR && nCol != GEN_COL_TAILLE) {
        EXPECT_EQ(arFull[nRow][nCol], strPlain);
      }
    }
    const std::string& strColour = arFull[nRow][GEN_COL_COULEUR];
    const std::string& strSize = arFull[nRow][GEN_COL_TAILLE];
    nAny += strColour == "*" || strSize == "*";
    nEmpty += strColour.empty() || strSize.empty();
    nLists += strColour.size() > 1 && strColour.find('*') != std::string::npos;
    if (strSize.find("..") != std::string::npos) {
      ++nRanges;
      nOpenBounds += strSize.front() == ')' || strSize.back() == '(';
      nClosedBounds += strSize.front() == '(' || strSize.back() == ')';
    }
  }
  EXPECT_GT(nLists, 300);
  EXPECT_GT(nAny, 100);
  EXPECT_GT(nEmpty, 100);
  EXPECT_GT(nRanges, 500);
  EXPECT_GT(nOpenBounds, 100);
  EXPECT_GT(nClosedBounds, 100);
}

}  // namespace
}  // namespace lorn_bench
