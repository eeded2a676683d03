// Joystick parameter files: one section of a profile file, a key for every setting.
// Reads section, use_default_file, default_file, load_file, save_file, the environment variable XP_PATH. Reads and
// writes the settings; writes load_status, loaded.
#include "modules/zam/joystick/QELjoySetParams.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <new>

#include "contract/contract.h"
#include "modules/support/batch.h"
#include "modules/support/text_value.h"
#include "platform/number_text.h"
#include "platform/profile.h"

namespace zam::joystick {

int parse_integer(const char* text) {
    return static_cast<int>(std::clamp<long long>(std::strtoll(text, nullptr, 10), INT_MIN, INT_MAX));
}

float parse_real(const char* text) { return static_cast<float>(platform::parse_real(text)); }

std::optional<int> parse_mode(const char* text) {
    const double value = platform::parse_real(text);
    if (std::isnan(value)) return std::nullopt;
    return static_cast<int>(std::clamp<double>(value, INT_MIN, INT_MAX));
}

std::string format_real(double value) {
    std::array<char, 64> text{};  // the largest float has 39 digits before the point
    const auto single = static_cast<double>(static_cast<float>(value));
    const auto end = std::to_chars(text.data(), text.data() + text.size(), single, std::chars_format::fixed, 6).ptr;
    return {text.data(), end};
}

std::string format_lower_half(int value) {
    const auto bits = std::bit_cast<std::uint64_t>(static_cast<double>(value));
    return std::to_string(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits)));
}

std::string default_file_path(std::string_view directories, std::string_view file) {
    return std::string(directories.substr(0, directories.find(' '))).append("\\").append(file);
}

}  // namespace zam::joystick

namespace {

using namespace zam::joystick;

// --- The settings ---

enum class Form { integer, real, mode };

struct Setting {
    const char* key;  // and the member's name
    Form form;
    const char* saved_as = key;    // key and member when saving; null: not saved
    bool saved_as_double = false;  // an integer
};

constexpr Setting kSettings[] = {
    {"joystick", Form::integer, "joystick", true},  // deliberate: passed as a double, printed as an int
    {"threshold", Form::real},
    {"pos_threshold", Form::real},
    {"interval", Form::integer},
    {"scale", Form::real},
    {"rot_scale", Form::real},
    {"rot_offset", Form::real},
    {"trans_scale", Form::real, nullptr},  // deliberate: never saved
    {"trans_offset", Form::real},
    {"scale_scale", Form::real},
    {"scale_offset", Form::real},
    {"btn_scale", Form::real},
    {"btn_offset", Form::real, "btn_scale"},  // deliberate: btn_scale once more
    {"x_pos_0_mode", Form::mode},
    {"x_pos_1_mode", Form::mode},
    {"x_pos_2_mode", Form::mode},
    {"x_pos_3_mode", Form::mode},
    {"y_pos_0_mode", Form::mode},
    {"y_pos_1_mode", Form::mode},
    {"y_pos_2_mode", Form::mode},
    {"y_pos_3_mode", Form::mode},
    {"z_pos_0_mode", Form::mode},
    {"z_pos_1_mode", Form::mode},
    {"z_pos_2_mode", Form::mode},
    {"z_pos_3_mode", Form::mode},
    {"r_pos_0_mode", Form::mode},
    {"r_pos_1_mode", Form::mode},
    {"r_pos_2_mode", Form::mode},
    {"r_pos_3_mode", Form::mode},
    {"btn_1_mode", Form::mode},
    {"btn_2_mode", Form::mode},
    {"btn_3_mode", Form::mode},
    {"btn_4_mode", Form::mode},
    {"btn_5_mode", Form::mode},
    {"btn_6_mode", Form::mode},
    {"btn_7_mode", Form::mode},
    {"btn_8_mode", Form::mode},
};

constexpr std::size_t kTextBuffer = 1024;  // 1023 characters

void load(const OMXobj& object, const Setting& setting, const char* section, const char* file) {
    std::array<char, kTextBuffer> text{};
    if (GetPrivateProfileStringA(section, setting.key, "", text.data(), kTextBuffer, file) == 0) return;
    switch (setting.form) {
        case Form::integer: OMXint(object, setting.key) = parse_integer(text.data()); break;
        case Form::real: OMXreal(object, setting.key) = static_cast<double>(parse_real(text.data())); break;
        case Form::mode:
            if (const auto mode = parse_mode(text.data())) OMXint(object, setting.key) = *mode;
            break;
    }
}

/// The text of a member that is to be saved; `nullopt` if the member has no value.
std::optional<std::string> saved_text(const OMXobj& object, const Setting& setting) {
    if (setting.form == Form::real) {
        double value = 0.0;
        if (OMXbprim_get_real_val(OMXreal(object, setting.saved_as), &value) != 1) return std::nullopt;
        return format_real(value);
    }
    int value = 0;
    if (OMXbprim_get_int_val(OMXint(object, setting.saved_as), &value) != 1) return std::nullopt;
    return setting.saved_as_double ? format_lower_half(value) : std::to_string(value);
}

std::optional<std::string> text_of(const OMXstr& member) {
    char* text = nullptr;
    if (!member.valid() || member.get(&text) != 1 || !text) return std::nullopt;
    const zam::HostText owned(text);
    return std::string(text);
}

}  // namespace

