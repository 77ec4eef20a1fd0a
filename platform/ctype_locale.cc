#include "platform/ctype_locale.h"

#include <cstring>
#include <string>

namespace {

// Every stored name fits this buffer with its NUL.
constexpr size_t kMaxNameBytes = 7;

struct CLocaleName {
  const char* m_pszName;
  int m_nCodePage;
};

constexpr CLocaleName s_aLocales[] = {
    // Windows language names.
    {"enu", 1252},
    {"eng", 1252},
    {"ena", 1252},
    {"enc", 1252},
    {"English", 1252},
    {"fra", 1252},
    {"frb", 1252},
    {"frc", 1252},
    {"frs", 1252},
    {"French", 1252},
    {"deu", 1252},
    {"dea", 1252},
    {"des", 1252},
    {"German", 1252},
    {"esp", 1252},
    {"esn", 1252},
    {"esm", 1252},
    {"Spanish", 1252},
    {"ita", 1252},
    {"its", 1252},
    {"Italian", 1252},
    {"nld", 1252},
    {"nlb", 1252},
    {"Dutch", 1252},
    {"ptg", 1252},
    {"ptb", 1252},
    {"sve", 1252},
    {"Swedish", 1252},
    {"dan", 1252},
    {"Danish", 1252},
    {"nor", 1252},
    {"non", 1252},
    {"fin", 1252},
    {"Finnish", 1252},
    {"isl", 1252},
    {"plk", 1250},
    {"Polish", 1250},
    {"csy", 1250},
    {"Czech", 1250},
    {"sky", 1250},
    {"Slovak", 1250},
    {"hun", 1250},
    {"hrv", 1250},
    {"slv", 1250},
    {"rom", 1250},
    {"rus", 1251},
    {"Russian", 1251},
    {"ukr", 1251},
    {"bel", 1251},
    {"bgr", 1251},
    {"ell", 1253},
    {"Greek", 1253},
    {"trk", 1254},
    {"Turkish", 1254},
    {"lth", 1257},
    {"lvi", 1257},
    {"eti", 1257},
    {"jpn", 932},
    {"chs", 936},
    {"Chinese", 936},
    {"cht", 950},
    {"kor", 949},
    {"Korean", 949},
    // POSIX names.
    {"en_US", 1252},
    {"en_GB", 1252},
    {"en_AU", 1252},
    {"en_CA", 1252},
    {"en_IE", 1252},
    {"fr_FR", 1252},
    {"fr_BE", 1252},
    {"fr_CA", 1252},
    {"fr_CH", 1252},
    {"fr_LU", 1252},
    {"de_DE", 1252},
    {"de_AT", 1252},
    {"de_CH", 1252},
    {"de_LU", 1252},
    {"es_ES", 1252},
    {"es_MX", 1252},
    {"it_IT", 1252},
    {"it_CH", 1252},
    {"nl_NL", 1252},
    {"nl_BE", 1252},
    {"pt_PT", 1252},
    {"pt_BR", 1252},
    {"sv_SE", 1252},
    {"da_DK", 1252},
    {"nb_NO", 1252},
    {"nn_NO", 1252},
    {"fi_FI", 1252},
    {"is_IS", 1252},
    {"pl_PL", 1250},
    {"cs_CZ", 1250},
    {"sk_SK", 1250},
    {"hu_HU", 1250},
    {"hr_HR", 1250},
    {"sl_SI", 1250},
    {"ro_RO", 1250},
    {"ru_RU", 1251},
    {"uk_UA", 1251},
    {"be_BY", 1251},
    {"bg_BG", 1251},
    {"el_GR", 1253},
    {"tr_TR", 1254},
    {"lt_LT", 1257},
    {"lv_LV", 1257},
    {"et_EE", 1257},
    {"ja_JP", 932},
    {"zh_CN", 936},
    {"zh_SG", 936},
    {"zh_TW", 950},
    {"zh_HK", 950},
    {"ko_KR", 949},
};

constexpr bool AllNamesFit() {
  for (const CLocaleName& entry : s_aLocales) {
    if (std::char_traits<char>::length(entry.m_pszName) > kMaxNameBytes) {
      return false;
    }
  }
  return true;
}
static_assert(AllNamesFit(), "a locale name must be shorter than 8 bytes");

// Names of the UTF-8 locale, an extension; stored as the first.
constexpr const char* s_apszUtf8Names[] = {"utf8",  "utf-8",  "C.utf8", "C.utf-8",
                                           ".utf8", ".utf-8", ".65001"};
constexpr int kUtf8CodePage = 65001;

// Pages that a code-page name or suffix may give.
const int s_anCodePages[] = {1250, 1251, 1252, 1253, 1254, 1257, 932, 936, 949, 950};

char s_szName[kMaxNameBytes + 1] = "C";
int s_nCodePage = 1252;
bool s_bPlain = true;

bool EqualNoCase(const char* a, const char* b, size_t nBytes) {
  for (size_t i = 0; i < nBytes; ++i) {
    unsigned char ca = static_cast<unsigned char>(a[i]);
    unsigned char cb = static_cast<unsigned char>(b[i]);
    if (ca >= 'A' && ca <= 'Z') {
      ca = static_cast<unsigned char>(ca + ('a' - 'A'));
    }
    if (cb >= 'A' && cb <= 'Z') {
      cb = static_cast<unsigned char>(cb + ('a' - 'A'));
    }
    if (ca != cb) {
      return false;
    }
  }
  return true;
}

// The table entry for the `nBytes` bytes at `pszName`, or null.
const CLocaleName* FindLocale(const char* pszName, size_t nBytes) {
  for (const CLocaleName& entry : s_aLocales) {
    if (std::strlen(entry.m_pszName) == nBytes && EqualNoCase(entry.m_pszName, pszName, nBytes)) {
      return &entry;
    }
  }
  return nullptr;
}

bool IsUtf8Name(const char* pszName, size_t nBytes) {
  for (const char* pszUtf8 : s_apszUtf8Names) {
    if (std::strlen(pszUtf8) == nBytes && EqualNoCase(pszUtf8, pszName, nBytes)) {
      return true;
    }
  }
  return false;
}

// The page written as decimal digits in `pszDigits`, or 0 when it is not one
// of the known pages.
int ParseCodePage(const char* pszDigits) {
  if (*pszDigits < '1' || *pszDigits > '9') {
    return 0;
  }
  int nPage = 0;
  for (const char* p = pszDigits; *p != '\0'; ++p) {
    if (*p < '0' || *p > '9') {
      return 0;
    }
    nPage = nPage * 10 + (*p - '0');
  }
  for (int nKnown : s_anCodePages) {
    if (nKnown == nPage) {
      return nPage;
    }
  }
  return 0;
}

}  // namespace

