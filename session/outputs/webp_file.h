// Pictures and animations as WebP files, lossless. The only place that knows the library that writes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/outputs/output_file.h"
#include "session/outputs/picture.h"

namespace zam::session {

/// The bytes of a .webp file that shows a picture of at most 16383 pixels wide and high.
/// @throws RunError
std::string encode_webp(const Picture& picture);

/// Puts frames together; a single one makes a picture, several an animation that begins again for ever. Each is encoded
/// by itself and kept as it is in the file, so that the bytes do not depend on who encoded it. Every member throws
/// RunError if it cannot do what it says.
class WebpFrames {
public:
    WebpFrames();
    ~WebpFrames();
    WebpFrames(const WebpFrames&) = delete;
    WebpFrames& operator=(const WebpFrames&) = delete;

    /// Adds a frame as large as the first one.
    /// @param frame         the bytes of a .webp file that is no animation
    /// @param milliseconds  when it is to be shown, after that of the frame before
    void add(std::string frame, int milliseconds);
    /// @param milliseconds  when the last frame has been shown
    void write(int milliseconds, OutputFile& file);

private:
    struct Shown;
    int width_ = 0, height_ = 0;
    std::vector<Shown> frames_;
};

}  // namespace zam::session
