#include "kve/results/model_words.h"

#include <fmt/format.h>

#include <algorithm>

#include "kve/files/code_lists.h"

namespace kve::companion {

const char* trait_type_name(int32_t type) {
    switch (type) {
        case kGaussian:
            return "Gaussian";
        case kRightCensored:
            return "right censored";
        case kCategorical:
            return "categorical";
        case kBinary:
            return "binary";
        case kMixtureLinear:
            return "linear trait of a mixed pair";
        case kGeneralized:
            return "generalized";
        case kSequentialBinary:
            return "sequential binary";
        case kSequentialLinear:
            return "linear trait of a sequential pair";
        default:
            return "of unknown type";
    }
}

std::vector<std::optional<int64_t>> count_records(const RunFolder& run) {
    std::vector<std::optional<int64_t>> records(run.traits().size());
    records[0] = run.trait(1).n_obs;
    std::optional<CodeFile> file;
    for (const CodeList& list : lists_of(run)) {
        if (list.kind != CodeList::fixed) break;
        if (!file) file.emplace(run);
        int64_t n = 0;
        for (int64_t j = 0; j < list.n_levels; ++j) n += file->read(list).n_obs;
        if (list.effect == 1) records[static_cast<std::size_t>(list.trait) - 1] = n;
    }
    return records;
}

std::string regressions_of(const Model& m) {
    std::vector<std::string> all;
    for (int32_t r = 1; r <= m.n_reg; ++r)
        all.push_back(m.reg_name_n(r).blank() ? m.reg_name(r).string() : m.reg_name_n(r).string());
    return fmt::format("{}", fmt::join(all, ", "));
}

std::string restrictions_of(const RMatrix& r) {
    std::vector<std::string> all;
    const auto add_elements = [&](const char* what, const Matrix<logical4>& marks) {
        std::string places;
        for (int32_t i = 1; i <= std::min(r.rank, static_cast<int32_t>(marks.rows())); ++i)
            for (int32_t j = 1; j <= i; ++j)
                if (marks(i, j)) places += fmt::format(" ({},{})", i, j);
        if (!places.empty()) all.push_back(what + places);
    };
    add_elements("fixed", r.l_cv_rest);
    add_elements("fixed correlation", r.l_cor_rest);
    add_elements("zero", r.l_rcov_zero);
    std::string rows;
    for (int32_t i = 1; r.l_vratio_mat_rest && i <= r.l_vratio_elem.size(); ++i)
        if (r.l_vratio_elem(i)) rows += fmt::format(" {}", i);
    if (!rows.empty()) all.push_back("ratio of variances in row" + rows);
    if (r.l_vratio_nom) all.push_back("in the numerator of the ratio");
    if (r.l_vratio_denon) all.push_back("in the denominator of the ratio");
    return fmt::format("{}", fmt::join(all, ", "));
}

}  // namespace kve::companion
