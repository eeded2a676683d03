#include "embedded/array.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/available_memory.h"
#include "base/memory.h"
#include "contract/arr.h"
#include "embedded/host_state.h"

namespace zam::host {
namespace {

// 512 GiB. Nobody means more, and some allocators end the program instead of refusing.
constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 39;

// Faults repeat in loops; the first ones say what is wrong.
constexpr std::size_t kMaxFaults = 1000;

std::atomic<std::int64_t> held_arrays = 0;

std::string place(const char* file, int line) {
    return std::string(file ? file : "unknown file") + ":" + std::to_string(line);
}

/// Replaces contents by a copy of them; false if memory is exhausted.
bool make_own(Array& array) {
    Array copy = make_array(array.type, array.count);
    if (!copy) return false;
    if (array.count > 0) std::memcpy(copy.data(), array.data(), copy.block->bytes());
    copy.block->follow(*array.block);
    array = std::move(copy);
    return true;
}

}  // namespace

std::optional<std::size_t> array_bytes(int type, xp_long count) {
    const std::size_t size = type_size(type);
    if (size == 0 || count < 0 || static_cast<std::uint64_t>(count) > kMaxBytes / size) return std::nullopt;
    return static_cast<std::size_t>(count) * size;
}

// --- Block ---

std::shared_ptr<Block> Block::make(std::size_t bytes) {
    // zeroed memory is not yet in use: a system that overcommits grants any amount
    if (!AvailableMemory().take(static_cast<std::int64_t>(bytes), 1)) return nullptr;
    void* data = allocate_zeroed(bytes);
    if (!data) return nullptr;
    try {
        return std::make_shared<Block>(data, bytes, true);
    } catch (...) {
        free_zeroed(data, bytes);
        throw;
    }
}

std::shared_ptr<Block> Block::borrow(void* data, std::size_t bytes) {
    return std::make_shared<Block>(data, bytes, false);
}

std::shared_ptr<Block> Block::lend(const void* data, std::size_t bytes, std::shared_ptr<const void> owner) {
    return std::make_shared<Block>(const_cast<void*>(data), bytes, false, std::move(owner));
}

Block::~Block() {
    if (owned_) free_zeroed(data_, bytes_);
}

Array make_array(int type, xp_long count) {
    const auto bytes = array_bytes(type, count);
    return {bytes ? Block::make(*bytes) : nullptr, type, bytes ? count : 0};
}

// --- Ledger ---

void* Ledger::allocate(int type, xp_long count, const char* file, int line) {
    ++allocations_;
    if (allocations_until_failure_ > 0 && --allocations_until_failure_ == 0) return nullptr;
    const Array array = make_array(type, count);
    if (!array) return nullptr;
    entries_.insert_or_assign(array.data(), Entry{array.block, {}, place(file, line), {}});
    return array.data();
}

std::optional<OMobj_id> Ledger::release(void* data, const char* file, int line) {
    if (!data) return std::nullopt;
    const auto found = entries_.find(data);
    if (found == entries_.end()) {
        fault("neither an open access nor an array of the caller's was released", data, place(file, line));
        return std::nullopt;
    }
    Entry& entry = found->second;
    std::optional<OMobj_id> changed;
    if (!entry.loans.empty()) {
        changed = end_loan(entry);
    } else {
        // an object still holds it: the memory stays until that lets go
        if (entry.allocated.use_count() > 1)
            fault("an array was freed that the host refers to", data, place(file, line));
        entry.allocated.reset();
    }
    if (entry.is_over()) entries_.erase(found);
    return changed;
}

std::optional<OMobj_id> Ledger::end_loan(Entry& entry) {
    const Loan loan = std::move(entry.loans.back());
    entry.loans.pop_back();
    if (!loan.writes) return std::nullopt;
    loan.block->end_write();
    return loan.owner;
}

Array Ledger::take(const char* operation, void* data, int type, xp_long count, int mode) {
    const auto bytes = array_bytes(type, count);
    if (!bytes || (mode != ARR_HOST_OWNS && mode != ARR_CALLER_OWNS)) return {};
    if (!data) return *bytes == 0 ? make_array(type, 0) : Array{};

    const auto found = entries_.find(data);
    const BlockPtr offered = found != entries_.end() ? found->second.offered : nullptr;
    if (offered && mode == ARR_CALLER_OWNS && *bytes <= offered->bytes()) return {offered, type, count};
    const bool callers = found != entries_.end() && found->second.allocated;
    if (callers && *bytes > found->second.allocated->bytes()) {
        fault("an array was given as longer than it is", data, operation);
        return {};
    }
    if (mode == ARR_CALLER_OWNS) return {callers ? found->second.allocated : Block::borrow(data, *bytes), type, count};
    if (!callers) {
        fault("an array was handed over that is not the caller's", data, operation);
        return {};
    }
    Array taken{std::move(found->second.allocated), type, count};
    found->second.allocated.reset();
    if (found->second.is_over()) entries_.erase(found);
    return taken;
}

void* Ledger::lend(const char* operation, Array& array, int mode, OMobj_id owner) {
    const bool writes = mode != ARR_READ;
    if (writes && array.block->is_fixed() && !make_own(array)) return nullptr;
    Loan loan{array.block, owner, writes, operation, module_};
    if (const auto found = entries_.find(array.data()); found != entries_.end()) {
        found->second.loans.push_back(std::move(loan));
    } else {
        Entry entry;  // complete before it is entered: no half-made entry is left if memory runs out
        entry.loans.push_back(std::move(loan));
        entries_.emplace(array.data(), std::move(entry));
    }
    if (writes) array.block->begin_write();
    return array.data();
}

void Ledger::offer(const void* data, std::size_t bytes, std::shared_ptr<const void> owner) {
    entries_[data].offered = Block::lend(data, bytes, std::move(owner));
}

void Ledger::withdraw(const void* data) {
    const auto found = entries_.find(data);
    if (found == entries_.end()) return;
    found->second.offered.reset();
    if (found->second.is_over()) entries_.erase(found);
}

std::shared_ptr<const void> Ledger::hold(const void* lent) const {
    const auto found = entries_.find(lent);
    if (found == entries_.end() || found->second.loans.empty()) return nullptr;
    const BlockPtr block = found->second.loans.back().block;
    block->begin_hold();
    ++held_arrays;
    return {lent, [block](const void* /*data*/) {
                block->end_hold();
                --held_arrays;
            }};
}

Account Ledger::account() const {
    Account account;
    account.held_arrays = held_arrays;
    account.allocations = allocations_;
    account.faults = faults_;
    for (const auto& [data, entry] : entries_) {
        if (entry.allocated) {
            ++account.outstanding_arrays;
            account.outstanding.push_back("array of " + std::to_string(entry.allocated->bytes()) +
                                          " bytes, allocated at " + entry.where);
        }
        for (const Loan& loan : entry.loans) {
            ++account.open_accesses;
            account.outstanding.push_back(std::string("access by ") + loan.operation +
                                          (loan.module.empty() ? "" : ", module " + loan.module));
        }
    }
    std::sort(account.outstanding.begin(), account.outstanding.end());
    return account;
}

void Ledger::reset() {
    faults_.clear();
    module_.clear();
    allocations_ = 0;
    allocations_until_failure_ = 0;
}

void Ledger::fault(const char* what, const void* data, const std::string& where) {
    if (faults_.size() >= kMaxFaults) return;
    char address[32];
    std::snprintf(address, sizeof address, " (%p)", data);
    faults_.push_back(where + ": " + what + address + (module_.empty() ? "" : ", module " + module_));
}

}  // namespace zam::host

using zam::host::state;

void* ARRalloc_f(void* /*reserved*/, int type, xp_long count, int /*zero*/, const char* file, int line) {
    try {
        return state().ledger.allocate(type, count, file, line);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void ARRfree_f(void* array, const char* file, int line) {
    const auto changed = state().ledger.release(array, file, line);
    if (changed) state().store.touch(*changed);
}
