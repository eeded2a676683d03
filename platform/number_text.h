// Numbers as texts with a decimal point, whatever the process' locale says.
#pragma once

#include <cstdlib>

#if defined(_WIN32)
#include <locale.h>  // NOLINT(modernize-deprecated-headers): _create_locale
#else
#include <locale.h>  // NOLINT(modernize-deprecated-headers): newlocale
#endif

namespace zam::platform {

/// As strtod in the C locale.
inline double parse_real(const char* text) {
#if defined(_WIN32)
    static const _locale_t locale = _create_locale(LC_ALL, "C");
    return _strtod_l(text, nullptr, locale);
#else
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale ? strtod_l(text, nullptr, locale) : std::strtod(text, nullptr);
#endif
}

}  // namespace zam::platform
