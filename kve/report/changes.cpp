#include "kve/report/changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>

#include "directives/catalogue.h"
#include "handover/model_information_fields.h"
#include "kve/report/sections.h"
#include "kve/results/model_words.h"

namespace kve::companion {

namespace {

constexpr std::size_t kNamed = 10;  // identities

// Subjects of one name are numbered.
class Statements {
 public:
    void add(std::string subject, std::string value) {
        if (const int n = ++met_[subject]; n > 1) subject += fmt::format(" #{}", n);
        all_.push_back({std::move(subject), std::move(value)});
    }
    std::vector<Statement> take() { return std::move(all_); }

 private:
    std::vector<Statement> all_;
    std::map<std::string, int> met_;
};

template <class Name>
std::string joined(int32_t n, Name name) {
    std::vector<std::string> all;
    for (int32_t j = 1; j <= n; ++j) all.push_back(name(j));
    return n > 0 ? fmt::format("{}", fmt::join(all, ", ")) : "none";
}

void state_trait(Statements& all, const Model& m) {
    const std::string trait = fmt::format("trait {}", m.trait_name.view());
    all.add(trait, fmt::format("{} trait", trait_type_name(m.trait_type)));
    all.add(trait + ", fixed effects",
            joined(m.n_fixed, [&](int32_t j) { return m.f_ef_name(j).string(); }));
    all.add(trait + ", random effects", joined(m.n_random, [&](int32_t j) {
                return fmt::format("{} (factor {})", m.r_ef_name(j).view(), m.r_ef_matno(j));
            }));
    const std::string regressions = regressions_of(m);
    all.add(trait + ", regressions", regressions.empty() ? "none" : regressions);
    all.add(trait + ", absorbed effects",
            joined(m.n_absorb, [&](int32_t j) { return m.a_ef_name(j).string(); }));
    all.add(trait + ", weight", m.wgt_inp_no > 0 ? m.wgt_name.string() : "none");
    if (m.l_glmm)
        all.add(trait + ", family and link",
                fmt::format("{} {}", m.var_fn.view(), m.link_fn.view()));
}

void state_restrictions(Statements& all, const std::string& matrix, const RMatrix& r) {
    const std::string fixed = restrictions_of(r);
    all.add(matrix + ", restrictions", fixed.empty() ? "none" : fixed);
}

void state_factor(Statements& all, const RunFolder& run, int32_t k) {
    const RMatrix& r = run.factor(k);
    const std::string factor = fmt::format("random factor {}", k);
    all.add(factor + ", effects", run.factor_name(k));
    all.add(
        factor + ", structure",
        fmt::format("{}{}{}{}", structure_name(r.structure),
                    r.method > 0 ? fmt::format(" method {}", r.method) : "", r.l_ram ? " RAM" : "",
                    r.phg_random ? fmt::format(" R {:g}", r.ran_factor) : ""));
    all.add(factor + ", file", r.rel_file.blank() ? "none" : r.rel_file.string());
    state_restrictions(all, factor, r);
    if (r.l_log_det) all.add(factor + ", log determinant", fmt::format("{:.3f}", r.log_det));
}

// Entry 0 stands for no level.
std::vector<int32_t> sorted(std::vector<int32_t> identities) {
    if (!identities.empty()) identities.erase(identities.begin());
    std::ranges::sort(identities);
    return identities;
}

std::vector<std::string> sorted_names(const RunFigures& figures, const std::string& effect,
                                      const std::vector<int32_t>& identities) {
    std::vector<std::string> names;
    for (std::size_t level = 1; level < identities.size(); ++level)
        names.push_back(figures.name_of(effect, identities[level]));
    std::ranges::sort(names);
    return names;
}

// Of `all` those that are not in `others`: how many, and the first of them.
template <class Level>
int64_t find_others(const std::vector<Level>& all, const std::vector<Level>& others,
                    std::vector<std::string>& first) {
    std::vector<Level> found;
    std::ranges::set_difference(all, others, std::back_inserter(found));
    for (std::size_t n = 0; n < std::min(found.size(), kNamed); ++n)
        first.push_back(fmt::format("{}", found[n]));
    return static_cast<int64_t>(found.size());
}

template <class Level>
LevelChange compare_lists(const LevelFigures& a, const LevelFigures& b,
                          const std::vector<Level>& before, const std::vector<Level>& after) {
    LevelChange change{.label = fmt::format("{}", fmt::join(b.labels, ", ")),
                       .n_before = a.list.n_levels,
                       .n_after = b.list.n_levels,
                       .observations_before = a.n_records,
                       .observations_after = b.n_records};
    if (b.list.kind != CodeList::fixed)
        change.label = fmt::format("{} ({})", b.list.name, b.list.label);
    change.n_gone = find_others(before, after, change.gone);
    change.n_new = find_others(after, before, change.added);
    return change;
}

std::size_t place_of(const std::vector<CodeList>& lists, const std::string& label) {
    return static_cast<std::size_t>(std::ranges::find(lists, label, &CodeList::label) -
                                    lists.begin());
}

}  // namespace

std::vector<Statement> model_statements(const RunFigures& figures) {
    const RunFolder& run = figures.run;
    const RunInformation<Owned>& h = run.run();
    Statements all;
    all.add("version of KVE1", fmt::format("{}.{}", h.version.view(), h.release.view()));
    all.add("task", fmt::format("{}, {}", h.ITASK, task_label(h.ITASK)));
    all.add("method", fmt::format("{}, {}", h.IMETHOD, method_label(h.ITASK, h.IMETHOD)));
    all.add("scaling of traits", h.ISCALE == 1 ? "yes" : "no");
    for (const Model& m : run.traits()) state_trait(all, m);
    for (int32_t k = 1; k <= h.NRAMAT; ++k) state_factor(all, run, k);
    all.add("residual groups", run.has_groups() ? run.residual().grp_name.string() : "none");
    state_restrictions(all, "residual", run.residual());
    return all.take();
}

std::vector<Statement> record_statements(const RunFigures& figures) {
    Statements all;
    all.add("data records read", std::to_string(figures.run.run().NREC));
    all.add("records used", std::to_string(figures.run.run().n_records));
    if (!figures.records) return all.take();
    for (const ValueColumn& c : figures.records->traits)
        all.add("records of " + c.column.name, std::to_string(c.moments.n));
    return all.take();
}

std::vector<Statement> pedigree_statements(const RunFigures& figures) {
    Statements all;
    for (const PedigreeFigures& p : figures.pedigrees) {
        const ClassRow& row = p.all.row;
        const std::string of = fmt::format(" of factor {}", p.factor);
        all.add("animals" + of, std::to_string(row.animals));
        all.add("animals with records" + of, std::to_string(p.all.n_with_records));
        all.add("animals without known parents" + of, std::to_string(row.founders));
        all.add("phantom parent groups" + of, std::to_string(p.n_groups));
        all.add("sires" + of, std::to_string(p.sires.n));
        all.add("dams" + of, std::to_string(p.dams.n));
        all.add("equivalent complete generations, mean" + of,
                fmt::format("{:.2f}", row.equivalent));
        if (p.without_inbreeding.empty())
            all.add("mean inbreeding" + of, fmt::format("{:.3f} %", 100.0 * row.inbreeding));
        for (const Measure& m : measures_of(p))
            if (const auto* value = std::get_if<double>(&m.value); value && std::isfinite(*value))
                all.add(m.name + of, fmt::format("{:.4g} {}", *value, m.unit));
    }
    return all.take();
}

std::vector<Difference> compare(const std::vector<Statement>& before,
                                const std::vector<Statement>& after) {
    std::vector<Difference> differences;
    for (const Statement& s : before) {
        const auto twin = std::ranges::find(after, s.subject, &Statement::subject);
        const std::string now = twin == after.end() ? "" : twin->value;
        if (now != s.value) differences.push_back({s.subject, s.value, now});
    }
    for (const Statement& s : after)
        if (std::ranges::find(before, s.subject, &Statement::subject) == before.end())
            differences.push_back({s.subject, "", s.value});
    return differences;
}

std::vector<LevelChange> compare_levels(const RunFigures& before, const RunFigures& after) {
    std::vector<LevelChange> changes;
    const std::vector<CodeList> lists_a = lists_of(before.run), lists_b = lists_of(after.run);
    std::vector<bool> wanted_a(lists_a.size()), wanted_b(lists_b.size());
    std::vector<std::pair<const LevelFigures*, const LevelFigures*>> pairs;
    for (const LevelFigures& b : after.levels) {
        const auto a = std::ranges::find_if(before.levels, [&](const LevelFigures& other) {
            return std::ranges::find(other.labels, b.list.label) != other.labels.end() &&
                   other.list.kind == b.list.kind && other.list.name == b.list.name;
        });
        if (a == before.levels.end()) continue;
        pairs.emplace_back(&*a, &b);
        wanted_a[place_of(lists_a, a->list.label)] = wanted_b[place_of(lists_b, b.list.label)] =
            true;
    }
    if (pairs.empty()) return changes;
    auto identities_a = read_identities(before.run, lists_a, wanted_a);
    auto identities_b = read_identities(after.run, lists_b, wanted_b);
    for (const auto& [a, b] : pairs) {
        const std::vector<int32_t>&of_a = identities_a[place_of(lists_a, a->list.label)],
              &of_b = identities_b[place_of(lists_b, b->list.label)];
        changes.push_back(before.names && after.names
                              ? compare_lists(*a, *b, sorted_names(before, a->list.name, of_a),
                                              sorted_names(after, b->list.name, of_b))
                              : compare_lists(*a, *b, sorted(of_a), sorted(of_b)));
    }
    return changes;
}

namespace {

// A row of a (co)variance matrix that both runs have, by its numbers there.
struct SharedRow {
    std::string name;
    int32_t before, after;
};

std::vector<SharedRow> shared_rows(const std::vector<std::string>& before,
                                   const std::vector<std::string>& after) {
    std::vector<SharedRow> rows;
    for (std::size_t k = 0; k < after.size(); ++k)
        if (const auto found = std::ranges::find(before, after[k]); found != before.end())
            rows.push_back({after[k], static_cast<int32_t>(found - before.begin()) + 1,
                            static_cast<int32_t>(k) + 1});
    return rows;
}

}  // namespace

std::vector<ElementChange> compare_covariances(const RunFolder& before, const RunFolder& after) {
    std::vector<ElementChange> changes;
    const auto compare = [&](const std::string& name, const RMatrix& a, const RMatrix& b) {
        const std::vector<SharedRow> rows =
            shared_rows(names_of_rows(before, a), names_of_rows(after, b));
        for (auto i = rows.begin(); i != rows.end(); ++i)
            for (auto j = rows.begin(); j <= i; ++j)
                changes.push_back({name, i->name, j->name, a.cov_mat(i->before, j->before),
                                   b.cov_mat(i->after, j->after)});
    };
    for (std::size_t kb = 0; kb < after.matrices().size(); ++kb) {
        const std::string name = name_of_matrix(after, static_cast<int32_t>(kb) + 1);
        for (std::size_t ka = 0; ka < before.matrices().size(); ++ka)
            if (name_of_matrix(before, static_cast<int32_t>(ka) + 1) == name)
                compare(name, before.matrices()[ka], after.matrices()[kb]);
    }
    return changes;
}

namespace {

// The fields that a description shows, as they stand in the file.
struct FieldBytes {
    std::string place;
    std::vector<Statement> all = {};

