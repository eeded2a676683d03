// JSON written as it comes, so that a dump needs no memory of its own. Numbers have the shortest text that gives the
// same value back; those that JSON does not have are the texts "nan", "inf" and "-inf".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "session/outputs/output_file.h"

namespace zam::session {

class JsonWriter {
public:
    explicit JsonWriter(OutputFile& file) : file_(file) {}

    void begin_object() { begin('{'); }
    void end_object() { end('}'); }
    void begin_array() { begin('['); }
    void end_array() { end(']'); }
    void key(std::string_view name);

    void null() { item("null"); }
    void boolean(bool value) { item(value ? "true" : "false"); }
    void integer(xp_long value) { item(std::to_string(value)); }
    void text(std::string_view value);
    /// One element of a type.
    void number(int type, const void* value);
    /// An array of numbers, on one line.
    void numbers(int type, const void* values, xp_long count);

private:
    void begin(char bracket);
    void end(char bracket);
    void item(std::string_view text);
    void separate();

    OutputFile& file_;
    std::vector<bool> filled_;  // of each open container, whether it has an item
    bool after_key_ = false;
};

/// A text in quotes. Bytes that are not UTF-8 become the replacement character.
std::string json_text(std::string_view text);

/// Appends one element of a type to a text, with quotes where it is a text.
void append_number(std::string& text, int type, const void* value);

}  // namespace zam::session
