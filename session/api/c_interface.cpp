// zam/zam.h over zam/session.h: handles, and texts in place of exceptions.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "session/network/definitions.h"
#include "session/outputs/json_writer.h"
#include "zam/session.h"
#include "zam/zam.h"

struct zam_session {
    zam::Session session;
    std::string modules = {};
};
struct zam_network {
    zam::Network network;
};
struct zam_object {
    zam::Value value;
};

namespace {

using zam::session::json_text;

thread_local std::string error_text;

/// What a call gives, or `failed` with a text of what went wrong.
template <class Result, class Body>
Result answer(Result failed, Body&& body) noexcept {
    try {
        error_text.clear();
        return body();
    } catch (const std::exception& error) {
        try {
            error_text = error.what();
        } catch (const std::bad_alloc&) {
            error_text.clear();
        }
        return failed;
    }
}

/// A call whose handle or text may be null by mistake.
template <class Result, class Body, class... Needed>
Result answer_with(Result failed, Body&& body, const Needed*... needed) noexcept {
    return answer(failed, [&] {
        if ((... || !needed)) throw zam::Error("a handle, name or place for a result is null");
        return body();
    });
}

/// The outcome of a run as a status.
int status(const zam::Outcome& outcome) {
    error_text = outcome.errors();
    return outcome.good() ? 1 : 0;
}

const char* or_empty(const char* text) { return text ? text : ""; }

zam::Array lend(int type, const void* values, std::int64_t count, zam_release release, void* user) {
    std::shared_ptr<const void> owner(values, [release, user](const void* /*values*/) {
        if (release) release(user);
    });
    if (count < 0) throw zam::Error("an array has a negative size");
    return {static_cast<zam::Type>(type), values, static_cast<std::size_t>(count), std::move(owner)};
}

const zam::Field& field_of(const zam_object* object) {
    const auto* field = object ? object->value.get<zam::Field>() : nullptr;
    if (!field) throw zam::Error("the object is no field");
    return *field;
}

const zam::Component& component_of(const zam_object* object, int component) {
    const zam::Field& field = field_of(object);
    if (component < 0 || static_cast<std::size_t>(component) >= field.data.size())
        throw zam::Error("the field has no component " + std::to_string(component));
    return field.data[static_cast<std::size_t>(component)];
}

/// A copy for the caller to free.
template <class T>
T* copied(const void* bytes, std::size_t count) {
    void* copy = std::malloc(std::max<std::size_t>(count, 1));
    if (!copy) throw zam::Error("memory is exhausted");
    std::memcpy(copy, bytes, count);
    return static_cast<T*>(copy);
}

std::string end_text(const std::optional<double>& end) {
    std::string text;
    if (end) zam::session::append_number(text, DTYPE_DOUBLE, &*end);
    return end ? text : "null";
}

std::string values_text(const zam::Parameter& parameter) {
    if (const auto& range = parameter.range)
        return ",\"range\":[" + end_text(range->low) + "," + end_text(range->high) + "]";
    std::string text;
    for (const auto& [value, name] : parameter.choices)
        text += (text.empty() ? "[" : ",[") + std::to_string(value) + "," + json_text(name) + "]";
    return text.empty() ? "" : ",\"choices\":[" + text + "]";
}

std::string parameter_text(const zam::Parameter& parameter) {
    const auto direction = static_cast<zam::session::Direction>(parameter.direction);
    return "{\"name\":" + json_text(parameter.name) + ",\"kind\":" + json_text(parameter.kind) +
           ",\"direction\":" + json_text(zam::session::direction_name(direction)) +
           (parameter.default_json.empty() ? "" : ",\"default\":" + parameter.default_json) + values_text(parameter) +
           ",\"meaning\":" + json_text(parameter.meaning) + "}";
}

std::string outputs_text(const std::vector<zam::Output>& outputs) {
    std::string text = "[";
    for (const auto& output : outputs)
        text += (text.size() > 1 ? ",\n{\"file\":" : "{\"file\":") + json_text(output.file) +
                ",\"from\":" + json_text(output.from) + ",\"kind\":" + json_text(output.kind) +
                ",\"at_end\":" + (output.at_end ? "true}" : "false}");
    return text + "]";
}

std::string modules_text(const std::vector<zam::Module>& modules) {
    std::string text;
    for (const auto& module : modules) {
        text += (text.empty() ? "[" : ",\n") + std::string("{\"module\":") + json_text(module.name) +
                ",\"entry\":" + json_text(module.entry) + ",\"summary\":" + json_text(module.summary);
        std::string parameters;
        for (const auto& parameter : module.parameters)
            parameters += (parameters.empty() ? "" : ",") + parameter_text(parameter);
        text += ",\"parameters\":[" + parameters + "]}";
    }
    return text.empty() ? "[]" : text + "]";
}

}  // namespace

