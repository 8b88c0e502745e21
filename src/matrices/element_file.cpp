#include "matrices/element_file.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace kve {

namespace {

constexpr std::size_t kLongestOffending = 60;

// A binary file called text may hold anything.
std::string make_printable(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

int ElementFile::open(const std::string& path, DataFormat format) {
    format_ = format;
    n_read_ = 0;
    commas_ = {};
    too_large_.clear();
    return format == kAscii ? text_.open(path) : framed_.open(path);
}

FileAnswer ElementFile::read_id(int32_t& id, bool is_first) {
    int64_t wide;
    const TextInput::Number item = text_.read_number(wide);
    if (item == TextInput::Number::end && is_first) return FileAnswer::end;
    if (item != TextInput::Number::ok) return FileAnswer::failure;
    if (!std::in_range<int32_t>(wide)) {
        too_large_ = std::to_string(wide);
        return FileAnswer::failure;
    }
    id = static_cast<int32_t>(wide);
    return FileAnswer::record;
}

FileAnswer ElementFile::read_text_ids(std::span<int32_t> ids) {
    text_.begin_record();
    for (std::size_t k = 0; k < ids.size(); ++k)
        if (const FileAnswer item = read_id(ids[k], k == 0); item != FileAnswer::record)
            return item;
    return FileAnswer::record;
}

FileAnswer ElementFile::read_framed(std::span<std::byte> body) {
    bytes_asked_ = body.size();
    switch (framed_.read_record(body)) {
        case RecordInput::Record::ok:
            return FileAnswer::record;
        case RecordInput::Record::end:
            return FileAnswer::end;
        default:
            return FileAnswer::failure;
    }
}

FileAnswer ElementFile::read(std::span<int32_t> ids) {
    ++n_read_;
    if (format_ != kAscii) return read_framed(std::as_writable_bytes(ids));
    const FileAnswer answer = read_text_ids(ids);
    if (answer == FileAnswer::record) text_.skip_line();
    return answer;
}

FileAnswer ElementFile::read(MatrixElement& element) {
    ++n_read_;
    if (format_ != kAscii) return read_framed(std::as_writable_bytes(std::span(&element, 1)));
    int32_t ids[2];
    if (const FileAnswer answer = read_text_ids(ids); answer != FileAnswer::record) return answer;
    if (text_.read_number(element.value) != TextInput::Number::ok) return FileAnswer::failure;
    if (text_.comma_and_digit_follow() && ++commas_.n == 1) commas_.first = n_read_;
    text_.skip_line();
    element.id_1 = ids[0];
    element.id_2 = ids[1];
    return FileAnswer::record;
}

std::string ElementFile::offending() {
    if (system_error() != 0) return std::strerror(system_error());
    if (is_binary())
        return "it is cut, shorter than " + std::to_string(bytes_asked_) +
               " bytes, or without its length on both sides";
    std::string_view rest;
    const TextInput::Line line = text_.read_line(rest, kLongestOffending);
    if (line == TextInput::Line::end && too_large_.empty())
        return "the file ends within the record";
    return make_printable((too_large_ + std::string(rest)).substr(0, kLongestOffending));
}

}  // namespace kve
