#include "platform/cfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "platform/temp_file.h"
#include "platform/time_zone.h"
#include "testing/test_util.h"

namespace {

using lorn_test::Exists;
using lorn_test::ReadFile;
using lorn_test::ScopedEnv;
using lorn_test::TempDir;
using lorn_test::WriteFile;

// The cause Open reports for a path and flags; none when it succeeds.
int OpenCause(const std::string& strPath, UINT nFlags) {
  CFile file;
  CFileException error;
  if (file.Open(strPath.c_str(), nFlags, &error)) {
    return CFileException::none;
  }
  EXPECT_FALSE(file.IsOpen());
  return error.m_cause;
}

// The cause of the CFileException that fn throws; none when it throws none.
int CauseOf(const std::function<void()>& fn) {
  try {
    fn();
  } catch (const CFileException& e) {
    return e.m_cause;
  }
  return CFileException::none;
}

mode_t ModeOf(const std::string& strPath) {
  struct stat st;
  EXPECT_EQ(0, ::stat(strPath.c_str(), &st));
  return st.st_mode & 07777;
}

TEST(CFile, ReadWriteSeekAndErrors) {
  TempDir dir;
  const std::string strPath = dir.File("data.bin");
  CFile file(strPath.c_str(), CFile::modeCreate | CFile::modeReadWrite);
  EXPECT_EQ(strPath, std::string(file.GetFilePath()));
  EXPECT_EQ("data.bin", std::string(file.GetFileName()));
  file.Write("hello world", 11);
  EXPECT_EQ(11u, file.GetLength());
  EXPECT_EQ(6u, file.Seek(-5, CFile::end));
  char buf[16] = {};
  EXPECT_EQ(5u, file.Read(buf, sizeof(buf)));  // short only at the end
  EXPECT_EQ("world", std::string(buf, 5));
  EXPECT_EQ(0u, file.Read(buf, sizeof(buf)));
  file.SetLength(4);
  EXPECT_EQ(4u, file.SeekToEnd());
  EXPECT_EQ(CFileException::badSeek, CauseOf([&] { file.Seek(-5, CFile::current); }));
  file.Close();
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ("hell", ReadFile(strPath));

  // modeCreate empties an existing file; modeNoTruncate keeps it.
  EXPECT_EQ(CFileException::none,
            OpenCause(strPath, CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite));
  EXPECT_EQ("hell", ReadFile(strPath));
  EXPECT_EQ(CFileException::none, OpenCause(strPath, CFile::modeCreate | CFile::modeWrite));
  EXPECT_EQ("", ReadFile(strPath));

  CFile missing;
  CFileException error;
  EXPECT_FALSE(missing.Open(dir.File("none").c_str(), CFile::modeRead, &error));
  EXPECT_EQ(CFileException::fileNotFound, error.m_cause);
  EXPECT_EQ(ENOENT, error.m_lOsError);
  EXPECT_EQ(dir.File("none"), std::string(error.m_strFileName));
  EXPECT_EQ(CFileException::accessDenied, OpenCause(dir.path(), CFile::modeRead));
  EXPECT_EQ(CFileException::badPath, OpenCause(strPath + "/x", CFile::modeRead));
  EXPECT_THROW(CFile(dir.File("none").c_str(), CFile::modeRead), CFileException);
}

TEST(CFile, ShareModesBetweenHandles) {
  TempDir dir;
  const std::string strPath = dir.File("t.txt");
  WriteFile(strPath, "content");
  const UINT kReadDenyWrite = 0x20, kUpdate = 0x12, kCreate = 0x1012, kCreateWrite = 0x1011;
  {
    CFile reader1(strPath.c_str(), kReadDenyWrite);
    EXPECT_EQ(CFileException::none, OpenCause(strPath, kReadDenyWrite));
    EXPECT_EQ(CFileException::sharingViolation, OpenCause(strPath, kUpdate));
    EXPECT_EQ(CFileException::sharingViolation, OpenCause(strPath, kCreateWrite));
    // A refused create must not have emptied the file under the reader.
    EXPECT_EQ(CFileException::sharingViolation, OpenCause(strPath, kCreate));
    EXPECT_EQ("content", ReadFile(strPath));
  }
  {
    CFile writer(strPath.c_str(), kUpdate);
    EXPECT_EQ(CFileException::sharingViolation, OpenCause(strPath, kReadDenyWrite));
    EXPECT_EQ(CFileException::sharingViolation,
              OpenCause(strPath, CFile::modeRead | CFile::shareDenyNone));
    writer.Close();  // releases the lock at once
    EXPECT_EQ(CFileException::none, OpenCause(strPath, kReadDenyWrite));
  }
  CFile exclusiveReader(strPath.c_str(), CFile::modeRead | CFile::shareExclusive);
  EXPECT_EQ(CFileException::sharingViolation, OpenCause(strPath, kReadDenyWrite));
}

TEST(CFile, ShareModesBetweenProcesses) {
  TempDir dir;
  const std::string strPath = dir.File("shared.sdx");
  WriteFile(strPath, "x");
  int aToParent[2], aToChild[2];
  ASSERT_EQ(0, ::pipe(aToParent));
  ASSERT_EQ(0, ::pipe(aToChild));
  pid_t pid = ::fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    CFile file;
    char ch = file.Open(strPath.c_str(), 0x12) ? 'y' : 'n';
    (void)!::write(aToParent[1], &ch, 1);
    (void)!::read(aToChild[0], &ch, 1);  // hold the file until the parent has tried
    ::_exit(0);
  }
  char ch = 0;
  ASSERT_EQ(1, ::read(aToParent[0], &ch, 1));
  ASSERT_EQ('y', ch);
  EXPECT_EQ(CFileException::sharingViolation, OpenCause(strPath, 0x20));
  EXPECT_EQ(CFileException::sharingViolation, OpenCause(strPath, 0x1012));
  ASSERT_EQ(1, ::write(aToChild[1], "go", 1));
  int nStatus = 0;
  ASSERT_EQ(pid, ::waitpid(pid, &nStatus, 0));
  EXPECT_EQ(CFileException::none, OpenCause(strPath, 0x20));
  EXPECT_EQ("x", ReadFile(strPath));
  for (int fd : {aToParent[0], aToParent[1], aToChild[0], aToChild[1]}) {
    ::close(fd);
  }
}

