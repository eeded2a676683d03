// What the ranks say, together at rank 0.
#pragma once

#include <mpi.h>

#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "runner/console.h"

namespace zam::cluster {

/// Lines of text that every rank says and rank 0 prints on its standard error, with the rank that said them. What
/// several ranks say alike is printed once. Progress is printed from time to time. Made and ended by every rank,
/// between MPI_Init and MPI_Finalize.
class Messages final : public runner::Voice {
public:
    Messages();
    ~Messages() override;
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    void say(std::string_view lines) override;
    void progress(std::string_view text) override;
    /// Lets messages through; called often, it does something now and then.
    void tick() override;
    /// Joint: all that has been said is printed when it returns.
    /// @return the largest status that any rank gives
    int finish(int status);

private:
    struct Sent {
        std::string text;
        MPI_Request request;
    };
    void send(std::string_view text, int tag);
    void forget_sent();
    void hear_waiting();
    void print_progress();
    void print(int rank, std::string_view lines);
    void print_line(int rank, const std::string& line);

    int rank_ = 0, count_ = 1;
    MPI_Comm channel_ = MPI_COMM_NULL;
    std::list<Sent> sent_;                          // until the other side has it
    double next_tick_ = 0.0, next_progress_ = 0.0;  // times
    std::map<int, std::string> progress_;           // at rank 0: what each rank does
    std::vector<std::map<std::string, int>> said_;  // at rank 0: how often, by each rank
    std::map<std::string, int> printed_;            // how often
};

}  // namespace zam::cluster
