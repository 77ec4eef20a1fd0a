// The scalar types of the class-library interface, fixed to the widths the
// stored formats and the exported signatures were built on: BOOL and LONG are
// 32-bit on every target, WORD and DWORD are exact unsigned widths.
#ifndef LORN_PLATFORM_TYPES_H_
#define LORN_PLATFORM_TYPES_H_

#include <cstdint>

typedef int32_t BOOL;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef unsigned int UINT;
typedef intptr_t INT_PTR;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

#endif  // LORN_PLATFORM_TYPES_H_