TEST(CFile, ReadOnlyAttributeHoldsForRoot) {
  TempDir dir;
  const std::string strPath = dir.File("ro.txt");
  WriteFile(strPath, "keep");
  ASSERT_EQ(0, ::chmod(strPath.c_str(), 0444));
  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(strPath.c_str(), status));
  EXPECT_EQ(CFile::readOnly, status.m_attribute);
  for (UINT nFlags : {UINT{CFile::modeWrite}, 0x12u, 0x1011u, UINT{CFile::modeCreate}}) {
    EXPECT_EQ(CFileException::accessDenied, OpenCause(strPath, nFlags)) << nFlags;
  }
  EXPECT_EQ(CFileException::none, OpenCause(strPath, 0x20));
  EXPECT_EQ(CFileException::accessDenied, CauseOf([&] { CFile::Remove(strPath.c_str()); }));
  EXPECT_EQ("keep", ReadFile(strPath));

  status.m_attribute = CFile::normal;
  CFile::SetStatus(strPath.c_str(), status);
  EXPECT_EQ(0644u, ModeOf(strPath));
  EXPECT_EQ(CFileException::none, OpenCause(strPath, 0x12));
  status.m_attribute = CFile::readOnly;
  CFile::SetStatus(strPath.c_str(), status);
  EXPECT_EQ(0444u, ModeOf(strPath));

  // A file made by the open itself is writable whatever the umask says.
  mode_t nOldMask = ::umask(0222);
  EXPECT_EQ(CFileException::none, OpenCause(dir.File("new.txt"), 0x1012));
  ::umask(nOldMask);
}

