// CCatalogueGen: deterministic catalogues for benchmarks and comparisons.
//
// A generated catalogue is a TXT table in Windows-1252, TAB between cells,
// CR LF behind every line, about 70 bytes a row, with these columns:
//
//   REF          Str   unique: "R" and 8 upper-case hex digits
//   LIBELLE      Str   product word and model number, ~10 rows per value
//   FAMILLE      Str   50 accented family names, ~N/50 rows each
//   PRIX         Real  cents of 0 .. D-1 as "12.34", ~10 rows per value
//   STOCK        Long  0 .. D-1, ~10 rows per value
//   COULEUR      Str   single colours; full mode also lists (BLEU*ROUGE),
//                      the lone wildcard "*" and empty cells
//   TAILLE       Long  single sizes; full mode also ranges with open and
//                      closed bounds ("(10..20("), "*" and empty cells
//   FOURNISSEUR  Str   20 accented supplier names
//
// D, the value domain, is the row count divided by 10 (at least 1), so a
// point query on LIBELLE, PRIX or STOCK hits about 10 rows at any size.
//
// Every cell is a pure function of (seed, row, column): the same seed gives
// the same bytes, and a plain catalogue (no lists, ranges or wildcards, for
// tools that cannot read them) differs from the full one of the same seed
// only in COULEUR and TAILLE. No cell holds a double quote, so the file also
// imports as tab-separated values.
#ifndef LORN_BENCH_CATALOGUE_GEN_H_
#define LORN_BENCH_CATALOGUE_GEN_H_

#include <string>

#include "platform/types.h"

namespace lorn_bench {

// Column numbers of a generated catalogue.
constexpr WORD GEN_COL_REF = 0;
constexpr WORD GEN_COL_LIBELLE = 1;
constexpr WORD GEN_COL_FAMILLE = 2;
constexpr WORD GEN_COL_PRIX = 3;
constexpr WORD GEN_COL_STOCK = 4;
constexpr WORD GEN_COL_COULEUR = 5;
constexpr WORD GEN_COL_TAILLE = 6;
constexpr WORD GEN_COL_FOURNISSEUR = 7;
constexpr WORD GEN_COL_COUNT = 8;

constexpr WORD GEN_FAMILY_COUNT = 50;

class CCatalogueGen {
 public:
  CCatalogueGen(DWORD nRows, ULONGLONG nSeed, BOOL bPlain);

  DWORD GetRows() const { return m_nRows; }
  BOOL IsPlain() const { return m_bPlain; }
  // D: STOCK, the cents of PRIX and the label ids range over 0 .. D-1.
  DWORD GetValueDomain() const { return m_nDomain; }

  // The drawn values behind the cells of a row (nRow below GetRows()).
  DWORD GetStock(DWORD nRow) const;
  DWORD GetPriceCents(DWORD nRow) const;
  DWORD GetLabelId(DWORD nRow) const;
  WORD GetFamily(DWORD nRow) const;

  // Cell texts of those values, as the file holds them.
  static std::string FormatPrice(DWORD nCents);
  static std::string FormatLabel(DWORD nLabelId);
  static const char* GetFamilyName(WORD nFamily);
  static const char* GetColumnName(WORD nCol);

  // Appends the header line, or one data line, with its CR LF.
  void AppendHeader(std::string& strOut) const;
  void AppendRow(DWORD nRow, std::string& strOut) const;
  // Writes the whole catalogue to a file descriptor. The byte count, or -1
  // when a write fails (errno tells why).
  LONGLONG WriteTo(int nFd) const;
  // Creates (or replaces) pszPath with the whole catalogue. FALSE on failure.
  BOOL WriteFile(const char* pszPath, ULONGLONG* pnBytes) const;

 private:
  ULONGLONG Draw(DWORD nRow, WORD nCol, WORD nStream) const;
  void AppendColour(DWORD nRow, std::string& strOut) const;
  void AppendSize(DWORD nRow, std::string& strOut) const;

  DWORD m_nRows;
  ULONGLONG m_nSeed;
  BOOL m_bPlain;
  DWORD m_nDomain;
};

}  // namespace lorn_bench

#endif  // LORN_BENCH_CATALOGUE_GEN_H_
