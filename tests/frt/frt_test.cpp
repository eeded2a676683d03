// Grids in Fortran records: files that Fortran programs wrote, files that end anywhere or lie about themselves, a host
// that refuses.
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "base/file_handle.h"
#include "modules/support/memory_budget.h"
#include "modules/zam/read_frt.h"
#include "modules/zam/readers/frt_grid.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"

namespace zam::test {
namespace {

using Texts = std::vector<std::string>;

class FortranGrids : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        host::create(instance, "frt_fname", host::Kind::text);
        make_outputs();
    }
    void make_outputs() {
        out = host::create(instance, "out", host::Kind::field);
        host::create(instance, "time", host::Kind::unset);
        reports.clear();
    }

    int read(const std::string& name) {
        OMset_name_str_val(instance, OMstr_to_name("frt_fname"), name.c_str());
        return ZAMread_frt(instance, 0, 0);
    }
    int read_bytes(const std::string& bytes) {
        std::filesystem::remove(file_);  // a new file is not written through to the disk as a replaced one is
        std::ofstream(file_, std::ios::binary) << bytes;
        return read(file_);
    }

    double time() const {
        double value = -1.0;
        OMget_name_real_val(instance, OMstr_to_name("time"), &value);
        return value;
    }
    int ncomp() const {
        int count = -1;
        FLDget_node_data_ncomp(out, &count);
        return count;
    }
    /// A component, which must be doubles or floats as told.
    std::vector<double> component(int comp, bool wide) const {
        const auto data = TypedBytes::read(out, comp);
        if (!data || data->type() != (wide ? DTYPE_DOUBLE : DTYPE_FLOAT)) return {};
        const auto floats = data->as<float>();
        const auto doubles = data->as<double>();
        return wide ? std::vector<double>(doubles.begin(), doubles.end())
                    : std::vector<double>(floats.begin(), floats.end());
    }

    OMobj_id out{};

private:
    const ScratchDirectory scratch_;
    const std::string file_ = scratch_.file("grid.dat");
};

// --- Written by write_grids.f90 ---

struct Written {
    std::string name;
    std::vector<xp_long> dims;
    int ncomp;
    bool wide;
    double time;  // -1: none
};
const Written kWritten[] = {{"plane", {5, 4}, 2, false, 0.75},
                            {"plane_notime", {5, 4}, 1, true, -1.0},
                            {"solid", {5, 4, 3}, 3, false, 0.75},
                            {"solid_apart", {5, 4, 3}, 2, true, 0.75}};

TEST_F(FortranGrids, AreReadWhateverTheCompilerWasTold) {
    Texts starts;
    for (const std::string marker : {"/m4_", "/m8_"}) {
        for (const char* form : {"little_i4_", "little_i8_", "big_i4_", "big_i8_"}) {
            starts.push_back(ZAM_TEST_DATA + marker + form);
#ifdef ZAM_FRESH_GRIDS
            starts.push_back(ZAM_FRESH_GRIDS + marker + form);
#endif
        }
    }
    for (const std::string& start : starts) {
        for (const Written& grid : kWritten) {
            SCOPED_TRACE(start + grid.name);
            make_outputs();
            ASSERT_EQ(read(start + grid.name + ".dat"), 1);
            EXPECT_EQ(reports, Texts());
            HostArray<xp_long> dims;
            int ndim = 0;
            FLDget_dims(out, dims.receive(), &ndim);
            ASSERT_EQ(std::vector<xp_long>(dims.data(), dims.data() + ndim), grid.dims);
            EXPECT_EQ(time(), grid.time);
            ASSERT_EQ(ncomp(), grid.ncomp);
            std::vector<float> coord;
            std::vector<std::vector<double>> comps(3);
            for (int k = 1; k <= (ndim == 3 ? 3 : 1); ++k) {
                for (int j = 1; j <= 4; ++j) {
                    for (int i = 1; i <= 5; ++i) {
                        const double position[] = {i + 0.25 * j, j - 0.5 * k, 2.0 * k + 0.125 * i};
                        for (int axis = 0; axis < ndim; ++axis) coord.push_back(static_cast<float>(position[axis]));
                        for (std::size_t c = 0; c < 3; ++c) {
                            const double value = (100.0 * double(c + 1) + i + 10 * j + 0.5 * k) / 3.0;
                            comps[c].push_back(grid.wide ? value : double(static_cast<float>(value)));
                        }
                    }
                }
            }
            EXPECT_EQ(positions(out, FLDget_coord), coord);
            for (int c = 0; c < grid.ncomp; ++c)
                EXPECT_EQ(component(c, grid.wide), comps[static_cast<std::size_t>(c)]) << c;
        }
    }
}

