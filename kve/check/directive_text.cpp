#include "kve/check/directive_text.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "base/text.h"

namespace kve::companion {

namespace {

const TextLine kNoLine{};

// As the reader sees it: blanks in front of "$" do not matter, a tab makes the line text.
TextLine::Kind kind_of_line(std::string_view line) {
    const std::size_t first = line.find_first_not_of(' ');
    if (first == line.npos || trimmed(line).empty()) return TextLine::Kind::blank;
    if (line[first] == '$') return TextLine::Kind::keyword;
    return left_adjusted(line).front() == '#' ? TextLine::Kind::comment : TextLine::Kind::text;
}

Keyword keyword_at(std::string_view line) {
    std::string_view rest = left_adjusted(line).substr(1);
    return keyword_of(cut_word(rest));
}

std::string in_small_letters(std::string_view text) {
    std::string small(text);
    for (char& c : small) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return small;
}

// Letters to be changed, left out, added or exchanged with their neighbour.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<std::size_t>> d(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i)
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                d[i][j] = i + j;
                continue;
            }
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                                d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    return d[a.size()][b.size()];
}

}  // namespace

std::vector<Word> words_of(std::string_view line) {
    std::vector<Word> words;
    for (std::size_t at = 0; at < line.size();) {
        if (is_blank(line[at])) {
            ++at;
            continue;
        }
        std::size_t end = at;
        while (end < line.size() && !is_blank(line[end])) ++end;
        words.push_back({line.substr(at, end - at), static_cast<int64_t>(at) + 1});
        at = end;
    }
    return words;
}

DirectiveText::DirectiveText(std::string name, std::string text)
    : name_(std::move(name)), text_(std::move(text)) {
    Keyword section = Keyword::text;
    for (std::string_view rest = text_; !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        TextLine line{rest.substr(0, end)};
        rest.remove_prefix(std::min(end + 1, rest.size()));
        line.kind = kind_of_line(line.text);
        if (line.kind == TextLine::Kind::keyword) section = keyword_at(line.text);
        line.keyword = section;
        lines_.push_back(line);
    }
}

const TextLine& DirectiveText::line(int64_t number) const {
    const bool exists = number >= 1 && number <= count();
    return exists ? lines_[static_cast<std::size_t>(number - 1)] : kNoLine;
}

Place DirectiveText::place(int64_t number, std::string_view word) const {
    const std::vector<Word> words = words_of(line(number).text);
    if (words.empty()) return {name_, number, 0};
    if (word.empty()) return {name_, number, words[0].column};
    const auto whole = std::ranges::find(words, word, &Word::text);
    if (whole != words.end()) return {name_, number, whole->column};
    const std::size_t part = line(number).text.find(word);
    const bool found = part != std::string_view::npos;
    return {name_, number, found ? static_cast<int64_t>(part) + 1 : words[0].column};
}

Place DirectiveText::place_in_section(int64_t number, std::string_view word) const {
    const int64_t end = end_of_section(number);
    for (int64_t k = number; k < end; ++k)
        for (const Word& found : words_of(line(k).text))
            if (found.text == word && line(k).kind != TextLine::Kind::comment)
                return {name_, k, found.column};
    return place(number, word);
}

int64_t DirectiveText::keyword_line(Keyword keyword) const {
    for (int64_t k = 1; k <= count(); ++k)
        if (line(k).kind == TextLine::Kind::keyword && line(k).keyword == keyword) return k;
    return 0;
}

int64_t DirectiveText::end_of_section(int64_t number) const {
    int64_t end = number + 1;
    while (end <= count() && line(end).kind != TextLine::Kind::keyword) ++end;
    return end;
}

std::string most_similar(std::string_view word, const std::vector<std::string>& names) {
    std::string best;
    std::size_t least = word.size() / 3 + 1;
    if (word.size() > 64) return best;
    for (const std::string& name : names) {
        // It takes as many changes at least.
        if (std::max(name.size(), word.size()) - std::min(name.size(), word.size()) > least)
            continue;
        const std::size_t d = distance(in_small_letters(word), in_small_letters(name));
        if (d >= least && !(d == least && best.empty() && word.size() <= 2)) continue;
        least = d;
        best = name;
    }
    return best;
}

std::string folded(std::string_view text) {
    std::string line(text), out;
    std::ranges::replace(line, '\n', ' ');
    for (const Word& word : words_of(line)) out.append(out.empty() ? "" : " ").append(word.text);
    return out;
}

}  // namespace kve::companion
