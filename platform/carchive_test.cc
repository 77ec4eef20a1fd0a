#include "platform/carchive.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/cfile.h"
#include "platform/collections.h"
#include "platform/mbcs.h"
#include "testing/test_util.h"

namespace {

// A serial class whose objects link to one another (links not owned).
class CArchiveTestItem : public CObject {
  DECLARE_SERIAL(CArchiveTestItem)
 public:
  CArchiveTestItem() { ++s_nLive; }
  explicit CArchiveTestItem(LONG nValue) : m_nValue(nValue) { ++s_nLive; }
  ~CArchiveTestItem() override { --s_nLive; }
  void Serialize(CArchive& ar) override {
    if (ar.IsStoring()) {
      ar << m_nValue;
      ar.WriteObject(m_pNext);
    } else {
      ar >> m_nValue;
      m_pNext = static_cast<CArchiveTestItem*>(ar.ReadObject(RUNTIME_CLASS(CArchiveTestItem)));
    }
  }
  LONG m_nValue = 0;
  CArchiveTestItem* m_pNext = nullptr;
  static int s_nLive;
};
int CArchiveTestItem::s_nLive = 0;

}  // namespace

IMPLEMENT_SERIAL(CArchiveTestItem, CObject, 1)

namespace {

using Fn = std::function<void(CArchive&)>;

const std::string& ArchivePath() {
  static lorn_test::TempDir s_dir;
  static const std::string s_strPath = s_dir.File("archive.bin");
  return s_strPath;
}

std::string Store(const Fn& fnStore, int nBufSize = 4096) {
  CFile file(ArchivePath().c_str(), CFile::modeCreate | CFile::modeWrite);
  CArchive ar(&file, CArchive::store, nBufSize);
  fnStore(ar);
  ar.Close();
  return lorn_test::ReadFile(ArchivePath());
}

// Runs fn on the archive; the CArchiveException cause, or none.
int CauseOf(const Fn& fn, CArchive& ar) {
  try {
    fn(ar);
  } catch (const CArchiveException& e) {
    return e.m_cause;
  }
  return CArchiveException::none;
}

int Load(const std::string& strBytes, const Fn& fnLoad, int nBufSize = 4096) {
  lorn_test::WriteFile(ArchivePath(), strBytes);
  CFile file(ArchivePath().c_str(), CFile::modeRead);
  CArchive ar(&file, CArchive::load, nBufSize);
  return CauseOf(fnLoad, ar);
}

std::string Hex(const std::string& str, size_t nMax = 64) {
  std::string strHex;
  for (size_t i = 0; i < str.size() && i < nMax; ++i) {
    char sz[4];
    std::snprintf(sz, sizeof(sz), i ? " %02x" : "%02x", static_cast<unsigned char>(str[i]));
    strHex += sz;
  }
  return strHex;
}

TEST(CArchive, ScalarsAreLittleEndian) {
  const auto values = std::make_tuple(BYTE{0x12}, WORD{0x3456}, DWORD{0x789ABCDE}, -2, LONGLONG{-3},
                                      1.5, 2.0f, true, 'z', short{-1});
  std::string strBytes =
      Store([&](CArchive& ar) { std::apply([&](auto... v) { (ar << ... << v); }, values); });
  EXPECT_EQ(
      "12 56 34 de bc 9a 78 fe ff ff ff fd ff ff ff ff ff ff ff 00 00 00 00 00 00 f8 3f "
      "00 00 00 40 01 7a ff ff",
      Hex(strBytes));
  auto loaded = values;
  loaded = {};
  EXPECT_EQ(CArchiveException::none, Load(strBytes, [&](CArchive& ar) {
              std::apply([&](auto&... v) { (ar >> ... >> v); }, loaded);
            }));
  EXPECT_EQ(values, loaded);
}

TEST(CArchive, StringAndCountLengthBoundaries) {
  const std::pair<int, const char*> aStrings[] = {{0, "00"},
                                                  {254, "fe"},
                                                  {255, "ff ff 00"},
                                                  {0xFFFD, "ff fd ff"},
                                                  {0xFFFE, "ff ff ff fe ff 00 00"},
                                                  {0x10000, "ff ff ff 00 00 01 00"}};
  for (const auto& [nLength, pszPrefix] : aStrings) {
    CString str(std::string(static_cast<size_t>(nLength), 'q').c_str());
    std::string strBytes = Store([&](CArchive& ar) { ar << str; }, 64);
    std::string strPrefix = pszPrefix;
    size_t nPrefix = (strPrefix.size() + 1) / 3;
    EXPECT_EQ(strPrefix, Hex(strBytes, nPrefix)) << nLength;
    EXPECT_EQ(nPrefix + static_cast<size_t>(nLength), strBytes.size());
    CString strBack("old");
    EXPECT_EQ(CArchiveException::none, Load(
                                           strBytes, [&](CArchive& ar) { ar >> strBack; }, 64));
    EXPECT_EQ(str, strBack);
  }
  const std::pair<DWORD, const char*> aCounts[] = {{0, "00 00"},
                                                   {0xFFFE, "fe ff"},
                                                   {0xFFFF, "ff ff ff ff 00 00"},
                                                   {0x12345678, "ff ff 78 56 34 12"}};
  for (const auto& [nCount, pszBytes] : aCounts) {
    std::string strBytes = Store([n = nCount](CArchive& ar) { ar.WriteCount(n); });
    EXPECT_EQ(pszBytes, Hex(strBytes));
    DWORD nBack = 0;
    Load(strBytes, [&](CArchive& ar) { nBack = ar.ReadCount(); });
    EXPECT_EQ(nCount, nBack);
  }
}

TEST(CArchive, ArraysRoundTripAndReplaceContent) {
  auto SerializeAll = [](auto*... pArrays) {
    return Fn([=](CArchive& ar) { (pArrays->Serialize(ar), ...); });
  };
  CByteArray arBytes;
  CWordArray arWords;
  CDWordArray arDWords;
  CStringArray arStrings;
  EXPECT_EQ("00 00", Hex(Store(SerializeAll(&arBytes))));
  for (int i = 0; i < 0xFFFF; ++i) {
    arWords.Add(static_cast<WORD>(i * 7));
  }
  arBytes.Add(0xAB);
  arDWords.Add(0xDEADBEEF);
  arStrings.Add("x");
  arStrings.Add("");
  arStrings.Add(CString('s', 300));
  std::string strBytes = Store(SerializeAll(&arBytes, &arDWords, &arStrings, &arWords));
  EXPECT_EQ("01 00 ab 01 00 ef be ad de 03 00 01 78 00 ff 2c 01", Hex(strBytes, 17));
  EXPECT_EQ(17u + 300 + 6 + 2 * 0xFFFF, strBytes.size());

  CByteArray arBytes2;
  CWordArray arWords2;
  CDWordArray arDWords2;
  CStringArray arStrings2;
  arBytes2.SetSize(10);
  arStrings2.Add("stale");
  EXPECT_EQ(CArchiveException::none,
            Load(strBytes, SerializeAll(&arBytes2, &arDWords2, &arStrings2, &arWords2)));
  ASSERT_EQ(1, arBytes2.GetSize());
  EXPECT_EQ(0xAB, arBytes2[0]);
  ASSERT_EQ(1, arDWords2.GetSize());
  EXPECT_EQ(0xDEADBEEFu, arDWords2[0]);
  ASSERT_EQ(3, arStrings2.GetSize());
  EXPECT_EQ(CString("x"), arStrings2[0]);
  EXPECT_TRUE(arStrings2[1].IsEmpty());
  EXPECT_EQ(arStrings[2], arStrings2[2]);
  ASSERT_EQ(0xFFFF, arWords2.GetSize());
  EXPECT_EQ(static_cast<WORD>(0xFFFE * 7), arWords2[0xFFFE]);
}

TEST(CArchive, LoadsTheWideForm) {
  ASSERT_EQ(0, _setmbcp(1252));
  CString str;
  std::string strShort("\xff\xfe\xff\3a\0b\0\xe9\0", 10);
  EXPECT_EQ(CArchiveException::none, Load(strShort, [&](CArchive& ar) { ar >> str; }));
  EXPECT_EQ(CString("ab\xe9"), str);
  // A wide length of 256 units in its WORD form.
  std::string strLong("\xff\xfe\xff\xff\x00\x01", 6);
  for (int i = 0; i < 256; ++i) {
    strLong += std::string("A\0", 2);
  }
  EXPECT_EQ(CArchiveException::none, Load(strLong, [&](CArchive& ar) { ar >> str; }));
  EXPECT_EQ(CString('A', 256), str);
  strLong.pop_back();
  EXPECT_EQ(CArchiveException::endOfFile, Load(strLong, [&](CArchive& ar) { ar >> str; }));
}

TEST(CArchive, ObjectTagsAndIdentity) {
  CArchiveTestItem a(7), b(8);
  b.m_pNext = &a;
  std::string strBytes =
      Store([&](CArchive& ar) { ar << &a << &a << &b << static_cast<CObject*>(nullptr); });
  EXPECT_EQ(
      "ff ff 01 00 10 00 43 41 72 63 68 69 76 65 54 65 73 74 49 74 65 6d 07 00 00 00 00 00 "
      "02 00 01 80 08 00 00 00 02 00 00 00",
      Hex(strBytes));
  int nLive = CArchiveTestItem::s_nLive;
  CObject* apLoaded[4] = {};
  EXPECT_EQ(CArchiveException::none, Load(strBytes, [&](CArchive& ar) {
              for (CObject*& pOb : apLoaded) {
                ar >> pOb;
              }
            }));
  auto* pA = dynamic_cast<CArchiveTestItem*>(apLoaded[0]);
  auto* pB = dynamic_cast<CArchiveTestItem*>(apLoaded[2]);
  ASSERT_TRUE(pA != nullptr && pB != nullptr);
  EXPECT_EQ(pA, apLoaded[1]);
  EXPECT_EQ(pA, pB->m_pNext);
  EXPECT_EQ(8, pB->m_nValue);
  EXPECT_EQ(nullptr, apLoaded[3]);
  EXPECT_EQ(nLive + 2, CArchiveTestItem::s_nLive);
  delete pA;
  delete pB;

  // An object that refers to itself loads as one object: it is numbered
  // before its own data is read.
  a.m_pNext = &a;
  strBytes = Store([&](CArchive& ar) { ar << &a; });
  Load(strBytes, [&](CArchive& ar) {
    std::unique_ptr<CObject> pOb(ar.ReadObject(RUNTIME_CLASS(CArchiveTestItem)));
    EXPECT_EQ(pOb.get(), static_cast<CArchiveTestItem*>(pOb.get())->m_pNext);
  });
}

TEST(CArchive, ObjectsNestedPastTheLimitAreRefused) {
  // A chain of items, each stored inside the one before it.
  auto Chain = [](int nLength) {
    std::vector<std::unique_ptr<CArchiveTestItem>> arItems;
    for (int i = 0; i < nLength; ++i) {
      arItems.push_back(std::make_unique<CArchiveTestItem>(i));
      if (i > 0)
        arItems[i - 1]->m_pNext = arItems[i].get();
    }
    return arItems;
  };
  const int nLive = CArchiveTestItem::s_nLive;
  auto arDeepest = Chain(CArchive::kMaxObjectDepth);
  const std::string strBytes = Store([&](CArchive& ar) { ar << arDeepest[0].get(); });
  EXPECT_EQ(CArchiveException::none, Load(strBytes, [&](CArchive& ar) {
              std::unique_ptr<CObject> pFirst(ar.ReadObject(nullptr));
              for (auto* p = static_cast<CArchiveTestItem*>(pFirst.get())->m_pNext; p != nullptr;) {
                std::unique_ptr<CArchiveTestItem> pOwned(p);
                p = p->m_pNext;
              }
            }));
  arDeepest = Chain(CArchive::kMaxObjectDepth + 1);
  lorn_test::TempDir dir;
  CFile file(dir.File("deep").c_str(), CFile::modeCreate | CFile::modeWrite);
  CArchive arStore(&file, CArchive::store);
  EXPECT_EQ(CArchiveException::genericException,
            CauseOf([&](CArchive& ar) { ar << arDeepest[0].get(); }, arStore));
  arDeepest.clear();

  // A hostile archive far deeper than any stack: refused, nothing left alive.
  std::string strHostile =
      Store([&](CArchive& ar) { ar.WriteClass(RUNTIME_CLASS(CArchiveTestItem)); });
  for (int i = 0; i < 40000; ++i) {
    strHostile += i == 0 ? std::string() : std::string("\x01\x80", 2);
    strHostile += std::string(4, '\0');
  }
  strHostile += std::string(2, '\0');
  EXPECT_EQ(CArchiveException::genericException,
            Load(strHostile, [](CArchive& ar) { delete ar.ReadObject(nullptr); }));
  EXPECT_EQ(nLive, CArchiveTestItem::s_nLive);
}

TEST(CArchive, TagsPast0x7FFF) {
  const int kCount = 0x8000;  // objects 2 .. 0x8001 after class 1
  std::vector<std::unique_ptr<CArchiveTestItem>> arItems;
  for (int i = 0; i < kCount; ++i) {
    arItems.push_back(std::make_unique<CArchiveTestItem>(i));
  }
  CWordArray other1, other2;  // a class of schema 0
  std::string strBytes = Store([&](CArchive& ar) {
    for (auto& pItem : arItems) {
      ar << pItem.get();
    }
    ar << arItems[0x7FFC].get() << arItems[0x7FFD].get() << arItems.back().get();
    ar << &other1 << &other2;  // class 0x8002, objects 0x8003, 0x8004
    ar << &other2;
  });
  std::string strTail = strBytes.substr(strBytes.size() - 46);
  EXPECT_EQ(
      "fe 7f ff 7f ff 7f 00 00 ff 7f 01 80 00 00 ff ff 00 00 0a 00 43 57 6f 72 64 41 72 72 61 79 "
      "00 00 ff 7f 02 80 00 80 00 00 ff 7f 04 80 00 00",
      Hex(strTail));

  std::vector<std::unique_ptr<CObject>> arLoaded;
  EXPECT_EQ(CArchiveException::none, Load(strBytes, [&](CArchive& ar) {
              for (int i = 0; i < kCount; ++i) {
                arLoaded.emplace_back(ar.ReadObject(RUNTIME_CLASS(CArchiveTestItem)));
              }
              EXPECT_EQ(arLoaded[0x7FFC].get(), ar.ReadObject(nullptr));
              EXPECT_EQ(arLoaded[0x7FFD].get(), ar.ReadObject(nullptr));
              EXPECT_EQ(arLoaded.back().get(), ar.ReadObject(nullptr));
              arLoaded.emplace_back(ar.ReadObject(RUNTIME_CLASS(CWordArray)));
              arLoaded.emplace_back(ar.ReadObject(RUNTIME_CLASS(CWordArray)));
              EXPECT_EQ(arLoaded.back().get(), ar.ReadObject(nullptr));
            }));
  ASSERT_EQ(static_cast<size_t>(kCount + 2), arLoaded.size());
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(i, static_cast<CArchiveTestItem*>(arLoaded[i].get())->m_nValue);
  }
  EXPECT_NE(arLoaded[kCount].get(), arLoaded[kCount + 1].get());
}

