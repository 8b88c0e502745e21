#include "kve/files/listing_words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <ranges>
#include <span>
#include <string_view>

namespace kve::companion {

namespace {

constexpr std::string_view kPageHead = "Multivariate Mixed Model Package";

using Lines = std::span<const std::string>;

std::string_view without_margin(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(" *"), line.size()));
    return line;
}

bool begins_message(std::string_view line) {
    constexpr std::array<std::string_view, 8> kWords{"ERROR",
                                                     "Error",
                                                     "Problem",
                                                     "Serious",
                                                     "BITSTR ERROR",
                                                     "WARNING WARNING",
                                                     "Method used to compute A-inverse",
                                                     "ONE OR MORE INPUT VARIABLES USED"};
    return std::ranges::any_of(
        kWords, [text = without_margin(line)](auto word) { return text.starts_with(word); });
}

// "Program terminates", in one of its forms.
bool is_last_line(std::string_view line) {
    constexpr std::size_t kLongest = 40;
    line = without_margin(line);
    if (line.size() > kLongest || begins_message(line)) return false;
    return std::ranges::any_of(std::array{"erminate", "borted", "TERMINATE"},
                               [line](auto word) { return line.find(word) != line.npos; });
}

Lines without_end(Lines lines) {
    while (!lines.empty() && (lines.back().empty() || is_last_line(lines.back())))
        lines = lines.first(lines.size() - 1);
    return lines;
}

// Each message without its margin.
std::vector<std::string> tidy(Lines lines) {
    std::vector<std::string> tidied;
    std::size_t margin = 0;
    for (const std::string& line : lines) {
        if (line.empty()) continue;
        const std::size_t indent = line.find_first_not_of(' ');
        margin = tidied.empty() || begins_message(line) ? indent : std::min(margin, indent);
        tidied.push_back(line.substr(margin));
    }
    return tidied;
}

// So many paragraphs at the end, blank lines being between them.
Lines last_paragraphs(Lines lines, int n) {
    constexpr std::size_t kMost = 80;
    std::size_t at = lines.size();
    const std::size_t first = at - std::min(at, kMost);
    while (at > first && (!lines[at - 1].empty() || --n > 0)) {
        --at;
        while (at > first && lines[at].empty() && lines[at - 1].empty()) --at;
    }
    return lines.subspan(at);
}

Lines first_paragraph(Lines lines) {
    return lines.first(static_cast<std::size_t>(std::ranges::find(lines, "") - lines.begin()));
}

// The message that stands last, with those right above it; empty when there is none.
Lines last_message(Lines lines) {
    for (std::size_t at = lines.size(); at-- > 0;) {
        if (!begins_message(lines[at])) continue;
        while (at > 0 && begins_message(lines[at - 1])) --at;
        return lines.subspan(at);
    }
    return {};
}

// The directives: all messages, each to the next blank line.
std::vector<std::string> all_messages(Lines lines) {
    std::vector<std::string> found;
    for (std::size_t at = 0; at < lines.size(); ++at) {
        if (!begins_message(lines[at])) continue;
        std::size_t end = at;
        while (end < lines.size() && !lines[end].empty()) ++end;
        std::ranges::copy(tidy(lines.subspan(at, end - at)), std::back_inserter(found));
        at = end;
    }
    return found;
}

Lines::iterator find_line(Lines lines, std::string_view text) {
    return std::ranges::find_if(
        lines, [text](const std::string& line) { return line.find(text) != line.npos; });
}

// A count that stands behind the words; -1 when the line is another one.
int64_t count_behind(const std::string& line, std::string_view words) {
    const std::size_t at = line.find(words);
    if (at == line.npos) return -1;
    return std::strtoll(line.c_str() + at + words.size(), nullptr, 10);
}

