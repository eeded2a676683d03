#include "session/objects/host_objects.h"

#include <algorithm>
#include <type_traits>

#include "contract/om.h"
#include "embedded/host.h"
#include "session/convert/convert_field.h"
#include "session/objects/borrowed_field.h"
#include "session/objects/host_array.h"
#include "session/objects/host_fields.h"
#include "session/objects/run_error.h"

namespace zam::session {
namespace {

OMobj_id create(OMobj_id parent, const std::string& name, host::Kind kind,
                host::Kind element_kind = host::Kind::field) {
    const OMobj_id object = host::create(parent, name, kind, element_kind);
    require(OMvalid_obj(object) == 1, "the object cannot be made");
    return object;
}

void set_texts(OMobj_id object, const std::vector<std::string>& texts) {
    xp_long index = 0;
    for (const auto& text : texts) {
        require(OMset_str_array_val(object, index++, text.c_str()) == 1, "the texts are too many");
    }
}

void set_array(OMobj_id object, const NumberArray& values) {
    HandedArray array(values);
    array.hand_over<void>("the array cannot be set", [&](void* data, int mode) {
        return OMset_array(object, values.type, data, values.count, mode);
    });
}

void set_list(OMobj_id list, const ValueList& elements, std::vector<Link>& links) {
    require(OMset_array_size(list, static_cast<xp_long>(elements.size())) == 1, "the elements are too many");
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const OMobj_id element = host::find(list, "[" + std::to_string(i) + "]");
        if (const auto* reference = std::get_if<Reference>(&elements[i].form)) {
            links.push_back({element, *reference});
        } else if (const auto* converted = std::get_if<ConvertedReference>(&elements[i].form)) {
            links.push_back({element, converted->source, converted->conversion});
        } else if (const auto* field = std::get_if<FieldPointer>(&elements[i].form)) {
            fill_field(element, **field);
        } else if (const auto* group = std::get_if<ValueGroup>(&elements[i].form)) {
            for (const auto& member : *group) make_object(element, member.name, member.value, links);
        }
    }
}

/// What the elements of a list are; those that refer to other objects may be anything.
host::Kind element_kind(const ValueList& list) {
    const bool groups = std::any_of(list.begin(), list.end(), [](const Value& element) {
        return std::holds_alternative<ValueGroup>(element.form) || std::holds_alternative<Absent>(element.form);
    });
    return groups ? host::Kind::group : host::Kind::field;
}

/// Makes one object by the form of its value.
struct Maker {
    OMobj_id parent;
    const std::string& name;
    std::vector<Link>& links;

    void operator()(const Absent& /*none*/) const {
        const OMobj_id old = host::find(parent, name);
        if (OMvalid_obj(old) == 1) host::destroy(old);
    }
    void operator()(std::int32_t value) const { OMset_int_val(create(parent, name, host::Kind::integer), value); }
    void operator()(double value) const { OMset_real_val(create(parent, name, host::Kind::real), value); }
    void operator()(const std::string& value) const {
        require(OMset_str_val(create(parent, name, host::Kind::text), value.c_str()) == 1, "the text cannot be set");
    }
    void operator()(const std::vector<std::string>& value) const {
        set_texts(create(parent, name, host::Kind::texts), value);
    }
    void operator()(const NumberArray& value) const { set_array(create(parent, name, host::Kind::array), value); }
    void operator()(const Reference& value) const { links.push_back({create(parent, name, host::Kind::unset), value}); }
    void operator()(const ConvertedReference& value) const {
        links.push_back({create(parent, name, host::Kind::unset), value.source, value.conversion});
    }
    void operator()(const FieldPointer& value) const { fill_field(create(parent, name, host::Kind::field), *value); }
    void operator()(const ValueList& value) const {
        set_list(create(parent, name, host::Kind::objects, element_kind(value)), value, links);
    }
    void operator()(const ValueGroup& value) const {
        const OMobj_id group = create(parent, name, host::Kind::group);
        for (const auto& member : value) make_object(group, member.name, member.value, links);
    }
};

/// What an output parameter is before its module runs: fields and lists are empty, the rest has no value. Arrays know
/// their type, so that a module can size them.
void make_empty(OMobj_id parent, const Parameter& parameter) {
    switch (parameter.shape.kind) {
        case Kind::field: create(parent, parameter.name, host::Kind::field); break;
        case Kind::datamaps:
        case Kind::fields: create(parent, parameter.name, host::Kind::objects); break;
        case Kind::texts: create(parent, parameter.name, host::Kind::texts); break;
        case Kind::pointer: create(parent, parameter.name, host::Kind::pointer); break;
        case Kind::array:
            host::set_values(create(parent, parameter.name, host::Kind::array),
                             parameter.shape.array_type.value_or(DTYPE_FLOAT), nullptr, 0);
            break;
        default: create(parent, parameter.name, host::Kind::unset); break;
    }
}

/// As make_empty for kinds that are groups of arrays.
ValueGroup empty_group(Kind kind) {
    if (kind == Kind::transform) return transform_group({});
    ValueGroup group;
    if (kind != Kind::color_table) return group;
    for (const char* color : {"alpha", "red", "green", "blue"}) {
        group.push_back({color, {NumberArray{.type = DTYPE_BYTE, .count = 0, .values = {}, .source = {}}}});
    }
    return group;
}

/// Makes the field of a converting link, unless its source is as it was.
std::string convert_anew(Link& link, OMobj_id target) {
    const int stamp = host::stamp(target);
    if (stamp == link.made_of) return {};
    OMobj_id source = OMnull_obj();
    OMget_obj_val(target, &source);
    if (host::kind(source) != host::Kind::field) return link.reference.target + " is not a field";
    host::renew(link.holder, host::Kind::field);
    try {
        fill_field(link.holder, *convert(borrow_field(source), *link.conversion));
        link.made_of = stamp;
        return {};
    } catch (const std::exception& error) {
        host::renew(link.holder, host::Kind::unset);
        return link.reference.target + " cannot be converted: " + error.what();
    }
}

}  // namespace

void make_object(OMobj_id parent, const std::string& name, const Value& value, std::vector<Link>& links) {
    std::visit(Maker{parent, name, links}, value.form);
}

void make_default(OMobj_id parent, const Parameter& parameter, std::vector<Link>& links) {
    const Kind kind = parameter.shape.kind;
    if (parameter.default_value) {
        make_object(parent, parameter.name, *parameter.default_value, links);
    } else if (!parameter.exists_unless_told()) {
        return;
    } else if (is_group(kind) && kind != Kind::object) {
        make_object(parent, parameter.name, {empty_group(kind)}, links);
    } else {
        make_empty(parent, parameter);
    }
}

std::string follow(Link& link) {
    if (OMvalid_obj(link.holder) != 1) return {};  // taken away since
    const OMobj_id target = host::find(host::root(), link.reference.target);
    const bool exists = OMvalid_obj(target) == 1;
    std::string nothing = exists ? "" : link.reference.target + " leads to nothing";
    if (link.conversion) return exists ? convert_anew(link, target) : nothing;
    OMobj_id current = OMnull_obj();
    OMget_obj_ref(link.holder, &current, 0);
    const bool same = current.word[0] == target.word[0] && current.word[1] == target.word[1];
    // a reference that stays as it is must not count as a change
    if (exists ? !same : host::is_reference(link.holder)) OMset_obj_ref(link.holder, target);
    return nothing;
}

}  // namespace zam::session
