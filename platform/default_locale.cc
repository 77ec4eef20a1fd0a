#include "platform/default_locale.h"

const char* GetHostDefaultLocale() {
  return "";
}
