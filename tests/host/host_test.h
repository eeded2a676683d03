// What the tests of the host share: a fresh host for each, with nothing left over at the end.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
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

/// An array of ARRalloc_f with these values.
template <class T>
T* filled(int type, std::initializer_list<T> values) {
    auto* array =
        static_cast<T*>(ARRalloc_f(nullptr, type, static_cast<xp_long>(values.size()), 0, __FILE__, __LINE__));
    std::copy(values.begin(), values.end(), array);
    return array;
}

inline void end_access(void* array) { ARRfree_f(array, __FILE__, __LINE__); }

inline std::vector<float> floats(const float* values, xp_long count) { return {values, values + count}; }

}  // namespace zam::host
