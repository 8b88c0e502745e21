#include "matrices/element_file.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace kve {

namespace {

constexpr std::size_t kLongestOffending = 60;

// An element of a text as it is read ahead.
struct TextElement {
    MatrixElement element;
    bool has_comma;  // and a digit, right behind the value
};

// A binary file called text may hold anything.
std::string make_printable(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, ' ');
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace

int ElementFile::open(const std::string& name, DataFormat format, int32_t n_ids) {
    records_.close();
    format_ = format;
    n_ids_ = static_cast<std::size_t>(n_ids);
    record_bytes_ = n_ids > 0 ? n_ids_ * sizeof(int32_t) : sizeof(MatrixElement);
    n_read_ = 0;
    answer_ = FileAnswer::end;
    commas_ = {};
    too_large_.reset();
    if (is_binary()) {
        const int status = framed_.open_input(name);
        return status != 0 ? status : records_.open(make_framed, this, record_bytes_);
    }
    const int status = text_.open_input(name);
    if (status != 0) return status;
    return n_ids > 0 ? records_.open(make_text_ids, this, record_bytes_)
                     : records_.open(make_text_element, this, sizeof(TextElement));
}

FileAnswer read_text_ids(TextInput& text, std::span<int32_t> ids,
                         std::optional<int64_t>& too_large) {
    text.begin_record();
    for (std::size_t k = 0; k < ids.size(); ++k) {
        int64_t wide;
        const TextInput::Number item = text.read_number(wide);
        if (item == TextInput::Number::end && k == 0) return FileAnswer::end;
        if (item != TextInput::Number::ok) return FileAnswer::failure;
        if (!std::in_range<int32_t>(wide)) {
            too_large = wide;
            return FileAnswer::failure;
        }
        ids[k] = static_cast<int32_t>(wide);
    }
    return FileAnswer::record;
}

int32_t ElementFile::make_text_ids(void* self, void* to) {
    ElementFile& file = *static_cast<ElementFile*>(self);
    const FileAnswer answer =
        read_text_ids(file.text_, {static_cast<int32_t*>(to), file.n_ids_}, file.too_large_);
    if (answer == FileAnswer::record) file.text_.skip_line();
    return static_cast<int32_t>(answer);
}

int32_t ElementFile::make_text_element(void* self, void* to) {
    ElementFile& file = *static_cast<ElementFile*>(self);
    auto& [element, has_comma] = *static_cast<TextElement*>(to);
    int32_t ids[2];
    FileAnswer answer = read_text_ids(file.text_, ids, file.too_large_);
    if (answer == FileAnswer::record &&
        file.text_.read_number(element.value) != TextInput::Number::ok)
        answer = FileAnswer::failure;
    if (answer != FileAnswer::record) return static_cast<int32_t>(answer);
    has_comma = file.text_.comma_and_digit_follow();
    file.text_.skip_line();
    element.id_1 = ids[0];
    element.id_2 = ids[1];
    return static_cast<int32_t>(answer);
}

int32_t ElementFile::make_framed(void* self, void* to) {
    ElementFile& file = *static_cast<ElementFile*>(self);
    FileAnswer answer = FileAnswer::failure;
    switch (file.framed_.read_record({static_cast<std::byte*>(to), file.record_bytes_})) {
        case RecordInput::Record::ok:
            answer = FileAnswer::record;
            break;
        case RecordInput::Record::end:
            answer = FileAnswer::end;
            break;
        default:
            break;
    }
    return static_cast<int32_t>(answer);
}

const void* ElementFile::next_record() {
    const void* record = records_.next();
    ++n_read_;
    answer_ = record != nullptr ? FileAnswer::record : static_cast<FileAnswer>(records_.status());
    return record;
}

FileAnswer ElementFile::read(std::span<int32_t> ids) {
    if (const void* record = next_record(); record != nullptr)
        std::memcpy(ids.data(), record, n_ids_ * sizeof(int32_t));
    return answer_;
}

FileAnswer ElementFile::read(MatrixElement& element) {
    const void* record = next_record();
    if (record == nullptr) return answer_;
    element = *static_cast<const MatrixElement*>(record);
    if (!is_binary() && static_cast<const TextElement*>(record)->has_comma && ++commas_.n == 1)
        commas_.first = n_read_;
    return FileAnswer::record;
}

int ElementFile::system_error() const {
    if (answer_ != FileAnswer::failure) return 0;
    return is_binary() ? framed_.error() : text_.error();
}

std::string ElementFile::offending() {
    if (system_error() != 0) return std::strerror(system_error());
    if (is_binary())
        return "it is cut, shorter than " + std::to_string(record_bytes_) +
               " bytes, or without its length on both sides";
    std::string_view rest;
    const TextInput::Line line = text_.read_line(rest, kLongestOffending);
    if (line == TextInput::Line::end && !too_large_) return "the file ends within the record";
    const std::string passed = too_large_ ? std::to_string(*too_large_) : "";
    return make_printable((passed + std::string(rest)).substr(0, kLongestOffending));
}

}  // namespace kve
