#include "fuzz/fuzz_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/mbcs.h"
#include "table/cat_std.h"

namespace lorn_fuzz {

void CheckFailed(const char* pszCond, const char* pszFile, int nLine) {
  std::fprintf(stderr, "%s:%d: check failed: %s\n", pszFile, nLine, pszCond);
  std::abort();
}

namespace {

std::string* g_pWorkDir = nullptr;

void RemoveWorkDir() {
  if (g_pWorkDir != nullptr) {
    std::error_code ec;
    std::filesystem::remove_all(*g_pWorkDir, ec);
  }
}

}  // namespace

const std::string& WorkDir() {
  if (g_pWorkDir == nullptr) {
    std::string strBase = "/dev/shm";
    if (access(strBase.c_str(), W_OK) != 0) {
      const char* pszTmp = std::getenv("TMPDIR");
      strBase = pszTmp != nullptr && *pszTmp != '\0' ? pszTmp : "/tmp";
    }
    std::string strTemplate = strBase + "/lorn-fuzz-XXXXXX";
    if (mkdtemp(strTemplate.data()) == nullptr) {
      std::perror("mkdtemp");
      std::abort();
    }
    g_pWorkDir = new std::string(strTemplate);
    std::atexit(RemoveWorkDir);
    // The temporary files of index builds go there too.
    setenv("TMPDIR", g_pWorkDir->c_str(), 1);
  }
  return *g_pWorkDir;
}

std::string WorkFile(const std::string& name) {
  return WorkDir() + "/" + name;
}

void PutFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) {
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
    std::abort();
  }
}

std::string GetFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void RemoveFile(const std::string& path) {
  unlink(path.c_str());
}

bool FileExists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

void SetFileTime(const std::string& path, long long nSeconds) {
  struct timeval times[2];
  times[0].tv_sec = static_cast<time_t>(nSeconds);
  times[0].tv_usec = 0;
  times[1] = times[0];
  if (utimes(path.c_str(), times) != 0) {
    std::perror("utimes");
    std::abort();
  }
}

BYTE CInput::Byte() {
  return m_nPos < m_nSize ? m_pData[m_nPos++] : 0;
}

WORD CInput::Word() {
  const WORD nLow = Byte();
  return static_cast<WORD>(nLow | (Byte() << 8));
}

DWORD CInput::Dword() {
  const DWORD nLow = Word();
  return nLow | (static_cast<DWORD>(Word()) << 16);
}

std::string CInput::Bytes(size_t nCount) {
  if (nCount > Left()) {
    nCount = Left();
  }
  std::string str(reinterpret_cast<const char*>(m_pData + m_nPos), nCount);
  m_nPos += nCount;
  return str;
}

std::string CInput::Rest() {
  return Bytes(Left());
}

std::string Expand(CInput& input, const size_t* pLimits, size_t nLimits) {
  const size_t nLimit = pLimits[input.Byte() % nLimits];
  const long long nDelta = static_cast<signed char>(input.Byte());
  const size_t nLen = static_cast<size_t>(std::max(0LL, static_cast<long long>(nLimit) + nDelta));
  const size_t nPrefix = input.Word();
  const size_t nUnit = input.Byte();
  std::string strText = input.Bytes(nPrefix);
  const size_t nPrefixGot = strText.size();
  const std::string strUnit = input.Bytes(nUnit);
  const std::string strRest = input.Rest();
  if (!strUnit.empty() && strText.size() + strRest.size() < nLen) {
    while (strText.size() + strRest.size() < nLen) {
      strText += strUnit;
    }
    // The last unit may stand in part, so that the rest ends at the length.
    strText.resize(std::max(nPrefixGot, nLen - strRest.size()));
  }
  strText += strRest;
  strText.resize(std::min(strText.size(), nLen));
  return strText;
}

void SelectCodePage(BYTE nSel) {
  static const int s_arPages[] = {1252, 932, 936, 949, 950, 1250, 1251, 1253};
  _setmbcp(s_arPages[nSel % (sizeof(s_arPages) / sizeof(s_arPages[0]))]);
}

const std::string& SampleTable() {
  static const std::string s_strTable =
      "REF\tQTY\tPRICE\tCOLOR\tNAME\r\n"
      "A1\t10\t1.5\tred\tHammer\r\n"
      "A2\t*\t2.25\tblue*red\tSaw\r\n"
      "A3\t(1..5)\t(0.5..3)\t*\tDrill\r\n"
      "A4\t7*3\t\tgreen\tfile\r\n"
      "A5\t\t-4.75\t(a..m)\tPliers\r\n"
      "A6\t)2..9(\t*\t\tHammer\r\n"
      "A7\t-12\t0.001\tred*green*blue\tWrench\r\n"
      "A8\t(..4)\t(1.5..)\t)k..z)\tLevel\r\n"
      "A9\t10*10\t1.5*2.5\tRED\tnail\r\n"
      "A10\t+3\t.5\tyellow\t*\r\n"
      "A11\t(3..3)\t(2..2(\tred\tHammer drill\r\n"
      "A12\t0\t100\tblue\tSaw\r\n";
  return s_strTable;
}

std::string Scramble(const std::string& strPlain, char cSep) {
  std::string strOut = strPlain;
  size_t nPos = 0;
  while (nPos < strOut.size()) {
    char cKey = 0;
    CCatStd::MakeLineKey(&cKey, static_cast<DWORD>(nPos), -1);
    size_t nEnd = nPos;
    while (nEnd < strOut.size() && strOut[nEnd] != '\r' && strOut[nEnd] != '\n' &&
           strOut[nEnd] != '\0') {
      if (strOut[nEnd] != cSep) {
        strOut[nEnd] = static_cast<char>(strOut[nEnd] + cKey);
      }
      ++nEnd;
    }
    while (nEnd < strOut.size() && (strOut[nEnd] == '\r' || strOut[nEnd] == '\n')) {
      ++nEnd;
    }
    if (nEnd < strOut.size() && strOut[nEnd] == '\0' && nEnd == nPos) {
      ++nEnd;
    }
    nPos = nEnd;
  }
  return strOut;
}

void WriteSampleFiles() {
  static bool s_bWritten = false;
  if (s_bWritten) {
    return;
  }
  PutFile(WorkFile("T.TXT"), SampleTable());
  PutFile(WorkFile("T.SDC"), Scramble(SampleTable(), '\t'));
  SetFileTime(WorkFile("T.TXT"), SAMPLE_TIME);
  SetFileTime(WorkFile("T.SDC"), SAMPLE_TIME);
  s_bWritten = true;
}

}  // namespace lorn_fuzz
