// The decoder of MODINF. It knows the layout told in docs/files.md and nothing of the program's own
// records: every extent comes from an earlier record. A record of another length than the layout
// says, a logical other than 0 and -1, a text with a zero byte or a record too many
// throws std::runtime_error, which shows the layout of the record.
#pragma once

#include <charconv>
#include <type_traits>

#include "directives/catalogue.h"
#include "testing.h"

using Ints = std::vector<int32_t>;
using Floats = std::vector<float>;

// The items of a block by name, each as text: its values in the order of the file, a blank between
// them, numbers in the shortest form that gives them back, logicals as T and F, texts in quotes
// without their padding. An item that the file leaves out has no entry.
using Fields = std::map<std::string, std::string>;

struct Modinf {
    Fields head;
    std::vector<Fields> traits;
    std::vector<Fields> matrices;  // the residual last
    Fields tail;
};

// The whole content of the file.
Modinf decode_modinf(const std::string& bytes);

// A number, a logical, a text or an array of them in this form.
template <class Item>
std::string printed(const Item& item) {
    if constexpr (std::is_same_v<Item, bool>) {
        return item ? "T" : "F";
    } else if constexpr (std::is_arithmetic_v<Item>) {
        char digits[40];
        return {digits, std::to_chars(digits, std::end(digits), item).ptr};
    } else if constexpr (std::is_same_v<Item, kve::Structure>) {
        return printed(kve::Text<12>(kve::structure_name(item)));
    } else if constexpr (requires { item.raw; }) {
        return printed(item.raw == -1);
    } else if constexpr (requires { item.padded(); }) {
        return item.string().insert(0, 1, '\'').append(1, '\'');
    } else {
        std::string all;
        for (const auto& one : std::span(item.data(), static_cast<std::size_t>(item.size())))
            all.append(all.empty() ? "" : " ").append(printed(one));
        return all;
    }
}