TEST(CArchive, ClassChecks) {
  CArchiveTestItem a(1);
  const std::string strItem = Store([&](CArchive& ar) { ar << &a; });
  auto Cause = [](const std::string& strBytes, const CRuntimeClass* pRequested, int nReads = 1) {
    return Load(strBytes, [&](CArchive& ar) {
      for (int i = 0; i < nReads; ++i) {
        delete ar.ReadObject(pRequested);
      }
    });
  };
  EXPECT_EQ(CArchiveException::none, Cause(strItem, RUNTIME_CLASS(CObject)));
  EXPECT_EQ(CArchiveException::badClass, Cause(strItem, RUNTIME_CLASS(CWordArray)));
  std::string strUnknown = strItem;
  strUnknown[6] = 'X';
  EXPECT_EQ(CArchiveException::badClass, Cause(strUnknown, nullptr));
  std::string strNotSerial("\xff\xff\xff\xff\x07\0CObject", 13);
  EXPECT_EQ(CArchiveException::badClass, Cause(strNotSerial, nullptr));
  std::string strSchema = strItem;
  strSchema[2] = 2;
  EXPECT_EQ(CArchiveException::badSchema, Cause(strSchema, nullptr));
  EXPECT_EQ(CArchiveException::badIndex, Cause(std::string("\x05\x00", 2), nullptr));
  EXPECT_EQ(CArchiveException::badIndex, Cause(std::string("\x01\x80", 2), nullptr));
  // After the item (class 1, object 2): a reference to the class where an
  // object belongs, to the object where a class belongs, and past the end.
  EXPECT_EQ(CArchiveException::badIndex, Cause(strItem + std::string("\x01\x00", 2), nullptr, 2));
  EXPECT_EQ(CArchiveException::badIndex, Cause(strItem + "\x02\x80", nullptr, 2));
  EXPECT_EQ(CArchiveException::badIndex,
            Cause(strItem + std::string("\xff\x7f\x03\x00\x00\x00", 6), nullptr, 2));
  const std::string strSecond("\x01\x80\x05\x00\x00\x00\x00\x00", 8);
  EXPECT_EQ(CArchiveException::none, Cause(strItem + strSecond, nullptr, 2));
  // A back-reference is checked against the requested class too.
  EXPECT_EQ(CArchiveException::badClass,
            Load(strItem + std::string("\x02\x00", 2), [](CArchive& ar) {
              std::unique_ptr<CObject> pOb(ar.ReadObject(nullptr));
              ar.ReadObject(RUNTIME_CLASS(CWordArray));
            }));
}

