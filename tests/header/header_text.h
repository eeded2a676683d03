// A header as a file, and the model that results as text.
#pragma once

#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/file_handle.h"
#include "embedded/host.h"
#include "modules/zam/ld_rdfld/header_model.h"

namespace zam::ldrf::test {

inline FileHandle make_file(std::string_view contents) {
    FileHandle file(std::tmpfile());
    std::fwrite(contents.data(), 1, contents.size(), file.get());
    std::rewind(file.get());
    return file;
}

/// Collects what is reported while it lives.
class Reports {
public:
    Reports() {
        host::set_recorder([this](const host::Record& record) { records.push_back(record); });
    }
    ~Reports() { host::set_recorder(nullptr); }
    Reports(const Reports&) = delete;
    Reports& operator=(const Reports&) = delete;

    std::vector<host::Record> records;
};

template <class Values>
void dump_list(std::ostream& out, const char* name, const Values& values) {
    const char* separator = name;
    for (const auto& value : values) {
        out << separator << value;
        separator = ",";
    }
}

template <class Values>
void dump_axes(std::ostream& out, const char* name, const Values& values, typename Values::value_type not_set) {
    if (values == Values{not_set, not_set, not_set}) return;
    const char* separator = name;
    for (const auto value : values) {
        out << separator;
        value == not_set ? out << '-' : out << value;
        separator = ",";
    }
}

inline void dump_texts(std::ostream& out, const char* name, int count, const std::vector<std::string>& texts) {
    out << name << count << ':';
    for (const auto& text : texts) out << (&text == texts.data() ? "" : "|") << text;
}

inline void dump_source(std::ostream& out, const Source& source) {
    out << '(' << (source.named ? source.file : "-") << ' ' << source.type;
    if (source.skip != 0) out << " skip=" << source.skip;
    if (source.offset != 0) out << " offset=" << source.offset;
    if (source.stride != 1) out << " stride=" << source.stride;
    if (source.close != 1) out << " close=" << source.close;
    out << ')';
}

/// What a step (from 1) has beyond the defaults; empty if there is nothing.
inline std::string dump_step(const HeaderModel& model, int step) {
    std::ostringstream out;
    const StepTables& steps = model.steps;
    const auto row = static_cast<std::size_t>(step) - 1;
    const int flag = steps.flag[row];
    if (flag != 0) out << " flag=" << flag;
    if ((flag & kGivenExtent) != 0) dump_list(out, " min_ext=", steps.min_ext[row]);
    if ((flag & kGivenExtent) != 0) dump_list(out, " max_ext=", steps.max_ext[row]);
    if ((flag & kGivenRange) != 0) dump_list(out, " min_val=", steps.min_val[row]);
    if ((flag & kGivenRange) != 0) dump_list(out, " max_val=", steps.max_val[row]);
    if ((flag & kGivenLabels) != 0) dump_texts(out, " labels=", steps.name_list_count[row], steps.labels[row]);
    if ((flag & kGivenUnits) != 0) dump_texts(out, " units=", steps.unit_list_count[row], steps.units[row]);
    for (int n = 1; n <= kMaxCoordSources; ++n) {
        if (const Source* source = model.coordinate(step, n)) dump_source(out << " c" << n, *source);
    }
    for (int n = 1; n <= kMaxVariableSources; ++n) {
        if (const Source* source = model.variable(step, n)) dump_source(out << " v" << n, *source);
    }
    const TimeRecord* time = model.time(step);
    if (time != nullptr && time->from_file) dump_source(out << " time", time->source);
    if (time != nullptr && !time->from_file) out << " time(" << time->value << " \"" << time->text << "\")";
    return out.str();
}

/// The items that differ from their defaults: one line for the whole, one for each step that has any.
inline std::string dump(const HeaderModel& model) {
    std::ostringstream out;
    if (model.ndim != -1) out << " ndim=" << model.ndim;
    dump_list(out, " dims=", model.dims);
    if (model.nspace != -1) out << " nspace=" << model.nspace;
    if (model.veclen != 1) out << " veclen=" << model.veclen;
    if (model.nstep != 1) out << " nstep=" << model.nstep;
    if (model.step_counter != 1) out << " counter=" << model.step_counter;
    if (model.data_type != -1) out << " type=" << model.data_type;
    if (model.element_size != 0) out << " size=" << model.element_size;
    if (model.xdr != 0) out << " xdr";
    if (model.kind != kUniform) out << " kind=" << model.kind;
    dump_axes(out, " crop_min=", model.crop_min, kCropNotSet);
    dump_axes(out, " crop_max=", model.crop_max, kCropNotSet);
    dump_axes(out, " downsize=", model.downsize, kFactorNotSet);
    if (model.end_of_header != 0) out << " end";
    std::string text = out.str();
    if (!text.empty()) text = text.substr(1) + "\n";
    for (int step = 1; step <= model.steps.count(); ++step) {
        const std::string said = dump_step(model, step);
        if (!said.empty()) text += std::to_string(step) + ":" + said + "\n";
    }
    return text.empty() ? "defaults\n" : text;
}

}  // namespace zam::ldrf::test
