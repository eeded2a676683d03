// A view in its host, in coordinates of pixels: x right and y down from the upper left corner, z toward the viewer.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "embedded/view/view.h"
#include "tests/support/module_test.h"

namespace zam::test {

struct Picture {
    int width = 0, height = 0;
    std::vector<std::uint8_t> pixels;  // 4 per pixel
    std::vector<float> depths;

    /// One text per row: '#' where something is drawn.
    std::vector<std::string> covered() const {
        std::vector<std::string> rows(static_cast<std::size_t>(height),
                                      std::string(static_cast<std::size_t>(width), '.'));
        for (std::size_t i = 0; i < depths.size(); ++i)
            if (depths[i] > 0) rows[i / rows[0].size()][i % rows[0].size()] = '#';
        return rows;
    }
    std::size_t pixel(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
    }
    std::array<int, 3> color(int x, int y) const {
        const auto at = 4 * pixel(x, y);
        return {pixels[at + 1], pixels[at + 2], pixels[at + 3]};
    }
    float depth(int x, int y) const { return depths[pixel(x, y)]; }
    bool operator==(const Picture&) const = default;
};

struct Cells {
    std::string type;
    std::vector<xp_long> nodes = {};
    std::vector<xp_long> counts = {};  // corners of polygons
    xp_long npolys = 0;                // where there are no counts
};

class View : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host::create(instance, "out", host::Kind::field);
        set_size(8, 8);
    }

    /// Sets the size, and a transform from coordinates of pixels.
    void set_size(int width, int height) const {
        set_int("width", width);
        set_int("height", height);
        const float scale = 1.0F / static_cast<float>(std::min(width, height));
        set_xform({scale, 0, 0, 0, 0, -scale, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
                  {-0.5F * static_cast<float>(width) * scale, 0.5F * static_cast<float>(height) * scale, 0});
    }
    void set_xform(const std::vector<float>& mat, const std::vector<float>& xlate) const {
        const OMobj_id group = host::create(instance, "xform", host::Kind::group);
        set_floats(group, "mat", mat);
        set_floats(group, "xlate", xlate);
    }
    static void set_floats(OMobj_id parent, const char* name, const std::vector<float>& values) {
        host::set_values(host::create(parent, name, host::Kind::array), DTYPE_FLOAT, values.data(),
                         static_cast<xp_long>(values.size()));
    }
    void set_floats(const char* name, const std::vector<float>& values) const { set_floats(instance, name, values); }

    /// An unstructured field with cell sets.
    OMobj_id make_cells(const char* name, const std::vector<float>& coord, const std::vector<Cells>& sets,
                        const std::vector<float>& values = {}) const {
        const auto nnodes = static_cast<xp_long>(coord.size() / 3);
        const OMobj_id field = make_field(name, {{}, nnodes, 3, coord, values.empty() ? 0 : 1, values});
        int index = 0;
        for (const Cells& set : sets) {
            OMobj_id cells{};
            FLDadd_cell_set(field, set.type.c_str());
            FLDget_cell_set(field, index++, &cells);
            fill(cells, set);
        }
        return field;
    }
    static void fill(OMobj_id cells, const Cells& set) {
        const auto size = static_cast<xp_long>(set.nodes.size());
        int poly = 0, each = 0;
        FLDget_poly_flag(cells, &poly);
        FLDget_cell_set_nnodes(cells, &each);
        if (poly == 0) {
            FLDset_ncells(cells, size / each);
            FLDset_node_connect(cells, handed<xp_long>(set.nodes), size, ARR_HOST_OWNS);
            return;
        }
        FLDset_npolys(cells, each > 0 ? size / 2 : std::max(set.npolys, static_cast<xp_long>(set.counts.size())));
        HostArray<xp_long> counts;
        if (!set.counts.empty() && FLDget_poly_nnodes(cells, counts.receive(), counts.receive_count(), ARR_WRITE) == 1)
            std::copy(set.counts.begin(), set.counts.end(), counts.data());
        FLDset_poly_connect(cells, handed<xp_long>(set.nodes), size, ARR_HOST_OWNS);
    }

    /// Gives object `index` a datamap: grey that rises with the value, from 0 to 255.
    void make_datamap(int index) const {
        const OMobj_id maps = host::create(instance, "datamaps", host::Kind::objects, host::Kind::group);
        OMset_array_size(maps, index + 1);
        const OMobj_id datamap = host::children(maps)[static_cast<std::size_t>(index)];
        std::vector<std::uint8_t> ramp(256);
        std::iota(ramp.begin(), ramp.end(), std::uint8_t{0});
        OMset_real_val(host::create(datamap, "min", host::Kind::real), 0.0);
        OMset_real_val(host::create(datamap, "max", host::Kind::real), 255.0);
        for (const char* channel : {"alpha", "red", "green", "blue"})
            host::set_values(host::create(datamap, channel, host::Kind::array), DTYPE_BYTE, ramp.data(), 256);
    }

    /// Lets `objects` refer to fields.
    void show(const std::vector<OMobj_id>& fields) const {
        const OMobj_id list = host::create(instance, "objects", host::Kind::objects);
        OMset_array_size(list, static_cast<xp_long>(fields.size()));
        for (std::size_t i = 0; i < fields.size(); ++i)
            OMset_obj_ref(host::find(list, "[" + std::to_string(i) + "]"), fields[i]);
    }
    int update() const { return host_view(instance, 0, 0); }

    Picture picture() const {
        const OMobj_id out = host::find(instance, "out");
        Picture picture;
        HostArray<xp_long> dims;
        int ndim = 0;
        if (FLDget_dims(out, dims.receive(), &ndim) != 1 || ndim != 2) return picture;
        picture.width = static_cast<int>(dims[0]);
        picture.height = static_cast<int>(dims[1]);
        int type = -1;
        HostArray<std::uint8_t> pixels;
        FLDget_node_data(out, 0, &type, pixels.receive_untyped(), pixels.receive_count(), ARR_READ);
        picture.pixels.assign(pixels.data(), pixels.data() + pixels.size());
        picture.depths = values(out, 1);
        return picture;
    }
    Picture draw(const std::vector<OMobj_id>& fields) const {
        show(fields);
        EXPECT_EQ(update(), 1);
        EXPECT_EQ(reports, std::vector<std::string>());
        return picture();
    }
};

}  // namespace zam::test
