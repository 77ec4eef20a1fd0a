// The process's time zone, as the C library sees it.
#ifndef LORN_PLATFORM_TIME_ZONE_H_
#define LORN_PLATFORM_TIME_ZONE_H_

#include "platform/lorn_export.h"
#include "platform/types.h"

// Seconds west of UTC of the standard (non-daylight-saving) time of the
// local zone: -3600 for Central European Time, 18000 for US Eastern, 0 for
// UTC or when the zone is unknown. Read afresh from TZ on every call.
LORN_INTERNAL LONG GetTimeZoneBias();

#endif  // LORN_PLATFORM_TIME_ZONE_H_
