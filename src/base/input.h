// Input files behind one buffer: as bytes, as lines of text, or as free-form numbers across lines.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/helper_thread.h"
#include "base/plain_number.h"

namespace kve {

namespace state {

// Where inputs with a relative name lie; empty: in the working directory.
inline std::string INPUT_FOLDER;

}  // namespace state

// Where the input lies that the user calls so.
std::string input_path(const std::string& name);

// A file read front to back through one buffer. The byte behind the last one held is always a
// line end, so that scanners need not test for the end of the buffer at each character.
class alignas(kCacheLine) ByteInput {
 public:
    constexpr ByteInput() = default;
    ByteInput(const ByteInput&) = delete;
    ByteInput& operator=(const ByteInput&) = delete;
    ~ByteInput() { close(); }

    // Opens a file for reading. 0, or the system's error number; a folder gives EISDIR, a device or
    // a pipe, which may never end and cannot be read twice, ESPIPE.
    [[nodiscard]] int open(const std::string& path);
    // The same for an input, by the name that the user gives it.
    [[nodiscard]] int open_input(const std::string& name);
    // Reads from a descriptor that the caller keeps open, such as standard input.
    [[nodiscard]] int attach(int descriptor);
    [[nodiscard]] int rewind();
    void close();
    // Reads a text in place of a file: it stays where it is, and its last character is a line end.
    void read_from(std::string_view text);
    bool is_open() const { return descriptor_ >= 0; }
    // The name that it was opened by; it stays after the close.
    const std::string& path() const { return path_; }

    // The system's error number of a failed read, 0 while all is well.
    int error() const { return error_; }

 protected:
    // Moves what is not yet consumed to the front and reads behind it. False when nothing came:
    // end of file, a read error, or a buffer that is full of one unconsumed piece.
    bool fill();
    bool exhausted() const { return at_end_of_file_; }

    // The readers below move these for each character; a procedure around them would hide nothing.
    // NOLINTBEGIN(misc-non-private-member-variables-in-classes)
    const char* at_ = nullptr;   // next byte to consume
    const char* end_ = nullptr;  // behind the last byte held; *end_ is '\n'
    int64_t line_number_ = 1;    // of the next byte, for readers of text
                                 // NOLINTEND(misc-non-private-member-variables-in-classes)

 private:
    std::string path_;
    char* buffer_ = nullptr;
    int descriptor_ = -1;
    bool owned_ = false;
    bool at_end_of_file_ = false;
    int error_ = 0;
};

class TextInput : public ByteInput {
 public:
    enum class Line { ok, end, failed };

    // The next line without its line end (a carriage return stays); valid until the next call.
    // Of a longer line the first `longest` characters are kept and the rest is lost. A last line
    // without a line end is a line.
    [[nodiscard]] Line read_line(std::string_view& line, std::size_t longest);

    enum class Number { ok, end, bad };

    // The next number of a record, across lines. Blank, comma, tab, carriage return and line end
    // separate; an item left empty between two commas, "/", a repeat count and a text that is no
    // number are bad. `end` means that the file ended before the item. A real beyond the range of
    // a double is infinite; "nan" is a number.
    [[nodiscard]] Number read_number(int64_t& value) {
        return take_plain_number(value) ? Number::ok : read_any_number(value);
    }
    [[nodiscard]] Number read_number(double& value) {
        return take_plain_number(value) ? Number::ok : read_any_number(value);
    }

    // Before the first number of a record, and behind its last: the rest of the line is skipped.
    void begin_record() { after_item_ = false; }
    void skip_line() {
        if (*at_ != '\n' || at_ == end_) return skip_rest();
        ++at_;
        ++line_number_;
    }
    // What has not been read yet of a text that is read from memory.
    std::string_view rest() const { return {at_, static_cast<std::size_t>(end_ - at_)}; }
    // Behind a number: whether it may be one with a decimal comma, of which the front was read.
    [[nodiscard]] bool comma_and_digit_follow();

    // The number of the line under the reader, and of the one with the next item: empty lines may
    // stand ahead of it.
    int64_t line_number() const { return line_number_; }
    int64_t find_next_item() {
        static_cast<void>(skip_to_item());
        return line_number_;
    }

 private:
    enum : unsigned char { kItemCharacter = 0, kSeparator = 1, kItemEnd = 2 };
    // What ends an item; all but "/" may also stand in front of one.
    static constexpr std::array<unsigned char, 256> kCharacterKind = [] {
        std::array<unsigned char, 256> kind{};
        for (char c : {' ', '\t', '\r', '\n', ','})
            kind[static_cast<unsigned char>(c)] = kSeparator;
        kind[static_cast<unsigned char>('/')] = kItemEnd;
        return kind;
    }();
    static unsigned char kind_of(char c) { return kCharacterKind[static_cast<unsigned char>(c)]; }

    // A number on the same line, of the usual form, that does not reach the buffer's end.
    template <class Value>
    bool take_plain_number(Value& value) {
        const char* at = at_;
        if (*at == ',' && after_item_) ++at;
        while (*at == ' ' || *at == '\t') ++at;
        at = scan_plain_number(at, value);
        if (at == nullptr || kind_of(*at) == kItemCharacter || at == end_) return false;
        at_ = at;
        after_item_ = true;
        return true;
    }
    Number read_any_number(int64_t& value);
    Number read_any_number(double& value);
    template <class Value>
    Number read_any(Value& value);
    template <class Value>
    Number read_odd_number(Value& value);
    bool skip_separators();
    bool skip_to_item();
    void skip_rest();
    Line collect_line(std::string_view& line, std::size_t longest);

    std::string long_line_;    // a line that does not stand in the buffer as one piece
    bool after_item_ = false;  // one comma may follow
};

}  // namespace kve
