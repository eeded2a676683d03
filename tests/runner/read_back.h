// Output files read back, by other means than those that wrote them.
#pragma once

#include <png.h>

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zam::test {

/// A picture's width, whether it has opacity, and its pixels' bytes; null if it cannot be read.
inline nlohmann::json picture(const std::string& bytes) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) return nullptr;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) return nullptr;
    return {{"width", image.width}, {"alpha", image.format == PNG_FORMAT_RGBA}, {"pixels", pixels}};
}

/// The arrays of a VTK file, by name and number of components.
inline nlohmann::json vtk_arrays(const std::string& file) {
    auto arrays = nlohmann::json::object();
    const std::string start = "<AppendedData encoding=\"raw\">\n_";
    const std::size_t data = file.find(start) + start.size();
    const auto attribute = [&](std::size_t tag, const std::string& name) {
        const std::size_t begin = file.find(" " + name + "=\"", tag) + name.size() + 3;
        return file.substr(begin, file.find('"', begin) - begin);
    };
    for (auto tag = file.find("<DataArray"); tag < data; tag = file.find("<DataArray", tag + 1)) {
        const std::string type = attribute(tag, "type");
        const char* block = file.data() + data + std::stoul(attribute(tag, "offset"));
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, block, sizeof bytes);
        block += sizeof bytes;
        const auto read = [&](auto element) {
            auto values = nlohmann::json::array();
            for (std::uint64_t at = 0; at < bytes; at += sizeof element) {
                std::memcpy(&element, block + at, sizeof element);
                values.push_back(static_cast<double>(element));
            }
            return values;
        };
        auto& values = arrays[attribute(tag, "Name") + ":" + attribute(tag, "NumberOfComponents")];
        if (type == "Float32") values = read(0.0F);
        if (type == "Int16") values = read(std::int16_t{});
        if (type == "Int64") values = read(std::int64_t{});
        if (type == "UInt8") values = read(std::uint8_t{});
    }
    return arrays;
}

}  // namespace zam::test
