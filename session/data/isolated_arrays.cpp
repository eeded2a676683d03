#include "session/data/isolated_arrays.h"

#if !defined(__unix__)

namespace zam::session {

std::vector<DataArray> open_isolated(std::vector<DataArray> (*open)(const std::string& file), const std::string& file) {
    return open(file);
}

}  // namespace zam::session

#else

#include <poll.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <type_traits>

#include "base/element_types.h"
#include "session/data/data_error.h"

namespace zam::session {
namespace {

constexpr std::size_t kWindowBytes = std::size_t{1} << 20;  // of values per request
constexpr int kPatience = 60'000;                           // milliseconds
constexpr std::uint64_t kMaxMessage = std::uint64_t{1} << 30;

// --- Messages ---

bool write_all(int descriptor, const void* data, std::size_t size) {
    const auto* at = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(descriptor, at, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        at += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

/// @param patience  milliseconds until something has to come; -1: for ever
bool read_all(int descriptor, void* data, std::size_t size, int patience) {
    auto* at = static_cast<char*>(data);
    while (size > 0) {
        pollfd waiting{descriptor, POLLIN, 0};
        const int ready = ::poll(&waiting, 1, patience);
        if (ready < 0 && errno == EINTR) continue;
        const ssize_t got = ready > 0 ? ::read(descriptor, at, size) : 0;
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        at += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool write_message(int descriptor, const std::string& message) {
    const std::uint64_t size = message.size();
    return write_all(descriptor, &size, sizeof size) && write_all(descriptor, message.data(), message.size());
}

std::optional<std::string> read_message(int descriptor) {
    std::uint64_t size = 0;
    if (!read_all(descriptor, &size, sizeof size, kPatience) || size > kMaxMessage) return std::nullopt;
    std::string message(size, '\0');
    return read_all(descriptor, message.data(), size, kPatience) ? std::optional(std::move(message)) : std::nullopt;
}

// --- Arrays as messages ---

/// Appends the parts of arrays to a message.
struct Packer {
    std::string message;

    template <class T>
    void operator()(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        message.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    void operator()(const std::string& text) {
        (*this)(text.size());
        message += text;
    }
    void operator()(const std::vector<float>& values) {
        (*this)(values.size());
        if (!values.empty())
            message.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(float));
    }
};

/// Takes them out again. What is missing is a fault of the process that sent it.
struct Unpacker {
    std::string_view message;

    template <class T>
    void operator()(T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        std::memcpy(&value, take(sizeof value), sizeof value);
    }
    void operator()(std::string& text) {
        std::size_t size = 0;
        (*this)(size);
        text.assign(take(size), size);
    }
    void operator()(std::vector<float>& values) {
        std::size_t count = 0;
        (*this)(count);
        if (count > message.size()) throw DataError("the file is damaged");
        const char* first = take(count * sizeof(float));
        values.resize(count);
        if (count > 0) std::memcpy(values.data(), first, count * sizeof(float));
    }

private:
    const char* take(std::size_t size) {
        if (size > message.size()) throw DataError("the file is damaged");
        const char* at = message.data();
        message.remove_prefix(size);
        return at;
    }
};

/// Everything of an axis, or of an array but its axes and values, in the order of a message.
template <class Visit, class Axis>
void visit_axis(Visit& visit, Axis& axis) {
    visit(axis.size), visit(axis.stride), visit(axis.name), visit(axis.vector), visit(axis.step), visit(axis.spacing);
    visit(axis.origin), visit(axis.positions);
}
template <class Visit, class Array>
void visit_array(Visit& visit, Array& array) {
    visit(array.name), visit(array.fault), visit(array.note), visit(array.by_name_only), visit(array.type);
    visit(array.x_first), visit(array.label), visit(array.units), visit(array.null_value);
}

std::string pack(const std::vector<DataArray>& arrays) {
    Packer pack;
    pack(arrays.size());
    for (const auto& array : arrays) {
        visit_array(pack, array);
        pack(array.axes.size());
        for (const auto& axis : array.axes) visit_axis(pack, axis);
    }
    return std::move(pack.message);
}

std::vector<DataArray> unpack(std::string_view message) {
    Unpacker unpack{message};
    std::size_t count = 0;
    unpack(count);
    std::vector<DataArray> arrays;
    for (; count > 0; --count) {
        DataArray& array = arrays.emplace_back();
        visit_array(unpack, array);
        std::size_t axes = 0;
        for (unpack(axes); axes > 0; --axes) visit_axis(unpack, array.axes.emplace_back());
    }
    return arrays;
}

// --- The process ---

struct Request {
    std::uint64_t array;
    std::int64_t first, count;  // values
};

/// What the process does until nobody asks any more: an empty answer, or what is wrong.
void serve(const std::vector<DataArray>& arrays, std::byte* window, int requests, int answers) {
    Request request{};
    while (read_all(requests, &request, sizeof request, -1)) {
        const ValueSource& values = *arrays.at(request.array).values;
        if (!write_message(answers, values.read(request.first, request.count, window))) return;
    }
}

[[noreturn]] void run_process(std::vector<DataArray> (*open)(const std::string& file), const std::string& file,
                              std::byte* window, int requests, int answers) {
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL}) std::signal(signal, SIG_DFL);
    try {
        const std::vector<DataArray> arrays = open(file);
        if (write_message(answers, {}) && write_message(answers, pack(arrays)))
            serve(arrays, window, requests, answers);
    } catch (const std::exception& error) {
        write_message(answers, error.what());
    }
    ::_exit(0);  // nothing of what the parent has is this process' to end
}

/// A process that reads a file, as long as anybody needs its values.
class Process {
public:
    Process(std::vector<DataArray> (*open)(const std::string& file), const std::string& file) {
        void* shared = ::mmap(nullptr, kWindowBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared == MAP_FAILED) throw DataError("there is not enough memory");
        window_ = static_cast<std::byte*>(shared);
        std::array<int, 2> requests{-1, -1};
        std::array<int, 2> answers{-1, -1};
        const bool piped = ::pipe(requests.data()) == 0 && ::pipe(answers.data()) == 0;
        id_ = piped ? ::fork() : -1;
        if (id_ == 0) {
            ::close(requests[1]);
            ::close(answers[0]);
            run_process(open, file, window_, requests[0], answers[1]);
        }
        for (const int descriptor : {requests[0], answers[1]}) {
            if (descriptor >= 0) ::close(descriptor);
        }
        requests_ = requests[1];
        answers_ = answers[0];
    }
    ~Process() {
        for (const int descriptor : {requests_, answers_}) {
            if (descriptor >= 0) ::close(descriptor);
        }
        if (id_ > 0) {
            ::kill(id_, SIGKILL);
            while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
        if (window_) ::munmap(window_, kWindowBytes);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    /// @throws DataError
    std::vector<DataArray> arrays() {
        const auto error = id_ > 0 ? read_message(answers_) : std::nullopt;
        if (!error) throw DataError(kDamaged);
        if (!error->empty()) throw DataError(*error);
        const auto message = read_message(answers_);
        if (!message) throw DataError(kDamaged);
        return unpack(*message);
    }

    /// @return an empty text, or why the values could not be had
    std::string read(const Request& request, std::size_t bytes, std::byte* destination) const {
        // a process that has ended must not end this one
        struct Quiet {
            void (*before)(int) = std::signal(SIGPIPE, SIG_IGN);
            ~Quiet() { std::signal(SIGPIPE, before); }
        } const quiet;
        if (!write_all(requests_, &request, sizeof request)) return kDamaged;
        const auto error = read_message(answers_);
        if (!error) return kDamaged;
        if (error->empty()) std::memcpy(destination, window_, bytes);
        return *error;
    }

private:
    static constexpr const char* kDamaged = "the file is damaged: reading it came to no end, or to a crash";

    pid_t id_ = -1;
    int requests_ = -1, answers_ = -1;
    std::byte* window_ = nullptr;
};

class IsolatedValues final : public ValueSource {
public:
    IsolatedValues(std::shared_ptr<const Process> process, std::size_t array, int type)
        : process_(std::move(process)), array_(array), value_size_(static_cast<xp_long>(type_size(type))) {}

    std::string read(xp_long first, xp_long count, std::byte* destination) const override {
        const xp_long most = static_cast<xp_long>(kWindowBytes) / value_size_;
        while (count > 0) {
            const xp_long taken = std::min(count, most);
            const auto bytes = static_cast<std::size_t>(taken * value_size_);
            if (std::string error = process_->read({array_, first, taken}, bytes, destination); !error.empty())
                return error;
            first += taken;
            count -= taken;
            destination += bytes;
        }
        return {};
    }

private:
    std::shared_ptr<const Process> process_;
    std::size_t array_;
    xp_long value_size_;
};

}  // namespace

std::vector<DataArray> open_isolated(std::vector<DataArray> (*open)(const std::string& file), const std::string& file) {
    const auto process = std::make_shared<Process>(open, file);
    std::vector<DataArray> arrays = process->arrays();
    for (std::size_t i = 0; i < arrays.size(); ++i) {
        if (arrays[i].fault.empty()) arrays[i].values = std::make_shared<IsolatedValues>(process, i, arrays[i].type);
    }
    return arrays;
}

}  // namespace zam::session

#endif
