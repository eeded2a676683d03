// Grids in Fortran records: files that Fortran programs wrote, files that end anywhere or lie about themselves.

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <numeric>

#include "base/file_handle.h"
#include "modules/support/memory_budget.h"
#include "modules/zam/read_frt.h"
#include "modules/zam/readers/frt_grid.h"
#include "tests/support/module_test.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

using Texts = std::vector<std::string>;

class FortranGrids : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        make_outputs();
    }
    void make_outputs() {
        out = host::create(instance, "out", host::Kind::field);
        host::create(instance, "time", host::Kind::unset);
        reports.clear();
    }

    int read(const std::string& name) {
        set_text("frt_fname", name);
        return ZAMread_frt(instance, 0, 0);
    }
    int read_bytes(const std::string& bytes) {
        std::filesystem::remove(
            scratch_.file("grid.dat"));  // a new file is not written through to the disk as a replaced one is
        return read(scratch_.write("grid.dat", bytes));
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
};

// --- Written by write_grids.f90 ---

struct Written {
    std::string name;
    std::vector<xp_long> dims;
    int ncomp;
    bool wide;
    double time;
};
constexpr double kNone = -999;  // as get_real() has it
const Written kWritten[] = {{"plane", {5, 4}, 2, false, 0.75},
                            {"plane_notime", {5, 4}, 1, true, kNone},
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
            ASSERT_EQ(dims(out), grid.dims);
            EXPECT_EQ(get_real("time"), grid.time);
            ASSERT_EQ(ncomp(), grid.ncomp);
            std::vector<float> coord;
            std::vector<std::vector<double>> comps(3);
            const std::size_t ndim = grid.dims.size();
            for (int node = 0; node < (ndim == 3 ? 60 : 20); ++node) {
                const int i = node % 5 + 1, j = node / 5 % 4 + 1, k = node / 20 + 1;
                const double position[] = {i + 0.25 * j, j - 0.5 * k, 2.0 * k + 0.125 * i};
                for (std::size_t axis = 0; axis < ndim; ++axis) coord.push_back(static_cast<float>(position[axis]));
                for (std::size_t c = 0; c < 3; ++c) {
                    const double value = (100.0 * double(c + 1) + i + 10 * j + 0.5 * k) / 3.0;
                    comps[c].push_back(grid.wide ? value : double(static_cast<float>(value)));
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
    std::size_t time;           // bytes of the time record; 0: no such record
};
const Form kForms[] = {
    {4, 4, {3, 3}, false, true, false, 4}, {4, 4, {3, 2, 2}, true, false, true, 0},
    {4, 8, {3, 3}, true, true, true, 32},  {4, 8, {3, 2, 2}, false, true, false, 0},
    {8, 4, {3, 3}, true, false, false, 5}, {8, 4, {3, 2, 2}, false, true, true, 4},
    {8, 8, {3, 3}, false, false, true, 0}, {8, 8, {3, 2, 2}, true, true, false, 9},
};

/// A file in the making, and the message about a file that ends within each of its parts (empty: no message).
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
            ASSERT_EQ(get_real("time"), form.time > 0 ? 2.5 : kNone);
            ASSERT_EQ(ncomp(), size < second ? 1 : 2);
            std::vector<double> expected(nnodes, 0.0);  // where nothing was read
            const std::size_t held = size < second ? nnodes : std::min((size - second) / width, nnodes);
            std::copy_n(kSamples.begin(), held, expected.begin());
            ASSERT_EQ(component(ncomp() - 1, form.wide), expected);
        }
    }
}

/// A grid opened below the module, for a file that becomes shorter while it is read.
struct OpenGrid {
    explicit OpenGrid(const std::string& bytes) : file_size(std::fwrite(bytes.data(), 1, bytes.size(), stream.get())) {
        records.detect_layout();
        shape = frt::read_shape(records);
    }
    void shrink(std::size_t size) const {
#if defined(_WIN32)
        ASSERT_EQ(_chsize(_fileno(stream.get()), static_cast<long>(size)), 0);
#else
        ASSERT_EQ(ftruncate(fileno(stream.get()), static_cast<off_t>(size)), 0);
#endif
    }

