// Guards for arrays that the host lends and for arrays on their way to it.
#pragma once

#include <cstddef>
#include <span>
#include <utility>

#include "base/element_types.h"
#include "contract/arr.h"
#include "embedded/host.h"
#include "session/objects/run_error.h"
#include "session/values/number_array.h"

namespace zam::session {

/// An array that a getter lent; its destructor ends the access.
///
///     LentArray<float> points;
///     if (FLDget_points(field, points.receive(), points.receive_count(), ARR_READ) == 1) use(points.span());
template <class T>
class LentArray {
public:
    LentArray() = default;
    LentArray(T* data, xp_long count) : data_(data), count_(count) {}
    LentArray(LentArray&& other) noexcept : data_(std::exchange(other.data_, nullptr)), count_(other.count_) {}
    LentArray& operator=(LentArray&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(count_, other.count_);
        return *this;
    }
    ~LentArray() { ARRfree_f(const_cast<std::remove_const_t<T>*>(data_), __FILE__, __LINE__); }

    T** receive() { return &data_; }
    xp_long* receive_count() { return &count_; }

    explicit operator bool() const { return data_ != nullptr; }
    const T* data() const { return data_; }
    xp_long count() const { return data_ ? count_ : 0; }
    std::span<const T> span() const { return {data_, static_cast<std::size_t>(count())}; }

private:
    T* data_ = nullptr;
    xp_long count_ = 0;
};

/// Values on their way to the host: lent to it, or else allocated by it, filled, handed over or freed again.
class HandedArray {
public:
    explicit HandedArray(const NumberArray& values) {
        auto owner = values.source && values.count > 0 ? values.source->owner() : nullptr;
        if (owner) {
            lent_ = values.source->in_memory();
            const auto bytes = static_cast<std::size_t>(values.count) * type_size(values.type);
            host::offer(lent_, bytes, std::move(owner));
            return;
        }
        data_ = ARRalloc_f(nullptr, values.type, values.count, 0, __FILE__, __LINE__);
        require(data_ != nullptr, "memory is exhausted");
        const std::string error = copy_values(values, data_);
        if (error.empty()) return;
        ARRfree_f(data_, __FILE__, __LINE__);
        throw RunError(error);
    }
    HandedArray(const HandedArray&) = delete;
    HandedArray& operator=(const HandedArray&) = delete;
    ~HandedArray() {
        if (data_) ARRfree_f(data_, __FILE__, __LINE__);
        if (lent_) host::withdraw(lent_);
    }

    /// Hands the array over with `set(data, mode)`, a setter call.
    template <class T, class Set>
    void hand_over(const char* what, Set set) {
        void* const data = lent_ ? const_cast<std::byte*>(lent_) : data_;
        const int mode = lent_ ? ARR_CALLER_OWNS : ARR_HOST_OWNS;
        require(set(static_cast<T*>(data), mode) == OM_STAT_SUCCESS, what);
        data_ = nullptr;
    }

private:
    void* data_ = nullptr;             // of the host
    const std::byte* lent_ = nullptr;  // of another owner, which the host does not write to
};

}  // namespace zam::session
