#include "store/growth.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "base/arrays.h"
#include "base/state.h"
#include "base/text.h"
#include "listing/listing.h"
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

// A nameless file in the working directory, since that is where the room is. It is removed from
// the folder at once, so that nothing is left behind however the run ends.
class ScratchFile {
 public:
    explicit ScratchFile(std::string_view routine) : routine_(routine) {
        char name[] = "KVE1_scratch_XXXXXX";
        descriptor_ = ::mkstemp(name);
        if (descriptor_ < 0) fail("written");
        ::unlink(name);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() { ::close(descriptor_); }

    void write(const void* from, std::size_t bytes) {
        auto* at = static_cast<const char*>(from);
        while (bytes > 0) {
            ssize_t done = ::write(descriptor_, at, bytes);
            if (done < 0 && errno == EINTR) continue;
            if (done <= 0) fail("written");
            at += done;
            bytes -= static_cast<std::size_t>(done);
        }
    }

    void rewind() {
        if (::lseek(descriptor_, 0, SEEK_SET) < 0) fail("read back");
    }

    void read(void* into, std::size_t bytes) {
        auto* at = static_cast<char*>(into);
        while (bytes > 0) {
            ssize_t done = ::read(descriptor_, at, bytes);
            if (done < 0 && errno == EINTR) continue;
            if (done <= 0) fail("read back");
            at += done;
            bytes -= static_cast<std::size_t>(done);
        }
    }

 private:
    [[noreturn]] void fail(std::string_view what) {
        say("ERROR - %.*s: the scratch file cannot be %.*s", KVE_SV(routine_), KVE_SV(what));
        stop_run();
    }

    std::string_view routine_;
    int descriptor_ = -1;
};

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

// One table to be lengthened. A table that has its length already is left alone.
template <class T>
struct Lengthening {
    Lengthening(Vec<T>& table, int64_t length, std::string_view table_name)
        : array(table), old_length(table.size()), new_length(length), name(table_name) {}

    Vec<T>& array;
    int64_t old_length;
    int64_t new_length;
    std::string_view name;

    std::size_t bytes() const { return static_cast<std::size_t>(old_length) * sizeof(T); }
    bool due() const { return new_length > old_length; }

    void save(ScratchFile& file) const {
        if (due()) file.write(array.data(), bytes());
    }
    void release() {
        if (due()) array.release();
    }
    void allocate(std::string_view routine) {
        if (due()) allocate_table(routine, array, new_length, name);
    }
    void restore(ScratchFile& file) {
        if (due()) file.read(array.data(), bytes());
    }
};

template <class... T>
void lengthen_tables(std::string_view routine, Lengthening<T>... tables) {
    ScratchFile file(routine);
    (tables.save(file), ...);
    (tables.release(), ...);
    (tables.allocate(routine), ...);
    file.rewind();
    (tables.restore(file), ...);
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
    lengthen_tables(kLevelsRoutine, Lengthening(IFL, DIMENSIONS.MFL.now, "IFL"));
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
    lengthen_tables(kAnimalsRoutine, Lengthening(IDL, rows, "IDL"), Lengthening(IF, rows, "IF"),
                    Lengthening(AD, rows, "AD"), Lengthening(LD, rows, "LD"),
                    Lengthening(IN, work_length(), "IN"), Lengthening(IV, work_length(), "IV"));
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
    lengthen_tables(kElementsRoutine, Lengthening(AI, DIMENSIONS.MAXNRM.now, "AI"),
                    Lengthening(IN, work_length(), "IN"), Lengthening(IV, work_length(), "IV"));
}

void lengthen_row_heads(int32_t row) {
    // Rows come in ascending order more often than not: lengthen ahead of them.
    int64_t length = std::max(int64_t{row}, next_length(static_cast<int32_t>(IF.size())));
    lengthen_tables(kAnimalsRoutine, Lengthening(IF, length, "IF"));
}

}  // namespace kve
