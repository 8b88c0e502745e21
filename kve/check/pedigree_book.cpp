#include "kve/check/pedigree_book.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <new>

#include "base/input.h"
#include "kve/check/bad_items.h"
#include "pedigree/pedigree_record.h"

namespace kve::companion {

namespace {

constexpr std::size_t kBlock = 64;  // records whose identities are looked up together
constexpr const char* kColumnNames[kPedigreeColumns] = {"identity", "sire", "dam", "sort variable"};

// Told when all groups are known: a code without its sign may be meant.
struct OneAsBoth {
    int32_t id, parent, line;
};

struct FileReading {
    Look& look;
    const PedigreeJob& job;
    TextInput text;
    RecordInput framed;
    PedigreeBook pedigree{};
    int64_t n_read = 0;
    bool is_cut = false;                   // --fast, or a record that cannot be passed over
    std::vector<OneAsBoth> one_as_both{};  // the first ones
    int64_t n_one_as_both = 0;
    BadItems bad{};

    bool is_text() const { return job.format == kAscii; }
    Place place(int64_t line, int64_t column = 0) const { return {job.file, line, column}; }
};

struct ReadRecord {
    FramedPedigreeRecord values;
    int32_t line;
};

// ---- Records that cannot be read

void tell_unreadable_frame(FileReading& at) {
    at.look.findings.error("pedigree-record", at.place(0),
                           fmt::format("record {} is cut, shorter than 16 bytes, or without its "
                                       "length on both sides; KVE1 would stop",
                                       at.n_read),
                           "Perhaps the file is a text: write ASCII on the $VAR_STR line");
}

void tell_failed(FileReading& at, const ByteInput& file) {
    at.look.findings.error("file-unusable", at.place(0),
                           fmt::format("it cannot be read: {}", std::strerror(file.error())));
}

// False when one of the values does not fit.
bool take_wide(FileReading& at, const WidePedigreeRecord& wide, ReadRecord& record) {
    for (std::size_t k = 0; k < kPedigreeColumns; ++k) {
        if (!is_in_pedigree_range(wide[k])) [[unlikely]] {
            at.look.findings.error(
                "pedigree-range", at.place(record.line),
                fmt::format("the {} {} is beyond 2147483647; KVE1 would stop when the file is read",
                            kColumnNames[k], wide[k]),
                "Number the animals anew, in data and pedigree alike: kve ped and kve prep do it");
            return false;
        }
        record.values[k] = static_cast<int32_t>(wide[k]);
    }
    return true;
}

// Neither of the two animals is known then.
void tell_short_record(FileReading& at, int64_t begin, int64_t end) {
    at.is_cut = true;
    if (at.look.findings.counts_only("short-record", Severity::error)) return;
    at.look.findings.error(
        "short-record", at.place(begin),
        fmt::format(
            "the record of the pedigree goes on in line {}: fewer than 4 values stand here, "
            "and the next line fills them up; what is left of it is lost",
            end),
        "Each line has identity, sire, dam and sort variable; an unknown parent is 0");
}

bool next_text_record(FileReading& at, ReadRecord& record) {
    WidePedigreeRecord wide;
    for (;;) {
        const int64_t begin = at.text.find_next_item();
        if (at.look.fast && begin > kFastLines) return at.is_cut = true, false;
        ++at.n_read;
        const int32_t status = read_pedigree_record(at.text, wide);
        if (status == kEndOfData) return false;
        if (status != kRecordRead) {
            if (at.text.error() != 0) return tell_failed(at, at.text), false;
            at.bad.take(at.text);
            continue;
        }
        record.line = static_cast<int32_t>(std::min<int64_t>(begin, kLargestInPedigree));
        // The line after that of the last item is under the reader.
        if (const int64_t end = at.text.line_number() - 1; end > begin) {
            tell_short_record(at, begin, end);
            continue;
        }
        if (take_wide(at, wide, record)) return true;
    }
}

bool next_record(FileReading& at, ReadRecord& record) {
    if (at.is_text()) return next_text_record(at, record);
    if (at.look.fast && at.n_read == kFastLines) return at.is_cut = true, false;
    ++at.n_read;
    const int32_t status = read_pedigree_record(at.framed, record.values);
    record.line = static_cast<int32_t>(std::min<int64_t>(at.n_read, kLargestInPedigree));
    if (status == kRecordRead) return true;
    if (status == kEndOfData) return false;
    if (at.framed.error() != 0)
        tell_failed(at, at.framed);
    else
        tell_unreadable_frame(at);
    at.is_cut = true;
    return false;
}

// ---- Records that KVE1 leaves out, and codes that it does not take as they stand

void tell_dropped(FileReading& at, const ReadRecord& r, RecordFault fault) {
    const int32_t id = r.values[0], sire = r.values[1];
    Findings& findings = at.look.findings;
    if (fault != RecordFault::identity) at.pedigree.dropped.push_back(id);
    switch (fault) {
        case RecordFault::identity:
            return findings.error(
                "pedigree-identity", at.place(r.line),
                fmt::format("the identity {} is not above 0; the record is dropped", id));
        case RecordFault::own_parent:
            return findings.error(
                "own-parent", at.place(r.line),
                fmt::format("{} is its own {}; the record is dropped, and both parents with it", id,
                            id == sire ? "sire" : at.job.dam_called()),
                "Write 0 for the parent that is not known");
        default:
            break;
    }
    if (at.job.has_grandsires())
        return findings.error(
            "sire-is-grandsire", at.place(r.line),
            fmt::format("{}: its sire {} is its maternal grandsire too; KVE1 drops the record, and "
                        "the animal has no sire then",
                        id, sire),
            "Write 0 for the maternal grandsire");
    if (++at.n_one_as_both <= Findings::kKeptOfCode) at.one_as_both.push_back({id, sire, r.line});
}

void tell_one_as_both(FileReading& at) {
    for (const auto& [id, parent, line] : at.one_as_both) {
        const bool is_code =
            at.pedigree.groups.contains(-parent) && at.pedigree.number_of(parent) == 0;
        at.look.findings.error(
            "one-as-both", at.place(line),
            fmt::format("{}: {} is sire and dam{}; the record is dropped, and the animal has "
                        "unknown parents",
                        id, parent, is_code ? fmt::format(" ({} meant?)", -parent) : ""),
            is_code               ? "Codes of phantom groups are below 0"
            : at.job.has_groups() ? "Write the code of a phantom group, below 0, for the parent "
                                    "that is not known"
                                  : "Write 0 for the parent that is not known");
    }
    at.look.findings.count_more("one-as-both", Severity::error,
                                at.n_one_as_both - std::ssize(at.one_as_both));
}

void tell_group_codes(FileReading& at, const ReadRecord& r) {
    for (const std::size_t k : {std::size_t{1}, std::size_t{2}}) {
        if (r.values[k] >= 0 || at.look.findings.counts_only("group-code", Severity::warning))
            continue;
        at.look.findings.warn(
            "group-code", at.place(r.line),
            fmt::format(
                "{}: the {} is {}; under method {} codes below 0 mean nothing and stand for "
                "an unknown parent",
                r.values[0], k == 1 ? "sire" : at.job.dam_called(), r.values[k], at.job.method),
            "Phantom parent groups need method 6; else write 0");
    }
}

void tell_repeated(FileReading& at, const PedigreeRecord& r, int32_t line, int32_t first) {
    if (at.look.findings.counts_only("animal-twice", Severity::warning)) return;
    const Herdbook& book = at.pedigree.book;
    const ParentPair before = book.parents(first);
    std::string differs;
    const auto compare = [&differs](const char* what, int32_t old_value, int32_t new_value) {
        if (old_value == new_value) return;
        differs +=
            fmt::format("{}{} {} and {}", differs.empty() ? "" : ", ", what, old_value, new_value);
    };
    compare("sire", before.sire, r.sire);
    compare(at.job.dam_called(), before.dam, r.dam);
    compare("sort variable", book.birth(first), r.sort);
    at.look.findings.warn(
        "animal-twice", at.place(line),
        fmt::format("{} has a record in line {} already, which counts; {}", r.id, book.line(first),
                    differs.empty() ? "both say the same" : "they differ: " + differs),
        differs.empty() ? "" : "Keep the one that is right");
}

// ---- Entering

void make_room(PedigreeBook& pedigree, int64_t n) {
    Herdbook& book = pedigree.book;
    if (book.parents.lengthen(n) != 0 || book.line.lengthen(n) != 0 ||
        book.birth.lengthen(n) != 0 || pedigree.id.lengthen(n) != 0)
        throw std::bad_alloc();
}

void enter_record(FileReading& at, const ReadRecord& read) {
    const PedigreeRecord r = pedigree_record_of(read.values, at.job.has_groups());
    if (const RecordFault fault = fault_of(r); fault != RecordFault::none)
        return tell_dropped(at, read, fault);
    PedigreeBook& pedigree = at.pedigree;
    if (!at.job.has_groups() && (read.values[1] < 0 || read.values[2] < 0))
        tell_group_codes(at, read);
    if (const int32_t first = pedigree.number_of(r.id); first != 0)
        return tell_repeated(at, r, read.line, first);
    const int32_t number = ++pedigree.n_records;
    if (number > pedigree.id.size())
        make_room(pedigree, std::max<int64_t>(1024, int64_t{number} + number / 2));
    if (pedigree.index.enter(r.id, number) != 0) throw std::bad_alloc();
    pedigree.id(number) = r.id;
    pedigree.book.line(number) = read.line;
    pedigree.book.birth(number) = r.sort;
    pedigree.book.parents(number) = {r.sire, r.dam};
    for (const int32_t parent : {r.sire, r.dam}) {
        if (parent == 0 && ++pedigree.n_unknown == 1) pedigree.unknown_line = read.line;
        if (parent >= 0) continue;
        ++pedigree.n_groups;
        pedigree.groups.insert(parent);
    }
}

void enter_all_records(FileReading& at) {
    std::array<ReadRecord, kBlock> block;
    for (std::size_t n = kBlock; n == kBlock;) {
        for (n = 0; n < kBlock && next_record(at, block[n]); ++n)
            at.pedigree.index.expect(block[n].values[0]);
        for (std::size_t k = 0; k < n; ++k) enter_record(at, block[k]);
    }
}

// Why KVE1 refuses the file by its first line, where the rest would tell the same again.
bool is_refused_by_first_line(FileReading& at) {
    constexpr std::size_t kLongest = 1000;
    TextInput file;
    std::string_view line;
    if (!at.is_text() || file.open_input(at.job.file) != 0 ||
        file.read_line(line, kLongest) != TextInput::Line::ok)
        return false;
    const auto n_words = words_of(line).size();
    const bool is_without_blanks = n_words == 1 && std::ranges::count_if(line, [](char c) {
                                                       return c == ',' || c == ';';
                                                   }) >= 3;
    if (is_without_blanks)
        at.look.findings.error("pedigree-record", at.place(1),
                               "no blanks stand between the values of the first line; KVE1 would "
                               "stop",
                               fmt::format("tr ',;' '  ' <{} >new.ped", at.job.file));
    if (n_words == 3)
        at.look.findings.error("sort-variable", at.place(1),
                               "three values a line: the fourth, the sort variable, is missing; "
                               "KVE1 would stop",
                               "Add the date of birth such as 20200611; kve ped makes generations "
                               "from the parents alone");
    return is_without_blanks || n_words == 3;
}

int64_t estimate_records(const FileReading& at) {
    constexpr int64_t kUsualLine = 30, kFramedRecord = 24;
    const auto bytes = static_cast<int64_t>(bytes_of_input(at.job.file));
    const int64_t n = bytes / (at.is_text() ? kUsualLine : kFramedRecord);
    return at.look.fast ? std::min(n, kFastLines) : n;
}

}  // namespace

int32_t PedigreeBook::add_animal(int32_t identity) {
    added.push_back(identity);
    if (index.enter(identity, size()) != 0) throw std::bad_alloc();
    return size();
}

void PedigreeBook::fit_tables() {
    const int64_t n = size();
    const auto fit = [n](auto& table) {
        std::remove_reference_t<decltype(table)> fitting;
        make_table(fitting, n);
        std::copy_n(table.begin(), std::min(n, table.size()), fitting.begin());
        table = std::move(fitting);
    };
    fit(book.parents);
    fit(book.line);
    fit(book.birth);
    fit(book.sex);
    fit(id);
    std::copy(added.begin(), added.end(), id.begin() + n_records);
}

PedigreeBook read_pedigree_book(Look& look, const PedigreeJob& job) {
    FileReading at{.look = look, .job = job, .text{}, .framed{}};
    const int status = at.is_text() ? at.text.open_input(job.file) : at.framed.open_input(job.file);
    if (at.pedigree.index.allocate(status == 0 ? estimate_records(at) : 0) != 0)
        throw std::bad_alloc();
    if (status == 0 && !is_refused_by_first_line(at)) {
        at.pedigree.is_whole = true;
        enter_all_records(at);
        std::ranges::sort(at.pedigree.dropped);
        tell_one_as_both(at);
        at.bad.tell(look, job.file, "pedigree-record",
                    {"identity", "sire", job.dam_called(), "sort variable"},
                    "KVE1 would stop at this record");
    }
    if (at.is_cut || at.bad.count() > 0) at.pedigree.is_whole = false;
    return std::move(at.pedigree);
}

}  // namespace kve::companion
