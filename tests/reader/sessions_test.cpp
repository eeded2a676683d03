// Sessions with the reader as text: data/sessions.test, steps.test and messages.test.
//
// Marks: > header after its first line, * data after the header, @ another file, or a dash to remove it;
// $ what is set before a call of the update ("file" is the name of the field file, "-x" takes object x away,
// "set_params" calls the other entry), = what the call gives and leaves, ! what it reports, where @ stands for the
// directory. Data are "text" with what follows, or a type (a star: in the other byte order) and values, of which "0..3"
// is four.
#include <array>
#include <cstring>
#include <limits>
#include <map>
#include <sstream>

#include "base/element_types.h"
#include "reader_fixture.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

std::string bytes_of(const std::string& data) {
    std::istringstream in(data);
    std::string type, word, bytes;
    in >> type;
    if (type == "text") return data.substr(std::min<std::size_t>(5, data.size()));
    const bool reversed = type.ends_with('*');
    if (reversed) type.pop_back();
    while (in >> word) {
        const double first = std::stod(word);
        const std::size_t dots = word.find("..");
        const double last = dots == std::string::npos ? first : std::stod(word.substr(dots + 2));
        for (double value = first; !(value > last) || value != value; ++value) {
            with_type(type_from_name(type).value(), [&](auto typed) {
                typed = static_cast<decltype(typed)>(value);
                std::string one(sizeof typed, '\0');
                std::memcpy(one.data(), &typed, sizeof typed);
                bytes += reversed ? std::string(one.rbegin(), one.rend()) : one;
            });
            if (value != value) break;
        }
    }
    return bytes;
}

class Session : public ReadField, public testing::WithParamInterface<TextCase> {
protected:
    /// What a name of a line of expectations stands for.
    std::string show(const std::string& name) const {
        float low = -1, high = -1;
        OMobj_id step{};
        if (name == "dims") return joined(dims(out()));
        if (name == "values") return joined(values(out(), 0));
        if (name == "points") return joined(positions(out(), FLDget_points));
        if (name == "coord") return joined(positions(out(), FLDget_coord));
        if (name == "extent" && FLDget_coord_extent(out(), &low, &high) == 1) return joined(std::array{low, high});
        if (name == "range")
            return FLDget_node_data_minmax(out(), 0, &low, &high) == 1 ? joined(std::array{low, high}) : "undefined";
        if (name == "times") return joined(host::time_values(out_all()));
        if (name == "second" && FLDget_time_node_data(out_all(), 1, &step) == 1) return joined(values(step, 0));
        if (name == "time_string") {
            std::string shown = text("time_string");
            std::replace(shown.begin(), shown.end(), ' ', '_');
            return shown;
        }
        return std::to_string(get(name));
    }
    void expect(const std::string& line) {
        std::istringstream in(line);
        for (std::string item; in >> item;) {
            const std::size_t equals = item.find('=');
            if (equals == std::string::npos) {
                EXPECT_EQ(std::to_string(result_), item);
            } else {
                EXPECT_EQ(show(item.substr(0, equals)), item.substr(equals + 1)) << item;
            }
        }
    }
    void call(const std::string& line) {
        std::istringstream in(line);
        auto* entry = DVLDread_field_update;
        for (std::string item; in >> item;) {
            const std::size_t equals = item.find('=');
            const std::string name = item.substr(0, equals),
                              value = equals < item.size() ? item.substr(equals + 1) : "";
            if (name == "file") {
                const std::string file = value.empty() ? field_file(GetParam().text('>'), data_) : scratch.file(value);
                set_text("filename", file);
            } else if (name == "set_params") {
                entry = DVLDread_field_set_params;
            } else if (name[0] == '-') {
                host::destroy(host::find(instance, name.c_str() + 1));
            } else if (name.starts_with("factor")) {
                OMset_name_real_val(instance, OMstr_to_name(name.c_str()), std::stod(value));
            } else {
                set(name, std::stoi(value));
            }
        }
        result_ = entry(instance, 0, seq);
        seq = host::now();
    }
    void put(const std::string& line) {
        const std::size_t blank = line.find(' ');
        const std::string name = line.substr(0, blank), data = line.substr(blank + 1);
        if (data == "-\n") {
            std::filesystem::remove(scratch.file(name));
            files_.erase(name);
        } else {
            scratch.write(name, files_[name] += bytes_of(data));
        }
    }
    void expect_reports() {
        for (std::string& text : expected_) {
            if (const auto at = text.find('@'); at != std::string::npos) text.replace(at, 1, scratch.path());
        }
        EXPECT_EQ(reports, expected_);
        expected_.clear();
        reports.clear();
    }
    void play(char mark, std::string line) {
        switch (mark) {
            case '*': data_ += bytes_of(line); break;
            case '@': put(line); break;
            case '$':
                expect_reports();
                call(line);
                break;
            case '=': expect(line); break;
            case '!':
                line.pop_back();
                expected_.push_back(line);
                break;
            default: break;
        }
    }
    /// A file that cannot be read is reported, leaves the output as it was, and is not kept.
    void expect_failure() {
        call("file");
        expect("0 dims=");
        expect_reports();
        EXPECT_EQ(update(), 0);
    }
    /// Steps of one value, whatever the order in which they are read.
    void expect_steps(const std::string& line) {
        std::istringstream in(line);
        std::vector<std::string> each;
        for (std::string value; in >> value;) each.push_back(value);
        std::vector<std::size_t> order{1, 3, 2};  // jumps first
        for (std::size_t step = 1; step <= each.size(); ++step) order.push_back(step);
        call("file");
        for (const std::size_t step : order) {
            call("stepno=" + std::to_string(step));
            expect("1 values=" + each[step - 1]);
        }
        expect_reports();
    }

private:
    std::string data_;
    std::map<std::string, std::string> files_;
    std::vector<std::string> expected_;  // reports of the last call
    int result_ = 0;
};

TEST_P(Session, GoesAsWritten) {
    bool called = false;
    const auto steps = GetParam().list('=');
    for (const auto& [mark, line] : GetParam().lines) {
        called = called || mark == '$';
        if (mark != '=' || called) play(mark, line);
    }
    if (called) return expect_reports();
    steps.empty() ? expect_failure() : expect_steps(steps.front());
}

const auto kName = [](const auto& info) { return info.param.name; };
std::vector<TextCase> cases(const char* file) {
    return load_text_cases(std::string(ZAM_TEST_DATA "/") + file + ".test", ">*@$=!");
}
INSTANTIATE_TEST_SUITE_P(Parameters, Session, testing::ValuesIn(cases("sessions")), kName);
INSTANTIATE_TEST_SUITE_P(Steps, Session, testing::ValuesIn(cases("steps")), kName);
INSTANTIATE_TEST_SUITE_P(Messages, Session, testing::ValuesIn(cases("messages")), kName);

}  // namespace
}  // namespace zam::test
