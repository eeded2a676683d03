// Every message of the reader, and what failing calls of the host and exhausted memory lead to.
#include "reader_fixture.h"

namespace zam::test {
namespace {

struct MessageCase {
    const char* name;
    std::string header;
    std::string data;
    std::string message;  // "@" stands for the directory of the file
};

const std::string kLine = "ndim=1 dim1=3 nspace=1 field=uniform ";
const std::string kFloats = kLine + "data=float ";

const MessageCase kMessages[] = {
    {"label_count", kFloats + "veclen=2 label=a", "", "number of LABELS does not match VECLEN"},
    {"unit_count", kFloats + "unit=m s", "", "number of UNITS does not match VECLEN"},
    {"no_ndim", "nspace=1 data=float", "", "Invalid .fld header specification"},
    {"no_data_type", kLine, "", "Invalid .fld header specification"},
    {"negative_veclen", kFloats + "veclen=-1", "", "Invalid .fld header specification"},
    {"ndim_0", "ndim=0 nspace=1 data=float", "", "Error: ndim is less than 1?"},
    {"nspace_0", "ndim=1 dim1=3 nspace=0 data=float", "", "Error: nspace is less than 1?"},
    {"dim_not_set", "ndim=2 dim1=3 nspace=2 data=float", "", "Invalid dims in .fld header specification"},
    {"dims_overflow", "ndim=3 dim1=4000000000 dim2=4000000000 dim3=4000000000 nspace=3 data=float", "",
     "Invalid dims in .fld header specification"},
    {"inline_truncated", kFloats, "12345678", "Attempted binary read of 12 bytes read only 8"},
    {"inline_huge", "ndim=1 dim1=1000000000000 nspace=1 data=float", "1234",
     "Attempted binary read of 4000000000000 bytes read only 4"},
    {"inline_xdr_truncated", kLine + "data=xdr_double", "12345678", "couldn't read field data"},
    {"positions_truncated", "ndim=1 dim1=3 nspace=1 field=irregular data=byte", "abc1234",
     "Attempted binary read of 12 bytes read only 4"},
    {"positions_xdr_truncated", "ndim=1 dim1=1 nspace=1 field=rectilinear data=xdr_int", "1234567",
     "couldn't read points data"},
    {"no_positions", "ndim=1 dim1=3 nspace=1 field=irregular data=byte\nvariable 1 filetype=binary",
     "abcdefghijklmnopq", "cannot get points data"},
    {"source_missing", kFloats + "\nvariable 1 file=none.bin filetype=binary", "", "cannot open file @/none.bin"},
    {"source_is_a_directory", kFloats + "\nvariable 1 file=\".\" filetype=binary", "", "cannot open file @/."},
    {"source_truncated", kFloats + "\nvariable 1 filetype=binary offset=1", "123456789012",
     "Attempted binary read of 12 bytes read only 8"},
    {"source_xdr_truncated", kLine + "data=xdr_float\nvariable 1 filetype=binary skip=4", "123456789012",
     "read node data error"},
    {"points_xdr_truncated",
     "ndim=1 dim1=3 nspace=1 data=xdr_float field=irregular\ncoord 1 filetype=binary\n"
     "variable 1 filetype=binary",
     "12345678", "read points error"},
    {"record_truncated", kFloats + "\nvariable 1 filetype=unformatted",
     std::string("\x08\0\0\0"
                 "12345678\x08\0\0\0",
                 16),
     "Attempted binary read of 12 bytes read only 8"},
    {"text_not_a_number", kFloats + "\nvariable 1 filetype=ascii", "1 two 3",
     "Invalid float number: component 0, item 1"},
    {"text_not_an_integer", kLine + "data=byte\nvariable 1 filetype=ascii", "1 2 x",
     "--- 1Invalid number: component 0, item 2"},
    {"text_ends_in_stride",
     kFloats + "veclen=2\nvariable 1 filetype=ascii stride=2\n"
               "variable 2 filetype=ascii stride=2 offset=1",
     "1 2 3 4 5", "Invalid float number: component 1, item 2"},
    {"text_ends_in_offset", kFloats + "\nvariable 1 filetype=ascii offset=9", "1 2 3 ",
     " --- 2Invalid number: component 0, item 0"},
    {"text_shorter_than_dims", "ndim=1 dim1=1000000000000 nspace=1 data=float\nvariable 1 filetype=ascii", "1 2 3",
     "Invalid float number: component 0, item 3"},
    {"negative_skip", kFloats + "\nvariable 1 filetype=binary skip=-4", "123456789012",
     "Problem reading file @/test.fld: SKIP, OFFSET or STRIDE of VARIABLE 1, step 1, is out of range"},
    {"stride_0", kFloats + "\nvariable 1 filetype=ascii stride=0", "1 2 3",
     "Problem reading file @/test.fld: SKIP, OFFSET or STRIDE of VARIABLE 1, step 1, is out of range"},
    {"stride_overflow", kFloats + "\nvariable 1 filetype=binary stride=9223372036854775807", "1 2 3",
     "Problem reading file @/test.fld: SKIP, OFFSET or STRIDE of VARIABLE 1, step 1, is out of range"},
    {"variable_2_missing", kFloats + "veclen=2\nvariable 1 filetype=binary", "123456789012",
     "Problem reading file @/test.fld: there is no VARIABLE 2 for step 1"},
    {"time_file_missing", kFloats + "\ntime file=none.txt filetype=ascii", "123456789012",
     "cannot open file for time @/none.txt"},
    {"time_text_ends", kFloats + "\nvariable 1 filetype=binary\ntime filetype=ascii offset=3", "1.5 2.5 3.5 ",
     "Could not read time : end of file"},
    {"time_binary_ends", kFloats + "\nvariable 1 filetype=binary\ntime filetype=binary skip=9", "123456789012",
     "Could not read time : end of file"},
    {"grammar", kFloats + "dimension=3", "",
     "Problem reading file @/test.fld: Unknown keyword at or near \"dimension\""},
    {"steps", kFloats + "\nnstep = 2000000000\n", "", "A field file has at most 1000000 time steps"},
};

class Messages : public ReadField {
protected:
    std::string with_directory(std::string text) const {
        const std::size_t at = text.find('@');
        return at == std::string::npos ? text : text.replace(at, 1, directory_.string());
    }
};

TEST_F(Messages, OneForEachFault) {
    for (const MessageCase& test : kMessages) {
        reports.clear();
        EXPECT_EQ(read(field_file(test.header, test.data)), 0) << test.name;
        EXPECT_EQ(reports, std::vector<std::string>{with_directory(test.message)}) << test.name;
        EXPECT_TRUE(dims(out()).empty()) << test.name << ": the output stays as it was";
        EXPECT_EQ(update(), 0) << test.name << ": nothing is kept of a failed read";
    }
}

TEST_F(Messages, FilesThatAreNoFieldFiles) {
    const std::string not_a_field = "File is not an AVS field file? (\"# AVS\" in first line)";
    EXPECT_EQ(read(file("a", "# field\nndim=1")), 0);
    EXPECT_EQ(read(file("b", "")), 0);
    EXPECT_EQ(read(file("c", std::string(10'000'000, 'x'))), 0);
    EXPECT_EQ(reports, std::vector<std::string>(3, not_a_field));
    reports.clear();
    EXPECT_EQ(read(directory_.string()), 0);
    EXPECT_EQ(read(directory_.string() + "/none.fld"), 0);
    EXPECT_EQ(reports, std::vector<std::string>(2, "Can't open file"));
    reports.clear();
    set("check", 1);  // the header alone says twice what went wrong
    const std::string name = file("d", "# AVS\nndim 3\n");
    EXPECT_EQ(read(name), 0);
    EXPECT_EQ(reports, (std::vector<std::string>{"Problem reading file " + name + ": Unknown keyword at or near \"3\"",
                                                 "Problem reading file " + name + ": LDRFread_field_header"}));
}

TEST_F(Messages, MissingObjects) {
    const std::pair<const char*, const char*> new_file[] = {{"filename", "Can't get filename."},
                                                            {"out", "Can't get 'out' object id."},
                                                            {"out_all", "Can't get 'out_all' object id."}};
    const std::pair<const char*, const char*> stepping[] = {{"forward", "Can't get 'forward' object id."},
                                                            {"backward", "Can't get 'backward' object id."},
                                                            {"stepno", "Can't get 'stepno' object id."}};
    const std::string name = field_file(kFloats + "nstep=2", bytes_of(counting<float>(6)));
    for (const auto& [object, message] : new_file) {
        make_instance();
        reports.clear();
        set("filename", name);
        host::destroy(host::find(instance, object));
        set("store_all", 1);
        EXPECT_EQ(update(), 0);
        EXPECT_EQ(reports, std::vector<std::string>{message});
    }
    for (const auto& [object, message] : stepping) {
        make_instance();
        ASSERT_EQ(read(name), 1);
        reports.clear();
        host::destroy(host::find(instance, object));
        EXPECT_EQ(update(), 0);
        EXPECT_EQ(reports, std::vector<std::string>{message});
        DVLDread_field_delete(instance, 0, seq);
    }
}

struct CallCase {
    const char* operation;
    int nth;
    int kind;  // of the field: 0 uniform, 2 irregular
    bool stored;
    const char* message;
};

const CallCase kCalls[] = {
    {"FLDset_ndim", 1, 0, false, "Error setting ndim"},
    {"FLDset_dims", 1, 0, false, "Error setting dims"},
    {"FLDset_nspace", 1, 0, false, "Error setting space"},
    {"FLDset_points", 1, 0, false, "Error setting point data"},
    {"FLDset_coord", 1, 2, false, "Error setting coordinates"},
    {"FLDset_coord_extent", 1, 0, false, "cannot set extent"},
    {"FLDset_node_data_ncomp", 1, 0, false, "Error setting node_data_ncomp"},
    {"FLDset_node_data_comp", 1, 0, false, "Error setting node data component"},
    {"FLDset_node_data", 1, 0, false, "Error setting node data"},
    {"FLDget_node_data", 1, 0, false, "Error getting node data for flip"},
    {"FLDset_coord_extent", 1, 0, true, "cannot set store_all extent"},
    {"FLDget_nnodes", 1, 0, true, "Error getting nnode"},
    {"FLDget_time_node_data", 1, 0, true, "Error getting node id "},
    {"FLDget_time_coordinates", 1, 2, true, "Error getting coordinates id "},
    {"FLDget_points", 1, 0, true, "Error getting point data"},
    {"FLDget_coord", 1, 2, true, "Error getting coordinates"},
    {"FLDget_coord_extent", 1, 0, true, "Error getting coord extent"},
    {"FLDset_coord_extent", 2, 0, true, "Error setting coord extent"},
    {"FLDget_node_data", 3, 0, true, "Error getting node data"},
    {"FLDget_node_data_minmax", 1, 0, true, "Error getting node minmax"},
    {"FLDget_xform", 1, 0, true, "Error getting xform"},
    {"FLDset_xform", 1, 0, true, "Error setting xform"},
};

class FailingHost : public ReadField {
protected:
    std::string two_steps(int kind) {
        std::string header = "ndim=1 dim1=3 nspace=1 data=float nstep=2 min_ext=0 max_ext=1 min_val=0 max_val=9 field=";
        header += kind == 0 ? "uniform" : "irregular\ncoord 1 filetype=binary\nvariable 1 filetype=binary skip=12";
        return field_file(header, bytes_of(counting<float>(6)));
    }
};

TEST_F(FailingHost, FieldOperationsAreReportedByTheirTexts) {
    for (const CallCase& test : kCalls) {
        make_instance();
        reports.clear();
        set("flip", 1);
        const std::string name = two_steps(test.kind);
        set("filename", name);
        if (test.stored) {
            ASSERT_EQ(update(), 1) << test.message;
            set("store_all", 1);
        }
        host::fail_call(test.operation, test.nth);
        EXPECT_EQ(update(), 0) << test.message;
        host::fail_call("", 0);
        EXPECT_EQ(reports, std::vector<std::string>{test.message});
        DVLDread_field_delete(instance, 0, seq);
    }
}

}  // namespace
}  // namespace zam::test
