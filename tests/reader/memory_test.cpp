// What a read costs: allocations and time.
#include <ctime>

#include "reader_fixture.h"
#include "tests/support/heap_failure.h"

namespace zam::test {
namespace {

class Costs : public ReadField {
protected:
    /// Seconds of the processor that a read takes.
    double seconds(const std::string& name, int expected) {
        const std::clock_t begin = std::clock();
        EXPECT_EQ(read(name), expected);
        return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
    }
};

TEST_F(Costs, RowsOfACropAllocateNothing) {
    const std::string name =
        field_file("ndim=2 dim1=4 dim2=5000 nspace=2 data=xdr_float field=uniform crop_min=1 0 crop_max=2 4999",
                   std::string(80000, '\0'));
    fail_heap_allocation(2000);
    EXPECT_EQ(read(name), 1);
    EXPECT_TRUE(heap_failure_pending());
    fail_heap_allocation(0);
}

// Limits far above what these take, and far below what they took when each seek read the buffer anew, and each file was
// looked through.
constexpr double kSecondsAtMost = 3.0;

TEST_F(Costs, RecordsOfOneValueAreReadThroughTheBuffer) {
    std::string record("\4\0\0\0abcd\4\0\0\0", 12), records;
    for (int i = 0; i < 400000; ++i) records += record;
    scratch.write("records.bin", records);
    const std::string header = "ndim=1 dim1=400000 nspace=1 data=int field=uniform\n";
    EXPECT_LT(seconds(field_file(header + "variable 1 file=records.bin filetype=unformatted"), 1), kSecondsAtMost);
}

TEST_F(Costs, LongFilesOfAnotherKindAreRefusedAtOnce) {
    const std::string name = scratch.write("long", "# something else\n");
    std::filesystem::resize_file(name, 6'000'000'000);  // takes no room on most systems
    EXPECT_LT(seconds(name, 0), kSecondsAtMost);
    EXPECT_EQ(reports, std::vector<std::string>{"File is not an AVS field file? (\"# AVS\" in first line)"});
}

}  // namespace
}  // namespace zam::test
