// Parts: sources that need a library which few runs need lie in a shared library of their own (zam_part in
// cmake/ZamOptions.cmake) and are loaded when they are first called, so that a program does not begin by loading all
// that it could ever need. A source of a part is translated twice, in the part with ZAM_WITH_..., in the program
// without:
//
//     #if defined(ZAM_WITH_NETCDF)
//     std::vector<DataArray> open_netcdf(const std::string& file) { ... }
//     ZAM_PART_EXPORT(open_netcdf)
//     #else
//     std::vector<DataArray> open_netcdf(const std::string& file) {
//         static const auto open = part_function<decltype(open_netcdf)>("zam_netcdf", "open_netcdf");
//         if (!open) throw DataError("this build reads no NetCDF files: it was made without libnetcdf");
//         return open(file);
//     }
//     #endif
//
// What a part makes may outlive every call: parts are never unloaded.
#pragma once

/// Exports a function of a part by its plain name, in the namespace that it belongs to.
#if defined(ZAM_IS_PART)
#define ZAM_PART_EXPORT(FUNCTION)                               \
    extern "C" {                                                \
    extern const decltype(&(FUNCTION)) zam_part_##FUNCTION;     \
    const decltype(&(FUNCTION)) zam_part_##FUNCTION = FUNCTION; \
    }
#else
#define ZAM_PART_EXPORT(FUNCTION) static_assert(true);
#endif

namespace zam {

/// What a part exports; null if the part is not there, or cannot be loaded.
const void* part_export(const char* part, const char* function);

/// A function of a part; null as above.
template <class Function>
Function* part_function(const char* part, const char* function) {
    const void* found = part_export(part, function);
    return found ? *static_cast<Function* const*>(found) : nullptr;
}

}  // namespace zam
