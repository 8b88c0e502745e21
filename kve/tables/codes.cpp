#include "kve/tables/codes.h"

#include <algorithm>
#include <limits>

#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"
#include "kve/tables/table_reader.h"

namespace kve::companion {

namespace {

constexpr int32_t kLargest = std::numeric_limits<int32_t>::max();

// The codes that an earlier table has for these identities; the others are 0.
Codes read_earlier_codes(const IdentityTable& identities, const std::string& file,
                         std::vector<int32_t>& used) {
    const std::size_t n = static_cast<std::size_t>(identities.size()) + 1;
    Codes codes{std::vector<int32_t>(n), std::vector<bool>(n), {}};
    TableForm form;
    form.delimiter = '\t';
    form.has_header = true;
    TableReader table(file, form);
    const std::size_t identity = table.column("identity"), code = table.column("code");
    while (table.next()) {
        const std::optional<int32_t> value = integer_identity(table.field(code));
        if (!value) table.refuse("not a code of an identity");
        used.push_back(*value);
        const auto place = static_cast<std::size_t>(identities.find(table.field(identity)));
        if (place != 0) {
            codes.of[place] = *value;
            codes.is_earlier[place] = true;
        } else {
            codes.others.emplace_back(table.field(identity), *value);
        }
    }
    std::ranges::sort(used);
    if (std::ranges::adjacent_find(used) != used.end())
        throw Failure(kUnreadable, file + ": one code for two identities");
    return codes;
}

}  // namespace

Codes make_codes(const IdentityTable& identities, bool renumber, const std::string& earlier_ids) {
    if (earlier_ids.empty()) return {identity_codes(identities, renumber), {}, {}};
    std::vector<int32_t> used;
    Codes codes = read_earlier_codes(identities, earlier_ids, used);
    int32_t largest = used.empty() ? 0 : used.back();
    std::vector<std::size_t> fresh;  // places that get a number above all others
    for (std::size_t place = 1; place < codes.of.size(); ++place) {
        int32_t& code = codes.of[place];
        if (code != 0) continue;
        const std::optional<int32_t> own =
            integer_identity(identities.text(static_cast<int32_t>(place)));
        if (own && !std::ranges::binary_search(used, *own))
            largest = std::max(largest, code = *own);
        else
            fresh.push_back(place);
    }
    for (const std::size_t place : fresh) {
        if (largest == kLargest)
            throw Failure(kUnreadable, earlier_ids + ": no codes are left for new identities");
        codes.of[place] = ++largest;
    }
    return codes;
}

void write_ids(const std::string& file, const IdentityTable& identities, const Codes& codes) {
    Output out(file);
    out.put("identity\tcode\n");
    const auto put = [&](std::string_view identity, int32_t code) {
        out.put(std::string_view(table_field(identity, '\t')));
        out.put('\t');
        out.put(code);
        out.put('\n');
    };
    for (const auto& [identity, code] : codes.others) put(identity, code);
    // In the order in which the texts lie.
    for (int32_t place = 1; place <= identities.size(); ++place)
        if (const int32_t code = codes.of[static_cast<std::size_t>(place)]; code != 0)
            put(identities.text(place), code);
    out.finish();
}

}  // namespace kve::companion