// --- Ended anywhere ---

/// How a file is written.
struct Form {
    int marker, integer;  // bytes
    std::vector<xp_long> dims;
    bool swapped, apart, wide;  // byte order; a record for each coordinate; double node data
    std::size_t time;           // bytes of the time record; 0: none
};
const Form kForms[] = {
    {4, 4, {3, 3}, false, true, false, 4}, {4, 4, {3, 2, 2}, true, false, true, 0},
    {4, 8, {3, 3}, true, true, true, 32},  {4, 8, {3, 2, 2}, false, true, false, 0},
    {8, 4, {3, 3}, true, false, false, 5}, {8, 4, {3, 2, 2}, false, true, true, 4},
    {8, 8, {3, 3}, false, false, true, 0}, {8, 8, {3, 2, 2}, true, true, false, 9},
};

/// A file in the making, and the message about a file that ends within each of its parts (empty: none).
class GridBytes {
public:
    explicit GridBytes(const Form& form) : form_(form) {}

    template <class T>
    GridBytes& put(T value, const std::string& text = {}) {
        std::string one(sizeof value, '\0');
        std::memcpy(one.data(), &value, sizeof value);
        bytes += form_.swapped ? std::string(one.rbegin(), one.rend()) : one;
        messages.resize(bytes.size(), text);
        return *this;
    }
    GridBytes& integer(xp_long value, int width, const std::string& text = {}) {
        return width == 4 ? put(static_cast<std::int32_t>(value), text) : put(value, text);
    }
    GridBytes& marker(xp_long length, const std::string& text = {}) { return integer(length, form_.marker, text); }
    GridBytes& dims(const std::vector<xp_long>& dims) {
        const Texts texts{"Error! read imax.", "Error! read jmax.", "Error! read kmax."};
        const xp_long length = form_.integer * static_cast<xp_long>(dims.size());
        marker(length, "Error! read ijk header.");
        for (std::size_t i = 0; i < dims.size(); ++i) integer(dims[i], form_.integer, texts[i]);
        return marker(length, "Error! read ijkmax footer.");
    }
    template <class T>
    GridBytes& record(const std::vector<T>& values, const Texts& texts = {"", "", ""}) {
        marker(static_cast<xp_long>(values.size() * sizeof(T)), texts[0]);
        for (const T value : values) put(value, texts[1]);
        return marker(static_cast<xp_long>(values.size() * sizeof(T)), texts[2]);
    }
    GridBytes& component(const std::vector<double>& values, const Texts& texts) {
        return form_.wide ? record(values, texts) : record(std::vector<float>(values.begin(), values.end()), texts);
    }

    std::string bytes;
    Texts messages;  // about a file of as many bytes

private:
    Form form_;
};

const std::vector<double> kSamples{1.25, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12.5};

