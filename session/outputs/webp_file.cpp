#include "session/outputs/webp_file.h"

#include <string>

#include "session/objects/run_error.h"

#ifdef ZAM_WITH_WEBP
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

std::string size_text(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

}  // namespace

struct WebpFrames::Encoder {
    WebPAnimEncoder* frames = nullptr;
    WebPConfig config{};
    int width = 0, height = 0;

    Encoder() {
        const bool ready = WebPConfigInit(&config) != 0 && WebPConfigLosslessPreset(&config, kEffort) != 0;
        require(ready, "another version of the WebP library was built with");
        config.exact = 1;  // colours of transparent pixels stay
    }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;
    ~Encoder() { WebPAnimEncoderDelete(frames); }

    void start(const Frame& frame) {
        WebPAnimEncoderOptions options;
        require(WebPAnimEncoderOptionsInit(&options) != 0, "another version of the WebP library was built with");
        options.anim_params.loop_count = 0;  // for ever
        width = frame.width;
        height = frame.height;
        frames = WebPAnimEncoderNew(width, height, &options);
        require(frames != nullptr, "memory is exhausted");
    }
};

WebpFrames::WebpFrames() : encoder_(std::make_unique<Encoder>()) {}
WebpFrames::~WebpFrames() = default;

void WebpFrames::add(const Picture& picture, int milliseconds) {
    if (picture.width() > WEBP_MAX_DIMENSION || picture.height() > WEBP_MAX_DIMENSION) {
        throw RunError(".webp files have at most 16383 pixels per side");
    }
    Frame frame;
    fill(picture, frame);
    if (!encoder_->frames) encoder_->start(frame);
    if (frame.width != encoder_->width || frame.height != encoder_->height) {
        throw RunError("a frame has " + size_text(frame.width, frame.height) + " pixels, the first one " +
                       size_text(encoder_->width, encoder_->height));
    }
    if (WebPAnimEncoderAdd(encoder_->frames, &frame, milliseconds, &encoder_->config) == 0) {
        throw RunError(WebPAnimEncoderGetError(encoder_->frames));
    }
}

void WebpFrames::write(int milliseconds, OutputFile& file) {
    require(encoder_->frames != nullptr, "there are no frames");
    Bytes bytes;
    const bool assembled = WebPAnimEncoderAdd(encoder_->frames, nullptr, milliseconds, nullptr) != 0 &&
                           WebPAnimEncoderAssemble(encoder_->frames, &bytes) != 0;
    if (!assembled) throw RunError(WebPAnimEncoderGetError(encoder_->frames));
    file.write(bytes.bytes, bytes.size);
}

}  // namespace zam::session

#else

namespace zam::session {

struct WebpFrames::Encoder {};
WebpFrames::WebpFrames() { throw RunError("this zam was built without libwebp and writes no .webp files"); }
WebpFrames::~WebpFrames() = default;
void WebpFrames::add(const Picture& /*picture*/, int /*milliseconds*/) {}
void WebpFrames::write(int /*milliseconds*/, OutputFile& /*file*/) {}

}  // namespace zam::session

#endif
