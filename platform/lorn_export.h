// The library is compiled with hidden symbol visibility; every class and
// function that a host may reach is marked LORN_API to stay visible in the
// shared object. Exception classes must be marked too, or a host cannot catch
// them by type across the library boundary.
#ifndef LORN_PLATFORM_LORN_EXPORT_H_
#define LORN_PLATFORM_LORN_EXPORT_H_

#define LORN_API __attribute__((visibility("default")))
// Members of an exported class that stay inside the library.
#define LORN_INTERNAL __attribute__((visibility("hidden")))

#endif  // LORN_PLATFORM_LORN_EXPORT_H_
