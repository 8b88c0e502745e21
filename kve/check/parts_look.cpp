// The parts that the animals of a pedigree have as parents: sires and dams, parents without a
// record, phantom groups.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kve/check/pedigree_book.h"
#include "kve/check/thresholds.h"
#include "kve/check/words.h"
#include "kve/pedigree/parts.h"

namespace kve::companion {

namespace {

struct Parts {
    Look& look;
    const PedigreeJob& job;
    PedigreeBook& pedigree;

    int32_t id(int32_t animal) const { return pedigree.id(animal); }
    int32_t line(int32_t animal) const { return pedigree.book.line(animal); }
    Place place(int64_t number) const { return {job.file, number, 0}; }
};

// ---- Animals that are sire and dam

struct Part {
    int64_t n = 0;
    int32_t line = 0;  // the first one
};

struct BothParts {
    Part sire, dam;
};
using AllBothParts = std::unordered_map<int32_t, BothParts>;

AllBothParts count_parts(const Parts& at, const std::vector<int32_t>& animals) {
    AllBothParts all;
    for (const int32_t animal : animals) all[animal];
    if (all.empty()) return all;
    visit_links(at.pedigree, [&](int32_t animal, int32_t parent, bool is_sire) {
        const auto found = all.find(parent);
        if (found == all.end()) return;
        Part& part = is_sire ? found->second.sire : found->second.dam;
        if (++part.n == 1) part.line = at.line(animal);
    });
    return all;
}

// Records close to each other with a parent that mostly has the other part.
struct Stretch {
    int32_t first, last;  // lines
    int64_t n = 0;

    bool has(int32_t line) const { return first <= line && line <= last; }
};

std::vector<Stretch> find_stretches(const Parts& at, const AllBothParts& all) {
    std::vector<Stretch> stretches;
    int32_t before = 0;
    for (int32_t j = 1; j <= at.pedigree.n_records && !all.empty(); ++j) {
        const ParentPair& p = at.pedigree.book.parents(j);
        const auto sire = all.find(p.sire), dam = all.find(p.dam);
        const bool is_dam = sire != all.end() && sire->second.sire.n < sire->second.dam.n;
        const bool is_sire = dam != all.end() && dam->second.dam.n < dam->second.sire.n;
        if (!is_dam && !is_sire) continue;
        if (stretches.empty() || j - before > kFarInStretch)
            stretches.push_back({at.line(j), 0, 0});
        stretches.back().last = at.line(j);
        ++stretches.back().n;
        before = j;
    }
    std::erase_if(stretches, [](const Stretch& s) { return s.n < kFewestOfStretch; });
    return stretches;
}

void tell_both(const Parts& at, int32_t animal, const BothParts& both,
               const std::vector<Stretch>& stretches) {
    const bool is_rarely_sire = both.sire.n <= both.dam.n;
    const Part& rare = is_rarely_sire ? both.sire : both.dam;
    const Part& usual = is_rarely_sire ? both.dam : both.sire;
    const bool is_told = std::ranges::any_of(stretches, [&](const Stretch& s) {
        return s.has(rare.line) || (rare.n == usual.n && s.has(usual.line));
    });
    if (is_told || at.look.findings.counts_only("sire-and-dam", Severity::warning)) return;
    const char* rarely = is_rarely_sire ? "sire" : "dam";
    const char* usually = is_rarely_sire ? "dam" : "sire";
    at.look.findings.warn(
        "sire-and-dam", at.place(rare.line),
        fmt::format("{} is the {} of {}, in line {}{}, and {}", at.id(animal), usually, usual.n,
                    usual.line, usual.n == 1 ? "" : " first",
                    rare.n == 1 ? fmt::format("a {} here alone", rarely)
                                : fmt::format("the {} of {}, here first", rarely, rare.n)));
}

void tell_all_both(const Parts& at, const std::vector<int32_t>& animals) {
    const AllBothParts all = count_parts(at, animals);
    const std::vector<Stretch> stretches = find_stretches(at, all);
    for (const Stretch& s : stretches)
        at.look.findings.warn(
            "sire-and-dam", at.place(s.first),
            fmt::format("lines {}-{}: sire and dam exchanged? In {} of these records a dam is "
                        "mostly a sire, or a sire a dam",
                        s.first, s.last, s.n));
    for (const int32_t animal : animals) tell_both(at, animal, all.at(animal), stretches);
}

// ---- Parents without a record

struct WithoutRecord {
    std::unordered_set<int32_t> codes{};  // numbers: the code of a group without its sign
    int64_t n_dropped = 0;                // their record is one that KVE1 drops
    FirstOnes others{};
    int64_t line = 0;  // of the first progeny