GridBytes whole_file(const Form& form) {
    GridBytes file(form);
    const bool narrow = form.marker == 4;
    const std::size_t nnodes = form.dims.size() == 2 ? 9 : 12;
    const std::vector<double> samples(kSamples.begin(), kSamples.begin() + static_cast<std::ptrdiff_t>(nnodes));
    file.dims(form.dims);
    const Texts reads{"Error! read xcoords.", "Error! read ycoords.",
                      form.apart ? "Error! read ycoords." : "Error! read zcoords."};
    const std::string footer = "Error! read xyzcoord footer.";
    std::string header = narrow ? "Error! read coordinate header." : "Error! read coordinate header8.";
    if (!form.apart) file.marker(77, header);  // any length but that of one axis
    for (std::size_t axis = 0; axis < form.dims.size(); ++axis) {
        const std::vector<float> values(nnodes, static_cast<float>(axis));
        if (form.apart) file.record(values, {axis == 0 ? header : "Error! read xyzcoord header.", reads[axis], footer});
        for (std::size_t i = 0; !form.apart && i < nnodes; ++i) file.put(values[i], reads[axis]);
    }
    if (!form.apart) file.marker(77, footer);
    header = narrow ? "Error! read time header." : "Error! read data header.";
    if (form.time > 0) {
        const std::string text = "Error! read time value.";
        file.marker(static_cast<xp_long>(form.time), header).put(2.5F, text);
        for (std::size_t i = 4; i < form.time; ++i) file.put('x', text);
        file.marker(static_cast<xp_long>(form.time), text);
        header = "Error! read data header.";
    }
    file.component(samples, {header, "Error! read data.", "Error! read data."});
    const std::string further = "Warning! cannot read data: veclen > 1";
    file.component(samples, {"", further, further});
    // the search for the layout looks at eight bytes, or after the integers of 8 bytes
    const bool at_once = form.integer == 4 || (form.marker == 8 && form.swapped);
    std::fill_n(file.messages.begin(), at_once ? 8 : 12 + 8 * form.dims.size(), "Error! read header.");
    std::fill_n(file.messages.begin(), 4, "Can't read header information.");
    return file;
}

TEST_F(FortranGrids, GiveTheMessageOfTheRecordTheyEndIn) {
    for (const Form& form : kForms) {
        const GridBytes file = whole_file(form);
        const std::size_t nnodes = form.dims.size() == 2 ? 9 : 12;
        const std::size_t width = form.wide ? 8 : 4;
        const auto marker = static_cast<std::size_t>(form.marker);
        const std::size_t second = file.bytes.size() - nnodes * width - marker;  // where its values begin
        for (std::size_t size = 0; size <= file.bytes.size() + 3; ++size) {
            SCOPED_TRACE(testing::Message() << "form " << &form - kForms << ", " << size << " bytes");
            std::string bytes = file.bytes;
            bytes.resize(size, '\7');  // what is no marker at the end is no fault
            const std::string text = size < file.messages.size() ? file.messages[size] : "";
            const bool whole = text.empty() || text.starts_with("Warning");
            make_outputs();
            ASSERT_EQ(read_bytes(bytes), whole ? 1 : 0);
            ASSERT_EQ(reports, text.empty() ? Texts() : Texts{text});
            if (!whole) continue;
            ASSERT_EQ(time(), form.time > 0 ? 2.5 : -1.0);
            ASSERT_EQ(ncomp(), size < second ? 1 : 2);
            std::vector<double> expected(nnodes, 0.0);  // where nothing was read
            const std::size_t held = size < second ? nnodes : std::min((size - second) / width, nnodes);
            std::copy_n(kSamples.begin(), held, expected.begin());
            ASSERT_EQ(component(ncomp() - 1, form.wide), expected);
        }
    }
}

TEST_F(FortranGrids, ThatShrinkWhileTheyAreReadGiveTheSameMessage) {
    for (const Form& form : kForms) {
        const GridBytes file = whole_file(form);
        for (std::size_t size = 0; size < file.messages.size(); ++size) {
            if (!file.messages[size].ends_with("coords.")) continue;
            const FileHandle stream(std::tmpfile());
            std::fwrite(file.bytes.data(), 1, file.bytes.size(), stream.get());
            frt::RecordFile records(stream.get());
            records.detect_layout();
            const frt::GridShape shape = frt::read_shape(records);
            ASSERT_EQ(ftruncate(fileno(stream.get()), static_cast<off_t>(size)), 0);
            std::string text;
            try {
                MemoryBudget memory;
                frt::read_coordinates(records, shape, memory);
            } catch (const frt::Failure& failure) {
                text = failure.text;
            }
            ASSERT_EQ(text, file.messages[size]) << "form " << &form - kForms << ", " << size << " bytes";
        }
    }
}

