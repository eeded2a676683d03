// The values of the public interface and those of the session: fields and arrays go either way without a copy.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "contract/types.h"
#include "session/network/definitions.h"
#include "session/values/field_value.h"
#include "zam/session.h"

namespace zam {

/// A value as text, in the forms of network files; the arrays in it stand beside the text.
class WrittenValue {
public:
    /// @throws Error  if an array in it is none
    explicit WrittenValue(const Value& value) { write(value); }

    const std::string& text() const { return text_; }
    /// What {"lent": n} stands for in the text.
    std::span<const session::NumberArray> arrays() const { return arrays_; }

private:
    void write(const Value& value);
    void write(const Field& field);
    void write(const Component& component);
    void write(const std::vector<Component>& components);
    void write(const CellSet& cells);
    void write(const Array& array);
    void write_times(const Field& field);
    void begin(char bracket);
    void end(char bracket);
    void key(std::string_view name);
    void item(std::string_view text);

    std::string text_;
    bool first_ = true;  // nothing stands in the open brackets yet
    std::vector<session::NumberArray> arrays_;
};

/// The field with its arrays, which whoever holds the result keeps. Values that are not in memory are read.
/// @throws Error
Field to_public(const session::FieldValue& field);

/// What an object of the host holds now.
/// @throws Error
Value read_object(OMobj_id object);

/// A definition as people and programs read it.
Module describe(const session::Definition& definition);

}  // namespace zam
