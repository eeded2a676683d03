// Reading 256 MB of field data through the module, beside a plain block read of the same bytes into memory.
//
// Files lie in the temporary directory and are read once before the clock runs, so that they come from the page cache.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/ld_rdfld/ldrf_rfld.h"

namespace {

namespace host = zam::host;

constexpr std::size_t kBytes = std::size_t{256} << 20;
constexpr std::size_t kFloats = kBytes / sizeof(float);

/// The data files, made once and removed at the end.
class Files {
public:
    Files() : directory_(std::filesystem::temp_directory_path() / "zam_bench_reader") {
        std::filesystem::create_directories(directory_);
        std::vector<float> values(kFloats);
        for (std::size_t i = 0; i < kFloats; ++i) values[i] = static_cast<float>(i % 100003) * 0.37F - 1000.0F;
        std::ofstream(directory_ / "data.bin", std::ios::binary)
            .write(reinterpret_cast<const char*>(values.data()), static_cast<std::streamsize>(kBytes));
        std::ofstream text(directory_ / "data.txt", std::ios::binary);
        std::string line;
        for (std::size_t bytes = 0, i = 0; bytes < kBytes; bytes += line.size(), ++i) {
            char word[32];
            line.assign(word, static_cast<std::size_t>(std::snprintf(word, sizeof word, "%.6g\n",
                                                                     static_cast<double>(values[i % kFloats]))));
            text << line;
            ++words;
        }
    }
    ~Files() { std::filesystem::remove_all(directory_); }

    std::string field(const std::string& name, const std::string& type, const std::string& source, std::size_t count) {
        const auto path = directory_ / (name + ".fld");
        std::ofstream(path) << "# AVS\nndim=1 dim1=" << count << " nspace=1 field=uniform data=" << type
                            << "\nvariable 1 file=" << source << "\n";
        return path.string();
    }
    std::string path(const std::string& name) const { return (directory_ / name).string(); }

    std::size_t words = 0;

private:
    std::filesystem::path directory_;
};

Files& files() {
    static Files made;
    return made;
}

void read_through_module(benchmark::State& state, const std::string& name, bool swap, std::size_t bytes) {
    for (auto _ : state) {
        state.PauseTiming();
        host::reset();
        const OMobj_id instance = host::create(host::root(), "reader", host::Kind::group);
        host::create(instance, "filename", host::Kind::text);
        OMset_name_str_val(instance, OMstr_to_name("filename"), name.c_str());
        host::create(instance, "swap", host::Kind::integer);
        OMset_name_int_val(instance, OMstr_to_name("swap"), swap ? 1 : 0);
        for (const char* out : {"out", "out_all"}) host::create(instance, out, host::Kind::field);
        state.ResumeTiming();
        if (DVLDread_field_update(instance, 0, 0) != 1) state.SkipWithError("the file was not read");
    }
    host::reset();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

/// The yardstick: one block read into fresh memory.
void block_read(benchmark::State& state) {
    const std::string name = files().path("data.bin");
    for (auto _ : state) {
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "rb"), std::fclose);
        std::unique_ptr<void, void (*)(void*)> memory(std::malloc(kBytes), std::free);
        if (std::fread(memory.get(), 1, kBytes, file.get()) != kBytes) state.SkipWithError("short read");
        benchmark::DoNotOptimize(memory.get());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}

void native_floats(benchmark::State& state) {
    read_through_module(state, files().field("native", "float", "data.bin filetype=binary", kFloats), false, kBytes);
}

void swapped_floats(benchmark::State& state) {
    read_through_module(state, files().field("native", "float", "data.bin filetype=binary", kFloats), true, kBytes);
}

void swapped_doubles(benchmark::State& state) {
    read_through_module(state, files().field("doubles", "double", "data.bin filetype=binary", kFloats / 2), true,
                        kBytes);
}

void xdr_floats(benchmark::State& state) {
    read_through_module(state, files().field("xdr", "xdr_float", "data.bin filetype=binary", kFloats), false, kBytes);
}

void xdr_doubles(benchmark::State& state) {
    read_through_module(state, files().field("xdr2", "xdr_double", "data.bin filetype=binary", kFloats / 2), false,
                        kBytes);
}

void strided_floats(benchmark::State& state) {
    const std::string source = "data.bin filetype=binary offset=1 stride=4";
    read_through_module(state, files().field("strided", "float", source, kFloats / 4), false, kBytes);
}

void ascii_floats(benchmark::State& state) {
    read_through_module(state, files().field("text", "float", "data.txt filetype=ascii", files().words), false, kBytes);
}

/// The yardstick of text: its numbers converted one after another, without any file.
void from_chars_alone(benchmark::State& state) {
    std::ostringstream stream;
    stream << std::ifstream(files().path("data.txt"), std::ios::binary).rdbuf();
    const std::string text = std::move(stream).str();
    for (auto _ : state) {
        for (const char *at = text.data(), *const end = at + text.size(); at != end; ++at) {
            float value = 0.0F;
            at = std::from_chars(at, end, value).ptr;
            benchmark::DoNotOptimize(value);
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

}  // namespace

BENCHMARK(block_read)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(native_floats)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(swapped_floats)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(swapped_doubles)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(strided_floats)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(xdr_floats)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(xdr_doubles)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ascii_floats)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(from_chars_alone)->Unit(benchmark::kMillisecond)->UseRealTime();
