// zam-mpi: what zam does, as one of the processes that mpirun starts. They share the work of `run`; the other commands
// are rank 0's alone.
#include <mpi.h>

#include <cstdlib>
#include <string_view>

#include "cluster/bounded_wait.h"
#include "cluster/messages.h"
#include "cluster/mpi_ranks.h"
#include "runner/cli.h"
#include "session/run/ranks_in_use.h"

namespace {

/// Open MPI looks for networks first, which takes 0.2 s; ranks that are all on one machine need none. What users choose
/// themselves stays.
void need_no_network_on_one_machine() {
    const char* const all = std::getenv("OMPI_COMM_WORLD_SIZE");
    const char* const here = std::getenv("OMPI_COMM_WORLD_LOCAL_SIZE");
    if (all && here && std::string_view(all) == here) setenv("OMPI_MCA_pml", "ob1", 0);
}

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
    need_no_network_on_one_machine();
    MPI_Init(&argc, &argv);
    const int status = run_as_rank(argc, argv);
    MPI_Finalize();
    return status;
}