    const FileHandle stream{std::tmpfile()};
    const std::size_t file_size;  // written before the records are looked at
    frt::RecordFile records{stream.get()};
    frt::GridShape shape{};
    MemoryBudget memory;
};

TEST_F(FortranGrids, ThatShrinkWhileTheyAreReadGiveTheSameMessage) {
    for (const Form& form : kForms) {
        const GridBytes file = whole_file(form);
        for (std::size_t size = 0; size < file.messages.size(); ++size) {
            if (!file.messages[size].ends_with("coords.")) continue;
            OpenGrid grid(file.bytes);
            grid.shrink(size);
            std::string text;
            try {
                frt::read_coordinates(grid.records, grid.shape, grid.memory);
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

/// A plane of 3 x 3 nodes with some components.
GridBytes plane(int comps = 0, const Form& form = {4, 4, {}, false, true, false, 0}) {
    GridBytes file(form);
    file.dims({3, 3});
    for (int axis = 0; axis < 2; ++axis) file.record(std::vector<float>(9, 1.0F));
    for (int comp = 0; comp < comps; ++comp) file.record(std::vector<float>(9, 2.0F));
    return file;
}

/// The bytes of a case of data/lies.test.
std::string bytes_of(const TextCase& one) {
    const int marker = one.form == "markers of 8" ? 8 : 4, integer = one.form == "integers of 8" ? 8 : 4;
    const Form form{marker, integer, {}, false, true, false, 0};
    GridBytes file(form);
    for (const std::string& line : one.list('>')) {
        const std::size_t blank = line.find(' ');
        const std::string what = line.substr(0, blank);
        const auto n = numbers_in<xp_long>(line.substr(blank));
        if (what == "ints") std::for_each(n.begin(), n.end(), [&](xp_long value) { file.integer(value, 4); });
        if (what == "dims") file.dims(n);
        if (what == "marker") file.marker(n.at(0));
        if (what == "plane") file = plane(static_cast<int>(n.at(0)), form);
        if (what == "record") file.record(std::vector<float>(static_cast<std::size_t>(n.at(0)), 2.0F));
        if (what == "text") file.bytes.append(static_cast<std::size_t>(n.at(0)), 'x');
        if (what == "zeros") file.bytes.append(static_cast<std::size_t>(n.at(0)), '\0');
    }
    return file.bytes;
}

TEST_F(FortranGrids, ThatLieAboutThemselves) {
    std::string seen;
    host::set_recorder([&](const host::Record& report) {
        seen += report.call + " " + report.label + " " + std::to_string(report.flags) + " " + report.text;
    });
    for (const auto& test : load_text_cases(ZAM_TEST_DATA "/lies.test", ">=!")) {
        SCOPED_TRACE(test.name);
        make_outputs();
        seen.clear();
        const auto expected = test.list('='), report = test.list('!');
        EXPECT_EQ(read_bytes(bytes_of(test)), expected.empty() ? 0 : 1);
        const std::string start = expected.empty() ? "ERRerror read_frt 2 " : "ERRerror read_frt 16 ";
        EXPECT_EQ(seen, report.empty() ? "" : start + report[0]);
        if (!expected.empty()) {
            EXPECT_EQ(std::to_string(ncomp()), expected[0]);
        }
    }
    EXPECT_EQ(component(1022, false), std::vector<double>(9, 2.0));
    EXPECT_EQ(component(1023, false), std::vector<double>(9, 0.0));  // counted, not read
    host::set_recorder(nullptr);
}

TEST_F(FortranGrids, ThatShrinkWithinAComponentHaveZeros) {
    OpenGrid grid(plane(2).bytes);
    frt::read_coordinates(grid.records, grid.shape, grid.memory);
    const xp_long length = grid.records.marker({});
    grid.shrink(grid.file_size - 8);
    const frt::NodeData data = frt::read_node_data(grid.records, grid.shape, length, grid.memory);
    EXPECT_STREQ(data.warning, "Warning! cannot read data: veclen > 1");
    ASSERT_EQ(data.components.size(), 2U);
    for (const std::byte byte : data.components[1].bytes()) EXPECT_EQ(byte, std::byte{0});
}

// --- Failures ---

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
