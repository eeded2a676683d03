// What a read costs: memory of the process heap, which may run out at any moment, and time.
#include <ctime>
#include <set>

#include "heap_failure.h"
#include "reader_fixture.h"

namespace zam::test {
namespace {

class HeapExhausted : public ReadField {};

TEST_F(HeapExhausted, AnyAllocationMayFail) {
    file("x.txt", "heading\n1 2 3\n");
    const std::string name = field_file(
        "ndim=1 dim1=3 nspace=1 data=float nstep=2 field=irregular label=a\n"
        "coord 1 file=x.txt filetype=ascii skip=1\nvariable 1 filetype=binary stride=2",
        bytes_of(counting<float>(6)));
    std::set<std::string> texts;
    for (int n = 1; n < 5000; ++n) {
        make_instance();
        set("filename", name);
        set("store_all", 0);
        reports.clear();
        reports.reserve(8);
        fail_heap_allocation(n);
        const int result = DVLDread_field_update(instance, 0, 0);
        const bool struck = !heap_failure_pending();
        fail_heap_allocation(0);
        texts.insert(reports.begin(), reports.end());
        EXPECT_LE(reports.size(), 1U) << n;
        if (result == 1) {
            EXPECT_EQ(values(out(), 0).size(), 3U) << n;
        }
        DVLDread_field_delete(instance, 0, host::now());
        EXPECT_EQ(host::account().outstanding_arrays + host::account().open_accesses, 0) << n;
        if (!struck) break;
    }
    EXPECT_TRUE(texts.contains("Error allocating temporary arrays"));
    EXPECT_TRUE(texts.contains("DVread_field_update: Failure allocating results struct"));
}

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
    const std::int64_t before = heap_allocations();
    ASSERT_EQ(read(name), 1);
    EXPECT_LT(heap_allocations() - before, 2000);
}

// Limits far above what these take, and far below what they took when each seek read the buffer anew, and each file was
// looked through.
constexpr double kSecondsAtMost = 3.0;

TEST_F(Costs, RecordsOfOneValueAreReadThroughTheBuffer) {
    std::string record("\4\0\0\0abcd\4\0\0\0", 12), records;
    for (int i = 0; i < 400000; ++i) records += record;
    file("records.bin", records);
    const std::string header = "ndim=1 dim1=400000 nspace=1 data=int field=uniform\n";
    EXPECT_LT(seconds(field_file(header + "variable 1 file=records.bin filetype=unformatted"), 1), kSecondsAtMost);
}

TEST_F(Costs, LongFilesOfAnotherKindAreRefusedAtOnce) {
    const std::string name = file("long", "# something else\n");
    std::filesystem::resize_file(name, 6'000'000'000);  // takes no room on most systems
    EXPECT_LT(seconds(name, 0), kSecondsAtMost);
    EXPECT_EQ(reports, std::vector<std::string>{"File is not an AVS field file? (\"# AVS\" in first line)"});
}

}  // namespace
}  // namespace zam::test
