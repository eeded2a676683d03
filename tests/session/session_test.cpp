// zam/session.h as other programs use it.
#include "zam/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "tests/support/scratch_directory.h"

#if defined(__SANITIZE_ADDRESS__)
// fontconfig keeps its fonts until the program ends
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig\n"; }
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }
#endif

namespace zam {
namespace {

constexpr std::int64_t kSide = 24;

std::vector<std::uint8_t> voxels() {
    std::vector<std::uint8_t> values(kSide * kSide * kSide);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<std::uint8_t>(i * 7 % 253);
    return values;
}

/// What a call throws; empty: nothing.
std::string thrown(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const Error& error) {
        return error.what();
    }
}

std::vector<std::uint8_t> bytes_of(const Array& array) {
    const auto values = array.as<std::uint8_t>();
    return {values.begin(), values.end()};
}

/// In the end nobody keeps anything, and modules have left nothing over.
class SessionTest : public testing::Test {
protected:
    ~SessionTest() override {
        session.reset();
        EXPECT_EQ(account().held, 0);
        EXPECT_EQ(account().outstanding, 0);
        EXPECT_EQ(account().faults, std::vector<std::string>());
    }
    /// A tracer with a volume that is lent.
    Network renderer() {
        Network network = session->network();
        network.add("render", "tracer");
        network.set("render.in",
                    uniform_field({kSide, kSide, kSide}, Array::lend<std::uint8_t>(volume, [this] { ++released; })));
        network.set("render.width", 40);
        network.set("render.height", 30);
        return network;
    }

