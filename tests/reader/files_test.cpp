// Files that a Fortran program and a Python script wrote: see data/README.md for what they hold.
#include <functional>

#include "reader_fixture.h"

namespace zam::test {
namespace {

using Formula = std::function<double(double i, double j, double k, int comp, int step)>;

double plain(double i, double j, double k, int comp, int step) { return i + 10 * j + 100 * k + 1000 * comp + 0 * step; }
double negative(double i, double j, double k, int comp, int step) { return -plain(i, j, k, comp, step); }
double by_step(double i, double j, double k, int, int step) { return i + 10 * j + 100 * k + 1000 * step; }
double squares(double i, double, double, int, int) { return i * i; }
double pixel(double i, double j, double k, int comp, int) { return comp < 2 ? 12 : comp == 2 ? 10 * i + j : 200 + k; }
double columns(double i, double j, double k, int comp, int) {
    return comp == 0 ? plain(i, j, k, 0, 0) : -plain(i, j, k, 1, 0);
}

enum Positions { kIndices, kCornersGiven, kAxes, kBent, kCurve };

struct FileCase {
    const char* name;
    bool swap;
    std::vector<xp_long> dims;
    int type;
    int comps;
    Formula value;
    Positions positions = kIndices;
};

const FileCase kFiles[] = {
    {"native_byte", false, {4, 3, 2}, DTYPE_BYTE, 1, plain},
    {"native_short", false, {4, 3, 2}, DTYPE_SHORT, 1, negative},
    {"native_int", false, {4, 3, 2}, DTYPE_INT, 1, negative},
    {"native_long", false, {4, 3, 2}, DTYPE_LONG, 1, negative},
    {"native_float", false, {4, 3, 2}, DTYPE_FLOAT, 1, negative},
    {"native_double", false, {4, 3, 2}, DTYPE_DOUBLE, 1, negative},
    {"swapped_short", true, {4, 3, 2}, DTYPE_SHORT, 1, negative},
    {"swapped_int", true, {4, 3, 2}, DTYPE_INT, 1, negative},
    {"swapped_long", true, {4, 3, 2}, DTYPE_LONG, 1, negative},
    {"swapped_float", true, {4, 3, 2}, DTYPE_FLOAT, 1, negative},
    {"swapped_double", true, {4, 3, 2}, DTYPE_DOUBLE, 1, negative},
    {"xdr_short", false, {4, 3, 2}, DTYPE_SHORT, 1, negative},
    {"xdr_int", false, {4, 3, 2}, DTYPE_INT, 1, negative},
    {"xdr_long", false, {4, 3, 2}, DTYPE_LONG, 1, negative},
    {"xdr_float", false, {4, 3, 2}, DTYPE_FLOAT, 1, negative},
    {"xdr_double", false, {4, 3, 2}, DTYPE_DOUBLE, 1, negative},
    {"inline_uniform", false, {4, 3, 2}, DTYPE_FLOAT, 2, plain, kCornersGiven},
    {"inline_rectilinear", false, {4, 3, 2}, DTYPE_FLOAT, 2, plain, kAxes},
    {"inline_rectilinear_xdr", false, {4, 3, 2}, DTYPE_DOUBLE, 2, plain, kAxes},
    {"inline_irregular", false, {4, 3, 2}, DTYPE_SHORT, 2, plain, kBent},
    {"inline_bytes", false, {3, 2, 2}, DTYPE_BYTE, 4, pixel, kCornersGiven},
    {"inline_curve", false, {5}, DTYPE_INT, 1, squares, kCurve},
    {"interleaved", false, {4, 3, 2}, DTYPE_FLOAT, 2, plain, kBent},
    {"names_itself", false, {4, 3, 2}, DTYPE_DOUBLE, 1, plain},
    {"unnamed", false, {4, 3, 2}, DTYPE_INT, 2, plain},
    {"columns", false, {3, 2, 2}, DTYPE_FLOAT, 2, columns, kBent},
    {"kept_open", false, {5, 3}, DTYPE_FLOAT, 1, by_step},
    {"written_out", false, {5, 3}, DTYPE_INT, 1, by_step},
    {"fortran_scalars", false, {4, 3, 2}, DTYPE_FLOAT, 2, plain},
    {"fortran_irregular", false, {3, 2, 2}, DTYPE_FLOAT, 2, plain, kBent},
    {"fortran_big", true, {5, 2}, DTYPE_DOUBLE, 2, plain},
    {"fortran_steps", false, {3, 2}, DTYPE_INT, 1, by_step},
    {"fortran_columns", false, {3, 2, 2}, DTYPE_DOUBLE, 1, plain, kBent},
    {"fortran_list", false, {4, 3, 2}, DTYPE_FLOAT, 1, plain},
};

/// Calls visit(i, j, k) for every node in order.
void each_node(const std::vector<xp_long>& dims, const std::function<void(double, double, double)>& visit) {
    const xp_long ny = dims.size() > 1 ? dims[1] : 1;
    const xp_long nz = dims.size() > 2 ? dims[2] : 1;
    for (xp_long k = 0; k < nz; ++k) {
        for (xp_long j = 0; j < ny; ++j) {
            for (xp_long i = 0; i < dims[0]; ++i) {
                visit(static_cast<double>(i), static_cast<double>(j), static_cast<double>(k));
            }
        }
    }
}

class OtherPrograms : public ReadField {
protected:
    void expect_values(const FileCase& test, int step) {
        for (int comp = 0; comp < test.comps; ++comp) {
            std::vector<float> expected;
            each_node(test.dims, [&](double i, double j, double k) {
                expected.push_back(static_cast<float>(test.value(i, j, k, comp, step)));
            });
            EXPECT_EQ(values(out(), comp), expected) << test.name << " component " << comp << " step " << step;
        }
    }

