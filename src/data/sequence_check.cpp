#include "data/sequence_check.h"

#include <algorithm>

#include "base/state.h"
#include "data/raw_record.h"
#include "data/recoded_data.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(MODEL);
READS(KVEINT);
READS(RECORD);
WRITES(RECODED);

namespace {

[[noreturn]] void stop_out_of_sequence(int32_t subject, int32_t last, int32_t current,
                                       int64_t record) {
    say("        Current subject:         %12d", subject);
    say("        Last sequence number:    %12d", last);
    say("        Current sequence number: %12d", current);
    say("        Observation number:      %12lld", static_cast<long long>(record));
    stop_run("        Program terminates");
}

[[noreturn]] void stop_mixture_trait_present(const SequenceCheck& check, int64_t record) {
    say("ERROR - The mixture trait for a CURE model must be missing on all");
    say("        but the last observation in a sequence within a subject");
    say("        Current subject:         %12d", check.last_subject);
    say("        Current sequence number: %12d", check.last_sequence);
    say("        Observation number:      %12lld", static_cast<long long>(record));
    stop_run("        Program terminates");
}

}  // namespace

SequenceCheck begin_sequences(int32_t subject_place, int32_t sequence_place) {
    SequenceCheck check{subject_place, sequence_place};
    check.last_subject = RECORD.IINP(subject_place);
    check.last_sequence = RECORD.IINP(sequence_place);
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        if (MODEL(i).trait_type == kSequentialLinear)
            check.mixture_traits |= trait_bit(KVEINT.nt, i);
    RECODED.n_subjects = 1;
    if (check.last_sequence != 1) {
        say("ERROR - Sequence variable on first record not eq. 1");
        stop_run("        Program terminates");
    }
    return check;
}

bool ends_subject(SequenceCheck& check, TraitPattern usable, int64_t record, bool at_end) {
    int32_t& largest = RECODED.largest_sequence;
    largest = std::max(largest, check.last_sequence);
    if (at_end) return true;

    int32_t subject = RECORD.IINP(check.subject_place);
    int32_t sequence = RECORD.IINP(check.sequence_place);
    if (subject != check.last_subject) {
        ++RECODED.n_subjects;
        if (sequence != 1) {
            say("ERROR - Sequence variable on first record within subject not eq. 1");
            stop_out_of_sequence(subject, check.last_sequence, sequence, record + 1);
        }
        check.last_subject = subject;
        check.last_sequence = sequence;
        return true;
    }
    if (sequence != int64_t{check.last_sequence} + 1) {
        say("ERROR - Data not in sequence within subject");
        stop_out_of_sequence(subject, check.last_sequence, sequence, record + 1);
    }
    if ((usable & check.mixture_traits) != 0) stop_mixture_trait_present(check, record);
    check.last_sequence = sequence;
    return false;
}

}  // namespace kve