TEST_F(FortranGrids, OfManyBlocksAreReadWhole) {
    for (const bool swapped : {false, true}) {
        GridBytes file({4, 4, {}, swapped, true, true, 0});
        std::vector<float> x(300 * 400);
        std::iota(x.begin(), x.end(), 0.5F);
        const std::vector<float> y(x.rbegin(), x.rend());
        const std::vector<double> values(x.begin(), x.end());
        file.dims({300, 400}).record(x).record(y).record(values);
        ASSERT_EQ(read_bytes(file.bytes), 1);
        const auto coord = positions(out, FLDget_coord);
        for (std::size_t node = 0; node < x.size(); ++node)
            ASSERT_TRUE(coord[2 * node] == x[node] && coord[2 * node + 1] == y[node]) << node;
        EXPECT_TRUE(component(0, true) == values);
    }
}

// --- Files that lie ---

const Form kPlain{4, 4, {3, 3}, false, true, false, 0};
const Form kLong{4, 8, {3, 3, 3}, false, true, true, 0};

/// A plane of 3 x 3 nodes with some components.
GridBytes plane(int comps = 0, const Form& form = kPlain) {
    GridBytes file(form);
    file.dims({3, 3});
    for (int axis = 0; axis < 2; ++axis) file.record(std::vector<float>(9, 1.0F));
    for (int comp = 0; comp < comps; ++comp) file.record(std::vector<float>(9, 2.0F));
    return file;
}
std::string words(const std::vector<std::int32_t>& values) {
    GridBytes file(kPlain);
    for (const auto value : values) file.put(value);
    return file.bytes;
}
/// A data record whose length is that of no component, and so many words after its marker.
std::string odd_data(std::size_t count) { return plane().marker(40).bytes + std::string(4 * count, 'x'); }

const std::string kUnexpected = "Error! Unexpected header size.";
const std::string kNoHeader = "Error! Cannot find header information.";
const std::string kNoTime = "Error! read time value.";
const std::string kDataSize = "Error! Unexpected data size.";
const std::string kLimit = "Can't read more veclen data (internal limit over).";

const struct {
    const char* name;
    std::string bytes, report;  // empty: none
    int ncomp;                  // -1: the read fails
} kFiles[] = {
    {"first_word_20", words({20, 3, 3, 20}), kUnexpected, -1},
    {"text", "# AVS field file\n", kUnexpected, -1},
    {"zero_and_20", words({0, 20, 0, 3}), kNoHeader, -1},
    {"zeros", std::string(4096, '\0'), kNoHeader, -1},
    {"negative_imax", GridBytes(kPlain).dims({-3, 3}).bytes, "Error! read imax.", -1},
    {"no_jmax", GridBytes(kPlain).dims({3, 0}).bytes, "Error! read jmax.", -1},
    {"negative_kmax", GridBytes(kLong).dims({3, 3, -1}).marker(40).bytes, "Error! read kmax.", -1},
    {"dims_overflow", GridBytes(kLong).dims({xp_long{1} << 40, xp_long{1} << 40, 9}).marker(40).bytes,
     "Can't allocate x coordinate.", -1},
    {"dims_of_no_file", GridBytes(kLong).dims({xp_long{1} << 25, xp_long{1} << 25, 1}).marker(40).bytes,
     "Can't allocate x coordinate.", -1},
    {"dims_not_in_the_file", GridBytes(kLong).dims({9000, 9000, 9000}).marker(40).bytes, "Error! read xcoords.", -1},
    {"time_of_3_bytes", plane().marker(3).put(1.0F).marker(3).bytes, kNoTime, -1},
    {"time_of_less_than_nothing", plane().marker(-9).put(1.0F).bytes, kNoTime, -1},
    {"time_of_33_bytes", plane().marker(33).put(1.0F).bytes + std::string(33, 'x'), kDataSize, -1},
    {"marker_beyond_counting", plane(0, {8, 4, {}, false, true, false, 0}).put(~std::uint64_t{0}).put(1).bytes,
     kDataSize, -1},
    {"words_11", odd_data(11), "", 0},
    {"words_12", odd_data(12), kDataSize, -1},
    {"words_13", odd_data(13) + "yyy", "", 0},  // what is no whole word does not count
    {"words_20", odd_data(20), "", 0},
    {"words_0", odd_data(0), "", 0},
    {"other_length_behind", plane(2).record(std::vector<float>(10, 2.0F)).bytes,
     "Warning! error in read data : veclen > 1\n", 2},
    {"components_1023", plane(1023).bytes, "", 1023},
    {"components_1025", plane(1025).bytes, kLimit, 1024},
    {"components_1024", plane(1024).bytes, kLimit, 1024},
};

