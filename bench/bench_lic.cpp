// Line integral convolution of a smooth flow with vortices and saddles, 1024 x 1024 pixels, through the module, beside
// the plain form of the same steps. Both make the same bytes; that is checked before anything is measured.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/host_array.h"
#include "modules/zam/lic_texture.h"
#include "tests/plain/lic.h"

namespace {

namespace host = zam::host;

constexpr int kSize = 1024;
constexpr double kBlack = 0.5;

enum Mode { kBox, kRipple, kMagnitude };

const std::vector<float>& vectors() {
    static const std::vector<float> made = [] {
        std::vector<float> v;
        v.reserve(2 * kSize * kSize);
        for (int j = 0; j < kSize; ++j)
            for (int i = 0; i < kSize; ++i) {
                const double x = 2 * std::numbers::pi * i / kSize;
                const double y = 2 * std::numbers::pi * j / kSize;
                v.push_back(static_cast<float>(std::sin(3 * y) + 0.3 * std::cos(2 * x + y)));
                v.push_back(static_cast<float>(std::cos(2 * x) - 0.5 * std::sin(x + y)));
            }
        return v;
    }();
    return made;
}

plain::LicScene scene(int line, int mode) {
    return {.nx = kSize,
            .ny = kSize,
            .vectors = vectors().data(),
            .line = line,
            .rate = kBlack,
            .cycle = 2,
            .phase = 1,
            .animflag = mode == kRipple ? 1 : 0,
            .filvecflag = mode == kMagnitude ? 1 : 0,
            .colvecflag = mode == kMagnitude ? 1 : 0};
}

/// A module instance with the flow as its input.
OMobj_id make_instance(const plain::LicScene& scene) {
    host::reset();
    const OMobj_id instance = host::create(host::root(), "lic", host::Kind::group);
    const auto set = [instance](const char* name, int value) {
        host::create(instance, name, host::Kind::integer);
        OMset_name_int_val(instance, OMstr_to_name(name), value);
    };
    set("line", scene.line);
    set("cycle", scene.cycle);
    set("phase", scene.phase);
    set("animflag", scene.animflag);
    set("filvecflag", scene.filvecflag);
    set("colvecflag", scene.colvecflag);
    host::create(instance, "rate", host::Kind::real);
    OMset_name_real_val(instance, OMstr_to_name("rate"), scene.rate);
    host::create(instance, "out_fld", host::Kind::field);
    const OMobj_id field = host::create(instance, "in_fld", host::Kind::field);
    const xp_long dims[2] = {scene.nx, scene.ny};
    static float points[4] = {0, 0, 1, 1};
    FLDset_ndim(field, 2);
    FLDset_dims(field, dims);
    FLDset_nspace(field, 2);
    FLDset_points(field, points, 4, ARR_CALLER_OWNS);
    FLDset_node_data_comp(field, 0, 2, "", "");
    FLDset_node_data(field, 0, const_cast<float*>(scene.vectors), DTYPE_FLOAT, 2 * dims[0] * dims[1], ARR_CALLER_OWNS);
    return instance;
}

bool draws(OMobj_id instance, const std::vector<std::uint8_t>& expected) {
    if (ZAMlic_texture_func(instance, 0, 0) != 1) return false;
    int type = 0;
    zam::HostArray<std::uint8_t> pixels;
    const OMobj_id out = host::find(instance, "out_fld");
    if (FLDget_node_data(out, 0, &type, pixels.receive_untyped(), pixels.receive_count(), ARR_READ) != 1) return false;
    return pixels.size() == static_cast<xp_long>(expected.size()) &&
           std::memcmp(pixels.data(), expected.data(), expected.size()) == 0;
}

void count_pixels(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * kSize * kSize);
    state.SetLabel("items are pixels");
}

void module(benchmark::State& state) {
    const plain::LicScene s = scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const OMobj_id instance = make_instance(s);
    if (!draws(instance, plain::PlainLic(s).draw())) {
        state.SkipWithError("the pixels differ from the plain form's");
        return;
    }
    for (auto _ : state) {
        if (ZAMlic_texture_func(instance, 0, 0) != 1) state.SkipWithError("nothing was drawn");
    }
    count_pixels(state);
    host::reset();
}

void plain_form(benchmark::State& state) {
    const plain::LicScene s = scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) benchmark::DoNotOptimize(plain::PlainLic(s).draw());
    count_pixels(state);
}

BENCHMARK(module)
    ->ArgNames({"line", "mode"})
    ->ArgsProduct({{10, 20}, {kBox, kRipple, kMagnitude}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(plain_form)
    ->ArgNames({"line", "mode"})
    ->ArgsProduct({{10, 20}, {kBox, kRipple, kMagnitude}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
