#include "embedded/operation.h"

#include <algorithm>

#include "embedded/host_state.h"

namespace zam::host {

CallSwitch& call_switch() { return state().call_switch; }

void CallSwitch::set(std::string_view operation, std::int64_t n) {
    operation_ = operation;
    left_ = std::max<std::int64_t>(n, 0);
    struck_ = false;
}

bool CallSwitch::strikes(std::string_view operation, bool has_status) {
    if (left_ == 0) return false;
    if (operation_.empty() ? !has_status : operation_ != operation) return false;
    struck_ = --left_ == 0;
    return struck_;
}

bool give_text(char* buffer, int size, std::string_view text) {
    if (!buffer || size < 1) return false;
    const std::size_t length = std::min(text.size(), static_cast<std::size_t>(size) - 1);
    std::copy_n(text.data(), length, buffer);
    buffer[length] = '\0';
    return true;
}

}  // namespace zam::host
