#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/cfile.h"
#include "testing/test_util.h"

namespace {

using lorn_test::TempDir;
using lorn_test::WriteFile;

constexpr UINT kReadDenyWrite = CFile::modeRead | CFile::shareDenyWrite;

// Calls GetView until it gives a view, at most nTries times; the number of
// the call that gave it, or 0.
int AskForView(CFile& file, int nTries, ULONGLONG* pnLength) {
  for (int i = 1; i <= nTries; ++i) {
    if (file.GetView(pnLength) != nullptr) {
      return i;
    }
    EXPECT_EQ(*pnLength, 0u);
  }
  return 0;
}

class CDerivedFile : public CFile {};

TEST(CFileView, OfferedOnlyWhileWritersAreKeptOut) {
  TempDir dir;
  const std::string strPath = dir.File("side.sdx");
  const std::string strBytes = "0123456789abcdef";
  WriteFile(strPath, strBytes);
  ULONGLONG nLength = 0;

  // A file read a few times is read, not mapped; then the view holds the
  // file's bytes.
  CFile reader(strPath.c_str(), kReadDenyWrite);
  EXPECT_EQ(AskForView(reader, 100, &nLength), 8);
  ASSERT_EQ(nLength, strBytes.size());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(reader.GetView(&nLength)), nLength),
            strBytes);
  // Closing drops it; a new opening counts its calls afresh.
  reader.Close();
  EXPECT_EQ(AskForView(reader, 100, &nLength), 0);
  ASSERT_TRUE(reader.Open(strPath.c_str(), kReadDenyWrite));
  EXPECT_EQ(AskForView(reader, 100, &nLength), 8);
  reader.Close();

  // Writers may come in, or this object writes, or a derived class may
  // read otherwise: no view.
  for (UINT nFlags : {UINT{CFile::modeRead | CFile::shareDenyNone},
                      UINT{CFile::modeReadWrite | CFile::shareExclusive}}) {
    CFile file(strPath.c_str(), nFlags);
    EXPECT_EQ(AskForView(file, 100, &nLength), 0) << nFlags;
  }
  CDerivedFile derived;
  ASSERT_TRUE(derived.Open(strPath.c_str(), kReadDenyWrite));
  EXPECT_EQ(AskForView(derived, 100, &nLength), 0);

  // An empty file has a view of no byte.
  const std::string strEmpty = dir.File("empty.sdx");
  WriteFile(strEmpty, "");
  CFile empty(strEmpty.c_str(), CFile::modeRead | CFile::shareExclusive);
  EXPECT_EQ(AskForView(empty, 100, &nLength), 8);
  EXPECT_EQ(nLength, 0u);
}

TEST(CFileView, ReadAtGivesWhatSeekAndReadGive) {
  TempDir dir;
  const std::string strPath = dir.File("side.sdx");
  WriteFile(strPath, "0123456789");
  CFile viewed(strPath.c_str(), kReadDenyWrite);
  ULONGLONG nLength = 0;
  ASSERT_NE(AskForView(viewed, 100, &nLength), 0);
  CFile plain(strPath.c_str(), CFile::modeRead | CFile::shareDenyNone);

  const ULONGLONG arPos[] = {0, 3, 6, 9, 10, 11, 1000};
  for (ULONGLONG nPos : arPos) {
    for (UINT nCount : {1u, 4u, 10u}) {
      char achViewed[16] = {};
      char achPlain[16] = {};
      viewed.Seek(2, CFile::begin);
      const UINT nViewed = viewed.ReadAt(nPos, achViewed, nCount);
      EXPECT_EQ(viewed.GetPosition(), 2u) << "a view moves nothing";
      plain.Seek(static_cast<LONGLONG>(nPos), CFile::begin);
      const UINT nPlain = plain.Read(achPlain, nCount);
      EXPECT_EQ(nViewed, nPlain) << nPos << " " << nCount;
      EXPECT_EQ(std::string(achViewed, nViewed), std::string(achPlain, nPlain));
      const UINT nRead = plain.ReadAt(nPos, achPlain, nCount);
      EXPECT_EQ(nRead, nPlain);
      EXPECT_EQ(plain.GetPosition(), nPos + nRead) << "without a view, Seek and Read ran";
    }
  }
  viewed.Close();
  char ch = 0;
  EXPECT_THROW(viewed.ReadAt(0, &ch, 1), CFileException);
}

// The outcome of one operation: its result, or the cause of its exception.
struct COutcome {
  ULONGLONG nResult = 0;
  int nCause = -1;
  std::string strBytes;
  bool operator==(const COutcome& other) const = default;
};

TEST(CFile, ReadOnlyFileKeepsItsPositionAsTheDescriptorWould) {
  TempDir dir;
  // Two files, as an update excludes every other opening.
  const std::string strPath = dir.File("data.txt");
  const std::string strTwin = dir.File("twin.txt");
  WriteFile(strPath, "hello brave new world");
  WriteFile(strTwin, "hello brave new world");
  // The same operations on a file open for reading, which keeps its own
  // position, and on one open for update, which uses the descriptor's.
  using FOperation = std::function<COutcome(CFile&)>;
  auto seek = [](LONGLONG lOff, UINT nFrom) {
    return FOperation([=](CFile& file) {
      COutcome outcome;
      try {
        outcome.nResult = file.Seek(lOff, nFrom);
      } catch (const CFileException& e) {
        outcome.nCause = e.m_cause;
      }
      outcome.strBytes = std::to_string(file.GetPosition());
      return outcome;
    });
  };
  auto read = [](UINT nCount) {
    return FOperation([=](CFile& file) {
      COutcome outcome;
      std::string strBuffer(nCount, '\0');
      outcome.nResult = file.Read(strBuffer.data(), nCount);
      outcome.strBytes =
          strBuffer.substr(0, outcome.nResult) + "@" + std::to_string(file.GetPosition());
      return outcome;
    });
  };
  const std::vector<FOperation> arOperations(
      {read(5), seek(1, CFile::current), read(5), seek(-5, CFile::end), read(100), read(1),
       seek(-3, CFile::current), read(2), seek(-100, CFile::current), seek(-1, CFile::begin),
       seek(100, CFile::begin), read(3), seek(0x100000000LL, CFile::begin),
       seek(1LL << 44, CFile::begin), seek(1LL << 62, CFile::begin),
       seek(0x7FFFFFFFFFFFFFFFLL, CFile::begin), seek(1, CFile::current), seek(3, 7),
       seek(0, CFile::end)});
  CFile reader(strPath.c_str(), CFile::modeRead | CFile::shareDenyNone);
  CFile updater(strTwin.c_str(), CFile::modeReadWrite | CFile::shareDenyNone);
  for (size_t i = 0; i < arOperations.size(); ++i) {
    EXPECT_EQ(arOperations[i](reader), arOperations[i](updater)) << "operation " << i;
  }
}

}  // namespace
