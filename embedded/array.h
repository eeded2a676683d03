// Arrays that objects hold, and the account of what the host has lent and allocated.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/element_types.h"
#include "embedded/host.h"

namespace zam::host {

/// Bytes of `count` elements; `nullopt` for an unknown type, a negative count or a size beyond any machine's.
std::optional<std::size_t> array_bytes(int type, xp_long count);

/// Whether `mode` is one of the ARR_ access modes.
constexpr bool is_access_mode(int mode) { return mode >= ARR_READ && mode <= ARR_READ_WRITE; }

/// A piece of memory that objects share: the host's own, or memory that stays the caller's.
class Block {
public:
    /// Zeroed memory of the host's own, or null if memory is exhausted. A single piece is checked by itself;
    /// modules see to it that all arrays of an update fit together.
    static std::shared_ptr<Block> make(std::size_t bytes);
    static std::shared_ptr<Block> borrow(void* data, std::size_t bytes);
    /// Memory that is kept by its owner and that nobody writes to.
    static std::shared_ptr<Block> lend(const void* data, std::size_t bytes, std::shared_ptr<const void> owner);

    Block(void* data, std::size_t bytes, bool owned, std::shared_ptr<const void> owner = {})
        : data_(data), bytes_(bytes), owned_(owned), owner_(std::move(owner)) {}
    ~Block();
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    void* data() const { return data_; }
    std::size_t bytes() const { return bytes_; }

    /// Counts accesses that may have changed the contents, so that values derived from them know when they are stale.
    void begin_write() { ++writers_; }
    void end_write() {
        --writers_;
        ++writes_;
    }
    bool being_written() const { return writers_ > 0; }
    std::uint64_t writes() const { return writes_; }

    /// Counts those outside the host that keep the contents as they are; they may let go on any thread.
    void begin_hold() { ++holders_; }
    void end_hold() { --holders_; }
    /// Whether whoever is about to write has to do so in a copy.
    bool is_fixed() const { return owner_ || holders_ > 0; }
    /// Counts writes from where another block is, which this one replaces.
    void follow(const Block& other) { writes_ = other.writes_; }

private:
    void* data_;
    std::size_t bytes_;
    bool owned_;
    std::shared_ptr<const void> owner_;  // of memory that is lent
    int writers_ = 0;
    std::uint64_t writes_ = 0;
    std::atomic<int> holders_ = 0;
};

using BlockPtr = std::shared_ptr<Block>;

/// A typed array as an object holds it. Copies share the memory.
struct Array {
    BlockPtr block;
    int type = DTYPE_FLOAT;
    xp_long count = 0;

    explicit operator bool() const { return block != nullptr; }
    void* data() const { return block ? block->data() : nullptr; }
    template <class T>
    T* as() const {
        return static_cast<T*>(data());
    }
};

/// A zeroed array of the host's own; empty if memory is exhausted.
Array make_array(int type, xp_long count);

/// What was computed from the contents of an array; valid until these change.
template <class T>
class Derived {
public:
    const T* get(const Array& from) const {
        const bool current = value_ && from && !from.block->being_written() && from.block->writes() == writes_;
        return current ? &*value_ : nullptr;
    }
    void set(const Array& from, const T& value) {
        value_ = value;
        writes_ = from.block->writes();
    }
    void reset() { value_.reset(); }

private:
    std::optional<T> value_;
    std::uint64_t writes_ = 0;
};

/// Knows every array that callers hold and every access that getters lent. What goes wrong becomes a fault in the
/// account; the call that did it fails and changes nothing.
class Ledger {
public:
    /// As ARRalloc_f.
    void* allocate(int type, xp_long count, const char* file, int line);

    /// As ARRfree_f. Gives the object whose array was open for writing until now.
    std::optional<OMobj_id> release(void* data, const char* file, int line);

    /// Takes an array that a setter was given, as its hand-over mode says. Empty on failure: the array stays the
    /// caller's. Call it last, once nothing else in the operation can fail.
    Array take(const char* operation, void* data, int type, xp_long count, int mode);

    /// Opens an access to `array`, which `owner` holds. Contents that are kept as they are get a copy that is written
    /// to.
    /// @param operation  the getter, a text that stays
    /// @return null if there is no memory for the copy
    void* lend(const char* operation, Array& array, int mode, OMobj_id owner);

    /// Lets take() recognise memory that is lent, until it is withdrawn.
    void offer(const void* data, std::size_t bytes, std::shared_ptr<const void> owner);
    void withdraw(const void* data);
    /// As host::hold().
    std::shared_ptr<const void> hold(const void* lent) const;

    Account account() const;
    void fail_allocation(std::int64_t n) { allocations_until_failure_ = n; }

    /// Names the module that runs now, for the account.
    void set_module(std::string_view name) { module_ = name; }

    /// Forgets faults, counts and switches. Arrays and accesses that are outstanding stay.
    void reset();

private:
    struct Loan {
        BlockPtr block;  // keeps the memory as long as the access is open
        OMobj_id owner;
        bool writes;
        const char* operation;
        std::string module;
    };
    struct Entry {
        BlockPtr allocated;  // set as long as the array is the caller's
        BlockPtr offered;    // memory that is lent
        std::string where;   // of the call of ARRalloc_f
        std::vector<Loan> loans;

        bool is_over() const { return !allocated && !offered && loans.empty(); }
    };

    std::optional<OMobj_id> end_loan(Entry& entry);
    void fault(const char* what, const void* data, const std::string& where);

    std::unordered_map<const void*, Entry> entries_;
    std::vector<std::string> faults_;
    std::string module_;
    std::int64_t allocations_ = 0;
    std::int64_t allocations_until_failure_ = 0;
};

}  // namespace zam::host
