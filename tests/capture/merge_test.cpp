// Merging: known pixels from either source, and captures that are not what they say.
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>

#include "base/lanes_target.h"
#include "base/ranks.h"
#include "modules/support/ranks.h"
#include "modules/zam/MergeImages.h"
#include "modules/zam/capture/depth_merge.h"
#include "tests/capture/capture_fixture.h"

namespace zam::test {
namespace {

using Bytes = std::vector<float>;  // as values() gives them

const Texts kCannotMerge{"Can not merge image in Zbuffer brending.\n"};

/// Ranks that call a module one after the other, the first rank last: it then knows what the others have given.
class RanksInTurn final : public Ranks {
public:
    explicit RanksInTurn(int count) : count_(count), parts_(static_cast<std::size_t>(count)) {}

    template <class Call>
    void each(Call call) {
        zam_use_ranks(this);
        for (rank_ = count_ - 1; rank_ >= 0; --rank_, call_ = 0) call(rank_);
        zam_use_ranks(nullptr);
    }
    int rank() const override { return rank_; }
    int count() const override { return count_; }
    void begin_list() override {}
    std::int64_t take() override { return 0; }
    void maximum(std::span<double> values) override {
        auto& largest = largest_[call_++];
        largest.resize(values.size(), -std::numeric_limits<double>::infinity());
        for (std::size_t i = 0; i < values.size(); ++i) values[i] = largest[i] = std::max(largest[i], values[i]);
    }
    void merge_nearest(std::span<std::uint8_t> /*colors*/, std::span<float> /*depths*/) override {}
    void gather(std::span<const std::byte> part, std::span<std::byte> whole, std::size_t element) override {
        parts_[static_cast<std::size_t>(rank_)].assign(part.begin(), part.end());
        std::size_t at = 0;
        for (int rank = 0; rank < count_ && rank_ == 0; ++rank) {
            const auto& rows = parts_[static_cast<std::size_t>(rank)];
            const Share share = share_of(static_cast<std::int64_t>(whole.size() / element), rank, count_);
            ASSERT_EQ(rows.size(), element * static_cast<std::size_t>(share.last - share.first));
            std::copy(rows.begin(), rows.end(), whole.begin() + static_cast<std::ptrdiff_t>(at));
            at += rows.size();
        }
    }
    std::shared_ptr<const std::byte> hold_once(std::size_t /*bytes*/,
                                               const std::function<void(std::span<std::byte>)>& /*fill*/) override {
        return nullptr;
    }

private:
    int count_, rank_ = 0;
    std::size_t call_ = 0;  // of maximum(), by this rank
    std::map<std::size_t, std::vector<double>> largest_;
    std::vector<std::vector<std::byte>> parts_;
};

class Merge : public CaptureTest {
protected:
    void SetUp() override {
        CaptureTest::SetUp();
        set_text("currDir", scratch.path());
        set_int("end_flag", 0);
        set_background({1.0F, 0.5F, 0});
        host::create(instance, "out_fld", host::Kind::field);
    }
    void set_background(const std::vector<float>& color) const {
        const OMobj_id array = host::create(instance, "backCol", host::Kind::array);
        host::set_values(array, DTYPE_FLOAT, color.data(), static_cast<xp_long>(color.size()));
    }
    /// Puts the captures where the mode finds them.
    void give(int mode, xp_long width, xp_long height, const std::vector<DepthImage>& captures) const {
        const int count = static_cast<int>(captures.size());
        char text[16];
        std::snprintf(text, sizeof text, "%05d%05d", static_cast<int>(width), static_cast<int>(height));
        if (mode == 1) make_list("rc", count);
        for (int i = 0; i < count; ++i) {
            const auto& image = captures[static_cast<std::size_t>(i)];
            if (mode == 1) fill_image(element("rc", i), width, height, image);
            if (mode == 0) scratch.write(image_name(i), file_bytes(text, image));
        }
        set_int("saveMode", mode);
        set_int("currCount", count);
        set_int("num", mode == 1 ? count : -1);
    }
    static std::string image_name(int i) { return "pceimg0000" + std::to_string(i) + ".img"; }
    void update() const { EXPECT_EQ(MergeImagesUpdate(instance, 0, 0), 1); }
    OMobj_id out() const { return host::find(instance, "out_fld"); }
    Bytes merged() const { return values(out(), 0); }

