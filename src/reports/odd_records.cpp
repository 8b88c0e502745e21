#include "reports/odd_records.h"

#include <string_view>

#include "data/intake.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(INTAKE);
READS(KVEINT);

namespace {

// In the two-file form integers and reals stand in a file each.
long long bytes_of_variables(int32_t file) {
    const int32_t words[2] = {DIRECTIVES.NI, DIRECTIVES.NR};
    return 4LL * (DIRECTIVES.n_data_files == 2 ? words[file] : words[0] + words[1]);
}

void warn_other_lines(const OddRecords& records, std::string_view file) {
    if (records.n == 0) return;
    Block block;
    block.line("WARNING - %lld records stand on another number of lines than the first one: %.*s",
               static_cast<long long>(records.n), KVE_SV(file));
    block.line(
        "          The first of them is record %lld, which begins on line %lld. A line that is",
        static_cast<long long>(records.first), static_cast<long long>(records.line_or_length));
    block.line("          short of a value takes it from the next line: write every value");
    block.print();
}

void warn_longer(const OddRecords& records, int32_t number, std::string_view file) {
    if (records.n == 0) return;
    Block block;
    block.line("WARNING - %lld records are longer than their variables, %lld bytes: %.*s",
               static_cast<long long>(records.n), bytes_of_variables(number), KVE_SV(file));
    block.line(
        "          The first of them is record %lld of %lld bytes; the rest of it is not read.",
        static_cast<long long>(records.first), static_cast<long long>(records.line_or_length));
    block.line("          Each variable has 4 bytes: compare their numbers with those of $DATA");
    block.print();
}

void warn_left(int64_t n, std::string_view file) {
    if (n == 0) return;
    Block block;
    block.line("WARNING - %lld records more than in the other data file, which are not used: %.*s",
               static_cast<long long>(n), KVE_SV(file));
    block.line("          The files belong together record by record: see that none is missing");
    block.print();
}

void warn_nothing_usable() {
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        if (INTAKE.NS(i, i) > 0) return;
    Block block;
    block.line("WARNING - no record has a usable trait: RCDATA will be empty");
    block.line("          Look at the missing value code of $DATA and for identities below 1");
    block.print();
}

}  // namespace

void warn_odd_records() {
    for (int32_t number : {0, 1}) {
        const DataFileCounts& counts = INTAKE.file[number];
        const std::string_view name = DIRECTIVES.data_file[number].view();
        warn_other_lines(counts.other_lines, name);
        warn_longer(counts.longer, number, name);
        warn_left(counts.n_left, name);
    }
    warn_nothing_usable();
}

}  // namespace kve
