// Instances of the capture and merge modules in the embedded host, images with depth for them, and a directory.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"

namespace zam::test {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

struct DepthImage {
    std::vector<std::uint8_t> colors;  // pixels x 4: opacity, red, green, blue
    std::vector<float> depths;         // pixels
};

/// An image whose pixels all have one colour.
inline DepthImage one_color(std::vector<std::uint8_t> color, const std::vector<float>& depths) {
    DepthImage image{{}, depths};
    for (std::size_t i = 0; i < depths.size(); ++i) image.colors.insert(image.colors.end(), color.begin(), color.end());
    return image;
}

/// What a field of 1 x 3 pixels may lack to be a capture.
struct Defect {
    const char* name;
    std::size_t left;  // bytes of the file that a capture leaves
    void (*spoil)(OMobj_id image);
};

/// A capture file as the format has it, put together here.
inline std::string file_bytes(const std::string& size_text, const DepthImage& image) {
    std::string bytes = size_text + std::string(image.colors.begin(), image.colors.end());
    const auto at = bytes.size();
    bytes.resize(at + 4 * image.depths.size());
    std::memcpy(bytes.data() + at, image.depths.data(), 4 * image.depths.size());
    return bytes;
}

template <class T>
void fill(OMobj_id field, int comp, int veclen, const std::vector<T>& values) {
    FLDset_node_data_veclen(field, comp, veclen);
    FLDset_node_data(field, comp, handed<T>(values), kTypeCode<T>, static_cast<xp_long>(values.size()), ARR_HOST_OWNS);
}
template <class... Sizes>
void set_dims(OMobj_id field, Sizes... sizes) {
    const xp_long dims[] = {sizes...};
    FLDset_ndim(field, sizeof...(sizes));
    FLDset_dims(field, dims);
}
inline void fill_image(OMobj_id field, xp_long width, xp_long height, const DepthImage& image) {
    set_dims(field, width, height);
    FLDset_node_data_ncomp(field, 2);
    fill(field, 0, 4, image.colors);
    fill(field, 1, 1, image.depths);
}

inline const Defect kDefects[] = {
    {"three bytes per pixel", 10, [](OMobj_id image) { fill(image, 0, 3, std::vector<std::uint8_t>(9)); }},
    {"integer colours", 10, [](OMobj_id image) { fill(image, 0, 4, std::vector<int>(12)); }},
    {"too few colours", 10, [](OMobj_id image) { fill(image, 0, 4, std::vector<std::uint8_t>(11)); }},
    {"double depths", 22, [](OMobj_id image) { fill(image, 1, 1, std::vector<double>(3)); }},
    {"two depths per pixel", 22, [](OMobj_id image) { fill(image, 1, 2, std::vector<float>(6)); }},
    {"too few depths", 22, [](OMobj_id image) { fill(image, 1, 1, std::vector<float>(2)); }},
    {"no depths", 22, [](OMobj_id image) { FLDset_node_data_ncomp(image, 1); }},
    {"three dimensions", 0, [](OMobj_id image) { set_dims(image, 1, 3, 1); }},
    {"one dimension", 0, [](OMobj_id image) { set_dims(image, 3); }},
    {"no dimensions", 0, [](OMobj_id image) { FLDset_nnodes(image, 4); }},
    {"no pixels", 10, [](OMobj_id image) { fill_image(image, 0, 3, DepthImage()); }},
    {"a size without values", 10, [](OMobj_id image) { set_dims(image, 99999, 99999); }},
};

class CaptureTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host::set_recorder([this](const host::Record& record) {
            if (record.what == host::Record::What::report) {
                reports.push_back(record.text);
                report_call = record.call + " '" + record.label + "' " + std::to_string(record.flags);
            } else {
                statuses.push_back(record.text + " " + std::to_string(record.percent));
            }
        });
    }

    void take_away(const char* name) const { host::destroy(host::find(instance, name)); }
    xp_long elements(const char* name) const {
        xp_long count = -1;
        OMget_array_size(host::find(instance, name), &count);
        return count;
    }
    OMobj_id make_list(const char* name, xp_long elements) const {
        const OMobj_id list = host::create(instance, name, host::Kind::objects, host::Kind::field);
        OMset_array_size(list, elements);
        return list;
    }
    OMobj_id element(const char* name, int index) const {
        return host::find(instance, std::string(name) + "[" + std::to_string(index) + "]");
    }
    Texts take_reports() { return std::exchange(reports, {}); }
    Texts take_statuses() { return std::exchange(statuses, {}); }
    Texts names(const std::string& folder = "") const {
        Texts names;
        for (const auto& entry : fs::directory_iterator(directory / folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    const ScratchDirectory scratch;
    const fs::path directory = scratch.path();
    Texts statuses;
    std::string report_call;  // how the latest report came
};

}  // namespace zam::test
