#include "testing/test_util.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace lorn_test {

TempDir::TempDir() {
  const char* base = std::getenv("TMPDIR");
  std::string templ = std::string(base && *base ? base : "/tmp") + "/lorn-test-XXXXXX";
  if (mkdtemp(templ.data()) == nullptr) {
    std::perror("mkdtemp");
    std::abort();
  }
  path_ = templ;
}

TempDir::~TempDir() {
  std::error_code ec;
  // Read-only files and directories are made writable so that they can go.
  for (auto it = std::filesystem::recursive_directory_iterator(path_, ec);
       !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
    ::chmod(it->path().c_str(), 0700);
  }
  std::filesystem::remove_all(path_, ec);
}

std::string TempDir::File(const std::string& name) const {
  return path_ + "/" + name;
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) {
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
    std::abort();
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

bool Exists(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

void SetMTime(const std::string& path, long long seconds) {
  struct timespec times[2];
  times[0].tv_sec = static_cast<time_t>(seconds);
  times[0].tv_nsec = 0;
  times[1] = times[0];
  if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
    std::perror("utimensat");
    std::abort();
  }
}

long long GetMTime(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0)
    return -1;
  return static_cast<long long>(st.st_mtime);
}

ScopedEnv::ScopedEnv(const char* pszName, const char* pszValue) : m_strName(pszName) {
  if (const char* pszOld = std::getenv(pszName)) {
    m_strOld = pszOld;
  }
  ::setenv(pszName, pszValue, 1);
}

ScopedEnv::~ScopedEnv() {
  if (m_strOld) {
    ::setenv(m_strName.c_str(), m_strOld->c_str(), 1);
  } else {
    ::unsetenv(m_strName.c_str());
  }
}

}  // namespace lorn_test
