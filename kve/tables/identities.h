// Identities of any kind and the integers that KVE1 knows them by.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/arrays.h"

namespace kve::companion {

// Texts in the order in which they were met first, numbered from 1: `place` below. Memory is 26 to
// 44 bytes an identity, and the text besides when it has more than 15 bytes.
class IdentityTable {
 public:
    // The place of a text, which is added when it is new.
    int32_t place_of(std::string_view text);
    // Both have place_of find what it looks at in the cache, when they are called some texts ahead:
    // the slot of the text, and nearer to the call the text itself.
    void fetch_slot(std::string_view text) const;
    void fetch_text(std::string_view text) const;
    // 0 when it has none.
    int32_t find(std::string_view text) const;
    std::string_view text(int32_t place) const;
    int32_t size() const { return size_; }

 private:
    // The text itself and its length; of a longer one where it stands, and how long it is.
    struct Entry {
        char bytes[15];
        unsigned char length;
    };
    struct Slot {
        uint32_t place;  // 0: free
        uint32_t hash;   // its lower bits tell where the slot should be
    };

    int64_t slot_of(uint32_t hash, std::string_view text) const;
    void lengthen_entries();
    void grow();

    Vec<Entry> entries_;  // the first `size_` of them
    Vec<Slot, 0> slots_;  // a power of two
    int32_t size_ = 0;
    std::string long_texts_;
};

// 0, or nothing, is what tables write for an animal that is not known.
inline bool is_nobody(std::string_view text) { return text.find_first_not_of('0') == text.npos; }

// The value of a text that is an integer from 1 to 2147483647 written in the one usual way, without
// sign, blanks or zeros in front.
std::optional<int32_t> integer_identity(std::string_view text);

// The code of each place (element 0 is 0). Integers that fit stay what they are and the others get
// the numbers above the largest of them, in order, or free ones where these do not suffice;
// `renumber` gives all of them their places.
std::vector<int32_t> identity_codes(const IdentityTable& identities, bool renumber = false);

// Texts by code.
class CodeNames {
 public:
    void add(int32_t code, std::string_view text);
    // When all have been added.
    void put_in_order();
    // Empty when the code is not there.
    std::string_view operator[](int32_t code) const;

 private:
    std::vector<std::pair<int32_t, uint64_t>> places_;  // by code: where its text begins
    std::string texts_;                                 // each ends with a byte of zero
};

// The users' own names of identities and of the levels of classes, for commands that show them in
// place of codes: out of ids.tsv and of classes.tsv beside it.
class UserNames {
 public:
    explicit UserNames(const std::string& ids_file);

    // What stands for the code in the column or effect of this name; the code where nothing does.
    std::string name_of(const std::string& column, int32_t code) const;

 private:
    CodeNames identities_;
    std::map<std::string, CodeNames> classes_;  // by column
};

}  // namespace kve::companion
