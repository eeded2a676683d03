// Conversions of fields, with every set of instructions that the processor has, against their description value by
// value.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "base/element_types.h"
#include "base/lanes_target.h"
#include "session/convert/sources.h"
#include "tests/plain/convert.h"

namespace zam::test {
namespace {

using namespace zam::session;

/// Values where lanes could differ: ends of types, halves, both zeros, nulls and what is no number, in no order.
template <class T>
std::vector<T> awkward_values(std::size_t count) {
    using Limits = std::numeric_limits<T>;
    std::vector<T> some{
        Limits::lowest(), Limits::max(), T{0}, T{1}, T{7}, T{100}, static_cast<T>(Limits::max() - T{1})};
    if constexpr (std::is_floating_point_v<T>) {
        some.insert(some.end(),
                    {-T{0}, T{0.5}, T{1.5}, T{-2.5}, T{127.5}, T{128.5}, Limits::denorm_min(), Limits::min(),
                     Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(), -Limits::quiet_NaN()});
    }
    std::mt19937 random(3);
    std::vector<T> values(count);
    for (T& value : values)
        value = random() % 2 == 0 ? some[random() % some.size()] : static_cast<T>(static_cast<int>(random() % 256));
    return values;
}

/// Calls `use` with each target, element type and null value, or none.
template <class Use>
void for_each_case(Use use) {
    for (const std::int64_t target : lanes_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        lanes_target().Update(target);
        for (int type = DTYPE_BYTE; is_type(type); ++type) {
            SCOPED_TRACE(type_name(type));
            with_type(type, [&](auto zero) {
                using T = decltype(zero);
                use(std::optional<T>());
                use(std::optional(T{7}));
                use(std::optional(static_cast<T>(std::numeric_limits<T>::max() - T{1})));  // of long: no double
                if constexpr (std::is_floating_point_v<T>) use(std::optional(std::numeric_limits<T>::quiet_NaN()));
            });
        }
    }
    lanes_target().DeInit();
}

template <class T>
ComponentValue component(std::span<const T> values, const std::optional<T>& null_value, int veclen = 1) {
    ComponentValue made;
    made.veclen = veclen;
    made.type = kTypeCode<T>;
    made.values = array_of(kTypeCode<T>, values);
    if (null_value) made.null_value = array_of(kTypeCode<T>, std::span<const T>(&*null_value, 1));
    return made;
}

template <class T>
void expect_same(const std::vector<T>& values, const std::vector<T>& expected) {
    for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_EQ(std::memcmp(&values[i], &expected[i], sizeof(T)), 0)
            << i << ": " << +values[i] << ", " << +expected[i];
}

TEST(Convert, ScalesLikeOneValueAfterTheOther) {
    constexpr double kMax = std::numeric_limits<double>::max();
    const std::array<double, 2> ranges[] = {{10, 300}, {0, 255},  {100, -100}, {-1e300, kMax}, {-kMax, kMax},
                                            {7, 7},    {0, -0.0}, {0, 5e-324}, {-1e19, 1e19}};
    for_each_case([&]<class From>(const std::optional<From>& null_value) {
        const auto values = awkward_values<From>(300);
        const auto from = component(std::span<const From>(values), null_value);
        const auto scale_to = [&]<class To>(To /*zero*/) {
            for (const auto& range : ranges) {
                const auto scaled_values = scaled(from, kTypeCode<To>, std::make_shared<ValueRange>(range));
                std::vector<To> expected(values.size());
                std::transform(values.begin(), values.end(), expected.begin(),
                               [&](From value) { return plain_scaled<To>(value, null_value, range); });
                std::vector<To> result(values.size());
                // of every length, from and to any place
                for (std::size_t first = 0, length = 0; first < values.size();
                     first += length, length = length % 130 + 1) {
                    length = std::min(length, values.size() - first);
                    copy_values(scaled_values, static_cast<xp_long>(first), static_cast<xp_long>(length),
                                result.data() + first);
                }
                expect_same(result, expected);
            }
        };
        for (const int type : {DTYPE_BYTE, DTYPE_SHORT, DTYPE_INT, DTYPE_LONG}) {
            with_type(type, [&](auto zero) {
                if constexpr (std::is_integral_v<decltype(zero)>) scale_to(zero);
            });
        }
    });
}

TEST(Convert, FindsTheRangeOfWhatIsFiniteAndNotNull) {
    for_each_case([]<class T>(const std::optional<T>& null_value) {
        const auto all = awkward_values<T>(400);
        for (std::size_t length = 0; length <= 130; ++length) {
            const auto values = std::span<const T>(all).subspan(2 * length, length);
            std::array<double, 2> range{};
            ValueRange({array_of(kTypeCode<T>, values)}, component(values, null_value).null_value).find(range);
            EXPECT_EQ(range, plain_range(values, null_value)) << length << " values";
            EXPECT_FALSE(std::signbit(range[0]) && range[0] == 0.0);
        }
    });
}

TEST(Convert, ResamplesLikeOneNodeAfterTheOther) {
    struct Case {
        std::vector<xp_long> dims, nodes;
        int veclen;
    };
    const Case cases[] = {
        {{17, 5, 4}, {33, 9, 3}, 1}, {{40, 9, 7}, {11, 2, 3}, 1}, {{9, 6}, {9, 11}, 3}, {{1, 3, 2}, {5, 3, 1}, 2}};
    for_each_case([&]<class T>(const std::optional<T>& null_value) {
        for (const auto& [dims, nodes, veclen] : cases) {
            std::size_t count = static_cast<std::size_t>(veclen);
            std::vector<AxisWeights> axes;
            for (std::size_t axis = 0; axis < dims.size(); ++axis) {
                axes.push_back(resample_axis({}, dims[axis], nodes[axis]));
                count *= static_cast<std::size_t>(dims[axis]);
            }
            const auto values = awkward_values<T>(count);
            const auto from = component(std::span<const T>(values), null_value, veclen);
            const NumberArray array = resampled(from, dims, axes);
            std::vector<T> expected;
            for (xp_long i = 0; i < array.count; ++i) {
                const auto node = static_cast<std::size_t>(i / veclen), nx = axes[0].low.size(),
                           ny = axes[1].low.size();
                expected.push_back(plain_resampled<T>(values, veclen, null_value, dims, axes,
                                                      {node % nx, node / nx % ny, node / nx / ny}, i % veclen));
            }
            std::vector<T> result(expected.size());
            copy_values(array, result.data());
            expect_same(result, expected);
            std::fill(result.begin(), result.end(), T{});
            copy_values(resampled(from, dims, axes, 1), result.data());  // keeps no more than it must
            expect_same(result, expected);
            std::fill(result.begin(), result.end(), T{});
            copy_values(array, 5, array.count - 7, result.data() + 5);  // begins and ends within rows
            expect_same(std::vector<T>(result.begin() + 5, result.end() - 2),
                        std::vector<T>(expected.begin() + 5, expected.end() - 2));
        }
    });
}

}  // namespace
}  // namespace zam::test
