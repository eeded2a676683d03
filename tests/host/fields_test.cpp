// Shapes, positions, cell sets, time steps and transforms of fields.
#include <cmath>
#include <limits>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

struct Fields : HostTest {
    void SetUp() override {
        HostTest::SetUp();
        field = add("field", Kind::field);
    }

    void shape(std::initializer_list<xp_long> dims, int nspace) const {
        ASSERT_EQ(FLDset_ndim(field, static_cast<int>(dims.size())), 1);
        ASSERT_EQ(FLDset_dims(field, dims.begin()), 1);
        ASSERT_EQ(FLDset_nspace(field, nspace), 1);
    }
    int points(std::initializer_list<float> values) const {
        return FLDset_points(field, filled(DTYPE_FLOAT, values), static_cast<xp_long>(values.size()), ARR_HOST_OWNS);
    }
    int coord(std::initializer_list<float> values) const {
        return FLDset_coord(field, filled(DTYPE_FLOAT, values), static_cast<xp_long>(values.size()), ARR_HOST_OWNS);
    }
    int type() const {
        int type = 0;
        EXPECT_EQ(FLDget_grid_type(field, &type), 1);
        return type;
    }
    xp_long nnodes() const {
        xp_long nnodes = -1;
        EXPECT_EQ(FLDget_nnodes(field, &nnodes), 1);
        return nnodes;
    }
    /// Minimum and maximum corner one after another; empty when the host does not know them.
    std::vector<float> extent(int nspace) const {
        float low[3];
        float high[3];
        if (FLDget_coord_extent(field, low, high) != 1) return {};
        std::vector<float> both(low, low + nspace);
        both.insert(both.end(), high, high + nspace);
        return both;
    }
    double range(const char* limit) const {
        double value = std::nan("");
        OMget_real_val(find(field, std::string("coordinates.") + limit), &value);
        return value;
    }

    OMobj_id field{};
};

TEST_F(Fields, TheGridTypeFollowsFromThePositions) {
    EXPECT_EQ(type(), FLD_UNSTRUCTURED);
    shape({4, 3}, 2);
    EXPECT_EQ(type(), FLD_UNIFORM);
    EXPECT_EQ(nnodes(), 12);
    EXPECT_EQ(points({0, 0, 3, 2}), 1);
    EXPECT_EQ(type(), FLD_UNIFORM);
    EXPECT_EQ(extent(2), (std::vector<float>{0, 0, 3, 2}));
    EXPECT_EQ(points({1, 0, 2, 0, 4, 0, 8, 0, 0, -1, 0, 0, 0, 5}), 1);
    EXPECT_EQ(type(), FLD_RECTILINEAR);
    xp_long npoints = 0;
    EXPECT_EQ(FLDget_npoints(field, &npoints), 1);
    EXPECT_EQ(npoints, 7);
    EXPECT_EQ(extent(2), (std::vector<float>{1, -1, 8, 5}));  // the other component of an axis' points does not count
    EXPECT_EQ(range("min"), -1.0);
    EXPECT_EQ(range("max"), 8.0);
    EXPECT_EQ(FLDset_ndim(field, 2), 1);
    EXPECT_EQ(FLDset_nnodes(field, 6), 1);  // a count between ndim and dims leaves the field structured
    const xp_long following[] = {3, 2};
    EXPECT_EQ(FLDset_dims(field, following), 1);
    EXPECT_EQ(nnodes(), 6);
    EXPECT_EQ(FLDset_nnodes(field, 2), 1);  // a count that is no product takes the dimensions away
    EXPECT_EQ(coord({1, 2, NAN, 4}), 1);
    EXPECT_EQ(type(), FLD_UNSTRUCTURED);
    EXPECT_EQ(extent(2), (std::vector<float>{1, 2, 1, 4}));
    xp_long* dims = nullptr;
    int ndim = 0;
    EXPECT_EQ(FLDget_dims(field, &dims, &ndim), 0);
}

