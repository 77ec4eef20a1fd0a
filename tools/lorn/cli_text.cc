#include "tools/lorn/cli_text.h"

#include <cerrno>
#include <fstream>
#include <string>

#include "platform/ctype_locale.h"
#include "tools/lorn/cli_error.h"

namespace {

const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);
constexpr int kUtf8CodePage = 65001;

// iconv names of a Windows code page, best first: not every C library knows
// the "CPnnn" spelling of the double-byte pages.
iconv_t OpenConverter(int nCodePage, bool bToUtf8) {
  if (nCodePage == kUtf8CodePage) {
    return kNoConverter;  // nothing to convert
  }
  std::string astrNames[3] = {"CP" + std::to_string(nCodePage), "", ""};
  switch (nCodePage) {
    case 932:
      astrNames[1] = "SHIFT_JIS";
      astrNames[2] = "SJIS";
      break;
    case 936:
      astrNames[1] = "GBK";
      break;
    case 949:
      astrNames[1] = "UHC";
      break;
    case 950:
      astrNames[1] = "BIG5";
      break;
    default:
      astrNames[1] = "WINDOWS-" + std::to_string(nCodePage);
      break;
  }
  for (const std::string& strName : astrNames) {
    if (strName.empty()) {
      continue;
    }
    iconv_t cd =
        bToUtf8 ? iconv_open("UTF-8", strName.c_str()) : iconv_open(strName.c_str(), "UTF-8");
    if (cd != kNoConverter) {
      return cd;
    }
  }
  return kNoConverter;
}

// Runs one conversion. bLenient: a sequence that cannot be converted becomes
// U+FFFD (output is UTF-8) and one input byte is skipped; otherwise the
// conversion fails and gives false.
bool Convert(iconv_t cd, const std::string& strIn, std::string& strOut, bool bLenient) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  strOut.clear();
  char* pIn = const_cast<char*>(strIn.data());
  size_t nInLeft = strIn.size();
  char buffer[1024];
  while (true) {
    char* pOut = buffer;
    size_t nOutLeft = sizeof(buffer);
    size_t nResult = nInLeft == 0 ? iconv(cd, nullptr, nullptr, &pOut, &nOutLeft)
                                  : iconv(cd, &pIn, &nInLeft, &pOut, &nOutLeft);
    int nError = errno;
    strOut.append(buffer, static_cast<size_t>(pOut - buffer));
    if (nResult != static_cast<size_t>(-1)) {
      if (nInLeft == 0) {
        return true;
      }
      continue;
    }
    if (nError == E2BIG) {
      continue;
    }
    if ((nError == EILSEQ || nError == EINVAL) && bLenient) {
      strOut += "\xEF\xBF\xBD";
      ++pIn;
      --nInLeft;
      iconv(cd, nullptr, nullptr, nullptr, nullptr);
      continue;
    }
    return false;
  }
}

}  // namespace

CTextCodec::CTextCodec(int nCodePage)
    : m_nCodePage(nCodePage),
      m_toUtf8(OpenConverter(nCodePage, true)),
      m_fromUtf8(OpenConverter(nCodePage, false)) {
  if (nCodePage != kUtf8CodePage && (m_toUtf8 == kNoConverter || m_fromUtf8 == kNoConverter)) {
    if (m_toUtf8 != kNoConverter) {
      iconv_close(m_toUtf8);
    }
    if (m_fromUtf8 != kNoConverter) {
      iconv_close(m_fromUtf8);
    }
    throw CCliError(
        Format("no converter between code page %d and UTF-8 on this system", nCodePage));
  }
}

CTextCodec::~CTextCodec() {
  if (m_nCodePage != kUtf8CodePage) {
    iconv_close(m_toUtf8);
    iconv_close(m_fromUtf8);
  }
}

std::string CTextCodec::ToUtf8(const std::string& strText) const {
  if (m_nCodePage == kUtf8CodePage) {
    return strText;
  }
  std::string strOut;
  Convert(m_toUtf8, strText, strOut, true);
  return strOut;
}

std::string CTextCodec::FromUtf8(const std::string& strText) const {
  if (m_nCodePage == kUtf8CodePage) {
    return strText;
  }
  std::string strOut;
  if (!Convert(m_fromUtf8, strText, strOut, false)) {
    throw CCliError(
        Format("\"%s\" cannot be written in code page %d", strText.c_str(), m_nCodePage));
  }
  return strOut;
}

std::string Cp1252ToUtf8(const std::string& strText) {
  static const CTextCodec s_codec(1252);
  return s_codec.ToUtf8(strText);
}

bool FileLooksLikeUtf8(const std::string& strPath) {
  constexpr size_t kSampleBytes = 65536;
  std::ifstream file(strPath, std::ios::binary);
  std::string strSample(kSampleBytes, '\0');
  file.read(strSample.data(), static_cast<std::streamsize>(kSampleBytes));
  strSample.resize(static_cast<size_t>(file.gcount()));
  bool bMultiByte = false;
  for (size_t i = 0; i < strSample.size();) {
    const unsigned char c = static_cast<unsigned char>(strSample[i]);
    // Lead bytes C2 to F4, with the second-byte limits that keep out overlong
    // forms, surrogates and code points past U+10FFFF.
    const size_t nLen = c < 0x80   ? 1
                        : c < 0xC2 ? 0
                        : c < 0xE0 ? 2
                        : c < 0xF0 ? 3
                        : c < 0xF5 ? 4
                                   : 0;
    if (nLen == 0) {
      return false;
    }
    for (size_t j = 1; j < nLen && i + j < strSample.size(); ++j) {
      const unsigned char b = static_cast<unsigned char>(strSample[i + j]);
      const unsigned char byLow = j > 1 ? 0x80 : c == 0xE0 ? 0xA0 : c == 0xF0 ? 0x90 : 0x80;
      const unsigned char byHigh = j > 1 ? 0xBF : c == 0xED ? 0x9F : c == 0xF4 ? 0x8F : 0xBF;
      if (b < byLow || b > byHigh) {
        return false;
      }
    }
    bMultiByte = bMultiByte || nLen > 1;
    i += nLen;
  }
  return bMultiByte;
}
