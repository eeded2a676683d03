// Numbers in text and bytes into values, below the module.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <random>
#include <sstream>

#include "contract/types.h"
#include "modules/support/common_decimal.h"
#include "modules/zam/ld_rdfld/ascii_values.h"
#include "modules/zam/ld_rdfld/crop.h"
#include "modules/zam/ld_rdfld/value_reader.h"
#include "reader_fixture.h"
#include "tests/header/header_text.h"
#include "tests/support/text_cases.h"

namespace zam::ldrf {
namespace {

/// A cursor over a file's words, and what it borrows.
struct Words {
    explicit Words(const std::string& text) : file(test::make_file(text)) { bytes.attach(file.get()); }

    FileHandle file;
    FileBytes bytes;
    AsciiCursor cursor{bytes};
};

auto rows_of(const char* table) { return zam::test::load_rows(ZAM_TEST_DATA "/values.test", table); }

TEST(AsciiNumbers, AreReadOrRefusedWhole) {
    const auto read_as = [](const std::string& number, auto value, const std::string& expected) {
        Words words("skipped\n \t" + number + "\n");
        ASSERT_EQ(words.cursor.skip_lines(1), 1);
        ASSERT_EQ(words.cursor.read(value), expected != "none") << number;
        if (expected != "none") {
            EXPECT_DOUBLE_EQ(static_cast<double>(value), std::stod(expected)) << number;
        }
    };
    auto rows = rows_of("numbers");
    rows.emplace_back(std::string(1021, '0') + "1D0", "1 1");  // words of 1024 characters are numbers, longer ones not
    rows.emplace_back(std::string(1022, '0') + "1D0", "none none");
    rows.emplace_back(std::string(1024, '0'), "0 0");
    rows.emplace_back(std::string(1025, '0'), "none none");
    for (const auto& [number, expected] : rows) {
        const std::size_t blank = expected.find(' ');
        read_as(number, double{}, expected.substr(0, blank));
        read_as(number, std::int32_t{}, expected.substr(blank + 1));
    }
}

/// Numbers with 1 to 19 digits, of all magnitudes and about half way between two floats.
std::string random_number(std::mt19937_64& random) {
    const auto bits = random();
    auto real = std::bit_cast<double>(bits);
    if (bits % 4 != 0) {
        real = std::ldexp(static_cast<double>((random() >> 40) * 2 + 1), static_cast<int>(bits % 64) - 20);
        for (auto steps = bits >> 32 & 7; steps > 2; --steps) real = std::nextafter(real, 0.0);
    }
    std::array<char, 400> text{};
    const auto digits = static_cast<int>(bits >> 50 & 15) + static_cast<int>(bits >> 40 & 3);
    std::snprintf(text.data(), text.size(), bits & 64 ? "%.*g" : "%.*e", digits, real);
    return text.data();
}

template <class Real>
void expect_as_from_chars(const std::string& text) {
    Real value{};
    const char* const end = read_common_decimal(text.data(), text.data() + text.size(), value);
    if (end == nullptr) return;
    Real expected{};
    EXPECT_EQ(std::from_chars(text.data(), text.data() + text.size(), expected).ptr, end) << text;
    EXPECT_EQ(value, expected) << text;
}

TEST(AsciiNumbers, CommonOnesHaveTheBitsOfFromChars) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 100000; ++i) {
        const std::string text = random_number(random);
        expect_as_from_chars<float>(text);
        expect_as_from_chars<double>(text);
    }
}

TEST(AsciiNumbers, BytesTakeTheLowByte) {
    Words words("300 -1 255.9");
    std::uint8_t value = 0;
    for (const int expected : {44, 255, 255}) {
        ASSERT_TRUE(words.cursor.read(value));
        EXPECT_EQ(value, expected);
    }
}

TEST(AsciiNumbers, WordsAndBlanksAcrossBlocks) {
    // words lie across the ends of the reading blocks, one of them longer than any number and than a block
    std::string text;
    for (int i = 0; i < 60000; ++i) text += std::to_string(i) + (i % 3 == 0 ? "\r\n" : "\f  ");
    text += std::string(600000, 'x') + std::string(600000, ' ') + "17";
    Words words(text);
    AsciiCursor& cursor = words.cursor;
    int value = -1;
    for (int i = 0; i < 60000; ++i) {
        ASSERT_TRUE(cursor.read(value));
        ASSERT_EQ(value, i);
    }
    EXPECT_FALSE(cursor.read(value));
    ASSERT_EQ(cursor.skip_words(1), 1);
    ASSERT_TRUE(cursor.read(value));
    EXPECT_EQ(value, 17);
    EXPECT_EQ(cursor.position(), static_cast<xp_long>(text.size()));
    EXPECT_EQ(cursor.skip_words(1), 0);
}

