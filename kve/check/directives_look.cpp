// What the text of the directive file says, where the reader of KVE1 does not mind.
#include <fmt/format.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <regex>
#include <system_error>
#include <utility>

#include "base/state.h"
#include "directives/directive_lines.h"
#include "directives/directives.h"
#include "kve/check/look.h"
#include "kve/check/words.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

bool is_free_text(Keyword keyword) {
    switch (keyword) {
        case Keyword::COMMENT:
        case Keyword::KVE4:
        case Keyword::KVE5:
        case Keyword::KVEAI:
        case Keyword::KVEMGP:
        case Keyword::KVEGS:
            return true;
        default:
            return false;
    }
}

// "/" joins a line with the next one. A third line overwrites the second from its end on.
void look_for_three_joined(Look& look, int64_t number) {
    int joined = 0;
    for (int64_t k = number; look.text.line(k).kind == TextLine::Kind::text; ++k) {
        const std::string line = folded(look.text.line(k).text);
        if (!line.ends_with('/')) break;
        if (++joined == 2)
            return look.findings.error("three-lines", look.text.place(k),
                                       "the line after this one would be the third that is joined, "
                                       "and overwrite part of the second",
                                       "Join two lines at most");
    }
}

void look_for_long_line(Look& look, int64_t number) {
    const TextLine& line = look.text.line(number);
    if (line.text.size() <= kLongestPhysicalLine || line.kind == TextLine::Kind::comment) return;
    look.findings.error("long-line", {look.text.name(), number, kLongestPhysicalLine + 1},
                        fmt::format("the line has {} characters, only the first {} are read",
                                    line.text.size(), kLongestPhysicalLine));
}

// ---- Decimal commas

// The number after the whole text before it, when it has a comma.
struct CommaPlace {
    Keyword keyword;
    const char* pattern;  // its first group is the number
};

constexpr CommaPlace kCommaPlaces[] = {
    {Keyword::DATA, R"(\(\s*\d+\s*,\s*\d+\s*,\s*([-+]?\d*,\d+)\s*\))"},
    {Keyword::PRIOR, R"(^\s*\d+[\s,]+\d+[\s,]+\d+[\s,]+([-+]?\d+,\d+))"},
    {Keyword::MODEL, R"(\(\s*([-+]?\d+,\d+)\s*\))"},
    {Keyword::VAR_STR, R"([\s]([-+]?\d+,\d+)(?=\s|$))"},
    {Keyword::GLMM, R"([=\s]([-+]?\d+,\d+)(?=\s|$))"},
    {Keyword::GLMM_PRED, R"([\s]([-+]?\d+,\d+)(?=\s|$))"},
};

const std::regex& pattern_of(Keyword keyword) {
    static const std::map<Keyword, std::regex> patterns = [] {
        std::map<Keyword, std::regex> all;
        for (const CommaPlace& entry : kCommaPlaces) all.emplace(entry.keyword, entry.pattern);
        return all;
    }();
    static const std::regex never("(?!)");
    const auto found = patterns.find(keyword);
    return found == patterns.end() ? never : found->second;
}

// A line that may be a few megabytes long is no place to look for a number.
constexpr std::size_t kLongestLooked = 1000;

void tell_decimal_comma(Look& look, const Place& place, const std::string& number) {
    const std::string before = number.substr(0, number.find(','));
    look.findings.error("decimal-comma", place,
                        fmt::format("{} is read as {} and another number", number, before),
                        fmt::format("The decimal sign is a point: {}.{}", before,
                                    number.substr(before.size() + 1)));
}

void look_for_decimal_comma(Look& look, Keyword keyword, std::string_view line, Place place) {
    std::match_results<std::string_view::const_iterator> found;
    if (line.size() > kLongestLooked ||
        !std::regex_search(line.begin(), line.end(), found, pattern_of(keyword)))
        return;
    place.column = found.position(1) + 1;
    tell_decimal_comma(look, place, found.str(1));
}

void look_at_prior_file(Look& look) {
    if (!DIRECTIVES.prior.from_user) return;
    for (int64_t k = 1; k <= count_prior_lines(); ++k)
        look_for_decimal_comma(look, Keyword::PRIOR, prior_line(look, k), place_in_priors(look, k));
}

// A run that stopped has left it, and any run reads it.
void look_for_stale_restrictions(Look& look) {
    std::error_code ignored;
    if (!DIRECTIVES.cvrest_file.blank() ||
        !std::filesystem::exists(std::filesystem::path(look.outputs) / "CVREST.DIR", ignored))
        return;
    look.findings.warn("stale-restrictions", {"CVREST.DIR", 0, 0},
                       "an earlier run has left this file, and the next one takes it for $VAR_REST",
                       "Delete it");
}

