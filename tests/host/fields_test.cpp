// Shapes, positions, cell sets, time steps and transforms of fields.
#include <cmath>
#include <limits>
#include <numeric>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

struct Fields : HostTest {
    void shape(std::initializer_list<xp_long> dims, int nspace) const {
        ASSERT_EQ(FLDset_ndim(field, static_cast<int>(dims.size())), 1);
        ASSERT_EQ(FLDset_dims(field, dims.begin()), 1);
        ASSERT_EQ(FLDset_nspace(field, nspace), 1);
    }
    int points(std::initializer_list<float> values) const { return give(FLDset_points, values); }
    int coord(std::initializer_list<float> values) const { return give(FLDset_coord, values); }
    int give(int (*set)(OMobj_id, float*, xp_long, int), std::initializer_list<float> values) const {
        return set(field, filled(DTYPE_FLOAT, values), static_cast<xp_long>(values.size()), ARR_HOST_OWNS);
    }
    int type() const { return got<int>(FLDget_grid_type, field).value_or(-1); }
    OMobj_id cell_set(int index) const { return got<OMobj_id>(FLDget_cell_set, field, index).value_or(OMnull_obj()); }
    xp_long nnodes() const { return got<xp_long>(FLDget_nnodes, field).value_or(-1); }
    /// Minimum and maximum corner one after another; empty if the host does not know them.
    Floats extent(int nspace) const { return extent(nspace, field); }
    static Floats extent(int nspace, OMobj_id part) {
        Floats corners(static_cast<std::size_t>(2 * nspace));
        const bool known = FLDget_coord_extent(part, corners.data(), corners.data() + nspace) == 1;
        return known ? corners : Floats();
    }
    double range(const char* limit) const {
        return got<double>(OMget_real_val, find(field, std::string("coordinates.") + limit)).value_or(std::nan(""));
    }

    OMobj_id field = add("field", Kind::field);
};

TEST_F(Fields, TheGridTypeFollowsFromThePositions) {
    EXPECT_EQ(type(), FLD_UNSTRUCTURED);
    shape({4, 3}, 2);
    EXPECT_EQ(type(), FLD_UNIFORM);
    EXPECT_EQ(nnodes(), 12);
    EXPECT_EQ(points({0, 0, 3, 2}), 1);
    EXPECT_EQ(type(), FLD_UNIFORM);
    EXPECT_EQ(extent(2), (Floats{0, 0, 3, 2}));
    EXPECT_EQ(points({1, 0, 2, 0, 4, 0, 8, 0, 0, -1, 0, 0, 0, 5}), 1);
    EXPECT_EQ(type(), FLD_RECTILINEAR);
    EXPECT_EQ(got<xp_long>(FLDget_npoints, field), 7);
    EXPECT_EQ(extent(2), (Floats{1, -1, 8, 5}));  // of an axis's points only its own component counts
    EXPECT_EQ(range("min"), -1.0);
    EXPECT_EQ(range("max"), 8.0);
    FLDset_ndim(field, 2);
    EXPECT_EQ(FLDset_nnodes(field, 6), 1);  // a count between ndim and dims leaves the field structured
    const xp_long following[] = {3, 2};
    EXPECT_EQ(FLDset_dims(field, following), 1);
    EXPECT_EQ(nnodes(), 6);
    EXPECT_EQ(FLDset_nnodes(field, 2), 1);  // a count that is not the product of the dimensions removes them
    EXPECT_EQ(coord({1, 2, NAN, 4}), 1);
    EXPECT_EQ(type(), FLD_UNSTRUCTURED);
    EXPECT_EQ(extent(2), (Floats{1, 2, 1, 4}));
    xp_long* dims = nullptr;
    int ndim = 0;
    EXPECT_EQ(FLDget_dims(field, &dims, &ndim), 0);
}

TEST_F(Fields, DeclaredTypesStay) {
    ASSERT_EQ(FLDcreate(module, &field, 0, "field", "Mesh_Rect Node_Data"), 1);
    shape({1, 1}, 1);
    EXPECT_EQ(points({5, 7}), 1);  // two points, yet no corners
    EXPECT_EQ(type(), FLD_RECTILINEAR);
    EXPECT_EQ(extent(1), (Floats{5, 5}));
    set_grid_type(field, FLD_UNIFORM);
    EXPECT_EQ(extent(1), (Floats{5, 7}));
}

