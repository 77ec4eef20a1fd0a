#include "bench/bench_report.h"

#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace lorn_bench {

namespace {

constexpr char kFieldSep = '\x1F';

std::vector<std::string> Split(const std::string& strText, char cSep) {
  std::vector<std::string> arParts;
  std::string strPart;
  std::istringstream stream(strText);
  while (std::getline(stream, strPart, cSep)) {
    arParts.push_back(strPart);
  }
  if (!strText.empty() && strText.back() == cSep) {
    arParts.emplace_back();
  }
  return arParts;
}

std::string Printf(const char* pszFormat, double dValue) {
  char szText[64];
  std::snprintf(szText, sizeof(szText), pszFormat, dValue);
  return szText;
}

const char* RateKindName(BYTE nRate) {
  switch (nRate) {
    case RATE_MB_PER_S:
      return "mb_s";
    case RATE_ROWS_PER_S:
      return "rows_s";
    default:
      return "us_op";
  }
}

double ProcessCpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double MedianOf(const std::vector<double>& arSamples) {
  if (arSamples.empty()) {
    return 0;
  }
  std::vector<double> arSorted = arSamples;
  std::sort(arSorted.begin(), arSorted.end());
  const size_t nMid = arSorted.size() / 2;
  return arSorted.size() % 2 != 0 ? arSorted[nMid] : (arSorted[nMid - 1] + arSorted[nMid]) / 2;
}

std::string EncodeSamples(const std::vector<double>& arSamples) {
  std::ostringstream stream;
  stream.precision(17);
  for (size_t i = 0; i < arSamples.size(); ++i) {
    stream << (i > 0 ? "," : "") << arSamples[i];
  }
  return stream.str();
}

std::vector<double> DecodeSamples(const std::string& strText) {
  std::vector<double> arSamples;
  for (const std::string& strSample : Split(strText, ',')) {
    if (!strSample.empty()) {
      arSamples.push_back(std::strtod(strSample.c_str(), nullptr));
    }
  }
  return arSamples;
}

}  // namespace

CStopwatch::CStopwatch()
    : m_tStart(std::chrono::steady_clock::now()), m_dCpuStart(ProcessCpuSeconds()) {}

double CStopwatch::Wall() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_tStart).count();
}

double CStopwatch::Cpu() const {
  return ProcessCpuSeconds() - m_dCpuStart;
}

void CPhaseResult::AddSample(const CStopwatch& watch) {
  arSeconds.push_back(watch.Wall());
  arCpuSeconds.push_back(watch.Cpu());
}

double CPhaseResult::Median() const {
  return MedianOf(arSeconds);
}

double CPhaseResult::MedianCpu() const {
  return MedianOf(arCpuSeconds);
}

std::string EncodeResult(const CPhaseResult& result) {
  std::ostringstream stream;
  stream.precision(17);
  stream << result.strKey << kFieldSep << result.strTitle << kFieldSep
         << static_cast<int>(result.nRate) << kFieldSep << result.dWork << kFieldSep
         << (result.bOK ? 1 : 0) << kFieldSep << result.strNote << kFieldSep
         << EncodeSamples(result.arSeconds) << kFieldSep << EncodeSamples(result.arCpuSeconds);
  return stream.str();
}

BOOL DecodeResult(const std::string& strLine, CPhaseResult& result) {
  const std::vector<std::string> arFields = Split(strLine, kFieldSep);
  if (arFields.size() != 8) {
    return FALSE;
  }
  result = CPhaseResult();
  result.strKey = arFields[0];
  result.strTitle = arFields[1];
  result.nRate = static_cast<BYTE>(std::atoi(arFields[2].c_str()));
  result.dWork = std::strtod(arFields[3].c_str(), nullptr);
  result.bOK = arFields[4] == "1";
  result.strNote = arFields[5];
  result.arSeconds = DecodeSamples(arFields[6]);
  result.arCpuSeconds = DecodeSamples(arFields[7]);
  return TRUE;
}

std::string FormatSeconds(double dSeconds) {
  if (dSeconds <= 0) {
    return "-";
  }
  if (dSeconds < 1e-3) {
    return Printf("%.2f us", dSeconds * 1e6);
  }
  if (dSeconds < 1) {
    return Printf("%.2f ms", dSeconds * 1e3);
  }
  return Printf("%.2f s", dSeconds);
}

std::string FormatRate(const CPhaseResult& result) {
  const double dMedian = result.Median();
  if (dMedian <= 0) {
    return "-";
  }
  switch (result.nRate) {
    case RATE_MB_PER_S:
      return Printf("%.1f MB/s", result.dWork / dMedian / 1e6);
    case RATE_ROWS_PER_S: {
      const double dRate = result.dWork / dMedian;
      if (dRate >= 1e6) {
        return Printf("%.2f M rows/s", dRate / 1e6);
      }
      return dRate >= 1e3 ? Printf("%.1f k rows/s", dRate / 1e3) : Printf("%.1f rows/s", dRate);
    }
    default:
      return FormatSeconds(dMedian) + "/op";
  }
}

void PrintTableHeader(FILE* pOut) {
  std::fprintf(pOut, "%-34s %10s %10s %16s %11s %9s  %s\n", "phase", "median", "cpu", "rate",
               "work/op", "peak RSS", "check / note");
  std::fprintf(pOut, "%s\n", std::string(120, '-').c_str());
}

void PrintTableRow(FILE* pOut, const CPhaseResult& result) {
  char szWork[32];
  if (result.nRate == RATE_MB_PER_S) {
    std::snprintf(szWork, sizeof(szWork), "%.1f MB", result.dWork / 1e6);
  } else {
    std::snprintf(szWork, sizeof(szWork), "%.1f rows", result.dWork);
  }
  char szPeak[32];
  std::snprintf(szPeak, sizeof(szPeak), "%.1f MiB", result.nPeakKiB / 1024.0);
  std::fprintf(pOut, "%-34s %10s %10s %16s %11s %9s  %s%s\n", result.strTitle.c_str(),
               FormatSeconds(result.Median()).c_str(), FormatSeconds(result.MedianCpu()).c_str(),
               FormatRate(result).c_str(), szWork, result.nPeakKiB > 0 ? szPeak : "-",
               result.bOK ? "" : "FAILED: ", result.strNote.c_str());
  std::fflush(pOut);
}

void PrintCsvHeader(FILE* pOut) {
  std::fprintf(pOut, "key,median_s,cpu_s,work,rate,peak_kib,ok,note\n");
}

void PrintCsvRow(FILE* pOut, const CPhaseResult& result) {
  std::string strNote = result.strNote;
  std::replace(strNote.begin(), strNote.end(), ',', ';');
  std::fprintf(pOut, "%s,%.9g,%.9g,%.9g,%s,%ld,%d,%s\n", result.strKey.c_str(), result.Median(),
               result.MedianCpu(), result.dWork, RateKindName(result.nRate), result.nPeakKiB,
               result.bOK ? 1 : 0, strNote.c_str());
  std::fflush(pOut);
}

}  // namespace lorn_bench
