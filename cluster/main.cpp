// zam-mpi: what zam does, as one of the processes that mpirun starts. They share the work of `run`; the other commands
// are rank 0's alone.
#include <mpi.h>

#include <string_view>

#include "cluster/bounded_wait.h"
#include "cluster/messages.h"
#include "cluster/mpi_ranks.h"
#include "runner/cli.h"
#include "session/run/ranks_in_use.h"

namespace {

int run_as_rank(int argc, char** argv) {
    zam::cluster::MpiRanks ranks;
    zam::cluster::Messages messages;
    const bool shared = argc > 1 && std::string_view(argv[1]) == "run";
    if (shared) {
        zam::runner::speak_through(&messages);
        zam::session::use_ranks(&ranks);
    }
    const bool at_work = shared || ranks.rank() == 0;
    return messages.finish(at_work ? zam::runner::run_program(argc, argv) : 0);
}

}  // namespace

int main(int argc, char** argv) {
    MPI_Init(&argc, &argv);
    const int status = run_as_rank(argc, argv);
    MPI_Finalize();
    return status;
}
