// A process that dies in the middle of an index run, or a sidecar cut short
// by anything else, never leaves a sidecar that a later Open takes as valid
// while its row table or an index is incomplete: the next Open either finds
// the complete sidecar or drops it, and the rebuilt one gives the same
// bytes and the same answers.
//
// The test binary stands in for the system calls that change files (write,
// fsync, rename, link, linkat, unlink, ftruncate). Unarmed they pass straight
// through; in a child process armed with a countdown, the n-th change ends
// the process at once, optionally after writing half of that write's bytes,
// as a crash would.
#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/lorn_defs.h"
#include "query/query_std.h"
#include "table/cat_std.h"
#include "testing/test_util.h"

namespace {

constexpr int EXIT_CUT = 86;       // the child died at its countdown
constexpr int EXIT_FINISHED = 87;  // the child ran to its end
constexpr int EXIT_THREW = 88;     // the child's work raised an exception

int g_nStepsLeft = -1;  // changes of files until the cut; -1: not armed
bool g_bTear = false;   // the write at the cut puts half of its bytes first

// One write or fsync of the process, as the log of CSyscallLog keeps it.
struct CFileEvent {
  bool bSync;
  std::string strPath;  // what the descriptor names
  long long nOffset;    // where a write went
  std::string strBytes;
};
std::vector<CFileEvent>* g_pLog = nullptr;

std::string PathOf(int nFd) {
  char szLink[64];
  std::snprintf(szLink, sizeof(szLink), "/proc/self/fd/%d", nFd);
  char szPath[PATH_MAX];
  const ssize_t nLen = readlink(szLink, szPath, sizeof(szPath) - 1);
  return nLen > 0 ? std::string(szPath, static_cast<size_t>(nLen)) : std::string();
}

// Counts one change of a file; ends the process when it is the one to die
// at, first writing half of nCount bytes of pBuf to nFd when tearing.
void Step(int nFd = -1, const void* pBuf = nullptr, size_t nCount = 0) {
  if (g_nStepsLeft < 0) {
    return;
  }
  if (g_nStepsLeft-- == 0) {
    if (g_bTear && nCount > 1) {
      syscall(SYS_write, nFd, pBuf, nCount / 2);
    }
    _exit(EXIT_CUT);
  }
}

}  // namespace

extern "C" ssize_t write(int nFd, const void* pBuf, size_t nCount) {
  Step(nFd, pBuf, nCount);
  if (g_pLog != nullptr) {
    g_pLog->push_back({false, PathOf(nFd), static_cast<long long>(lseek(nFd, 0, SEEK_CUR)),
                       std::string(static_cast<const char*>(pBuf), nCount)});
  }
  return syscall(SYS_write, nFd, pBuf, nCount);
}

extern "C" int fsync(int nFd) {
  if (g_pLog != nullptr) {
    g_pLog->push_back({true, PathOf(nFd), 0, std::string()});
  }
  return static_cast<int>(syscall(SYS_fsync, nFd));
}

extern "C" int rename(const char* pszOld, const char* pszNew) {
  Step();
  return static_cast<int>(syscall(SYS_renameat, AT_FDCWD, pszOld, AT_FDCWD, pszNew));
}

extern "C" int renameat2(int nOldDir, const char* pszOld, int nNewDir, const char* pszNew,
                         unsigned int nFlags) {
  Step();
  return static_cast<int>(syscall(SYS_renameat2, nOldDir, pszOld, nNewDir, pszNew, nFlags));
}

extern "C" int link(const char* pszOld, const char* pszNew) {
  Step();
  return static_cast<int>(syscall(SYS_linkat, AT_FDCWD, pszOld, AT_FDCWD, pszNew, 0));
}

extern "C" int linkat(int nOldDir, const char* pszOld, int nNewDir, const char* pszNew,
                      int nFlags) {
  Step();
  return static_cast<int>(syscall(SYS_linkat, nOldDir, pszOld, nNewDir, pszNew, nFlags));
}

extern "C" int unlink(const char* pszPath) {
  Step();
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, pszPath, 0));
}

extern "C" int ftruncate(int nFd, off_t nLength) {
  Step();
  return static_cast<int>(syscall(SYS_ftruncate, nFd, nLength));
}