    std::vector<std::uint8_t> volume = voxels();
    int released = 0;
    std::unique_ptr<Session> session = std::make_unique<Session>();
};

TEST_F(SessionTest, NetworksAreMadeCallByCallOrRead) {
    Network calls = renderer();
    calls.add("view", "host_view");
    calls.add("again", "tracer");
    calls.connect("again.in", "render.in", R"({"crop": [[0, 11], [0, 11], [0, 11]]})");
    EXPECT_TRUE(calls.run());

    Network file = session->parse(R"({"modules": {"render": {"use": "tracer", "params": {"width": 40}}}})", {},
                                  {"render.height=30"});
    file.set("render.in", calls.field("render.in"));  // a result is lent on
    EXPECT_TRUE(file.run());
    EXPECT_EQ(file.image("render.out").pixels, calls.image("render.out").pixels);
    EXPECT_EQ(file.png("render.out").substr(1, 3), "PNG");
    EXPECT_EQ(file.modules(), (std::vector<std::pair<std::string, std::string>>{{"render", "tracer"}}));

    const Field image = calls.field("render.out");
    EXPECT_EQ(image.dims, (std::vector<std::int64_t>{40, 30}));
    EXPECT_EQ(image.grid, GridType::Uniform);
    EXPECT_EQ(image.data.at(0).veclen, 4);
    EXPECT_EQ(image.data.at(0).id, 669);
    const Image picture = calls.image("render.out", {.legend = true, .alpha = true});
    EXPECT_GT(picture.width, 40);
    EXPECT_EQ(picture.pixels.size(), static_cast<std::size_t>(picture.width * picture.height * 4));
}

TEST_F(SessionTest, OnlyWhatChangedRuns) {
    Network network = renderer();
    network.add("second", "tracer");
    network.connect("second.in", "render.in");
    std::vector<std::string> ran;
    network.listen({.progress = [&](const Progress& progress) {
        if (ran.empty() || ran.back() != progress.module) ran.emplace_back(progress.module);
        return true;
    }});
    const auto run = [&] {
        ran.clear();
        EXPECT_TRUE(network.run());
        return ran;
    };
    using Names = std::vector<std::string>;
    EXPECT_EQ(run(), (Names{"render", "second"}));
    EXPECT_EQ(run(), Names());
    network.set("second.width", 9);
    network.add("third", "host_view");
    EXPECT_EQ(run(), (Names{"second", "third"}));
    network.set("render.in", uniform_field({2, 2, 2}, Array::keep(std::vector<std::uint8_t>(8, 200))));
    EXPECT_EQ(run(), (Names{"render", "second"}));
}

TEST_F(SessionTest, LentArraysAreNotCopiedAndReleasedOnce) {
    auto network = std::make_unique<Network>(renderer());
    EXPECT_TRUE(network->run());
    Field held = network->field("render.in");
    EXPECT_EQ(held.data.at(0).values.data(), volume.data());
    network->set("render.in", Field());
    EXPECT_EQ(released, 0);  // the result refers to it
    network.reset();
    held = {};
    EXPECT_EQ(released, 1);
    EXPECT_EQ(volume, voxels());
}

TEST_F(SessionTest, ResultsOutliveNetworkAndSession) {
    auto network = std::make_unique<Network>(renderer());
    network->run();
    const Field field = network->field("render.out");
    const Value table = network->get("render.color_table");
    const auto pixels = bytes_of(field.data.at(0).values);
    network->set("render.a_scale_ptr", 3.0);
    network->run();
    EXPECT_NE(bytes_of(network->field("render.out").data.at(0).values), pixels);
    session.reset();
    EXPECT_NE(thrown([&] { network->run(); }).find("has ended"), std::string::npos);
    network.reset();
    EXPECT_EQ(bytes_of(field.data.at(0).values), pixels);
    EXPECT_EQ(table.get<Value::Group>()->at(1).first, "red");
    EXPECT_EQ(table.get<Value::Group>()->at(1).second.get<Array>()->as<std::uint8_t>()[7], 7);
    EXPECT_GT(account().held, 0);
    session = std::make_unique<Session>();  // the next one
    EXPECT_TRUE(renderer().run());
}

TEST_F(SessionTest, RunsAreCancelledAndGoOn) {
    Network network = renderer();
    network.add("second", "tracer");
    network.connect("second.in", "render.in");
    struct Stop : std::exception {};
    enum class At { begin, progress, thrown, report, outside } at{};
    int seen = 0;
    network.listen({.progress = [&](const Progress& progress) {
        const bool begins = progress.percent == 0;
        if (at == At::outside) network.cancel();
        if (progress.module != "second" || (at != At::begin && begins)) return true;
        ++seen;
        if (at == At::thrown) throw Stop();
        return at == At::outside;
    }});
    for (at = At::begin; at <= At::progress; at = At(static_cast<int>(at) + 1)) {
        EXPECT_THROW(network.run(), Cancelled);
    }
    at = At::thrown;
    EXPECT_THROW(network.run(), Stop);
    EXPECT_EQ(seen, 3);
    EXPECT_NE(thrown([&] { network.listen({}), network.run(); }), "x");
    EXPECT_EQ(network.field("second.out").dims.size(), 2U);
    network.set("second.height", 3);
    network.cancel();
    EXPECT_THROW(network.run(), Cancelled);
    EXPECT_TRUE(network.run());
    EXPECT_EQ(network.field("second.out").dims.at(1), 3);
    network.set("render.width", -1);
    network.listen({.report = [](const Report&) { throw Stop(); }});
    EXPECT_THROW(network.run(), Stop);
}

TEST_F(SessionTest, ReportsComeInCallbacksAndOutcomes) {
    Network network = session->network();
    network.add("render", "tracer");
    std::vector<std::string> heard;
    network.listen({.report = [&](const Report& report) { heard.push_back(report.module + ": " + report.text); }});
    const Outcome outcome = network.run();  // without a volume
    EXPECT_FALSE(outcome);
    ASSERT_EQ(outcome.reports.size(), 1U);
    EXPECT_EQ(outcome.reports[0].module, "render");
    EXPECT_EQ(heard, std::vector{outcome.errors()});
    EXPECT_TRUE(network.run());  // nothing has changed, nothing is said again
}

TEST_F(SessionTest, ErrorsNameWhatWasMeant) {
    Network network = renderer();
    const float crooked[] = {1, 2, 3};
    const auto* odd = reinterpret_cast<const std::byte*>(crooked) + 1;
    const std::pair<std::function<void()>, const char*> kCases[] = {
        {[&] { session->module("tracr"); }, "did you mean \"tracer\"?"},
        {[&] { network.add("b", "tracr"); }, "did you mean \"tracer\"?"},
        {[&] { network.add("render", "tracer"); }, "there is a module render already"},
        {[&] { network.add("a.b", "tracer"); }, "hold no dots"},
        {[&] { network.set("rendr.width", 1); }, "did you mean \"render\"?"},
        {[&] { network.set("render.widht", 1); }, "did you mean \"width\"?"},
        {[&] { network.set("render.width", "wide"); }, "render.width: a whole number is expected, not a text"},
        {[&] { network.set("render.width", Json{"[1,"}); }, "render.width:2:"},
        {[&] { network.set("render.xform.scale", 2); }, "whole parameters"},
        {[&] { network.set("render.color_table", Json{R"({"preset": "bona"})"}); }, "did you mean \"bone\"?"},
        {[&] {
             network.set("render.in", uniform_field({3, 3}, Array::keep(std::vector<float>(8))));
         },
         "values holds 8 numbers, not 9"},
        {[&] {
             network.set("render.in", uniform_field({3}, {Type::Float, odd, 3, {}}));
         },
         "not aligned"},
        {[&] {
             network.set("render.in", uniform_field({3}, {Type::Float, nullptr, 3, {}}));
         },
         "no values"},
        {[&] {
             network.set("render.in", uniform_field({3}, {Type(9), crooked, 3, {}}));
         },
         "does not exist"},
        {[&] { network.connect("render.in", "render.outt"); }, "did you mean \"out\"?"},
        {[&] { network.connect("render.in", "render.width"); }, "is of kind int, not field"},
        {[&] { network.get("render.outt"); }, "did you mean \"out\"?"},
        {[&] { network.image("render.width"); }, "only image fields"},
        {[&] { network.text("render.width"); }, "holds no text"},
        {[&] { network.field("render.in").data.at(0).values.as<float>(); }, "values of type byte"},
        {[&] { network.write("a.xyz", Json{"render.out"}); }, "files end in"},
        {[&] { network.prepare({}); }, "before its modules are made"},
        {[&] { network.loop(-1); }, "10,000,000 seconds"},
        {[&] { network.keep_first_picture("a.raw"); }, "written as .png"},
        {[&] { session->parse("{"); }, "network:1:"},
        {[&] { session->load("/nowhere.json"); }, "cannot open"},
        {[&] { Session second; }, "one at a time"},
        {[&] {
             network.listen({.progress = [&](const Progress&) { return network.get("render.out"), true; }}),
                 network.run();
         },
         "not from callbacks"},
    };
    for (const auto& [call, text] : kCases) {
        const std::string error = thrown(call);
        EXPECT_NE(error.find(text), std::string::npos) << error << "\nfor " << text;
    }
    network.listen({});
    EXPECT_TRUE(network.run());  // as it was before
}

TEST_F(SessionTest, DefinitionsAreReadable) {
    const Module& tracer = session->module("ZAMtracer_render_update");
    EXPECT_EQ(tracer.name, "tracer");
    const Parameter& width = *tracer.find("width");
    EXPECT_EQ(width.kind + " " + width.default_json, "int 128");
    EXPECT_EQ(tracer.find("out")->direction, Parameter::Direction::Out);
    ASSERT_TRUE(tracer.find("in")->accepts);
    EXPECT_EQ(tracer.find("in")->accepts->components.at(0).types, std::vector{Type::Byte});
    EXPECT_EQ(tracer.find("inn"), nullptr);
    ASSERT_TRUE(tracer.find("fptr")->range && width.range);
    EXPECT_EQ(tracer.find("fptr")->range->high, 2);
    EXPECT_EQ(width.range->high, std::nullopt);
    EXPECT_EQ(tracer.find("interpolate")->choices.at(1).name, "interpolated");
}

TEST_F(SessionTest, DefaultsMayBeGivenAsTheyAreWritten) {
    Network network = session->network();
    for (const auto& module : session->modules()) {
        network.add(module.name, module.name);
        for (const auto& parameter : module.parameters) {
            if (parameter.default_json.empty()) continue;
            const std::string target = module.name + "." + parameter.name;
            EXPECT_EQ(thrown([&] { network.set(target, Json{parameter.default_json}); }), "") << target;
        }
    }
}

/// Values of every kind come back as they were given.
TEST_F(SessionTest, ValuesGoRound) {
    session.reset();
    session = std::make_unique<Session>("none:" ZAM_TEST_MODULES);
    EXPECT_EQ(session->left_out().size(), 1U);  // "none"
    Network network = session->network();
    network.add("it", "kinds");
    const std::vector<float> floats{1, 2.5F, -3};
    Field mesh;
    mesh.coord = Array::keep(std::vector<float>{0, 0, 1, 0, 0, 1});
    mesh.nspace = 2;
    mesh.cells = {{.name = "Tri", .connect = Array::keep(std::vector<std::int64_t>{0, 1, 2})}};
    mesh.xform = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 5, 6, 7, 1};
    mesh.data = {{.values = Array::keep(floats), .label = "p", .units = "Pa", .id = 7, .null_value = 2.5}};
    mesh.times = {0, 1};
    mesh.steps = {{.coord = mesh.coord, .data = mesh.data}, {.data = mesh.data}};
    network.set("it.int", 5);
    network.set("it.real", 1);
    network.set("it.text", "12");
    network.set("it.texts", std::vector<std::string>{"a", ""});
    network.set("it.floats", Array::lend<float>(floats));
    network.set("it.doubles", Array::lend<float>(floats));  // converted
    network.set("it.field", mesh);
    network.set("it.fields", Value::List{mesh, mesh});
    network.set("it.transform", Json{R"({"scale": 2})"});
    network.set("it.tints", Array::lend<float>(floats));
    network.set("it.object", Value::Group{{"group", Value::Group{{"a", 1}, {"b", mesh}}}});
    network.set("it.bytes", Value());
    EXPECT_TRUE(network.run());
    EXPECT_EQ(network.number("it.int"), 5);
    EXPECT_EQ(network.number("it.real"), 1);
    EXPECT_EQ(network.text("it.text"), "12");
    EXPECT_EQ(*network.get("it.texts").get<std::vector<std::string>>(), (std::vector<std::string>{"a", ""}));
    EXPECT_EQ(network.array("it.floats").data(), floats.data());
    EXPECT_EQ(network.array("it.doubles").as<double>()[1], 2.5);
    EXPECT_EQ(network.array("it.transform.mat").as<float>()[5], 2);
    EXPECT_NE(thrown([&] { network.get("it.bytes"); }).find("leads to nothing"), std::string::npos);
    for (const char* name : {"it.field", "it.fields[1]", "it.object.b"}) {
        const Field field = network.field(name);
        EXPECT_EQ(field.grid, GridType::Unstructured) << name;
        EXPECT_EQ(field.nodes, 3);
        EXPECT_EQ(field.coord.data(), mesh.coord.data());
        EXPECT_EQ(field.xform, mesh.xform);
        ASSERT_EQ(field.cells.size(), 1U);
        EXPECT_EQ(field.cells[0].cells, 1);
        EXPECT_EQ(field.cells[0].connect.data(), mesh.cells[0].connect.data());
        ASSERT_EQ(field.steps.size(), 2U);
        EXPECT_EQ(field.times, mesh.times);
        for (const auto& component : {field.data.at(0), field.steps[1].data.at(0)}) {
            EXPECT_EQ(component.values.data(), mesh.data[0].values.data());
            EXPECT_EQ(component.label + component.units, "pPa");
            EXPECT_EQ(component.id, 7);
            EXPECT_EQ(component.null_value, 2.5);
        }
    }
    EXPECT_EQ(network.json("it.texts"), "[\n  \"a\",\n  \"\"\n]\n");
}

