// Geometry and utilities: each loop, and a memory copy of as many bytes as the result has.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <span>
#include <vector>

#include "modules/zam/cone.h"
#include "modules/zam/cropbind.h"
#include "modules/zam/revolve_c.h"
#include "modules/zam/threshcolor.h"
#include "modules/zam/uni2cylinder.h"

namespace {

/// Measures a loop that fills `size` values.
template <class T, class Loop>
void measure(benchmark::State& state, std::size_t size, std::size_t nodes, Loop&& loop) {
    std::vector<T> result(size);
    for (auto _ : state) {
        loop(std::span<T>(result));
        benchmark::ClobberMemory();
    }
    state.counters["nodes/s"] =
        benchmark::Counter(static_cast<double>(nodes), benchmark::Counter::kIsIterationInvariantRate);
}

void memory_copy(benchmark::State& state) {
    const auto bytes_per_node = static_cast<std::size_t>(state.range(1));
    const auto nodes = static_cast<std::size_t>(state.range(0));
    const std::vector<std::byte> from(nodes * bytes_per_node, std::byte{1});
    measure<std::byte>(state, from.size(), nodes, [&](auto to) { std::memcpy(to.data(), from.data(), from.size()); });
}

void cone(benchmark::State& state) {
    constexpr zam::Cone kCone{1'000'000, 1, 2, 3};
    measure<float>(state, 3 * 1'000'002, 1'000'000, [&](auto coord) { zam::cone_nodes(kCone, coord); });
}

void revolve(benchmark::State& state) {
    constexpr int kResolution = 1000;
    constexpr std::size_t kPoints = 1000;
    std::vector<float> profile;
    for (std::size_t p = 0; p < kPoints; ++p) {
        profile.push_back(static_cast<float>(p));
        profile.push_back(1 + static_cast<float>(p % 7));
    }
    const bool smooth = state.range(0) != 0;
    const std::size_t nodes = kResolution * (smooth ? kPoints : 2 * (kPoints - 1));
    measure<float>(state, 3 * nodes, nodes,
                   [&](auto coord) { zam::revolve_nodes(profile, kResolution, smooth, coord); });
}

constexpr std::size_t kVolume = 128 * 128 * 64;

void cylinder(benchmark::State& state) {
    const zam::Sector sector{static_cast<int>(state.range(0)), 30, 120, {128, 128, 64}, {10, 20, 30}};
    measure<float>(state, 3 * kVolume, kVolume, [&](auto coord) { zam::bend_nodes(sector, coord); });
}

std::vector<std::byte> make_bytes(std::size_t count) {
    std::mt19937 random(1);
    std::vector<std::byte> bytes(count);
    for (auto& byte : bytes) byte = static_cast<std::byte>(random());
    return bytes;
}

void fold(benchmark::State& state) {
    constexpr std::array<xp_long, 3> kDims{128, 128, 64};
    const auto volume = make_bytes(kVolume);
    measure<std::byte>(state, kVolume, kVolume, [&](auto folded) { zam::fold_volume(volume, kDims, 64, folded); });
}

void luminance(benchmark::State& state) {
    const auto colors = make_bytes(4 * kVolume);
    measure<std::byte>(state, 5 * kVolume, kVolume,
                       [&](auto to) { zam::append_luminance(colors, 4, kVolume, 0, 255, to); });
}

}  // namespace

BENCHMARK(memory_copy)->Args({1'000'000, 12})->Args({kVolume, 12})->Args({kVolume, 1})->Args({kVolume, 5});
BENCHMARK(cone);
BENCHMARK(revolve)->Arg(1)->Arg(0);
BENCHMARK(cylinder)->Arg(0)->Arg(1);
BENCHMARK(fold);
BENCHMARK(luminance);
