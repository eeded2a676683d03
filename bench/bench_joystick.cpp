// A poll of the joystick capture, beside the platform call that it cannot do without; loading and saving parameters,
// beside a read and a write of the file's bytes.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/joystick/QELjoyCapture.h"
#include "modules/zam/joystick/QELjoySetParams.h"
#include "modules/zam/joystick/simulated_joystick.h"

namespace {

namespace host = zam::host;

constexpr std::uint32_t kRest[8] = {32767, 32767, 32767, 32767, 32767, 32767, 65535, 0};

void set(OMobj_id object, const char* name, int value) {
    OMset_int_val(host::create(object, name, host::Kind::integer), value);
}

void platform_call(benchmark::State& state) {
    zam_simulate_joystick(1, kRest);
    JOYINFOEX info{};
    info.dwSize = sizeof info;
    info.dwFlags = JOY_RETURNALL;
    for (auto _ : state) benchmark::DoNotOptimize(joyGetPosEx(0, &info));
    if (info.dwXpos != kRest[0]) state.SkipWithError("wrong position");
}

/// A poll at rest, as the event loop makes it.
void poll(benchmark::State& state) {
    zam_simulate_joystick(1, kRest);
    host::reset();
    const OMobj_id instance = host::create(host::root(), "stick", host::Kind::group);
    for (const char* name : {"active", "joystick", "interval"}) set(instance, name, 1);
    for (const char* name : {"event_interval", "event_on", "joy1_captured", "joy2_captured", "changed"})
        set(instance, name, 0);
    OMset_real_val(host::create(instance, "threshold", host::Kind::real), 0.1);
    for (const char* name : {"ref_info", "cur_info"}) host::create(instance, name, host::Kind::pointer);
    void* self = ZAM_LIB_QELjoyCapture_create(instance);
    ZAM_LIB_QELjoyCapture_inst(self, 0, 0);
    for (auto _ : state) QELjoyCaptureEventUpdate(self);
    int changed = 1;
    OMget_name_int_val(instance, OMstr_to_name("changed"), &changed);
    if (changed != 0) state.SkipWithError("moved");
    ZAM_LIB_QELjoyCapture_deinst(self, 0, 0);
    ZAM_LIB_QELjoyCapture_destroy(self);
}

/// A file of settings behind as many bytes of something else.
std::string parameter_file(std::int64_t other_bytes) {
    auto path = (std::filesystem::temp_directory_path() / "zam_bench_joystick.ini").string();
    std::ofstream file(path, std::ios::binary);
    file << "[other]\n";
    for (std::int64_t i = 0; i < other_bytes; i += 16) file << "key" << 100000 + i / 16 % 900000 << " = 12\n";
    file << "[joystick]\ninterval=50\nbtn_8_mode=1\n";
    return path;
}

template <int (*Method)(void*, unsigned, int)>
void parameters(benchmark::State& state) {
    host::reset();
    const std::string path = parameter_file(state.range(0));
    const OMobj_id instance = host::create(host::root(), "settings", host::Kind::group);
    for (const char* name : {"load_status", "loaded", "use_default_file", "interval", "btn_8_mode"})
        set(instance, name, 0);
    OMset_str_val(host::create(instance, "section", host::Kind::text), "joystick");
    for (const char* name : {"load_file", "save_file"})
        OMset_str_val(host::create(instance, name, host::Kind::text), path.c_str());
    void* self = ZAM_LIB_QELjoySetParams_create(instance);
    int count = 0;
    for (auto _ : state) {
        set(instance, "btn_8_mode", ++count);
        Method(self, 0, 0);
    }
    ZAM_LIB_QELjoySetParams_destroy(self);
    std::filesystem::remove(path);
}

void load(benchmark::State& state) { parameters<ZAM_LIB_QELjoySetParams_load_params>(state); }
void save(benchmark::State& state) { parameters<ZAM_LIB_QELjoySetParams_save_params>(state); }

void read_file(benchmark::State& state) {
    const std::string path = parameter_file(state.range(0));
    for (auto _ : state) {
        std::ifstream file(path, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        benchmark::DoNotOptimize(text.data());
    }
    std::filesystem::remove(path);
}

BENCHMARK(platform_call);
BENCHMARK(poll);
BENCHMARK(load)->Arg(0)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);
BENCHMARK(save)->Arg(0)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);
BENCHMARK(read_file)->Arg(0)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);

}  // namespace
