#include "model/model_lines.h"

#include <algorithm>
#include <cstdio>

#include "base/text.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {
namespace {

// Lines of up to 15 numbers.
class IntegerEcho {
 public:
    void add(int32_t number) {
        char text[16];
        int length = std::snprintf(text, sizeof text, "%5d", number);
        if (length > 5 && !line_.empty()) line_ += ' ';
        line_.append(text, static_cast<std::size_t>(length));
        if (++n_ == 15) end_line();
    }
    void end_line() {
        if (n_ > 0) log_say(" %s", line_.c_str());
        line_.clear();
        n_ = 0;
    }

 private:
    std::string line_;
    int n_ = 0;
};

}  // namespace

Read ModelLines::next_line() {
    if (again_) {
        again_ = false;
        return Read::ok;
    }
    std::string_view text;
    TextInput::Line status = unit_.read_line(text, kLongestModelLine);
    line_.clear();
    if (status == TextInput::Line::failed) stop_not_read(unit_.path(), unit_.error());
    if (status == TextInput::Line::end) return Read::end;
    line_ = right_trimmed(text);
    std::replace(line_.begin(), line_.end(), '\t', ' ');
    return Read::ok;
}

Read ModelLines::next_item(FreeList& list, int32_t& value) {
    Read status;
    while ((status = list.next(value)) == Read::end) {
        status = next_line();
        if (status != Read::ok) return status;
        list.continue_in(line_);
    }
    return status;
}

Read ModelLines::read_record(std::span<int32_t> values) {
    FreeList list("");
    for (int32_t& value : values) {
        Read status = next_item(list, value);
        if (status != Read::ok) return status;
    }
    return Read::ok;
}

Read ModelLines::read_counted_record(int32_t& count, std::vector<int32_t>& items) {
    FreeList list("");
    items.clear();
    Read status = next_item(list, count);
    for (int64_t k = 0; k < count && status == Read::ok; ++k) {
        if (list.ended_by_slash()) {
            if (count - k > static_cast<int64_t>(kLongestModelLine)) return Read::bad;
            items.resize(static_cast<std::size_t>(count));
            return Read::ok;
        }
        int32_t item = 0;
        status = next_item(list, item);
        items.push_back(item);
    }
    return status;
}

bool cut_bracket(std::string_view& rest, char close, std::string_view& inside) {
    std::size_t end = rest.find(close);
    if (end == std::string_view::npos) return false;
    inside = rest.substr(1, end - 1);
    rest = left_adjusted(rest.substr(end + 1));
    return true;
}

std::string_view cut_text(std::string_view& rest, std::size_t length) {
    std::string_view text = rest.substr(0, length);
    rest = left_adjusted(rest.substr(text.size()));
    return text;
}

void log_integers(std::span<const int32_t> numbers) {
    IntegerEcho echo;
    for (int32_t number : numbers) echo.add(number);
    echo.end_line();
}

void log_count_and_list(int32_t count, std::span<const int32_t> list) {
    IntegerEcho echo;
    echo.add(count);
    for (int32_t number : list) echo.add(number);
    echo.end_line();
}

void refuse_line_read(std::string_view line) {
    log_say("Line read:");
    log_say("%.*s", KVE_SV(line));
    terminate_run();
}

void log_input_read(std::string_view line) {
    log_say("Input read:");
    log_say("%.*s", KVE_SV(line));
}

void refuse_input_read(std::string_view line) {
    log_input_read(line);
    terminate_run();
}

}  // namespace kve
