#include "session/outputs/webp_file.h"

#include <memory>
#include <utility>

#include "session/objects/run_error.h"

#ifdef ZAM_WITH_WEBP
#include <webp/decode.h>
#include <webp/encode.h>
#include <webp/mux.h>

namespace zam::session {
namespace {

constexpr int kEffort = 4;  // of 0 to 9: beyond it files hardly get smaller

struct Frame : WebPPicture {
    Frame() { require(WebPPictureInit(this) != 0, "another version of the WebP library was built with"); }
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;
    ~Frame() { WebPPictureFree(this); }
};

struct Bytes : WebPData {
    Bytes() { WebPDataInit(this); }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes() { WebPDataClear(this); }
};

struct FreeMux {
    void operator()(WebPMux* mux) const { WebPMuxDelete(mux); }
};
using Mux = std::unique_ptr<WebPMux, FreeMux>;

void fill(const Picture& picture, Frame& frame) {
    frame.use_argb = 1;
    frame.width = static_cast<int>(picture.width());
    frame.height = static_cast<int>(picture.height());
    require(WebPPictureAlloc(&frame) != 0, "memory is exhausted");
    const std::size_t step = picture.has_alpha() ? 4 : 3;
    std::vector<std::uint8_t> row;
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        picture.row(y, row);
        std::uint32_t* pixel = frame.argb + static_cast<std::ptrdiff_t>(y) * frame.argb_stride;
        for (std::size_t i = 0; i < row.size(); i += step) {
            const std::uint32_t alpha = picture.has_alpha() ? row[i + 3] : 255U;
            *pixel++ = alpha << 24 | std::uint32_t{row[i]} << 16 | std::uint32_t{row[i + 1]} << 8 | row[i + 2];
        }
    }
}

WebPConfig lossless() {
    WebPConfig config;
    const bool ready = WebPConfigInit(&config) != 0 && WebPConfigLosslessPreset(&config, kEffort) != 0;
    require(ready, "another version of the WebP library was built with");
    config.exact = 1;  // colours of transparent pixels stay
    return config;
}

/// For the library: takes encoded bytes.
int append(const std::uint8_t* data, std::size_t size, const WebPPicture* picture) {
    static_cast<std::string*>(picture->custom_ptr)->append(reinterpret_cast<const char*>(data), size);
    return 1;
}

const std::uint8_t* bytes_of(const std::string& text) { return reinterpret_cast<const std::uint8_t*>(text.data()); }

/// A frame that takes the place of the whole picture. @param bytes  borrowed
WebPMuxFrameInfo frame_info(const std::string& bytes, int milliseconds) {
    WebPMuxFrameInfo frame{};
    frame.bitstream = {bytes_of(bytes), bytes.size()};
    frame.duration = milliseconds;
    frame.id = WEBP_CHUNK_ANMF;
    frame.dispose_method = WEBP_MUX_DISPOSE_NONE;
    frame.blend_method = WEBP_MUX_NO_BLEND;
    return frame;
}

std::string size_text(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

}  // namespace

std::string encode_webp(const Picture& picture) {
    if (picture.width() > WEBP_MAX_DIMENSION || picture.height() > WEBP_MAX_DIMENSION) {
        throw RunError(".webp files have at most 16383 pixels per side");
    }
    const WebPConfig config = lossless();
    Frame frame;
    fill(picture, frame);
    std::string bytes;
    frame.writer = append;
    frame.custom_ptr = &bytes;
    require(WebPEncode(&config, &frame) != 0, "the picture cannot be encoded as .webp");
    return bytes;
}

struct WebpFrames::Shown {
    std::string bytes;
    int milliseconds = 0;  // when it is shown
};

WebpFrames::WebpFrames() = default;
WebpFrames::~WebpFrames() = default;

void WebpFrames::add(std::string frame, int milliseconds) {
    WebPBitstreamFeatures features;
    const auto status = WebPGetFeatures(bytes_of(frame), frame.size(), &features);
    if (status != VP8_STATUS_OK || features.has_animation != 0) throw RunError("a frame is no .webp picture");
    if (frames_.empty()) {
        width_ = features.width;
        height_ = features.height;
    }
    if (features.width != width_ || features.height != height_) {
        throw RunError("a frame has " + size_text(features.width, features.height) + " pixels, the first one " +
                       size_text(width_, height_));
    }
    frames_.push_back({std::move(frame), milliseconds});
}

void WebpFrames::write(int milliseconds, OutputFile& file) {
    require(!frames_.empty(), "there are no frames");
    if (frames_.size() == 1) return file.write(frames_.front().bytes);
    const Mux mux(WebPMuxNew());
    const WebPMuxAnimParams params{.bgcolor = 0, .loop_count = 0};  // for ever
    require(mux && WebPMuxSetAnimationParams(mux.get(), &params) == WEBP_MUX_OK, "memory is exhausted");
    for (std::size_t i = 0; i < frames_.size(); ++i) {
        const int end = i + 1 < frames_.size() ? frames_[i + 1].milliseconds : milliseconds;
        const auto frame = frame_info(frames_[i].bytes, end - frames_[i].milliseconds);
        require(WebPMuxPushFrame(mux.get(), &frame, 0) == WEBP_MUX_OK, "a frame does not fit into the animation");
    }
    Bytes bytes;
    require(WebPMuxAssemble(mux.get(), &bytes) == WEBP_MUX_OK, "the animation is too large for a .webp file");
    file.write(bytes.bytes, bytes.size);
}

}  // namespace zam::session

#else

namespace zam::session {

std::string encode_webp(const Picture& /*picture*/) {
    throw RunError("this zam was built without libwebp and writes no .webp files");
}

struct WebpFrames::Shown {};
WebpFrames::WebpFrames() { throw RunError("this zam was built without libwebp and writes no .webp files"); }
WebpFrames::~WebpFrames() = default;
void WebpFrames::add(std::string /*frame*/, int /*milliseconds*/) {}
void WebpFrames::write(int /*milliseconds*/, OutputFile& /*file*/) {}

}  // namespace zam::session

#endif
