// Do the levels of CODE_TABLE, RCDATA_I and INBREED agree?
#include "kve/results/level_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <optional>
#include <span>

#include "kve/files/data_file.h"
#include "kve/shared/noun.h"

namespace kve::companion {

namespace {

// CODE_TABLE

class CodeCheck {
 public:
    CodeCheck(const RunFolder& run, const std::vector<CodeList>& lists, RunFindings& findings)
        : lists_(lists), findings_(findings), file_(run) {}

    void check(std::vector<LevelCounts>& counts) {
        for (std::size_t l = 0; l < lists_.size(); ++l) {
            const int64_t before = findings_.n();
            if (!check_list(lists_[l], counts[l].told)) return;
            counts[l].is_sound = findings_.n() == before;
        }
        file_.expect_end();
    }

 private:
    // False where the list is of another length, so that nothing behind it can be read either.
    bool check_list(const CodeList& list, std::vector<int32_t>& told) {
        told.assign(1, 0);  // grows with what the file really has
        std::vector<Code> animals;
        int32_t before = 0;
        for (int64_t n = 1; n <= list.n_levels; ++n) {
            const Code code = file_.read(list);
            told.push_back(code.n_obs);
            if ((code.next == 0) != (n == list.n_levels)) {
                tell(list, n, "the list does not end where MODINF tells; no more was looked at");
                return false;
            }
            if (list.kind == CodeList::animals) {
                animals.push_back(code);
                continue;
            }
            if (code.level != n) tell(list, n, fmt::format("has level {}", code.level));
            if (n > 1 && code.identity <= before) tell(list, n, "its identity does not ascend");
            before = code.identity;
        }
        if (list.kind == CodeList::animals) {
            order_by_level(list, animals, told);
            check_identities(list, animals);
        }
        return true;
    }

    void order_by_level(const CodeList& list, const std::vector<Code>& animals,
                        std::vector<int32_t>& told) {
        std::vector<int32_t> ordered(told.size(), -1);
        for (std::size_t n = 0; n < animals.size(); ++n) {
            const int32_t number = animals[n].level;
            const auto level = static_cast<std::size_t>(number);
            if (number < 1 || level >= ordered.size())
                tell(list, static_cast<int64_t>(n) + 1, fmt::format("has level {}", number));
            else if (ordered[level] >= 0)
                tell(list, static_cast<int64_t>(n) + 1,
                     fmt::format("has level {}, and so has another", number));
            else
                ordered[level] = told[n + 1];
        }
        told = std::move(ordered);
    }

    // Each animal is there once, and so is each parent that is known.
    void check_identities(const CodeList& list, const std::vector<Code>& animals) {
        std::vector<int32_t> all;
        all.reserve(animals.size());
        for (const Code& code : animals) all.push_back(code.identity);
        std::ranges::sort(all);
        for (std::size_t n = 1; n < all.size(); ++n)
            if (all[n] == all[n - 1])
                findings_.tell("CODE_TABLE", fmt::format("factor {} ({}): two entries of {}",
                                                         list.label, list.name, all[n]));
        for (std::size_t n = 0; n < animals.size(); ++n)
            for (const int32_t parent : {animals[n].sire, animals[n].dam})
                if (parent != 0 && !std::ranges::binary_search(all, parent))
                    tell(list, static_cast<int64_t>(n) + 1,
                         fmt::format("its parent {} has no entry", parent));
    }

    void tell(const CodeList& list, int64_t n, const std::string& words) {
        findings_.tell("CODE_TABLE", fmt::format("factor {} ({}), entry {}: {}", list.label,
                                                 list.name, n, words));
    }

    const std::vector<CodeList>& lists_;
    RunFindings& findings_;
    CodeFile file_;
};

// RCDATA_I and RCDATA_R

class DataCheck {
 public:
    DataCheck(const RunFolder& run, const std::vector<CodeList>& lists,
              std::vector<LevelCounts>& counts, RunFindings& findings)
        : run_(run), lists_(lists), counts_(counts), findings_(findings), data_(run) {
        for (LevelCounts& c : counts_) {
            if (!c.is_sound) c.told.clear();  // nothing is known of its levels
            c.sure.assign(c.told.size(), 0);
            c.possible.assign(c.told.size(), 0);
        }
        plan_positions();
    }

    void check() {
        while (data_.next()) {
            ++n_;
            find_usable();
            for (const Position& p : positions_) check_position(p);
            if (data_.integer(run_.run().NIOUT) != 0)
                findings_.tell("RCDATA_I", fmt::format("record {}: its last word is not 0", n_));
        }
        for (std::size_t l = 0; l < lists_.size(); ++l)
            if (counts_[l].is_sound) compare(lists_[l], counts_[l]);
    }

 private:
    struct Position {
        int32_t position;
        std::size_t list;
        std::vector<int32_t> traits;  // of which one must be usable for the record to count
        bool counts = true;
    };

    void plan_positions() {
        for (std::size_t l = 0; l < lists_.size(); ++l)
            if (lists_[l].kind == CodeList::fixed)
                positions_.push_back(
                    {run_.trait(lists_[l].trait).f_ef_rci(lists_[l].effect), l, {lists_[l].trait}});
        for (int32_t k = 1; k <= run_.run().NRAMAT; ++k) {
            const RMatrix& r = run_.factor(k);
            const std::size_t list = list_of_factor(run_, lists_, k);
            const bool counts = r.structure != Structure::ABS_QTL && r.structure != Structure::DOM;
            for (const int32_t position : r.r_id_rci)
                if (position > 0)
                    positions_.push_back(
                        {position, list, {r.trait_no.begin(), r.trait_no.end()}, counts});
        }
        if (!run_.has_groups()) return;
        std::vector<int32_t> all;
        for (int32_t i = 1; i <= run_.run().nt; ++i) all.push_back(i);
        positions_.push_back({run_.residual().grp_rci, lists_.size() - 1, std::move(all)});
    }