namespace {

using namespace lorn_test;

// Runs fnWork in a child that dies at its nStep-th change of a file (from
// 1). True when the child was cut, false when it finished first.
bool RunCut(int nStep, bool bTear, const std::function<void()>& fnWork) {
  std::fflush(nullptr);
  const pid_t nPid = fork();
  if (nPid == 0) {
    g_nStepsLeft = nStep - 1;
    g_bTear = bTear;
    try {
      fnWork();
    } catch (...) {
      _exit(EXIT_THREW);
    }
    _exit(EXIT_FINISHED);
  }
  int nStatus = 0;
  EXPECT_EQ(waitpid(nPid, &nStatus, 0), nPid);
  EXPECT_TRUE(WIFEXITED(nStatus));
  const int nCode = WEXITSTATUS(nStatus);
  EXPECT_TRUE(nCode == EXIT_CUT || nCode == EXIT_FINISHED) << "child exit " << nCode;
  return nCode == EXIT_CUT;
}

// A table of Long, Real, text and list columns, with ranges and wildcards.
std::string MakeTable(int nRows) {
  std::string strText = "ID\tPRICE\tNAME\tSIZE\tTAGS\r\n";
  for (int i = 0; i < nRows; ++i) {
    std::string strSize = std::to_string(i % 50);
    if (i % 11 == 0) {
      strSize = "(" + std::to_string(i % 40) + ".." + std::to_string(i % 40 + 7) + ")";
    } else if (i % 17 == 0) {
      strSize = "*";
    }
    strText += std::to_string(i) + "\t" + std::to_string(i % 97) + ".25\tname" +
               std::to_string(i % 13) + "\t" + strSize + "\tx*y" + std::to_string(i % 3) + "\r\n";
  }
  return strText;
}

const std::vector<WORD> ALL_INDEXED = {1, 2, 3, 4};

void Want(CCatStd& table, const std::vector<WORD>& arCols) {
  for (WORD nCol : arCols) {
    table.SetColFlags(nCol, COL_FLAG_INDEXED);
  }
}

// One row as the library reads it, its cells joined by TAB.
std::string RowText(CCatStd& table, DWORD nRow) {
  CStringArray arCells;
  table.ReadRow(nRow, arCells);
  std::string strRow;
  for (INT_PTR i = 0; i < arCells.GetSize(); ++i) {
    strRow += std::string(i ? "\t" : "") + arCells[i].GetString();
  }
  return strRow;
}

// The answers the table gives: its row count, a few rows, and queries on
// every indexed column.
std::vector<std::string> Answers(CCatStd& table) {
  std::vector<std::string> arAnswers;
  arAnswers.push_back(std::to_string(table.GetRowCount()));
  for (DWORD nRow : {0u, 7u, table.GetRowCount() - 1}) {
    arAnswers.push_back(RowText(table, nRow));
  }
  const struct {
    WORD nCol;
    BYTE nOp;
    const char* pszValue;
  } arQueries[] = {{1, CRIT_LESS, "20"},
                   {2, CRIT_EQUAL, "NAME1?"},
                   {3, CRIT_EQUAL, "12"},
                   {3, CRIT_GREATER, "40"},
                   {4, CRIT_EQUAL, "Y2"}};
  for (const auto& query : arQueries) {
    CQueryStd set(&table);
    set.AddCriteria(query.nCol, query.nOp, query.pszValue);
    std::string strRows;
    CDWordArray* pRows = set.GetRows();
    for (INT_PTR i = 0; pRows != nullptr && i < pRows->GetSize(); ++i) {
      strRows += std::to_string(pRows->GetAt(i)) + ",";
    }
    arAnswers.push_back(strRows);
  }
  return arAnswers;
}

// What a table whose sidecar was built in one run of IndexTable holds.
struct CReference {
  std::string strSide;
  std::vector<std::string> arAnswers;
};

CReference BuildReference(const std::string& strPath, const std::string& strSidePath,
                          const std::vector<WORD>& arCols) {
  std::remove(strSidePath.c_str());
  CReference ref;
  CCatStd table(strPath.c_str());
  Want(table, arCols);
  EXPECT_TRUE(table.IndexTable() && table.IsIndexed());
  ref.strSide = ReadFile(strSidePath);
  if (arCols == ALL_INDEXED) {
    ref.arAnswers = Answers(table);
    // The queries needed nothing new.
    EXPECT_TRUE(ReadFile(strSidePath) == ref.strSide);
  }
  return ref;
}

// What may stand in the sidecar after a cut: the sidecar that the run
// makes, the one it started from (with whatever the run appended behind
// it), and the one that a run from nothing makes, with the answers of all.
struct CExpected {
  std::string strNew;
  std::string strOld;  // empty when the run started without a sidecar
  std::string strFresh;
  std::vector<std::string> arAnswers;
};

// After whatever happened to the sidecar: the table opens; a sidecar taken
// as valid is the complete new one, or the old one with nothing it refers
// to changed; any other is gone. Indexed again, the table gives the answers
// of the reference, and a sidecar built anew is byte for byte the fresh one.
void CheckRecovers(const std::string& strPath, const std::string& strSidePath,
                   const CExpected& expected, const std::string& strWhat) {
  SCOPED_TRACE(strWhat);
  CCatStd table;
  ASSERT_NO_THROW(table.Open(strPath.c_str()));
  ASSERT_TRUE(table.IsOpen());
  const std::string strSide = ReadFile(strSidePath);
  const bool bKept = table.IsIndexed();
  if (bKept) {
    const bool bNew = strSide == expected.strNew;
    const bool bOld = !expected.strOld.empty() &&
                      strSide.compare(0, expected.strOld.size(), expected.strOld) == 0 &&
                      table.m_arColIndexPos[ALL_INDEXED.back()] == 0;
    EXPECT_TRUE(bNew || bOld) << "a torn sidecar was taken as valid";
  } else {
    EXPECT_FALSE(Exists(strSidePath)) << "an invalid sidecar was kept";
  }
  Want(table, ALL_INDEXED);
  ASSERT_TRUE(table.IndexTable());
  ASSERT_TRUE(table.IsIndexed());
  if (!bKept) {
    EXPECT_TRUE(ReadFile(strSidePath) == expected.strFresh) << "the sidecar built anew differs";
  }
  EXPECT_EQ(Answers(table), expected.arAnswers);
}

// Cuts fnWork at every change of a file in turn, each time once before the
// change and once halfway through it, from the state that fnSetUp makes,
// until fnWork runs to its end. Gives the number of changes it made.
int CutAtEveryStep(const std::function<void()>& fnSetUp, const std::function<void()>& fnWork,
                   const std::function<void(const std::string&)>& fnCheck) {
  for (int nStep = 1; nStep < 100000; ++nStep) {
    for (bool bTear : {false, true}) {
      fnSetUp();
      if (!RunCut(nStep, bTear, fnWork)) {
        return nStep - 1;
      }
      fnCheck("cut at change " + std::to_string(nStep) + (bTear ? ", torn" : ""));
      if (::testing::Test::HasFailure()) {
        return nStep;
      }
    }
  }
  ADD_FAILURE() << "the work never ended";
  return 0;
}

}  // namespace

