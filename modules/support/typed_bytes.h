// Values of a type that is known only at run time, as bytes: lent by the host, or allocated for it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

#include "contract/fld.h"
#include "contract/om.h"
#include "modules/support/host_array.h"
#include "modules/support/memory_budget.h"

namespace zam {

/// Values that the host lends.
class TypedBytes {
public:
    explicit TypedBytes(SourcePlace where = SourcePlace::here()) : lent_(where) {}

    /// The values of component `comp`; `nullopt` if the host has none.
    static std::optional<TypedBytes> read(OMobj_id field, int comp, SourcePlace where = SourcePlace::here()) {
        return open(field, comp, ARR_READ, where);
    }
    /// As read(), for values that are changed in place.
    static std::optional<TypedBytes> change(OMobj_id field, int comp, SourcePlace where = SourcePlace::here()) {
        return open(field, comp, ARR_READ_WRITE, where);
    }

    /// The values of the array in sub-object `name`; `nullopt` if the host has none.
    static std::optional<TypedBytes> read_array(OMobj_id object, const char* name,
                                                SourcePlace where = SourcePlace::here()) {
        TypedBytes values(where);
        xp_long count = 0;
        void* data = OMret_name_array_ptr(object, OMstr_to_name(name), ARR_READ, &count, &values.type_);
        values.lent_ = {static_cast<std::uint8_t*>(data), count, where};
        return values.lent_ ? std::optional(std::move(values)) : std::nullopt;
    }

    int type() const { return type_; }
    xp_long count() const { return lent_.size(); }  // values, not bytes
    std::span<const std::byte> bytes() const {
        return {reinterpret_cast<const std::byte*>(lent_.data()),
                static_cast<std::size_t>(std::max<xp_long>(count(), 0)) * type_size(type_)};
    }

    /// The values as elements of T. @pre  the type's elements are T, or raw bytes for unsigned ones
    template <class T>
    std::span<const T> as() const {
        return as_writable<T>();
    }
    /// As as(). @pre  lent by change()
    template <class T>
    std::span<T> as_writable() const {
        return {reinterpret_cast<T*>(lent_.data()), static_cast<std::size_t>(std::max<xp_long>(count(), 0))};
    }

private:
    static std::optional<TypedBytes> open(OMobj_id field, int comp, int mode, SourcePlace where) {
        TypedBytes values(where);
        HostArray<std::uint8_t>& lent = values.lent_;
        if (FLDget_node_data(field, comp, &values.type_, lent.receive_untyped(), lent.receive_count(), mode) != 1 ||
            !lent)
            return std::nullopt;
        return values;
    }

    int type_ = DTYPE_BYTE;
    HostArray<std::uint8_t> lent_;
};

/// Values allocated for the host: freed unless they were handed over.
class OwnedTypedBytes {
public:
    /// `count` uninitialised values; empty if they do not fit into the budget or cannot be allocated.
    static OwnedTypedBytes allocate(MemoryBudget& memory, int type, xp_long count,
                                    SourcePlace where = SourcePlace::here()) {
        OwnedTypedBytes values;
        values.owned_ = memory.allocate_as<std::uint8_t>(type, count, where);
        return values;
    }
    /// As above, for what a budget has been charged with already.
    static OwnedTypedBytes allocate(int type, xp_long count, SourcePlace where = SourcePlace::here()) {
        OwnedTypedBytes values;
        values.owned_ = OutArray<std::uint8_t>::allocate_as(type, count, where);
        return values;
    }

    explicit operator bool() const { return static_cast<bool>(owned_); }
    int type() const { return owned_.type(); }
    xp_long count() const { return owned_.size(); }  // values, not bytes
    std::span<std::byte> bytes() const {
        return {reinterpret_cast<std::byte*>(owned_.data()), static_cast<std::size_t>(count()) * type_size(type())};
    }

    /// Hands the values over to a component, whose veclen is set. @return false if the host refuses them; they stay
    /// here
    bool hand_over(OMobj_id field, int comp) {
        if (FLDset_node_data(field, comp, owned_.data(), type(), count(), ARR_HOST_OWNS) != 1) return false;
        owned_.release();
        return true;
    }

private:
    OutArray<std::uint8_t> owned_;
};

}  // namespace zam
