// Network files: read, checked, and, if nothing is wrong with them, made into host objects and written out again.
#include <filesystem>

#include "fuzz/network.h"
#include "session/objects/host_objects.h"
#include "session/objects/run_error.h"
#include "session/outputs/outputs.h"

using namespace zam::session;

namespace {

/// Writes an object as a file of every kind; kinds that do not suit it are refused.
void write_all(OMobj_id object) {
    const std::string directory = std::filesystem::temp_directory_path().string();
    for (const OutputKind kind : {OutputKind::png, OutputKind::json, OutputKind::raw, OutputKind::vti, OutputKind::vtr,
                                  OutputKind::vts, OutputKind::vtu, OutputKind::svg}) {
        try {
            OutputFile file(directory, "zam_network_fuzz");
            if (kind == OutputKind::png) write_png(ImagePicture(Image(object, ".png"), {}), file);
            if (kind == OutputKind::json) write_json(object, file);
            if (kind == OutputKind::raw) write_raw(object, 0, file);
            if (kind == OutputKind::svg) write_svg({object, object, ImageOrigin::lower, true, object}, {}, file);
            if (kind >= OutputKind::vti && kind <= OutputKind::vtu) write_vtk(object, kind, file);
        } catch (const RunError&) {
        }
    }
}

void make_and_write(const Assignment& assignment) {
    std::vector<Link> links;
    try {
        make_object(zam::host::root(), assignment.parameter->name, assignment.value, links);
    } catch (const RunError&) {
    }
    for (auto& link : links) follow(link);
    write_all(zam::host::find(zam::host::root(), assignment.parameter->name));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto network = zam::fuzz::read_network(zam::fuzz::text_of(data, size), false);
    if (!network) return 0;
    zam::host::reset();
    for (const auto& instance : network->instances) {
        for (const auto& assignment : instance.given) make_and_write(assignment);
    }
    zam::host::reset();
    return 0;
}