TEST(CrashSafety, RunCutAtEveryWriteLeavesNoTornSidecar) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  const std::string strSidePath = dir.File("T.SDX");
  WriteFile(strPath, MakeTable(600));
  const CReference ref = BuildReference(strPath, strSidePath, ALL_INDEXED);
  auto fnIndex = [&] {
    CCatStd table(strPath.c_str());
    Want(table, ALL_INDEXED);
    table.IndexTable();
  };
  // The temporary files of the builds die with the process.
  const std::string strTmp = dir.File("tmp");
  std::filesystem::create_directory(strTmp);
  const ScopedEnv tmpdir("TMPDIR", strTmp.c_str());

  // A new sidecar: analysis, row table and four indexes in one run.
  const CExpected fresh{ref.strSide, std::string(), ref.strSide, ref.arAnswers};
  const int nChanges = CutAtEveryStep([&] { std::remove(strSidePath.c_str()); }, fnIndex,
                                      [&](const std::string& strWhat) {
                                        EXPECT_TRUE(std::filesystem::is_empty(strTmp)) << strWhat;
                                        CheckRecovers(strPath, strSidePath, fresh, strWhat);
                                      });
  EXPECT_GT(nChanges, 5);

  // Two indexes added to a valid sidecar of two.
  const CReference old = BuildReference(strPath, strSidePath, {1, 2});
  fnIndex();
  const CExpected added{ReadFile(strSidePath), old.strSide, ref.strSide, ref.arAnswers};
  CutAtEveryStep(
      [&] { WriteFile(strSidePath, old.strSide); }, fnIndex,
      [&](const std::string& strWhat) { CheckRecovers(strPath, strSidePath, added, strWhat); });
}