TEST(CArchive, TruncatedArchivesRaiseEndOfFile) {
  CArchiveTestItem a(5), b(6);
  b.m_pNext = &a;
  CWordArray arWords;
  arWords.Add(1);
  arWords.Add(2);
  CString strLong('L', 300);
  const Fn fnStore = [&](CArchive& ar) {
    ar << WORD{1} << 2.5 << CString("abc") << strLong;
    ar.WriteCount(0x10000);
    arWords.Serialize(ar);
    ar << &a << &b << &a;
  };
  const std::string strFull = Store(fnStore);
  const int nLive = CArchiveTestItem::s_nLive;
  const Fn fnLoad = [&](CArchive& ar) {
    WORD w;
    double d;
    CString str1, str2;
    CWordArray arBack;
    ar >> w >> d >> str1 >> str2;
    EXPECT_EQ(0x10000u, ar.ReadCount());
    arBack.Serialize(ar);
    std::unique_ptr<CObject> pA(ar.ReadObject(nullptr));
    std::unique_ptr<CObject> pB(ar.ReadObject(nullptr));
    EXPECT_EQ(pA.get(), ar.ReadObject(nullptr));
  };
  EXPECT_EQ(CArchiveException::none, Load(strFull, fnLoad));
  for (size_t n = 0; n < strFull.size(); ++n) {
    for (int nBufSize : {16, 4096}) {
      EXPECT_EQ(CArchiveException::endOfFile, Load(strFull.substr(0, n), fnLoad, nBufSize))
          << "prefix " << n << ", buffer " << nBufSize;
    }
    // An object cut off in its own data is deleted, not leaked.
    EXPECT_EQ(nLive, CArchiveTestItem::s_nLive) << "prefix " << n;
  }
}