TEST_F(SessionTest, ResultsAndNetworksMayGoOnOtherThreads) {
    auto other = std::make_unique<Network>(renderer());
    Network network = renderer();
    other->run();
    network.run();
    auto held = std::make_unique<Field>(network.field("render.out"));
    network.set("render.fptr", 0.0);
    std::thread dropper;
    network.listen({.progress = [&](const Progress&) {
        if (!dropper.joinable()) dropper = std::thread([&] { other.reset(), held.reset(); });
        return true;
    }});
    EXPECT_TRUE(network.run());
    dropper.join();
    EXPECT_EQ(account().held, 0);
}

TEST_F(SessionTest, CallsWaitForNetworksThatEndOnOtherThreads) {
    Network network = renderer();
    auto other = std::make_unique<Network>(renderer());
    std::atomic<bool> ends = false;
    const auto last_words = [&](const int* /*none*/) {
        ends = true;
        EXPECT_THROW(network.set("render.width", 10), Error);  // would wait for itself
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    };
    other->listen({.written = [held = std::shared_ptr<const int>(nullptr, last_words)](std::string_view) {}});
    std::thread dropper([&] { other.reset(); });
    while (!ends) std::this_thread::yield();
    EXPECT_NO_THROW(network.set("render.width", 20));
    dropper.join();
}

