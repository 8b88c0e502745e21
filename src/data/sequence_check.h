// Sequences within subjects: with a sequential binary trait the records of a subject must stand
// together and be numbered 1, 2, 3 and so on; its mixture trait may be present on the last one
// only.
#pragma once

#include <cstdint>

#include "data/usability.h"

namespace kve {

struct SequenceCheck {
    int32_t subject_place = 0, sequence_place = 0;  // in IINP
    TraitPattern mixture_traits = 0;
    int32_t last_subject = 0, last_sequence = 0;
};

// With the first record under the reader. Stops unless its sequence number is 1.
SequenceCheck begin_sequences(int32_t subject_place, int32_t sequence_place);

// Record number `record` had the usable traits `usable`; the next one is under the reader,
// or there is none. Tells whether the record was the last of its subject; counts subjects and the
// largest sequence number in RECODED. Stops when the order is broken.
bool ends_subject(SequenceCheck& check, TraitPattern usable, int64_t record, bool at_end);

}  // namespace kve