const char* zam_error(void) { return error_text.c_str(); }

// --- Sessions ---

zam_session* zam_open(const char* plugins) {
    return answer<zam_session*>(nullptr, [&] { return new zam_session{zam::Session(or_empty(plugins))}; });
}

void zam_close(zam_session* session) { delete session; }

const char* zam_modules(zam_session* session) {
    return answer_with<const char*>(
        nullptr,
        [&] {
            if (session->modules.empty()) session->modules = modules_text(session->session.modules());
            return session->modules.c_str();
        },
        session);
}

// --- Networks ---

zam_network* zam_new(zam_session* session) {
    return answer_with<zam_network*>(
        nullptr, [&] { return new zam_network{session->session.network()}; }, session);
}

zam_network* zam_load(zam_session* session, const char* file) {
    return answer_with<zam_network*>(
        nullptr, [&] { return new zam_network{session->session.load(file)}; }, session, file);
}

zam_network* zam_parse(zam_session* session, const char* text, const char* directory) {
    return answer_with<zam_network*>(
        nullptr, [&] { return new zam_network{session->session.parse(text, or_empty(directory))}; }, session, text);
}

void zam_end(zam_network* network) { delete network; }

int zam_add(zam_network* network, const char* name, const char* module) {
    return answer_with(
        0, [&] { return network->network.add(name, module), 1; }, network, name, module);
}

int zam_set(zam_network* network, const char* target, const char* json) {
    return answer_with(
        0, [&] { return network->network.set(target, zam::Json{json}), 1; }, network, target, json);
}

int zam_connect(zam_network* network, const char* target, const char* source, const char* convert) {
    return answer_with(
        0, [&] { return network->network.connect(target, source, or_empty(convert)), 1; }, network, target, source);
}

int zam_lend_array(zam_network* network, const char* target, int type, const void* values, int64_t count,
                   zam_release release, void* user) {
    return answer(0, [&] {
        const zam::Array array = lend(type, values, count, release, user);
        if (!network || !target) throw zam::Error("a handle or name is null");
        return network->network.set(target, array), 1;
    });
}

int zam_lend_field(zam_network* network, const char* target, const int64_t* dims, int ndim, int veclen, int type,
                   const void* values, zam_release release, void* user) {
    return answer(0, [&] {
        std::int64_t count = veclen;
        // what is too large, or negative, is refused with the field
        for (int axis = 0; dims && axis < ndim; ++axis)
            count = dims[axis] < 0 || __builtin_mul_overflow(count, dims[axis], &count) ? 0 : count;
        const zam::Array array = lend(type, values, count, release, user);
        if (!network || !target || !dims) throw zam::Error("a handle, name or list is null");
        const std::vector<std::int64_t> lengths(dims, dims + std::max(ndim, 0));
        return network->network.set(target, zam::uniform_field(lengths, array, veclen)), 1;
    });
}

// --- Runs ---

int zam_listen(zam_network* network, zam_on_report report, zam_on_progress progress, void* user) {
    zam::Callbacks callbacks;
    if (report) {
        callbacks.report = [=](const zam::Report& one) {
            report(user, static_cast<int>(one.severity), one.module.c_str(), one.text.c_str());
        };
    }
    if (progress) {
        callbacks.progress = [=](const zam::Progress& now) {
            return progress(user, std::string(now.module).c_str(), now.percent, std::string(now.text).c_str()) != 0;
        };
    }
    return answer_with(
        0, [&] { return network->network.listen(std::move(callbacks)), 1; }, network);
}

int zam_prepare(zam_network* network, int strict, const char* log) {
    return answer_with(
        0, [&] { return network->network.prepare({.strict = strict != 0, .log = or_empty(log)}), 1; }, network);
}

