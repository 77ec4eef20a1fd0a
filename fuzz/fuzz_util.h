// Helpers shared by the fuzz targets: a private working directory, whole-file
// writes, a reader of fuzz input, the expansion of short inputs into long
// texts, and the sample table that the sidecar and archive targets work on.
//
// A target treats as a finding anything but what the library is allowed to
// do with a hostile input: succeed, give a failure result, or raise one of
// the platform's exceptions (CFileException, CArchiveException,
// CInvalidArgException). Checks of the results that must hold whatever the
// input go through LORN_FUZZ_CHECK, which aborts so that libFuzzer keeps the
// input.
#ifndef LORN_FUZZ_FUZZ_UTIL_H_
#define LORN_FUZZ_FUZZ_UTIL_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/types.h"

#define LORN_FUZZ_CHECK(cond)                            \
  do {                                                   \
    if (!(cond)) {                                       \
      lorn_fuzz::CheckFailed(#cond, __FILE__, __LINE__); \
    }                                                    \
  } while (0)

namespace lorn_fuzz {

[[noreturn]] void CheckFailed(const char* pszCond, const char* pszFile, int nLine);

// A directory of this process's own, on a memory file system when there is
// one, removed with its content when the process exits; TMPDIR points there
// from the first call on. Ends without "/".
const std::string& WorkDir();
// WorkDir() + "/" + name.
std::string WorkFile(const std::string& name);

void PutFile(const std::string& path, const std::string& bytes);
std::string GetFile(const std::string& path);
void RemoveFile(const std::string& path);
bool FileExists(const std::string& path);
// Sets the modification time (seconds since the epoch).
void SetFileTime(const std::string& path, long long nSeconds);

// Takes the fuzz input apart from its front; past the end every value is 0.
class CInput {
 public:
  CInput(const uint8_t* pData, size_t nSize) : m_pData(pData), m_nSize(nSize) {}
  BYTE Byte();
  WORD Word();
  DWORD Dword();
  // Up to nCount bytes.
  std::string Bytes(size_t nCount);
  // Everything that is left.
  std::string Rest();
  size_t Left() const { return m_nSize - m_nPos; }

 private:
  const uint8_t* m_pData;
  size_t m_nSize;
  size_t m_nPos = 0;
};

// Long texts from short inputs, of a length at or near one of the limits
// that the caller names: reads a BYTE that chooses the limit, a signed BYTE
// added to it, a WORD prefix length and a BYTE unit length, then the bytes.
// The text is the prefix, the unit repeated, and the rest of the input,
// filled or cut to exactly the chosen length.
std::string Expand(CInput& input, const size_t* pLimits, size_t nLimits);

// Sets the multi-byte code page to one of the known pages, single- and
// double-byte, chosen by nSel.
void SelectCodePage(BYTE nSel);

// The sample table: four columns (a Long, a Real and two Str columns) whose
// cells hold single values, lists, ranges, lone wildcards and empty cells.
// Its text with TAB separators and CR LF line ends.
const std::string& SampleTable();
// The same table in scrambled form (each line lowered by its key).
std::string Scramble(const std::string& strPlain, char cSep);
// The modification time given to the sample files, so that their stamp is
// the same in every run.
constexpr long long SAMPLE_TIME = 1000000000;
// Writes SampleTable() as WorkFile("T.TXT") and its scrambled twin as
// WorkFile("T.SDC"), both with SAMPLE_TIME, once per process.
void WriteSampleFiles();

}  // namespace lorn_fuzz

#endif  // LORN_FUZZ_FUZZ_UTIL_H_
