// What MODINF holds, as texts by name, out of the file or out of the tables that it is written
// from.
#pragma once

#include <charconv>
#include <type_traits>

#include "directives/catalogue.h"
#include "handover/model_information_fields.h"
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

// The whole content of the file, as the program's own reader finds it. What that refuses throws.
Modinf decode_modinf(const std::string& bytes);

// The same out of docs/files.md alone: its tables tell each record's items, their types, extents
// and conditions, and its bytes. It knows nothing of the program's records.
Modinf decode_as_documented(const std::string& bytes);

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

// Collects the fields that a description shows.
struct FieldsOf {
    Fields& fields;

    template <class... Parts>
    void record(const Parts&... parts) {
        (kve::for_each_field(parts,
                             [this](std::string_view name, const auto& shape, const auto& item) {
                                 fields[std::string(name)] = text_of(shape, item);
                             }),
         ...);
    }

 private:
    static std::string text_of(const kve::Extents& shape, const auto& item) {
        if constexpr (requires { item.data(); })
            return printed(std::span(
                item.data(), static_cast<std::size_t>(shape.n[0] * shape.n[1] * shape.n[2])));
        else
            return printed(item);
    }
};
