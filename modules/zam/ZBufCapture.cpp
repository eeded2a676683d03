// Z-buffer capture: appends rendered images with their depth to a set of captures, to be merged by depth later on.
// Reads active, in (images), saveMode, tmpDir. Writes files of the set's directory, or fields of out, and what is known
// of the set: currCount, currDir, currTmpDir, currSaveMode; done.
#include "modules/zam/ZBufCapture.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <optional>
#include <string>

#include "base/available_memory.h"
#include "base/file_handle.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/support/status_range.h"
#include "modules/zam/capture/capture_file.h"
#include "modules/zam/capture/depth_image.h"
#include "platform/directory.h"

namespace {

using zam::HostArray;
using zam::ImageSize;
using zam::Parameters;
namespace platform = zam::platform;

constexpr zam::Reporter report{.label = "", .flags = 96};
constexpr const char* kStatusLabel = "ZBufCapture";
constexpr int kMaxComponents = 2;  // colour and depth

enum SaveMode { kToDisk = 0, kToMemory = 1 };

/// The number of elements of an array; 0 if it has none or is not an array.
xp_long array_size(OMobj_id array) {
    xp_long size = 0;
    return OMget_array_size(array, &size) == 1 ? size : 0;
}

void show_progress(xp_long image, xp_long images) {
    OMstatus_check(static_cast<int>(image * 100 / images), kStatusLabel, nullptr);
}

/// Size of a field that has the shape of an image with depth, as far as can be told without its values.
std::optional<ImageSize> captured_size(OMobj_id image) {
    int ncomp = 0;
    const auto size = zam::read_image_size(image);
    if (!size || size->width > zam::kMaxCaptureSide || size->height > zam::kMaxCaptureSide) return std::nullopt;
    if (FLDget_node_data_ncomp(image, &ncomp) != 1 || ncomp > kMaxComponents) return std::nullopt;
    return size;
}

// --- The directory of a set ---

bool exists_to_read(const std::string& name) { return zam::FileHandle(platform::open_to_read(name)) != nullptr; }

/// Makes the directory and checks that files can be written there. @return false after a report
bool make_directory(const std::string& directory) {
    const std::string probe = directory + "\\depth.data";
    const bool made = platform::create_directory(directory);
    // an existing directory that is in use gets the message that says so
    if (exists_to_read(probe))
        return report.fail("Sorry, temporary file is already exist.Please select other directory.\n");
    if (!made) return report.fail("Can not create Save Directory.\n");
    if (!zam::FileHandle(platform::open_to_write(probe)))
        return report.fail("Sorry, can not open temporary file.Please select other directory.\n");
    platform::delete_file(probe);
    return true;
}

/// Records a new set. @return whether the next capture will find it
bool record_set(OMobj_id instance, const std::string& directory, const std::string& parent) {
    const auto mode = Parameters(instance).integer("saveMode");
    if (OMset_name_str_val(instance, OMstr_to_name("currDir"), directory.c_str()) != 1) return false;
    OMset_name_str_val(instance, OMstr_to_name("currTmpDir"), parent.c_str());
    OMset_name_int_val(instance, OMstr_to_name("currSaveMode"), mode.value_or(kToDisk));
    return true;
}

std::optional<std::string> begin_set(OMobj_id instance, int seq) {
    const auto parent = Parameters(instance).text("tmpDir");
    if (!parent || parent->empty()) return report.reject("Can not get Temporary Directory.\n");
    const char* user = std::getenv("USERNAME");
    const auto directory = zam::capture_directory_name(*parent, user ? user : "", platform::process_id(), seq);
    if (!make_directory(directory)) return report.reject("Can not make image save directory.\n");
    if (!record_set(instance, directory, *parent)) {
        platform::remove_directory(directory);  // empty, and recorded nowhere
        return report.reject("Can not make image save directory.\n");
    }
    return directory;
}

// --- Captures on disk ---

bool write_bytes(std::FILE* file, const void* bytes, std::int64_t count) {
    const auto size = static_cast<std::size_t>(count);
    return std::fwrite(bytes, 1, size, file) == size;
}

/// Writes the parts of a file in their order, so that the parts before a missing one stay.
bool write_parts(OMobj_id image, std::FILE* file) {
    const auto size = captured_size(image);
    if (!size) return false;
    const std::string text = zam::capture_size_text(*size);
    if (!write_bytes(file, text.data(), static_cast<std::int64_t>(text.size()))) return false;
    {
        const auto colors = zam::open_colors(image, *size);
        if (!colors || !write_bytes(file, colors.data(), size->pixels() * zam::kColorBytes)) return false;
    }
    const auto depths = zam::open_depths(image, *size);
    return depths && write_bytes(file, depths.data(), size->pixels() * zam::kDepthBytes);
}

bool write_image(OMobj_id image, const std::string& name) {
    zam::FileHandle file(platform::open_to_write(name));
    if (!file) return false;
    const bool written = write_parts(image, file.get());
    return std::fclose(file.release()) == 0 && written;  // closing may be what finds that the disk is full
}

/// Writes nothing, silently, if the list or the count cannot be read.
void write_images(OMobj_id instance, const std::string& directory) {
    const Parameters params(instance);
    const xp_long images = array_size(params.find("in", OM_OBJ_RW));
    auto number = params.integer("currCount");
    if (images < 1 || !number) return;
    OMstatus_check(0, kStatusLabel, nullptr);
    for (xp_long i = 0; i < images; ++i) {
        show_progress(i, images);
        const OMobj_id image = zam::find_element(instance, "in", i);
        const bool has_number = *number >= 0 && *number < std::numeric_limits<int>::max();
        if (!has_number || OMvalid_obj(image) != 1 ||
            !write_image(image, zam::capture_name_to_write(directory, *number)))
            return report.warn("Can not output image.\n");
        ++*number;
    }
    OMset_name_int_val(instance, OMstr_to_name("currCount"), *number);
}

bool capture_to_disk(OMobj_id instance, int seq) {
    auto directory = Parameters(instance).text("currDir");
    if (!directory || directory->empty()) directory = begin_set(instance, seq);
    if (!directory) return false;
    write_images(instance, *directory);
    return true;  // deliberate: the set exists, whether or not its images could be written
}

// --- Captures in memory ---

/// Copies a component into an array that the output owns.
template <class T>
bool copy_component(const HostArray<T>& from, OMobj_id to, int comp, int veclen, ImageSize size) {
    const xp_long count = size.pixels() * veclen;
    HostArray<T> values;
    int type = zam::kTypeCode<T>;
    if (!from || FLDset_node_data_type(to, comp, type) != 1 || FLDset_node_data_veclen(to, comp, veclen) != 1)
        return false;
    if (FLDget_node_data(to, comp, &type, values.receive_untyped(), values.receive_count(), ARR_WRITE) != 1)
        return false;
    if (!values || type != zam::kTypeCode<T> || values.size() < count) return false;
    std::memcpy(values.data(), from.data(), static_cast<std::size_t>(count) * sizeof(T));
    return true;
}

bool copy_image(OMobj_id from, OMobj_id to) {
    const auto size = captured_size(from);
    if (!size) return false;
    const xp_long dims[2] = {size->width, size->height};
    // captures accumulate, and the host makes their arrays
    if (!zam::AvailableMemory().take(size->pixels(), zam::kColorBytes + zam::kDepthBytes)) return false;
    if (FLDset_ndim(to, 2) != 1 || FLDset_dims(to, dims) != 1 || FLDset_node_data_ncomp(to, kMaxComponents) != 1)
        return false;
    return copy_component(zam::open_colors(from, *size), to, 0, zam::kColorBytes, *size) &&
           copy_component(zam::open_depths(from, *size), to, 1, 1, *size);
}

bool capture_to_memory(OMobj_id instance) {
    const Parameters params(instance);
    const xp_long images = array_size(params.find("in", OM_OBJ_RW));
    const OMobj_id out = params.find("out", OM_OBJ_RW);
    xp_long captures = 0;
    if (images < 1 || OMget_array_size(out, &captures) != 1) return false;
    OMstatus_check(0, kStatusLabel, nullptr);
    for (xp_long i = 0; i < images; ++i) {
        show_progress(i, images);
        if (OMset_array_size(out, captures + i + 1) != 1 ||
            !copy_image(zam::find_element(instance, "in", i), zam::find_element(instance, "out", captures + i)))
            return report.fail("Can not copy image.\n");
    }
    OMset_name_int_val(instance, OMstr_to_name("currCount"), static_cast<int>(captures + images));
    return true;
}

/// Running out of memory for a name counts as a failed capture.
template <class Capture>
bool succeeds(Capture&& capture) {
    try {
        return capture();
    } catch (const std::exception&) {
        return false;
    }
}

void update(OMobj_id instance, int seq) {
    const Parameters params(instance);
    if (!params.is_active(report) || array_size(params.find("in", OM_OBJ_RW)) < 1) return;
    const auto mode = params.integer("saveMode");
    if (!mode) return;  // silent: an unreadable scalar only stops the module
    if (mode == kToDisk && !succeeds([&] { return capture_to_disk(instance, seq); }))
        return report.warn("Can not capture image in Disk.\n");
    if (mode == kToMemory && !succeeds([&] { return capture_to_memory(instance); }))
        return report.warn("Can not capture image on Memory.\n");
    OMset_name_int_val(instance, OMstr_to_name("done"), 1);  // deliberate: in modes that capture nothing too
}

}  // namespace

int ZBufCaptureUpdate(OMobj_id instance, unsigned /*event_mask*/, int seq) {
    const zam::IdleAtEnd idle;
    update(instance, seq);
    return 1;  // deliberate: also after a report
}
