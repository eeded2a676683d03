// Processes that work on one network together, each with its own memory, numbered as MPI numbers them. This is how the
// rooms see them; who brings them is `cluster/`. Without that there is one process, and nobody has a Ranks.
//
// Calls that are joint are made by every rank, in the same order; they return when the others have come as far. A wait
// that takes too long ends the process with a message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace zam {

class Ranks {
public:
    virtual ~Ranks() = default;

    /// Number of this process, from 0.
    virtual int rank() const = 0;
    /// At least 1.
    virtual int count() const = 0;

    /// Joint: a list of numbers begins, in place of the one before.
    virtual void begin_list() = 0;
    /// Takes the next number of the list, which no other rank gets: 0, 1, 2 and on. Not joint.
    virtual std::int64_t take() = 0;

    /// Joint: replaces each value by the largest one that any rank has there.
    virtual void maximum(std::span<double> values) = 0;

    /// Joint: merges the images of all ranks into that of rank 0, pixel by pixel: the nearer one, of equal depths that
    /// of the lower rank. What the other ranks have afterwards is nobody's.
    /// @param colors  4 bytes per pixel
    /// @param depths  one per pixel, larger is nearer
    virtual void merge_nearest(std::span<std::uint8_t> colors, std::span<float> depths) = 0;

    /// Joint: brings parts of an array together at rank 0. Rank r has the elements of share_of(all, r, count()).
    /// @param part     this rank's elements
    /// @param whole    at rank 0 room for all elements, in which its own may lie at their place; else ignored
    /// @param element  bytes
    virtual void gather(std::span<const std::byte> part, std::span<std::byte> whole, std::size_t element) = 0;

    /// Joint: memory that the ranks of one machine share.
    /// @param fill  fills it; called at one rank of each machine. What it throws is thrown there, and at the others
    ///              std::runtime_error
    /// @return the bytes, which last as long as anybody holds them. Null if the memory is refused
    virtual std::shared_ptr<const std::byte> hold_once(std::size_t bytes,
                                                       const std::function<void(std::span<std::byte>)>& fill) = 0;
};

/// Joint where there are ranks: whether something holds at any of them.
/// @param ranks  null: this process is alone
inline bool at_any_rank(Ranks* ranks, bool here) {
    double flag = here ? 1.0 : 0.0;
    if (ranks) ranks->maximum({&flag, 1});
    return flag > 0.0;
}

/// Elements first to last - 1 of a list.
struct Share {
    std::int64_t first, last;
};

/// The share of a rank in a list, in order; they differ by one element at most.
constexpr Share share_of(std::int64_t all, int rank, int count) {
    const std::int64_t each = all / count;
    const std::int64_t more = all % count;  // ranks that have one more
    const auto begin = [&](std::int64_t of) { return of * each + (of < more ? of : more); };
    return {begin(rank), begin(rank + 1)};
}

}  // namespace zam