TEST_F(FortranGrids, ThatLieAboutThemselves) {
    std::string seen;
    host::set_recorder([&](const host::Record& report) {
        seen += report.call + " " + report.label + " " + std::to_string(report.flags) + " " + report.text;
    });
    for (const auto& test : kFiles) {
        SCOPED_TRACE(test.name);
        make_outputs();
        seen.clear();
        EXPECT_EQ(read_bytes(test.bytes), test.ncomp < 0 ? 0 : 1);
        const std::string start = test.ncomp < 0 ? "ERRerror read_frt 2 " : "ERRerror read_frt 16 ";
        EXPECT_EQ(seen, test.report.empty() ? "" : start + test.report);
        if (test.ncomp >= 0) {
            EXPECT_EQ(ncomp(), test.ncomp);
        }
    }
    EXPECT_EQ(component(1022, false), std::vector<double>(9, 2.0));
    EXPECT_EQ(component(1023, false), std::vector<double>(9, 0.0));  // counted, not read
    host::set_recorder(nullptr);
}

TEST_F(FortranGrids, ThatShrinkWithinAComponentHaveZeros) {
    const GridBytes file = plane(2);
    const FileHandle stream(std::tmpfile());
    std::fwrite(file.bytes.data(), 1, file.bytes.size(), stream.get());
    frt::RecordFile records(stream.get());
    records.detect_layout();
    const frt::GridShape shape = frt::read_shape(records);
    MemoryBudget memory;
    frt::read_coordinates(records, shape, memory);
    const xp_long length = records.marker({});
    ASSERT_EQ(ftruncate(fileno(stream.get()), static_cast<off_t>(file.bytes.size() - 8)), 0);
    const frt::NodeData data = frt::read_node_data(records, shape, length, memory);
    EXPECT_STREQ(data.warning, "Warning! cannot read data: veclen > 1");
    ASSERT_EQ(data.components.size(), 2U);
    for (const std::byte byte : data.components[1].bytes()) EXPECT_EQ(byte, std::byte{0});
}

// --- Hosts that refuse ---

TEST_F(FortranGrids, KeepWhatWasReadBeforeAFailure) {
    ASSERT_EQ(read_bytes(plane().bytes), 0);  // what came before the fault stays
    EXPECT_EQ(positions(out, FLDget_coord), std::vector<float>(18, 1.0F));
    ASSERT_EQ(read_bytes(plane(2).bytes), 1);
    host::fail_allocation(4);
    ASSERT_EQ(ZAMread_frt(instance, 0, 0), 1);
    EXPECT_EQ(component(0, false), std::vector<double>(9, 2.0));
    EXPECT_EQ(component(1, false), std::vector<double>(9, 0.0));
}

TEST(ReverseElements, ByTypeName) {
    const std::pair<const char*, const char*> cases[] = {{"char", "abcdefghi"},    {"byte", "abcdefghi"},
                                                         {"short", "badcfehgi"},   {"int", "dcbahgfei"},
                                                         {"long", "dcbahgfei"},    {"float", "dcbahgfei"},
                                                         {"xp_long", "hgfedcbai"}, {"double", "hgfedcbai"},
                                                         {"byte8", "hgfedcbai"},   {"in", ""},
                                                         {"integer", ""},          {"", ""}};
    for (const auto& [type, expected] : cases) {
        std::string bytes = "abcdefghi";
        const bool known = frt::reverse_elements(type, reinterpret_cast<std::byte*>(bytes.data()), bytes.size());
        EXPECT_EQ(known ? bytes : "", expected) << type;
    }
}

}  // namespace
}  // namespace zam::test
