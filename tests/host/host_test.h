// What the tests of the host share: a fresh host for each, which has to hold nothing at the end.
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
    void SetUp() override {
        reset();
        module = create(root(), "module", Kind::group);
    }
    void TearDown() override {
        reset();
        const Account left = account();
        EXPECT_EQ(left.outstanding, std::vector<std::string>());
    }

    OMobj_id module{};

    OMobj_id add(const char* name, Kind kind) const { return create(module, name, kind); }
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

inline std::vector<float> floats(const float* values, xp_long count) { return {values, values + count}; }

}  // namespace zam::host
