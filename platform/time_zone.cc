#include "platform/time_zone.h"

#include <time.h>

LONG GetTimeZoneBias() {
  tzset();
  return static_cast<LONG>(timezone);
}
