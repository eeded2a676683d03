// Vectors of a curvilinear grid into index space: the loop, the module, the plain form, and a memory copy of as many
// bytes as the loop reads and writes.
#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/host_array.h"
#include "modules/zam/flow/index_space.h"
#include "tests/plain/jacobi.h"

namespace {

namespace host = zam::host;

template <int N>
struct Grid {
    std::array<xp_long, N> dims;
    std::vector<float> positions, vectors;

    xp_long nodes() const { return static_cast<xp_long>(vectors.size()) / N; }
};

/// A cube of nodes shifted at random, with random vectors.
template <int N>
Grid<N> make_grid(xp_long side) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> shift(-0.3F, 0.3F);
    Grid<N> grid;
    grid.dims.fill(side);
    xp_long nodes = 1;
    for (const xp_long n : grid.dims) nodes *= n;
    for (xp_long node = 0; node < nodes; ++node) {
        for (xp_long c = 0, index = node; c < N; ++c, index /= side) {
            grid.positions.push_back(static_cast<float>(index % side) + shift(random));
            grid.vectors.push_back(shift(random));
        }
    }
    return grid;
}

void set_rate(benchmark::State& state, xp_long nodes) {
    state.counters["nodes/s"] =
        benchmark::Counter(static_cast<double>(nodes), benchmark::Counter::kIsIterationInvariantRate);
}

template <int N>
void index_space(benchmark::State& state) {
    const auto grid = make_grid<N>(state.range(0));
    std::vector<float> result(grid.vectors.size());
    for (auto _ : state) zam::to_index_space<N>(grid.dims, grid.positions, grid.vectors, result);
    if (result != zam::plain_index_space<N>(grid.dims, grid.positions, grid.vectors))
        state.SkipWithError("differs from the plain form");
    set_rate(state, grid.nodes());
}

template <int N>
void plain(benchmark::State& state) {
    const auto grid = make_grid<N>(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(zam::plain_index_space<N>(grid.dims, grid.positions, grid.vectors).data());
    set_rate(state, grid.nodes());
}

template <int N>
void memory_copy(benchmark::State& state) {
    const auto grid = make_grid<N>(state.range(0));
    const std::size_t values = grid.vectors.size() * 3 / 2;  // read and written: positions, vectors, result
    const std::vector<float> from(values, 1.0F);
    std::vector<float> to(values);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), values * sizeof(float));
        benchmark::ClobberMemory();
    }
    set_rate(state, grid.nodes());
}

float* handed(const std::vector<float>& values) {
    auto array = zam::OutArray<float>::allocate(static_cast<xp_long>(values.size()));
    std::memcpy(array.data(), values.data(), values.size() * sizeof(float));
    return array.release();
}

template <int N>
void module_update(benchmark::State& state) {
    const auto grid = make_grid<N>(state.range(0));
    const auto size = static_cast<xp_long>(grid.vectors.size());
    host::reset();
    const OMobj_id instance = host::create(host::root(), "jacobi", host::Kind::group);
    const OMobj_id field = host::create(instance, "fld_in", host::Kind::field);
    host::create(instance, "fld_out", host::Kind::field);
    FLDset_ndim(field, N);
    FLDset_dims(field, grid.dims.data());
    FLDset_nspace(field, N);
    FLDset_coord(field, handed(grid.positions), size, ARR_HOST_OWNS);
    FLDset_node_data_veclen(field, 0, N);
    FLDset_node_data(field, 0, handed(grid.vectors), DTYPE_FLOAT, size, ARR_HOST_OWNS);
    for (auto _ : state) {
        if (ZAMjacobiTransVec_comp_func(instance, 0, 0) != 1) state.SkipWithError("the module failed");
    }
    host::reset();
    set_rate(state, grid.nodes());
}

}  // namespace

BENCHMARK(memory_copy<3>)->Arg(128)->Unit(benchmark::kMillisecond);
BENCHMARK(index_space<3>)->Arg(128)->Unit(benchmark::kMillisecond);
BENCHMARK(module_update<3>)->Arg(128)->Unit(benchmark::kMillisecond);
BENCHMARK(plain<3>)->Arg(128)->Unit(benchmark::kMillisecond);
BENCHMARK(memory_copy<2>)->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(index_space<2>)->Arg(1024)->Unit(benchmark::kMillisecond);
BENCHMARK(plain<2>)->Arg(1024)->Unit(benchmark::kMillisecond);
