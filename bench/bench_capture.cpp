// Captures of 2048 x 2048 pixels: merged from memory and from files, and written to disk, by the modules with all that
// belongs to a call. Yardsticks: a memory copy, a read and a write of the same bytes in blocks.
//
// The directory is that of BENCH_DIR, or the one for temporary files.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"
#include "modules/zam/MergeImages.h"
#include "modules/zam/ZBufCapture.h"

namespace {

namespace fs = std::filesystem;
namespace host = zam::host;

constexpr int kSide = 2048;
constexpr std::size_t kPixels = std::size_t{kSide} * kSide;
constexpr std::size_t kBytes = 8 * kPixels;  // of a capture
constexpr int kCaptures = 8;
constexpr std::size_t kBlock = std::size_t{1} << 20;

struct DepthImage {
    std::vector<std::uint8_t> colors;  // pixels x 4: opacity, red, green, blue
    std::vector<float> depths;         // pixels
};

/// Half of the pixels of a capture are empty, in runs as objects leave them.
const std::vector<DepthImage>& captures() {
    static const auto all = [] {
        std::mt19937 random(1);
        std::vector<DepthImage> images(kCaptures);
        for (auto& image : images) {
            image.colors.resize(4 * kPixels);
            image.depths.resize(kPixels);
            for (auto& byte : image.colors) byte = static_cast<std::uint8_t>(random());
            for (std::size_t run = 0; run < kPixels; run += 256) {
                const bool empty = random() % 2 == 0;
                for (std::size_t p = run; p < run + 256; ++p)
                    image.depths[p] = empty ? 0.0F : static_cast<float>(random() % 65536) / 65536;
            }
        }
        return images;
    }();
    return all;
}

fs::path directory() {
    const char* given = std::getenv("BENCH_DIR");
    return given ? fs::path(given) : fs::temp_directory_path();
}

void set(OMobj_id instance, const char* name, int value) {
    host::create(instance, name, host::Kind::integer);
    OMset_name_int_val(instance, OMstr_to_name(name), value);
}

template <class T>
void fill(OMobj_id field, int comp, int veclen, const std::vector<T>& values) {
    auto array = zam::OutArray<T>::allocate(static_cast<xp_long>(values.size()));
    std::memcpy(array.data(), values.data(), values.size() * sizeof(T));
    FLDset_node_data_veclen(field, comp, veclen);
    FLDset_node_data(field, comp, array.data(), array.type(), array.size(), ARR_HOST_OWNS);
    array.release();
}

/// One instance with the parameters of both modules; the images are its `in` and `rc`. Cleared when it ends.
class Network {
public:
    explicit Network(int save_mode) {
        host::reset();
        instance = host::create(host::root(), "module", host::Kind::group);
        const OMobj_id images = host::create(instance, "in", host::Kind::objects, host::Kind::field);
        OMset_array_size(images, kCaptures);
        for (int i = 0; i < kCaptures; ++i) {
            const auto& image = captures()[static_cast<std::size_t>(i)];
            const OMobj_id field = host::find(images, "[" + std::to_string(i) + "]");
            const xp_long dims[] = {kSide, kSide};
            FLDset_ndim(field, 2);
            FLDset_dims(field, dims);
            FLDset_node_data_ncomp(field, 2);
            fill(field, 0, 4, image.colors);
            fill(field, 1, 1, image.depths);
        }
        OMset_obj_ref(host::create(instance, "rc", host::Kind::unset), images);
        for (const char* name : {"currCount", "currSaveMode", "done", "end_flag"}) set(instance, name, 0);
        set(instance, "active", 1);
        set(instance, "saveMode", save_mode);
        set(instance, "num", kCaptures);
        for (const char* name : {"tmpDir", "currDir", "currTmpDir"}) host::create(instance, name, host::Kind::text);
        OMset_name_str_val(instance, OMstr_to_name("tmpDir"), directory().string().c_str());
        OMset_name_str_val(instance, OMstr_to_name("currDir"), "");
        const float background[] = {1.0F, 0.5F, 0.0F};
        host::set_values(host::create(instance, "backCol", host::Kind::array), DTYPE_FLOAT, background, 3);
        host::create(instance, "out_fld", host::Kind::field);
    }
    ~Network() { ZBufClearUpdate(instance, 0, 0); }
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    OMobj_id instance;
};

void set_rates(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * kCaptures * static_cast<std::int64_t>(kBytes));
    state.counters["pixels/s"] =
        benchmark::Counter(static_cast<double>(kCaptures * kPixels), benchmark::Counter::kIsIterationInvariantRate);
}

void run_merge(benchmark::State& state, const Network& network) {
    for (auto _ : state) MergeImagesUpdate(network.instance, 0, 0);
    if (zam::Parameters(network.instance).integer("end_flag") != 1) state.SkipWithError("the merge failed");
    set_rates(state);
}

void merge_from_memory(benchmark::State& state) {
    const Network network(1);
    set(network.instance, "currCount", kCaptures);
    run_merge(state, network);
}

void merge_from_files(benchmark::State& state) {
    const Network network(0);
    ZBufCaptureUpdate(network.instance, 0, 0);
    run_merge(state, network);
}

void memory_copy(benchmark::State& state) {
    const std::vector<char> from(kBytes * kCaptures, 1);
    std::vector<char> to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    set_rates(state);
}

void capture_to_disk(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        {
            const Network network(0);
            state.ResumeTiming();
            ZBufCaptureUpdate(network.instance, 0, 0);
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    set_rates(state);
}

std::string block_file(int i) { return (directory() / ("zam_bench_" + std::to_string(i))).string(); }

void write_in_blocks(std::FILE* file, const void* bytes) {
    for (std::size_t at = 0; at < kBytes / 2; at += kBlock)
        std::fwrite(static_cast<const char*>(bytes) + at, 1, kBlock, file);
}

void write_blocks() {
    for (int i = 0; i < kCaptures; ++i) {
        const auto& image = captures()[static_cast<std::size_t>(i)];
        std::FILE* file = std::fopen(block_file(i).c_str(), "wb");
        std::setvbuf(file, nullptr, _IONBF, 0);
        write_in_blocks(file, image.colors.data());
        write_in_blocks(file, image.depths.data());
        std::fclose(file);
    }
}

void remove_blocks() {
    for (int i = 0; i < kCaptures; ++i) fs::remove(block_file(i));
}

void block_write(benchmark::State& state) {
    for (auto _ : state) {
        write_blocks();
        state.PauseTiming();
        remove_blocks();
        state.ResumeTiming();
    }
    set_rates(state);
}

void block_read(benchmark::State& state) {
    std::vector<char> block(kBlock);
    write_blocks();
    for (auto _ : state) {
        for (int i = 0; i < kCaptures; ++i) {
            std::FILE* file = std::fopen(block_file(i).c_str(), "rb");
            std::setvbuf(file, nullptr, _IONBF, 0);
            while (std::fread(block.data(), 1, block.size(), file) == block.size()) benchmark::ClobberMemory();
            std::fclose(file);
        }
    }
    remove_blocks();
    set_rates(state);
}

}  // namespace

BENCHMARK(memory_copy)->Unit(benchmark::kMillisecond);
BENCHMARK(merge_from_memory)->Unit(benchmark::kMillisecond);
BENCHMARK(block_read)->Unit(benchmark::kMillisecond);
BENCHMARK(merge_from_files)->Unit(benchmark::kMillisecond);
BENCHMARK(block_write)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(capture_to_disk)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
