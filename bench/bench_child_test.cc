#include "bench/bench_child.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>

namespace lorn_bench {
namespace {

CPhaseResult Sample(const char* pszKey, size_t nSamples) {
  CPhaseResult result;
  result.strKey = pszKey;
  result.strTitle = pszKey;
  for (size_t i = 0; i < nSamples; ++i) {
    result.arSeconds.push_back(static_cast<double>(nSamples - i));
  }
  return result;
}

TEST(BenchChild, ResultsComeBackWithThePeakMemoryOfTheChild) {
  const auto arResults = RunInChild("k", "t", 10, [](CResultSink& sink) {
    sink.Add(Sample("first", 3));
    sink.Add(Sample("many", 1000));  // median 500.5
  });
  ASSERT_EQ(arResults.size(), 2u);
  EXPECT_EQ(arResults[0].strKey, "first");
  EXPECT_TRUE(arResults[0].bOK);
  EXPECT_EQ(arResults[0].arSeconds.size(), 3u);
  EXPECT_GT(arResults[0].nPeakKiB, 0);
  EXPECT_EQ(arResults[1].arSeconds.size(), 101u);
  EXPECT_DOUBLE_EQ(arResults[1].Median(), 500.5);
  EXPECT_DOUBLE_EQ(arResults[1].arSeconds.front(), 1.0);
  EXPECT_DOUBLE_EQ(arResults[1].arSeconds.back(), 1000.0);
}

TEST(BenchChild, StoppedOrFailingChildrenReportWhatHappened) {
  auto arResults = RunInChild("slow", "slow phase", 1, [](CResultSink& sink) {
    sink.Add(Sample("done before", 1));
    ::sleep(5);
    sink.Add(Sample("never", 1));
  });
  ASSERT_EQ(arResults.size(), 2u);
  EXPECT_EQ(arResults[0].strKey, "done before");
  EXPECT_EQ(arResults[1].strKey, "slow");
  EXPECT_FALSE(arResults[1].bOK);
  EXPECT_EQ(arResults[1].strNote, "stopped after the budget of 1 s");

  arResults =
      RunInChild("throws", "t", 10, [](CResultSink&) { throw std::runtime_error("no table"); });
  ASSERT_EQ(arResults.size(), 1u);
  EXPECT_FALSE(arResults[0].bOK);
  EXPECT_EQ(arResults[0].strNote, "exception: no table");

  arResults = RunInChild("crash", "t", 10, [](CResultSink&) { ::_exit(7); });
  ASSERT_EQ(arResults.size(), 1u);
  EXPECT_EQ(arResults[0].strNote, "exit status 7");
}

}  // namespace
}  // namespace lorn_bench
