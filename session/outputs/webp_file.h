// Pictures and animations as WebP files, lossless. The only place that knows the library that writes them.
#pragma once

#include <cstdint>
#include <memory>

#include "session/outputs/output_file.h"
#include "session/outputs/picture.h"

namespace zam::session {

/// Collects frames; a single one makes a picture, several an animation that begins again for ever. The frames are kept
/// as they are in the file. Every member throws RunError if it cannot do what it says.
class WebpFrames {
public:
    WebpFrames();
    ~WebpFrames();
    WebpFrames(const WebpFrames&) = delete;
    WebpFrames& operator=(const WebpFrames&) = delete;

    /// Adds a picture as large as the first one, at most 16383 pixels wide and high.
    /// @param milliseconds  when it is to be shown, after that of the frame before
    void add(const Picture& picture, int milliseconds);
    /// @param milliseconds  when the last frame has been shown
    void write(int milliseconds, OutputFile& file);

private:
    struct Encoder;
    std::unique_ptr<Encoder> encoder_;
};

}  // namespace zam::session
