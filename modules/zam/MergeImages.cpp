// Merge images: composites captures of one scene by their depth; where no capture has anything, the background shows.
// Reads currCount, saveMode, currDir (captures in files) or num, rc (captures in fields), backCol.
// Writes out_fld, an image field whose opacity is 0 throughout, and end_flag.
#include "modules/zam/MergeImages.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/image_field.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/report.h"
#include "modules/support/status_range.h"
#include "modules/zam/capture/capture_file.h"
#include "modules/zam/capture/depth_image.h"
#include "modules/zam/capture/depth_merge.h"

namespace {

using zam::HostArray;
using zam::ImageSize;
using zam::OutArray;

constexpr const char* kLabel = "MergeImages";
constexpr zam::ErrorReporter report{.label = kLabel, .text_arguments = 1, .flags = 2};

// A block of the merged image stays in the processor's cache while the captures of a group pass over it.
constexpr std::int64_t kBlockPixels = std::int64_t{1} << 14;
constexpr int kGroup = 8;

enum SaveMode { kFromDisk = 0, kFromMemory = 1 };

std::optional<zam::Background> read_background(const zam::Parameters& params) {
    const auto colors = params.array("backCol");
    if (!colors || colors->type() != DTYPE_FLOAT) return std::nullopt;
    return zam::background_bytes(colors->as<float>());
}

// --- Captures ---

/// Values of a block of pixels, read from a file.
struct BlockValues {
    std::vector<std::uint8_t> colors = std::vector<std::uint8_t>(kBlockPixels * zam::kColorBytes);
    std::vector<float> depths = std::vector<float>(kBlockPixels);
};

/// The captures in the files of a directory.
class FilesOnDisk {
public:
    explicit FilesOnDisk(std::string directory) : directory_(std::move(directory)) {}

    class Capture {
    public:
        explicit Capture(zam::CaptureFile file) : file_(std::move(file)) {}

        ImageSize size() const { return file_.size(); }
        /// `nullopt` if the pixels cannot be read. The result is valid until the next call with the same `values`.
        std::optional<zam::CapturedPixels> pixels(std::int64_t first, std::int64_t count, BlockValues& values) const {
            const auto number = static_cast<std::size_t>(count);
            const auto colors = std::span(values.colors).first(number * zam::kColorBytes);
            const auto depths = std::span(values.depths).first(number);
            if (!file_.read(first, colors, depths)) return std::nullopt;
            return zam::CapturedPixels{colors, depths};
        }

    private:
        zam::CaptureFile file_;
    };

    std::optional<ImageSize> size() const {
        const auto first = zam::CaptureFile::open(zam::capture_name_to_read(directory_, 0));
        return first ? std::optional(first->size()) : std::nullopt;
    }
    std::optional<Capture> open(int number) const {
        auto file = zam::CaptureFile::open(zam::capture_name_to_read(directory_, number));
        return file && file->is_whole() ? std::optional(Capture(std::move(*file))) : std::nullopt;
    }

private:
    std::string directory_;
};

/// The captures in the elements of `rc`.
class FieldsInMemory {
public:
    explicit FieldsInMemory(OMobj_id instance) : instance_(instance) {}

    struct Capture {
        ImageSize image_size;
        HostArray<std::uint8_t> colors;
        HostArray<float> depths;

        ImageSize size() const { return image_size; }
        std::optional<zam::CapturedPixels> pixels(std::int64_t first, std::int64_t count,
                                                  BlockValues& /*unused*/) const {
            const auto number = static_cast<std::size_t>(count);
            return zam::CapturedPixels{{colors.data() + first * zam::kColorBytes, number * zam::kColorBytes},
                                       {depths.data() + first, number}};
        }
    };

    std::optional<ImageSize> size() const {
        const auto size = zam::read_image_size(zam::find_element(instance_, "rc", 0));
        return size && size->pixels() > 0 ? size : std::nullopt;
    }
    std::optional<Capture> open(int number) const {
        const OMobj_id image = zam::find_element(instance_, "rc", number);
        const auto size = zam::read_image_size(image);
        if (!size) return std::nullopt;
        Capture capture{*size, zam::open_colors(image, *size), zam::open_depths(image, *size)};
        return capture.colors && capture.depths ? std::optional(std::move(capture)) : std::nullopt;
    }

private:
    OMobj_id instance_;
};

// --- The merge ---

/// The merged image.
struct Merged {
    ImageSize size;
    OutArray<std::uint8_t> colors;    // the output's values
    std::int64_t depth_pixels;        // all, or one block when the captures are a single group
    std::unique_ptr<float[]> depths;  // NOLINT(modernize-avoid-c-arrays): a vector would fill it

