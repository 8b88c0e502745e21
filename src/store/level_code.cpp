#include "store/level_code.h"

#include "base/text.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

void stop_bitstr_error(int32_t key, const std::string& place) {
    char bits[32] = {};
    int64_t remainder = key < 0 ? -int64_t{key} : int64_t{key};
    for (int k = 0; k < 31; ++k) {
        bits[k] = static_cast<char>('0' + remainder % 2);
        remainder /= 2;
    }
    say("BITSTR ERROR%12d%12lld %s", key, static_cast<long long>(remainder), bits);
    if (!place.empty()) say("%s", place.c_str());
    stop_run();
}

void stop_bitstr_in_file(std::string_view file, int64_t record) {
    std::string place;
    append(place, "ERROR - record %lld of the file %.*s holds it: a missing identity is written 0",
           static_cast<long long>(record), KVE_SV(file));
    stop_bitstr_error(kKeyWithoutBits, place);
}

}  // namespace kve
