// How large a picture may be that has to be there at once.
#pragma once

namespace zam::runner {

struct Size {
    int width = 0, height = 0;

    double pixels() const { return static_cast<double>(width) * height; }
    bool operator==(const Size&) const = default;
};

/// Learns from runs how long a picture takes: so much per pixel, and so much whatever its size.
class Preview {
public:
    static constexpr double kBudget = 32.0;  // milliseconds for run and encoding, of the 50 that an answer may take

    /// A run has made a picture.
    /// @param fixed     milliseconds of what does not depend on the picture's size
    /// @param of_pixels  milliseconds of what does
    void measured(const Size& size, double fixed, double of_pixels);
    /// The size for the next picture: of the proportions of `full` and no larger.
    Size choose(const Size& full) const;

private:
    double per_pixel_ = 0.0;  // milliseconds; 0: not known
    double fixed_ = 0.0;
};

}  // namespace zam::runner
