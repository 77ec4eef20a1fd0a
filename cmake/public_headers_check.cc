// Compiled against the public headers alone (cmake/check_public_headers.cmake).
// It builds only while lorn.h declares everything a host uses and nothing of
// the library's inside.
#include <type_traits>

#include "lorn.h"

// A namespace cannot share its name with any other declaration in the same
// scope, so each line fails to compile as soon as lorn.h declares that name.
// Internal plain functions and classes:
namespace SettingColSep {}
namespace SettingRangeSep {}
namespace SettingCatalogDir {}
namespace SettingMonitor {}
namespace GetCellSettings {}
namespace CCellSettings {}
namespace MonitorTitle {}
namespace MonitorStep {}
namespace ReadHostObject {}
namespace IsLocaleValid {}
namespace CompareLong {}
namespace CompareTextEntry {}
namespace MatchText {}
namespace FoldCase {}
namespace EnterLocale {}
namespace CLocaleScope {}
namespace MbFind {}
namespace TextToLong {}
namespace SplitCellEx {}
namespace ClassifyCell {}
namespace CCellStd {}
namespace CCellRange {}
namespace CreateCell {}
namespace FindInFile {}
namespace CEntryCache {}
namespace OpenTempFile {}
namespace GetTimeZoneBias {}
namespace g_pBuildBuffer {}
namespace g_strLocaleName {}

// Classes that the interface names only by pointer stay incomplete.
template <class T, class = void>
struct IsComplete : std::false_type {};
template <class T>
struct IsComplete<T, std::void_t<decltype(sizeof(T))>> : std::true_type {};
static_assert(!IsComplete<CIndex>::value, "CIndex is the library's inside");
static_assert(!IsComplete<CCriteria>::value, "CCriteria is the library's inside");

// What a host uses is there, whole.
static_assert(IsComplete<CQueryStd>::value && IsComplete<CResultStd>::value);
static_assert(std::is_polymorphic_v<CProgressMonitor>);
static_assert(std::is_base_of_v<CException, CFileException>);
static_assert(
    std::is_same_v<decltype(&CopyFileRange), void (*)(CFile*, CFile*, BYTE*, WORD, LONG, LONG)>);
static_assert(std::is_same_v<decltype(&BinaryFind),
                             DWORD (*)(const void*, const void*, DWORD, short, PFN_COMPARE)>);
