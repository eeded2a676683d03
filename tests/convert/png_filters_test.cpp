// The filters of PNG files, with every set of instructions that the processor has, against their definition.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>

#include "base/lanes_target.h"
#include "session/outputs/png_filters.h"

namespace zam::session {
namespace {

int prediction(PngFilter filter, int left, int up, int corner) {
    const int p = left + up - corner;
    switch (filter) {
        case PngFilter::none: return 0;
        case PngFilter::sub: return left;
        case PngFilter::up: return up;
        case PngFilter::average: return (left + up) / 2;
        case PngFilter::paeth: break;
    }
    const std::array distances{std::abs(p - left), std::abs(p - up), std::abs(p - corner)};
    return std::array{left, up,
                      corner}[static_cast<std::size_t>(std::ranges::min_element(distances) - distances.begin())];
}

TEST(PngFilters, AreAsDefined) {
    constexpr std::size_t kPixels = 70000;  // most combinations of three neighbours that matter to the last filter
    std::mt19937 random(5);
    for (const std::size_t pixel : {3U, 4U}) {
        PngRow row(kPixels * pixel), above(kPixels * pixel), to(kPixels * pixel);
        for (PngRow* one : {&row, &above}) {
            std::uint64_t level = 0;
            for (std::size_t i = 0; i < kPixels * pixel; ++i) {
                if (random() % 8 == 0) level = random();
                one->data()[i] = static_cast<std::uint8_t>(level + random() % 4);
            }
        }
        for (const std::int64_t target : lanes_targets()) {
            SCOPED_TRACE(hwy::TargetName(target));
            lanes_target().Update(target);
            for (const auto filter :
                 {PngFilter::none, PngFilter::sub, PngFilter::up, PngFilter::average, PngFilter::paeth}) {
                const std::uint64_t sum = filter_row(filter, row, above, pixel, to);
                std::uint64_t expected_sum = 0;
                std::size_t wrong = 0;
                for (std::size_t i = 0; i < row.room(); ++i) {
                    const std::uint8_t *const at = row.data() + i, *const up = above.data() + i;
                    const auto rest =
                        static_cast<std::uint8_t>(*at - prediction(filter, *(at - pixel), *up, *(up - pixel)));
                    expected_sum += static_cast<std::uint64_t>(std::abs(static_cast<std::int8_t>(rest)));
                    wrong += to.data()[i] == rest ? 0U : 1U;
                }
                EXPECT_EQ(wrong, 0U) << static_cast<int>(filter);
                EXPECT_EQ(sum, expected_sum) << static_cast<int>(filter);
            }
        }
        lanes_target().DeInit();
    }
}

}  // namespace
}  // namespace zam::session