const char* SetCtypeLocale(const char* pszName) {
  if (pszName == nullptr) {
    return s_szName;
  }
  const size_t nLength = std::strlen(pszName);
  if (nLength > kMaxNameBytes) {
    return nullptr;
  }

  // Build the result aside: `pszName` may be the stored name itself.
  char szCanonical[kMaxNameBytes + 1] = {};
  int nCodePage = 1252;
  bool bPlain = false;
  const char* pszDot = std::strchr(pszName, '.');
  if (nLength == 0 || (nLength == 1 && (pszName[0] == 'C' || pszName[0] == 'c'))) {
    bPlain = true;
    std::memcpy(szCanonical, "C", 2);
  } else if (IsUtf8Name(pszName, nLength)) {
    nCodePage = kUtf8CodePage;
    std::memcpy(szCanonical, s_apszUtf8Names[0], std::strlen(s_apszUtf8Names[0]));
  } else if (pszDot != nullptr) {
    nCodePage = ParseCodePage(pszDot + 1);
    if (nCodePage == 0) {
      return nullptr;
    }
    const size_t nBase = static_cast<size_t>(pszDot - pszName);
    const CLocaleName* pBase = nBase == 0 ? nullptr : FindLocale(pszName, nBase);
    if (nBase != 0 && pBase == nullptr) {
      return nullptr;
    }
    if (pBase != nullptr) {
      std::memcpy(szCanonical, pBase->m_pszName, nBase);
    }
    std::memcpy(szCanonical + nBase, pszDot, nLength - nBase);
  } else {
    const CLocaleName* pEntry = FindLocale(pszName, nLength);
    if (pEntry == nullptr) {
      return nullptr;
    }
    nCodePage = pEntry->m_nCodePage;
    std::memcpy(szCanonical, pEntry->m_pszName, nLength);
  }

  std::memcpy(s_szName, szCanonical, sizeof(s_szName));
  s_nCodePage = nCodePage;
  s_bPlain = bPlain;
  return s_szName;
}

int GetCtypeCodePage() {
  return s_nCodePage;
}

bool IsCtypeLocalePlain() {
  return s_bPlain;
}
