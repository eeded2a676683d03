// Writes the wake of a cylinder in a stream, where vortices come off alternately on both sides, in two forms:
//
// street.fld     velocity and vorticity on the plane, 8 time steps over one shedding period, each quantity in a binary
//                file that stays open from step to step
// spacetime.fld  vorticity as bytes, 128 + 127 sign(w) |w D / U / 4|^(1/2) (the root keeps the old vortices visible
//                beside the young ones), with time as the third axis: four periods
//
// Lengths are in cylinder diameters D, velocities in stream speeds U, times in D / U. Reynolds number 120, where the
// measured Strouhal number D / (U T) is 0.17 in an unbounded stream; here, between walls that are nearer, it is 0.187.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <vector>

#include "examples/field_file.h"
#include "examples/vortex_street/lattice.h"

namespace {

using namespace zam::examples;  // NOLINT: one small program

constexpr Channel kChannel{
    .width = 288, .height = 108, .cylinder_x = 48, .cylinder_y = 54.5, .diameter = 12, .speed = 0.1, .reynolds = 120};
constexpr int kSpinUp = 5600;       // steps until the wake repeats itself
constexpr int kStepsPerSlice = 16;  // a period is 642 steps
constexpr int kSlices = 160;
constexpr int kSlicesPerFrame = 5;
constexpr int kFrames = 8;

// The part of the plane that is written: past the inlet, short of the outlet and of the quiet stream above and below.
constexpr int kLeft = 36;
constexpr int kBelow = 12;
constexpr int kColumns = 240;
constexpr int kRows = 84;

constexpr double kTimeUnit = kChannel.diameter / kChannel.speed;

/// One quantity of every frame, as floats in a file of its own.
class FrameFile {
public:
    explicit FrameFile(const std::filesystem::path& path) : path_(path), file_(create_file(path)) {}
    void append(const std::vector<float>& values) { write_values<float>(file_, values); }
    void close() { close_file(file_, path_); }

private:
    std::filesystem::path path_;
    std::ofstream file_;
};

template <class Quantity>
std::vector<float> sample(Quantity quantity) {
    std::vector<float> values;
    values.reserve(static_cast<std::size_t>(kColumns) * kRows);
    for (int y = kBelow; y < kBelow + kRows; ++y) {
        for (int x = kLeft; x < kLeft + kColumns; ++x) values.push_back(static_cast<float>(quantity(x, y)));
    }
    return values;
}

void append_bytes(std::vector<std::uint8_t>& volume, const std::vector<float>& vorticity) {
    for (const float value : vorticity) {
        const float root = std::sqrt(std::min(std::abs(value) / 4, 1.0F));
        volume.push_back(static_cast<std::uint8_t>(std::lround(128 + 127 * std::copysign(root, value))));
    }
}

FieldHeader plane_header(std::vector<int> dims, std::string data_type, std::string comment) {
    const double d = kChannel.diameter;
    return {
        .dims = std::move(dims),
        .nspace = 2,
        .data_type = std::move(data_type),
        .kind = "uniform",
        .label = {},
        .unit = {},
        .min_ext = {(kLeft - kChannel.cylinder_x) / d, (kBelow - kChannel.cylinder_y) / d},
        .max_ext = {(kLeft + kColumns - 1 - kChannel.cylinder_x) / d, (kBelow + kRows - 1 - kChannel.cylinder_y) / d},
        .comment = std::move(comment)};
}

void write_street_header(const std::filesystem::path& path) {
    FieldHeader header = plane_header({kColumns, kRows}, "float", "Wake of a cylinder at Reynolds number 120");
    header.label = {"velocity x", "velocity y", "vorticity"};
    header.unit = {"U", "U", "U/D"};
    std::ofstream file = create_file(path);
    write_header(file, header);
    file << "nstep = " << kFrames << "\nDO\n"
         << "time file = time.bin filetype = binary close = 0\n"
         << "variable 1 file = velocity_x.bin filetype = binary close = 0\n"
         << "variable 2 file = velocity_y.bin filetype = binary close = 0\n"
         << "variable 3 file = vorticity.bin filetype = binary close = 0\n"
         << "EOT\nENDDO\n";
    close_file(file, path);
}

void write_spacetime(const std::filesystem::path& path, const std::vector<std::uint8_t>& volume) {
    FieldHeader header = plane_header({kColumns, kRows, kSlices}, "byte", "Vorticity of a wake, time along z in D / U");
    header.nspace = 3;
    header.label = {"vorticity"};
    header.unit = {"128 + 127 sqrt(w / 4)"};
    header.min_ext.push_back(0);
    header.max_ext.push_back((kSlices - 1) * kStepsPerSlice / kTimeUnit);
    std::ofstream file = create_file(path);
    write_header(file, header);
    end_header(file);
    write_values<std::uint8_t>(file, volume);
    close_file(file, path);
}

void make(const std::filesystem::path& folder) {
    Lattice flow(kChannel);
    for (int step = 0; step < kSpinUp; ++step) flow.step();

    FrameFile time(folder / "time.bin");
    std::array<FrameFile, 2> velocity{FrameFile(folder / "velocity_x.bin"), FrameFile(folder / "velocity_y.bin")};
    FrameFile vorticity(folder / "vorticity.bin");
    std::vector<std::uint8_t> volume;
    for (int slice = 0; slice < kSlices; ++slice) {
        const std::vector<float> curl = sample([&](int x, int y) { return flow.vorticity(x, y) * kTimeUnit; });
        append_bytes(volume, curl);
        if (slice % kSlicesPerFrame == 0 && slice < kFrames * kSlicesPerFrame) {
            time.append({static_cast<float>(slice * kStepsPerSlice / kTimeUnit)});
            for (std::size_t axis = 0; axis < 2; ++axis) {
                velocity[axis].append(sample([&](int x, int y) { return flow.velocity(x, y)[axis] / kChannel.speed; }));
            }
            vorticity.append(curl);
        }
        for (int step = 0; step < kStepsPerSlice; ++step) flow.step();
    }
    time.close();
    for (FrameFile& file : velocity) file.close();
    vorticity.close();
    write_street_header(folder / "street.fld");
    write_spacetime(folder / "spacetime.fld", volume);
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::fputs("usage: make_vortex_street FOLDER\n", stderr);
        return 2;
    }
    make(argv[1]);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "make_vortex_street: %s\n", error.what());
    return 1;
}