TEST_F(SessionTest, TextHasObjectsThatStandForSeveral) {
    Network network = session->parse(
        R"({"modules": {"cone": {"use": "cone", "params": {"div": 3, "offset": 0, "length": 1}}, "view": {"use": "host_view",
        "params": {"objects": [{"for": {"cone.radius": [1, 2]}, "ref": "cone.out"}]}}}})");
    const std::string as_read = network.text();
    EXPECT_NE(as_read.find("\"for\""), std::string::npos);
    network.set("view.width", 20);
    EXPECT_NE(network.text(), as_read);
    network.set("cone[1].radius", 3);
    EXPECT_TRUE(network.run());
    EXPECT_EQ(network.written("cone[0].radius"), "");
    EXPECT_NE(thrown([&] { network.text(); }).find("cone[1].radius was changed"), std::string::npos);
}

TEST_F(SessionTest, TextHasAllChanges) {
    Network first = session->parse(R"({
        "modules": {"render": {"use": "tracer", "params": {"width": 40, "height": 30,  // a comment
            "in": {"field": {"dims": [2, 2, 2], "node_data": [{"type": "byte", "values": [1, 2, 3, 4, 5, 6, 7, 8]}]}}}}},
        "write": {"out.png": "render.out"}})",
                                   {}, {"render.height=20"});
    const std::string as_read = first.text();
    EXPECT_EQ(first.written("render.height"), "20");
    first.add("again", "tracer");
    first.set("again.color_table", Json{R"({"preset": "bone"})"});
    first.connect("again.in", "render.in");
    first.set("render.fptr", 0.1);
    first.set("render.width", 50);
    EXPECT_EQ(first.written("again.in"), R"({"ref":"render.in"})");
    EXPECT_NE(thrown([&] { first.written("render.widht"); }).find("did you mean"), std::string::npos);

    Network second = session->parse(first.text());
    EXPECT_EQ(second.text(), first.text());
    const Field field = uniform_field({kSide, kSide, kSide}, Array::keep(volume));
    for (auto* network : {&first, &second}) {
        network->set("render.in", field);
        EXPECT_TRUE(network->run());
        EXPECT_NE(thrown([&] { network->text(); }).find("render.in"), std::string::npos);  // no file has it
        for (const auto& state : network->states()) EXPECT_EQ(state.state, ModuleState::State::Ran) << state.name;
    }
    EXPECT_EQ(first.png("again.out"), second.png("again.out"));
    EXPECT_EQ(first.encode("x.png", Json{"\"render.out\""}), second.png("render.out"));

    // what is taken back is as if it had never been given
    for (const char* target : {"render.in", "again.in", "render.fptr"}) second.reset(target);
    EXPECT_EQ(second.states().front().state, ModuleState::State::Waiting);
    EXPECT_FALSE(second.run());
    EXPECT_EQ(second.states().front().state, ModuleState::State::Failed);
    EXPECT_EQ(second.written("render.fptr"), "");
    EXPECT_EQ(second.number("render.fptr"), 1.0);
    second.set("render.in", field);
    EXPECT_TRUE(second.play_event({R"({"set": {"render.width": 33}})"}));
    EXPECT_EQ(second.image("render.out").width, 33);
    EXPECT_EQ(second.written("render.width"), "50");
    EXPECT_EQ(session->parse(as_read).written("render.width"), "40");
}

