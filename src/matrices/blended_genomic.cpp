#include "matrices/blended_genomic.h"

#include <algorithm>

#include "base/arrays.h"
#include "base/state.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "matrices/user_matrix_ids.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/level_code.h"

namespace kve {

READS(RMAT);
READS(FACTORS);
READS(IDL);

namespace {

constexpr int32_t kNotTyped = 0;
constexpr int32_t kUnknown = -1;

void enter_position(LevelIndex& positions, int32_t id, int32_t t) {
    check_allocated(positions.enter(id, t), "PGMIX", "G_MAT_CN", t);
}

void fill_positions(const ReducedPedigree& ped, LevelIndex& positions) {
    const int32_t n = ped.n_typed();
    check_allocated(positions.allocate(n), "PGMIX", "G_MAT_CN", n);
    for (int32_t t = 1; t <= n; ++t) enter_position(positions, ped.ID(t), t);
}

void report_unknown(UnknownAnimals& unknown, int32_t id) {
    if (unknown.report(id)) return;
    say("More than 20 errors of this type");
    stop_run("Program terminated");
}

int32_t find_position(BlendedGenomicReading& reading, int32_t id, UnknownAnimals& unknown) {
    if (const LevelIndex::Slot* slot = reading.positions.find(id)) return slot->value();
    const int32_t k = reading.genomic.factor;
    refuse_key_without_bits(id, RMAT(k).rel_file3.view(), reading.genomic.file.n_read());
    if (find_level(id, FACTORS.ITOPA(k), IDL) == 0) {
        report_unknown(unknown, id);
        return kUnknown;
    }
    enter_position(reading.positions, id, kNotTyped);
    return kNotTyped;
}

void take_element(BlendedGenomicReading& reading, int32_t i, int32_t j) {
    BlendedGenomicFile& genomic = reading.genomic;
    if (i > 0 && j > 0) reading.both.G(std::max(i, j), std::min(i, j)) = genomic.element.value;
    if (i > 0 && i == j) reading.has_diagonal(i) = 1;
    genomic.answer = genomic.file.read(genomic.element);
}

// Up to the end, or to an element with an animal that was not met before.
void* take_known_elements(void* self) {
    auto& reading = *static_cast<BlendedGenomicReading*>(self);
    const MatrixElement& element = reading.genomic.element;
    while (reading.genomic.answer == FileAnswer::record) {
        const LevelIndex::Slot* first = reading.positions.find(element.id_1);
        const LevelIndex::Slot* second = reading.positions.find(element.id_2);
        if (first == nullptr || second == nullptr) break;
        take_element(reading, first->value(), second->value());
    }
    return nullptr;
}

// What the blending of G makes of an element that is 0.
void warn_of_zero_elements(const RMatrix& r) {
    if (r.pgmix_g_adjust)
        say_row("WARNING - their own elements count as 0 ahead of G-ADJUST: give them");
    else
        say_row("WARNING - their own elements in Gw are only %g times those of A11: give them",
                std::max(0.0, static_cast<double>(r.pgmix_weight)));
}

void warn_of_missing_diagonals(int32_t k, const ReducedPedigree& ped,
                               const Vec<int8_t>& has_diagonal) {
    constexpr int kMostListed = 20;
    const auto n = std::count(has_diagonal.begin(), has_diagonal.end(), int8_t{0});
    if (n == 0) return;
    say_row("WARNING - typed animals without a diagonal element in the genomic matrix: %12lld",
            static_cast<long long>(n));
    int listed = 0;
    for (int32_t t = 1; t <= ped.n_typed() && listed < kMostListed; ++t) {
        if (has_diagonal(t) != 0) continue;
        say_row("%12d", ped.ID(t));
        ++listed;
    }
    warn_of_zero_elements(RMAT(k));
}

}  // namespace

void open_blended_genomic(BlendedGenomicFile& genomic) {
    const RMatrix& r = RMAT(genomic.factor);
    const auto format = static_cast<DataFormat>(r.rel_format);
    genomic.open_status = genomic.file.open(r.rel_file3.string(), format);
    if (genomic.open_status == 0) genomic.answer = genomic.file.read(genomic.element);
}

void require_blended_genomic(BlendedGenomicFile& genomic) {
    const FileName& name = RMAT(genomic.factor).rel_file3;
    if (genomic.open_status != 0) {
        tell_input_not_opened(name.view(), genomic.open_status);
        stop_blended_file(
            "ERROR opening file with the Genomic relationship matrix for random effect",
            genomic.factor);
    }
    if (genomic.answer != FileAnswer::record) {
        tell_first_record(name, genomic.answer, genomic.file);
        stop_blended_file(
            "ERROR reading first record of the Genomic relationship matrix for random effect",
            genomic.factor);
    }
}

void start_blended_genomic(BlendedGenomicReading& reading) {
    const int32_t n = reading.ped.n_typed();
    fill_positions(reading.ped, reading.positions);
    check_allocated(reading.has_diagonal.allocate(n), "PGMIX", "G_MAT", n);
    static_cast<void>(reading.thread.start(take_known_elements, &reading));
}

void read_blended_genomic(BlendedGenomicReading& reading) {
    reading.thread.join();
    BlendedGenomicFile& genomic = reading.genomic;
    UnknownAnimals unknown{"The following random ID are in the file with 'genomic' relationship"};
    for (;;) {
        take_known_elements(&reading);
        if (genomic.answer != FileAnswer::record) break;
        const int32_t i = find_position(reading, genomic.element.id_1, unknown);
        const int32_t j = find_position(reading, genomic.element.id_2, unknown);
        take_element(reading, i, j);
    }
    if (genomic.answer == FileAnswer::failure)
        stop_unreadable_item("an element", RMAT(genomic.factor).rel_file3.string().c_str(),
                             genomic.file);
    warn_of_decimal_commas(genomic.factor, RMAT(genomic.factor).rel_file3,
                           genomic.file.decimal_commas());
    warn_of_missing_diagonals(genomic.factor, reading.ped, reading.has_diagonal);
}

}  // namespace kve