// A text without the head of a listing has been cut by the user.
bool is_of_another_run(const std::filesystem::path& file, const RunFolder& run) {
    constexpr int kHead = 5;
    const std::string date = run.run().RUN_DATE.string();
    std::ifstream from(file, std::ios::binary);
    std::string line;
    for (int n = 0; n < kHead && std::getline(from, line); ++n)
        if (line.find(kPageHead) != line.npos) return line.find(date) == line.npos;
    return false;
}

}  // namespace

std::filesystem::path find_listing(const RunFolder& run) {
    std::error_code ignored;
    for (const char* name : {"listing", "KVE1.lst", "listing.txt", "listing.out", "KVE1.out"})
        if (std::filesystem::path file = run.path() / name;
            std::filesystem::is_regular_file(file, ignored) && !is_of_another_run(file, run))
            return file;
    return {};
}

std::vector<std::string> read_listing(const std::filesystem::path& file) {
    std::ifstream from(file, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(from, line);) {
        if (line.find(kPageHead) != line.npos) line.clear();
        line.erase(line.find_last_not_of(" \r") + 1);
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> find_reason(const std::vector<std::string>& listing) {
    constexpr int kNear = 6, kNearClosing = 10;  // paragraphs
    // Behind this line stands a copy of KVE_LOG, at whose end a fault of the model is told.
    const auto log = find_line(listing, "ERROR(S) found in model directives");
    const Lines all(listing);
    const auto ahead = static_cast<std::size_t>(log - all.begin());
    if (ahead < all.size()) {
        const Lines end = last_paragraphs(without_end(all.subspan(ahead + 1)), kNear);
        if (const Lines found = last_message(end); !found.empty()) return tidy(found);
    }
    Lines lines = without_end(all.first(ahead));
    if (lines.empty()) return {};
    if (lines.back().find("ERROR(S) FOUND IN DIRECTIVE FILE") != std::string::npos)
        return all_messages(lines.first(lines.size() - 1));
    const bool is_closing = lines.back().starts_with("ERROR(s) found");
    if (is_closing) lines = without_end(lines.first(lines.size() - 1));
    // Faults that are told ahead of the pages of the model, and stop the run after them.
    if (!lines.empty() && lines.back().starts_with("Matrix no., Row and Col identifies"))
        return tidy(first_paragraph(last_message(lines)));
    const Lines found = last_message(last_paragraphs(lines, is_closing ? kNearClosing : kNear));
    return tidy(found.empty() ? last_paragraphs(lines, 1) : found);
}

ListedData find_data_figures(const std::vector<std::string>& listing) {
    constexpr std::size_t kName = 8;
    ListedData figures;
    const Lines all(listing);
    auto line = find_line(all, "SUMMARY OF DATA FILE");
    std::vector<int64_t> dropped;
    for (; line != all.end() && *line != "DEPENDENT VARIABLES (TRAITS)"; ++line) {
        if (const int64_t n = count_behind(*line, "No of records processed ............."); n >= 0)
            figures.records = n;
        if (line->find("No of Datapoints dropped for ") == 0)
            dropped.push_back(std::strtoll(line->substr(line->rfind(' ')).c_str(), nullptr, 10));
    }
    constexpr int kAboveTable = 3;  // the title, a blank line, the heads of the columns
    for (line += std::min<std::ptrdiff_t>(kAboveTable, all.end() - line);
         line != all.end() && line->size() > kName; ++line) {
        TraitRecords trait{.name = line->substr(0, line->find_last_not_of(' ', kName - 1) + 1)};
        std::sscanf(line->c_str() + kName, "%*d %ld", &trait.used);
        if (figures.traits.size() < dropped.size()) trait.dropped = dropped[figures.traits.size()];
        figures.traits.push_back(trait);
    }
    return figures;
}

int64_t find_fixed_equations(const std::vector<std::string>& listing) {
    const char* const kWords = "Total no of fixed levels";
    const auto line = find_line(listing, kWords);
    return line == Lines(listing).end() ? 0 : count_behind(*line, kWords);
}

}  // namespace kve::companion
