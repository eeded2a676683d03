#include "session/run/call_log.h"

#include <nlohmann/json.hpp>

namespace zam::session {

using Json = nlohmann::ordered_json;

bool CallLog::open(const std::string& file) {
    file_.reset(std::fopen(file.c_str(), "wb"));
    return file_ != nullptr;
}

template <class Line>
void CallLog::line(const Line& json) {
    const std::string text = json.dump(-1, ' ', false, Line::error_handler_t::replace) + "\n";
    const bool written = std::fwrite(text.data(), 1, text.size(), file_.get()) == text.size();
    good_ = written && std::fflush(file_.get()) == 0 && good_;
}

void CallLog::update(const std::string& module, const std::string& entry) {
    if (!file_) return;
    line(Json{{"event", "update"}, {"module", module}, {"entry", entry}});
}

void CallLog::result(const std::string& module, const std::string& entry, int result) {
    if (!file_) return;
    line(Json{{"event", "result"}, {"module", module}, {"entry", entry}, {"result", result}});
}

void CallLog::record(const host::Record& record) {
    if (!file_) return;
    if (record.what == host::Record::What::report) {
        line(Json{{"event", "report"},
                  {"module", record.module},
                  {"call", record.call},
                  {"label", record.label},
                  {"flags", record.flags},
                  {"text", record.text}});
    } else {
        line(Json{{"event", "status"},
                  {"module", record.module},
                  {"percent", record.percent},
                  {"text", record.has_text ? Json(record.text) : Json()},
                  {"range", {record.range_low, record.range_high}}});
    }
}

}  // namespace zam::session