TEST_F(Fields, DeclaredTypesStay) {
    OMobj_id created{};
    ASSERT_EQ(FLDcreate(module, &created, 0, "field", "Mesh_Rect Node_Data"), 1);
    field = created;
    shape({1, 1}, 1);
    EXPECT_EQ(points({5, 7}), 1);  // two points, yet no corners
    EXPECT_EQ(type(), FLD_RECTILINEAR);
    EXPECT_EQ(extent(1), (std::vector<float>{5, 5}));
    set_grid_type(field, FLD_UNIFORM);
    EXPECT_EQ(extent(1), (std::vector<float>{5, 7}));
}

TEST_F(Fields, AbsurdShapesAreRefused) {
    const xp_long kMost = std::numeric_limits<xp_long>::max();
    shape({4, 3}, 2);
    const xp_long kBadDims[][2] = {{-1, 3}, {kMost, 3}, {xp_long{1} << 40, xp_long{1} << 40}};
    for (const auto& dims : kBadDims) EXPECT_EQ(FLDset_dims(field, dims), 0) << dims[0];
    for (const int ndim : {-1, 1000}) EXPECT_EQ(FLDset_ndim(field, ndim), 0);
    for (const int nspace : {0, -1, 4}) EXPECT_EQ(FLDset_nspace(field, nspace), 0);
    for (const xp_long count : {xp_long{-1}, kMost}) {
        EXPECT_EQ(FLDset_nnodes(field, count), 0);
        EXPECT_EQ(FLDset_npoints(field, count), 0);
    }
    for (const int steps : {-1, std::numeric_limits<int>::max()}) EXPECT_EQ(FLDset_time_nsteps(field, steps), 0);
    for (const int count : {-1, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(FLDset_ncell_sets(field, count), 0);
        EXPECT_EQ(FLDset_node_data_ncomp(field, count), 0);
    }
    EXPECT_EQ(nnodes(), 12);
    EXPECT_EQ(FLDset_ndim(module, 2), 0);  // no field at all
    EXPECT_EQ(FLDset_ndim(OMnull_obj(), 2), 0);
}

TEST_F(Fields, NewShapesDropWhatBelongedToTheOldOne) {
    shape({2, 1}, 2);
    coord({0, 0, 1, 1});
    FLDset_node_data(field, 0, filled<float>(DTYPE_FLOAT, {1, 2}), DTYPE_FLOAT, 2, ARR_HOST_OWNS);
    shape({2, 1}, 2);  // the same again keeps everything
    EXPECT_TRUE(has_coordinates(field));
    shape({2, 2}, 2);
    EXPECT_FALSE(has_coordinates(field));
    void* data = nullptr;
    int type = 0;
    xp_long size = 0;
    EXPECT_EQ(FLDget_node_data(field, 0, &type, &data, &size, ARR_READ), 0);
    int veclen = 0;
    EXPECT_EQ(FLDget_node_data_veclen(field, 0, &veclen), 1);  // what was declared stays
    EXPECT_EQ(veclen, 1);
    points({0, 0, 1, 1});
    shape({3, 3}, 2);
    EXPECT_EQ(extent(2), (std::vector<float>{0, 0, 1, 1}));  // corners fit any grid
    shape({3, 3}, 3);
    EXPECT_TRUE(extent(3).empty());
}

TEST_F(Fields, ExtentsFollowTheCoordinates) {
    FLDset_nnodes(field, 2);
    FLDset_nspace(field, 1);
    coord({3, 5});
    EXPECT_EQ(extent(1), (std::vector<float>{3, 5}));
    const float low = -10;
    const float high = 10;
    EXPECT_EQ(FLDset_coord_extent(field, &low, &high, 1), 1);
    EXPECT_EQ(FLDset_coord_extent(field, &low, &high, 2), 0);
    EXPECT_EQ(extent(1), (std::vector<float>{-10, 10}));
    EXPECT_EQ(range("max"), 5.0);
    float* written = nullptr;
    xp_long size = 0;
    ASSERT_EQ(FLDget_coord(field, &written, &size, ARR_READ_WRITE), 1);
    EXPECT_EQ(extent(1), (std::vector<float>{3, 5}));
    written[1] = 6;
    EXPECT_EQ(range("max"), 6.0);  // while it is being written too
    end_access(written);
    EXPECT_EQ(extent(1), (std::vector<float>{3, 6}));
    EXPECT_EQ(OMset_real_val(find(field, "coordinates.max"), 1.0), 0);
}

TEST_F(Fields, WritingGettersMakeAbsentArrays) {
    float* made = nullptr;
    xp_long size = 0;
    FLDset_nspace(field, 3);
    EXPECT_EQ(FLDget_coord(field, &made, &size, ARR_READ), 0);
    FLDset_nnodes(field, 2);
    ASSERT_EQ(FLDget_coord(field, &made, &size, ARR_WRITE), 1);
    EXPECT_EQ(floats(made, size), std::vector<float>(6, 0.0F));
    end_access(made);
    shape({4, 3}, 2);
    FLDset_npoints(field, 7);
    ASSERT_EQ(FLDget_points(field, &made, &size, ARR_WRITE), 1);
    EXPECT_EQ(size, 14);
    EXPECT_EQ(type(), FLD_RECTILINEAR);
    end_access(made);
}

TEST_F(Fields, CellSets) {
    EXPECT_EQ(FLDadd_cell_set(field, "Prism"), 1);
    EXPECT_EQ(FLDadd_cell_set(field, "Polyline"), 1);
    EXPECT_EQ(FLDadd_cell_set(field, "Blob"), 0);
    OMobj_id cells{};
    ASSERT_EQ(FLDget_cell_set(field, 1, &cells), 1);
    int poly = 0;
    EXPECT_EQ(FLDget_poly_flag(cells, &poly), 1);
    EXPECT_EQ(poly, 1);
    char name[8];
    EXPECT_EQ(FLDget_cell_set_name(cells, name, sizeof name), 1);
    EXPECT_STREQ(name, "Polylin");
    EXPECT_EQ(FLDset_ncell_sets(field, 1), 1);
    EXPECT_EQ(FLDget_cell_set(field, 1, &cells), 0);
    ASSERT_EQ(FLDget_cell_set(field, 0, &cells), 1);
    // a cell set ends with its field only
    const OMobj_id holder = add("holder", Kind::unset);
    OMset_obj_ref_mode(holder, 1);
    OMset_obj_ref(holder, cells);
    destroy(holder);
    destroy(cells);
    xp_long* list = nullptr;
    xp_long size = 0;
    EXPECT_EQ(FLDset_cell_set(cells, "Quad"), 1);
    EXPECT_EQ(FLDset_ncells(cells, 5), 1);
    EXPECT_EQ(FLDset_ncells(cells, -1), 0);
    ASSERT_EQ(FLDget_node_connect(cells, &list, &size, ARR_WRITE), 1);
    EXPECT_EQ(size, 20);
    const int seq = now();
    end_access(list);
    EXPECT_NE(OMchanged(field, seq), 0);
    EXPECT_EQ(FLDset_ncells(cells, 6), 1);
    EXPECT_EQ(FLDget_node_connect(cells, &list, &size, ARR_READ), 0);  // it was for five
    destroy(field);
    EXPECT_EQ(FLDset_ncells(cells, 1), 0);
}

TEST_F(Fields, PolygonListsHaveTheLengthOfTheirPolygons) {
    FLDset_ncell_sets(field, 2);
    OMobj_id lines{};
    OMobj_id solids{};
    FLDget_cell_set(field, 0, &lines);
    FLDget_cell_set(field, 1, &solids);
    xp_long* list = nullptr;
    xp_long size = 0;
    for (const OMobj_id cells : {lines, solids}) {
        EXPECT_EQ(FLDget_poly_connect(cells, &list, &size, ARR_WRITE), 0);  // no type yet
        FLDset_npolys(cells, 3);
    }
    FLDset_cell_set(lines, "Polyline");
    ASSERT_EQ(FLDget_poly_connect(lines, &list, &size, ARR_WRITE), 1);
    EXPECT_EQ(size, 6);
    end_access(list);
    FLDset_cell_set(solids, "Polyhedron");
    EXPECT_EQ(FLDget_poly_connect(solids, &list, &size, ARR_WRITE), 0);
    ASSERT_EQ(FLDget_poly_nnodes(solids, &list, &size, ARR_WRITE), 1);
    ASSERT_EQ(size, 3);
    std::copy_n(std::begin({4, 5, 6}), 3, list);
    end_access(list);
    ASSERT_EQ(FLDget_poly_connect(solids, &list, &size, ARR_WRITE), 1);
    EXPECT_EQ(size, 15);
    end_access(list);
}

TEST_F(Fields, StepsShareTheShapeAndHoldTheirOwnValues) {
    shape({2, 1}, 1);
    FLDset_node_data_comp(field, 0, 1, "p", "Pa");
    EXPECT_EQ(FLDset_time_nsteps(field, 3), 1);
    const float times[] = {0, 0.5, 1};
    EXPECT_EQ(FLDset_time_values(field, times, 3), 1);
    EXPECT_EQ(FLDset_time_values(field, times, 4), 0);
    OMobj_id coordinates{};
    OMobj_id data{};
    ASSERT_EQ(FLDget_time_coordinates(field, 2, &coordinates), 1);
    ASSERT_EQ(FLDget_time_node_data(field, 2, &data), 1);
    EXPECT_EQ(FLDget_time_node_data(field, 3, &data), 0);
    EXPECT_EQ(FLDget_time_node_data(field, -1, &data), 0);
    xp_long count = 0;
    EXPECT_EQ(FLDget_nnodes(data, &count), 1);
    EXPECT_EQ(count, 2);
    char label[8];
    EXPECT_EQ(FLDget_node_data_label(data, 0, label, sizeof label), 1);
    EXPECT_STREQ(label, "p");

    const int seq = now();
    EXPECT_EQ(FLDset_node_data(data, 0, filled<float>(DTYPE_FLOAT, {8, 9}), DTYPE_FLOAT, 2, ARR_HOST_OWNS), 1);
    EXPECT_NE(OMchanged(field, seq), 0);
    EXPECT_EQ(FLDset_coord(coordinates, filled<float>(DTYPE_FLOAT, {3, 4}), 2, ARR_HOST_OWNS), 1);
    float low = 0;
    float high = 0;
    EXPECT_EQ(FLDget_coord_extent(coordinates, &low, &high), 1);
    EXPECT_EQ(low, 3);
    EXPECT_EQ(high, 4);
    EXPECT_EQ(FLDget_coord_extent(data, &low, &high), 0);  // node data has no positions
    EXPECT_EQ(FLDset_node_data_ncomp(coordinates, 1), 0);
    EXPECT_EQ(FLDset_time_nsteps(field, 1), 1);
    EXPECT_EQ(OMvalid_obj(data), 0);
    EXPECT_EQ(time_values(field), std::vector<float>{0});
}

TEST_F(Fields, TransformsAreComposedOfTheirParts) {
    float xform[16] = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1};
    EXPECT_EQ(FLDset_xform(field, xform), 1);
    float read[16];
    EXPECT_EQ(FLDget_xform(field, read), 1);
    EXPECT_EQ(floats(read, 16), floats(xform, 16));
    float* part = static_cast<float*>(
        OMret_name_array_ptr(find(field, "xform"), token("xlate"), ARR_READ_WRITE, nullptr, nullptr));
    EXPECT_EQ(floats(part, 3), (std::vector<float>{5, 6, 7}));
    part[2] = 8;
    end_access(part);
    const float center[] = {1, 2, 0};
    set_field_xform(field, {}, {}, center);
    // p' = (p - c) M + t + c takes c to c + t
    float point[] = {1, 2, 0};
    EXPECT_EQ(FLDget_xform(field, read), 1);
    MATvec3_mat4_multiply(point, read);
    EXPECT_EQ(floats(point, 3), (std::vector<float>{6, 8, 8}));
    set_values(find(field, "xform.mat"), DTYPE_FLOAT, xform, 9);  // nine numbers are no matrix
    EXPECT_EQ(FLDget_xform(field, read), 0);
}

}  // namespace
}  // namespace zam::host
