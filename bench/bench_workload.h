// CBenchWorkload: the queries and row numbers of one benchmark run, with the
// answers each must give, worked out from the generator alone. lorn_bench
// and its SQLite counterpart draw the same workload from the same seed, so
// both answer the same questions and are checked against the same counts.
#ifndef LORN_BENCH_BENCH_WORKLOAD_H_
#define LORN_BENCH_BENCH_WORKLOAD_H_

#include <vector>

#include "bench/catalogue_gen.h"
#include "platform/types.h"

namespace lorn_bench {

// A range query: the mask of the criterion (16 <, 17 <=, 32 >, 33 >=) and
// the key as a STOCK value or as PRIX cents.
struct CRangeCase {
  BYTE nOp;
  DWORD nKey;
};

// FAMILLE = family & PRIX < cents | LIBELLE = label, read left to right.
struct CThreeCase {
  WORD nFamily;
  DWORD nPriceBelow;
  DWORD nLabel;
  DWORD nExpected;
};

class CBenchWorkload {
 public:
  // nQueries point keys per column; nReadRows random row numbers.
  CBenchWorkload(const CCatalogueGen& gen, DWORD nQueries, DWORD nReadRows, ULONGLONG nSeed);

  // Rows whose cell holds the value.
  DWORD CountStock(DWORD nStock) const { return m_arStockCount[nStock]; }
  DWORD CountPrice(DWORD nCents) const { return m_arPriceCount[nCents]; }
  DWORD CountLabel(DWORD nLabel) const { return m_arLabelCount[nLabel]; }
  // Rows that a range case selects on STOCK (bPrice FALSE) or PRIX (TRUE).
  DWORD CountRange(const CRangeCase& range, BOOL bPrice) const;
  // Distinct values that occur in STOCK and LIBELLE.
  DWORD DistinctStock() const;
  DWORD DistinctLabels() const;

  // The row count of a result view chained to STOCK < m_nViewStock, whose
  // columns (REF, PRIX) are distinct in every row.
  DWORD ViewExpected() const;

  DWORD m_nRows;
  DWORD m_nDomain;
  std::vector<DWORD> m_arStockKeys;
  std::vector<DWORD> m_arPriceKeys;  // cents
  std::vector<DWORD> m_arLabelKeys;
  std::vector<CRangeCase> m_arRanges;    // masks 16, 17, 32, 33, each ~1% of the rows
  std::vector<DWORD> m_arDifferentKeys;  // STOCK <> key
  std::vector<CThreeCase> m_arThree;
  DWORD m_nViewStock;
  std::vector<DWORD> m_arRandomRows;
  std::vector<DWORD> m_arDeleteRows;  // ascending, spread over the table

 private:
  std::vector<DWORD> m_arStockCount;
  std::vector<DWORD> m_arPriceCount;
  std::vector<DWORD> m_arLabelCount;
};

// The half-open interval [nLow, nHigh) of values 0 .. nDomain-1 that a mask
// and key select.
void RangeBounds(const CRangeCase& range, DWORD nDomain, DWORD& nLow, DWORD& nHigh);

}  // namespace lorn_bench

#endif  // LORN_BENCH_BENCH_WORKLOAD_H_
