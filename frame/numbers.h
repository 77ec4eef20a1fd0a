// Conversions of value texts to numbers, the same for index keys, criteria
// and range cells so that a key written and a key sought always agree.
// They read what they can from the start of the text (leading white space
// skipped) and give 0 for nothing, whatever the C library's locale is.
#ifndef LORN_FRAME_NUMBERS_H_
#define LORN_FRAME_NUMBERS_H_

#include "platform/lorn_export.h"
#include "platform/types.h"

// atol: optional sign, decimal digits; a value beyond 32 bits is clamped to
// the nearest 32-bit limit. Null gives 0.
LORN_INTERNAL LONG TextToLong(const char* pszText);
// strtod with "." as the decimal point. Null gives 0.0.
LORN_INTERNAL double TextToReal(const char* pszText);

#endif  // LORN_FRAME_NUMBERS_H_
