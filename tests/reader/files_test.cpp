// Files that a Fortran program and a Python script wrote: see data/README.md for what they hold.
#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <sstream>

#include "base/element_types.h"
#include "reader_fixture.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

/// A node by its indices, and a component and step.
using Formula = std::function<double(double i, double j, double k, int comp, int step)>;

double plain(double i, double j, double k, int comp, int) { return i + 10 * j + 100 * k + 1000 * comp; }
double pixel(double i, double j, double k, int comp, int) { return comp < 2 ? 12 : comp == 2 ? 10 * i + j : 200 + k; }
const std::map<std::string, Formula> kFormulas{
    {"plain", plain},
    {"negative", [](auto... node) { return -plain(node...); }},
    {"columns", [](auto i, auto j, auto k, int comp, int) { return (comp == 0 ? 1 : -1) * plain(i, j, k, comp, 0); }},
    {"by_step", [](auto i, auto j, auto k, int, int step) { return plain(i, j, k, step, 0); }},
    {"pixel", pixel},
    {"squares", [](auto i, auto...) { return i * i; }},
};

struct FileCase {
    explicit FileCase(const TextCase& one) : name(one.name) {
        std::istringstream in(one.text('>'));
        std::string type_name, formula, word;
        in >> dims >> type_name >> comps >> formula >> getter >> positions;
        swap = in >> word ? 1 : 0;
        type = type_from_name(type_name).value();
        value = kFormulas.at(formula);
        std::istringstream sizes(dims);
        for (int& size : n) {
            if (std::getline(sizes, word, ',')) size = std::stoi(word), ++ndim;
        }
    }
    /// Calls visit(i, j, k) for every node in order.
    void each_node(const std::function<void(double, double, double)>& visit) const {
        for (int k = 0; k < n[2]; ++k)
            for (int j = 0; j < n[1]; ++j)
                for (int i = 0; i < n[0]; ++i) visit(i, j, k);
    }

    std::string name, dims, getter, positions;
    int n[3] = {1, 1, 1}, ndim = 0, type = -1, comps = 0, swap = 0;
    Formula value;
};

class OtherPrograms : public ReadField {
protected:
    static std::vector<FileCase> files() {
        std::vector<FileCase> all;
        for (const auto& one : load_text_cases(ZAM_TEST_DATA "/files.test", ">")) all.emplace_back(one);
        return all;
    }
    int read_data(const std::string& name) { return read(ZAM_TEST_DATA "/" + name + ".fld"); }

    void expect_values(const FileCase& test, int step) const {
        for (int comp = 0; comp < test.comps; ++comp) {
            std::vector<float> expected;
            test.each_node([&](double i, double j, double k) {
                expected.push_back(static_cast<float>(test.value(i, j, k, comp, step)));
            });
            EXPECT_EQ(values(out(), comp), expected) << "component " << comp << " step " << step;
        }
    }
    void expect_positions(const FileCase& test) const {
        std::vector<float> expected;
        if (test.positions == "bent") {
            test.each_node([&](double i, double j, double k) {
                for (const double p : {i + 0.25 * j, 0.5 * j, k - 0.125 * i}) expected.push_back(static_cast<float>(p));
            });
        } else if (test.positions == "indices") {
            expected.resize(static_cast<std::size_t>(test.ndim), 0.0F);
            for (int axis = 0; axis < test.ndim; ++axis) expected.push_back(static_cast<float>(test.n[axis] - 1));
        } else {
            std::string numbers = test.positions;
            std::replace(numbers.begin(), numbers.end(), ',', ' ');
            expected = numbers_in<float>(numbers);
        }
        EXPECT_EQ(positions(out(), test.getter == "coord" ? FLDget_coord : FLDget_points), expected);
    }
    std::string label(int comp) const {
        std::array<char, FLD_LABEL_SIZE> buffer{};
        FLDget_node_data_label(out(), comp, buffer.data(), FLD_LABEL_SIZE);
        return buffer.data();
    }
};

TEST_F(OtherPrograms, FilesGiveWhatWasWritten) {
    for (const FileCase& test : files()) {
        SCOPED_TRACE(test.name);
        set("swap", test.swap);
        ASSERT_EQ(read_data(test.name), 1) << (reports.empty() ? "" : reports[0]);
        EXPECT_EQ(joined(dims(out())), test.dims);
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
    int with_steps = 0;
    for (const FileCase& test : files()) {
        SCOPED_TRACE(test.name);
        set("swap", test.swap);
        ASSERT_EQ(read_data(test.name), 1);
        const int nsteps = get("nsteps");
        if (nsteps < 2) continue;
        for (const int step : {nsteps, 2, 3, 1}) {
            set("stepno", step);
            ASSERT_EQ(update(), 1) << step;
            expect_values(test, step - 1);
        }
        set("store_all", 1);
        ASSERT_EQ(update(), 1);
        EXPECT_EQ(host::time_nsteps(out_all()), nsteps);
        set("stepno", nsteps - 1);
        ASSERT_EQ(update(), 1);
        expect_values(test, nsteps - 2);
        ++with_steps;
    }
    EXPECT_EQ(with_steps, 3);
    EXPECT_TRUE(reports.empty()) << reports[0];
}

TEST_F(OtherPrograms, TimesLabelsAndRanges) {
    ASSERT_EQ(read_data("kept_open"), 1);
    set("stepno", 4);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(text("time_string"), "0.750000");
    ASSERT_EQ(read_data("fortran_steps"), 1);
    set("store_all", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(joined(host::time_values(out_all())), "0,0.5,1");
    EXPECT_EQ(joined(ranges), "33,66,100");
    ASSERT_EQ(read_data("written_out"), 1);
    set("forward", 1);
    ASSERT_EQ(update(), 1);
    EXPECT_EQ(label(0), "height");
    int range[2] = {};
    ASSERT_EQ(FLDget_node_data_minmax(out(), 0, &range[0], &range[1]), 1);
    EXPECT_EQ(joined(range), "1000,1024");
    EXPECT_EQ(text("time_string").substr(0, 3), "2.5");
    ASSERT_EQ(read_data("columns"), 1);
    EXPECT_EQ(label(1), "the second");
}

}  // namespace
}  // namespace zam::test