TEST_F(Fields, AbsurdShapesAreRefused) {
    constexpr xp_long kMax = std::numeric_limits<xp_long>::max();
    constexpr int kMaxInt = std::numeric_limits<int>::max();
    shape({4, 3}, 2);
    const xp_long kBadDims[][2] = {{-1, 3}, {kMax, 3}, {xp_long{1} << 40, xp_long{1} << 40}};
    for (const auto& dims : kBadDims) EXPECT_EQ(FLDset_dims(field, dims), 0) << dims[0];
    for (const int nspace : {0, -1, 4}) EXPECT_EQ(FLDset_nspace(field, nspace), 0);
    for (const auto set : {FLDset_nnodes, FLDset_npoints})
        for (const xp_long count : {xp_long{-1}, kMax}) EXPECT_EQ(set(field, count), 0);
    for (const auto set : {FLDset_ndim, FLDset_time_nsteps, FLDset_ncell_sets, FLDset_node_data_ncomp})
        for (const int count : {-1, kMaxInt}) EXPECT_EQ(set(field, count), 0);
    EXPECT_EQ(nnodes(), 12);
    EXPECT_EQ(FLDset_ndim(module, 2), 0);  // not a field
    EXPECT_EQ(FLDset_ndim(OMnull_obj(), 2), 0);
}

TEST_F(Fields, NewShapesDropWhatBelongedToTheOldOne) {
    shape({2, 1}, 2);
    coord({0, 0, 1, 1});
    FLDset_node_data(field, 0, filled<float>(DTYPE_FLOAT, {1, 2}), DTYPE_FLOAT, 2, ARR_HOST_OWNS);
    shape({2, 1}, 2);  // the same shape again keeps everything
    EXPECT_TRUE(has_coordinates(field));
    shape({2, 2}, 2);
    EXPECT_FALSE(has_coordinates(field));
    EXPECT_EQ(node_data(field, ARR_READ), std::pair(0, xp_long{0}));
    EXPECT_EQ(got<int>(FLDget_node_data_veclen, field, 0), 1);  // what was declared stays
    points({0, 0, 1, 1});
    shape({3, 3}, 2);
    EXPECT_EQ(extent(2), (Floats{0, 0, 1, 1}));  // corners fit any grid
    shape({3, 3}, 3);
    EXPECT_TRUE(extent(3).empty());
}

TEST_F(Fields, ExtentsFollowTheCoordinates) {
    FLDset_nnodes(field, 2);
    FLDset_nspace(field, 1);
    coord({3, 5});
    EXPECT_EQ(extent(1), (Floats{3, 5}));
    const float low = -10, high = 10;
    EXPECT_EQ(FLDset_coord_extent(field, &low, &high, 1), 1);
    EXPECT_EQ(FLDset_coord_extent(field, &low, &high, 2), 0);
    EXPECT_EQ(extent(1), (Floats{-10, 10}));
    EXPECT_EQ(range("max"), 5.0);
    lent<float>(FLDget_coord, field, ARR_READ_WRITE, [&](float* written) {
        EXPECT_EQ(extent(1), (Floats{3, 5}));
        written[1] = 6;
        EXPECT_EQ(range("max"), 6.0);  // also while it is being written
    });
    EXPECT_EQ(extent(1), (Floats{3, 6}));
    EXPECT_EQ(OMset_real_val(find(field, "coordinates.max"), 1.0), 0);
}

TEST_F(Fields, WritingGettersMakeAbsentArrays) {
    FLDset_nspace(field, 3);
    EXPECT_EQ(lent(FLDget_coord, field, ARR_READ), std::nullopt);
    FLDset_nnodes(field, 2);
    EXPECT_EQ(lent(FLDget_coord, field, ARR_WRITE), Floats(6, 0.0F));
    shape({4, 3}, 2);
    FLDset_npoints(field, 7);
    EXPECT_EQ(lent(FLDget_points, field, ARR_WRITE), Floats(14, 0.0F));
    EXPECT_EQ(type(), FLD_RECTILINEAR);
}

TEST_F(Fields, CellSets) {
    EXPECT_EQ(FLDadd_cell_set(field, "Prism"), 1);
    EXPECT_EQ(FLDadd_cell_set(field, "Polyline"), 1);
    EXPECT_EQ(FLDadd_cell_set(field, "Blob"), 0);
    OMobj_id cells = cell_set(1);
    EXPECT_EQ(got<int>(FLDget_poly_flag, cells), 1);
    char name[8];
    EXPECT_EQ(FLDget_cell_set_name(cells, name, sizeof name), 1);
    EXPECT_STREQ(name, "Polylin");
    EXPECT_EQ(FLDset_ncell_sets(field, 1), 1);
    EXPECT_EQ(FLDget_cell_set(field, 1, &cells), 0);
    cells = cell_set(0);
    // a cell set ends only with its field
    destroy(owner(module, "holder", cells));
    destroy(cells);
    EXPECT_EQ(FLDset_cell_set(cells, "Quad"), 1);
    EXPECT_EQ(FLDset_ncells(cells, 5), 1);
    EXPECT_EQ(FLDset_ncells(cells, -1), 0);
    int seq = 0;
    EXPECT_EQ(lent<xp_long>(FLDget_node_connect, cells, ARR_WRITE, [&](auto*) { seq = now(); })->size(), 20U);
    EXPECT_NE(OMchanged(field, seq), 0);
    FLDset_cell_set(cells, "Quad");  // the same type again keeps the list
    EXPECT_EQ(lent(FLDget_node_connect, cells, ARR_READ)->size(), 20U);
    EXPECT_EQ(FLDset_ncells(cells, 6), 1);
    EXPECT_EQ(lent(FLDget_node_connect, cells, ARR_READ), std::nullopt);  // the list was for five cells
    destroy(field);
    EXPECT_EQ(FLDset_ncells(cells, 1), 0);
}

