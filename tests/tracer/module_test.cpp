// The module in its host: what it reads, writes and reports, and what is left when a call fails.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "contract/contract.h"
#include "embedded/host.h"
#include "modules/zam/tracer.h"
#include "tests/plain/tracer.h"

namespace {

namespace host = zam::host;

/// An instance with a volume of 4 x 5 x 6 bytes, as a network would make it.
class Instance {
public:
    Instance() {
        host::reset();
        host::set_recorder([this](const host::Record& record) {
            if (record.what == host::Record::What::report)
                reports.push_back(record.label + "|" + std::to_string(record.flags) + "|" + record.text);
        });
        object = host::create(host::root(), "tracer", host::Kind::group);
        set_int("width", 12);
        set_int("height", 10);
        host::create(object, "out", host::Kind::field);
        make_volume({4, 5, 6}, 1, DTYPE_BYTE, 120);
        const OMobj_id table = host::create(object, "color_table", host::Kind::group);
        for (const char* name : {"alpha", "red", "green", "blue"}) set_bytes(table, name, ramp(256));
    }
    ~Instance() { host::set_recorder(nullptr); }

    static std::vector<std::uint8_t> ramp(std::size_t size) {
        std::vector<std::uint8_t> values(size);
        std::iota(values.begin(), values.end(), std::uint8_t{0});
        return values;
    }
    static void set_bytes(OMobj_id parent, const char* name, const std::vector<std::uint8_t>& values) {
        host::set_values(host::create(parent, name, host::Kind::array), DTYPE_BYTE, values.data(),
                         static_cast<xp_long>(values.size()));
    }
    void set_int(const char* name, int value) { OMset_int_val(host::create(object, name, host::Kind::integer), value); }
    void make_volume(std::vector<xp_long> dims, int veclen, int type, xp_long count) {
        in = host::create(object, "in", host::Kind::field);
        FLDset_ndim(in, static_cast<int>(dims.size()));
        FLDset_dims(in, dims.data());
        FLDset_nspace(in, 3);
        auto* points = static_cast<float*>(ARRalloc_f(nullptr, DTYPE_FLOAT, 6, 0, __FILE__, __LINE__));
        std::iota(points, points + 6, 40.0F);  // a place that must not matter
        FLDset_points(in, points, 6, ARR_HOST_OWNS);
        FLDset_node_data_ncomp(in, 1);
        FLDset_node_data_veclen(in, 0, veclen);
        auto* data = static_cast<std::uint8_t*>(ARRalloc_f(nullptr, type, count, 0, __FILE__, __LINE__));
        for (xp_long i = 0; i < count; ++i) data[i] = static_cast<std::uint8_t>(29 * i);
        FLDset_node_data(in, 0, data, type, count, ARR_HOST_OWNS);
    }
    int update() { return ZAMtracer_render_update(object, 0, 0); }

    std::vector<std::uint8_t> image() const {
        void* data = nullptr;
        xp_long size = 0;
        int type = -1;
        if (FLDget_node_data(out(), 0, &type, &data, &size, ARR_READ) != 1) return {};
        const auto* bytes = static_cast<std::uint8_t*>(data);
        std::vector<std::uint8_t> pixels(bytes, bytes + size);
        ARRfree_f(data, __FILE__, __LINE__);
        return type == DTYPE_BYTE ? pixels : std::vector<std::uint8_t>{};
    }
    OMobj_id out() const { return host::find(object, "out"); }

