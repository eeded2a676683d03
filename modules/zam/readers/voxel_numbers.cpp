#include "modules/zam/readers/voxel_numbers.h"

#include "base/decimal_text.h"

namespace zam::voxel {
namespace {

template <char kSeparator>
int count_fields(std::string_view line) {
    Fields<kSeparator> fields(line);
    float number = 0.0F;
    int count = 0;
    while (fields.next(number) != Fields<kSeparator>::Next::end) ++count;
    return count;
}

}  // namespace

float to_number(std::string_view field) { return static_cast<float>(read_decimal(field)); }

char separator_of(std::string_view line) { return line.find(',') == std::string_view::npos ? ' ' : ','; }

int count_fields(std::string_view line, char separator) {
    return separator == ',' ? count_fields<','>(line) : count_fields<' '>(line);
}

}  // namespace zam::voxel
