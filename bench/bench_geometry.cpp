// Geometry and utilities: each loop beside its plain form, and a memory copy of as many bytes as the result has.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "modules/zam/cropbind.h"
#include "modules/zam/revolve_c.h"
#include "modules/zam/threshcolor.h"
#include "tests/plain/geometry.h"

namespace {

void set_rate(benchmark::State& state, std::size_t nodes) {
    state.counters["nodes/s"] =
        benchmark::Counter(static_cast<double>(nodes), benchmark::Counter::kIsIterationInvariantRate);
}

/// Measures a loop that fills `size` values, and checks them against the plain form's.
template <class T, class Loop>
void measure(benchmark::State& state, const std::vector<T>& expected, std::size_t nodes, Loop&& loop) {
    std::vector<T> result(expected.size());
    for (auto _ : state) {
        loop(std::span<T>(result));
        benchmark::ClobberMemory();
    }
    if (std::memcmp(result.data(), expected.data(), result.size() * sizeof(T)) != 0)
        state.SkipWithError("differs from the plain form");
    set_rate(state, nodes);
}

template <class Plain>
void measure_plain(benchmark::State& state, std::size_t nodes, Plain&& plain) {
    for (auto _ : state) benchmark::DoNotOptimize(plain().data());
    set_rate(state, nodes);
}

void memory_copy(benchmark::State& state) {
    const auto bytes_a_node = static_cast<std::size_t>(state.range(1));
    const auto nodes = static_cast<std::size_t>(state.range(0));
    const std::vector<std::byte> from(nodes * bytes_a_node, std::byte{1});
    measure(state, from, nodes, [&](auto to) { std::memcpy(to.data(), from.data(), from.size()); });
}

const zam::Cone kCone{1'000'000, 1, 2, 3};

void cone(benchmark::State& state) {
    measure(state, zam::plain_cone_nodes(kCone), 1'000'000, [](auto coord) { zam::cone_nodes(kCone, coord); });
}
void cone_plain(benchmark::State& state) {
    measure_plain(state, 1'000'000, [] { return zam::plain_cone_nodes(kCone); });
}

constexpr int kResolution = 1000;
constexpr std::size_t kRings = 1000;

std::vector<float> make_profile() {
    std::vector<float> profile;
    for (std::size_t p = 0; p < kRings; ++p) {
        profile.push_back(static_cast<float>(p));
        profile.push_back(1 + static_cast<float>(p % 7));
    }
    return profile;
}
void revolve(benchmark::State& state) {
    const auto profile = make_profile();
    const bool smooth = state.range(0) != 0;
    const auto expected = zam::plain_revolve_nodes(profile, kResolution, smooth);
    measure(state, expected, expected.size() / 3,
            [&](auto coord) { zam::revolve_nodes(profile, kResolution, smooth, coord); });
}
void revolve_plain(benchmark::State& state) {
    const auto profile = make_profile();
    measure_plain(state, kRings * kResolution, [&] { return zam::plain_revolve_nodes(profile, kResolution, true); });
}

zam::Sector make_sector(int axis) { return {axis, 30, 120, {128, 128, 64}, {10, 20, 30}}; }
constexpr std::size_t kVolume = 128 * 128 * 64;

void cylinder(benchmark::State& state) {
    const auto sector = make_sector(static_cast<int>(state.range(0)));
    measure(state, zam::plain_bend_nodes(sector), kVolume, [&](auto coord) { zam::bend_nodes(sector, coord); });
}
void cylinder_plain(benchmark::State& state) {
    const auto sector = make_sector(static_cast<int>(state.range(0)));
    measure_plain(state, kVolume, [&] { return zam::plain_bend_nodes(sector); });
}

std::vector<std::byte> make_bytes(std::size_t count) {
    std::mt19937 random(1);
    std::vector<std::byte> bytes(count);
    for (auto& byte : bytes) byte = static_cast<std::byte>(random());
    return bytes;
}

constexpr std::array<xp_long, 3> kFolded{128, 128, 64};

void fold(benchmark::State& state) {
    const auto volume = make_bytes(kVolume);
    measure(state, zam::plain_fold(volume, kFolded, 64, kVolume), kVolume,
            [&](auto folded) { zam::fold_volume(volume, kFolded, 64, folded); });
}
void fold_plain(benchmark::State& state) {
    const auto volume = make_bytes(kVolume);
    measure_plain(state, kVolume, [&] { return zam::plain_fold(volume, kFolded, 64, kVolume); });
}

void luminance(benchmark::State& state) {
    const auto colors = make_bytes(4 * kVolume);
    measure(state, zam::plain_luminance(colors, 4, kVolume, 0, 255), kVolume,
            [&](auto to) { zam::append_luminance(colors, 4, kVolume, 0, 255, to); });
}
void luminance_plain(benchmark::State& state) {
    const auto colors = make_bytes(4 * kVolume);
    measure_plain(state, kVolume, [&] { return zam::plain_luminance(colors, 4, kVolume, 0, 255); });
}

}  // namespace

BENCHMARK(memory_copy)->Args({1'000'000, 12})->Args({kVolume, 12})->Args({kVolume, 1})->Args({kVolume, 5});
BENCHMARK(cone);
BENCHMARK(cone_plain);
BENCHMARK(revolve)->Arg(1)->Arg(0);
BENCHMARK(revolve_plain);
BENCHMARK(cylinder)->Arg(0)->Arg(1);
BENCHMARK(cylinder_plain)->Arg(0);
BENCHMARK(fold);
BENCHMARK(fold_plain);
BENCHMARK(luminance);
BENCHMARK(luminance_plain);
