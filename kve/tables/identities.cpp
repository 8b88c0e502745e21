#include "kve/tables/identities.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <functional>

#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"
#include "kve/tables/table_reader.h"
#include "kve/tables/values.h"

namespace kve::companion {

namespace {

constexpr unsigned char kLong = 255;
constexpr std::size_t kMostPlaces = INT32_MAX;
constexpr std::size_t kSlotsInCache = 8192;  // with so many it is there anyway

struct LongText {
    uint64_t begin;
    uint32_t size;
};

}  // namespace

bool IdentityTable::holds(const Slot& slot, uint32_t mark, std::string_view wanted) const {
    return slot.mark == mark && text(static_cast<int32_t>(slot.place)) == wanted;
}

std::string_view IdentityTable::text(int32_t place) const {
    const Entry& entry = entries_[static_cast<std::size_t>(place) - 1];
    if (entry.length != kLong) return {entry.bytes, entry.length};
    LongText where;
    std::memcpy(&where, entry.bytes, sizeof where.begin + sizeof where.size);
    return std::string_view(long_texts_).substr(where.begin, where.size);
}

void IdentityTable::grow() {
    std::vector<Slot> old(std::max<std::size_t>(64, 2 * slots_.size()));
    old.swap(slots_);
    const std::size_t last = slots_.size() - 1;
    for (const Slot& slot : old) {
        if (slot.place == 0) continue;
        // The mark is the upper half of the hash; the slot must be found from the text.
        std::size_t at = std::hash<std::string_view>()(text(static_cast<int32_t>(slot.place)));
        for (at &= last; slots_[at].place != 0;) at = (at + 1) & last;
        slots_[at] = slot;
    }
}

void IdentityTable::fetch_slot(std::string_view text) const {
    if (slots_.size() < kSlotsInCache) return;
    __builtin_prefetch(&slots_[std::hash<std::string_view>()(text) & (slots_.size() - 1)]);
}

void IdentityTable::fetch_text(std::string_view text) const {
    if (slots_.size() < kSlotsInCache) return;
    const Slot& slot = slots_[std::hash<std::string_view>()(text) & (slots_.size() - 1)];
    if (slot.place != 0) __builtin_prefetch(&entries_[slot.place - 1]);
}

int32_t IdentityTable::find(std::string_view wanted) const {
    if (slots_.empty()) return 0;
    const std::size_t hash = std::hash<std::string_view>()(wanted);
    const auto mark = static_cast<uint32_t>(hash >> 32);
    const std::size_t last = slots_.size() - 1;
    for (std::size_t at = hash & last; slots_[at].place != 0; at = (at + 1) & last)
        if (holds(slots_[at], mark, wanted)) return static_cast<int32_t>(slots_[at].place);
    return 0;
}

int32_t IdentityTable::place_of(std::string_view wanted) {
    if (2 * entries_.size() >= slots_.size()) grow();
    const std::size_t hash = std::hash<std::string_view>()(wanted);
    const auto mark = static_cast<uint32_t>(hash >> 32);
    const std::size_t last = slots_.size() - 1;
    std::size_t at = hash & last;
    for (; slots_[at].place != 0; at = (at + 1) & last)
        if (holds(slots_[at], mark, wanted)) return static_cast<int32_t>(slots_[at].place);
    if (entries_.size() == kMostPlaces)
        throw Failure(kUnreadable, "more than 2147483647 identities");
    Entry entry{};
    if (wanted.size() <= sizeof entry.bytes) {
        wanted.copy(entry.bytes, wanted.size());
        entry.length = static_cast<unsigned char>(wanted.size());
    } else {
        const LongText where{long_texts_.size(), static_cast<uint32_t>(wanted.size())};
        std::memcpy(entry.bytes, &where, sizeof where.begin + sizeof where.size);
        entry.length = kLong;
        long_texts_ += wanted;
    }
    entries_.push_back(entry);
    slots_[at] = {static_cast<uint32_t>(entries_.size()), mark};
    return size();
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

void write_ids(const std::string& file, const IdentityTable& identities,
               const std::vector<int32_t>& codes) {
    Output out(file);
    out.put("identity\tcode\n");
    for (int32_t place = 1; place <= identities.size(); ++place) {
        out.put(std::string_view(table_field(identities.text(place), '\t')));
        out.put('\t');
        out.put(codes[static_cast<std::size_t>(place)]);
        out.put('\n');
    }
    out.finish();
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
