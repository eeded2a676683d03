// The tags of an XML file, one after another. Texts between them, which may be most of a file, are passed over in
// blocks.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "session/data/byte_source.h"

namespace zam::session {

struct XmlTag {
    std::string name;  // without the slash of a closing tag
    std::vector<std::pair<std::string, std::string>> attributes;
    bool opens = false;    // an element; the tag of an empty one opens and closes it
    bool closes = false;   //
    bool follows = false;  // a text that is more than white space
    xp_long begin = 0;     // byte of the file at which the tag begins
    xp_long end = 0;       // byte after it

    /// The value of an attribute; null if there is none.
    const std::string* find(std::string_view key) const;
};

class XmlTags {
public:
    explicit XmlTags(ByteSourcePointer bytes) : bytes_(std::move(bytes)) {}

    /// The next tag; `nullopt` at the end of the file. Comments, declarations and instructions are left out.
    /// @throws DataError  for what is no tag, or longer than any
    std::optional<XmlTag> next();

private:
    int get();
    bool refill();
    bool skip_text();
    void skip_past(std::string_view end);
    std::string rest_of_tag();

    ByteSourcePointer bytes_;
    std::string block_;
    xp_long block_start_ = 0;  // byte of the file at which the block begins
    std::size_t at_ = 0;       // byte of the block that comes next
};

}  // namespace zam::session