int zam_run(zam_network* network) {
    return answer_with(
        0, [&] { return status(network->network.run()); }, network);
}

int zam_play(zam_network* network, const char* directory) {
    return answer_with(
        0, [&] { return status(network->network.play(or_empty(directory))); }, network);
}

int zam_loop(zam_network* network, double seconds) {
    return answer_with(
        0, [&] { return status(network->network.loop(seconds)); }, network);
}

int zam_write_all(zam_network* network, const char* directory) {
    return answer_with(
        0, [&] { return status(network->network.write(or_empty(directory))); }, network);
}

int zam_write(zam_network* network, const char* file, const char* reference) {
    return answer_with(
        0, [&] { return status(network->network.write(file, zam::Json{json_text(reference)})); }, network, file,
        reference);
}

char* zam_outputs(zam_network* network) {
    return answer_with<char*>(
        nullptr,
        [&] {
            const std::string text = outputs_text(network->network.outputs());
            return copied<char>(text.c_str(), text.size() + 1);
        },
        network);
}

void zam_cancel(zam_network* network) {
    if (network) network->network.cancel();
}

// --- Results ---

zam_object* zam_get(zam_network* network, const char* reference) {
    return answer_with<zam_object*>(
        nullptr, [&] { return new zam_object{network->network.get(reference)}; }, network, reference);
}

void zam_let_go(zam_object* object) { delete object; }

int zam_dims(const zam_object* object, int64_t* dims, int room) {
    return answer(-1, [&] {
        const auto& lengths = field_of(object).dims;
        const auto count = std::min(lengths.size(), static_cast<std::size_t>(dims ? std::max(room, 0) : 0));
        std::copy_n(lengths.begin(), count, dims);
        return static_cast<int>(lengths.size());
    });
}

int zam_components(const zam_object* object) {
    return answer(-1, [&] { return static_cast<int>(field_of(object).data.size()); });
}

const void* zam_values(const zam_object* object, int component, int* type, int64_t* count, int* veclen) {
    return answer<const void*>(nullptr, [&]() -> const void* {
        const auto* alone = object && component == 0 ? object->value.get<zam::Array>() : nullptr;
        const zam::Array& array = alone ? *alone : component_of(object, component).values;
        if (type) *type = static_cast<int>(array.type());
        if (count) *count = static_cast<std::int64_t>(array.size());
        if (veclen) *veclen = alone ? 1 : component_of(object, component).veclen;
        if (array.empty()) throw zam::Error("there are no values");
        return array.data();
    });
}

const char* zam_label(const zam_object* object, int component) {
    return answer("", [&] { return component_of(object, component).label.c_str(); });
}

const char* zam_units(const zam_object* object, int component) {
    return answer("", [&] { return component_of(object, component).units.c_str(); });
}

int zam_number(const zam_object* object, double* number) {
    return answer_with(
        0,
        [&] {
            const auto* whole = object->value.get<std::int64_t>();
            const auto* real = object->value.get<double>();
            if (!whole && !real) throw zam::Error("the object is no number");
            *number = whole ? static_cast<double>(*whole) : *real;
            return 1;
        },
        object, number);
}

const char* zam_text(const zam_object* object) {
    return answer<const char*>(nullptr, [&] {
        const auto* text = object ? object->value.get<std::string>() : nullptr;
        if (!text) throw zam::Error("the object is no text");
        return text->c_str();
    });
}

uint8_t* zam_image(zam_network* network, const char* reference, int64_t* width, int64_t* height) {
    return answer_with<std::uint8_t*>(
        nullptr,
        [&] {
            const zam::Image image = network->network.image(reference);
            *width = image.width;
            *height = image.height;
            return copied<std::uint8_t>(image.pixels.data(), image.pixels.size());
        },
        network, reference, width, height);
}

char* zam_json(zam_network* network, const char* reference) {
    return answer_with<char*>(
        nullptr,
        [&] {
            const std::string text = network->network.json(reference);
            return copied<char>(text.c_str(), text.size() + 1);
        },
        network, reference);
}

void zam_free(void* result) { std::free(result); }

int64_t zam_arrays_held(void) { return zam::account().held; }
int64_t zam_arrays_outstanding(void) { return zam::account().outstanding; }