    int64_t count() const { return std::ssize(codes) + n_dropped + others.count(); }
};

void take_without_record(const Parts& at, const PedigreeFinding& finding, WithoutRecord& without) {
    const int32_t id = at.id(finding.animal);
    if (without.line == 0 || finding.line < without.line) without.line = finding.line;
    if (at.pedigree.was_dropped(id))
        ++without.n_dropped;
    else if (at.job.has_groups() && at.pedigree.groups.contains(-id))
        without.codes.insert(finding.animal);
    else
        without.others.take(id, finding.line);
}

void tell_codes(const Parts& at, const WithoutRecord& without) {
    if (without.codes.empty()) return;
    visit_links(at.pedigree, [&](int32_t animal, int32_t parent, bool is_sire) {
        if (!without.codes.contains(parent) ||
            at.look.findings.counts_only("group-code", Severity::warning))
            return;
        const int32_t id = at.id(parent);
        at.look.findings.warn(
            "group-code", at.place(at.line(animal)),
            fmt::format("{}: the {} is {}, which has no record; {} meant?", at.id(animal),
                        is_sire ? "sire" : "dam", id, -id),
            "Codes of phantom groups are below 0; without the sign it is an animal");
    });
}

void tell_others(const Parts& at, const FirstOnes& parents) {
    if (parents.count() == 0) return;
    at.look.findings.note(
        "parent-without-record", at.place(parents.line()),
        fmt::format("{}; KVE1 puts them in {}: {}",
                    counted(parents.count(), "parent has no record", "parents have no record"),
                    at.job.has_groups() ? "with parents of the extra phantom group" : "as founders",
                    parents.words()),
        "Give every parent a record; kve ped does it");
}

// ---- Groups

void look_at_groups(const Parts& at, const WithoutRecord& without) {
    const PedigreeBook& pedigree = at.pedigree;
    std::vector<std::string> why;
    const auto add = [&why](int64_t n, const char* of_one, const char* of_many) {
        if (n > 0) why.push_back(counted(n, of_one, of_many));
    };
    add(pedigree.n_unknown, "parent is 0", "parents are 0");
    add(std::ssize(without.codes), "parent has perhaps lost its sign",
        "parents have perhaps lost their sign");
    add(without.n_dropped, "parent has a record that is dropped",
        "parents have records that are dropped");
    add(without.others.count(), "parent has no record", "parents have no record");
    if (why.empty()) return;
    int64_t line = pedigree.unknown_line;
    if (line == 0 || (without.line > 0 && without.line < line)) line = without.line;
    if (pedigree.n_groups > 0)
        at.look.findings.warn("extra-group", at.place(line),
                              fmt::format("{}; KVE1 makes an extra phantom group for "
                                          "what is unknown, beside those with a code",
                                          fmt::join(why, ", ")),
                              "Write the code of a group for each unknown parent");
    else if (at.job.method == 6)
        at.look.findings.warn("extra-group", at.place(line),
                              fmt::format("no parent has the code of a phantom group, {}: all that "
                                          "is unknown makes one group",
                                          fmt::join(why, ", ")),
                              "Write codes below 0 for them, or take method 1");
}

}  // namespace

void look_at_parts(Look& look, const PedigreeJob& job, PedigreeBook& pedigree) {
    const Parts at{look, job, pedigree};
    PedigreeFindings found;
    settle_parts(pedigree.book, {}, found, false);
    WithoutRecord without;
    std::vector<int32_t> both;
    for (const PedigreeFinding& finding : found.list) {
        if (finding.kind == Kind::both_parts) both.push_back(finding.animal);
        if (finding.kind == Kind::no_record) take_without_record(at, finding, without);
    }
    if (!job.has_grandsires()) tell_all_both(at, both);
    if (!pedigree.is_whole) return;
    tell_codes(at, without);
    tell_others(at, without.others);
    if (job.has_groups()) look_at_groups(at, without);
}

}  // namespace kve::companion
