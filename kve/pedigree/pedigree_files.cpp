#include "kve/pedigree/pedigree_files.h"

#include <fmt/format.h>

#include <array>
#include <string_view>

#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"

namespace kve::companion {

namespace {

void put_record(Output& out, const std::array<int32_t, 4>& record, bool binary) {
    if (binary) {
        constexpr int32_t kBytes = sizeof record;
        const std::array framed{kBytes, record[0], record[1], record[2], record[3], kBytes};
        out.put(std::string_view(reinterpret_cast<const char*>(framed.data()), sizeof framed));
        return;
    }
    for (std::size_t k = 0; k < record.size(); ++k) {
        if (k > 0) out.put(' ');
        out.put(record[k]);
    }
    out.put('\n');
}

}  // namespace

int64_t write_pedigree(const std::string& file, const Placed& placed, const Herdbook& book,
                       const Codes& codes, const Groups& groups, bool adds_parents, bool binary) {
    Output out(file);
    const bool has_groups = groups.sire.size() > 0;
    Vec<int32_t, 0> code;  // by place
    make_table(code, int64_t{placed.pedigree.size()} + 1);
    for (int32_t j = 1; j <= placed.pedigree.size(); ++j)
        code(j) = codes.of[static_cast<std::size_t>(placed.number(j))];
    int64_t records = 0;
    for (int32_t j = 1; j <= placed.pedigree.size(); ++j) {
        if (!adds_parents && book.line(placed.number(j)) == 0) continue;
        const auto [sire, dam] = placed.pedigree.parents(j);
        put_record(out,
                   {code(j),
                    sire != 0    ? code(sire)
                    : has_groups ? groups.sire(j)
                                 : 0,
                    dam != 0     ? code(dam)
                    : has_groups ? groups.dam(j)
                                 : 0,
                    placed.sort(j)},
                   binary);
        ++records;
    }
    out.finish();
    return records;
}

void write_identities(const std::string& file, const Placed& placed, const IdentityTable& names,
                      Codes codes) {
    codes.is_earlier.resize(codes.of.size());
    for (const int32_t number : placed.number)
        codes.is_earlier[static_cast<std::size_t>(number)] = true;
    for (std::size_t number = 1; number < codes.of.size(); ++number)
        if (!codes.is_earlier[number]) codes.of[number] = 0;
    write_ids(file, names, codes);
}

std::string words_of(const PedigreeFinding& finding, const PedigreeFindings& findings,
                     const IdentityTable& names) {
    const auto text = [&] { return findings.texts[static_cast<std::size_t>(finding.other)]; };
    switch (finding.kind) {
        case Kind::one_as_both:
            return fmt::format("both parents are {}", names.text(finding.other));
        case Kind::repeated:
            return fmt::format("as in line {}", finding.other);
        case Kind::both_parts:
            return fmt::format("a sire here, a dam in line {}", finding.other);
        case Kind::no_record:
            return "a parent here";
        case Kind::own_parent:
        case Kind::no_birth:
        case Kind::no_sex:
        case Kind::no_identity:
            return {};
        default:
            return text();
    }
}

namespace {

void put_line(Output& out, const std::string& source, int32_t line) {
    out.put(source);
    out.put('\t');
    if (line > 0) out.put(line);
    out.put('\t');
}

void put_animal(Output& out, const IdentityTable& names, int32_t animal) {
    if (animal > 0) out.put(table_field(names.text(animal), '\t'));
    out.put('\t');
}

}  // namespace

void write_findings(const std::string& file, const std::string& source,
                    const PedigreeFindings& findings, const IdentityTable& names) {
    Output out(file);
    out.put("file\tline\tanimal\tfinding\ttext\n");
    const std::string name = table_field(source, '\t');
    for (const PedigreeFinding& finding : findings.list) {
        put_line(out, name, finding.line);
        put_animal(out, names, finding.animal);
        out.put(words_of(finding.kind).name);
        out.put('\t');
        out.put(table_field(words_of(finding, findings, names), '\t'));
        out.put('\n');
    }
    out.finish();
}

void write_changes(const std::string& file, const std::string& source,
                   const PedigreeFindings& findings, const IdentityTable& names) {
    Output out(file);
    out.put("file\tline\tanimal\tchange\n");
    const std::string name = table_field(source, '\t');
    for (const Change& change : findings.changes) {
        put_line(out, name, change.line);
        put_animal(out, names, change.animal);
        out.put(table_field(change.words, '\t'));
        out.put('\n');
    }
    out.finish();
}

void write_groups(const std::string& file, const Groups& groups) {
    Output out(file);
    out.put("code\tunknown\tfirst_birth\tlast_birth\tparents\n");
    for (const Group& group : groups.list)
        out.put(fmt::format("{}\t{}\t{}\t{}\t{}\n", group.code, group.paths, group.first,
                            group.last, group.parents));
    out.finish();
}

}  // namespace kve::companion