TEST(CrashSafety, SidecarCutAtEveryLengthIsDroppedAndRebuilt) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  const std::string strSidePath = dir.File("T.SDX");
  WriteFile(strPath, MakeTable(30));
  const CReference ref = BuildReference(strPath, strSidePath, ALL_INDEXED);
  ASSERT_GT(ref.strSide.size(), 100u);
  const CExpected fresh{ref.strSide, std::string(), ref.strSide, ref.arAnswers};
  for (size_t nLen = 0; nLen < ref.strSide.size(); ++nLen) {
    SCOPED_TRACE("cut to " + std::to_string(nLen));
    WriteFile(strSidePath, ref.strSide.substr(0, nLen));
    {
      CCatStd table;
      ASSERT_NO_THROW(table.Open(strPath.c_str()));
      EXPECT_TRUE(table.IsOpen());
      EXPECT_FALSE(table.IsIndexed());
      EXPECT_FALSE(Exists(strSidePath));
    }
    // Built anew from some of the lengths (each build waits for the disk).
    if (nLen % 97 == 0 || nLen + 1 == ref.strSide.size()) {
      WriteFile(strSidePath, ref.strSide.substr(0, nLen));
      CheckRecovers(strPath, strSidePath, fresh, "rebuilt");
    }
    if (HasFailure()) {
      break;
    }
  }
}

TEST(CrashSafety, VersionIsWrittenLastAfterTheDataIsOnDisk) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  WriteFile(strPath, MakeTable(200));
  std::vector<CFileEvent> arLog;
  {
    CCatStd table(strPath.c_str());
    Want(table, ALL_INDEXED);
    g_pLog = &arLog;
    table.IndexTable();
    g_pLog = nullptr;
    ASSERT_TRUE(table.IsIndexed());
  }
  const std::string strSidePath = dir.File("T.SDX");
  // The sidecar's last write is the version byte at offset 0, right behind
  // an fsync; every write at offset 0 before it carried a version that no
  // reader accepts.
  std::vector<CFileEvent> arSide;
  std::copy_if(arLog.begin(), arLog.end(), std::back_inserter(arSide),
               [&](const CFileEvent& event) { return event.strPath == strSidePath; });
  const auto itCommit = std::find_if(arSide.rbegin(), arSide.rend(),
                                     [](const CFileEvent& event) { return !event.bSync; });
  ASSERT_TRUE(arSide.size() >= 3 && itCommit != arSide.rend() && itCommit + 1 != arSide.rend());
  EXPECT_EQ(itCommit->nOffset, 0);
  EXPECT_TRUE(itCommit->strBytes == "\x05") << itCommit->strBytes.size() << " bytes";
  EXPECT_TRUE((itCommit + 1)->bSync) << "the version was written before the data was synced";
  for (auto it = itCommit + 1; it != arSide.rend(); ++it) {
    EXPECT_TRUE(it->bSync || it->nOffset != 0 || it->strBytes[0] != '\x05');
  }
}

namespace {

// A table whose rows fold by either of two columns, and unfold again.
const char kFoldable[] =
    "REF\tCOLOR\tSIZE\r\n"
    "A\tred\tS\r\n"
    "A\tblue\tS\r\n"
    "A\tred\tM\r\n"
    "B\tgreen*red\tL\r\n"
    "B\tblue\tL\r\n"
    "C\tred\tS*M\r\n";

// The rows of the table at strPath as the library reads them through its
// sidecar.
std::vector<std::string> RowsOf(const std::string& strPath) {
  CCatStd table(strPath.c_str());
  std::vector<std::string> arRows;
  for (DWORD nRow = 0; nRow < table.GetRowCount(); ++nRow) {
    arRows.push_back(RowText(table, nRow));
  }
  return arRows;
}

// The rows that a sidecar built afresh gives for the bytes of strPath.
std::vector<std::string> FreshRowsOf(const std::string& strPath) {
  TempDir fresh;
  WriteFile(fresh.File("T.TXT"), ReadFile(strPath));
  return RowsOf(fresh.File("T.TXT"));
}

// The files of the directory that a rewrite may leave behind.
void ClearDir(const TempDir& dir, const char* pszStem) {
  for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
    if (entry.path().filename().string().find(pszStem) <= 1) {
      std::filesystem::remove(entry.path());
    }
  }
}

}  // namespace

