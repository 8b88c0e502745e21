#include "kve/tables/identities.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

#include "kve/shared/failure.h"
#include "kve/tables/table_reader.h"
#include "kve/tables/values.h"

namespace kve::companion {

namespace {

constexpr unsigned char kLong = 255;
constexpr int32_t kMostPlaces = INT32_MAX;
constexpr int64_t kSlotsInCache = 32768;  // with so many it is there anyway

struct LongText {
    uint64_t begin;
    uint32_t size;
};

__extension__ using Product = unsigned __int128;

uint64_t fold(uint64_t a, uint64_t b) {
    const Product product = Product{a} * b;
    return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

template <class Word>
uint64_t word_at(const char* at) {
    Word word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// Products of words of the text and odd constants; the words at its end may overlap.
uint32_t hash_of(std::string_view text) {
    constexpr uint64_t kFirst = 0x9E3779B97F4A7C15, kSecond = 0xD6E8FEB86659FD93;
    const char* at = text.data();
    std::size_t left = text.size();
    uint64_t hash = left;
    for (; left > 16; left -= 16, at += 16)
        hash = fold(word_at<uint64_t>(at) ^ hash ^ kFirst, word_at<uint64_t>(at + 8) ^ kSecond);
    uint64_t front = 0, back = 0;
    if (left >= 8) {
        front = word_at<uint64_t>(at);
        back = word_at<uint64_t>(at + left - 8);
    } else if (left >= 4) {
        front = word_at<uint32_t>(at);
        back = word_at<uint32_t>(at + left - 4);
    } else if (left > 0) {
        front = word_at<unsigned char>(at) << 8 | word_at<unsigned char>(at + left / 2);
        back = word_at<unsigned char>(at + left - 1);
    }
    hash = fold(front ^ hash ^ kFirst, back ^ kSecond);
    return static_cast<uint32_t>(hash ^ hash >> 32);
}

}  // namespace

std::string_view IdentityTable::text(int32_t place) const {
    const Entry& entry = entries_(place);
    if (entry.length != kLong) return {entry.bytes, entry.length};
    LongText where;
    std::memcpy(&where, entry.bytes, sizeof where.begin + sizeof where.size);
    return std::string_view(long_texts_).substr(where.begin, where.size);
}

// Where the text is, or the free slot where it would be.
int64_t IdentityTable::slot_of(uint32_t hash, std::string_view wanted) const {
    const int64_t last = slots_.size() - 1;
    int64_t at = hash & last;
    for (; slots_(at).place != 0; at = (at + 1) & last)
        if (slots_(at).hash == hash && text(static_cast<int32_t>(slots_(at).place)) == wanted)
            break;
    return at;
}

// Twice as many slots. They are gone through in their order, which is nearly that of their places
// in the lower and in the upper half of the new ones.
void IdentityTable::grow() {
    constexpr int64_t kFirst = 64;
    const Vec<Slot, 0> old = std::move(slots_);
    if (slots_.allocate(std::max(kFirst, 2 * old.size())) != 0) throw std::bad_alloc();
    const int64_t last = slots_.size() - 1;
    for (const Slot& slot : old) {
        if (slot.place == 0) continue;
        int64_t at = slot.hash & last;
        while (slots_(at).place != 0) at = (at + 1) & last;
        slots_(at) = slot;
    }
}

void IdentityTable::lengthen_entries() {
    constexpr int64_t kFirst = 64;
    const int64_t n = entries_.size();
    if (entries_.lengthen(std::max(kFirst, n + n / 2)) != 0) throw std::bad_alloc();
}

void IdentityTable::fetch_slot(std::string_view text) const {
    if (slots_.size() <= kSlotsInCache) return;
    __builtin_prefetch(&slots_(hash_of(text) & (slots_.size() - 1)));
}

void IdentityTable::fetch_text(std::string_view text) const {
    if (slots_.size() <= kSlotsInCache) return;
    const uint32_t hash = hash_of(text);
    const int64_t last = slots_.size() - 1;
    for (int64_t at = hash & last; slots_(at).place != 0; at = (at + 1) & last)
        if (slots_(at).hash == hash) return __builtin_prefetch(&entries_(slots_(at).place));
}

int32_t IdentityTable::find(std::string_view wanted) const {
    if (size_ == 0) return 0;
    return static_cast<int32_t>(slots_(slot_of(hash_of(wanted), wanted)).place);
}

int32_t IdentityTable::place_of(std::string_view wanted) {
    if (5 * int64_t{size_} >= 4 * slots_.size()) grow();
    const uint32_t hash = hash_of(wanted);
    Slot& slot = slots_(slot_of(hash, wanted));
    if (slot.place != 0) return static_cast<int32_t>(slot.place);
    if (size_ == kMostPlaces) throw Failure(kUnreadable, "more than 2147483647 identities");
    if (size_ == entries_.size()) lengthen_entries();
    Entry& entry = entries_(++size_);
    if (wanted.size() <= sizeof entry.bytes) {
        wanted.copy(entry.bytes, wanted.size());
        entry.length = static_cast<unsigned char>(wanted.size());
    } else {
        const LongText where{long_texts_.size(), static_cast<uint32_t>(wanted.size())};
        std::memcpy(entry.bytes, &where, sizeof where.begin + sizeof where.size);
        entry.length = kLong;
        long_texts_ += wanted;
    }
    slot = {static_cast<uint32_t>(size_), hash};
    return size_;
}

std::optional<int32_t> integer_identity(std::string_view text) {
    int32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < 1 || text.front() == '0') return {};
    return value;
}

std::vector<int32_t> identity_codes(const IdentityTable& identities, bool renumber) {
    const int32_t n = identities.size();
    std::vector<int32_t> codes(static_cast<std::size_t>(n) + 1);
    std::vector<int32_t> kept;
    for (int32_t place = 1; place <= n; ++place) {
        int32_t& code = codes[static_cast<std::size_t>(place)];
        code = renumber ? place : integer_identity(identities.text(place)).value_or(0);
        if (code != 0) kept.push_back(code);
    }
    std::ranges::sort(kept);
    const std::size_t n_others = static_cast<std::size_t>(n) - kept.size();
    int64_t next = kept.empty() ? 1 : int64_t{kept.back()} + 1;
    if (next + static_cast<int64_t>(n_others) - 1 > INT32_MAX) next = 1;
    auto taken = kept.begin();
    for (std::size_t place = 1; place < codes.size(); ++place) {
        if (codes[place] != 0) continue;
        while (taken != kept.end() && *taken <= next) {
            if (*taken == next) ++next;
            ++taken;
        }
        codes[place] = static_cast<int32_t>(next++);
    }
    return codes;
}

void CodeNames::add(int32_t code, std::string_view text) {
    places_.emplace_back(code, texts_.size());
    texts_ += text;
    texts_ += '\0';
}

void CodeNames::put_in_order() { std::ranges::sort(places_); }

std::string_view CodeNames::operator[](int32_t code) const {
    const auto found =
        std::ranges::lower_bound(places_, code, {}, &std::pair<int32_t, uint64_t>::first);
    if (found == places_.end() || found->first != code) return {};
    return texts_.data() + found->second;
}

namespace {

// Lets `take` look at the code and these columns of each record of a table that kve has written.
template <std::size_t N, class Take>
void read_codes(const std::string& file, const char* const (&names)[N], Take take) {
    TableForm form;
    form.delimiter = '\t';
    form.has_header = true;
    TableReader table(file, form);
    const auto column_of = [&](const char* name) {
        const std::optional<std::size_t> found = table.find(name);
        if (!found) throw Failure(kUnreadable, fmt::format("{}: no column {}", file, name));
        return *found;
    };
    const std::size_t code = column_of("code");
    std::array<std::size_t, N> columns{};
    std::ranges::transform(names, columns.begin(), column_of);
    while (table.next()) {
        const std::optional<int64_t> value = parse_integer(table.field(code));
        if (!value || *value < INT32_MIN || *value > INT32_MAX)
            table.refuse(fmt::format("\"{}\" is no code", table.field(code)));
        std::array<std::string_view, N> fields;
        std::ranges::transform(columns, fields.begin(),
                               [&](std::size_t column) { return table.field(column); });
        take(static_cast<int32_t>(*value), fields);
    }
}

}  // namespace

UserNames::UserNames(const std::string& ids_file) {
    read_codes(ids_file, {"identity"},
               [&](int32_t code, const auto& fields) { identities_.add(code, fields[0]); });
    identities_.put_in_order();
    const auto beside = std::filesystem::path(ids_file).parent_path() / "classes.tsv";
    if (!std::filesystem::exists(beside)) return;
    read_codes(beside.string(), {"column", "name"}, [&](int32_t code, const auto& fields) {
        classes_[std::string(fields[0])].add(code, fields[1]);
    });
    for (auto& [column, names] : classes_) names.put_in_order();
}

std::string UserNames::name_of(const std::string& column, int32_t code) const {
    const auto found = classes_.find(column);
    const std::string_view name = found != classes_.end() ? found->second[code] : identities_[code];
    return name.empty() ? std::to_string(code) : std::string(name);
}

}  // namespace kve::companion