    template <class... Parts>
    void record(const Parts&... parts) {
        (for_each_field(
             parts,
             [this](std::string_view name, const Extents& shape, const auto& item) {
                 if constexpr (requires { item.data(); })
                     add(name, item.data(),
                         sizeof(*item.data()) *
                             static_cast<std::size_t>(shape.n[0] * shape.n[1] * shape.n[2]));
                 else
                     add(name, &item, sizeof item);
             }),
         ...);
    }

 private:
    void add(std::string_view name, const void* bytes, std::size_t n) {
        all.push_back({place + std::string(name), std::string(static_cast<const char*>(bytes), n)});
    }
};

std::vector<Statement> fields_of(const RunFolder& run) {
    FieldBytes fields;
    describe_head(fields, run.run());
    for (int32_t i = 1; i <= run.run().nt; ++i) {
        fields.place = fmt::format("trait {}: ", i);
        describe_trait(fields, run.trait(i));
    }
    for (std::size_t k = 0; k < run.matrices().size(); ++k) {
        fields.place = fmt::format("matrix {}: ", k + 1);
        describe_matrix(fields, run.matrices()[k], k < run.factors().size());
    }
    fields.place = "tail: ";
    describe_tail(fields, run.run(), run.residual());
    return std::move(fields.all);
}

}  // namespace

std::vector<std::string> other_fields(const RunFolder& before, const RunFolder& after) {
    std::vector<std::string> names;
    for (const Difference& d : compare(fields_of(before), fields_of(after)))
        if (d.subject != "RUN_DATE") names.push_back(d.subject);
    return names;
}

std::vector<Message> messages_without(const RunFigures& figures, const RunFigures& other) {
    std::vector<Message> only;
    for (auto member : {&RunFigures::listing, &RunFigures::log})
        for (const Message& m : (figures.*member).messages)
            if (std::ranges::find((other.*member).messages, m.shape, &Message::shape) ==
                (other.*member).messages.end())
                only.push_back(m);
    return only;
}

}  // namespace kve::companion
