#include "cluster/mpi_ranks.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "cluster/bounded_wait.h"

namespace zam::cluster {
namespace {

struct Pixel {
    float depth;
    std::uint8_t color[4];
};
static_assert(sizeof(Pixel) == 8);

// Images are merged in blocks, so that what is sent takes little memory beside the images themselves.
constexpr std::size_t kBlockPixels = std::size_t{1} << 18;

/// The reduction of two ranks' pixels, those of the lower ranks first: the nearer ones, of equal depths the first.
void take_nearer(void* first, void* second_and_result, int* count, MPI_Datatype* /*pixel*/) {
    const auto* const lower = static_cast<const Pixel*>(first);
    auto* const result = static_cast<Pixel*>(second_and_result);
    for (int i = 0; i < *count; ++i) {
        if (!(result[i].depth > lower[i].depth)) result[i] = lower[i];
    }
}

/// The status of one rank's call, for all: whether it went well.
bool all_well(MPI_Comm ranks, bool well_here) {
    int well = well_here ? 1 : 0;
    MPI_Allreduce(MPI_IN_PLACE, &well, 1, MPI_INT, MPI_MIN, ranks);
    return well == 1;
}

}  // namespace

MpiRanks::MpiRanks() {
    MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
    MPI_Comm_size(MPI_COMM_WORLD, &count_);
    name_waiting_rank(rank_);
    const BoundedWait wait;
    MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, rank_, MPI_INFO_NULL, &machine_);
    constexpr MPI_Aint kSize = sizeof(std::int64_t);
    void* next = nullptr;
    MPI_Win_allocate(rank_ == 0 ? kSize : 0, kSize, MPI_INFO_NULL, MPI_COMM_WORLD, static_cast<void*>(&next), &next_);
    MPI_Win_lock_all(MPI_MODE_NOCHECK, next_);
    MPI_Type_contiguous(sizeof(Pixel), MPI_BYTE, &pixel_);
    MPI_Type_commit(&pixel_);
    constexpr int kInOrder = 0;  // not commutative
    MPI_Op_create(take_nearer, kInOrder, &nearest_);
}

MpiRanks::~MpiRanks() {
    const BoundedWait wait;
    MPI_Op_free(&nearest_);
    MPI_Type_free(&pixel_);
    MPI_Win_unlock_all(next_);
    MPI_Win_free(&next_);
    for (auto& shared : shared_) MPI_Win_free(&shared.window);
    MPI_Comm_free(&machine_);
}

void MpiRanks::begin_list() {
    const BoundedWait wait;
    MPI_Barrier(MPI_COMM_WORLD);  // nobody takes of the list before
    if (rank_ == 0) {
        const std::int64_t first = 0;
        std::int64_t before = 0;
        MPI_Fetch_and_op(&first, &before, MPI_INT64_T, 0, 0, MPI_REPLACE, next_);
        MPI_Win_flush(0, next_);
    }
    MPI_Barrier(MPI_COMM_WORLD);
}

std::int64_t MpiRanks::take() {
    const BoundedWait wait;
    const std::int64_t one = 1;
    std::int64_t number = 0;
    MPI_Fetch_and_op(&one, &number, MPI_INT64_T, 0, 0, MPI_SUM, next_);
    MPI_Win_flush(0, next_);
    return number;
}

void MpiRanks::maximum(std::span<double> values) {
    const BoundedWait wait;
    MPI_Allreduce(MPI_IN_PLACE, values.data(), static_cast<int>(values.size()), MPI_DOUBLE, MPI_MAX, MPI_COMM_WORLD);
}

void MpiRanks::merge_nearest(std::span<std::uint8_t> colors, std::span<float> depths) {
    const BoundedWait wait;
    std::vector<Pixel> mine(std::min(kBlockPixels, depths.size()));
    std::vector<Pixel> merged(rank_ == 0 ? mine.size() : 0);
    for (std::size_t first = 0; first < depths.size(); first += kBlockPixels) {
        const std::size_t count = std::min(kBlockPixels, depths.size() - first);
        for (std::size_t i = 0; i < count; ++i) {
            mine[i].depth = depths[first + i];
            std::memcpy(mine[i].color, &colors[4 * (first + i)], 4);
        }
        MPI_Reduce(mine.data(), merged.data(), static_cast<int>(count), pixel_, nearest_, 0, MPI_COMM_WORLD);
        for (std::size_t i = 0; rank_ == 0 && i < count; ++i) {
            depths[first + i] = merged[i].depth;
            std::memcpy(&colors[4 * (first + i)], merged[i].color, 4);
        }
    }
}

void MpiRanks::gather(std::span<const std::byte> part, std::span<std::byte> whole, std::size_t element) {
    const BoundedWait wait;
    const auto size = static_cast<std::int64_t>(element);
    const std::int64_t all = rank_ == 0 ? static_cast<std::int64_t>(whole.size()) / size : 0;
    std::vector<int> counts, places;
    for (int rank = 0; rank < count_ && rank_ == 0; ++rank) {
        const Share share = share_of(all, rank, count_);
        counts.push_back(static_cast<int>(share.last - share.first));
        places.push_back(static_cast<int>(share.first));
    }
    MPI_Datatype type = MPI_DATATYPE_NULL;
    MPI_Type_contiguous(static_cast<int>(element), MPI_BYTE, &type);
    MPI_Type_commit(&type);
    const bool in_place = rank_ == 0 && part.data() == whole.data();
    MPI_Gatherv(in_place ? MPI_IN_PLACE : part.data(), static_cast<int>(part.size() / element), type, whole.data(),
                counts.data(), places.data(), type, 0, MPI_COMM_WORLD);
    MPI_Type_free(&type);
}

/// Joint at the ranks of a machine.
void MpiRanks::free_unused() {
    for (auto shared = shared_.begin(); shared != shared_.end();) {
        if (!all_well(machine_, shared->user.expired())) {
            ++shared;
            continue;
        }
        MPI_Win_free(&shared->window);
        shared = shared_.erase(shared);
    }
}

std::shared_ptr<const std::byte> MpiRanks::hold_once(std::size_t bytes,
                                                     const std::function<void(std::span<std::byte>)>& fill) {
    const BoundedWait wait;
    free_unused();
    int number = 0;
    MPI_Comm_rank(machine_, &number);
    MPI_Win window = MPI_WIN_NULL;
    std::byte* memory = nullptr;
    MPI_Comm_set_errhandler(machine_, MPI_ERRORS_RETURN);
    const auto size = static_cast<MPI_Aint>(number == 0 ? bytes : 0);
    const bool made =
        MPI_Win_allocate_shared(size, 1, MPI_INFO_NULL, machine_, static_cast<void*>(&memory), &window) == MPI_SUCCESS;
    if (!all_well(machine_, made)) return nullptr;
    MPI_Aint first_size = 0;
    int unit = 0;
    MPI_Win_shared_query(window, 0, &first_size, &unit, static_cast<void*>(&memory));
    std::exception_ptr thrown;
    try {
        if (number == 0) fill({memory, bytes});
    } catch (...) {
        thrown = std::current_exception();
    }
    const bool filled = all_well(machine_, !thrown);
    if (!filled) MPI_Win_free(&window);
    if (thrown) std::rethrow_exception(thrown);
    if (!filled) throw std::runtime_error("another rank of this machine could not read it");
    std::shared_ptr<const std::byte> held(memory, [](const std::byte* /*freed with the window*/) {});
    shared_.push_back({window, held});
    return held;
}

}  // namespace zam::cluster
