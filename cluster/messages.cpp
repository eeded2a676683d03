#include "cluster/messages.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "cluster/bounded_wait.h"

namespace zam::cluster {
namespace {

enum Tag : int { kLines = 1, kProgress = 2 };

// seconds
constexpr double kTickTime = 0.05;
constexpr double kProgressTime = 5.0;
constexpr unsigned kMicrosecondsOfRest = 200;

constexpr std::size_t kMaxShown = 8;  // ranks whose progress is printed

/// "zam: error: TEXT" with the rank in it.
std::string with_rank(int rank, std::string_view line) {
    constexpr std::string_view kProgram = "zam: ";
    const bool named = line.starts_with(kProgram);
    line.remove_prefix(named ? kProgram.size() : 0);
    return std::string(kProgram) + "rank " + std::to_string(rank) + ": " + std::string(line);
}

}  // namespace

Messages::Messages() {
    const BoundedWait wait;
    MPI_Comm_dup(MPI_COMM_WORLD, &channel_);
    MPI_Comm_rank(channel_, &rank_);
    MPI_Comm_size(channel_, &count_);
    said_.resize(static_cast<std::size_t>(rank_ == 0 ? count_ : 0));
}

Messages::~Messages() {
    const BoundedWait wait;
    MPI_Comm_free(&channel_);
}

void Messages::say(std::string_view lines) { rank_ == 0 ? print(0, lines) : send(lines, kLines); }

/// Sends a text to rank 0, in the background.
void Messages::send(std::string_view text, int tag) {
    Sent& sent = sent_.emplace_back(Sent{std::string(text), MPI_REQUEST_NULL});
    MPI_Issend(sent.text.data(), static_cast<int>(sent.text.size()), MPI_CHAR, 0, tag, channel_, &sent.request);
    forget_sent();
}

void Messages::progress(std::string_view text) {
    const double now = MPI_Wtime();
    if (rank_ == 0) progress_[0] = text;
    if (now < next_progress_) return;
    next_progress_ = now + kProgressTime;
    rank_ == 0 ? print_progress() : send(text, kProgress);
}

void Messages::print_progress() {
    std::string line = "zam: ";
    std::size_t shown = 0;
    for (const auto& [rank, text] : progress_) {
        if (shown++ == kMaxShown) break;
        line.append(shown > 1 ? "; " : "").append("rank ").append(std::to_string(rank)).append(": ").append(text);
    }
    const std::string rest = progress_.size() > kMaxShown ? "; ..." : "";
    std::fprintf(stderr, "%s%s\n", line.c_str(), rest.c_str());
}

void Messages::forget_sent() {
    sent_.remove_if([](Sent& sent) {
        int done = 0;
        MPI_Test(&sent.request, &done, MPI_STATUS_IGNORE);
        return done != 0;
    });
}

/// Prints the texts that have come.
void Messages::hear_waiting() {
    for (;;) {
        int there = 0;
        MPI_Status status;
        MPI_Iprobe(MPI_ANY_SOURCE, MPI_ANY_TAG, channel_, &there, &status);
        if (there == 0) return;
        int size = 0;
        MPI_Get_count(&status, MPI_CHAR, &size);
        std::string text(static_cast<std::size_t>(size), ' ');
        MPI_Recv(text.data(), size, MPI_CHAR, status.MPI_SOURCE, status.MPI_TAG, channel_, MPI_STATUS_IGNORE);
        if (status.MPI_TAG == kLines)
            print(status.MPI_SOURCE, text);
        else
            progress_[status.MPI_SOURCE] = std::move(text);
    }
}

void Messages::tick() {
    const double now = MPI_Wtime();
    if (now < next_tick_) return;
    next_tick_ = now + kTickTime;
    rank_ == 0 ? hear_waiting() : forget_sent();
}

int Messages::finish(int status) {
    const BoundedWait wait;
    // rank 0 may still be at work, and hears from time to time
    for (auto& sent : sent_) MPI_Wait(&sent.request, MPI_STATUS_IGNORE);
    sent_.clear();
    MPI_Request request = MPI_REQUEST_NULL;
    MPI_Iallreduce(MPI_IN_PLACE, &status, 1, MPI_INT, MPI_MAX, channel_, &request);
    for (int done = 0; done == 0;) {
        if (rank_ == 0) hear_waiting();
        MPI_Test(&request, &done, MPI_STATUS_IGNORE);
        if (done == 0) usleep(kMicrosecondsOfRest);
    }
    return status;
}

void Messages::print(int rank, std::string_view lines) {
    while (!lines.empty()) {
        const std::size_t end = std::min(lines.find('\n'), lines.size());
        print_line(rank, std::string(lines.substr(0, end)));
        lines.remove_prefix(std::min(end + 1, lines.size()));
    }
}

void Messages::print_line(int rank, const std::string& line) {
    const int times = ++said_[static_cast<std::size_t>(rank)][line];
    int& printed = printed_[line];
    if (times <= printed) return;
    printed = times;
    const std::string text = with_rank(rank, line) + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace zam::cluster