TEST_F(SessionTest, OutputsAreWrittenAsTheFileSays) {
    const test::ScratchDirectory directory;
    const std::string text =
        R"({"modules": {"it": {"use": "cone", "params": {"div": 9, "offset": 0, "length": 2, "radius": 1}}, "look": {"use": "host_view", "params": {"objects": [{"ref": "it.out"}],
        "width": 20, "height": 10}}}, "events": [{"write": {"first.png": "look.out"}}], "write": {"last.json": "it.out"}})";
    Network network = session->parse(text);
    std::vector<std::string> written;
    network.listen({.written = [&](std::string_view what) { written.emplace_back(what); }});
    EXPECT_TRUE(network.run());
    EXPECT_TRUE(network.play(directory.path()));
    EXPECT_TRUE(network.write(directory.path()));
    EXPECT_TRUE(network.write(directory.file("own.png"), Json{R"({"from": "look.out", "alpha": true})"}));
    EXPECT_EQ(written.size(), 3U);
    EXPECT_EQ(directory.read("first.png"), network.png("look.out"));
    EXPECT_EQ(directory.read("own.png"), network.png("look.out", {.alpha = true}));
    EXPECT_EQ(directory.read("last.json"), network.json("it.out"));
    const Outcome outcome = network.write(directory.file("no.png"), Json{"it.out"});
    EXPECT_FALSE(outcome);
    EXPECT_NE(outcome.errors(), "");

    const auto outputs = network.outputs();
    ASSERT_EQ(outputs.size(), 2U);
    EXPECT_EQ(outputs[0].file + outputs[0].from + outputs[0].kind, "first.pnglook.outpng");
    EXPECT_TRUE(!outputs[0].at_end && outputs[1].at_end);
    ASSERT_TRUE(network.keep_first_picture("only.svg"));
    ASSERT_EQ(network.outputs().size(), 1U);
    EXPECT_EQ(network.outputs()[0].file + network.outputs()[0].kind, "only.svgsvg");
    EXPECT_FALSE(session->parse(R"({"modules": {}})").keep_first_picture("only.svg"));
}