TEST_F(Fields, PolygonListsHaveTheLengthOfTheirPolygons) {
    FLDset_ncell_sets(field, 2);
    const OMobj_id lines = cell_set(0), solids = cell_set(1);
    for (const OMobj_id cells : {lines, solids}) {
        EXPECT_EQ(lent(FLDget_poly_connect, cells, ARR_WRITE), std::nullopt);  // no type yet
        FLDset_npolys(cells, 3);
    }
    FLDset_cell_set(lines, "Polyline");
    EXPECT_EQ(lent(FLDget_poly_connect, lines, ARR_WRITE)->size(), 6U);
    FLDset_cell_set(solids, "Polyhedron");
    EXPECT_EQ(lent(FLDget_poly_connect, solids, ARR_WRITE), std::nullopt);
    lent<xp_long>(FLDget_poly_nnodes, solids, ARR_WRITE, [](auto* counts) { std::iota(counts, counts + 3, 4); });
    EXPECT_EQ(lent(FLDget_poly_connect, solids, ARR_WRITE)->size(), 15U);
}

TEST_F(Fields, StepsShareTheShapeAndHoldTheirOwnValues) {
    shape({2, 1}, 1);
    FLDset_node_data_comp(field, 0, 1, "p", "Pa");
    EXPECT_EQ(FLDset_time_nsteps(field, 3), 1);
    const float times[] = {0, 0.5, 1};
    EXPECT_EQ(FLDset_time_values(field, times, 3), 1);
    EXPECT_EQ(FLDset_time_values(field, times, 4), 0);
    OMobj_id coordinates{}, data{};
    ASSERT_EQ(FLDget_time_coordinates(field, 2, &coordinates), 1);
    ASSERT_EQ(FLDget_time_node_data(field, 2, &data), 1);
    for (const int bad : {3, -1}) EXPECT_EQ(FLDget_time_node_data(field, bad, &data), 0);
    EXPECT_EQ(got<xp_long>(FLDget_nnodes, data), 2);
    char label[8];
    EXPECT_EQ(FLDget_node_data_label(data, 0, label, sizeof label), 1);
    EXPECT_STREQ(label, "p");

    const int seq = now();
    EXPECT_EQ(FLDset_node_data(data, 0, filled<float>(DTYPE_FLOAT, {8, 9}), DTYPE_FLOAT, 2, ARR_HOST_OWNS), 1);
    EXPECT_NE(OMchanged(field, seq), 0);
    EXPECT_EQ(FLDset_coord(coordinates, filled<float>(DTYPE_FLOAT, {3, 4}), 2, ARR_HOST_OWNS), 1);
    EXPECT_EQ(extent(1, coordinates), (Floats{3, 4}));
    EXPECT_TRUE(extent(1, data).empty());  // node data has no positions
    EXPECT_EQ(FLDset_node_data_ncomp(coordinates, 1), 0);
    EXPECT_EQ(FLDset_time_nsteps(field, 1), 1);
    EXPECT_EQ(OMvalid_obj(data), 0);
    EXPECT_EQ(time_values(field), Floats{0});
}

TEST_F(Fields, TransformsAreComposedOfTheirParts) {
    const Floats xform = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 5, 6, 7, 1};
    EXPECT_EQ(FLDset_xform(field, xform.data()), 1);
    EXPECT_EQ(matrix_of(FLDget_xform, field), xform);
    float* part = static_cast<float*>(
        OMret_name_array_ptr(find(field, "xform"), token("xlate"), ARR_READ_WRITE, nullptr, nullptr));
    EXPECT_EQ(Floats(part, part + 3), (Floats{5, 6, 7}));
    part[2] = 8;
    end_access(part);
    const float center[] = {1, 2, 0};
    set_field_xform(field, {}, {}, center);
    // p' = (p - c) M + t + c takes c to c + t
    EXPECT_EQ(moved({1, 2, 0}, matrix_of(FLDget_xform, field)), (Floats{6, 8, 8}));
    set_values(find(field, "xform.mat"), DTYPE_FLOAT, xform.data(), 9);  // nine numbers do not make a matrix
    EXPECT_EQ(matrix_of(FLDget_xform, field), Floats());
}

}  // namespace
}  // namespace zam::host
