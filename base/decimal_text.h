// Decimal numbers in texts, as the C library reads them in the "C" locale, whatever the program's locale is.
#pragma once

#include <string_view>

namespace zam {

/// The number that a text begins with, as atof reads it: white space, a sign, decimal digits with a point and an
/// exponent, "inf" or "nan"; infinite or 0 beyond the range of double. What follows is ignored; 0 where there is no
/// number. There are no hexadecimal numbers: "0x10" is 0.
double read_decimal(std::string_view text);

}  // namespace zam