// --- The class ---

/// `nullopt` if none can be named.
std::optional<std::string> ZAM_LIB_QELjoySetParams::file_to_load() const {
    if (use_default_file() != 1) return text_of(load_file());
    const char* directories = std::getenv("XP_PATH");
    const auto file = text_of(default_file());
    if (!directories || !file) return std::nullopt;
    return default_file_path(directories, *file);
}

int ZAM_LIB_QELjoySetParams::init_params(unsigned event_mask, int seq) {
    use_default_file() = 1;
    load_params(event_mask, seq);
    use_default_file() = 0;
    return 1;
}

int ZAM_LIB_QELjoySetParams::load_params(unsigned /*event_mask*/, int /*seq*/) try {
    const auto file = file_to_load();
    if (!file) {
        load_status() = 0;
        return 0;  // silent: load_status shows it
    }
    const std::string name = text_of(section()).value_or("");
    {
        const zam::Context on_behalf(obj_id());
        for (const Setting& setting : kSettings) load(*this, setting, name.c_str(), file->c_str());
    }
    const zam::Context on_behalf(obj_id());
    load_status() = 1;  // deliberate: also when the file has none of the keys, or cannot be read
    loaded() = 1;
    return 1;
} catch (const std::bad_alloc&) {
    load_status() = 0;
    return 0;  // as for a file that cannot be named
}

int ZAM_LIB_QELjoySetParams::save_params(unsigned /*event_mask*/, int /*seq*/) try {
    const auto file = text_of(save_file());
    if (!file) return 1;
    const std::string name = text_of(section()).value_or("");
    const zam::Context on_behalf(obj_id());
    for (const Setting& setting : kSettings) {
        const auto text = setting.saved_as ? saved_text(*this, setting) : std::nullopt;
        if (text) WritePrivateProfileStringA(name.c_str(), setting.saved_as, text->c_str(), file->c_str());
    }
    return 1;
} catch (const std::bad_alloc&) {
    return 1;  // as for a file that cannot be written
}

// --- What the host calls ---

void* ZAM_LIB_QELjoySetParams_create(OMobj_id object) { return new (std::nothrow) ZAM_LIB_QELjoySetParams(object); }

void ZAM_LIB_QELjoySetParams_destroy(void* self) { delete static_cast<ZAM_LIB_QELjoySetParams*>(self); }

int ZAM_LIB_QELjoySetParams_init_params(void* self, unsigned event_mask, int seq) {
    return static_cast<ZAM_LIB_QELjoySetParams*>(self)->init_params(event_mask, seq);
}

int ZAM_LIB_QELjoySetParams_load_params(void* self, unsigned event_mask, int seq) {
    return static_cast<ZAM_LIB_QELjoySetParams*>(self)->load_params(event_mask, seq);
}

int ZAM_LIB_QELjoySetParams_save_params(void* self, unsigned event_mask, int seq) {
    return static_cast<ZAM_LIB_QELjoySetParams*>(self)->save_params(event_mask, seq);
}
