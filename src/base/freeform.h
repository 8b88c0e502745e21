// Numbers out of a piece of text by the free-form rules of the package: items are separated by
// blanks or one comma, "/" ends the list, an item left out between two commas keeps its value.
// A sign is allowed; a decimal or a repeat count in an integer's place, letters, and a number
// outside its type's range are unreadable. Nothing here prints or stops: the caller has the words.
#pragma once

#include <cstdint>
#include <string_view>

namespace kve {

enum class Read {
    ok,
    end,  // the text ran out before the list was complete
    bad,  // an item is no number of the wanted kind
};

// A whole text as one number, blanks at both ends allowed, nothing else beside it. Reals take
// E and D exponents. Return false and leave `value` alone when the text is no such number.
[[nodiscard]] bool parse_number(std::string_view text, int32_t& value);
[[nodiscard]] bool parse_number(std::string_view text, int64_t& value);
[[nodiscard]] bool parse_number(std::string_view text, double& value);
[[nodiscard]] bool parse_number(std::string_view text, float& value);

// One list of free-form items. `text` moves on behind what was read.
class FreeList {
 public:
    explicit FreeList(std::string_view text) : rest_(text) {}

    // The next item. An omitted item, and every item behind "/", is ok and leaves `value` alone.
    template <class Number>
    [[nodiscard]] Read next(Number& value) {
        std::string_view item;
        Read found = next_item(item);
        if (found != Read::ok || item.empty()) return found;
        return parse_number(item, value) ? Read::ok : Read::bad;
    }

    // Behind a line that did not hold all items: the list goes on in another text.
    void continue_in(std::string_view text) { rest_ = text; }

    // "/" has been met: every further item is an omitted one.
    bool ended_by_slash() const { return ended_by_slash_; }

 private:
    Read next_item(std::string_view& item);

    std::string_view rest_;
    bool ended_by_slash_ = false;
    bool comma_pending_ = false;  // an item was read and its separating comma not yet
};

// The first items of `text`, in order, into the given numbers.
template <class... Numbers>
[[nodiscard]] Read read_free(std::string_view text, Numbers&... values) {
    FreeList list(text);
    Read status = Read::ok;
    ((status = status == Read::ok ? list.next(values) : status), ...);
    return status;
}

}  // namespace kve
