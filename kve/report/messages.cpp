#include "kve/report/messages.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <string_view>

namespace kve::companion {

namespace {

constexpr std::size_t kMostMessages = 100, kLongest = 600;
constexpr int kMostLines = 5;  // that go on a message

// Without blanks at both ends, and with one for many within: lines are laid out in columns.
std::string squeezed(std::string_view line) {
    std::string words;
    for (const char c : line) {
        const bool is_blank = c == ' ' || c == '\t' || c == '\r';
        if (!is_blank)
            words += c;
        else if (!words.empty() && words.back() != ' ')
            words += ' ';
    }
    if (words.ends_with(' ')) words.pop_back();
    return words;
}

bool is_page_head(std::string_view line) { return line.starts_with("1KVE1V6"); }

bool is_error(std::string_view text) {
    return text.starts_with("ERROR") || text.starts_with("Error");
}
bool is_message(std::string_view text) { return is_error(text) || text.starts_with("WARNING"); }

// WARNING WARNING WARNING: the words stand on the next lines.
bool is_banner(std::string_view text) {
    while (!text.empty()) {
        if (!text.starts_with("WARNING")) return false;
        text.remove_prefix(std::string_view("WARNING").size());
        text.remove_prefix(std::min(text.find_first_not_of(" ,"), text.size()));
    }
    return true;
}

std::string shape_of(std::string_view text) {
    std::string shape;
    for (const char c : text) {
        const bool is_digit = std::isdigit(static_cast<unsigned char>(c)) != 0;
        if (!is_digit)
            shape += c;
        else if (!shape.ends_with('#'))
            shape += '#';
    }
    return shape;
}

class Reader {
 public:
    Reader(const std::filesystem::path& file, const std::string& source, MessageFile& found)
        : from_(file), source_(source), found_(found) {}

    void read() {
        bool has_line = next();
        while (has_line) {
            const std::string first = squeezed(line_);
            if (!is_message(first)) {
                has_line = next();
                continue;
            }
            has_line = is_banner(first) ? take_under_banner() : take_indented(first);
        }
    }
    bool is_open() const { return static_cast<bool>(from_); }

 private:
    bool next() {
        while (std::getline(from_, line_))
            if (!is_page_head(line_)) return true;
        return false;
    }

    // A message goes on in lines that are indented further than it is; what stands in the middle of
    // the page is something else.
    bool take_indented(std::string text) {
        constexpr std::size_t kIndent = 4, kMiddle = 13;
        const std::size_t margin = line_.find_first_not_of(" \t");
        bool has_line = next();
        for (int n = 0; has_line && n < kMostLines; ++n) {
            const std::string more = squeezed(line_);
            const std::size_t column = line_.find_first_not_of(" \t");
            if (more.empty() || column < margin + kIndent || column >= margin + kMiddle ||
                is_message(more))
                break;
            text += "\n" + more;
            has_line = next();
        }
        keep(std::move(text));
        return has_line;
    }

    bool take_under_banner() {
        std::string text;
        int n = 0, n_blank = 0;
        bool has_line = next();
        for (; has_line && n < kMostLines; has_line = next()) {
            const std::string more = squeezed(line_);
            if (is_message(more) || (more.empty() && (++n_blank > 1 || n > 0))) break;
            if (more.empty()) continue;
            text += (text.empty() ? "" : "\n") + more;
            ++n;
        }
        keep(text.empty() ? "WARNING" : "WARNING\n" + text);
        return has_line;
    }

    void keep(std::string text) {
        if (text.size() > kLongest) text = text.substr(0, kLongest) + " ...";
        Message message{.text = text, .shape = shape_of(text), .source = source_};
        message.is_error = is_error(text);
        const auto twin = std::ranges::find(found_.messages, message.shape, &Message::shape);
        if (twin != found_.messages.end())
            ++twin->times;
        else if (found_.messages.size() < kMostMessages)
            found_.messages.push_back(std::move(message));
        else
            found_.has_more = true;
    }

    std::ifstream from_;
    std::string source_;
    MessageFile& found_;
    std::string line_;
};

}  // namespace

MessageFile read_messages(const std::filesystem::path& file, const std::string& source) {
    MessageFile found{.name = file.string()};
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) return found;
    Reader reader(file, source, found);
    found.is_there = reader.is_open();
    reader.read();
    return found;
}

}  // namespace kve::companion
