// The tracer's four marchers on one core: a volume of 256^3 nodes into 512 x 512 pixels, beside the plain form of the
// same walk. Both must give the same image.
//
// sparse: a thin shell, the rest transparent. dense: nearly every node has some opacity, and hardly a ray saturates, so
// that nearly every cell has to be classified and added.
//
// lone: one ray at a time through the exported single-ray marchers, into 64 x 64 pixels, for callers that pick or
// probe.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "modules/zam/tracer.h"
#include "tests/plain/tracer.h"

namespace {

constexpr int kNodes = 256;
constexpr int kPixels = 512;

/// A volume in both layouts with its table; what the rays cross is made once.
struct Volume {
    explicit Volume(bool dense) : table(256) {
        for (int i = 0; i < 256; ++i) {
            const auto level = static_cast<float>(i);
            table[static_cast<std::size_t>(i)] = {dense ? level * 4e-5F : i < 128 ? 0 : 0.2F, level, 255 - level, 128};
        }
        std::uint32_t noise = 1;
        for (int z = 0; z < kNodes; ++z)
            for (int y = 0; y < kNodes; ++y)
                for (int x = 0; x < kNodes; ++x) {
                    noise = noise * 1664525U + 1013904223U;
                    const double radius = std::hypot(x - 128, y - 128, z - 128);
                    const bool shell = radius > 80 && radius < 83;
                    const auto value = static_cast<std::uint8_t>(dense ? 20 + noise % 32 : shell ? 200 : noise % 50);
                    bytes.push_back(value);
                    // 1 is the least opacity that a byte has: a third of the nodes goes without, or rays saturate
                    const int opacity = dense ? std::min(x % 3, 1) : shell ? 50 : 0;
                    rgba.insert(rgba.end(), {static_cast<std::uint8_t>(opacity), value,
                                             static_cast<std::uint8_t>(255 - value), 128});
                }
    }
    std::vector<std::uint8_t> bytes, rgba;
    std::vector<TracerColor> table;
};

struct Case {
    bool dense, interpolate, perspective;
    int veclen;

    std::string name() const {
        return std::string(interpolate ? "faces" : "cells") + (veclen == 4 ? "/rgba" : "/table") +
               (dense ? "/dense" : "/sparse") + (perspective ? "/perspective" : "/parallel");
    }
};

const Volume& volume(bool dense) {
    static std::unique_ptr<Volume> volumes[2];
    auto& volume = volumes[dense];
    if (!volume) volume = std::make_unique<Volume>(dense);
    return *volume;
}

plain::Scene make_scene(const Case& c) {
    // turned about two axes, so that rays cross all three kinds of faces
    static const float inverse[16] = {0.825F,  0.319F, 0.466F, 0, 0,     0.825F, -0.565F, 0,
                                      -0.565F, 0.466F, 0.681F, 0, 0.02F, 0.01F,  0,       1};
    const Volume& v = volume(c.dense);
    const auto& nodes = c.veclen == 4 ? v.rgba : v.bytes;
    return {nodes.data(),
            {kNodes, kNodes, kNodes},
            c.veclen,
            reinterpret_cast<const float(*)[4]>(v.table.data()),
            nullptr,
            1,
            c.perspective ? 0.5 : 0,
            inverse,
            kPixels,
            kPixels,
            c.interpolate};
}

void render_module(const plain::Scene& s, std::uint8_t* image) {
    (s.interpolate ? interp_loop : inner_loop)(image, 0, s.height, s.width, s.height, s.inverse, s.nodes, kNodes,
                                               kNodes, kNodes, kNodes, s.fptr,
                                               reinterpret_cast<const TracerColor*>(s.table), s.veclen, s.a_scale);
}

void bench(benchmark::State& state, const Case& c, bool with_plain) {
    const plain::Scene scene = make_scene(c);
    std::vector<std::uint8_t> expected(plain::image_size(scene)), image(expected.size());
    const auto cells = static_cast<double>(plain::render(scene, expected.data()));
    for (auto _ : state) {
        if (with_plain)
            plain::render(scene, image.data());
        else
            render_module(scene, image.data());
        benchmark::ClobberMemory();
    }
    if (image != expected) state.SkipWithError("the image is not the plain tracer's");
    const auto runs = static_cast<double>(state.iterations());
    state.counters["rays/s"] = benchmark::Counter(runs * kPixels * kPixels, benchmark::Counter::kIsRate);
    state.counters["cells/s"] = benchmark::Counter(runs * cells, benchmark::Counter::kIsRate);
}

/// A corner of n^3 nodes, one ray per iteration.
void bench_lone(benchmark::State& state, const Case& c, int n, bool with_plain) {
    plain::Scene scene = make_scene(c);
    std::fill_n(scene.n, 3, n);
    scene.width = scene.height = 64;
    std::vector<std::uint8_t> expected(plain::image_size(scene)), image(expected.size());
    plain::render(scene, expected.data());
    std::vector<plain::Ray> rays;
    for (int row = 0; row < scene.height; ++row)
        for (int column = 0; column < scene.width; ++column) rays.push_back(plain::make_ray(scene, column, row));
    const auto* table = reinterpret_cast<const TracerColor*>(scene.table);
    const auto trace = [&](std::size_t i) {
        std::uint8_t* pixel = &image[4 * i];
        const auto* ray = reinterpret_cast<const TracerRay*>(&rays[i]);
        if (c.veclen == 4)
            (c.interpolate ? interp_trace_volume : trace_volume)(pixel, ray, scene.nodes, n, n, n, scene.a_scale);
        else
            (c.interpolate ? interp_trace_byte_volume : trace_byte_volume)(pixel, ray, scene.nodes, n, n, n, table,
                                                                           scene.a_scale);
    };
    for (std::size_t i = 0; i < rays.size(); ++i) trace(i);
    if (image != expected) state.SkipWithError("the pixels are not the plain tracer's");
    std::size_t next = 0;
    std::int64_t cells = 0;
    for (auto _ : state) {
        next = (next + 1) % rays.size();
        if (with_plain)
            benchmark::DoNotOptimize(plain::trace(scene, rays[next], cells));
        else
            trace(next);
        benchmark::ClobberMemory();
    }
}

const bool kRegistered = [] {
    for (const int n : {16, kNodes})
        for (const int veclen : {1, 4})
            for (const bool interpolate : {false, true})
                for (const bool with_plain : {false, true}) {
                    const Case c{false, interpolate, true, veclen};
                    const auto run = [=](benchmark::State& state) { bench_lone(state, c, n, with_plain); };
                    const std::string name =
                        "lone/" + std::to_string(n) + "/" + c.name() + (with_plain ? "/plain" : "");
                    benchmark::RegisterBenchmark(name.c_str(), run);
                }
    for (const bool dense : {false, true})
        for (const int veclen : {1, 4})
            for (const bool interpolate : {false, true})
                for (const bool perspective : {false, true})
                    for (const bool with_plain : {false, true}) {
                        const Case c{dense, interpolate, perspective, veclen};
                        const auto run = [=](benchmark::State& state) { bench(state, c, with_plain); };
                        benchmark::RegisterBenchmark((c.name() + (with_plain ? "/plain" : "")).c_str(), run)
                            ->Unit(benchmark::kMillisecond);
                    }
    return true;
}();

}  // namespace
