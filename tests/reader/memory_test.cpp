// Memory of the process heap that runs out at any moment of a read.
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

}  // namespace
}  // namespace zam::test
