#include <string>

#include <gtest/gtest.h>

#include "frame/monitor.h"
#include "frame/settings.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

using namespace lorn_test;

class CRecorder : public CProgressMonitor {
 public:
  CRecorder() { SetProgressMonitor(this); }
  ~CRecorder() override { SetProgressMonitor(nullptr); }
  void SetTitle(const char* pszText) override { m_strLog += std::string("T:") + pszText + ";"; }
  void SetStep(const char* pszText) override { m_strLog += std::string("S:") + pszText + ";"; }
  void SetPos(WORD nPos) override { m_strLog.append("P").append(std::to_string(nPos)) += ";"; }
  void End() override { m_strLog += "E;"; }
  std::string m_strLog;
};

}  // namespace

TEST(CryptTable, WritesTheOtherFormAndBack) {
  // An hour east of UTC, so that the stamp differs from the file's time.
  const ScopedEnv zone("TZ", "CET-1");
  TempDir dir;
  const std::string strPlain = "REF\tPRIX\r\nA1\t12\r\nB2\t7\n\nZ9\t1";
  WriteFile(dir.File("T.TXT"), strPlain);
  SetMTime(dir.File("T.TXT"), 1700000000);
  CCatStd table(dir.File("T.TXT").c_str());
  ASSERT_TRUE(table.IndexTable());
  SetMTime(dir.File("T.TXT"), 1700009999);  // touched after opening
  {
    CRecorder monitor;
    table.CryptTable(TRUE);
    EXPECT_EQ(monitor.m_strLog,
              "T:Cryptage de la table " + dir.File("T.SDC") + ";S:;P0;P33;P66;P100;E;");
  }
  const std::string strScrambled = ReadFile(dir.File("T.SDC"));
  ASSERT_EQ(strScrambled.size(), strPlain.size());
  EXPECT_EQ(strScrambled.substr(0, 17), "QDE\tOQHW\r\n@0\t01\r\n");
  EXPECT_EQ(GetMTime(dir.File("T.SDC")), 1700000000);

  // The two forms share one sidecar; the way back gives the first file.
  table.Close();
  WriteFile(dir.File("T.TXT"), "older");
  CCatStd scrambled(dir.File("T.SDC").c_str());
  EXPECT_TRUE(scrambled.IsIndexed());
  CStringArray arRow;
  ASSERT_TRUE(scrambled.ReadRow(1, arRow));
  EXPECT_STREQ(arRow[0], "B2");
  {
    CRecorder monitor;
    scrambled.CryptTable(FALSE);
    EXPECT_EQ(monitor.m_strLog,
              "T:D\351cryptage de la table " + dir.File("T.TXT") + ";S:;P0;P33;P66;P100;E;");
  }
  EXPECT_EQ(ReadFile(dir.File("T.TXT")), strPlain);
  EXPECT_EQ(GetMTime(dir.File("T.TXT")), 1700000000);
  EXPECT_TRUE(scrambled.IsOpen() && scrambled.IsScrambled());
}

TEST(CryptTable, DoesNothingWithoutAConversionToMake) {
  TempDir dir;
  WriteFile(dir.File("T.TXT"), "A\tB\r\n1\t2\r\n");
  WriteFile(dir.File("S.SDC"), "@\tA\r\n1\t2\r\n");
  CCatStd plain(dir.File("T.TXT").c_str());
  CCatStd scrambled(dir.File("S.SDC").c_str());
  CRecorder monitor;
  plain.CryptTable(FALSE);
  scrambled.CryptTable(TRUE);
  plain.Close();
  plain.CryptTable(TRUE);
  EXPECT_EQ(monitor.m_strLog, "");
  EXPECT_FALSE(Exists(dir.File("T.SDC")) || Exists(dir.File("S.TXT")));
  EXPECT_EQ(ReadFile(dir.File("S.SDC")), "@\tA\r\n1\t2\r\n");

  // Bytes that the key would turn into a separator or a line end: the new
  // file would not read back, and is not left.
  WriteFile(dir.File("C.TXT"),
            "A\tB\r\n\x0b\x0c\x0e\x0f\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\t2\r\n");
  CCatStd control(dir.File("C.TXT").c_str());
  control.CryptTable(TRUE);
  EXPECT_FALSE(Exists(dir.File("C.SDC")));
}
