// Joystick parameter files: the class and its exported functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "contract/omx.h"

namespace zam::joystick {

/// A text of a parameter file as a decimal integer; beyond int it is the nearest int, without digits it is 0.
int parse_integer(const char* text);
/// As a real in single precision; 0 without a number, infinite beyond it.
float parse_real(const char* text);
/// As a mode: a real truncated toward zero, beyond int the nearest int; `nullopt` for what is not a number.
std::optional<int> parse_mode(const char* text);

/// A real as "%f" writes it in single precision, always with a point.
std::string format_real(double value);
/// What "%d" writes of a double-precision number: the lower half of its 64 bits.
std::string format_lower_half(int value);

/// The first entry of a list of directories that blanks separate, with the name of a file in it.
std::string default_file_path(std::string_view directories, std::string_view file);

}  // namespace zam::joystick

/// Keeps the settings of joysticks, members of the instance, in parameter files. The parameters are in
/// QELjoySetParams.json. Methods take the host's event mask and sequence number, which do not matter.
class ZAM_LIB_QELjoySetParams : public OMXobj {
public:
    using OMXobj::OMXobj;

    /// Loads the default file. @return 1
    int init_params(unsigned event_mask, int seq);
    /// Sets the members that the file has keys for. @return 1, or 0 if no file could be named
    int load_params(unsigned event_mask, int seq);
    /// Writes the members to save_file. Failures are not reported. @return 1
    int save_params(unsigned event_mask, int seq);

    // Members. They are looked up at each use, as networks may take parameters away and make them again.
    OMXstr section() const { return {*this, "section"}; }
    OMXint use_default_file() const { return {*this, "use_default_file"}; }
    OMXstr default_file() const { return {*this, "default_file"}; }
    OMXstr save_file() const { return {*this, "save_file"}; }
    OMXstr load_file() const { return {*this, "load_file"}; }
    OMXint load_status() const { return {*this, "load_status"}; }
    OMXint loaded() const { return {*this, "loaded"}; }

private:
    std::optional<std::string> file_to_load() const;
};

#ifdef __cplusplus
extern "C" {
#endif

ZAM_MODULE_API void* ZAM_LIB_QELjoySetParams_create(OMobj_id object);
ZAM_MODULE_API void ZAM_LIB_QELjoySetParams_destroy(void* self);
ZAM_MODULE_API int ZAM_LIB_QELjoySetParams_init_params(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoySetParams_load_params(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoySetParams_save_params(void* self, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
