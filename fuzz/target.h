// What targets share: what has to hold, and an instance of a module to work on.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "contract/om.h"
#include "embedded/host.h"

namespace zam::fuzz {

inline void require(bool held) {
    if (!held) std::abort();
}

inline std::string text_of(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Whether the numbers in a text have at most two digits in a row and no exponents: sizes, steps and units of the
/// timer. What has larger ones would take long.
inline bool has_small_numbers(const std::string& text) {
    int digits = 0;
    for (const char c : text) {
        const bool exponent = digits > 0 && (c == 'e' || c == 'E');
        digits = std::isdigit(static_cast<unsigned char>(c)) != 0 ? digits + 1 : 0;
        if (digits > 2 || exponent) return false;
    }
    return true;
}

#if defined(_WIN32)
constexpr const char* kNowhere = "NUL";
#else
constexpr const char* kNowhere = "/dev/null";
#endif

/// A file of these bytes to read, null if there can be none.
inline std::FILE* memory_file(const std::uint8_t* data, std::size_t size) {
#if defined(_WIN32)
    std::FILE* file = std::tmpfile();
    if (file == nullptr) return nullptr;
    std::fwrite(data, 1, size, file);
    std::rewind(file);
    return file;
#else
    return fmemopen(const_cast<std::uint8_t*>(data), size, "rb");
#endif
}

/// Requires that everything lent or allocated was given back.
inline void require_nothing_left() {
    const auto account = host::account();
    require(account.outstanding_arrays + account.open_accesses == 0 && account.faults.empty());
}

/// An instance in a fresh host, and how often something has been reported since.
class Instance {
public:
    Instance() {
        host::reset();
        id = host::create(host::root(), "instance", host::Kind::group);
        host::set_recorder(
            [this](const host::Record& record) { reports += record.what == host::Record::What::report ? 1 : 0; });
    }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;
    ~Instance() {
        host::set_recorder(nullptr);
        require_nothing_left();
    }

    OMobj_id add(const char* name, host::Kind kind) const { return host::create(id, name, kind); }
    void set(const char* name, int value) const { OMset_int_val(add(name, host::Kind::integer), value); }
    void set(const char* name, const std::string& text) const {
        OMset_str_val(add(name, host::Kind::text), text.c_str());
    }

    OMobj_id id{};
    int reports = 0;
};

}  // namespace zam::fuzz
