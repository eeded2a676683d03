// Guards for arrays that modules and host lend each other. Every path out of a scope releases what it holds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

#include "base/element_types.h"
#include "contract/arr.h"
#include "contract/om.h"
#include "modules/support/source_place.h"

namespace zam {

/// An array that a getter of the host lent. Empty if the getter gave none. Its destructor ends the access.
///
///     HostArray<float> points;
///     if (FLDget_points(field, points.receive(), points.receive_count(), ARR_READ) != 1) return 0;
template <class T>
class HostArray {
    static_assert(!std::is_same_v<std::remove_cv_t<T>, std::byte>, "values of a type known at run time are TypedBytes");

public:
    explicit HostArray(SourcePlace where = SourcePlace::here()) : where_(where) {}
    HostArray(T* data, xp_long size, SourcePlace where = SourcePlace::here())
        : data_(data), size_(size), where_(where) {}
    HostArray(HostArray&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)), where_(other.where_) {}
    HostArray& operator=(HostArray&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(where_, other.where_);
        return *this;
    }
    ~HostArray() { end_access(); }

    /// Where a getter writes the pointer and the count.
    T** receive() { return &data_; }
    void** receive_untyped() { return reinterpret_cast<void**>(&data_); }
    xp_long* receive_count() { return &size_; }

    explicit operator bool() const { return data_ != nullptr; }
    T* data() const { return data_; }
    /// A count without an array is ignored: a host may give one and then have nothing to lend.
    xp_long size() const { return data_ ? size_ : 0; }
    std::span<T> span() const { return data_ ? std::span<T>(data_, static_cast<std::size_t>(size_)) : std::span<T>(); }
    T& operator[](xp_long index) const { return data_[index]; }

    /// Ends the access before the scope does.
    void end_access() {
        if (data_) ARRfree_f(const_cast<std::remove_cv_t<T>*>(data_), where_.file, where_.line);
        data_ = nullptr;
        size_ = 0;
    }

private:
    T* data_ = nullptr;
    xp_long size_ = 0;
    SourcePlace where_;
};

/// An array allocated for the host: freed unless it was handed over.
///
///     auto red = OutArray<std::uint8_t>::allocate(size);
///     if (!red) return report.fail("red array is not allocated\n");
///     ...
///     if (OMset_array(id, red.type(), red.data(), red.size(), ARR_HOST_OWNS) == 1) red.release();
template <class T>
class OutArray {
    static_assert(!std::is_same_v<std::remove_cv_t<T>, std::byte>,
                  "values of a type known at run time: OwnedTypedBytes");

public:
    OutArray() = default;
    OutArray(OutArray&& other) noexcept { swap(other); }
    OutArray& operator=(OutArray&& other) noexcept {
        swap(other);
        return *this;
    }
    ~OutArray() {
        if (data_) ARRfree_f(data_, where_.file, where_.line);
    }

    /// `count` uninitialised elements. Empty if memory is exhausted or `count` is negative.
    static OutArray allocate(xp_long count, SourcePlace where = SourcePlace::here()) {
        return allocate_as(kTypeCode<T>, count, where);
    }

    /// As allocate(), with another type code than that of T.
    static OutArray allocate_as(int type, xp_long count, SourcePlace where = SourcePlace::here()) {
        OutArray array;
        array.where_ = where;
        array.type_ = type;
        array.size_ = count;
        if (count >= 0) array.data_ = static_cast<T*>(ARRalloc_f(nullptr, type, count, 0, where.file, where.line));
        return array;
    }

    explicit operator bool() const { return data_ != nullptr; }
    T* data() const { return data_; }
    xp_long size() const { return size_; }
    int type() const { return type_; }
    std::span<T> span() const { return {data_, static_cast<std::size_t>(size_)}; }
    T& operator[](xp_long index) const { return data_[index]; }

    /// The host has taken the array over.
    T* release() { return std::exchange(data_, nullptr); }

private:
    void swap(OutArray& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(type_, other.type_);
        std::swap(where_, other.where_);
    }

    T* data_ = nullptr;
    xp_long size_ = 0;
    int type_ = DTYPE_CHAR;
    SourcePlace where_{};
};

}  // namespace zam
