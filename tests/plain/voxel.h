// Voxel text in its plain form: whole lines as strings, strtod, arithmetic as it stands. Measured beside the reader,
// and what its results are compared with.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace zam::plain {

struct Voxels {
    std::string message;     // of the failure; empty: all below is set
    bool too_large = false;  // there are more than `most_nodes`, and no other fault
    std::string time_label;
    std::array<std::int64_t, 3> dims{};
    std::array<float, 6> points{};
    std::vector<std::vector<float>> values;  // one array per column
};

inline std::string voxel_line(const std::string& bytes, std::size_t& at) {
    std::size_t end = bytes.find('\n', at);
    end = end == std::string::npos ? bytes.size() : end + 1;
    std::string line = bytes.substr(at, end - at).substr(0, 1023);
    at = end;
    return std::string(line.c_str());
}

inline std::string voxel_text(std::string line) {
    while (!line.empty() && std::string(" \t\n\r").find(line.back()) != std::string::npos) line.pop_back();
    while (!line.empty() && line.front() == ' ') line.erase(0, 1);
    std::string text;
    for (const char c : line) text += c != '\t' ? std::string(1, c) : text.size() % 2 == 0 ? "  " : " ";
    return text.substr(0, 1023);
}

inline std::vector<std::string> voxel_fields(const std::string& text, char separator) {
    std::vector<std::string> fields;
    std::string field;
    for (const char c : text) {
        if (c != separator) {
            field += c;
        } else if (separator == ',' || !field.empty()) {
            fields.push_back(field);
            field.clear();
        }
    }
    if (!field.empty()) fields.push_back(field);
    for (auto& one : fields) {
        if (one.find_first_not_of(' ') == std::string::npos) one.clear();
    }
    return fields;
}

inline float voxel_number(const std::string& field) {
    const std::size_t digit = field.find_first_not_of(" \t\n\v\f\r+-");
    const bool hexadecimal = digit != std::string::npos && field[digit] == '0' && digit + 1 < field.size() &&
                             (field[digit + 1] == 'x' || field[digit + 1] == 'X');
    if (hexadecimal) return field[digit > 0 ? digit - 1 : 0] == '-' ? -0.0F : 0.0F;
    return static_cast<float>(std::strtod(field.c_str(), nullptr));
}

inline std::int64_t fixed_point(float value, float scale) {
    return static_cast<std::int64_t>(std::trunc(value * scale));
}
inline bool has_fixed_point(float value) { return std::fabs(value * 10000000.0F) < 2147483648.0F; }

/// One axis: minimum, maximum, step, nodes; false if the samples do not make one.
inline bool voxel_axis(const std::vector<float>& at, float& min, float& max, float& step, std::int64_t& nodes) {
    min = max = at[0];
    step = 0;
    for (std::size_t i = 0; i < at.size(); ++i) {
        if (!std::isfinite(at[i])) return false;
        if (at[i] < min) min = at[i];
        if (at[i] > max) max = at[i];
        if (i > 0 && at[i] > at[i - 1]) step = at[i] - at[i - 1];
    }
    if (!has_fixed_point(step) || fixed_point(step, 10000000.0F) == 0 || !has_fixed_point(min)) return false;
    const float sum = (max - min) / step + 1.0F;
    if (!(sum < 9e18F)) return false;
    nodes = static_cast<std::int64_t>(sum);
    return true;
}

/// Reads what the file holds; grids of more than `most_nodes` are refused as those beyond the memory are.
inline Voxels read_voxels(const std::string& bytes, int header_lines, float null_value, const char* key,
                          std::int64_t most_nodes) {
    Voxels out;
    std::size_t at = 0;
    for (int i = 0; i < header_lines && at < bytes.size(); ++i) {
        const std::string line = voxel_line(bytes, at);
        if (key != nullptr && line.find(key) != std::string::npos) out.time_label = line.substr(line.find(key), 255);
    }
    char separator = ' ';
    std::size_t columns = 0;
    std::vector<std::vector<float>> samples;  // column by column
    while (at < bytes.size()) {
        const std::string text = voxel_text(voxel_line(bytes, at));
        if (text.empty()) continue;
        if (columns == 0) {
            separator = text.find(',') != std::string::npos ? ',' : ' ';
            columns = voxel_fields(text, separator).size();
            samples.resize(columns);
            if (columns < 4) break;
        }
        if (text.find('#') != std::string::npos) continue;
        const auto fields = voxel_fields(text, separator);
        for (std::size_t i = 0; i < columns; ++i) {
            const bool missing = i >= fields.size() || fields[i].empty();
            if (missing && i < 3) {
                out.message = std::string("Unexpected error in reading ") + "xyz"[i] + ".\n";
                return out;
            }
            samples[i].push_back(missing ? null_value : voxel_number(fields[i]));
        }
    }
    if (columns < 4) {
        out.message = "This module support [x(,) y(,) z(,) value] format.";
        return out;
    }
    std::array<float, 3> step{};
    std::int64_t nodes = 1;
    bool grid = samples[0].size() >= 2;
    for (std::size_t k = 0; k < 3 && grid; ++k) {
        grid = voxel_axis(samples[k], out.points[k], out.points[3 + k], step[k], out.dims[k]);
        if (grid && !out.too_large) out.too_large = out.dims[k] > most_nodes / nodes;
        if (grid && !out.too_large) nodes *= out.dims[k];
    }
    out.too_large = out.too_large && grid;
    if (!grid || out.too_large) {
        out.message = "Unexpected error\n";
        return out;
    }
    out.values.assign(columns - 3, std::vector<float>(static_cast<std::size_t>(nodes), null_value));
    for (std::size_t i = 0; i < samples[0].size(); ++i) {
        std::int64_t node = 0;
        bool inside = true;
        for (int k = 2; k >= 0 && inside; --k) {
            const auto axis = static_cast<std::size_t>(k);
            const float v = samples[axis][i];
            inside = v * -10000000.0F >= -2147483648.0F && v * -10000000.0F < 2147483648.0F;
            if (!inside) break;
            const std::int64_t cell = (fixed_point(out.points[axis], -10000000.0F) - fixed_point(v, -10000000.0F)) /
                                      fixed_point(step[axis], 10000000.0F);
            inside = cell < out.dims[axis];
            node = node * out.dims[axis] + cell;
        }
        for (std::size_t c = 3; c < columns && inside; ++c)
            out.values[c - 3][static_cast<std::size_t>(node)] = samples[c][i];
    }
    return out;
}

}  // namespace zam::plain
