// The host's default locale: the name that a table takes when it names none of
// its own. On Windows a closed library of the host gives it; here the host has
// no such setting, and the name is always the empty one, the plain locale.

#ifndef LORN_PLATFORM_DEFAULT_LOCALE_H_
#define LORN_PLATFORM_DEFAULT_LOCALE_H_

// The default locale name; never null, valid for the life of the process.
const char* GetHostDefaultLocale();

#endif  // LORN_PLATFORM_DEFAULT_LOCALE_H_