    std::string label(int comp) const {
        std::array<char, FLD_LABEL_SIZE> buffer{};
        FLDget_node_data_label(out(), comp, buffer.data(), FLD_LABEL_SIZE);
        return buffer.data();
    }

    void expect_positions(const FileCase& test) {
        std::vector<float> bent;
        each_node(test.dims, [&](double i, double j, double k) {
            for (const double p : {i + 0.25 * j, 0.5 * j, k - 0.125 * i}) bent.push_back(static_cast<float>(p));
        });
        std::vector<float> indices(test.dims.size(), 0.0F);
        for (const xp_long dim : test.dims) indices.push_back(static_cast<float>(dim - 1));
        const bool pixels = test.comps == 4;
        switch (test.positions) {
            case kIndices: EXPECT_EQ(positions(out(), FLDget_points), indices) << test.name; break;
            case kCornersGiven:
                EXPECT_EQ(positions(out(), FLDget_points),
                          pixels ? std::vector<float>({-1, -1, 0, 1, 1, 2}) : std::vector<float>({-1, -3, -5, 2, 4, 6}))
                    << test.name;
                break;
            case kAxes:
                EXPECT_EQ(positions(out(), FLDget_points),
                          std::vector<float>({0, 0, 0,     0.5F, 0, 0,    2, 0, 0, 4.5F, 0, 0, 0, 0,
                                              0, 0, 1.25F, 0,    0, 2.5F, 0, 0, 0, -1,   0, 0, 1}))
                    << test.name;
                break;
            case kBent: EXPECT_EQ(positions(out(), FLDget_coord), bent) << test.name; break;
            case kCurve:
                EXPECT_EQ(positions(out(), FLDget_coord), std::vector<float>({0, 0, 1, 0.5F, 2, 0, 3, -0.5F, 4, 0}))
                    << test.name;
                break;
        }
    }
};

TEST_F(OtherPrograms, FilesGiveWhatWasWritten) {
    for (const FileCase& test : kFiles) {
        SCOPED_TRACE(test.name);
        set("swap", test.swap ? 1 : 0);
        ASSERT_EQ(read(std::string(ZAM_TEST_DATA) + "/" + test.name + ".fld"), 1)
            << (reports.empty() ? "" : reports[0]);
        EXPECT_EQ(dims(), test.dims);
        int type = -1;
        FLDget_node_data_type(out(), 0, &type);
        EXPECT_EQ(type, test.type);
        expect_values(test, 0);
        expect_positions(test);
        for (int step = 1; step < get("nsteps"); ++step) {
            set("forward", 1);
            ASSERT_EQ(update(), 1);
            EXPECT_EQ(get("stepno"), step + 1);
            expect_values(test, step);
        }
    }
    EXPECT_TRUE(reports.empty()) << reports[0];
}

/// Steps in any order, and all at once, give what going forward gives.
TEST_F(OtherPrograms, StepsAreFoundFromAnywhere) {
    for (const char* name : {"kept_open", "written_out", "fortran_steps"}) {
        const FileCase& test = *std::find_if(std::begin(kFiles), std::end(kFiles),
                                             [&](const FileCase& one) { return std::string(one.name) == name; });
        ASSERT_EQ(read(std::string(ZAM_TEST_DATA) + "/" + name + ".fld"), 1);
        const int nsteps = get("nsteps");
        ASSERT_GE(nsteps, 3);
        for (const int step : {nsteps, 2, 3, 1}) {
            set("stepno", step);
            ASSERT_EQ(update(), 1) << name << step;
            expect_values(test, step - 1);
        }
        set("store_all", 1);
        ASSERT_EQ(update(), 1);
        EXPECT_EQ(host::time_nsteps(out_all()), nsteps);
        set("stepno", nsteps - 1);
        ASSERT_EQ(update(), 1);
        expect_values(test, nsteps - 2);
    }
    EXPECT_TRUE(reports.empty()) << reports[0];
}

TEST_F(OtherPrograms, TimesLabelsAndRanges) {
    const std::string directory = std::string(ZAM_TEST_DATA) + "/";
    ASSERT_EQ(read(directory + "kept_open.fld"), 1);
    set("stepno", 4);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(text("time_string"), "0.750000");
    ASSERT_EQ(read(directory + "fortran_steps.fld"), 1);
    set("store_all", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(host::time_values(out_all()), std::vector<float>({0.0F, 0.5F, 1.0F}));
    EXPECT_EQ(ranges, std::vector<int>({33, 66, 100}));
    ASSERT_EQ(read(directory + "written_out.fld"), 1);
    set("forward", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(label(0), "height");
    int range[2] = {};
    ASSERT_EQ(FLDget_node_data_minmax(out(), 0, &range[0], &range[1]), 1);
    EXPECT_EQ(range[0], 1000);
    EXPECT_EQ(range[1], 1024);
    EXPECT_EQ(text("time_string").substr(0, 3), "2.5");
    ASSERT_EQ(read(directory + "columns.fld"), 1);
    EXPECT_EQ(label(1), "the second");
}

}  // namespace
}  // namespace zam::test
