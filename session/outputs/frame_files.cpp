#include "session/outputs/frame_files.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/file_handle.h"
#include "base/file_path.h"
#include "session/network/frames.h"
#include "session/objects/run_error.h"
#include "session/outputs/outputs.h"

namespace zam::session {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kDigits = 5;     // of kMaxFrames - 1
constexpr std::size_t kMaxListed = 8;  // ranges of missing frames

std::string frames_directory(const std::string& film) { return film + ".frames"; }

std::string frame_file(const std::string& film, int step) {
    return frames_directory(film) + "/" + numbered("%05d.webp", step);
}

/// Whether a file is a frame, or one that was not written to its end.
bool is_frame_name(const std::string& name) {
    const bool digits = name.find_first_not_of("0123456789") == kDigits;
    return digits && (name.substr(kDigits) == ".webp" || name.substr(kDigits) == ".webp.part");
}

fs::path directory_of_frames(const Output& output, const std::string& directory) {
    return file_path(output_path(directory, frames_directory(output.file)));
}

std::vector<fs::path> frames_there(const Output& output, const std::string& directory) {
    std::error_code error;
    std::vector<fs::path> frames;
    for (auto entry = fs::directory_iterator(directory_of_frames(output, directory), error);
         !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (is_frame_name(entry->path().filename().string())) frames.push_back(entry->path());
    }
    return frames;
}

std::string frame_path(const Output& output, const std::string& directory, int step) {
    return output_path(directory, frame_file(output.file, step));
}

std::string bytes_of_file(const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(file_path(path), error);
    const FileHandle file(error ? nullptr : std::fopen(path.c_str(), "rb"));
    if (!file) throw RunError("cannot read " + path);
    std::string bytes(size, '\0');
    if (std::fread(bytes.data(), 1, size, file.get()) != size) throw RunError("cannot read " + path);
    return bytes;
}

/// Numbers in ascending order for people, those without a gap between them as one: "3-5, 9".
std::string ranges(const std::vector<int>& numbers) {
    std::string text;
    std::size_t listed = 0;
    for (std::size_t first = 0, next = 0; first < numbers.size(); first = next) {
        while (next < numbers.size() && numbers[next] - numbers[first] == static_cast<int>(next - first)) ++next;
        if (listed++ == kMaxListed) return text + ", ...";
        text += (text.empty() ? "" : ", ") + std::to_string(numbers[first]);
        if (next > first + 1) text += "-" + std::to_string(numbers[next - 1]);
    }
    return text;
}

}  // namespace

int shown_at(const ForEvent& event, int step) { return static_cast<int>(std::lround(step * 1000.0 / event.fps)); }

bool is_film(const Output& output) { return !is_numbered(output.file); }

Output frame_of(const Output& output, int step) {
    Output frame = output;
    frame.file = is_film(output) ? frame_file(output.file, step) : numbered(output.file, step);
    return frame;
}

bool has_frame_files(const Output& output, const std::string& directory) {
    std::error_code error;
    return fs::is_directory(directory_of_frames(output, directory), error);
}

bool is_joined(const Output& output, const std::string& directory) {
    std::error_code error;
    const auto time = fs::last_write_time(file_path(output_path(directory, output.file)), error);
    const auto frames = frames_there(output, directory);
    return !error && std::all_of(frames.begin(), frames.end(), [&](const auto& frame) {
        const auto time_of_frame = fs::last_write_time(frame, error);
        return error || time_of_frame < time;
    });
}

std::string missing_frames(const Output& output, const ForEvent& event, const std::string& directory) {
    std::vector<int> missing;
    std::error_code error;
    for (int step = 0; step < event.steps; ++step) {
        if (!fs::exists(file_path(frame_path(output, directory, step)), error)) missing.push_back(step);
    }
    if (missing.empty()) return {};
    return std::to_string(missing.size()) + " of " + std::to_string(event.steps) +
           " frames are missing: " + ranges(missing);
}

std::string join_frames(const Output& output, const ForEvent& event, const std::string& directory) {
    const std::string missing = missing_frames(output, event, directory);
    if (!missing.empty()) throw RunError(missing);
    WebpFrames frames;
    for (int step = 0; step < event.steps; ++step) {
        frames.add(bytes_of_file(frame_path(output, directory, step)), shown_at(event, step));
    }
    return write_frames(output, directory, shown_at(event, event.steps), frames);
}

void remove_frames(const Output& output, const std::string& directory) {
    std::error_code error;  // what stays is in nobody's way
    for (const auto& frame : frames_there(output, directory)) fs::remove(frame, error);
    fs::remove(directory_of_frames(output, directory), error);
}

}  // namespace zam::session
