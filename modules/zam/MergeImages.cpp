// Merge images: composites captures of one scene by their depth; where no capture has anything, the background shows.
// Reads currCount, saveMode, currDir (captures in files) or num, rc (captures in fields), backCol.
// Writes out_fld, an image field whose opacity is 0 throughout, and end_flag.
//
// Ranks that share the work merge a band of rows each, and read no more of the files; rank 0 has the image.
#include "modules/zam/MergeImages.h"

#include <algorithm>
#include <array>
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

#include "base/ranks.h"
#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/image_field.h"
#include "modules/support/memory_budget.h"
#include "modules/support/parameters.h"
#include "modules/support/ranks.h"
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
        static constexpr std::size_t kRunPixels = 1024;  // those of a page

        explicit Capture(zam::CaptureFile file) : file_(std::move(file)) {}

        ImageSize size() const { return file_.size(); }
        /// Both are empty if the pixels cannot be read, and valid until the next call with the same `values`.
        std::span<const float> depths(std::int64_t first, std::size_t count, BlockValues& values) const {
            const auto depths = std::span(values.depths).first(count);
            return file_.read_depths(first, depths) ? depths : std::span<const float>();
        }
        std::span<const std::uint8_t> colors(std::int64_t first, std::size_t count, BlockValues& values) const {
            const auto colors = std::span(values.colors).first(count * zam::kColorBytes);
            return file_.read_colors(first, colors) ? colors : std::span<const std::uint8_t>();
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
        static constexpr std::size_t kRunPixels = kBlockPixels;  // nothing is gained by leaving out less

        ImageSize image_size;
        HostArray<std::uint8_t> color_values;
        HostArray<float> depth_values;

        ImageSize size() const { return image_size; }
        std::span<const float> depths(std::int64_t first, std::size_t count, BlockValues& /*unused*/) const {
            return {depth_values.data() + first, count};
        }
        std::span<const std::uint8_t> colors(std::int64_t first, std::size_t count, BlockValues& /*unused*/) const {
            return {color_values.data() + first * zam::kColorBytes, count * zam::kColorBytes};
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
        return capture.color_values && capture.depth_values ? std::optional(std::move(capture)) : std::nullopt;
    }

private:
    OMobj_id instance_;
};

// --- The merge ---

/// Which of the ranks that merge together this one is.
struct Part {
    int rank = 0;
    int count = 1;
};

/// The rows of the merged image that are merged here.
struct Merged {
    ImageSize size;  // of the whole image
    zam::Share rows;
    OutArray<std::uint8_t> colors;    // the output's values; of other ranks than the first only the rows
    std::int64_t depth_pixels;        // all of the rows, or one block when the captures are a single group
    std::unique_ptr<float[]> depths;  // NOLINT(modernize-avoid-c-arrays): a vector would fill it

    /// `nullopt` if there is not enough memory.
    /// @throws std::bad_alloc
    static std::optional<Merged> allocate(ImageSize size, Part part, bool single_group) {
        Merged merged{size, zam::share_of(size.height, part.rank, part.count), {}, 0, {}};
        const std::int64_t own = merged.pixel_count();
        const std::int64_t kept = part.rank == 0 ? size.pixels() : std::max(own, std::int64_t{1});
        merged.depth_pixels = single_group ? std::min(kBlockPixels, own) : own;
        // files with holes may be longer than any memory
        zam::MemoryBudget memory;
        merged.colors = memory.allocate<std::uint8_t>(kept * zam::kColorBytes);
        if (!merged.colors || !memory.take(merged.depth_pixels, sizeof(float))) return std::nullopt;
        merged.depths = std::make_unique_for_overwrite<float[]>(static_cast<std::size_t>(merged.depth_pixels));
        return merged;
    }
    std::int64_t first_pixel() const { return rows.first * size.width; }
    std::int64_t pixel_count() const { return (rows.last - rows.first) * size.width; }
    /// @param first  counted from that of the rows
    zam::MergedPixels pixels(std::int64_t first, std::int64_t count) const {
        const auto number = static_cast<std::size_t>(count);
        float* const block_depths = depths.get() + (depth_pixels < pixel_count() ? 0 : first);
        return {{colors.data() + first * zam::kColorBytes, number * zam::kColorBytes}, {block_depths, number}};
    }
};

zam::MergedPixels part_of(zam::MergedPixels all, std::size_t first, std::size_t count) {
    return {all.colors.subspan(first * zam::kColorBytes, count * zam::kColorBytes), all.depths.subspan(first, count)};
}

/// Pixels first to last - 1.
struct Run {
    std::size_t first, last;
};

/// The next pieces, all of them of so many pixels, in each of which a capture is nearer somewhere; empty at the end.
Run next_nearer(zam::MergedPixels merged, std::span<const float> depths, std::size_t first, std::size_t piece) {
    const auto is_nearer = [&](std::size_t at) {
        const std::size_t count = std::min(piece, depths.size() - at);
        return zam::any_nearer(merged.depths.subspan(at, count), depths.subspan(at, count));
    };
    while (first < depths.size() && !is_nearer(first)) first += piece;
    std::size_t last = first;
    while (last < depths.size() && (last == first || is_nearer(last))) last += piece;
    return {std::min(first, depths.size()), std::min(last, depths.size())};
}

