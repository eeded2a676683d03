// Output files, read back by other means than those that wrote them.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdint>
#include <cstring>
#include <map>

#include "tests/runner/support.h"

namespace zam::test {
namespace {

/// A network with a field; further outputs come by the options.
std::string with_field(const std::string& members) {
    return R"({"modules": {"k": {"use": "test_kinds", "params": {"field": {"field": {)" + members + "}}}}}}";
}

// --- Pictures ---

const std::string kImage = R"("dims": [2, 2], "node_data": [{"type": "byte", "veclen": 4, "values": [
    255,10,20,30, 0,40,50,60,
    51,100,110,120, 255,255,0,0]}])";
const std::string kDeepImage = R"("dims": [2, 1], "node_data": [{"type": "char", "veclen": 5, "values": [
    255,10,20,30,9, 0,40,50,60,9]}])";

struct PictureCase {
    const char* name;
    std::string field;
    std::string options;  // of the output
    std::uint32_t format;
    std::vector<int> pixels;
};

const PictureCase kPictures[] = {
    {"colors", kImage, "", PNG_FORMAT_RGB, {10, 20, 30, 40, 50, 60, 100, 110, 120, 255, 0, 0}},
    {"alpha",
     kImage,
     R"(, "alpha": true)",
     PNG_FORMAT_RGBA,
     {10, 20, 30, 255, 40, 50, 60, 0, 100, 110, 120, 51, 255, 0, 0, 255}},
    // a fifth of the colour at opacity 51, the rest is background
    {"background",
     kImage,
     R"(, "background": [1, 0, 0.5])",
     PNG_FORMAT_RGB,
     {10, 20, 30, 255, 0, 128, 224, 22, 126, 255, 0, 0}},
    {"fifth_byte", kDeepImage, "", PNG_FORMAT_RGB, {10, 20, 30, 40, 50, 60}},
};

TEST(Outputs, Pictures) {
    for (const auto& picture : kPictures) {
        const Scratch scratch;
        const auto run =
            scratch.run(with_field(picture.field), R"(--write 'p.png={"from": "k.field")" + picture.options + "}'");
        ASSERT_EQ(run.err, "") << picture.name;
        png_image image{};
        image.version = PNG_IMAGE_VERSION;
        ASSERT_NE(png_image_begin_read_from_file(&image, scratch.file("p.png").c_str()), 0);
        EXPECT_EQ(image.format, picture.format) << picture.name;
        std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
        ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
        EXPECT_EQ(image.width, 2U);
        EXPECT_EQ(std::vector<int>(pixels.begin(), pixels.end()), picture.pixels) << picture.name;
    }
}

// --- VTK files ---

/// The arrays of a VTK file by name, as numbers.
std::map<std::string, std::vector<double>> vtk_arrays(const std::string& file) {
    std::map<std::string, std::vector<double>> arrays;
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
            std::vector<double> values;
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

struct VtkCase {
    const char* ending;
    std::string field;
    std::vector<std::string> header;  // texts it has to hold
    std::map<std::string, std::vector<double>> arrays;
};

const VtkCase kVtkFiles[] = {
    {"vti",
     R"("dims": [3, 2], "points": [1, 10, 5, 11], "node_data": [
        {"type": "short", "label": "a<b & \"c\"", "values": [-1, 2, 3, 4, 5, 6]},
        {"veclen": 2, "type": "byte", "values": [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 255]}])",
     {"<VTKFile type=\"ImageData\" version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\">",
      "<ImageData WholeExtent=\"0 2 0 1 0 0\" Origin=\"1 10 0\" Spacing=\"2 1 1\">",
      "Name=\"a&lt;b &amp; &quot;c&quot;\""},
     {{"a&lt;b &amp; &quot;c&quot;:1", {-1, 2, 3, 4, 5, 6}}, {"DATA1:2", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 255}}}},
    {"vtr",
     R"("dims": [2, 3], "points": [1,0, 2,0, 0,5, 0,7, 0,9], "node_data": [
        {"label": "p", "values": [1, 2, 3, 4, 5, 6]}, {"label": "p", "values": [6, 5, 4, 3, 2, 1]}])",
     {"<RectilinearGrid WholeExtent=\"0 1 0 2 0 0\">", "<Piece Extent=\"0 1 0 2 0 0\">"},
     {{"x:1", {1, 2}}, {"y:1", {5, 7, 9}}, {"z:1", {0}}, {"p:1", {1, 2, 3, 4, 5, 6}}, {"p_1:1", {6, 5, 4, 3, 2, 1}}}},
    {"vts",
     R"("dims": [2, 2], "nspace": 2, "coord": [0,0, 1,0, 0,2, 1,3])",
     {"<StructuredGrid WholeExtent=\"0 1 0 1 0 0\">", "<Points>"},
     {{"Points:3", {0, 0, 0, 1, 0, 0, 0, 2, 0, 1, 3, 0}}}},
    {"vtu",
     R"("coord": [0,0,0, 1,0,0, 0,1,0, 0,0,1], "cell_sets": [{"name": "Tet", "connect": [0, 1, 2, 3]},
        {"name": "Line", "connect": [3, 0, 1, 2]}, {"name": "Polyline", "poly_connect": [1, 3]}])",
     {"<Piece NumberOfPoints=\"4\" NumberOfCells=\"4\">", "<Cells>"},
     {{"Points:3", {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1}},
      {"connectivity:1", {0, 1, 2, 3, 3, 0, 1, 2, 1, 2, 3}},
      {"offsets:1", {4, 6, 8, 11}},
      {"types:1", {10, 3, 3, 4}}}},
};

TEST(Outputs, VtkFiles) {
    for (const auto& vtk : kVtkFiles) {
        const Scratch scratch;
        const std::string name = std::string("f.") + vtk.ending;
        ASSERT_EQ(scratch.run(with_field(vtk.field), "--write " + name + "=k.field").err, "");
        const std::string file = scratch.read(name);
        for (const auto& text : vtk.header) EXPECT_NE(file.find(text), std::string::npos) << text << "\n" << file;
        EXPECT_EQ(vtk_arrays(file), vtk.arrays) << vtk.ending;
        EXPECT_TRUE(file.ends_with("\n</AppendedData>\n</VTKFile>\n"));
    }
}

}  // namespace
}  // namespace zam::test
