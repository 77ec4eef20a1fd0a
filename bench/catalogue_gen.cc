#include "bench/catalogue_gen.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iterator>

namespace lorn_bench {

namespace {

// Texts are Windows-1252 bytes, written as octal escapes (\311 is "É"), which
// take at most three digits and so never swallow the letter behind them.
const char* const kColumns[GEN_COL_COUNT] = {"REF",   "LIBELLE", "FAMILLE", "PRIX",
                                             "STOCK", "COULEUR", "TAILLE",  "FOURNISSEUR"};

const char* const kFamilies[] = {"OUTILLAGE",
                                 "JARDIN",
                                 "PEINTURE",
                                 "\311LECTRICIT\311",
                                 "QUINCAILLERIE",
                                 "PLOMBERIE",
                                 "MENUISERIE",
                                 "CARRELAGE",
                                 "SANITAIRE",
                                 "CHAUFFAGE",
                                 "\311CLAIRAGE",
                                 "D\311CORATION",
                                 "RANGEMENT",
                                 "S\311CURIT\311",
                                 "\311LECTROM\311NAGER",
                                 "CUISINE",
                                 "SALLE DE BAINS",
                                 "REV\312TEMENTS",
                                 "ISOLATION",
                                 "TOITURE",
                                 "MA\307ONNERIE",
                                 "BOIS",
                                 "VISSERIE",
                                 "FIXATIONS",
                                 "ABRASIFS",
                                 "COLLES",
                                 "MESURE",
                                 "SOUDURE",
                                 "PNEUMATIQUE",
                                 "MOTOCULTURE",
                                 "ARROSAGE",
                                 "ANIMALERIE",
                                 "PISCINE",
                                 "CL\324TURE",
                                 "PORTAILS",
                                 "FEN\312TRES",
                                 "PORTES",
                                 "ESCALIERS",
                                 "PARQUET",
                                 "MOQUETTE",
                                 "PAPIER PEINT",
                                 "RIDEAUX",
                                 "LUMINAIRES",
                                 "AMPOULES",
                                 "C\302BLAGE",
                                 "DOMOTIQUE",
                                 "VENTILATION",
                                 "CLIMATISATION",
                                 "\311QUIPEMENT",
                                 "HYGI\310NE"};
static_assert(std::size(kFamilies) == GEN_FAMILY_COUNT);

const char* const kProducts[] = {"Marteau",
                                 "Tournevis",
                                 "Cl\351 \340 molette",
                                 "Pince coupante",
                                 "Scie \351go\357ne",
                                 "Niveau \340 bulle",
                                 "M\350tre ruban",
                                 "Ciseau \340 bois",
                                 "R\342pe",
                                 "S\351cateur",
                                 "R\342teau",
                                 "B\352che",
                                 "Arrosoir",
                                 "Binette",
                                 "Brouette",
                                 "Pinceau plat",
                                 "Rouleau mousse",
                                 "Lasure ch\352ne",
                                 "Vernis mat",
                                 "Ampoule LED",
                                 "Rallonge",
                                 "Interrupteur",
                                 "Prise \351tanche",
                                 "C\342ble souple",
                                 "Vis \340 bois",
                                 "Chevilles",
                                 "Charni\350re",
                                 "\311querre",
                                 "Cadenas laiton",
                                 "Serrure",
                                 "Perceuse",
                                 "Ponceuse",
                                 "Meuleuse",
                                 "\311tau",
                                 "\311tabli",
                                 "\311chelle",
                                 "Escabeau",
                                 "Truelle",
                                 "Spatule",
                                 "Cutter",
                                 "Agrafeuse",
                                 "Colle n\351opr\350ne",
                                 "Joint silicone",
                                 "Mastic",
                                 "Enduit",
                                 "Pl\342tre",
                                 "Ciment prompt",
                                 "Gravier",
                                 "Dalle",
                                 "Tuile"};
constexpr DWORD kProductCount = std::size(kProducts);

const char* const kColours[] = {"ROUGE", "BLEU",   "VERT",   "NOIR",   "BLANC", "JAUNE",
                                "GRIS",  "ORANGE", "VIOLET", "MARRON", "ROSE",  "\311CRU"};
constexpr DWORD kColourCount = std::size(kColours);

const char* const kSuppliers[] = {
    "Dupr\351",  "Lef\350vre",  "Gauthier",  "M\374ller", "B\351rard",    "Oc\351ane", "Durand",
    "Moreau",    "Girard",      "Fournier",  "Lambert",   "Rousseau",     "Mercier",   "Boucher",
    "Chevalier", "Fran\347ois", "Leb\234uf", "Gar\347on", "H\351l\350ne", "No\353l"};
constexpr DWORD kSupplierCount = std::size(kSuppliers);

// splitmix64's finaliser: a bijection of 64-bit values with good mixing.
ULONGLONG Mix64(ULONGLONG x) {
  x += 0x9E3779B97F4A7C15ULL;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
  return x ^ (x >> 31);
}

// A bijection of 32-bit values: distinct rows give distinct references.
DWORD Mix32(DWORD x) {
  x ^= x >> 16;
  x *= 0x7FEB352DU;
  x ^= x >> 15;
  x *= 0x846CA68BU;
  x ^= x >> 16;
  return x;
}

void AppendNumber(ULONGLONG n, std::string& strOut) {
  char szDigits[24];
  const int nLen =
      std::snprintf(szDigits, sizeof(szDigits), "%llu", static_cast<unsigned long long>(n));
  strOut.append(szDigits, static_cast<size_t>(nLen));
}

}  // namespace

CCatalogueGen::CCatalogueGen(DWORD nRows, ULONGLONG nSeed, BOOL bPlain)
    : m_nRows(nRows),
      m_nSeed(nSeed),
      m_bPlain(bPlain),
      m_nDomain(nRows / 10 > 0 ? nRows / 10 : 1) {}

ULONGLONG CCatalogueGen::Draw(DWORD nRow, WORD nCol, WORD nStream) const {
  const ULONGLONG nSlot =
      (static_cast<ULONGLONG>(nRow) << 16) | (static_cast<ULONGLONG>(nCol) << 8) | nStream;
  return Mix64(m_nSeed ^ Mix64(nSlot));
}

DWORD CCatalogueGen::GetStock(DWORD nRow) const {
  return static_cast<DWORD>((Draw(nRow, GEN_COL_STOCK, 0) >> 8) % m_nDomain);
}

DWORD CCatalogueGen::GetPriceCents(DWORD nRow) const {
  return static_cast<DWORD>((Draw(nRow, GEN_COL_PRIX, 0) >> 8) % m_nDomain);
}

DWORD CCatalogueGen::GetLabelId(DWORD nRow) const {
  return static_cast<DWORD>((Draw(nRow, GEN_COL_LIBELLE, 0) >> 8) % m_nDomain);
}

WORD CCatalogueGen::GetFamily(DWORD nRow) const {
  return static_cast<WORD>((Draw(nRow, GEN_COL_FAMILLE, 0) >> 8) % GEN_FAMILY_COUNT);
}

std::string CCatalogueGen::FormatPrice(DWORD nCents) {
  char szPrice[24];
  std::snprintf(szPrice, sizeof(szPrice), "%u.%02u", nCents / 100, nCents % 100);
  return szPrice;
}

std::string CCatalogueGen::FormatLabel(DWORD nLabelId) {
  std::string strLabel = kProducts[nLabelId % kProductCount];
  strLabel += ' ';
  AppendNumber(nLabelId / kProductCount, strLabel);
  return strLabel;
}

const char* CCatalogueGen::GetFamilyName(WORD nFamily) {
  return kFamilies[nFamily % GEN_FAMILY_COUNT];
}

const char* CCatalogueGen::GetColumnName(WORD nCol) {
  return nCol < GEN_COL_COUNT ? kColumns[nCol] : "";
}

void CCatalogueGen::AppendHeader(std::string& strOut) const {
  for (WORD nCol = 0; nCol < GEN_COL_COUNT; ++nCol) {
    if (nCol > 0) {
      strOut += '\t';
    }
    strOut += kColumns[nCol];
  }
  strOut += "\r\n";
}

void CCatalogueGen::AppendColour(DWORD nRow, std::string& strOut) const {
  const ULONGLONG nDraw = Draw(nRow, GEN_COL_COULEUR, 0);
  const DWORD nKind = static_cast<DWORD>(nDraw % 100);
  if (nKind < 10) {
    return;  // empty cell
  }
  const DWORD nFirst = static_cast<DWORD>((nDraw >> 8) % kColourCount);
  if (m_bPlain || nKind >= 45) {
    strOut += kColours[nFirst];
  } else if (nKind < 18) {
    strOut += '*';
  } else {
    // A list of two or three distinct colours, in drawn order.
    const DWORD nCount = 2 + static_cast<DWORD>((nDraw >> 16) % 2);
    const DWORD nStep = 1 + static_cast<DWORD>((nDraw >> 24) % (kColourCount / nCount));
    for (DWORD i = 0; i < nCount; ++i) {
      if (i > 0) {
        strOut += '*';
      }
      strOut += kColours[(nFirst + i * nStep) % kColourCount];
    }
  }
}

void CCatalogueGen::AppendSize(DWORD nRow, std::string& strOut) const {
  const ULONGLONG nDraw = Draw(nRow, GEN_COL_TAILLE, 0);
  const DWORD nKind = static_cast<DWORD>(nDraw % 100);
  if (nKind < 15) {
    return;  // empty cell
  }
  if (m_bPlain || nKind >= 60) {
    AppendNumber(5 * (1 + (nDraw >> 8) % 60), strOut);
  } else if (nKind < 22) {
    strOut += '*';
  } else {
    const ULONGLONG nLow = 5 * (1 + (nDraw >> 8) % 40);
    const ULONGLONG nHigh = nLow + 5 * (1 + (nDraw >> 16) % 20);
    strOut += ((nDraw >> 24) & 1) != 0 ? '(' : ')';
    AppendNumber(nLow, strOut);
    strOut += "..";
    AppendNumber(nHigh, strOut);
    strOut += ((nDraw >> 25) & 1) != 0 ? '(' : ')';
  }
}

void CCatalogueGen::AppendRow(DWORD nRow, std::string& strOut) const {
  char szRef[16];
  std::snprintf(szRef, sizeof(szRef), "R%08X",
                Mix32(nRow ^ static_cast<DWORD>(m_nSeed ^ (m_nSeed >> 32))));
  strOut += szRef;
  strOut += '\t';
  strOut += FormatLabel(GetLabelId(nRow));
  strOut += '\t';
  strOut += kFamilies[GetFamily(nRow)];
  strOut += '\t';
  strOut += FormatPrice(GetPriceCents(nRow));
  strOut += '\t';
  AppendNumber(GetStock(nRow), strOut);
  strOut += '\t';
  AppendColour(nRow, strOut);
  strOut += '\t';
  AppendSize(nRow, strOut);
  strOut += '\t';
  strOut += kSuppliers[(Draw(nRow, GEN_COL_FOURNISSEUR, 0) >> 8) % kSupplierCount];
  strOut += "\r\n";
}

namespace {

BOOL WriteAll(int nFd, const std::string& strData) {
  size_t nDone = 0;
  while (nDone < strData.size()) {
    const ssize_t nWritten = ::write(nFd, strData.data() + nDone, strData.size() - nDone);
    if (nWritten < 0) {
      if (errno == EINTR) {
        continue;
      }
      return FALSE;
    }
    nDone += static_cast<size_t>(nWritten);
  }
  return TRUE;
}

}  // namespace

LONGLONG CCatalogueGen::WriteTo(int nFd) const {
  constexpr size_t kFlushBytes = 1 << 20;
  std::string strBuffer;
  strBuffer.reserve(kFlushBytes + 4096);
  LONGLONG nTotal = 0;
  AppendHeader(strBuffer);
  for (DWORD nRow = 0; nRow < m_nRows; ++nRow) {
    AppendRow(nRow, strBuffer);
    if (strBuffer.size() >= kFlushBytes) {
      if (!WriteAll(nFd, strBuffer)) {
        return -1;
      }
      nTotal += static_cast<LONGLONG>(strBuffer.size());
      strBuffer.clear();
    }
  }
  if (!WriteAll(nFd, strBuffer)) {
    return -1;
  }
  return nTotal + static_cast<LONGLONG>(strBuffer.size());
}

BOOL CCatalogueGen::WriteFile(const char* pszPath, ULONGLONG* pnBytes) const {
  const int nFd = ::open(pszPath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (nFd < 0) {
    return FALSE;
  }
  const LONGLONG nBytes = WriteTo(nFd);
  const BOOL bClosed = ::close(nFd) == 0;
  if (nBytes < 0 || !bClosed) {
    return FALSE;
  }
  if (pnBytes != nullptr) {
    *pnBytes = static_cast<ULONGLONG>(nBytes);
  }
  return TRUE;
}

}  // namespace lorn_bench