    OMobj_id object, in;
    std::vector<std::string> reports;
};

std::vector<std::uint8_t> plain_image(bool interpolate) {
    std::vector<std::uint8_t> nodes(120);
    for (std::size_t i = 0; i < nodes.size(); ++i) nodes[i] = static_cast<std::uint8_t>(29 * i);
    float table[256][4];
    for (int i = 0; i < 256; ++i) {
        table[i][0] = static_cast<float>(i / 255.0);
        for (int c = 1; c < 4; ++c) table[i][c] = static_cast<float>(i);
    }
    const float inverse[16] = {4.0F / 3, 0, 0, 0, 0, 5.0F / 4, 0, 0, 0, 0, 6.0F / 5, 0, 0, 0, 0, 1};
    const plain::Scene scene{nodes.data(), {4, 5, 6}, 1, table, nullptr, 1, 1, inverse, 12, 10, interpolate};
    std::vector<std::uint8_t> image(plain::image_size(scene));
    plain::render(scene, image.data());
    return image;
}

TEST(TracerModule, WritesAnImageField) {
    Instance instance;
    ASSERT_EQ(instance.update(), 1);
    EXPECT_EQ(instance.reports, std::vector<std::string>{});
    EXPECT_EQ(instance.image(), plain_image(true));

    int ndim = 0, nspace = 0, ncomp = 0, veclen = 0, id = 0;
    xp_long *dims = nullptr, size = 0;
    float* points = nullptr;
    ASSERT_EQ(FLDget_dims(instance.out(), &dims, &ndim), 1);
    ASSERT_EQ(FLDget_points(instance.out(), &points, &size, ARR_READ), 1);
    EXPECT_EQ(std::vector<xp_long>(dims, dims + ndim), (std::vector<xp_long>{12, 10}));
    EXPECT_EQ(std::vector<float>(points, points + size), (std::vector<float>{0, 0, 11, 9}));
    ARRfree_f(dims, __FILE__, __LINE__);
    ARRfree_f(points, __FILE__, __LINE__);
    FLDget_nspace(instance.out(), &nspace);
    FLDget_node_data_ncomp(instance.out(), &ncomp);
    FLDget_node_data_veclen(instance.out(), 0, &veclen);
    FLDget_node_data_id(instance.out(), 0, &id);
    EXPECT_EQ((std::vector{nspace, ncomp, veclen, id}), (std::vector{2, 1, 4, 669}));
    EXPECT_EQ(host::account().outstanding, std::vector<std::string>{});
}

struct ModuleCase {
    const char* name;
    std::function<void(Instance&)> change;
    int result;
    std::vector<std::string> reports;
    std::string printed;
};

const ModuleCase kModuleCases[] = {
    {"no_input", [](Instance& i) { host::destroy(i.in); }, 0, {"|96|can,t get nnodes\n"}, ""},
    {"two_dimensions",
     [](Instance& i) {
         i.make_volume({12, 10}, 1, DTYPE_BYTE, 120);
     },
     0,
     {"|96|in is not a volume\n"},
     ""},
    {"too_few_bytes",
     [](Instance& i) {
         i.make_volume({4, 5, 7}, 1, DTYPE_BYTE, 120);
     },
     0,
     {"|96|in has too little node data\n"},
     ""},
    {"no_width", [](Instance& i) { i.set_int("width", 0); }, 0, {"|96|width and height must be at least 1\n"}, ""},
    {"no_height", [](Instance& i) { i.set_int("height", -3); }, 0, {"|96|width and height must be at least 1\n"}, ""},
    {"too_large",
     [](Instance& i) {
         i.set_int("width", 2147483647);
         i.set_int("height", 2147483647);
     },
     0,
     {"|96|image array is not allocated\n"},
     ""},
    {"nowhere_to_write", [](Instance& i) { host::destroy(i.out()); }, 1, {}, ""},
    {"three_values_a_node",
     [](Instance& i) {
         i.make_volume({2, 5, 4}, 3, DTYPE_BYTE, 120);
     },
     1,
     {"|96|veclen must be 1 or 4\n"},
     "tracer_body  OK  tracer requires 4-vector or 1-vector data"},
    {"three_values_a_node_and_no_memory",
     [](Instance& i) {
         i.make_volume({2, 5, 4}, 3, DTYPE_BYTE, 120);
         host::fail_allocation(1);
     },
     0,
     {"|96|veclen must be 1 or 4\n", "|96|dims array is not allocated\n"},
     ""},
};

TEST(TracerModule, ReportsWhatItCannotRender) {
    for (const ModuleCase& c : kModuleCases) {
        Instance instance;
        c.change(instance);
        testing::internal::CaptureStdout();
        EXPECT_EQ(instance.update(), c.result) << c.name;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.printed) << c.name;
        EXPECT_EQ(instance.reports, c.reports) << c.name;
        const std::vector<std::uint8_t> untouched, zeros(480);
        const bool has_image = c.result == 1 && OMvalid_obj(instance.out()) == 1;
        EXPECT_EQ(instance.image(), has_image ? zeros : untouched) << c.name;
        EXPECT_EQ(host::account().outstanding, std::vector<std::string>{}) << c.name;
    }
}

TEST(TracerModule, TakesWhatIsMissingAsItsDefault) {
    Instance whole, bare;
    for (const char* name : {"width", "height", "color_table"}) host::destroy(host::find(bare.object, name));
    Instance::set_bytes(host::create(bare.object, "color_table", host::Kind::group), "alpha", Instance::ramp(3));
    ASSERT_EQ(bare.update(), 1);
    EXPECT_EQ(bare.image().size(), 128U * 128 * 4);
    for (const std::uint8_t byte : bare.image()) ASSERT_LE(byte, 12);  // opacities up to 2 / 255, black

    Instance cells;
    cells.set_int("interpolate", 0);
    ASSERT_EQ(cells.update(), 1);
    EXPECT_EQ(cells.image(), plain_image(false));
}

}  // namespace
