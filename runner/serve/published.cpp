#include "runner/serve/published.h"

#include <cmath>

namespace zam::runner {

Text Published::state() const {
    const std::scoped_lock lock(mutex_);
    return state_;
}

Text Published::picture(const std::string& output, std::uint64_t version) const {
    const std::scoped_lock lock(mutex_);
    if (!shows(output)) return nullptr;
    return older_picture_ && older_picture_->first == version ? older_picture_->second : shown_->picture;
}

Text Published::drawing(const std::string& output) const {
    const std::scoped_lock lock(mutex_);
    return shows(output) ? shown_->drawing : nullptr;
}

Json Published::value(const std::string& output, double x, double y) const {
    constexpr double kFar = 1.0e6;
    const std::scoped_lock lock(mutex_);
    if (!shows(output) || !(std::fabs(x) < kFar) || !(std::fabs(y) < kFar)) return {{"text", ""}};
    const int column = static_cast<int>(std::floor(x));
    const int row = static_cast<int>(std::floor(y));
    return {{"text", value_at(*shown_, column, row)}, {"pixel", {column, row}}};
}

Json Published::layout(const std::string& output) const {
    Json layout = Json::object();
    const std::scoped_lock lock(mutex_);
    if (!shows(output)) return layout;
    layout = {{"width", shown_->full_size.width}, {"height", shown_->full_size.height}};
    if (shown_->inside) layout["inside"] = *shown_->inside;
    return layout;
}

void Published::set_state(Text state) {
    const std::scoped_lock lock(mutex_);
    state_ = std::move(state);
}

Json Published::show(ShownOutput shown, double milliseconds) {
    const std::scoped_lock lock(mutex_);
    older_picture_.reset();
    if (shows(shown.name)) {
        older_picture_ = {shown_->version, shown_->picture};
        if (!shown.full) {  // the latest drawing stays where it is, beneath the preview
            shown.drawing = shown_->drawing;
            shown.inside = shown_->inside;
        }
    }
    Json event{{"output", shown.name},      {"version", shown.version},    {"full", shown.full},
               {"width", shown.size.width}, {"height", shown.size.height}, {"milliseconds", milliseconds}};
    if (shown.inside) event["inside"] = *shown.inside;
    shown_ = std::move(shown);
    return event;
}

void Published::clear() {
    const std::scoped_lock lock(mutex_);
    shown_.reset();
    older_picture_.reset();
}

}  // namespace zam::runner
