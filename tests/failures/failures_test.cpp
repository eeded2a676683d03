// What every module promises when something is refused, whatever it is: a result as described, at most one message, no
// array left over, outputs as they were until writing begins. data/promises.test holds what each says, and why where a
// module promises something else.
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "contract/om.h"
#include "runner/console.h"
#include "session/network/network_reader.h"
#include "session/run/session.h"
#include "tests/support/refusal.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::test {
namespace {

using namespace runner;
using namespace session;

/// What became of the updates that did not get over a refusal, as a text: how many calls and arrays these were; then,
/// for each result, and for outputs as they were ("kept") and those begun ("begun"), what was said.
class Outcome {
public:
    void add(Refused what, int result, bool begun, const std::string& said) {
        stops_[static_cast<int>(what)]++;
        said_[std::to_string(result) + (begun ? " begun" : " kept")].insert(said.empty() ? "nothing" : said);
    }
    std::string text() const {
        std::string text = std::to_string(stops_[0]) + " calls, " + std::to_string(stops_[1]) + " arrays\n";
        for (const auto& [kind, said] : said_) {
            text += kind + ":\n";
            for (const auto& one : said) text += "  " + one + "\n";
        }
        return text;
    }

private:
    int stops_[3] = {};
    std::map<std::string, std::set<std::string>> said_;
};

class Failures : public ::testing::TestWithParam<TextCase> {
protected:
    ~Failures() override { std::filesystem::current_path(ZAM_TEST_DATA); }  // a directory in use may not be removed
    void SetUp() override {
        std::filesystem::current_path(scratch_.path());
        for (const auto& input : std::filesystem::directory_iterator(ZAM_TEST_DATA "/inputs"))
            std::filesystem::copy(input, input.path().filename());
        std::filesystem::copy(ZAM_TEST_GRIDS "/m4_little_i4_solid.dat", "grid.dat");
        Problems problems;
        definitions_ = Definitions::load(ZAM_TEST_MODULES, problems);
        definitions_.add_host_entries(problems);
        const TextCase& promise = GetParam();
        const std::string file =
            scratch_.write("network.json", R"({"modules": {)" + promise.text('<') + R"("it": {"use": ")" +
                                               promise.form + R"(", "params": {)" + promise.text('>') + "}}}}");
        network_ = load_network(file, {}, definitions_, problems);
        ASSERT_EQ(problems.lines(), std::vector<std::string>());
        std::string error;
        library_ = ModuleLibrary::load(ZAM_TEST_LIBRARY, error);
        ASSERT_TRUE(library_) << error;
        find_entries();
    }

    const Definition& definition() const { return *network_->instances.back().definition; }
    /// Looked up before anything is refused.
    void find_entries() {
        update_ = library_->find(definition().entry);
        create_ = library_->find_as<CreateEntry>(definition().exported("create"));
        destroy_ = library_->find_as<DestroyEntry>(definition().exported("destroy"));
        const auto add = [this](const Method* method) {
            if (method) methods_.push_back(library_->find_as<MethodEntry>(definition().exported(method->name)));
        };
        add(definition().find_method("inst"));
        for (const auto& method : definition().methods)
            if (!method.on.empty()) add(&method);
        add(definition().find_method("deinst"));
    }

    /// One run, with one thing refused, of a new instance that has run once before.
    void attempt(Refusal& refusal) {
        SCOPED_TRACE("refusal " + std::to_string(refusal.n()) + " of kind " +
                     std::to_string(static_cast<int>(refusal.what())));
        const std::uint32_t at_rest[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        library_->simulate_joystick()(1, at_rest);
        Console console(false);
        CallLog log;
        Session session(*network_, *library_, console, log);
        std::filesystem::remove_all("sets");  // of captures
        std::filesystem::create_directory("sets");
        session.build();
        if (!definition().is_class || network_->instances.size() > 1) session.run_changed();
        EXPECT_FALSE(console.failed());
        object_ = host::find(host::root(), "it");
        for (const auto& entry : GetParam().list('-')) library_->find(entry)(object_, 0, 0);
        std::vector<std::string> said;
        said.reserve(8);  // the heap refuses the modules, not the test
        host::set_recorder([&](const host::Record& record) {
            if (record.what == host::Record::What::report) said.push_back(record.text);
        });
        OMobj_id output = object_;
        for (const auto& name : GetParam().list('@')) output = host::find(object_, name);
        const int before = host::stamp(output);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        refusal.begin();
        int result = -1;
        EXPECT_NO_THROW(result = run());
        refusal.end();
        for (const auto& printed : {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()})
            if (!printed.empty()) said.push_back(printed);
        note(refusal, result, host::stamp(output) != before, said);
        host::set_recorder(nullptr);
        session.end();
        const auto account = host::account();
        EXPECT_EQ(account.outstanding, std::vector<std::string>());
        EXPECT_EQ(account.faults, std::vector<std::string>());
    }

    void note(const Refusal& refusal, int result, bool written, const std::vector<std::string>& said) {
        if (result == 1 && written && said.empty()) return;  // it got over it
        EXPECT_TRUE(refusal.struck());
        std::string text;
        for (const auto& one : said) text += one;
        const std::string directory = scratch_.path();
        if (const auto at = text.find(directory); at != std::string::npos) text.replace(at, directory.size(), "DIR");
        outcome.add(refusal.what(), result, written, text);
    }

    int run() {
        if (definition().is_class) return run_class();
        int result = update_(object_, 0, 0);
        const int read = host::now();
        for (const auto& name : again_) {
            if (result != 1) return 0;
            OMset_name_int_val(object_, OMstr_to_name(name.c_str()), 1);
            result = update_(object_, 0, read);
        }
        return result;
    }
    int run_class() {
        void* self = create_(object_);
        if (!self) return 0;
        int result = 1;
        for (const MethodEntry method : methods_) {
            result = std::min(result, method(self, 0, 0));
            host::advance(150);
        }
        destroy_(self);
        return result;
    }

    Outcome outcome;

private:
    const ScratchDirectory scratch_;
    Definitions definitions_;
    std::optional<Network> network_;
    std::unique_ptr<ModuleLibrary> library_;
    OMobj_id object_{};
    Entry update_ = nullptr;
    CreateEntry create_ = nullptr;
    DestroyEntry destroy_ = nullptr;
    const std::vector<std::string> again_ = GetParam().list('+');
    std::vector<MethodEntry> methods_;  // in the order in which a network has them called
};

TEST_P(Failures, LeaveNothingBehind) {
    refuse_in_turn([this](Refusal& refusal) { attempt(refusal); });
    EXPECT_EQ(outcome.text(), GetParam().text('='));
}

INSTANTIATE_TEST_SUITE_P(Of, Failures, ::testing::ValuesIn(load_text_cases(ZAM_TEST_DATA "/promises.test", "><-@+=")),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace zam::test
