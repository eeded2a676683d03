// Topology of a 512 x 512 field with some 100 critical points: the scan of its cells (cells/s) and the separatrices of
// its saddles (points/s), beside the plain form of both and a copy of the vectors.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <vector>

#include "modules/zam/flow/critical_points.h"
#include "modules/zam/flow/separatrix.h"
#include "tests/plain/topology.h"

namespace {

using namespace zam;  // NOLINT: one small program

constexpr int kNodes = 512;
constexpr double kSpeed = 0.5;  // cells a step where the flow is fastest
constexpr double kRadius = 0.1;

/// A lattice of saddles and weak foci, a little turned so that no component vanishes along a row.
const std::vector<float>& vectors() {
    static const std::vector<float> made = [] {
        std::vector<float> values;
        const double k = 7 * std::numbers::pi / kNodes;
        for (int j = 0; j < kNodes; ++j) {
            for (int i = 0; i < kNodes; ++i) {
                const double x = k * (i + 0.1 * j);
                const double y = k * (j - 0.1 * i);
                values.push_back(static_cast<float>(std::sin(x) * std::cos(y) + 0.05 * std::sin(y)));
                values.push_back(static_cast<float>(-std::cos(x) * std::sin(y) + 0.05 * std::sin(x)));
            }
        }
        return values;
    }();
    return made;
}

topology::VectorGrid grid() { return {vectors().data(), kNodes, kNodes}; }

test::PlainTopology plain() { return {vectors().data(), kNodes, kNodes, 1 / kSpeed, kRadius, {}, {}, {}, {}}; }

void find_and_classify(topology::Skeleton& skeleton) {
    skeleton.interval = 1 / kSpeed;
    skeleton.radius = kRadius;
    skeleton.reset(grid());
    topology::find_critical_points(grid(), skeleton);
    skeleton.critical_num = skeleton.saddle_num = 0;
    for (CriticalPoint& point : skeleton.critical_points) {
        if (point.x == -1.0) break;
        point.kind = topology::classify_critical_point(grid(), point, skeleton);
        if (point.kind == 0.0) skeleton.append_entry(point.x, point.y);
        ++skeleton.critical_num;
    }
}

void copy_vectors(benchmark::State& state) {
    std::vector<float> to(vectors().size());
    for (auto _ : state) {
        std::memcpy(to.data(), vectors().data(), to.size() * sizeof(float));
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

void count_cells(benchmark::State& state) {
    const double cells = static_cast<double>(state.iterations()) * (kNodes - 1) * (kNodes - 1);
    state.counters["cells/s"] = benchmark::Counter(cells, benchmark::Counter::kIsRate);
}

void scan_plain(benchmark::State& state) {
    for (auto _ : state) {
        auto scan = plain();
        for (int j = 0; j < kNodes - 1; ++j) {
            for (int i = 0; i < kNodes - 1; ++i) scan.scan_cell(i, j);
        }
        benchmark::DoNotOptimize(scan.points.data());
    }
    count_cells(state);
}

void scan(benchmark::State& state) {
    topology::Skeleton skeleton({saddle_list_head, saddle_list});
    for (auto _ : state) {
        skeleton.critical_points.fill({-1.0, -1.0, -1.0, -1.0});
        benchmark::DoNotOptimize(topology::find_critical_points(grid(), skeleton));
    }
    count_cells(state);
}

void report_points(benchmark::State& state, std::size_t points, std::size_t separatrices, std::size_t zeros) {
    state.counters["points/s"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * static_cast<double>(points), benchmark::Counter::kIsRate);
    state.counters["separatrices"] = static_cast<double>(separatrices);
    state.counters["zeros"] = static_cast<double>(zeros);
}

void skeleton_plain(benchmark::State& state) {
    std::size_t points = 0, separatrices = 0, zeros = 0;
    for (auto _ : state) {
        auto whole = plain();
        whole.run();
        points = 0;
        for (const auto& line : whole.lines) points += line.size();
        separatrices = whole.lines.size();
        zeros = whole.points.size();
    }
    report_points(state, points, separatrices, zeros);
}

void skeleton(benchmark::State& state) {
    topology::Skeleton whole({saddle_list_head, saddle_list});
    for (auto _ : state) {
        find_and_classify(whole);
        topology::trace_separatrices(grid(), whole);
        benchmark::DoNotOptimize(whole.streamlines.size());
    }
    auto check = plain();
    check.run();
    std::size_t points = 0;
    for (const auto& line : check.lines) points += line.size();
    if (points != whole.points.size()) state.SkipWithError("not what the plain form gives");
    report_points(state, whole.points.size(), whole.streamlines.size(), static_cast<std::size_t>(whole.critical_num));
    whole.reset(grid());
}

}  // namespace

BENCHMARK(copy_vectors)->Unit(benchmark::kMicrosecond);
BENCHMARK(scan_plain)->Unit(benchmark::kMicrosecond);
BENCHMARK(scan)->Unit(benchmark::kMicrosecond);
BENCHMARK(skeleton_plain)->Unit(benchmark::kMicrosecond);
BENCHMARK(skeleton)->Unit(benchmark::kMicrosecond);