    // Two faults of a record keep a trait out of the counts and not out of the files.
    bool is_out_of_counts(const Model& m) const {
        if (m.l_cens && m.cens_inp > 0 &&
            (data_.integer(m.cens_rci) < -1 || data_.integer(m.cens_rci) > 2))
            return true;
        for (int32_t c = 2; c <= m.n_absorb; ++c)
            if (data_.integer(c) < 1) return true;
        return false;
    }

    void find_usable() {
        usable_.clear();
        for (int32_t i = 1; i <= run_.run().nt; ++i)
            usable_.push_back(is_out_of_counts(run_.trait(i)) ? Usable::no : data_.usable(i));
    }

    void check_position(const Position& p) {
        const int32_t level = data_.integer(p.position);
        LevelCounts& c = counts_[p.list];
        if (level == 0 || c.told.empty()) return;
        if (level < 1 || static_cast<std::size_t>(level) >= c.told.size()) {
            c.is_sound = false;
            return findings_.tell(
                "RCDATA_I",
                fmt::format("record {}, position {}: level {} of factor {} ({}) is not "
                            "in CODE_TABLE",
                            n_, p.position, level, lists_[p.list].label, lists_[p.list].name));
        }
        if (!p.counts) return;
        bool sure = false, possible = false;
        for (const int32_t i : p.traits) {
            const Usable usable = usable_[static_cast<std::size_t>(i) - 1];
            sure = sure || usable == Usable::yes;
            possible = possible || usable != Usable::no;
        }
        c.sure[static_cast<std::size_t>(level)] += sure ? 1 : 0;
        c.possible[static_cast<std::size_t>(level)] += possible ? 1 : 0;
    }

    void compare(const CodeList& list, const LevelCounts& c) {
        // The animals of a factor of type DOM are those of the pedigree factor, told once more.
        if (list.kind == CodeList::animals && list.owner != list.factor) return;
        for (std::size_t level = 1; level < c.told.size(); ++level)
            if (c.told[level] < c.sure[level] || c.told[level] > c.possible[level])
                findings_.tell(
                    "CODE_TABLE",
                    fmt::format("factor {} ({}), level {}: {} observations, and RCDATA_I "
                                "has {}",
                                list.label, list.name, level, c.told[level], c.possible[level]));
    }

    const RunFolder& run_;
    const std::vector<CodeList>& lists_;
    std::vector<LevelCounts>& counts_;
    RunFindings& findings_;
    DataFile data_;
    std::vector<Position> positions_;
    std::vector<Usable> usable_;  // by trait
    int64_t n_ = 0;
};

// INBREED

// A number that stands in columns of its own; nothing when something else does.
std::optional<double> field_of(const std::string& line, std::size_t from, std::size_t width) {
    if (line.size() < from + width) return {};
    const char *at = line.data() + from, *end = at + width;
    at = std::find_if(at, end, [](char c) { return c != ' '; });
    double value = 0.0;
    const auto [stop, error] = std::from_chars(at, end, value);
    if (error != std::errc() || stop != end) return {};
    return value;
}

void check_line(int64_t n, const std::string& line, const Code& code, RunFindings& findings) {
    const auto identity = field_of(line, 1, 11), level = field_of(line, 18, 10),
               diagonal = field_of(line, 64, 14);
    if (!identity || !level || !diagonal)
        findings.tell("INBREED", fmt::format("line {}: not a line of an animal", n));
    else if (*identity != code.identity || *level != code.level)
        findings.tell("INBREED", fmt::format("line {}: animal {}, level {}, and CODE_TABLE has "
                                             "animal {}, level {}",
                                             n, *identity, *level, code.identity, code.level));
}

}  // namespace

std::vector<LevelCounts> check_codes(const RunFolder& run, const std::vector<CodeList>& lists,
                                     RunFindings& findings) {
    std::vector<LevelCounts> counts(lists.size());
    findings.try_check([&] { CodeCheck(run, lists, findings).check(counts); });
    return counts;
}

void check_data(const RunFolder& run, const std::vector<CodeList>& lists,
                std::vector<LevelCounts> counts, RunFindings& findings) {
    findings.try_check([&] { DataCheck(run, lists, counts, findings).check(); });
}

void check_inbreeding(const RunFolder& run, const std::vector<CodeList>& lists,
                      RunFindings& findings) {
    const std::filesystem::path file = run.path() / "INBREED";
    static_cast<void>(bytes_of_file(file));  // throws where it is not there
    const auto is_there = [&](const CodeList& list) {
        return list.kind == CodeList::animals && list.owner == list.factor &&
               run.factor(list.factor).method == 1;
    };
    int64_t expected = 0, found = 0;
    for (const CodeList& list : lists)
        if (is_there(list)) expected += list.n_levels;
    std::string line;
    for (std::ifstream from(file); std::getline(from, line);) ++found;
    if (found != expected)
        return findings.tell(
            "INBREED", fmt::format("{} lines, and the pedigrees have {} animals", found, expected));
    std::ifstream from(file);
    CodeFile codes(run);
    int64_t number = 0;
    for (const CodeList& list : lists)
        for (int64_t n = 0; n < list.n_levels; ++n) {
            const Code code = codes.read(list);
            if (is_there(list) && std::getline(from, line))
                check_line(++number, line, code, findings);
        }
}

}  // namespace kve::companion