TEST(CrashSafety, RewriteCutAtEveryStepLeavesTheOldOrTheNewTable) {
  TempDir dir;
  const std::string strPath = dir.File("T.TXT");
  const std::string strTwin = dir.File("T.SDC");
  const std::string strOther = dir.File("U.TXT");
  CWordArray arCols;
  arCols.Add(1);
  arCols.Add(2);
  // Each rewrite works on the table opened anew.
  auto fnOn = [&strPath](std::function<void(CCatStd&)> fnRewrite) {
    return [&strPath, fnRewrite] {
      CCatStd table(strPath.c_str());
      fnRewrite(table);
    };
  };
  CDWordArray arRows;
  arRows.Add(1);
  arRows.Add(3);
  const struct {
    const char* pszWhat;
    std::function<void()> fnWork;
    std::string strWatched;  // the file that must be old or new
  } arRewrites[] = {
      {"compact", fnOn([&](CCatStd& table) { table.CompactTable(nullptr, &arCols); }), strPath},
      {"uncompact", fnOn([&](CCatStd& table) { table.UncompactTable(nullptr, &arCols); }), strPath},
      {"uncompact to another file",
       fnOn([&](CCatStd& table) { table.UncompactTable(strOther.c_str(), &arCols); }), strOther},
      {"scramble", fnOn([](CCatStd& table) { table.CryptTable(TRUE); }), strTwin},
      {"delete rows", fnOn([&](CCatStd& table) { table.DeleteRows(arRows); }), strPath},
  };
  for (const auto& rewrite : arRewrites) {
    SCOPED_TRACE(rewrite.pszWhat);
    const std::string strOld = "old";
    auto fnSetUp = [&] {
      ClearDir(dir, "T");
      ClearDir(dir, "U");
      WriteFile(strPath, kFoldable);
      WriteFile(strOther, strOld);
      if (rewrite.strWatched == strTwin) {
        WriteFile(strTwin, strOld);
      }
      CCatStd(strPath.c_str()).IndexTable();  // a sidecar of the old rows
    };
    // What the rewrite makes when nothing cuts it.
    fnSetUp();
    rewrite.fnWork();
    const std::string strNew = ReadFile(rewrite.strWatched);
    const std::string strBefore = rewrite.strWatched == strPath ? std::string(kFoldable) : strOld;
    ASSERT_NE(strNew, strBefore);
    const int nSteps = CutAtEveryStep(fnSetUp, rewrite.fnWork, [&](const std::string& strWhat) {
      const std::string strNow = ReadFile(rewrite.strWatched);
      EXPECT_TRUE(Exists(rewrite.strWatched) && (strNow == strBefore || strNow == strNew))
          << strWhat << ": " << strNow.size() << " bytes";
      if (rewrite.strWatched != strPath) {
        EXPECT_TRUE(ReadFile(strPath) == kFoldable) << strWhat;
      }
      // Whatever sidecar stands beside the table, written in this very
      // second, it never gives rows that a fresh one would not.
      EXPECT_EQ(RowsOf(strPath), FreshRowsOf(strPath)) << strWhat;
      // Nothing is left but the files of the tables, and at most the hidden
      // name a work file has for the instant before it takes its place.
      size_t nFiles = 0;
      for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        nFiles += entry.path().filename().string().find(".lorn-") == std::string::npos;
      }
      EXPECT_LE(nFiles, 4u) << strWhat;  // T.TXT, T.SDX, U.TXT and maybe T.SDC
    });
    EXPECT_GT(nSteps, 1);
  }
}