// Loads fnLoad in a child process whose address space is limited to about
// 256 MB more than it uses now: an allocation sized by the damaged length
// fails the child instead of succeeding quietly.
int CauseUnderMemoryLimit(const std::string& strBytes, const Fn& fnLoad) {
  pid_t pid = ::fork();
  if (pid == 0) {
    long nPages = 0;
    std::ifstream("/proc/self/statm") >> nPages;
    rlim_t nLimit =
        static_cast<rlim_t>(nPages) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + (256u << 20);
    struct rlimit limit = {nLimit, nLimit};
    ::setrlimit(RLIMIT_AS, &limit);
    int nCause = 101;  // anything else thrown, std::bad_alloc included
    try {
      nCause = Load(strBytes, fnLoad);
    } catch (...) {
    }
    ::_exit(nCause);
  }
  int nStatus = 0;
  ::waitpid(pid, &nStatus, 0);
  return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 200;
}

#if defined(__SANITIZE_ADDRESS__)
#define LORN_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LORN_TEST_ASAN 1
#endif
#endif

template <class ARRAY>
void LoadArray(CArchive& ar) {
  ARRAY array;
  array.Serialize(ar);
}

TEST(CArchive, HugeLengthsInAShortFileRaiseEndOfFile) {
#ifdef LORN_TEST_ASAN
  GTEST_SKIP() << "the address space limit conflicts with the sanitizer's shadow memory";
#endif
  const std::string strHugeCount("\xff\xff\xf0\xff\xff\x7fzzzzzzzz", 14);
  const std::string strHugeString("\xff\xff\xff\xf0\xff\xff\x7fzzzz", 11);
  const std::string strHugeWide("\xff\xfe\xff\xff\xff\xff\xf0\xff\xff\x3fzz", 12);
  const std::string strHuge64("\xff\xff\xff\xff\xff\xff\xff\x00\x00\x00\x00\x01\x00\x00\x00", 15);
  for (const Fn& fnLoad : {Fn(LoadArray<CByteArray>), Fn(LoadArray<CWordArray>),
                           Fn(LoadArray<CDWordArray>), Fn(LoadArray<CStringArray>)}) {
    EXPECT_EQ(CArchiveException::endOfFile, CauseUnderMemoryLimit(strHugeCount, fnLoad));
  }
  for (const std::string& strBytes : {strHugeString, strHugeWide, strHuge64}) {
    EXPECT_EQ(CArchiveException::endOfFile, CauseUnderMemoryLimit(strBytes, [](CArchive& ar) {
                CString str;
                ar >> str;
              }));
  }
}

