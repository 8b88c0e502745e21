#include <fmt/format.h>

#include "directives/catalogue.h"
#include "kve/report/sections.h"
#include "kve/results/model_words.h"
#include "kve/shared/noun.h"

namespace kve::companion {

namespace {

template <class Name>
std::string joined(int32_t n, Name name) {
    std::vector<std::string> all;
    for (int32_t j = 1; j <= n; ++j) all.push_back(name(j));
    return fmt::format("{}", fmt::join(all, ", "));
}

Table traits_table(const RunFigures& figures) {
    const RunFolder& run = figures.run;
    Table table{.columns = {{"Trait"},
                            {"Type"},
                            {"Records"},
                            {"Fixed effects (levels)"},
                            {"Random effects (factor)"},
                            {"Regressions"},
                            {"Weight"}},
                .caption = "Traits and their effects"};
    for (int32_t i = 1; i <= run.run().nt; ++i) {
        const Model& m = run.trait(i);
        Cell records;
        if (figures.records)
            records = figures.records->traits[static_cast<std::size_t>(i) - 1].moments.n;
        std::string type = trait_type_name(m.trait_type);
        if (m.l_glmm) type += fmt::format(", {} {}", m.var_fn.view(), m.link_fn.view());
        std::string fixed = joined(m.n_fixed, [&](int32_t j) {
            return fmt::format("{} ({})", m.f_ef_name(j).view(), run.run().NLEV(i, j));
        });
        if (m.n_absorb > 0)
            fixed += (fixed.empty() ? "" : ", ") + joined(m.n_absorb, [&](int32_t j) {
                         return fmt::format("{} ({}, absorbed)", m.a_ef_name(j).view(),
                                            run.run().NABGR(j));
                     });
        table.rows.push_back({m.trait_name.string(), type, records, fixed,
                              joined(m.n_random,
                                     [&](int32_t j) {
                                         return fmt::format("{} ({})", m.r_ef_name(j).view(),
                                                            m.r_ef_matno(j));
                                     }),
                              regressions_of(m), m.wgt_inp_no > 0 ? m.wgt_name.string() : ""});
    }
    return table;
}

Table factors_table(const RunFolder& run) {
    Table table{.columns = {{"Factor"},
                            {"Effects"},
                            {"Structure"},
                            {"File"},
                            {"Levels"},
                            {"Equations"},
                            {"Log determinant", 3}},
                .caption = "Random factors"};
    for (int32_t k = 1; k <= run.run().NRAMAT; ++k) {
        const RMatrix& r = run.factor(k);
        const int64_t levels = run.run().NRALEV(k);
        std::string structure(structure_name(r.structure));
        if (r.method > 0) structure += fmt::format(", method {}", r.method);
        if (r.ass_rf > 0) structure += fmt::format(" of factor {}", r.ass_rf);
        table.rows.push_back({int64_t{k}, run.factor_name(k), structure, r.rel_file.string(),
                              levels, levels * r.rank, r.l_log_det ? Cell(r.log_det) : Cell()});
    }
    return table;
}

}  // namespace

Section analysis_section(const RunFigures& figures) {
    const RunFolder& run = figures.run;
    const RunInformation<Owned>& h = run.run();
    Section section{.id = "analysis", .title = "The analysis"};
    section.facts = {{noun_for(h.NREC, "record") + " read", h.NREC},
                     {noun_for(h.n_records, "record") + " used", int64_t{h.n_records}},
                     {noun_for(h.nt, "trait"), int64_t{h.nt}},
                     {noun_for(h.NRAMAT, "random factor"), int64_t{h.NRAMAT}}};
    for (const PedigreeFigures& p : figures.pedigrees)
        section.facts.push_back(
            {noun_for(p.all.row.animals, "animal") + " of " + p.name, p.all.row.animals});
    if (run.has_groups())
        section.facts.push_back({noun_for(run.residual().grp_nlev, "residual group"),
                                 int64_t{run.residual().grp_nlev}});
    section.words = {fmt::format("Task {}, {}; method {}, {}{}.", h.ITASK, task_label(h.ITASK),
                                 h.IMETHOD, method_label(h.ITASK, h.IMETHOD),
                                 h.ISCALE == 1 ? "; traits are scaled by their residual standard "
                                                 "deviations"
                                               : "")};
    section.tables.push_back(traits_table(figures));
    if (h.NRAMAT > 0) section.tables.push_back(factors_table(run));
    return section;
}

Section file_section(const RunFigures& figures) {
    Section section{.id = "files", .title = "Files"};
    Table table{.columns = {{"File"}, {"Bytes"}}};
    for (const RunFile& file : figures.run.promised_files()) {
        std::error_code error;
        const uintmax_t bytes = std::filesystem::file_size(figures.run.path() / file.name, error);
        table.rows.push_back(
            {file.name, error ? Cell("missing") : Cell(static_cast<int64_t>(bytes))});
    }
    section.tables.push_back(std::move(table));
    return section;
}

}  // namespace kve::companion
