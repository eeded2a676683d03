// Reading Fortran-record grids of 200 MB through the module, beside a plain block read of the same bytes into memory.
//
// Files lie in the temporary directory and are read once before the clock runs, so that they come from the page cache.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/read_frt.h"

namespace {

namespace host = zam::host;

constexpr std::int32_t kDims[3] = {256, 256, 128};
constexpr std::size_t kNodes = std::size_t{256} * 256 * 128;

/// A file made for one benchmark: positions, then as many components as make it 200 MB.
class GridFile {
public:
    GridFile(bool swapped, bool wide)
        : path_((std::filesystem::temp_directory_path() / "zam_bench_frt.dat").string()), swapped_(swapped) {
        std::ofstream out(path_, std::ios::binary);
        std::vector<float> values(kNodes * (wide ? 2 : 1));
        for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<float>(i % 100003) * 0.37F;
        write_record(out, kDims, sizeof kDims);
        for (int axis = 0; axis < 3; ++axis) write_record(out, values.data(), kNodes * sizeof(float));
        for (int comp = 0; comp < (wide ? 2 : 3); ++comp)
            write_record(out, values.data(), values.size() * sizeof(float));
        bytes_ = static_cast<std::size_t>(out.tellp());
    }
    ~GridFile() { std::filesystem::remove(path_); }
    GridFile(const GridFile&) = delete;
    GridFile& operator=(const GridFile&) = delete;

    const std::string& path() const { return path_; }
    std::size_t bytes() const { return bytes_; }

private:
    /// Markers and dims must be right; of the values only their number counts.
    void write_record(std::ofstream& out, const void* contents, std::size_t size) const {
        const auto length = static_cast<std::int32_t>(size);
        std::vector<char> record(size + 2 * sizeof length);
        std::memcpy(record.data(), &length, sizeof length);
        std::memcpy(record.data() + sizeof length, contents, size);
        std::memcpy(record.data() + sizeof length + size, &length, sizeof length);
        for (std::size_t at = 0; swapped_ && at < record.size(); at += sizeof length)
            std::reverse(record.begin() + static_cast<std::ptrdiff_t>(at),
                         record.begin() + static_cast<std::ptrdiff_t>(at + sizeof length));
        out.write(record.data(), static_cast<std::streamsize>(record.size()));
    }

    std::string path_;
    bool swapped_;
    std::size_t bytes_ = 0;
};

/// The yardstick: one block read into fresh memory.
void block_read(benchmark::State& state) {
    const GridFile grid(false, false);
    for (auto _ : state) {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(grid.path().c_str(), "rb"), std::fclose);
        const std::unique_ptr<void, void (*)(void*)> memory(std::malloc(grid.bytes()), std::free);
        if (std::fread(memory.get(), 1, grid.bytes(), file.get()) != grid.bytes()) state.SkipWithError("short read");
        benchmark::DoNotOptimize(memory.get());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(grid.bytes()));
}

void read_grid(benchmark::State& state, bool swapped, bool wide) {
    const GridFile grid(swapped, wide);
    for (auto _ : state) {
        state.PauseTiming();
        host::reset();
        const OMobj_id instance = host::create(host::root(), "reader", host::Kind::group);
        host::create(instance, "frt_fname", host::Kind::text);
        OMset_name_str_val(instance, OMstr_to_name("frt_fname"), grid.path().c_str());
        const OMobj_id out = host::create(instance, "out", host::Kind::field);
        state.ResumeTiming();
        int ncomp = 0;
        if (ZAMread_frt(instance, 0, 0) != 1 || FLDget_node_data_ncomp(out, &ncomp) != 1 || ncomp != (wide ? 2 : 3))
            state.SkipWithError("the file was not read whole");
    }
    host::reset();
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(grid.bytes()));
}

}  // namespace

BENCHMARK(block_read)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(read_grid, native_floats, false, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(read_grid, native_doubles, false, true)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(read_grid, swapped_floats, true, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(read_grid, swapped_doubles, true, true)->Unit(benchmark::kMillisecond)->UseRealTime();
