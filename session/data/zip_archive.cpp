#include "session/data/zip_archive.h"

#include "base/part.h"
#include "session/data/data_error.h"
#include "session/data/gzip_bytes.h"

#if defined(ZAM_WITH_ZIP)

#include <zip.h>

#include <algorithm>
#include <array>

#include "contract/file.h"

namespace zam::session {
namespace {

constexpr zip_int64_t kMaxMembers = 100'000;

struct CloseArchive {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct CloseMember {
    void operator()(zip_file_t* member) const { zip_fclose(member); }
};
using Archive = std::unique_ptr<zip_t, CloseArchive>;
using Member = std::unique_ptr<zip_file_t, CloseMember>;

Archive open_archive(const std::string& file) {
    std::array<char, FILE_NAME_SIZE> expanded{};
    FILEmap_variables(file.c_str(), expanded.data(), static_cast<int>(expanded.size()));
    int code = 0;
    Archive archive(zip_open(expanded.data(), ZIP_RDONLY, &code));
    if (archive) return archive;
    zip_error_t error;
    zip_error_init_with_code(&error, code);
    const std::string text = zip_error_strerror(&error);
    zip_error_fini(&error);
    throw DataError("the archive cannot be read: " + text);
}

/// Goes through a member from the front; what lies before the wanted bytes is unpacked and dropped.
class ZipMember final : public ByteSource {
public:
    ZipMember(std::string file, zip_uint64_t index, xp_long size)
        : file_(std::move(file)), archive_(open_archive(file_)), index_(index), size_(size) {}

    xp_long size() const override { return size_; }

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        if (!member_ || first < position_) {
            member_.reset(zip_fopen_index(archive_.get(), index_, 0));
            position_ = 0;
        }
        if (!member_) return zip_strerror(archive_.get());
        while (position_ < first) {
            std::array<std::byte, 65536> dropped;
            const xp_long wanted = std::min<xp_long>(first - position_, dropped.size());
            if (std::string error = unpack(wanted, dropped.data()); !error.empty()) return error;
        }
        return unpack(count, destination);
    }

private:
    std::string unpack(xp_long count, std::byte* destination) const {
        while (count > 0) {
            const zip_int64_t got = zip_fread(member_.get(), destination, static_cast<zip_uint64_t>(count));
            if (got <= 0) {
                std::string text = got == 0 ? "the archive's member ended early" : zip_file_strerror(member_.get());
                member_.reset();
                return text;
            }
            position_ += got;
            count -= got;
            destination += got;
        }
        return {};
    }

    std::string file_;
    Archive archive_;
    zip_uint64_t index_;
    xp_long size_;
    mutable Member member_;
    mutable xp_long position_ = 0;
};

}  // namespace

std::vector<std::string> zip_members(const std::string& file) {
    const Archive archive = open_archive(file);
    const zip_int64_t count = std::min(zip_get_num_entries(archive.get(), 0), kMaxMembers);
    std::vector<std::string> names;
    for (zip_int64_t i = 0; i < count; ++i) {
        const char* name = zip_get_name(archive.get(), static_cast<zip_uint64_t>(i), 0);
        names.emplace_back(name ? name : "");
    }
    return names;
}
ZAM_PART_EXPORT(zip_members)

ByteSourcePointer open_zip_member(const std::string& file, const std::string& member) {
    const Archive archive = open_archive(file);
    const zip_int64_t index = zip_name_locate(archive.get(), member.c_str(), 0);
    zip_stat_t status;
    zip_stat_init(&status);
    if (index < 0 || zip_stat_index(archive.get(), static_cast<zip_uint64_t>(index), 0, &status) != 0 ||
        (status.valid & ZIP_STAT_SIZE) == 0) {
        throw DataError("the archive has no readable member " + member);
    }
    const auto size = static_cast<xp_long>(std::min<zip_uint64_t>(status.size, zip_uint64_t{1} << 62));
    if ((status.valid & ZIP_STAT_COMP_SIZE) == 0 || status.size / kMostPerPackedByte > status.comp_size)
        throw DataError("the archive's member " + member + " is too short for what it claims to hold");
    return std::make_shared<ZipMember>(file, static_cast<zip_uint64_t>(index), size);
}
ZAM_PART_EXPORT(open_zip_member)

}  // namespace zam::session

#else

namespace zam::session {

constexpr const char* kMissing = "this build reads no .npz files: it was made without libzip";

std::vector<std::string> zip_members(const std::string& file) {
    static const auto members = part_function<decltype(zip_members)>("zam_zip", "zip_members");
    if (!members) throw DataError(kMissing);
    return members(file);
}

ByteSourcePointer open_zip_member(const std::string& file, const std::string& member) {
    static const auto open = part_function<decltype(open_zip_member)>("zam_zip", "open_zip_member");
    if (!open) throw DataError(kMissing);
    return open(file, member);
}

}  // namespace zam::session

#endif
