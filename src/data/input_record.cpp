#include "data/input_record.h"

#include "run/listing.h"
#include "run/stop.h"

namespace kve {

int32_t read_framed(RecordInput& file, std::span<int32_t> integers, std::span<float> reals) {
    switch (file.read_record(integers, reals)) {
        case RecordInput::Record::ok:
            return kRecordRead;
        case RecordInput::Record::end:
            return kEndOfData;
        default:
            return read_failure(file);
    }
}

void stop_unreadable_record(int32_t status, const char* check) {
    say("        Error condition returned from read:%12d", status);
    say("%s", check);
    say("           Wrong format type,");
    say("           Illegal characters,");
    say("           Wrong no. of integer and real variables,");
    say("           Wrong specification of new line");
    terminate_run();
}

}  // namespace kve
