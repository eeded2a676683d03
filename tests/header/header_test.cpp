// The header as a file: first line, start of the data, number of steps, limits, memory that runs out.
#include <gtest/gtest.h>

#include <memory_resource>

#include "modules/zam/ld_rdfld/header_reader.h"
#include "modules/zam/ld_rdfld/header_scanner.h"
#include "tests/header/header_text.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/text_cases.h"

namespace zam::ldrf::test {
namespace {

using namespace std::string_literals;

const std::string kFirstLine = "# AVS\n";

/// Reads a header; a failure leaves its report in `message`.
bool read(std::string_view contents, int start = 1, std::string* message = nullptr) {
    const FileHandle file = make_file(contents);
    const Reports reports;
    const bool held = read_header(file.get(), "a.fld", start) != nullptr;
    EXPECT_EQ(reports.records.size(), held ? 0U : 1U);
    if (message != nullptr && !held) *message = reports.records.front().text;
    for (const host::Record& report : reports.records)
        EXPECT_EQ(report.call == "ERRout_of_memory", report.text.starts_with("rd_fld2: Failure"));
    return held;
}

TEST(FirstLine, BeginsWithFiveCharacters) {
    for (const auto& right : {"# AVS"s, "# AVSx ndim=nonsense\n"s, "# AVS" + std::string(249, '-') + "\nndim=1\n"})
        EXPECT_TRUE(read(right)) << right;
    for (const char* wrong : {"", "#AVS\n", " # AVS\n", "# avs\n", "\n# AVS\n"}) {
        std::string message;
        EXPECT_FALSE(read(wrong, 1, &message)) << wrong;
        EXPECT_EQ(message, "File is not an AVS field file? (\"# AVS\" in first line)");
    }
    // what is longer is left to the scanner
    EXPECT_TRUE(read("# AVS" + std::string(250, '-') + "ndim=1\n"));
    EXPECT_EQ(header_model().ndim, 1);
}

void expect_start(const std::string& contents, xp_long start) {
    const FileHandle file = make_file(contents);
    const auto header = read_header(file.get(), "a.fld", 1);
    ASSERT_NE(header, nullptr);
    EXPECT_EQ(header->data_start, start);
    EXPECT_EQ(std::ftell(file.get()), start);
}

TEST(DataStart, FollowsTheFirstPairOfFormFeeds) {
    // bytes before the pair, by which the header has to end, and the start that is found
    const struct {
        std::size_t pair;
        xp_long start;
    } kCases[] = {{6, 8}, {1022, 1024}, {1023, 2202}, {1024, 1026}, {2047, 2202}, {2100, 2102}};
    for (const auto& one : kCases) {
        std::string contents = kFirstLine;
        contents.resize(one.pair, '\n');
        contents += "\f\f";
        contents.resize(2200, 'd');
        expect_start(contents + "\f\f" + "after", one.start);
    }
    expect_start(kFirstLine + "ndim=1\n" + std::string(3000, ' '), 3013);  // the end, without a pair
}

TEST(CountSteps, TakesTheLargerOfLinesAndValue) {
    auto rows = zam::test::load_rows(ZAM_TEST_DATA "/counts.test", "counts");
    rows.emplace_back(std::string(8191, 'x') + "EOT\n", "1");  // a long line counts in pieces
    for (const auto& [contents, steps] : rows) {
        const FileHandle file = make_file(kFirstLine + contents);
        const Reports reports;
        EXPECT_EQ(std::to_string(count_steps(file.get())), steps) << contents.substr(0, 40);
        EXPECT_EQ(std::ftell(file.get()), 0);
        ASSERT_EQ(reports.records.size(), steps == "0" ? 1U : 0U);
        for (const auto& report : reports.records)
            EXPECT_EQ(report.text, "A field file has at most 1000000 time steps");
    }
    // a file that is no field file is not looked through
    EXPECT_EQ(count_steps(make_file("EOT\nEOT\n").get()), 1);
}

TEST(Tables, KeepTheNumberOfStepsCountedBefore) {
    LDRF_alloc(header_model(), 5);
    ASSERT_TRUE(read(kFirstLine + "label=x eot"));
    EXPECT_EQ(header_model().steps.count(), 5);
    EXPECT_EQ(header_model().nstep, 1);
    EXPECT_EQ(dump_step(header_model(), 2), "");
}

TEST(Tables, GrowWithNstepAndCounter) {
    LDRF_alloc(header_model(), 1);
    ASSERT_TRUE(read(kFirstLine + "nstep=7 time value=a eot", 3));
    EXPECT_EQ(header_model().steps.count(), 7);
    EXPECT_EQ(dump_step(header_model(), 3), " time(0 \"a\")");
    EXPECT_EQ(header_model().steps.time_not_given[2], 0);
    EXPECT_EQ(header_model().steps.time_not_given[3], 1);
    EXPECT_EQ(header_model().steps.max_val[6][0], -1.0F);
}

TEST(Tables, RefuseStartsThatNoHeaderHas) {
    EXPECT_FALSE(read(kFirstLine, 0));
    EXPECT_FALSE(read(kFirstLine, kMaxSteps + 1));
}

TEST(Loop, RepeatsAMillionSteps) {
    LDRF_alloc(header_model(), kMaxSteps);
    ASSERT_TRUE(read(kFirstLine + "nstep=1000000 do variable 1 type=ascii max_val=1 eot time value=b eot enddo"));
    EXPECT_EQ(dump_step(header_model(), 999999), " flag=4 min_val=-1 max_val=1 v1(- 0)");
    EXPECT_EQ(dump_step(header_model(), 1000000), " time(0 \"b\")");
    LDRF_alloc(header_model(), 1);
}

TEST(Limits, LongTextsAreCut) {
    const std::string word(10'000'000, 'w');
    ASSERT_TRUE(read(kFirstLine + "label=" + word + " \"" + word + "\" #" + word + "\nndim=1"));
    EXPECT_EQ(header_model().steps.labels[0], (std::vector<std::string>(2, std::string(1023, 'w'))));
    EXPECT_EQ(header_model().ndim, 1);
    std::string message;
    EXPECT_FALSE(read(kFirstLine + word, 1, &message));
    EXPECT_EQ(message, "Problem reading file a.fld: Unknown keyword at or near \"" + std::string(1023, 'w') + "\"");
}

TEST(Limits, EndlessTokensAreRefused) {
    std::string message;
    EXPECT_FALSE(read(kFirstLine + "label=" + std::string(kMaxTokenLength + 2 * 16384, 'w'), 1, &message));
    EXPECT_EQ(message, "Problem reading file a.fld: a word of more than 16777216 characters");
    EXPECT_TRUE(read(kFirstLine + "ndim=1"));
}

TEST(Limits, RowsDoNotMultiply) {
    std::string header = kFirstLine;
    for (int step = 0; step < 20; ++step) header += "min_val=1 eot\n";
    std::string message;
    EXPECT_FALSE(read(header + "veclen=1000000", 1, &message));
    EXPECT_EQ(message, "rd_fld2: Failure allocating min_val array");
}

TEST(Limits, ListsAreAsLongAsTheFileSays) {
    std::string header = kFirstLine + "veclen=100000 min_val=";
    for (int i = 0; i < 100000; ++i) header += "7\t";
    ASSERT_TRUE(read(header));
    EXPECT_EQ(header_model().steps.min_val[0].size(), 100000U);
    EXPECT_EQ(header_model().steps.min_val[0][99999], 7.0F);
}

#if !defined(_WIN32)  // where nothing is read from a file that is only written, and that is no error
TEST(Scanner, StopsTheProcessWhenItCannotRead) {
    const zam::test::ScratchDirectory scratch;
    EXPECT_EXIT(
        {
            LDRF_yyrestart(std::fopen(scratch.file("only_written").c_str(), "wb"));
            LDRF_yylex();
        },
        testing::ExitedWithCode(2), "^input in flex scanner failed\n$");
}
#endif

const std::string kSources = kFirstLine + "variable 1 type=ascii coord 1 type=ascii time value=1";

/// Fails from the n-th allocation on.
class FailingMemory : public std::pmr::memory_resource {
public:
    explicit FailingMemory(int allocations) : left_(allocations) {}

private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override {
        if (left_-- <= 0) throw std::bad_alloc();
        return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }
    void do_deallocate(void* place, std::size_t bytes, std::size_t alignment) override {
        std::pmr::new_delete_resource()->deallocate(place, bytes, alignment);
    }
    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    int left_;
};

TEST(Memory, ReadingReportsEachFailureOnce) {
    const auto texts = zam::test::load_text_cases(ZAM_TEST_DATA "/memory.test", ">").front().list('>');
    LDRF_alloc(header_model(), 1);
    for (std::size_t n = 0; n <= texts.size(); ++n) {
        FailingMemory memory(static_cast<int>(n));
        std::pmr::set_default_resource(&memory);
        LDRF_alloc(header_model(), 1);
        std::string message;
        EXPECT_EQ(read(kSources, 1, &message), n == texts.size());
        std::pmr::set_default_resource(nullptr);
        EXPECT_EQ(message, n < texts.size() ? "rd_fld2: Failure allocating " + texts[n] : "");
        EXPECT_TRUE(read(kFirstLine)) << "the model lives on in sound memory";
    }
}

TEST(Copy, SharesNothingThatChanges) {
    ASSERT_TRUE(read(kFirstLine + "ndim=1 nstep=4 do label=x variable 1 file=a type=ascii eot time value=b eot enddo"));
    const auto copy = copy_header(header_model());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(dump(*copy), dump(header_model()));
    EXPECT_EQ(copy->steps.data[0], copy->steps.data[2]) << "repeated steps share their sources in the copy too";
    (*header_model().steps.data[0])[1].file = "resolved";
    header_model().steps.time[1]->text = "later";
    EXPECT_EQ(copy->variable(3, 1)->file, "a");
    EXPECT_EQ(copy->time(4)->text, "b");
}

TEST(Model, KnowsOfNoSourcesThatWereNotGiven) {
    ASSERT_TRUE(read(kSources));
    for (const int step : {-1, 0, 2, 1 << 30}) {
        EXPECT_EQ(header_model().variable(step, 1), nullptr);
        EXPECT_EQ(header_model().coordinate(step, 1), nullptr);
        EXPECT_EQ(header_model().time(step), nullptr);
    }
    EXPECT_EQ(header_model().variable(1, 2), nullptr);
    EXPECT_NE(header_model().variable(1, 1), nullptr);
}

}  // namespace
}  // namespace zam::ldrf::test