    /// The update fails with that message, and leaves what was there.
    void expect_failure(const std::string& what, const Texts& expected = kCannotMerge) {
        SCOPED_TRACE(what);
        const Bytes before = merged();
        set_int("end_flag", 0);
        update();
        EXPECT_EQ(take_reports(), expected);
        EXPECT_EQ(report_call, "ERRerror 'MergeImages' 2");
        EXPECT_EQ(take_statuses().back(), "<idle> 100");
        EXPECT_EQ(get("end_flag"), 0);
        EXPECT_EQ(merged(), before);
    }
};

TEST_F(Merge, KeepsTheLargestDepthAndTheFirstOfEquals) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInf = std::numeric_limits<float>::infinity();
    const float above = std::nextafter(1e-6F, 1.0F);       // the smallest that is greater than 1e-6
    const auto fourfold = [](std::vector<float> depths) {  // all lanes of every width, and a rest
        for (std::size_t k = 0, rest = 3 * depths.size(); k < rest; ++k) depths.push_back(depths[k]);
        return depths;
    };
    const std::vector<DepthImage> captures{
        one_color({255, 1, 2, 3}, fourfold({0.4F, 0.5F, 0, 1e-6F, above, kNan, 0.1F, kInf, -kInf, 0.5F})),
        one_color({255, 4, 5, 6}, fourfold({0.7F, 0.5F, -1, 0, 0, -0.5F, kNan, 1, above, 0.5F})),
    };
    const int winners[] = {2, 1, 0, 0, 1, 0, 1, 1, 2, 1};
    const Bytes colors[] = {{0, 255, 127, 0}, {0, 1, 2, 3}, {0, 4, 5, 6}};
    Bytes expected;
    for (int pixel = 0; pixel < 40; ++pixel) {
        const Bytes& color = colors[winners[pixel % 10]];
        expected.insert(expected.end(), color.begin(), color.end());
    }
    for (const std::int64_t target : lanes_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        lanes_target().Update(target);
        set_int("end_flag", 0);
        give(1, 2, 20, captures);
        update();
        EXPECT_EQ(merged(), expected);
    }
    lanes_target().DeInit();
    take_statuses();
    for (const int mode : {0, 1}) {
        give(mode, 2, 20, captures);
        set_int("end_flag", 0);
        update();
        EXPECT_EQ(merged(), expected);
        EXPECT_EQ(get("end_flag"), 1);
        EXPECT_EQ(take_statuses(), (Texts{"MergeImages 0", "MergeImages 0", "MergeImages 50", "<idle> 100"}));
    }
    EXPECT_EQ(reports, Texts());
    expect_image(out(), 2, 20);
    EXPECT_EQ(bytes(out(), DTYPE_BYTE).size(), 160U);
}

TEST_F(Merge, GoesThroughBlocksAndGroups) {
    constexpr int kWidth = 151;
    constexpr int kHeight = 221;           // two blocks and a bit, which is no whole number of lanes
    std::vector<DepthImage> captures(10);  // a group and a bit; each is the nearest at every tenth pixel or so
    Bytes expected;
    for (int pixel = 0; pixel < kWidth * kHeight; ++pixel) {
        const bool empty = pixel % 11 == 0;
        for (int i = 0; i < 10; ++i) {
            const int rank = (7 * pixel + 3 * i) % 10;
            const float color[] = {0, static_cast<float>(pixel % 256), static_cast<float>(pixel / 256),
                                   static_cast<float>(i)};
            auto& [colors, depths] = captures[static_cast<std::size_t>(i)];
            depths.push_back(empty ? 0.0F : static_cast<float>(rank) / 10);
            for (const float byte : color) colors.push_back(static_cast<std::uint8_t>(byte));
            if (rank == 9 && !empty) expected.insert(expected.end(), std::begin(color), std::end(color));
        }
        if (empty) expected.insert(expected.end(), {0, 255, 127, 0});
    }
    for (const int mode : {0, 1}) {
        give(mode, kWidth, kHeight, captures);
        update();
        EXPECT_TRUE(merged() == expected) << mode;
        expect_image(out(), kWidth, kHeight);
        for (const int count : {1, 2, 3, 7, 230}) {  // also more ranks than rows
            take_away("out_fld");
            host::create(instance, "out_fld", host::Kind::field);
            RanksInTurn(count).each([&](int rank) {
                set_int("end_flag", 0);
                update();
                EXPECT_EQ(get("end_flag"), rank == 0 ? 1 : 0) << rank;
            });
            EXPECT_TRUE(merged() == expected) << mode << " " << count;
        }
    }
    // another size into the same output
    give(1, 1, 1, {one_color({1, 2, 3, 4}, {1})});
    update();
    EXPECT_EQ(merged(), (Bytes{0, 2, 3, 4}));
    expect_image(out(), 1, 1);
    EXPECT_EQ(reports, Texts());
}

TEST_F(Merge, BackgroundIsClampedAndCut) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(background_bytes(std::vector<float>{1.0F, 0.5F, 0}), (Background{255, 127, 0}));
    EXPECT_EQ(background_bytes(std::vector<float>{-1e30F, 1e30F, kNan}), (Background{0, 255, 0}));
    EXPECT_EQ(background_bytes(std::vector<float>{0.999F}), (Background{254, 0, 0}));
    EXPECT_EQ(background_bytes(std::vector<float>{0, 0, 1, 1, 1}), (Background{0, 0, 255}));
}

