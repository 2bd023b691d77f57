// The processing locale: which locale the run works in, and setting it so that
// a missing or invalid LANG or LC_ALL never stops the program.
//   std::string locale;
//   GetProcessingLocaleSettings(locale);  // e.g. "en_US.UTF-8", or "C"
//   robustSetLocale(locale, NULL);
#pragma once

#include <string>

// Sets `locale` to the locale named by LC_ALL, LC_MESSAGES or LANG (the first
// that is set and not empty), or "C" when none is; a non-empty `locale` on entry
// is kept as it is.
void GetProcessingLocaleSettings(std::string& locale);

// Sets the C library's locale to `locale`, falling back to "C.UTF-8" and then to
// "C" when the system does not know it. The locale actually set is stored in
// `applied` when given.
void robustSetLocale(const std::string& locale, std::string* applied);

// The message language of a locale, lower case with a hyphen: "en_US.UTF-8"
// gives "en-us"; "C", "POSIX" and an empty text give "en-us".
std::string LanguageOfLocale(const std::string& locale);

// The character encoding of the C library's current locale, e.g. "UTF-8".
std::string CurrentLocaleEncoding();
