// One record of a pedigree file: how it is read, and which ones are left out.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "base/input.h"
#include "base/records.h"
#include "data/input_record.h"

namespace kve {

inline constexpr int kPedigreeColumns = 4;
inline constexpr int32_t kLargestInPedigree = std::numeric_limits<int32_t>::max();

struct PedigreeRecord {
    int32_t id, sire, dam, sort;
};

// Values of a text are 64 bits wide, so that one beyond the range is counted and not refused.
using WidePedigreeRecord = std::array<int64_t, kPedigreeColumns>;
using FramedPedigreeRecord = std::array<int32_t, kPedigreeColumns>;

inline int32_t read_pedigree_record(TextInput& text, WidePedigreeRecord& record) {
    text.begin_record();
    const int32_t status = read_list(text, record.data(), kPedigreeColumns, true);
    if (status == kRecordRead) text.skip_line();
    return status;
}

inline int32_t read_pedigree_record(RecordInput& framed, FramedPedigreeRecord& record) {
    return framed_status(framed, framed.read_record(std::as_writable_bytes(std::span(record))));
}

inline bool is_in_pedigree_range(int64_t value) {
    return value >= -int64_t{kLargestInPedigree} && value <= kLargestInPedigree;
}

// Inverse methods whose parent codes of 0 and below are phantom groups.
inline bool has_parent_groups(int32_t method) { return method > 4; }

// Without phantom parent groups a negative parent code is an unknown parent.
inline PedigreeRecord pedigree_record_of(const FramedPedigreeRecord& values, bool groups) {
    PedigreeRecord record{values[0], values[1], values[2], values[3]};
    if (!groups && record.sire < 0) record.sire = 0;
    if (!groups && record.dam < 0) record.dam = 0;
    return record;
}

// Why a record is left out.
enum class RecordFault { none, identity, own_parent, one_as_both };

inline RecordFault fault_of(const PedigreeRecord& r) {
    if (r.id <= 0) return RecordFault::identity;
    if (r.id == r.sire || r.id == r.dam) return RecordFault::own_parent;
    if (r.sire > 0 && r.sire == r.dam) return RecordFault::one_as_both;
    return RecordFault::none;
}

}  // namespace kve