/// Merges pixels of a capture, of which it reads no more colours than it needs.
/// @param first  of the image
/// @return false if they cannot be read
template <class Capture>
bool merge_block(const Capture& capture, std::int64_t first, zam::MergedPixels merged, BlockValues& values) {
    const auto depths = capture.depths(first, merged.depths.size(), values);
    if (depths.empty()) return false;
    for (Run run{}; (run = next_nearer(merged, depths, run.last, Capture::kRunPixels)).first < run.last;) {
        const std::size_t count = run.last - run.first;
        const auto colors = capture.colors(first + static_cast<std::int64_t>(run.first), count, values);
        if (colors.empty()) return false;
        zam::merge_pixels(part_of(merged, run.first, count), {colors, depths.subspan(run.first, count)});
    }
    return true;
}

/// Merges a group of captures block by block. @return false if one of them cannot be read to its end
template <class Capture>
bool merge_group(const std::vector<Capture>& group, bool first_group, zam::Background background, BlockValues& values,
                 const Merged& merged) {
    const std::int64_t all = merged.pixel_count();
    for (std::int64_t first = 0; first < all; first += kBlockPixels) {
        const auto block = merged.pixels(first, std::min(kBlockPixels, all - first));
        if (first_group) zam::clear_pixels(block, background);
        for (const Capture& capture : group) {
            if (!merge_block(capture, merged.first_pixel() + first, block, values)) return false;
        }
    }
    return true;
}

/// Merges captures 0 to `count` - 1. `nullopt` if one of them cannot be loaded or has another size than the first.
/// @throws std::bad_alloc
template <class Captures>
std::optional<Merged> merge(const Captures& captures, int count, zam::Background background, Part part) {
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
        if (first_group) merged = Merged::allocate(*size, part, count <= kGroup);
        if (!merged || !merge_group(group, first_group, background, values, *merged)) return std::nullopt;
        group.clear();
    }
    return merged;
}

/// What is merged: the parameters without the captures themselves.
struct Params {
    int mode;
    int files;
    std::string directory;  // of captures in files
    zam::Background background;
};

std::optional<Merged> merge_captures(OMobj_id instance, const Params& params, Part part) {
    try {
        if (params.mode == kFromDisk)
            return merge(FilesOnDisk(params.directory), params.files, params.background, part);
        if (params.mode == kFromMemory)
            return merge(FieldsInMemory(instance), zam::Parameters(instance).integer("num", 0), params.background,
                         part);
    } catch (const std::exception&) {  // no memory
    }
    return std::nullopt;
}

// --- Ranks ---

/// Joint: whether all ranks have merged their rows of one image, which is in that of rank 0 then.
bool gather_rows(zam::Ranks& ranks, const std::optional<Merged>& merged) {
    const double width = merged ? merged->size.width : 0;
    const double height = merged ? merged->size.height : 0;
    std::array<double, 5> largest{merged ? 0.0 : 1.0, width, -width, height, -height};
    ranks.maximum(largest);
    const bool alike = largest[1] == -largest[2] && largest[3] == -largest[4];
    if (largest[0] > 0 || !alike) return false;
    const auto whole = std::as_writable_bytes(merged->colors.span());
    const std::size_t row = static_cast<std::size_t>(merged->size.width) * zam::kColorBytes;
    const auto own = whole.first(static_cast<std::size_t>(merged->rows.last - merged->rows.first) * row);
    ranks.gather(own, ranks.rank() == 0 ? whole : std::span<std::byte>(), row);
    return true;
}

/// Joint: the ranks if all of them have captures in files, null otherwise.
zam::Ranks* sharing_ranks(zam::Ranks* ranks, const std::optional<Params>& params) {
    const bool has_files = params && params->mode == kFromDisk;
    return zam::at_any_rank(ranks, !has_files) ? nullptr : ranks;
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

/// `nullopt`: nothing is to be merged, and what had to be said has been said.
std::optional<Params> read_params(OMobj_id instance) {
    const zam::Parameters params(instance);
    const int files = params.integer("currCount", 0);
    if (files == 0) return std::nullopt;  // silent: nothing has been captured
    const int mode = params.integer("saveMode", kFromMemory);
    std::optional<std::string> directory;
    if (mode == kFromDisk) {
        directory = params.text("currDir");
        if (!directory) report.warn("Can not get image saved directory.\n");
        if (!directory) return std::nullopt;
    }
    const auto background = read_background(params);
    if (!background) report.warn("Can not get background color.");  // deliberate: without a line end
    if (!background) return std::nullopt;
    return Params{mode, files, directory.value_or(""), *background};
}

void update(OMobj_id instance) {
    zam::Ranks* const all = zam::ranks_of_call();
    const auto params = read_params(instance);
    zam::Ranks* const ranks = sharing_ranks(all, params);
    // what only rank 0 has it merges alone
    const bool has_image = !all || all->rank() == 0;
    if (!params || (!ranks && !has_image)) return;
    auto merged = merge_captures(instance, *params, ranks ? Part{ranks->rank(), ranks->count()} : Part{});
    if (ranks && !gather_rows(*ranks, merged)) merged.reset();
    if (merged && !has_image) return;
    const OMobj_id out = merged ? zam::Parameters(instance).find("out_fld", OM_OBJ_RW) : OMnull_obj();
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
