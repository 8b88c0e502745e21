#include "kve/prep/findings.h"

#include <fmt/format.h>

#include <algorithm>

#include "kve/shared/table_text.h"

namespace kve::companion::prep {

Findings::Findings(const std::string& rejected_file) : out_(rejected_file) {
    out_.put("file\tline\tcolumn\ttext\treason\n");
}

namespace {

// What fits on the screen: a text may have line ends and be as long as a record.
std::string shortened(std::string_view text) {
    constexpr std::size_t kWidest = 40;
    std::string_view front = text.substr(0, kWidest);
    if (front.size() < text.size())  // not in the middle of a letter
        while (!front.empty() && (static_cast<unsigned char>(text[front.size()]) & 0xC0) == 0x80)
            front.remove_suffix(1);
    std::string plain(front);
    std::ranges::replace_if(
        plain, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    return front.size() < text.size() ? plain + "..." : plain;
}

}  // namespace

void Findings::add(Consequence consequence, const std::string& file, int64_t line,
                   const std::string& column, std::string_view text, const std::string& reason) {
    ++n_all_;
    auto found = std::ranges::find_if(kinds_, [&](const Kind& kind) {
        return kind.consequence == consequence && kind.column == column && kind.reason == reason &&
               kind.table == table_;
    });
    if (found == kinds_.end())
        found =
            kinds_.insert(kinds_.end(), {consequence, table_, column, reason, 0,
                                         fmt::format("line {}, \"{}\"", line, shortened(text))});
    ++found->n;
    out_.put(std::string_view(table_field(file, '\t')));
    out_.put('\t');
    out_.put(line);
    for (const std::string_view field :
         {std::string_view(column), text, std::string_view(reason)}) {
        out_.put('\t');
        out_.put(std::string_view(table_field(field, '\t')));
    }
    out_.put('\n');
}

int64_t Findings::count(Consequence consequence, int table) const {
    int64_t n = 0;
    for (const Kind& kind : kinds_)
        n += kind.consequence == consequence && kind.table == table ? kind.n : 0;
    return n;
}

}  // namespace kve::companion::prep
