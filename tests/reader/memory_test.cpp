// What a read costs: allocations, and bytes that come from the file.
#include <fstream>

#include "reader_fixture.h"
#include "tests/support/heap_failure.h"

namespace zam::test {
namespace {

class Costs : public ReadField {
protected:
    /// Bytes that the process has read from files so far, as the system counts them.
    static std::int64_t bytes_read() {
        std::ifstream io("/proc/self/io");
        std::int64_t bytes = -1;
        EXPECT_TRUE(io.ignore(64, ' ') >> bytes);  // the first line is that of characters read
        return bytes;
    }
    /// Bytes taken from files while a field file is read.
    std::int64_t bytes(const std::string& name, int expected) {
        const std::int64_t before = bytes_read();
        EXPECT_EQ(read(name), expected);
        return bytes_read() - before;
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

// A buffer that is discarded by each seek would be filled anew for each record: thousands of times the file.
TEST_F(Costs, RecordsOfOneValueAreReadThroughTheBuffer) {
    std::string record("\4\0\0\0abcd\4\0\0\0", 12), records;
    for (int i = 0; i < 400000; ++i) records += record;
    scratch.write("records.bin", records);
    const std::string header = "ndim=1 dim1=400000 nspace=1 data=int field=uniform\n";
    const std::string name = field_file(header + "variable 1 file=records.bin filetype=unformatted");
    EXPECT_LT(bytes(name, 1), 10 * static_cast<std::int64_t>(records.size()));
}

TEST_F(Costs, LongFilesOfAnotherKindAreRefusedAtOnce) {
    const std::string name = scratch.write("long", "# something else\n");
    std::filesystem::resize_file(name, 6'000'000'000);  // takes no room on most systems
    EXPECT_LT(bytes(name, 0), 1 << 20);
    EXPECT_EQ(reports, std::vector<std::string>{"File is not an AVS field file? (\"# AVS\" in first line)"});
}

}  // namespace
}  // namespace zam::test