    /// `nullopt` if there is not enough memory.
    /// @throws std::bad_alloc
    static std::optional<Merged> allocate(ImageSize size, bool single_group) {
        const std::int64_t depth_pixels = single_group ? std::min(kBlockPixels, size.pixels()) : size.pixels();
        // files with holes may be longer than any memory
        zam::MemoryBudget memory;
        Merged merged{size, memory.allocate<std::uint8_t>(size.pixels() * zam::kColorBytes), depth_pixels, {}};
        if (!merged.colors || !memory.take(depth_pixels, sizeof(float))) return std::nullopt;
        merged.depths = std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(merged.depth_pixels));
        return merged;
    }
    zam::MergedPixels pixels(std::int64_t first, std::int64_t count) const {
        const auto number = static_cast<std::size_t>(count);
        float* const block_depths = depths.get() + (depth_pixels < size.pixels() ? 0 : first);
        return {{colors.data() + first * zam::kColorBytes, number * zam::kColorBytes}, {block_depths, number}};
    }
};

/// Merges a group of captures block by block. @return false if one of them cannot be read to its end
template <class Capture>
bool merge_group(const std::vector<Capture>& group, bool first_group, zam::Background background, BlockValues& values,
                 const Merged& merged) {
    const std::int64_t all = merged.size.pixels();
    for (std::int64_t first = 0; first < all; first += kBlockPixels) {
        const std::int64_t count = std::min(kBlockPixels, all - first);
        const auto block = merged.pixels(first, count);
        if (first_group) zam::clear_pixels(block, background);
        for (const Capture& capture : group) {
            const auto pixels = capture.pixels(first, count, values);
            if (!pixels) return false;
            zam::merge_pixels(block, *pixels);
        }
    }
    return true;
}

/// Merges captures 0 to `count` - 1. `nullopt` if one of them cannot be loaded or has another size than the first.
/// @throws std::bad_alloc
template <class Captures>
std::optional<Merged> merge(const Captures& captures, int count, zam::Background background) {
    const auto size = count >= 1 ? captures.size() : std::nullopt;
    if (!size) return std::nullopt;
    std::optional<Merged> merged;
    BlockValues values;
    std::vector<typename Captures::Capture> group;
    OMstatus_check(0, kLabel, nullptr);
    for (int number = 0; number < count; ++number) {
        OMstatus_check(static_cast<int>(std::int64_t{number} * 100 / count), kLabel, nullptr);
        auto capture = captures.open(number);
        if (!capture || capture->size() != *size) return std::nullopt;
        group.push_back(std::move(*capture));
        if (group.size() < kGroup && number + 1 < count) continue;
        // memory only for a size that captures turned out to have
        const bool first_group = !merged;
        if (first_group) merged = Merged::allocate(*size, count <= kGroup);
        if (!merged || !merge_group(group, first_group, background, values, *merged)) return std::nullopt;
        group.clear();
    }
    return merged;
}

std::optional<Merged> merge_captures(OMobj_id instance, int mode, int files,
                                     const std::optional<std::string>& directory, zam::Background background) {
    try {
        if (mode == kFromDisk) return merge(FilesOnDisk(*directory), files, background);
        if (mode == kFromMemory)
            return merge(FieldsInMemory(instance), zam::Parameters(instance).integer("num", 0), background);
    } catch (const std::exception&) {  // no memory
    }
    return std::nullopt;
}

// --- The output ---

bool write_image(OMobj_id out, Merged merged) {
    const xp_long dims[2] = {merged.size.width, merged.size.height};
    if (FLDset_ndim(out, 2) != 1 || FLDset_dims(out, dims) != 1 || FLDset_nspace(out, 2) != 1) return false;
    {
        HostArray<float> points;
        if (FLDget_points(out, points.receive(), points.receive_count(), ARR_WRITE) != 1 || points.span().size() < 4)
            return false;
        points[0] = points[1] = 0;
        points[2] = static_cast<float>(dims[0] - 1);
        points[3] = static_cast<float>(dims[1] - 1);
    }
    return FLDset_node_data_ncomp(out, 1) == 1 && FLDset_node_data_veclen(out, 0, zam::kImageVeclen) == 1 &&
           zam::set_pixels(out, merged.colors) && FLDset_node_data_id(out, 0, zam::kImageColorsId) == 1;
}

void update(OMobj_id instance) {
    const zam::Parameters params(instance);
    const int files = params.integer("currCount", 0);
    if (files == 0) return;  // silent: nothing has been captured
    const int mode = params.integer("saveMode", kFromMemory);
    std::optional<std::string> directory;
    if (mode == kFromDisk) {
        directory = params.text("currDir");
        if (!directory) return report.warn("Can not get image saved directory.\n");
    }
    const auto background = read_background(params);
    if (!background) return report.warn("Can not get background color.");  // deliberate: without a line end
    auto merged = merge_captures(instance, mode, files, directory, *background);
    const OMobj_id out = merged ? params.find("out_fld", OM_OBJ_RW) : OMnull_obj();
    // an image that cannot be handed on is a merge that failed
    if (!merged || !write_image(out, std::move(*merged)))
        return report.warn("Can not merge image in Zbuffer brending.\n");  // deliberate: "brending"
    OMset_name_int_val(instance, OMstr_to_name("end_flag"), 1);
}

}  // namespace

int MergeImagesUpdate(OMobj_id instance, unsigned /*event_mask*/, int /*seq*/) {
    const zam::IdleAtEnd idle;
    try {
        update(instance);
    } catch (const std::exception&) {  // no memory for a name
        report.warn("Can not merge image in Zbuffer brending.\n");
    }
    return 1;  // deliberate: also after a report
}
