// The IDs in the relationship matrices that users give in files of their own (COR, DOM, ABS_QTL and
// GREL): the first pass over a factor's file learns and tests them, the second one asks for their
// levels. Also what both passes have in common: the file, and words that stop a run.
#pragma once

#include <cstdint>

#include "base/text.h"
#include "matrices/element_file.h"
#include "store/level_index.h"

namespace kve {

// The matrix file of a random factor, one element after the other.
struct UserMatrixFile {
    FileName name;
    ElementFile file;
    MatrixElement element{};  // as long as there is one
    FileAnswer answer = FileAnswer::end;

    bool has_element() const { return answer == FileAnswer::record; }
    // A record that cannot be read ends the file; `enter_ids` notes it in the log. A read that the
    // system refuses stops the run.
    void next();
    // Stops the run when the record read last holds the identity that has no bit string.
    void refuse_ids_without_bits() const;
};

// Names a file whose first record cannot be read, ahead of the words of its stage.
void tell_first_record(const FileName& name, FileAnswer answer, ElementFile& file);

// Opens the file of factor k and reads its first record; stops the run when either fails.
void open_user_matrix(int32_t k, UserMatrixFile& from);
// When the first record holds the log determinant: stores it in RMAT(k) and goes on to the next.
void take_determinant(int32_t k, UserMatrixFile& from);

// When the text of a matrix seems to have values with a decimal comma.
void warn_of_decimal_commas(int32_t k, const FileName& name, DecimalCommas commas);

// Stops on a number of a random factor for which there are no file names.
void check_factor_number(int32_t k);

// First pass. Reads the whole file of factor k, with its log determinant, enters its IDs into the
// tree of IFL rows at `root`, and prints the counts. Column `mark` of IFL is 1 then for levels with
// a diagonal element and 0 for all others.
void enter_ids(int32_t k, int32_t& root);
// After it: the levels of the list from `row` on that have no diagonal element go to the listing
// and to the file MISS_IDk; `status` becomes 1 when there is one, and stays otherwise.
void report_missing_ids(int32_t k, int32_t row, int32_t& status);

// At the end of the second pass: stops the run when the file has changed since the first one.
void check_second_matrix_reading(int32_t k, const UserMatrixFile& from);

// Second pass: the level numbers of the IDs of a matrix.
class ElementLevels {
 public:
    static constexpr int32_t kUnknown = -1;

    // Of factor k itself, or of its associated pedigree for a factor that has one.
    explicit ElementLevels(int32_t k);

    // `kUnknown` for an ID that the pedigree lacks. Without a pedigree 0 for an ID that the first
    // pass did not meet: the file has changed since.
    int32_t level_of(int32_t id);

 private:
    int32_t look_up(int32_t id) const;

    int32_t root_;
    bool are_animals_;
    LevelIndex met_;  // levels by ID: those of a matrix come many times
};

}  // namespace kve
