#include "kve/files/data_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

class Collector {
 public:
    Collector(const RunFolder& run, const std::vector<CodeList>& lists, int32_t trait)
        : run_(run), lists_(lists), only_(trait) {}

    std::vector<DataColumn> collect() {
        add_absorbed();
        add_fixed();
        for (int32_t k = 1; k <= run_.run().NRAMAT; ++k) add_random(k);
        if (run_.has_groups())
            add({DataColumn::group, run_.residual().grp_rci, 0, 0, lists_.size() - 1,
                 run_.residual().grp_name.string(), "residual"});
        if (run_.has_sequences()) add_sequences();
        add_traits(DataColumn::plain, "censoring",
                   [](const Model& m) { return m.l_cens ? m.cens_rci : 0; });
        for (int32_t c = 1; c <= run_.run().N_REG_COLS; ++c) add_covariable(c);
        for (int32_t i = 1; i <= run_.run().nt; ++i)
            if (is_wanted(i))
                add({DataColumn::dependent, run_.trait(i).trait_rci, i, 0, 0,
                     run_.trait(i).trait_name.string(), "trait"});
        for (const int32_t i : run_.run().TraitIdWithWeight)
            if (i > 0 && run_.trait(i).wgt_rci > 0 && is_wanted(i)) add_weight(i);
        add_traits(DataColumn::other_real, "offset", [](const Model& m) { return m.offset_rci; });
        add_traits(DataColumn::other_real, "upper_limit",
                   [](const Model& m) { return m.int_max_rci; });
        tell_apart();
        return std::move(columns_);
    }

 private:
    bool is_wanted(int32_t i) const { return only_ == 0 || only_ == i; }
    void add(DataColumn column) { columns_.push_back(std::move(column)); }

    void add_absorbed() {
        for (int32_t c = 1; c <= run_.run().MAX_N_ABSORB; ++c)
            for (int32_t i = run_.run().nt; i >= 1; --i)
                if (is_wanted(i) && run_.trait(i).n_absorb >= c) {
                    add({DataColumn::absorbed, c, 0, 0, 0, run_.trait(i).a_ef_name(c).string(),
                         "absorbed"});
                    break;
                }
    }

    void add_fixed() {
        for (std::size_t l = 0; l < lists_.size() && lists_[l].kind == CodeList::fixed; ++l) {
            const Model& m = run_.trait(lists_[l].trait);
            if (is_wanted(lists_[l].trait))
                add({DataColumn::level, m.f_ef_rci(lists_[l].effect), lists_[l].trait, 0, l,
                     lists_[l].name, m.trait_name.string()});
        }
    }

    void add_random(int32_t k) {
        for (const int32_t position : run_.factor(k).r_id_rci)
            for (int32_t i = 1; i <= run_.run().nt; ++i)
                if (const std::string name = effect_at(i, k, position);
                    is_wanted(i) && !name.empty()) {
                    add({DataColumn::level, position, 0, k, list_of_factor(run_, lists_, k), name,
                         std::to_string(k)});
                    break;
                }
    }

    std::string effect_at(int32_t i, int32_t k, int32_t position) const {
        const Model& m = run_.trait(i);
        for (int32_t j = 1; j <= m.n_random; ++j)
            if (m.r_ef_matno(j) == k && m.r_ef_rci(j) == position && position > 0)
                return m.r_ef_name(j).string();
        return {};
    }

    void add_sequences() {
        const RunInformation<Owned>& run = run_.run();
        int32_t last = run.MAX_N_ABSORB + run.n_fixed_positions + (run_.has_groups() ? 1 : 0);
        for (const RMatrix& r : run_.factors()) last += r.n_random_id;
        for (const char* name : {"subject", "sequence"})
            add({DataColumn::plain, ++last, 0, 0, 0, name, ""});
        if (last > run.NIOUT)
            throw Failure(kUnreadable, run_.path().string() + "/MODINF: NIOUT is too small");
    }

    template <class Position>
    void add_traits(DataColumn::Kind kind, const char* name, Position position_in) {
        for (int32_t i = 1; i <= run_.run().nt; ++i)
            if (const int32_t position = position_in(run_.trait(i)); position > 0 && is_wanted(i))
                add({kind, position, i, 0, 0, name, run_.trait(i).trait_name.string()});
    }

    void add_covariable(int32_t position) {
        for (int32_t i = 1; i <= run_.run().nt; ++i) {
            const Model& m = run_.trait(i);
            const auto found = std::ranges::find(m.reg_rci, position);
            if (!is_wanted(i) || found == m.reg_rci.end()) continue;
            return add({DataColumn::covariable, position, 0, 0, 0,
                        m.reg_name(found - m.reg_rci.begin() + 1).string(), "covariable"});
        }
    }

    void add_weight(int32_t i) {
        const Model& m = run_.trait(i);
        add({DataColumn::other_real, m.wgt_rci, i, 0, 0,
             m.wgt_name.blank() ? "weight" : m.wgt_name.string(), m.trait_name.string()});
    }

    // Of columns that share a name, all are named with what they belong to; should that not be
    // enough, with their numbers.
    void tell_apart() {
        for (auto* how : {add_qualifier, add_number}) {
            std::map<std::string, int> met;
            for (const DataColumn& column : columns_) ++met[column.name];
            std::map<std::string, int> number;
            for (DataColumn& column : columns_)
                if (met[column.name] > 1) how(column, ++number[column.name]);
        }
    }
    static void add_qualifier(DataColumn& column, int) {
        if (!column.qualifier.empty())
            column.name = fmt::format("{}:{}", column.qualifier, column.name);
    }
    static void add_number(DataColumn& column, int number) {
        column.name = fmt::format("{}#{}", column.name, number);
    }

    const RunFolder& run_;
    const std::vector<CodeList>& lists_;
    int32_t only_;
    std::vector<DataColumn> columns_;
};

}  // namespace

std::vector<DataColumn> data_columns(const RunFolder& run, const std::vector<CodeList>& lists,
                                     int32_t trait) {
    return Collector(run, lists, trait).collect();
}

int32_t find_trait(const RunFolder& run, const std::string& name_or_number) {
    std::string known;
    for (int32_t i = 1; i <= run.run().nt; ++i) {
        const std::string name = run.trait(i).trait_name.string();
        if (name == name_or_number || std::to_string(i) == name_or_number) return i;
        known += " " + name;
    }
    throw Failure(kUsage, fmt::format("{}: no trait {}; there are:{}", run.path().string(),
                                      name_or_number, known));
}

}  // namespace kve::companion
