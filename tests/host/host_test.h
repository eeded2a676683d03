// What the tests of the host share: a fresh host for each, in which nothing is outstanding at the end.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"

namespace zam::host {

class HostTest : public testing::Test {
protected:
    HostTest() {
        reset();
        module = create(root(), "module", Kind::group);
    }
    void TearDown() override {
        reset();
        EXPECT_EQ(account().outstanding, std::vector<std::string>());
    }
    OMobj_id add(const char* name, Kind kind) const { return create(module, name, kind); }

    OMobj_id module{};
};

inline OMobj_name token(const char* name) { return OMstr_to_name(name); }

/// An array from ARRalloc_f with these values.
template <class T>
T* filled(int type, std::initializer_list<T> values) {
    auto* array =
        static_cast<T*>(ARRalloc_f(nullptr, type, static_cast<xp_long>(values.size()), 0, __FILE__, __LINE__));
    std::copy(values.begin(), values.end(), array);
    return array;
}

inline void end_access(void* array) { ARRfree_f(array, __FILE__, __LINE__); }

/// A reference that owns what it refers to.
inline OMobj_id owner(OMobj_id parent, const char* name, OMobj_id target) {
    const OMobj_id holder = create(parent, name, Kind::unset);
    OMset_obj_ref_mode(holder, 1);
    OMset_obj_ref(holder, target);
    return holder;
}

/// What a getter of one value gives, from a component or a step where it asks for one; `nullopt` if it fails.
template <class T, class Get, class... Index>
std::optional<T> got(Get get, OMobj_id object, Index... index) {
    T value{};
    return get(object, index..., &value) == 1 ? std::optional(value) : std::nullopt;
}

/// A copy of the array that a getter lends, taken after `change`; `nullopt` if the getter fails.
template <class T>
std::optional<std::vector<T>> lent(int (*get)(OMobj_id, T**, xp_long*, int), OMobj_id object, int mode,
                                   const std::function<void(T*)>& change = nullptr) {
    T* data = nullptr;
    xp_long size = 0;
    if (get(object, &data, &size, mode) != 1) return std::nullopt;
    if (change) change(data);
    std::vector<T> copy(data, data + size);
    end_access(data);
    return copy;
}

/// Type and size of the values of component 0 that the host lends, after `change`; zeros if it lends none.
inline std::pair<int, xp_long> node_data(OMobj_id field, int mode, const std::function<void(void*)>& change = nullptr) {
    void* data = nullptr;
    int type = 0;
    xp_long size = 0;
    if (FLDget_node_data(field, 0, &type, &data, &size, mode) != 1) return {};
    if (change) change(data);
    end_access(data);
    return {type, size};
}

using Floats = std::vector<float>;

/// The matrix that a getter gives; empty if it fails.
inline Floats matrix_of(int (*get)(OMobj_id, float*), OMobj_id object) {
    Floats matrix(16);
    return get(object, matrix.data()) == 1 ? matrix : Floats();
}
inline Floats moved(Floats point, const Floats& matrix) {
    MATvec3_mat4_multiply(point.data(), matrix.data());
    return point;
}

}  // namespace zam::host
