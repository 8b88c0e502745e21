#include "data/input_record.h"

#include <cmath>
#include <limits>
#include <utility>

#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

namespace {

using Number = TextInput::Number;

Number read_field(TextInput& file, int32_t& value) {
    int64_t wide;
    const Number status = file.read_number(wide);
    if (status != Number::ok) return status;
    if (!std::in_range<int32_t>(wide)) return Number::bad;
    value = static_cast<int32_t>(wide);
    return status;
}

Number read_field(TextInput& file, float& value) {
    // Beyond the range of a float the conversion itself would be undefined.
    constexpr double largest = std::numeric_limits<float>::max();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    double wide;
    const Number status = file.read_number(wide);
    if (status != Number::ok) return status;
    if (std::abs(wide) > largest) wide = std::copysign(infinity, wide);
    value = static_cast<float>(wide);
    return status;
}

Number read_field(TextInput& file, double& value) {
    double read;
    const Number status = file.read_number(read);
    if (status == Number::ok) value = read;
    return status;
}

template <class Field>
Number read_each(TextInput& file, std::span<Field> into) {
    for (Field& field : into)
        if (const Number status = read_field(file, field); status != Number::ok) return status;
    return Number::ok;
}

}  // namespace

Number read_fields(TextInput& file, std::span<int32_t> into) { return read_each(file, into); }
Number read_fields(TextInput& file, std::span<float> into) { return read_each(file, into); }
Number read_fields(TextInput& file, std::span<double> into) { return read_each(file, into); }

void stop_if_failed(const ByteInput& file) {
    if (file.error() != 0) stop_not_read(file.path(), file.error());
}

int32_t framed_status(const RecordInput& file, RecordInput::Record record) {
    switch (record) {
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
