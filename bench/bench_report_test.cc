#include "bench/bench_report.h"

#include <gtest/gtest.h>

namespace lorn_bench {
namespace {

TEST(BenchReport, MedianAndLineFormRoundTrip) {
  CPhaseResult result;
  result.strKey = "point_str";
  result.strTitle = "point query Str LIBELLE + rows";
  result.nRate = RATE_ROWS_PER_S;
  result.dWork = 3000;
  result.arSeconds = {0.5, 0.1, 0.3, 0.2};
  result.bOK = FALSE;
  result.strNote = "rows of X: 9 instead of 10";
  EXPECT_DOUBLE_EQ(result.Median(), 0.25);
  result.arSeconds.push_back(0.4);
  EXPECT_DOUBLE_EQ(result.Median(), 0.3);
  result.arCpuSeconds = {0.125};
  EXPECT_DOUBLE_EQ(result.MedianCpu(), 0.125);

  CPhaseResult decoded;
  ASSERT_TRUE(DecodeResult(EncodeResult(result), decoded));
  EXPECT_EQ(decoded.strKey, result.strKey);
  EXPECT_EQ(decoded.strTitle, result.strTitle);
  EXPECT_EQ(decoded.nRate, result.nRate);
  EXPECT_DOUBLE_EQ(decoded.dWork, result.dWork);
  EXPECT_EQ(decoded.arSeconds, result.arSeconds);
  EXPECT_EQ(decoded.arCpuSeconds, result.arCpuSeconds);
  EXPECT_FALSE(decoded.bOK);
  EXPECT_EQ(decoded.strNote, result.strNote);

  EXPECT_FALSE(
      DecodeResult("too\x1F"
                   "few",
                   decoded));
  EXPECT_EQ(FormatRate(result), "10.0 k rows/s");  // 3000 rows / 0.3 s
  EXPECT_EQ(FormatSeconds(0.0000123), "12.30 us");
  EXPECT_EQ(FormatSeconds(2.5), "2.50 s");
}

}  // namespace
}  // namespace lorn_bench