TEST(CFile, StatusRenameRemove) {
  TempDir dir;
  const std::string strA = dir.File("a"), strB = dir.File("b"), strC = dir.File("c");
  WriteFile(strA, "aaa");
  WriteFile(strB, "bb");

  CFileStatus status;
  ASSERT_TRUE(CFile::GetStatus(strA.c_str(), status));
  EXPECT_EQ(3u, status.m_size);
  EXPECT_EQ(strA, status.m_szFullName);
  long long nAccess = status.m_atime.GetTime();
  status.m_mtime = CTime(1000000007);
  status.m_atime = CTime();  // zero: left as it is
  CFile::SetStatus(strA.c_str(), status);
  EXPECT_EQ(1000000007, lorn_test::GetMTime(strA));
  {
    CFile file(strA.c_str(), CFile::modeRead);
    CFileStatus openStatus;
    ASSERT_TRUE(file.GetStatus(openStatus));
    EXPECT_EQ(1000000007, openStatus.m_mtime.GetTime());
    EXPECT_EQ(nAccess, openStatus.m_atime.GetTime());
  }
  EXPECT_FALSE(CFile::GetStatus(dir.File("none").c_str(), status));
  ASSERT_TRUE(CFile::GetStatus(dir.path().c_str(), status));
  EXPECT_EQ(CFile::directory, status.m_attribute & CFile::directory);

  auto RenameCause = [](const std::string& strOld, const std::string& strNew) {
    return CauseOf([&] { CFile::Rename(strOld.c_str(), strNew.c_str()); });
  };
  EXPECT_EQ(CFileException::accessDenied, RenameCause(strA, strB));
  EXPECT_EQ("aaa", ReadFile(strA));
  EXPECT_EQ("bb", ReadFile(strB));
  EXPECT_EQ(CFileException::none, RenameCause(strA, strC));
  EXPECT_FALSE(Exists(strA));
  EXPECT_EQ("aaa", ReadFile(strC));
  EXPECT_EQ(CFileException::fileNotFound, RenameCause(strA, dir.File("d")));

  CFile::Remove(strC.c_str());
  EXPECT_FALSE(Exists(strC));
  EXPECT_THROW(CFile::Remove(strC.c_str()), CFileException);
  EXPECT_THROW(CFile::Remove(dir.path().c_str()), CFileException);
}

TEST(TempFile, PrivateAndWithoutAName) {
  TempDir dir;
  ScopedEnv tmpdir("TMPDIR", (dir.path() + "/").c_str());
  CFile first, second;
  ASSERT_TRUE(OpenTempFile("sdx", first));
  ASSERT_TRUE(OpenTempFile("sdx", second));
  first.Write("abc", 3);
  first.SeekToBegin();
  char szText[4] = {};
  EXPECT_EQ(first.Read(szText, 3), 3u);
  EXPECT_STREQ(szText, "abc");
  EXPECT_EQ(second.GetLength(), 0u);  // two files, not one
  EXPECT_EQ(std::string(first.GetFilePath()), dir.path() + "/sdx");
  // Nothing in the directory, while the files are open or after.
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
  ScopedEnv missing("TMPDIR", dir.File("none").c_str());
  EXPECT_FALSE(OpenTempFile("sdx", first));
  EXPECT_FALSE(first.IsOpen());
}

TEST(TimeZone, BiasIsStandardTimeWestOfUtc) {
  for (const auto& [pszTz, nBias] :
       {std::pair<const char*, LONG>{"CET-1CEST,M3.5.0,M10.5.0/3", -3600},
        {"EST5EDT,M3.2.0,M11.1.0", 18000},
        {"UTC0", 0}}) {
    ScopedEnv tz("TZ", pszTz);
    EXPECT_EQ(nBias, GetTimeZoneBias()) << pszTz;
  }
}

}  // namespace
