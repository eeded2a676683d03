// Any bytes as the header of a field file: a model that holds together, or one report.
#include <cstdio>

#include "fuzz/target.h"
#include "modules/zam/ld_rdfld/header_reader.h"

namespace {

using namespace zam::ldrf;
using zam::fuzz::require;

/// Requires tables of one length, rows of nspace or veclen values, and a copy that says the same.
void check_model(const HeaderModel& model) {
    const auto copy = copy_header(model);
    require(copy != nullptr && copy->steps.count() == model.steps.count());
    require(model.ndim <= kMaxDims && static_cast<int>(model.dims.size()) == (model.ndim > 0 ? model.ndim : 0));
    require(model.nstep <= model.steps.count());
    for (int step = 1; step <= model.steps.count(); ++step) {
        const auto row = static_cast<std::size_t>(step) - 1;
        require(static_cast<int>(model.steps.max_ext[row].size()) == (model.nspace > 0 ? model.nspace : 0));
        require(static_cast<int>(model.steps.min_val[row].size()) == (model.veclen > 0 ? model.veclen : 0));
        require((model.time(step) == nullptr) == (copy->time(step) == nullptr));
        require((model.steps.data[row] == nullptr) == (copy->steps.data[row] == nullptr));
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // a header's stray characters are printed
    return std::freopen(zam::fuzz::kNowhere, "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::FILE* file = zam::fuzz::memory_file(data, size);
    if (file == nullptr) return 0;
    zam::fuzz::Instance reader;
    const int steps = count_steps(file);
    require(reader.reports == (steps > 0 ? 0 : 1));
    LDRF_alloc(header_model(), steps);
    const int before = reader.reports;
    const auto header = read_header(file, "header", 1);
    require(reader.reports == before + (header ? 0 : 1));
    if (header) check_model(*header);
    std::fclose(file);
    return 0;
}
