// Waits for other processes that end in any case.
#pragma once

namespace zam::cluster {

/// While it lives, the process ends with a message, status 1 and without half-written files once the limit of
/// wait_limit() has passed. One at a time; it takes the alarm of the process.
class BoundedWait {
public:
    BoundedWait();
    ~BoundedWait();
    BoundedWait(const BoundedWait&) = delete;
    BoundedWait& operator=(const BoundedWait&) = delete;
};

/// Seconds that a rank waits for others: ZAM_RANKS_WAIT in the environment, else an hour.
unsigned wait_limit();

/// Who says that it has waited too long: from now on this rank.
void name_waiting_rank(int rank);

}  // namespace zam::cluster