// ---- Names

struct ColumnName {
    std::string whole;
    Place place;
};

// As they stand in the directive file; ranges have no two alike by themselves.
std::vector<ColumnName> names_in_text(const Look& look) {
    std::vector<ColumnName> names;
    const int64_t first = look.text.keyword_line(Keyword::VARIABLE);
    const int64_t end = first > 0 ? look.text.end_of_section(first) : first;
    for (int64_t k = first + 1; k < end; ++k) {
        if (look.text.line(k).kind != TextLine::Kind::text) continue;
        for (const Word& word : words_of(look.text.line(k).text))
            if (word.text != "/")
                names.push_back({std::string(word.text), {look.text.name(), k, word.column}});
    }
    return names;
}

void look_for_names_alike(Look& look) {
    constexpr std::size_t kCounts = 8;
    std::map<std::string, std::string> seen;  // the last of its kind
    for (const ColumnName& name : names_in_text(look)) {
        if (name.whole.find('[') != std::string::npos) continue;
        const std::string other = std::exchange(seen[name.whole.substr(0, kCounts)], name.whole);
        if (other.empty()) continue;
        look.findings.warn(
            "names-alike", name.place,
            other == name.whole
                ? fmt::format("two columns have the name {}", name.whole)
                : fmt::format("{} and {} are alike in their first 8 characters, which count",
                              name.whole, other),
            "The listing cannot tell the two apart");
    }
}

// The keyword with which a text line seems to begin: behind a tab, or without its "$". The first
// 9 characters of a line under $VAR_STR may be any.
Keyword hidden_keyword(const TextLine& line, Keyword section) {
    if (line.kind != TextLine::Kind::text || is_free_text(section)) return Keyword::text;
    const std::string_view word = words_of(line.text)[0].text;
    if (word.front() == '$') return keyword_of(word.substr(1));
    const Keyword keyword = keyword_of(word);
    return section == Keyword::VARIABLE || section == keyword ? Keyword::text : keyword;
}

}  // namespace

void look_for_unread_lines(Look& look) {
    const int64_t last = DIRECTIVES.last_line_used;
    if (last == 0) return;
    std::string unread;
    for (int64_t k = last + 1; k <= look.text.count(); ++k) {
        const TextLine& line = look.text.line(k);
        if (line.kind == TextLine::Kind::keyword) add_item(unread, words_of(line.text)[0].text);
    }
    const std::string_view keyword = keyword_name(look.text.line(last).keyword);
    look.findings.error("reading-ended", look.text.place(last),
                        fmt::format("this text line ends the reading, as ${} takes one line{}",
                                    keyword, unread.empty() ? "" : "; not seen: " + unread));
}

std::string uncover_keywords(const DirectiveText& text, Findings& findings) {
    std::string uncovered;
    Keyword section = Keyword::text;
    for (int64_t k = 1; k <= text.count(); ++k) {
        std::string line(text.line(k).text);
        if (const Keyword keyword = hidden_keyword(text.line(k), section);
            keyword != Keyword::text) {
            const Word word = words_of(line)[0];
            const bool has_sign = word.text.front() == '$';
            findings.error("hidden-keyword", {text.name(), k, word.column},
                           fmt::format("{} {}, so the line is none of a keyword", word.text,
                                       has_sign ? "stands behind a tab" : "has no $"));
            line = (has_sign ? "" : "$") + line.substr(static_cast<std::size_t>(word.column - 1));
            section = keyword;
        }
        if (text.line(k).kind == TextLine::Kind::keyword) section = text.line(k).keyword;
        uncovered.append(line).append("\n");
    }
    return findings.has("hidden-keyword") ? uncovered : text.whole();
}

void look_at_directives(Look& look) {
    look_for_stale_restrictions(look);
    for (int64_t k = 1; k <= look.text.count(); ++k) {
        const TextLine& line = look.text.line(k);
        look_for_long_line(look, k);
        if (line.kind == TextLine::Kind::comment || line.kind == TextLine::Kind::blank) continue;
        if (DIRECTIVES.last_line_used > 0 && k >= DIRECTIVES.last_line_used) continue;
        if (line.kind == TextLine::Kind::text && !folded(look.text.line(k - 1).text).ends_with('/'))
            look_for_three_joined(look, k);
        look_for_decimal_comma(look, line.keyword, line.text, {look.text.name(), k, 0});
    }
    look_at_prior_file(look);
    look_for_names_alike(look);
}

}  // namespace kve::companion