/// `count` nodes, of which every `keep`-th is kept.
KeptNodes line(xp_long count, xp_long keep = 1) {
    KeptNodes kept;
    kept.ndim = 1;
    kept.axis[0] = {.full = count, .factor = static_cast<double>(keep), .count = (count - 1) / keep + 1};
    kept.full_nodes = count;
    kept.nodes = kept.axis[0].count;
    return kept;
}

TEST(Decoding, TypesThatCannotBeDecodedSaySo) {
    const FileHandle file = test::make_file("12345678");
    std::byte value[8];
    const auto read = [&](const Encoding& encoding, const KeptNodes& kept) {
        ValueReader reader;
        reader.attach(file.get());
        reader.begin({}, encoding);
        return reader.read(kept, value);
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ(read({DTYPE_CHAR, true, false}, line(1))->kind, Fault::not_decoded);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field2: LDRFread_stuff_all: unknown dtype\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(read({7, false, false}, line(2, 2))->kind, Fault::not_decoded);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field3: read_stuff2: unknown dtype\n");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(read({DTYPE_BYTE, false, true}, line(1)));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "rf_read_field: can't swap bytes\n");
    EXPECT_EQ(value[0], std::byte{'1'});
}

TEST(Decoding, NegativeLongsOfFourBytes) {
    std::string wire("\xff\xff\xff\xfe\x00\x00\x00\x07", 8);
    xp_long values[2] = {};
    ASSERT_TRUE(decode_values(reinterpret_cast<std::byte*>(wire.data()), {DTYPE_LONG, true, false},
                              reinterpret_cast<std::byte*>(values), 2));
    EXPECT_EQ(values[0], -2);
    EXPECT_EQ(values[1], 7);
}

TEST(Decoding, ShortReadSaysHowMuchWasThere) {
    for (const auto& [given, expected] : rows_of("short_reads")) {
        std::istringstream in(given);
        std::size_t size = 0;
        std::string order;
        xp_long nodes = 0, keep = 0, stride = 0;
        in >> size >> order >> nodes >> keep >> stride;
        const FileHandle file = test::make_file(std::string(size, 'x'));
        ValueReader reader;
        reader.attach(file.get());
        reader.begin({.stride = stride}, {DTYPE_INT, false, order == "swapped"});
        std::byte values[64];
        const auto fault = reader.read(line(nodes, keep), values);
        ASSERT_TRUE(fault) << given;
        EXPECT_EQ(fault->kind, Fault::short_read) << given;
        EXPECT_EQ(std::to_string(fault->asked) + " " + std::to_string(fault->got), expected) << given;
    }
}

TEST(CropRange, BoxesAndFactorsAreBroughtIntoRange) {
    for (const auto& [given, expected] : rows_of("crops")) {
        std::istringstream in(given);
        HeaderModel header;
        std::string min, max, factor;
        in >> header.dims.emplace_back() >> min >> max >> factor;
        header.ndim = 1;
        if (min != "-") header.crop_min[0] = std::stoi(min);
        if (max != "-") header.crop_max[0] = std::stoi(max);
        if (factor != "-") header.downsize[0] = std::stof(factor);
        CropSettings crop = CropSettings::from_header(header);
        EXPECT_EQ(crop.insists(1), min == "-3") << given;  // the row with values below 0
        crop.normalise(1, header.dims);
        EXPECT_EQ(crop.end[0], header.dims[0]) << given;
        KeptNodes kept;
        ASSERT_TRUE(select_nodes(header, crop, kept)) << given;
        std::vector<xp_long> nodes;
        for (xp_long i = 0; i < kept.axis[0].count; ++i) nodes.push_back(kept.axis[0].node(i));
        EXPECT_EQ(std::to_string(crop.min[0]) + " " + std::to_string(crop.max[0]) + ": " + zam::test::joined(nodes),
                  expected)
            << given;
    }
}

}  // namespace
}  // namespace zam::ldrf
