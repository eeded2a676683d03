// Ranks over MPI.
#pragma once

#include <mpi.h>

#include <vector>

#include "base/ranks.h"

namespace zam::cluster {

/// The processes of MPI_COMM_WORLD. Made and ended by every rank, between MPI_Init and MPI_Finalize.
class MpiRanks final : public Ranks {
public:
    MpiRanks();
    ~MpiRanks() override;
    MpiRanks(const MpiRanks&) = delete;
    MpiRanks& operator=(const MpiRanks&) = delete;

    int rank() const override { return rank_; }
    int count() const override { return count_; }
    void begin_list() override;
    std::int64_t take() override;
    void maximum(std::span<double> values) override;
    void merge_nearest(std::span<std::uint8_t> colors, std::span<float> depths) override;
    void gather(std::span<const std::byte> part, std::span<std::byte> whole, std::size_t element) override;
    std::shared_ptr<const std::byte> hold_once(std::size_t bytes,
                                               const std::function<void(std::span<std::byte>)>& fill) override;

private:
    /// Memory that the ranks of a machine share. Freeing it is joint, so it waits until none of them needs it.
    struct Shared {
        MPI_Win window;
        std::weak_ptr<const std::byte> user;  // here
    };
    void free_unused();

    int rank_ = 0, count_ = 1;
    MPI_Comm machine_ = MPI_COMM_NULL;  // the ranks of this one's machine
    MPI_Win next_ = MPI_WIN_NULL;       // of rank 0: the next number of the list
    MPI_Datatype pixel_ = MPI_DATATYPE_NULL;
    MPI_Op nearest_ = MPI_OP_NULL;
    std::vector<Shared> shared_;  // the same ones in the same order at all ranks of the machine
};

}  // namespace zam::cluster
