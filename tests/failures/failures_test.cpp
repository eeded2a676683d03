// What every module promises when something is refused, whatever it is: a result as described, at most one message, no
// array left over, outputs as they were until writing begins. The table tells what each says, and why where a module
// promises something else.
#include <filesystem>
#include <functional>
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

namespace zam::test {
namespace {

using namespace runner;
using namespace session;

class Failures;

struct Promise {
    const char* name;
    std::string modules;                               // of a network; "it" is refused things
    std::string outcome;                               // see Outcome
    const char* output = "";                           // what of it is looked at; empty: the instance whole
    std::function<int(Failures&)> run = nullptr;       // in place of one update
    std::function<void(Failures&)> prepare = nullptr;  // before each

    friend void PrintTo(const Promise& promise, std::ostream* out) { *out << promise.name; }
};

/// What became of the updates that did not get over a refusal, as a text: how many calls and arrays these were; then,
/// for each result, and for outputs as they were ("kept") and those begun ("begun"), what was said.
class Outcome {
public:
    void add(Refused what, int result, bool begun, std::string said) {
        stops_[static_cast<int>(what)]++;
        for (std::size_t at = 0; (at = said.find('\n', at)) != std::string::npos; at += 2) said.replace(at, 1, "\\n");
        said_[std::to_string(result) + (begun ? " begun" : " kept")].insert(said.empty() ? "nothing" : said);
    }
    std::string text() const {
        std::string text = std::to_string(stops_[0]) + " calls, " + std::to_string(stops_[1]) + " arrays";
        for (const auto& [kind, said] : said_) {
            text += "\n" + kind + ":";
            std::size_t column = text.size() - text.rfind('\n');
            for (const auto& one : said) {
                const bool fits = column + one.size() < 110;
                column = one.size() + (fits ? column + 3 : 6);
                text += (fits ? " " : "\n    ") + one + (one == *said.rbegin() ? "" : " |");
            }
        }
        return text;
    }

private:
    int stops_[3] = {};
    std::map<std::string, std::set<std::string>> said_;
};

class Failures : public ::testing::TestWithParam<Promise> {
public:
    int update(int since = 0) const { return update_(object_, 0, since); }
    int call(const std::string& entry) const { return library_->find(entry)(object_, 0, 0); }
    void set(const char* name, int value) const { OMset_name_int_val(object_, OMstr_to_name(name), value); }

protected:
    void SetUp() override {
        std::filesystem::current_path(scratch_.path());
        scratch_.write("ini", "[joystick]\ninterval=50\nthreshold=0.5\nbtn_8_mode=3\n");
        scratch_.write("voxels", "time 2\n0 0 0 1 2\n1 1 1 3 4\n");
        scratch_.write("heading", "heading\n1 2 3\n");
        const std::string steps = "# AVS\nndim=1 dim1=3 nspace=1 data=float nstep=2 label=a ";
        const std::string values = "\n\f\f" + std::string(24, '\1');
        scratch_.write("uniform.fld", steps + "field=uniform min_ext=0 max_ext=1 min_val=0 max_val=9" + values);
        scratch_.write("irregular.fld", steps + "field=irregular\ncoord 1 file=heading filetype=ascii skip=1\n" +
                                            "variable 1 filetype=binary skip=12" + values);
        for (const char* name : {"pceimg00000.img", "pceimg00001.img"})
            scratch_.write(name, "0000200001" + std::string("\0\1\2\3\0\4\5\6\0\0\0\0\0\0\200?", 16));

        Problems problems;
        definitions_ = Definitions::load(ZAM_TEST_MODULES, problems);
        definitions_.add_host_entries(problems);
        const std::string file = scratch_.write("network.json", R"({"modules": {)" + GetParam().modules + "}}");
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

    /// One run of a fresh instance that has run before, with one thing refused.
    void attempt(Refusal& refusal) {
        const Promise& promise = GetParam();
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
        if (!definition().is_class || network_->instances.size() > 1) session.run_all();
        EXPECT_FALSE(console.failed());
        object_ = host::find(host::root(), "it");
        if (promise.prepare) promise.prepare(*this);
        std::vector<std::string> said;
        said.reserve(8);  // the heap refuses the modules, not the test
        host::set_recorder([&](const host::Record& record) {
            if (record.what == host::Record::What::report) said.push_back(record.text);
        });
        const OMobj_id output = *promise.output ? host::find(object_, promise.output) : object_;
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
        outcome_.add(refusal.what(), result, written, text);
    }

    int run() {
        if (GetParam().run) return GetParam().run(*this);
        return definition().is_class ? run_class() : update();
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

    Outcome outcome_;

private:
    const ScratchDirectory scratch_;
    Definitions definitions_;
    std::optional<Network> network_;
    std::unique_ptr<ModuleLibrary> library_;
    OMobj_id object_{};
    Entry update_ = nullptr;
    CreateEntry create_ = nullptr;
    DestroyEntry destroy_ = nullptr;
    std::vector<MethodEntry> methods_;  // in the order in which a network has them called
};

// --- Inputs, as a network gives them ---

std::string field(const std::string& text) { return "{\"field\": {" + text + "}}"; }

const std::string kVolume =
    field(R"("dims": [3, 2, 2], "node_data": [{"type": "byte", "values": [1,2,3,4,5,6,7,8,9,1,2,3]}])");
const std::string kPlane = field(R"("dims": [3, 1], "node_data": [{"veclen": 3, "values": [1,2,1,2,1,2,1,2,1]}])");
const std::string kGrid = field(
    R"("dims": [3, 2], "coord": [0,0,1,0,2,0,0,1,1,1,2,1], "node_data": [{"values": [1,2,1,2,1,2,1,2,1,2,1,2]}])");
const std::string kSaddle =
    field(R"("dims": [2, 2], "node_data": [{"values": [-0.25,0.5,0.75,0.5,-0.25,-0.5,0.75,-0.5]}])");
const std::string kTensors = field(R"("nspace": 3, "coord": [1, 2, 3], "node_data": [{"values": [3, 1, 2, 0, 0, 0]}])");
const std::string kProbe = field(R"("nspace": 3, "coord": [1, 2, 3, 2, 2, 4])");
const std::string kImage =
    field(R"("dims": [2, 1], "node_data": [{"type": "byte", "values": [9,1,2,3,8,4,5,6]}, {"values": [0.25, 1]}])");

std::string module(const std::string& entry, const std::string& params) {
    return "\"it\": {\"use\": \"" + entry + "\", \"params\": {" + params + "}}";
}

int step_and_store(Failures& test) {
    if (test.update() != 1) return 0;
    const int read = host::now();
    test.set("store_all", 1);
    return test.update(read);
}

void end_the_set(Failures& test) { test.call("ZBufClearUpdate"); }

const Promise kPromises[] = {
    // deliberate: what is refused of the image field is not reported; the update went well
    {"tracer", module("ZAMtracer_render_update", R"("width": 3, "height": 2, "in": )" + kVolume), R"(7 calls, 4 arrays
0 kept: can,t get dims\n | can,t get nnodes\n | can,t get node data\n | can,t get nspace\n |
    can,t get points\n | color table array is not allocated\n | dims array is not allocated\n |
    image array is not allocated\n | points array is not allocated\n
1 kept: nothing)"},
    // silent when its input cannot be read; the image's frame is written before what fills it is made
    {"lic_texture", module("ZAMlic_texture_func", "\"in_fld\": " + kPlane), R"(12 calls, 6 arrays
0 begun: can't write out_fld\n | flow array is not allocated\n | image array is not allocated\n |
    noise alloc error\n | nothing | vec_scale alloc error\n
0 kept: can't write out_fld\n | dims array is not allocated\n | nothing | points array is not allocated\n)"},
    {"topology", module("ZAMtopologyline2D", "\"in_field\": " + kSaddle), R"(26 calls, 5 arrays
0 begun: out_field error\n | out_field2 error\n
0 kept:
    --- Error detected in: module: topoline ---\nless veclen in the input field, topology line is not created\n--------------------------------------------------\n |
    --- Error detected in: module: topoline ---\nno data component in the input field, topology line is not created\n--------------------------------------------------\n |
    connect array is not allocated\n | coord array is not allocated\n | dims error\n |
    label array is not allocated\n | node error\n | out_field error\n | point connect array is not allocated\n |
    point coord array is not allocated\n | points error\n | topology point array is not allocated\n)"},
    {"lic_jacobi", module("ZAMjacobiTransVec_comp_func", "\"fld_in\": " + kGrid), R"(13 calls, 3 arrays
0 begun: DVJacobiTransVec_comp_func error: Can't set fld_out\n
0 kept: DVJacobiTransVec_comp_func error: Can't get fld_in node data\n |
    DVJacobiTransVec_comp_func error: Can't get fld_in_dims\n |
    DVJacobiTransVec_comp_func error: Can't get fld_in_nnodes\n |
    DVJacobiTransVec_comp_func error: Can't get fld_in_nnspace\n |
    DVJacobiTransVec_comp_func error: Can't get in_fld_coord, in_fld_size\n |
    DVJacobiTransVec_comp_func error: Can't set fld_out\n | dims array is not allocated\n |
    fld_in_ncomp=0. input ncomp must be 1 (veclen 2 or 3)\n | in_fld_veclen=0. input veclen must be 2\n |
    node data array is not allocated\n | points array is not allocated\n)"},
    // always 1, and quiet when there is no time or an output cannot be written
    {"time_advect", module("ZAMtime_advect", R"("current_step_label": "7", "time": [0], "in_probe": )" + kProbe),
     R"(10 calls, 1 arrays
1 kept: Can not get coordinate.\n | nothing)",
     "out_probe"},
    // silent when the nodes of fld_in cannot be counted, or their values are no tensors
    {"princStrVec", module("ZAMprincStrVec_comp_func", "\"fld_in\": " + kTensors), R"(15 calls, 3 arrays
0 begun: in princStrVec_comp_func error: Can't set fld_out\n
0 kept: coordinates array is not allocated\n | in princStrVec_comp_func error: Can't get in_fld node data\n |
    in princStrVec_comp_func error: Can't get in_fld_coord, in_fld_size\n |
    in princStrVec_comp_func error: Can't get in_fld_nnspace\n |
    in princStrVec_comp_func error: Can't set fld_out\n | in_fld_ncomp=0. input ncomp must be 1 (veclen 6)\n |
    nothing | principal direction array is not allocated\n | principal stress array is not allocated\n)"},
    // the second update stores the steps; silent when what it keeps or writes back in parameters is refused
    {"reader_uniform", module("DVLDread_field_update", R"("flip": 1, "filename": "uniform.fld")"), R"(61 calls, 8 arrays
0 begun: nothing
0 kept: Can't get filename. | Can't open file | DVread_field_update: Failure allocating results struct |
    Error allocating temporary arrays | Error creating field | Error getting coord extent |
    Error getting nnode | Error getting node data | Error getting node data for flip | Error getting node id  |
    Error getting node minmax | Error getting point data | Error getting xform | Error setting cell sets |
    Error setting coord extent | Error setting dims | Error setting ndim | Error setting node data |
    Error setting node data component | Error setting node_data_ncomp | Error setting point data |
    Error setting space | Error setting time steps | Error setting time values | Error setting xform |
    RFread_field: Failure allocating nnodes array | RFread_field: Failure allocating points array |
    cannot set extent | cannot set store_all extent | nothing | rd_fld2: Failure allocating data struct |
    rd_fld2: Failure allocating labels array | rd_fld2: Failure allocating max_ext array |
    rd_fld2: Failure allocating max_val array | rd_fld2: Failure allocating min_ext array |
    rd_fld2: Failure allocating min_val array
1 kept: nothing)",
     "out_all", step_and_store},
    {"reader_irregular", module("DVLDread_field_update", R"("flip": 1, "filename": "irregular.fld")"),
     R"(57 calls, 8 arrays
0 begun: nothing
0 kept: Can't get filename. | Can't open file | DVread_field_update: Failure allocating results struct |
    Error allocating temporary arrays | Error creating field | Error getting coord extent |
    Error getting coordinates | Error getting coordinates id  | Error getting nnode | Error getting node data |
    Error getting node data for flip | Error getting node id  | Error getting node minmax |
    Error getting xform | Error setting cell sets | Error setting coord extent | Error setting coordinates |
    Error setting dims | Error setting ndim | Error setting node data | Error setting node data component |
    Error setting node_data_ncomp | Error setting space | Error setting time steps | Error setting time values |
    Error setting xform | RFread_field: Failure allocating coords array |
    RFread_field: Failure allocating nnodes array | cannot open file  | cannot open file DIR/heading | nothing |
    rd_fld2: Failure allocating data struct | rd_fld2: Failure allocating labels array |
    rd_fld2: Failure allocating max_ext array | rd_fld2: Failure allocating max_val array |
    rd_fld2: Failure allocating min_ext array | rd_fld2: Failure allocating min_val array |
    rd_fld2: Failure allocating points struct
1 kept: nothing)",
     "out_all", step_and_store},
    // the grid is written while it is read; a component that cannot be described is only warned of
    {"read_frt", module("ZAMread_frt", R"("frt_fname": ")" ZAM_TEST_GRIDS R"(/m4_little_i4_solid.dat")"),
     R"(12 calls, 5 arrays
0 begun: Can't allocate x coordinate. | Can't allocate y coordinate. | Can't allocate z coordinate. |
    Can't allocation coordinate. | Can't allocation data value. | Cannot set dims. | Cannot set ncomponent. |
    Cannot set node data veclen. | Cannot set node data. | Cannot set nspace. |
    Error! Can't set coordinate values. | dims array is not allocated\n
0 kept: Cannot set dims. | ERROR : Could not Open File.\n | ERROR : read_frt : filename == NULL.\n
1 begun: Warning! cannot allocation data : veclen > 1\n)"},
    // speaks to the host or to a standard stream, never to both
    {"rd_voxel", module("ZAMread_voxel_update", R"("filename": "voxels", "iheader": 1, "timekey": "time")"),
     R"(17 calls, 2 arrays
0 begun: Error in get_points\n | Error in set_dims.\n | FLD Error in set_nnodes.\n |
    FLD Error in set_node_data.\n | FLD Error in set_node_data_label.\n | FLD Error in set_node_data_ncomp.\n |
    FLD Error in set_node_data_veclen.\n | FLD Error in set_node_null_data.\n | FLD Error in set_npoints.\n |
    FLD Error in set_nspace.\n
0 kept: Can not allocate memory(node_data).\n | Cannot get filename. | Cannot malloc for dval\n |
    Cannot malloc for xval\n | Cannot malloc for yval\n | Cannot malloc for zval\n |
    Cannot open filename.: DIR/voxels | FLD Error in set_ndim.\n |
    This module support [x(,) y(,) z(,) value] format. | Unexpected error\n)"},
    // the geometry and utility modules give 1 whatever happens
    {"cone", module("DVConeUpdate", R"("div": 3, "offset": 1, "length": 2, "radius": 0.5)"), R"(7 calls, 2 arrays
1 begun: revolve: couldn't set coord!
1 kept: can't alloc coord !\n | can't alloc coord connect_array!\n | can't get div\n | can't get length!\n |
    can't get offset!\n | can't get radius!\n | revolve: couldn't set coord!)"},
    {"revolve_c", module("DVRevolveUpdate", R"("profile": [0, 1, 5, 2, 7, 0])"), R"(5 calls, 0 arrays
1 begun: revolve: couldn't get coordinate array!
1 kept: revolve: couldn't get coordinate array! | revolve: couldn't get profile array!)"},
    // has no messages
    {"uni2cylinder", module("ADDuni2cylinder", "\"in\": " + kVolume), R"(4 calls, 2 arrays
1 kept: nothing)"},
    // an input that cannot be read is no volume, which is silent
    {"cropbind", module("ADDcropbind", R"("center": 2, "xy_dist": [2, 3], "in": )" + kVolume), R"(6 calls, 3 arrays
1 kept: Error : Can't allocate memory.\n | Error : center > 0 && center < dims[0]\n | nothing)"},
    {"threshcolor", module("ADDthreshcolor", "\"in\": " + kImage), R"(7 calls, 3 arrays
1 kept: Error : Can't allocate memory.\n | nothing)"},
    // the tables are sized before anything is made; who cannot tell whether it is active says so and goes on
    {"convert_color_map", module("ZAMconvert_color_map", R"("color_map_size": 3, "datamap": {"range": [0, 2]})"),
     R"(11 calls, 4 arrays
0 begun: nothing
0 kept: alpha array is not allocated\n | blue array is not allocated\n | colormap array is not allocated\n |
    green array is not allocated\n | node array is not allocated\n | nothing | red array is not allocated\n
1 begun: Can't get active ( this module activate flag )\n)"},
    // has no messages; without memory for the names there are none
    {"get_files", module("GetFilesCore_update", R"("dir": ".")"), R"(3 calls, 0 arrays
0 kept: nothing
1 kept: nothing)"},
    // counts all captures of an update or none; every function on the way back adds its message
    {"capture_on_disk", module("ZBufCaptureUpdate", R"("tmpDir": "sets", "in": [)" + kImage + ", " + kImage + "]"),
     R"(24 calls, 0 arrays
1 begun: Can't get active ( this module activate flag )\n
1 kept: Can not capture image in Disk.\n | Can not get Temporary Directory.\nCan not capture image in Disk.\n |
    Can not make image save directory.\nCan not capture image in Disk.\n | Can not output image.\n | nothing)",
     "currCount", nullptr, end_the_set},
    {"capture_in_memory", module("ZBufCaptureUpdate", R"("saveMode": 1, "in": [)" + kImage + ", " + kImage + "]"),
     R"(42 calls, 0 arrays
1 begun: Can't get active ( this module activate flag )\n
1 kept: Can not capture image on Memory.\n | Can not copy image.\nCan not capture image on Memory.\n |
    nothing)",
     "currCount"},
    // gets over everything
    {"clear", module("ZBufClearUpdate", R"("currCount": 3, "currDir": "none")"), R"(0 calls, 0 arrays)"},
    // has no messages
    {"check", module("CheckTmpDirUpdate", R"("currCount": 1, "saveMode": 1, "currDir": "/tmp/a", "tmpDir": "/var")"),
     R"(4 calls, 0 arrays
1 kept: nothing)"},
    {"merge_files",
     module("MergeImagesUpdate", R"("currCount": 2, "saveMode": 0, "currDir": ".", "backCol": [0, 1, 0])"),
     R"(12 calls, 1 arrays
1 begun: Can not merge image in Zbuffer brending.\n
1 kept: Can not get background color. | Can not get image saved directory.\n |
    Can not merge image in Zbuffer brending.\n | nothing)"},
    {"merge_fields",
     module("MergeImagesUpdate", R"("currCount": 1, "num": 1, "backCol": [0, 1, 0], "rc": [)" + kImage + "]"),
     R"(19 calls, 1 arrays
1 begun: Can not merge image in Zbuffer brending.\n
1 kept: Can not get background color. | Can not merge image in Zbuffer brending.\n | nothing)"},
    // the joystick classes do without what they cannot have; that is silent
    {"joystick_capture", module("ZAM_LIB_QELjoyCapture", ""), R"(2 calls, 0 arrays
0 begun: QELjoyCapture: Failure allocating position records
0 kept: nothing)"},
    {"joystick_parameters", module("ZAM_LIB_QELjoySetParams", R"("load_file": "ini", "save_file": "saved")"),
     R"(1 calls, 0 arrays
0 begun: nothing
0 kept: nothing)"},
    {"joystick_info",
     R"("joy": {"use": "ZAM_LIB_QELjoyCapture"}, )" +
         module("ZAM_LIB_QELjoyInfoEx", R"("ref_link": {"ref": "joy.ref_info"}, "cur_link": {"ref": "joy.cur_info"})"),
     R"(0 calls, 0 arrays
0 kept: nothing)"},
    {"view",
     module("host_view", R"("width": 4, "height": 4, "datamaps": [{"range": [0, 9]}], "objects": [)" + kVolume + "]"),
     R"(11 calls, 3 arrays
0 begun: out cannot be written\n
0 kept: datamaps[0] is not a datamap\n | memory is exhausted\n | out cannot be written\n |
    the image's arrays are not allocated\n)"},
};

TEST_P(Failures, LeaveNothingBehind) {
    refuse_in_turn([this](Refusal& refusal) { attempt(refusal); });
    EXPECT_EQ(outcome_.text(), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(Of, Failures, ::testing::ValuesIn(kPromises),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace zam::test
