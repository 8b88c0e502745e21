#include "kve/files/code_lists.h"

#include <fmt/format.h>

#include <algorithm>

#include "handover/code_table_lists.h"
#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

struct Collector {
    const RunFolder& run;
    std::vector<CodeList>& lists;

    void fixed_levels(int32_t i, int32_t j) {
        const Model& m = run.trait(i);
        const std::string name = m.f_ef_name(j).string();
        lists.push_back({.kind = CodeList::fixed,
                         .trait = i,
                         .effect = j,
                         .n_levels = run.run().NLEV(i, j),
                         .label = fmt::format("{}:{}", m.trait_name.view(), name),
                         .name = name});
    }
    void random_levels(int32_t k) { add_factor(CodeList::random, k, 0); }
    void animals(int32_t k, int32_t owner) { add_factor(CodeList::animals, k, owner); }
    void residual_groups() {
        const RMatrix& r = run.residual();
        lists.push_back({.kind = CodeList::groups,
                         .n_levels = r.grp_nlev,
                         .label = "residual",
                         .name = r.grp_name.string()});
    }

 private:
    void add_factor(CodeList::Kind kind, int32_t k, int32_t owner) {
        lists.push_back({.kind = kind,
                         .factor = k,
                         .owner = owner,
                         .n_levels = run.run().NRALEV(k),
                         .label = std::to_string(k),
                         .name = run.factor_name(k)});
    }
};

constexpr const char* kMoreLevels = "more levels than MODINF tells";

using LevelRecord = std::array<int32_t, 6>;  // LevelRow without its mark

std::size_t record_bytes(const CodeList& list) {
    return list.kind == CodeList::animals ? sizeof(AnimalRow) : sizeof(LevelRecord);
}

Code code_of(const LevelRecord& level) {
    return {level[0], level[1], level[2], level[3], 0, 0, 0, 0};
}
Code code_of(const AnimalRow& a) {
    return {a.next, a.key, a.n_obs, a.level, a.sort, a.sire, a.dam, a.n_desc};
}

}  // namespace

std::vector<CodeList> lists_of(const RunFolder& run) {
    std::vector<CodeList> lists;
    Collector collector{run, lists};
    describe_code_table(collector, run.traits(), run.matrices());
    return lists;
}

std::size_t list_of_factor(const RunFolder& run, const std::vector<CodeList>& lists, int32_t k) {
    const RMatrix& r = run.factor(k);
    const int32_t owner = r.structure == Structure::ABS_QTL ? r.ass_rf : k;
    const auto found = std::ranges::find(lists, owner, &CodeList::factor);
    return static_cast<std::size_t>(found - lists.begin());
}

Code CodeFile::read(const CodeList& list) {
    if (list.kind == CodeList::animals) {
        AnimalRow row{};
        file_.expect(row);
        return code_of(row);
    }
    LevelRecord record;
    file_.expect(record);
    return code_of(record);
}

void CodeFile::expect_end() {
    LevelRecord more;
    if (file_.next(more)) file_.refuse(kMoreLevels);
}

std::vector<RecordBlock::Part> places_of(const std::vector<CodeList>& lists) {
    std::vector<RecordBlock::Part> places(1);
    for (const CodeList& list : lists) {
        const RecordBlock::Part& last = places.back();
        const auto bytes = static_cast<uintmax_t>(list.n_levels) * (record_bytes(list) + 8);
        places.push_back({last.n_before + list.n_levels, last.bytes_before + bytes});
    }
    return places;
}

int64_t CodeBlock::read(const CodeList& list, const RecordBlock::Part& place, int64_t first,
                        int64_t n) {
    const auto bytes = static_cast<uintmax_t>(first) * (record_bytes(list) + 8);
    return block_.read({place.n_before + first, place.bytes_before + bytes, n}, record_bytes(list));
}

Code CodeBlock::code(const CodeList& list, int64_t k) const {
    if (list.kind == CodeList::animals)
        return code_of(*reinterpret_cast<const AnimalRow*>(block_.record(k)));
    return code_of(*reinterpret_cast<const LevelRecord*>(block_.record(k)));
}

void CodeBlock::refuse_unread(int64_t k) const {
    block_.refuse_unread(k, "the last one, and more must follow");
}

void CodeBlock::expect_end(const RecordBlock::Part& place) {
    block_.expect_end(place, sizeof(LevelRecord), kMoreLevels);
}

std::vector<std::vector<int32_t>> read_identities(const RunFolder& run,
                                                  const std::vector<CodeList>& lists,
                                                  const std::vector<bool>& is_wanted) {
    std::vector<std::vector<int32_t>> identities(lists.size());
    CodeFile file(run);
    const auto last = std::find(is_wanted.rbegin(), is_wanted.rend(), true);
    const std::size_t n_lists = static_cast<std::size_t>(is_wanted.rend() - last);
    // A level takes at least this much of the file, so that a false count is seen here.
    constexpr uintmax_t kBytes = 32;
    uintmax_t room = bytes_of_file(run.path() / "CODE_TABLE");
    for (std::size_t l = 0; l < n_lists; ++l) {
        const auto n = static_cast<std::size_t>(lists[l].n_levels);
        if (n > room / kBytes) file.refuse("fewer levels than MODINF tells");
        room -= n * kBytes;
        if (!is_wanted[l]) {
            file.skip(lists[l]);
            continue;
        }
        identities[l].resize(n + 1);
        for (std::size_t j = 1; j <= n; ++j) {
            const Code code = file.read(lists[l]);
            if (code.level < 1 || code.level > lists[l].n_levels)
                file.refuse(fmt::format("level {} outside 1 to {}", code.level, n));
            identities[l][static_cast<std::size_t>(code.level)] = code.identity;
        }
    }
    return identities;
}

}  // namespace kve::companion