TEST_F(SessionTest, NetworksRunAsPrepared) {
    const test::ScratchDirectory directory;
    Network network = renderer();
    network.prepare({.strict = true, .log = directory.file("log")});
    network.cancel();
    EXPECT_THROW(network.loop(1000), Cancelled);
    network.set("render.in", uniform_field({2, 2}, Array::keep(std::vector<float>(4))));
    EXPECT_NE(network.run().errors().find("ndim is 2, render takes 3"), std::string::npos);
    EXPECT_EQ(directory.read("log"), "");
    network.end();
    network.set("render.in", uniform_field({2, 2, 2}, Array::keep(std::vector<std::uint8_t>(8))));
    network.prepare({.log = directory.file("log"), .fail_allocation = 1});
    const Outcome outcome = network.run();
    EXPECT_FALSE(outcome.good());
    network.end();
    EXPECT_EQ(directory.read("log").find(R"({"event":"update","module":"render","entry":"ZAMtracer_render_update"})"),
              0U);
    network.prepare({});
    EXPECT_TRUE(network.run());  // from the beginning
    EXPECT_EQ(network.field("render.out").dims.at(0), 40);
}

TEST_F(SessionTest, OutputsOfFailuresAreNamed) {
    Network network = session->parse(R"({"modules": {"render": {"use": "tracer"}}, "write": {"a.png": "render.out"}})");
    network.run();
    const Outcome outcome = network.write();
    ASSERT_EQ(outcome.reports.size(), 1U);
    EXPECT_EQ(outcome.reports[0].not_written, "a.png");
    EXPECT_EQ(outcome.reports[0].text, "a.png: not written: render failed");
    try {
        session->parse(R"({"module": {}})");
        ADD_FAILURE();
    } catch (const Invalid& wrong) {
        EXPECT_FALSE(wrong.has_modules());
    }
}

