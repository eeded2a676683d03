// The host's view on one core, 512 x 512 pixels: a surface of a million small triangles, a block of a million cells of
// which the outer faces are seen, and a stack of large squares, each nearer than the one before, so that every pixel is
// written once a square. Beside them, filling as many pixels and depths as the squares do without looking at anything.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "embedded/view/view.h"

namespace {

namespace host = zam::host;

constexpr xp_long kPixels = 512;
constexpr xp_long kSquares = 32;

template <class T>
T* handed(int type, const std::vector<T>& values) {
    auto* array =
        static_cast<T*>(ARRalloc_f(nullptr, type, static_cast<xp_long>(values.size()), 0, __FILE__, __LINE__));
    std::copy(values.begin(), values.end(), array);
    return array;
}

struct Mesh {
    std::vector<float> coord;
    std::vector<xp_long> connect;
};

/// An instance that draws one mesh, looked at aslant.
OMobj_id make_instance(const char* type, const Mesh& mesh, xp_long nodes_per_cell, float scale) {
    host::reset();
    const OMobj_id instance = host::create(host::root(), "view", host::Kind::group);
    host::create(instance, "out", host::Kind::field);
    const OMobj_id xform = host::create(instance, "xform", host::Kind::group);
    const float mat[16] = {scale, 0, 0, 0, 0, 0.8F * scale, -0.6F * scale, 0, 0, 0.6F * scale, 0.8F * scale,
                           0,     0, 0, 0, 1};
    host::set_values(host::create(xform, "mat", host::Kind::array), DTYPE_FLOAT, mat, 16);
    const OMobj_id field = host::create(instance, "objects", host::Kind::field);
    FLDset_nnodes(field, static_cast<xp_long>(mesh.coord.size() / 3));
    FLDset_nspace(field, 3);
    FLDset_coord(field, handed(DTYPE_FLOAT, mesh.coord), static_cast<xp_long>(mesh.coord.size()), ARR_HOST_OWNS);
    OMobj_id cells{};
    FLDadd_cell_set(field, type);
    FLDget_cell_set(field, 0, &cells);
    const auto size = static_cast<xp_long>(mesh.connect.size());
    FLDset_ncells(cells, size / nodes_per_cell);
    FLDset_node_connect(cells, handed(DTYPE_LONG, mesh.connect), size, ARR_HOST_OWNS);
    return instance;
}

void draw(benchmark::State& state, OMobj_id instance, const char* unit, xp_long per_picture) {
    for (auto _ : state) {
        if (host_view(instance, 0, 0) != 1) state.SkipWithError("nothing was drawn");
    }
    state.counters[unit] =
        benchmark::Counter(static_cast<double>(per_picture), benchmark::Counter::kIsIterationInvariantRate);
}

void small_triangles(benchmark::State& state) {
    constexpr xp_long kSide = 708;
    Mesh mesh;
    for (xp_long j = 0; j < kSide; ++j)
        for (xp_long i = 0; i < kSide; ++i) {
            const float x = static_cast<float>(i) / kSide - 0.5F;
            const float y = static_cast<float>(j) / kSide - 0.5F;
            mesh.coord.insert(mesh.coord.end(), {x, y, 0.1F * std::sin(12 * x) * std::cos(12 * y)});
            const xp_long a = j * kSide + i;
            if (i + 1 < kSide && j + 1 < kSide)
                mesh.connect.insert(mesh.connect.end(), {a, a + 1, a + kSide + 1, a, a + kSide + 1, a + kSide});
        }
    draw(state, make_instance("Tri", mesh, 3, 0.9F), "triangles/s", static_cast<xp_long>(mesh.connect.size() / 3));
}

void volume_cells(benchmark::State& state) {
    constexpr xp_long kSide = 101;
    Mesh mesh;
    for (xp_long k = 0; k < kSide; ++k)
        for (xp_long j = 0; j < kSide; ++j)
            for (xp_long i = 0; i < kSide; ++i) {
                for (const xp_long at : {i, j, k}) mesh.coord.push_back(static_cast<float>(at) / kSide - 0.5F);
                if (std::max({i, j, k}) + 1 == kSide) continue;
                const xp_long a = (k * kSide + j) * kSide + i;
                const xp_long b = a + kSide * kSide;
                mesh.connect.insert(mesh.connect.end(),
                                    {a, a + 1, a + kSide + 1, a + kSide, b, b + 1, b + kSide + 1, b + kSide});
            }
    draw(state, make_instance("Hex", mesh, 8, 0.6F), "cells/s", static_cast<xp_long>(mesh.connect.size() / 8));
}

void large_squares(benchmark::State& state) {
    Mesh mesh;
    for (xp_long i = 0; i < kSquares; ++i) {
        const float z = static_cast<float>(i) / kSquares;
        for (const auto& [x, y] : {std::pair{-3.F, -3.F}, {3.F, -3.F}, {3.F, 3.F}, {-3.F, 3.F}})
            mesh.coord.insert(mesh.coord.end(), {x, y, z});
        for (xp_long corner = 0; corner < 4; ++corner) mesh.connect.push_back(4 * i + corner);
    }
    draw(state, make_instance("Quad", mesh, 4, 1.0F), "pixels/s", kSquares * kPixels * kPixels);
}

void fill_only(benchmark::State& state) {
    std::vector<std::uint32_t> pixels(kPixels * kPixels);
    std::vector<float> depths(kPixels * kPixels);
    for (auto _ : state) {
        for (xp_long i = 0; i < kSquares; ++i) {
            std::fill(pixels.begin(), pixels.end(), static_cast<std::uint32_t>(i));
            std::fill(depths.begin(), depths.end(), static_cast<float>(i));
            benchmark::DoNotOptimize(pixels.data());
            benchmark::DoNotOptimize(depths.data());
        }
    }
    state.counters["pixels/s"] = benchmark::Counter(static_cast<double>(kSquares * kPixels * kPixels),
                                                    benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK(small_triangles)->Unit(benchmark::kMillisecond);
BENCHMARK(volume_cells)->Unit(benchmark::kMillisecond);
BENCHMARK(large_squares)->Unit(benchmark::kMillisecond);
BENCHMARK(fill_only)->Unit(benchmark::kMillisecond);

}  // namespace
