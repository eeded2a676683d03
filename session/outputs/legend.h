// What an image shows, read from the parameters of the module that made it: the meaning of its colours, its plane.
#pragma once

#include <optional>

#include "contract/types.h"
#include "session/network/network.h"
#include "session/outputs/page.h"

namespace zam::session {

/// The instance and parameter that an image belongs to; null pointers where it belongs to none.
struct ImageHolder {
    const Instance* instance = nullptr;
    const Parameter* parameter = nullptr;
    OMobj_id object{};  // of the instance
    const Network* network = nullptr;
};
ImageHolder holder_of(OMobj_id image, const Network& network);

/// What the image's colours mean now; `nullopt` if nothing says so, or it has colours that mean no values.
std::optional<Legend> read_legend(const ImageHolder& holder);

/// The plane that the image shows now; `nullopt` if it shows none.
/// @param origin  where its first row belongs
std::optional<PlaneAxes> read_axes(const ImageHolder& holder, OMobj_id image, ImageOrigin origin);

}  // namespace zam::session