TEST_F(SessionTest, FilesAreReadAndShownAsTheProgramDoes) {
    const test::ScratchDirectory directory;
    const auto view_of = [](View view) {
        EXPECT_TRUE(view.network.run());
        EXPECT_FALSE(view.facts.empty());
        return view.network.image(view.network.modules().back().first + ".out").pixels;
    };
    const std::vector<float> plane{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 8, 7};
    const Field field = uniform_field({4, 3}, Array::lend<float>(plane));
    Network network = session->network();
    network.add("it", "host_view");
    network.set("it.objects", Value::List{field});
    const Outcome dumped = network.write(directory.file("plane.json"), Json{"\"it.objects[0]\""});
    ASSERT_TRUE(dumped) << dumped.errors();
    const std::string text =
        "# AVS field file\nndim=2\ndim1=4\ndim2=3\nnspace=2\nveclen=1\ndata=float\nfield=uniform\n"
        "variable 1 file=values.bin filetype=binary\n";
    directory.write("values.bin", {reinterpret_cast<const char*>(plane.data()), 4 * plane.size()});
    const std::string file = directory.write("plane.fld", text);
    EXPECT_TRUE(std::ranges::equal(session->read(directory.file("plane.json")).data.at(0).values.as<float>(), plane));
    EXPECT_TRUE(std::ranges::equal(session->read(file).data.at(0).values.as<float>(), plane));
    const auto shown = view_of(session->view(field, {.size = {{64, 48}}}));
    EXPECT_EQ(view_of(session->view(directory.file("plane.json"), {.size = {{64, 48}}})), shown);
    EXPECT_EQ(view_of(session->view(file, {.size = {{64, 48}}})), shown);
    EXPECT_NE(thrown([&] { session->view(field, {.preset = "bona"}); }).find("did you mean \"bone\"?"),
              std::string::npos);
    EXPECT_NE(thrown([&] { session->read(file, Json{R"({"step": 1})"}); }).find("only a step"), std::string::npos);
    EXPECT_NE(thrown([&] { session->read(directory.file("values.bin")); }), "");
    const std::string bad = directory.write("bad.fld", "# AVS\nndim=9\n");
    EXPECT_NE(thrown([&] { session->read(bad); }), "");
    std::vector<std::string> heard;
    EXPECT_THROW(session->view(bad, {}, {.report = [&](const Report& report) { heard.push_back(report.module); }}),
                 Reported);
    EXPECT_EQ(heard, std::vector<std::string>{"reader"});
    EXPECT_THROW(session->view(file, {}, {.progress = [](const Progress&) { return false; }}), Cancelled);
}

}  // namespace
}  // namespace zam
