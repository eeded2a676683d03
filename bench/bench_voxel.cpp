// Reading a voxel text file of a million lines through the module, beside its numbers converted without any file.
//
// The file lies in the temporary directory and comes from the page cache. Rates are bytes of the file: the module goes
// through them twice.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/float_values.h"
#include "modules/zam/rd_voxel.h"
#include "tests/plain/voxel.h"

namespace {

namespace host = zam::host;

constexpr int kSide = 100;  // samples along each axis

/// A hundred samples along each axis, in the order of the file.
std::string make_text(const char* format) {
    std::string text;
    for (int i = 0; i < kSide * kSide * kSide; ++i) {
        char line[128];
        const double x = 0.5 * (i % kSide) - 20.0;
        const double y = 0.25 * (i / kSide % kSide);
        const double z = 0.125 * (i / kSide / kSide) + 100.0;
        const int length = std::snprintf(line, sizeof line, format, x, y, z, (i % 100003) * 0.37 - 1000.0);
        text.append(line, static_cast<std::size_t>(length));
    }
    return text;
}

// short numbers between blanks; long ones between commas; a sign that only the careful way of reading takes
const char* const kFormats[] = {"%g %g %g %.6g\n", "%.9f, %.9f, %.9f, %.9e\n", "%+g %+g %+g %+.6g\n"};

/// The file of a format, and its text.
struct TextFile {
    explicit TextFile(std::size_t format)
        : text(make_text(kFormats[format])),
          name((std::filesystem::temp_directory_path() / "zam_bench_voxel.txt").string()) {
        std::ofstream(name, std::ios::binary) << text;
    }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    ~TextFile() { std::filesystem::remove(name); }

    std::string text;
    std::string name;
};

OMobj_id make_instance(const std::string& name) {
    host::reset();
    const OMobj_id instance = host::create(host::root(), "reader", host::Kind::group);
    host::create(instance, "filename", host::Kind::text);
    OMset_name_str_val(instance, OMstr_to_name("filename"), name.c_str());
    host::create(instance, "outfld", host::Kind::field);
    return instance;
}

/// The module's values are those of the plain form, to the last bit.
bool is_plain(OMobj_id instance, const std::string& text) {
    const auto plain = zam::plain::read_voxels(text, 0, -999.0F, nullptr, 1 << 24);
    const auto values = zam::FloatValues::read(host::find(instance, "outfld"), 0);
    return values && !plain.values.empty() && std::ranges::equal(values->span(), plain.values[0]);
}

void read_file(benchmark::State& state) {
    const TextFile file(static_cast<std::size_t>(state.range(0)));
    OMobj_id instance{};
    for (auto _ : state) {
        state.PauseTiming();
        instance = make_instance(file.name);
        state.ResumeTiming();
        if (ZAMread_voxel_update(instance, 0, 0) != 1) state.SkipWithError("the file was not read");
    }
    if (!is_plain(instance, file.text)) state.SkipWithError("differs from the plain form");
    host::reset();
    state.SetBytesProcessed(state.iterations() * std::ssize(file.text));
}

void plain_form(benchmark::State& state) {
    const std::string text = make_text(kFormats[state.range(0)]);
    for (auto _ : state)
        benchmark::DoNotOptimize(zam::plain::read_voxels(text, 0, -999.0F, nullptr, 1 << 24).values.data());
    state.SetBytesProcessed(state.iterations() * std::ssize(text));
}

/// Every number of the text, one after another; `convert` gives the end of the one at a place.
template <class Convert>
void numbers_alone(benchmark::State& state, Convert&& convert) {
    const std::string text = make_text(kFormats[state.range(0)]);
    const char* const end = text.data() + text.size();
    for (auto _ : state) {
        for (const char* at = text.data(); at != end;) {
            if (const char* behind = convert(at, end); behind != at)
                at = behind;
            else
                ++at;
        }
    }
    state.SetBytesProcessed(state.iterations() * std::ssize(text));
}

void from_chars_alone(benchmark::State& state) {
    numbers_alone(state, [](const char* at, const char* end) {
        double value = 0.0;
        const char* behind = std::from_chars(at, end, value).ptr;
        benchmark::DoNotOptimize(value);
        return behind;
    });
}

void strtof_alone(benchmark::State& state) {
    numbers_alone(state, [](const char* at, const char*) {
        char* behind = nullptr;
        const float value = std::strtof(at, &behind);
        benchmark::DoNotOptimize(value);
        return static_cast<const char*>(behind);
    });
}

}  // namespace

BENCHMARK(read_file)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);
BENCHMARK(from_chars_alone)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(strtof_alone)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(plain_form)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
