// Conversions of fields, in values per second, beside a copy of the same memory.
#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

#include "session/convert/convert_field.h"

namespace {

using namespace zam::session;

constexpr xp_long kSide = 256;
constexpr xp_long kNodes = kSide * kSide * kSide;

/// Values in memory, lent as those of the host are.
struct Memory final : ValueSource {
    std::vector<float> values = std::vector<float>(static_cast<std::size_t>(kNodes));
    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        std::memcpy(destination, values.data() + first, static_cast<std::size_t>(count) * sizeof(float));
        return {};
    }
    const std::byte* in_memory() const override { return reinterpret_cast<const std::byte*>(values.data()); }
};

const std::shared_ptr<Memory>& memory() {
    static const auto made = [] {
        auto source = std::make_shared<Memory>();
        for (std::size_t i = 0; i < source->values.size(); ++i)
            source->values[i] = static_cast<float>(i % 1009) * 0.37F;
        return source;
    }();
    return made;
}

FieldPointer volume() {
    auto field = std::make_shared<FieldValue>();
    field->nspace = 3;
    field->dims = {kSide, kSide, kSide};
    field->nnodes = kNodes;
    field->grid_type = FLD_UNIFORM;
    field->node_data.resize(1);
    field->node_data[0].values = {DTYPE_FLOAT, kNodes, {}, memory()};
    return field;
}

void run(benchmark::State& state, const Conversion& conversion) {
    std::vector<std::byte> out(static_cast<std::size_t>(kNodes) * sizeof(double));
    xp_long count = 0;
    for (auto _ : state) {
        const FieldPointer field = convert(volume(), conversion);
        const NumberArray& values = field->node_data[0].values;
        if (!copy_values(values, out.data()).empty()) return state.SkipWithError("not converted");
        count = values.count;
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void copy(benchmark::State& state) {
    std::vector<float> out(static_cast<std::size_t>(kNodes));
    for (auto _ : state) {
        std::memcpy(out.data(), memory()->values.data(), out.size() * sizeof(float));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * kNodes);
}
void to_bytes(benchmark::State& state) {
    Conversion conversion;
    conversion.range = {10.0, 300.0};
    conversion.type = DTYPE_BYTE;
    run(state, conversion);
}
void to_bytes_of_found_range(benchmark::State& state) {
    Conversion conversion;
    conversion.automatic_range = true;
    conversion.type = DTYPE_BYTE;
    run(state, conversion);
}
void to_double(benchmark::State& state) {
    Conversion conversion;
    conversion.type = DTYPE_DOUBLE;
    run(state, conversion);
}
void resample(benchmark::State& state) {
    Conversion conversion;
    conversion.resample = {state.range(0), state.range(0), state.range(0)};
    run(state, conversion);
}

BENCHMARK(copy);
BENCHMARK(to_bytes);
BENCHMARK(to_bytes_of_found_range);
BENCHMARK(to_double);
BENCHMARK(resample)->Arg(128)->Arg(250);

}  // namespace
