#include "kve/pedigree/parts.h"

#include <fmt/format.h>

#include <utility>

namespace kve::companion {

namespace {

// By number, the lines in which the animal is first met as a sire and as a dam.
struct FirstLines {
    Vec<int32_t, 0> sire, dam;
};

void exchange_parents(Herdbook& book, const IdentityTable& names, PedigreeFindings& findings) {
    const auto sex = [&](int32_t animal) { return animal == 0 ? Sex::unknown : book.sex(animal); };
    for (int32_t j = 1; j <= book.size(); ++j) {
        ParentPair& p = book.parents(j);
        if (sex(p.sire) != Sex::female || sex(p.dam) != Sex::male) continue;
        findings.add(
            Kind::wrong_sex, book.line(j), p.sire,
            fmt::format("a sire here and female, its mate {} a dam and male", names.text(p.dam)));
        findings.changes.push_back({book.line(j), j,
                                    fmt::format("sire and dam change places: {} and {}",
                                                names.text(p.dam), names.text(p.sire))});
        std::swap(p.sire, p.dam);
    }
}

FirstLines find_first_lines(const Herdbook& book) {
    FirstLines lines;
    make_table(lines.sire, int64_t{book.size()} + 1);
    make_table(lines.dam, int64_t{book.size()} + 1);
    for (int32_t j = 1; j <= book.size(); ++j) {
        const auto [sire, dam] = book.parents(j);
        if (lines.sire(sire) == 0) lines.sire(sire) = book.line(j);
        if (lines.dam(dam) == 0) lines.dam(dam) = book.line(j);
    }
    return lines;
}

void drop_links(Herdbook& book, const FirstLines& lines, const IdentityTable& names,
                PedigreeFindings& findings) {
    const auto drop = [&](int32_t j, int32_t& parent, Sex forbidden, const char* part) {
        if (parent == 0 || lines.sire(parent) == 0 || lines.dam(parent) == 0 ||
            book.sex(parent) != forbidden)
            return;
        findings.changes.push_back(
            {book.line(j), j,
             fmt::format("{} {} unknown, {} by its record", part, names.text(parent),
                         forbidden == Sex::male ? "male" : "female")});
        parent = 0;
    };
    for (int32_t j = 1; j <= book.size(); ++j) {
        drop(j, book.parents(j).sire, Sex::female, "sire");
        drop(j, book.parents(j).dam, Sex::male, "dam");
    }
}

// Of an animal that is in one part, or in none.
void settle_sex(Herdbook& book, const FirstLines& lines, int32_t j, PedigreeFindings& findings) {
    if (lines.sire(j) != 0) {
        if (book.sex(j) == Sex::female) {
            findings.add(Kind::wrong_sex, lines.sire(j), j,
                         std::string("a sire here and female by its record"));
            findings.changes.push_back({book.line(j), j, "sex male"});
        }
        book.sex(j) = Sex::male;
    } else if (lines.dam(j) != 0) {
        if (book.sex(j) == Sex::male) {
            findings.add(Kind::wrong_sex, lines.dam(j), j,
                         std::string("a dam here and male by its record"));
            findings.changes.push_back({book.line(j), j, "sex female"});
        }
        book.sex(j) = Sex::female;
    } else if (book.sex(j) == Sex::unknown && book.has_sexes) {
        findings.add(Kind::no_sex, book.line(j), j);
    }
}

}  // namespace

void settle_parts(Herdbook& book, const IdentityTable& names, PedigreeFindings& findings,
                  bool mends) {
    if (mends && book.has_sexes) exchange_parents(book, names, findings);
    const FirstLines lines = find_first_lines(book);
    bool drops = false;
    for (int32_t j = 1; j <= book.size(); ++j) {
        const bool both = lines.sire(j) != 0 && lines.dam(j) != 0;
        if (book.line(j) == 0)
            findings.add(Kind::no_record, lines.sire(j) != 0 ? lines.sire(j) : lines.dam(j), j);
        if (both) {
            findings.add(Kind::both_parts, lines.sire(j), j, lines.dam(j));
            drops = drops || (mends && book.sex(j) != Sex::unknown);
        } else {
            settle_sex(book, lines, j, findings);
        }
    }
    if (drops) drop_links(book, lines, names, findings);
}

}  // namespace kve::companion
