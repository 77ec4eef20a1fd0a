#include "bench/bench_workload.h"

#include <algorithm>

namespace lorn_bench {

namespace {

// A splitmix64 stream: the workload's only source of chance.
class CDraws {
 public:
  explicit CDraws(ULONGLONG nSeed) : m_nState(nSeed) {}
  ULONGLONG Next() {
    ULONGLONG x = (m_nState += 0x9E3779B97F4A7C15ULL);
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
  }
  DWORD Below(DWORD nLimit) { return static_cast<DWORD>((Next() >> 16) % nLimit); }

 private:
  ULONGLONG m_nState;
};

DWORD SumRange(const std::vector<DWORD>& arCount, DWORD nLow, DWORD nHigh) {
  DWORD nSum = 0;
  for (DWORD n = nLow; n < nHigh; ++n) {
    nSum += arCount[n];
  }
  return nSum;
}

DWORD CountNonZero(const std::vector<DWORD>& arCount) {
  return static_cast<DWORD>(
      std::count_if(arCount.begin(), arCount.end(), [](DWORD n) { return n != 0; }));
}

}  // namespace

void RangeBounds(const CRangeCase& range, DWORD nDomain, DWORD& nLow, DWORD& nHigh) {
  nLow = 0;
  nHigh = nDomain;
  switch (range.nOp) {
    case 16:
      nHigh = range.nKey;
      break;
    case 17:
      nHigh = range.nKey + 1;
      break;
    case 32:
      nLow = range.nKey + 1;
      break;
    case 33:
      nLow = range.nKey;
      break;
    default:
      nHigh = 0;
      break;
  }
  nHigh = std::min(nHigh, nDomain);
  nLow = std::min(nLow, nHigh);
}

CBenchWorkload::CBenchWorkload(const CCatalogueGen& gen, DWORD nQueries, DWORD nReadRows,
                               ULONGLONG nSeed)
    : m_nRows(gen.GetRows()), m_nDomain(gen.GetValueDomain()), m_nViewStock(0) {
  m_arStockCount.assign(m_nDomain, 0);
  m_arPriceCount.assign(m_nDomain, 0);
  m_arLabelCount.assign(m_nDomain, 0);
  for (DWORD nRow = 0; nRow < m_nRows; ++nRow) {
    ++m_arStockCount[gen.GetStock(nRow)];
    ++m_arPriceCount[gen.GetPriceCents(nRow)];
    ++m_arLabelCount[gen.GetLabelId(nRow)];
  }

  CDraws draws(nSeed ^ 0x6C6F726E62656E63ULL);
  for (DWORD i = 0; i < nQueries; ++i) {
    m_arStockKeys.push_back(draws.Below(m_nDomain));
    m_arPriceKeys.push_back(draws.Below(m_nDomain));
    m_arLabelKeys.push_back(draws.Below(m_nDomain));
  }

  // About 1% of the values, hence of the rows, at either end of the domain.
  const DWORD nSlice = std::max<DWORD>(1, m_nDomain / 100);
  m_arRanges = {{16, nSlice},
                {17, nSlice - 1},
                {32, m_nDomain - 1 - std::min(nSlice, m_nDomain - 1)},
                {33, m_nDomain - std::min(nSlice, m_nDomain)}};

  for (DWORD i = 0; i < 5; ++i) {
    m_arDifferentKeys.push_back(draws.Below(m_nDomain));
    CThreeCase three;
    three.nFamily = static_cast<WORD>(draws.Below(GEN_FAMILY_COUNT));
    three.nPriceBelow = std::max<DWORD>(1, m_nDomain / 10);
    three.nLabel = draws.Below(m_nDomain);
    three.nExpected = 0;
    m_arThree.push_back(three);
  }
  for (DWORD nRow = 0; nRow < m_nRows; ++nRow) {
    const WORD nFamily = gen.GetFamily(nRow);
    const DWORD nCents = gen.GetPriceCents(nRow);
    const DWORD nLabel = gen.GetLabelId(nRow);
    for (CThreeCase& three : m_arThree) {
      if ((nFamily == three.nFamily && nCents < three.nPriceBelow) || nLabel == three.nLabel) {
        ++three.nExpected;
      }
    }
  }

  // A source of some 20,000 rows: more than a view keeps.
  m_nViewStock = std::min<DWORD>(m_nDomain, 2000);

  for (DWORD i = 0; i < nReadRows && m_nRows > 0; ++i) {
    m_arRandomRows.push_back(draws.Below(m_nRows));
  }

  // 1,000 rows, one in each thousandth of the table (fewer in small tables).
  const DWORD nDelete = std::min<DWORD>(1000, m_nRows / 2);
  for (DWORD i = 0; i < nDelete; ++i) {
    const DWORD nStart = static_cast<DWORD>(static_cast<ULONGLONG>(i) * m_nRows / nDelete);
    const DWORD nEnd = static_cast<DWORD>(static_cast<ULONGLONG>(i + 1) * m_nRows / nDelete);
    m_arDeleteRows.push_back(nStart + draws.Below(std::max<DWORD>(1, nEnd - nStart)));
  }
}

DWORD CBenchWorkload::CountRange(const CRangeCase& range, BOOL bPrice) const {
  DWORD nLow = 0;
  DWORD nHigh = 0;
  RangeBounds(range, m_nDomain, nLow, nHigh);
  return SumRange(bPrice ? m_arPriceCount : m_arStockCount, nLow, nHigh);
}

DWORD CBenchWorkload::DistinctStock() const {
  return CountNonZero(m_arStockCount);
}

DWORD CBenchWorkload::DistinctLabels() const {
  return CountNonZero(m_arLabelCount);
}

DWORD CBenchWorkload::ViewExpected() const {
  return std::min<DWORD>(16383, SumRange(m_arStockCount, 0, m_nViewStock));
}

}  // namespace lorn_bench
