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

namespace {

// The places of the lower triangle that are marked.
std::string marked(const Matrix<logical4>& marks, int32_t order) {
    std::string places;
    for (int32_t i = 1; marks.size() > 0 && i <= order; ++i)
        for (int32_t j = 1; j <= i; ++j)
            if (marks(i, j)) places += fmt::format(" ({},{})", i, j);
    return places;
}

std::string marked(const Vec<logical4>& marks) {
    std::string places;
    for (int32_t i = 1; i <= marks.size(); ++i)
        if (marks(i)) places += fmt::format(" {}", i);
    return places;
}

}  // namespace

std::string restrictions_of(const RMatrix& r) {
    std::vector<std::string> all;
    const auto add = [&](const char* what, const std::string& places) {
        if (!places.empty()) all.push_back(what + places);
    };
    add("fixed", marked(r.l_cv_rest, r.rank));
    add("fixed correlation", marked(r.l_cor_rest, r.rank));
    add("zero", marked(r.l_rcov_zero, r.rank));
    if (r.l_vratio_mat_rest) add("ratio of variances in row", marked(r.l_vratio_elem));
    if (r.l_vratio_nom) all.emplace_back("in the numerator of the ratio");
    if (r.l_vratio_denon) all.emplace_back("in the denominator of the ratio");
    return fmt::format("{}", fmt::join(all, ", "));
}

}  // namespace kve::companion
