#include "store/growth.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

#include "base/arrays.h"
#include "base/state.h"
#include "listing/stop.h"
#include "store/big_tables.h"

namespace kve {

WRITES(DIMENSIONS);
WRITES(IFL);
WRITES(NMFL);
WRITES(IDL);
WRITES(NMDL);
WRITES(AD);
WRITES(LD);
WRITES(IF);
WRITES(IN);
WRITES(IV);
WRITES(AI);
WRITES(N_SPARSE);
WRITES(N_HEADS);

namespace {

constexpr float kGrowthFactor = 1.1F;

// The names that messages about these tables give to what asked for them.
constexpr std::string_view kLevelsRoutine = "ALLOC_MFL";
constexpr std::string_view kAnimalsRoutine = "ALLOC_MDL";
constexpr std::string_view kElementsRoutine = "ALLOC_MAXNRM";

// Columns of a table's row, for the element counts that a failed allocation shows.
template <class T>
constexpr int64_t kColumns = 1;
template <>
constexpr int64_t kColumns<LevelRow> = 7;
template <>
constexpr int64_t kColumns<AnimalRow> = 13;

template <class T>
void allocate_table(std::string_view routine, Vec<T>& array, int64_t length,
                    std::string_view name) {
    check_allocated(array.allocate(length), routine, name, length * kColumns<T>);
}

template <class T>
void lengthen_table(std::string_view routine, Vec<T>& array, int64_t length,
                    std::string_view name) {
    check_allocated(array.lengthen(length), routine, name, length * kColumns<T>);
}

void start_counts(Dimension& dimension) {
    dimension.used = 0;
    dimension.expansions = 0;
    dimension.first = dimension.now;
}

int64_t next_length(int32_t length) {
    float product = kGrowthFactor * static_cast<float>(length);
    return std::max(static_cast<int64_t>(product), int64_t{length} + 1);
}

// The next value of a dimension that sizes `array`.
template <class T>
void grow_dimension(Dimension& dimension, std::string_view routine, const Vec<T>&,
                    std::string_view array) {
    ++dimension.expansions;
    int64_t next = next_length(dimension.now);
    if (next > std::numeric_limits<int32_t>::max())
        alloc_error(routine, array, next * kColumns<T>, kNoMemory);
    dimension.now = static_cast<int32_t>(next);
}

// IN and IV have an entry for each sparse element and for each animal.
int32_t work_length() { return std::max(DIMENSIONS.MAXNRM.now, DIMENSIONS.MDL.now); }

}  // namespace

void allocate_levels() {
    start_counts(DIMENSIONS.MFL);
    allocate_table(kLevelsRoutine, IFL, DIMENSIONS.MFL.now, "IFL");
    NMFL = 0;
}

void grow_levels() {
    grow_dimension(DIMENSIONS.MFL, kLevelsRoutine, IFL, "IFL");
    lengthen_table(kLevelsRoutine, IFL, DIMENSIONS.MFL.now, "IFL");
}

void allocate_animals() {
    start_counts(DIMENSIONS.MDL);
    int32_t rows = DIMENSIONS.MDL.now;
    allocate_table(kAnimalsRoutine, IDL, rows, "IDL");
    allocate_table(kAnimalsRoutine, IF, rows, "IF");
    allocate_table(kAnimalsRoutine, AD, rows, "AD");
    allocate_table(kAnimalsRoutine, LD, rows, "LD");
    NMDL = 0;
    N_HEADS = 0;
}

void grow_animals() {
    grow_dimension(DIMENSIONS.MDL, kAnimalsRoutine, IDL, "IDL");
    int32_t rows = DIMENSIONS.MDL.now;
    lengthen_table(kAnimalsRoutine, IDL, rows, "IDL");
    lengthen_table(kAnimalsRoutine, IF, rows, "IF");
    lengthen_table(kAnimalsRoutine, AD, rows, "AD");
    lengthen_table(kAnimalsRoutine, LD, rows, "LD");
    lengthen_table(kAnimalsRoutine, IN, work_length(), "IN");
    lengthen_table(kAnimalsRoutine, IV, work_length(), "IV");
}

void allocate_elements() {
    start_counts(DIMENSIONS.MAXNRM);
    allocate_table(kElementsRoutine, AI, DIMENSIONS.MAXNRM.now, "AI");
    allocate_table(kElementsRoutine, IN, work_length(), "IN");
    allocate_table(kElementsRoutine, IV, work_length(), "IV");
    N_SPARSE = 0;
}

void grow_elements() {
    grow_dimension(DIMENSIONS.MAXNRM, kElementsRoutine, AI, "AI");
    lengthen_table(kElementsRoutine, AI, DIMENSIONS.MAXNRM.now, "AI");
    lengthen_table(kElementsRoutine, IN, work_length(), "IN");
    lengthen_table(kElementsRoutine, IV, work_length(), "IV");
}

void lengthen_row_heads(int32_t row) {
    // Rows come in ascending order more often than not: lengthen ahead of them.
    int64_t length = std::max(int64_t{row}, next_length(static_cast<int32_t>(IF.size())));
    lengthen_table(kAnimalsRoutine, IF, length, "IF");
}

}  // namespace kve
