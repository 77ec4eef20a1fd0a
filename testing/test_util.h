// Helpers shared by the unit tests: a private temporary directory per test,
// and whole-file reads and writes of raw bytes.
#ifndef LORN_TESTING_TEST_UTIL_H_
#define LORN_TESTING_TEST_UTIL_H_

#include <optional>
#include <string>

namespace lorn_test {

// A fresh directory under $TMPDIR (or /tmp), removed with all its content
// when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return path_; }
  // path() + "/" + name
  std::string File(const std::string& name) const;

 private:
  std::string path_;
};

// Writes the bytes as they stand (no line-end translation); aborts the test
// program on failure.
void WriteFile(const std::string& path, const std::string& bytes);
// The whole file; empty when it does not exist.
std::string ReadFile(const std::string& path);
bool Exists(const std::string& path);
// Sets the modification time of a file, in seconds since the epoch.
void SetMTime(const std::string& path, long long seconds);
long long GetMTime(const std::string& path);

// Sets an environment variable for the life of the object, then gives it
// back its old value or unsets it.
class ScopedEnv {
 public:
  ScopedEnv(const char* pszName, const char* pszValue);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string m_strName;
  std::optional<std::string> m_strOld;
};

}  // namespace lorn_test

#endif  // LORN_TESTING_TEST_UTIL_H_
