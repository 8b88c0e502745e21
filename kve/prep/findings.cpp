#include "kve/prep/findings.h"

#include <fmt/format.h>

#include <algorithm>

#include "kve/shared/table_text.h"

namespace kve::companion::prep {

Findings::Findings(const std::string& rejected_file) : out_(rejected_file) {
    out_.put("file\tline\tcolumn\ttext\treason\n");
}

void Findings::add(Consequence consequence, const std::string& file, int64_t line,
                   const std::string& column, std::string_view text, const std::string& reason) {
    ++n_all_;
    auto found = std::ranges::find_if(kinds_, [&](const Kind& kind) {
        return kind.consequence == consequence && kind.column == column && kind.reason == reason &&
               kind.file == file;
    });
    if (found == kinds_.end())
        found = kinds_.insert(kinds_.end(), {consequence, file, column, reason, 0,
                                             fmt::format("line {}, \"{}\"", line, text)});
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

int64_t Findings::count(Consequence consequence) const {
    int64_t n = 0;
    for (const Kind& kind : kinds_) n += kind.consequence == consequence ? kind.n : 0;
    return n;
}

int64_t Findings::count(Consequence consequence, const std::string& file) const {
    int64_t n = 0;
    for (const Kind& kind : kinds_)
        n += kind.consequence == consequence && kind.file == file ? kind.n : 0;
    return n;
}

}  // namespace kve::companion::prep
