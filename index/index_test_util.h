// Helpers of the index tests: a sidecar in a private directory, a private
// directory for the temporary files of builds, and a monitor that records.
#ifndef LORN_INDEX_INDEX_TEST_UTIL_H_
#define LORN_INDEX_INDEX_TEST_UTIL_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "frame/lorn_defs.h"
#include "frame/monitor.h"
#include "index/column_index.h"
#include "testing/test_util.h"

namespace index_test {

// A sidecar with a few bytes in front of the indexes, where a real one has
// its header and row table.
class CSideFile {
 public:
  static constexpr DWORD kPrefix = 20;
  CSideFile() {
    EXPECT_TRUE(m_file.Open(m_dir.File("t.sdx").c_str(), CFile::modeCreate | CFile::modeReadWrite));
    m_file.Write(std::string(kPrefix, '#').data(), kPrefix);
  }
  CFile* File() { return &m_file; }
  std::string Bytes(DWORD nPos, DWORD nLen) {
    std::string strBytes(nLen, '\0');
    m_file.Seek(nPos, CFile::begin);
    strBytes.resize(m_file.Read(strBytes.data(), nLen));
    return strBytes;
  }

 private:
  lorn_test::TempDir m_dir;
  CFile m_file;
};

// TMPDIR points at a private directory while the object lives.
class CPrivateTmp {
 public:
  CPrivateTmp() {
    const char* pszOld = std::getenv("TMPDIR");
    m_bHadOld = pszOld != nullptr;
    m_strOld = m_bHadOld ? pszOld : "";
    setenv("TMPDIR", m_dir.path().c_str(), 1);
  }
  ~CPrivateTmp() {
    if (m_bHadOld) {
      setenv("TMPDIR", m_strOld.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }
  const std::string& Path() const { return m_dir.path(); }
  // The temporary files of builds: those without a name that this process
  // holds open in the private directory, by their descriptor's path, and
  // those that stand there by a name that starts with "sdx".
  std::vector<std::string> SdxPaths() const {
    std::vector<std::string> arPaths;
    const std::string strDir = m_dir.path() + "/";
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code error;
      const std::string strTarget = std::filesystem::read_symlink(entry.path(), error).string();
      if (!error && strTarget.rfind(strDir, 0) == 0 && strTarget.ends_with(" (deleted)")) {
        arPaths.push_back(entry.path().string());
      }
    }
    for (const auto& entry : std::filesystem::directory_iterator(m_dir.path())) {
      if (entry.path().filename().string().rfind("sdx", 0) == 0) {
        arPaths.push_back(entry.path().string());
      }
    }
    return arPaths;
  }
  int CountSdx() const { return static_cast<int>(SdxPaths().size()); }

 private:
  lorn_test::TempDir m_dir;
  bool m_bHadOld;
  std::string m_strOld;
};

class CRecordingMonitor : public CProgressMonitor {
 public:
  void SetPos(WORD nPos) override {
    m_arPositions.push_back(nPos);
    CProgressMonitor::SetPos(nPos);
  }
  void ShowError(const char* pszText) override { m_arErrors.push_back(pszText); }
  std::vector<WORD> m_arPositions;
  std::vector<std::string> m_arErrors;
};

// The rows that a search delivers, in order.
inline std::vector<LONG> FindRows(CIndex& index, const void* pKey, BYTE nOp) {
  std::vector<LONG> arRows;
  for (BOOL bFound = index.Find(pKey, nOp, TRUE); bFound && arRows.size() < 100000;
       bFound = index.Find(pKey, nOp, FALSE)) {
    arRows.push_back(index.GetRow());
  }
  return arRows;
}

// The Long column "10", "*", "(1..5)", "7*3" and an empty cell, fed as the
// table's index pass feeds it.
inline void AddWorkedExample(CIndex& index) {
  index.AddValue(0, "10");
  index.AddAny(1);
  index.AddRange(2, "1", "5", RANGE_LOW_CLOSED | RANGE_HIGH_CLOSED);
  index.AddValue(3, "3");
  index.AddValue(3, "7");
}

}  // namespace index_test

#endif  // LORN_INDEX_INDEX_TEST_UTIL_H_
