// What a person can ask of a view of a data file.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace zam::session {

/// What of a file's arrays or components is asked for; empty or negative: what suits best.
struct WantedData {
    std::string variable;             // name or label
    int component = -1;               // number of an array or component
    std::vector<std::string> vector;  // names, labels or numbers of the parts
    int step = -1;                    // from 0
};

/// What a person asks for; left out: by the data.
struct ViewOptions {
    std::string output;                          // file: .png, .svg or .webp
    WantedData data;                             // what of the file
    std::optional<std::array<double, 2>> range;  // of values, over the colours
    std::string preset;                          // of colours
    std::string opacity;                         // a curve as network files have it
    std::optional<std::array<double, 3>> turn;   // degrees about x, y and z
    double zoom = 1.0;                           // times what fills the picture
    std::optional<std::array<int, 2>> size;      // of the picture in pixels
    std::optional<double> perspective;           // 1 / distance of the eye
    bool plain = false;                          // without legend and axes
};

}  // namespace zam::session
