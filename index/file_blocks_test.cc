#include "index/file_blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "testing/test_util.h"

namespace {

// 300 bytes, no two neighbours alike.
std::string Pattern() {
  std::string strBytes;
  for (int n = 0; n < 300; ++n) {
    strBytes.push_back(static_cast<char>('!' + n % 90));
  }
  return strBytes;
}

class CFileOf {
 public:
  explicit CFileOf(const std::string& strContent) {
    lorn_test::WriteFile(m_dir.File("f"), strContent);
    EXPECT_TRUE(m_file.Open(m_dir.File("f").c_str(), CFile::modeReadWrite));
    m_file.SeekToEnd();
  }
  CFile* File() { return &m_file; }
  std::string Content() {
    m_file.Close();
    return lorn_test::ReadFile(m_dir.File("f"));
  }

 private:
  lorn_test::TempDir m_dir;
  CFile m_file;
};

}  // namespace

TEST(FileBlocks, CopyFileRange) {
  std::string strSource = Pattern();
  BYTE abBuffer[7];
  struct {
    LONG nFrom;
    LONG nTo;
    std::string strWant;
  } const aCases[] = {
      {10, 60, strSource.substr(10, 50)},  // several chunks, the last one short
      {290, -1, strSource.substr(290)},    // to the end of the source
      {280, 400, strSource.substr(280)},   // the source ends first
      {60, 10, ""},
  };
  for (const auto& test : aCases) {
    CFileOf source(strSource);
    CFileOf dest("head");
    CopyFileRange(dest.File(), source.File(), abBuffer, sizeof(abBuffer), test.nFrom, test.nTo);
    EXPECT_EQ(dest.Content(), "head" + test.strWant) << test.nFrom << ".." << test.nTo;
  }
}

TEST(FileBlocks, MoveFileBlockOverlappingBothWays) {
  BYTE abBuffer[16];
  struct {
    DWORD nDest;
    DWORD nSrc;
    DWORD nLen;
    WORD nBufSize;
  } const aCases[] = {
      {10, 3, 100, 16},    // up, overlapping, in seven chunks
      {3, 10, 100, 16},    // down, overlapping
      {11, 10, 250, 7},    // up by one byte
      {0, 1, 299, 16},     // down by one byte
      {200, 0, 50, 16},    // apart
      {20, 20, 50, 16},    // same place
      {250, 240, 60, 16},  // grows the file at its end
  };
  for (const auto& test : aCases) {
    std::string strWant = Pattern();
    std::string strMoved = strWant.substr(test.nSrc, test.nLen);
    strWant.resize(std::max<size_t>(strWant.size(), test.nDest + test.nLen));
    strWant.replace(test.nDest, test.nLen, strMoved);
    CFileOf file(Pattern());
    MoveFileBlock(file.File(), abBuffer, test.nBufSize, test.nDest, test.nSrc, test.nLen);
    EXPECT_EQ(file.Content(), strWant) << test.nDest << " " << test.nSrc << " " << test.nLen;
  }
}