TEST_F(Merge, NeedsItsParameters) {
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"a count below 0", [&] { set_int("currCount", -1); }},
        {"more than there are files", [&] { set_int("currCount", 2); }},
        {"an unknown mode", [&] { set_int("saveMode", 2); }},
        {"an empty directory name", [&] { set_text("currDir", ""); }},
        {"more than there are fields", [&] { set_int("saveMode", 1); }},
    };
    for (const auto& [what, spoil] : cases) {
        set_text("currDir", scratch.path());
        give(1, 2, 1, {one_color({1, 2, 3, 4}, {1, 1})});
        give(0, 1, 1, {one_color({5, 6, 7, 8}, {1})});
        set_int("num", 2);
        spoil();
        expect_failure(what);
    }
    set_int("num", 1);
    host::set_values(host::find(instance, "backCol"), DTYPE_INT, std::vector<int>(3).data(), 3);
    expect_failure("an integer background", {"Can not get background color."});
    set_background({});
    take_away("saveMode");  // then from memory
    update();
    EXPECT_EQ(get("end_flag"), 1);
    take_statuses();
    set_int("currCount", 0);
    update();
    EXPECT_EQ(take_statuses(), Texts{"<idle> 100"});
    EXPECT_EQ(reports, Texts());
}

TEST_F(Merge, RefusesFieldsThatAreNoCaptures) {
    const DepthImage image = one_color({1, 2, 3, 4}, {1, 1, 1});
    give(1, 1, 3, {image, image});
    update();
    for (const int index : {0, 1}) {
        for (const Defect& defect : kDefects) {
            defect.spoil(element("rc", index));
            expect_failure(defect.name);
            fill_image(element("rc", index), 1, 3, image);
        }
    }
    fill_image(element("rc", 1), 3, 1, image);
    expect_failure("the same number of pixels in another shape");
}

TEST_F(Merge, RefusesFilesThatAreNoCaptures) {
    const DepthImage image = one_color({1, 2, 3, 4}, {1, 1, 1, 1, 1, 1});
    give(0, 3, 2, {image, image});
    update();
    const std::string good = file_bytes("0000300002", image);
    const auto with_text = [&](const std::string& text) { return file_bytes(text, image); };
    Texts cases{"", good.substr(0, 9), good.substr(0, 10), good.substr(0, good.size() - 1)};
    for (const char* text : {"9999999999", "abcdefghij", "          ", "-000300002", "0000300000", "0x00300002"})
        cases.push_back(with_text(text));
    for (const int index : {0, 1}) {
        for (const auto& bytes : cases) {
            const auto allocations = host::account().allocations;
            scratch.write(image_name(index), bytes);
            expect_failure(bytes.substr(0, 10));
            EXPECT_EQ(host::account().allocations, allocations) << bytes;  // whatever the size, it was not believed
        }
        fs::remove(directory / image_name(index));
        expect_failure("no file");
        fs::create_directory(directory / image_name(index));
        expect_failure("a directory");
        fs::remove(directory / image_name(index));
        scratch.write(image_name(index), good);
    }
    scratch.write(image_name(1), file_bytes("0000200003", image));
    expect_failure("the same number of pixels in another shape");

    const std::string other_shape = file_bytes("0000200003", image);
    for (const std::string& bytes : {good.substr(0, 9), good.substr(0, good.size() - 1), other_shape}) {
        for (const int spoiled : {0, 1, 2}) {  // one rank has other files than the rest: all give up
            RanksInTurn(3).each([&](int rank) {
                for (const int index : {0, 1}) scratch.write(image_name(index), rank == spoiled ? bytes : good);
                take_reports();
                rank == 0 ? expect_failure("ranks") : update();
            });
        }
    }
    scratch.write(image_name(0), good);
    scratch.write(image_name(1), good);

    // numbers are read as far as they go, and what follows the depths does not count
    for (const char* text : {"    3    2", "+0003 2   ", "3xyz.2e3  "}) {
        scratch.write(image_name(0), with_text(text) + "more");
        scratch.write(image_name(1), good);
        set_int("end_flag", 0);
        update();
        EXPECT_EQ(get("end_flag"), 1) << text;
    }
    EXPECT_EQ(reports, Texts());
}

}  // namespace
}  // namespace zam::test