// Fails every write after the first nGood bytes, as a full disk does.
class CFullDiskFile : public CFile {
 public:
  explicit CFullDiskFile(UINT nGood) : m_nGood(nGood) {}
  void Write(const void* lpBuf, UINT nCount) override {
    if (nCount > m_nGood) {
      AfxThrowFileException(CFileException::diskFull, ENOSPC);
    }
    m_nGood -= nCount;
    CFile::Write(lpBuf, nCount);
  }

 private:
  UINT m_nGood;
};

TEST(CArchive, ModesFlushCloseAndFileErrors) {
  WORD w = 0;
  std::string strBytes = Store([&](CArchive& ar) {
    ar << WORD{7} << CString("tail") << DWORD{9};
    EXPECT_EQ(CArchiveException::writeOnly, CauseOf([&](CArchive& a) { a >> w; }, ar));
  });
  strBytes += std::string(5000, 'z');
  for (int nBufSize : {16, 4096}) {
    lorn_test::WriteFile(ArchivePath(), strBytes);
    CFile file(ArchivePath().c_str(), CFile::modeRead);
    CArchive ar(&file, CArchive::load, nBufSize);
    CString str;
    ar >> w;
    ar.Flush();
    EXPECT_EQ(2u, file.GetPosition());
    ar >> str;
    EXPECT_EQ(CString("tail"), str);
    EXPECT_EQ(CArchiveException::readOnly, CauseOf([&](CArchive& a) { a << w; }, ar));
    ar.Close();
    EXPECT_EQ(7u, file.GetPosition()) << nBufSize;
    EXPECT_EQ(CArchiveException::genericException, CauseOf([&](CArchive& a) { a >> w; }, ar));
  }

  CFullDiskFile file(10);
  ASSERT_TRUE(file.Open(ArchivePath().c_str(), CFile::modeCreate | CFile::modeWrite));
  CArchive ar(&file, CArchive::store, 16);
  ar << DWORD{1} << DWORD{2};
  try {
    ar << DWORD{3} << DWORD{4} << DWORD{5};
    ar.Close();
    ADD_FAILURE() << "a full disk went unnoticed";
  } catch (const CFileException& e) {
    EXPECT_EQ(CFileException::diskFull, e.m_cause);
  }
}

}  // namespace
