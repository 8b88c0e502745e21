#include "kve/report/level_figures.h"

#include <algorithm>

namespace kve::companion {

namespace {

constexpr int64_t kFew = 40;            // levels that are shown one by one
constexpr std::size_t kMostNamed = 12;  // singles
constexpr std::size_t kLeaders = 10;

void keep_leader(std::vector<LevelCount>& leaders, LevelCount level) {
    if (leaders.size() == kLeaders && level.n_records <= leaders.back().n_records) return;
    const auto place = std::ranges::upper_bound(leaders, level.n_records, std::greater<int64_t>(),
                                                &LevelCount::n_records);
    leaders.insert(place, level);
    if (leaders.size() > kLeaders) leaders.pop_back();
}

uint64_t mix(uint64_t mark, uint64_t value) {
    constexpr uint64_t kPrime = 0x100000001B3;  // FNV-1a
    return (mark ^ value) * kPrime;
}

LevelFigures survey_list(CodeFile& file, const CodeList& list) {
    LevelFigures figures{.list = list, .labels = {list.label}};
    for (int64_t n = 0; n < list.n_levels; ++n) {
        const Code code = file.read(list);
        const LevelCount level{code.identity, code.n_obs};
        figures.n_records += code.n_obs;
        figures.largest = std::max<int64_t>(figures.largest, code.n_obs);
        figures.sizes.add(code.n_obs);
        figures.mark = mix(mix(figures.mark, static_cast<uint32_t>(code.identity)),
                           static_cast<uint32_t>(code.n_obs));
        if (list.n_levels <= kFew) figures.each.push_back(level);
        if (code.n_obs == 1 && figures.singles.size() < kMostNamed)
            figures.singles.push_back(code.identity);
        keep_leader(figures.leaders, level);
    }
    return figures;
}

}  // namespace

std::vector<LevelFigures> survey_levels(const RunFolder& run) {
    std::vector<LevelFigures> all;
    CodeFile file(run);
    for (const CodeList& list : lists_of(run)) {
        if (list.kind == CodeList::animals && list.owner != list.factor) {
            file.skip(list);
            continue;
        }
        LevelFigures figures = survey_list(file, list);
        const auto twin = std::ranges::find_if(all, [&](const LevelFigures& other) {
            return list.kind == CodeList::fixed && other.list.kind == list.kind &&
                   other.list.name == list.name && other.list.n_levels == list.n_levels &&
                   other.mark == figures.mark;
        });
        if (twin != all.end())
            twin->labels.push_back(list.label);
        else
            all.push_back(std::move(figures));
    }
    file.expect_end();
    return all;
}

}  // namespace kve::companion
