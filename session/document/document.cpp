#include "session/document/document.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "base/file_handle.h"
#include "contract/file.h"
#include "session/document/parser.h"

namespace zam::session {
namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{256} << 20;
constexpr std::size_t kReadBlock = std::size_t{1} << 16;
constexpr std::size_t kLineBlock = std::size_t{1} << 16;

std::optional<std::string> read_whole(std::FILE* stream, std::string& error) {
    std::string text;
    std::size_t got = 0;
    do {
        const std::size_t old_size = text.size();
        text.resize(old_size + kReadBlock);
        got = std::fread(text.data() + old_size, 1, kReadBlock, stream);
        text.resize(old_size + got);
    } while (got > 0 && text.size() <= kMaxFileBytes);
    if (std::ferror(stream)) error = "cannot read the file";
    if (text.size() > kMaxFileBytes) error = "the file is larger than 256 MiB; put large arrays into a \"values_file\"";
    return error.empty() ? std::optional(std::move(text)) : std::nullopt;
}

}  // namespace

Document::Document(std::string name, std::string text) : name_(std::move(name)), text_(std::move(text)) {
    std::size_t lines = 0;
    for (std::size_t block = 0; block <= text_.size(); block += kLineBlock) {
        lines_before_block_.push_back(lines);
        const auto end = text_.begin() + static_cast<std::ptrdiff_t>(std::min(block + kLineBlock, text_.size()));
        lines += static_cast<std::size_t>(std::count(text_.begin() + static_cast<std::ptrdiff_t>(block), end, '\n'));
    }
}

std::unique_ptr<const Document> Document::from_option(std::string name, const std::string& text) {
    auto document = std::make_unique<Document>(std::move(name), text);
    Problems not_json;
    if (!document->parse(not_json, false)) document->root_ = {0, text};
    document->lines_before_block_.clear();
    return document;
}

bool Document::parse(Problems& problems, bool comments) { return parse_json(*this, text_, comments, root_, problems); }

Place Document::place(std::size_t offset, std::string path) const {
    if (lines_before_block_.empty()) return {name_, 0, 0, std::move(path)};
    const std::size_t block = offset / kLineBlock * kLineBlock;
    const auto before = std::string_view(text_).substr(0, offset);
    const auto in_block = before.substr(block);
    const auto lines = static_cast<std::size_t>(std::count(in_block.begin(), in_block.end(), '\n'));
    const std::size_t line_start = before.rfind('\n') + 1;  // npos + 1 is 0
    return {name_, lines_before_block_[offset / kLineBlock] + lines + 1, offset - line_start + 1, std::move(path)};
}

std::unique_ptr<const Document> load_document(const std::string& file, Problems& problems) {
    const FileHandle stream(FILEfopen(file.c_str(), "rb"));
    if (stream) return load_document(stream.get(), file, problems);
    problems.add({file, 0, 0, {}}, "cannot open the file");
    return nullptr;
}

std::unique_ptr<const Document> load_document(std::FILE* stream, const std::string& name, Problems& problems) {
    std::string error;
    auto text = read_whole(stream, error);
    if (!text) {
        problems.add({name, 0, 0, {}}, error);
        return nullptr;
    }
    auto document = std::make_unique<Document>(name, std::move(*text));
    if (!document->parse(problems)) return nullptr;
    return document;
}

}  // namespace zam::session
