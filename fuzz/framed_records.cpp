// Framed records against a plain walk along the frames.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "base/records.h"
#include "process.h"

using namespace kve;

namespace {

// The next record of the walk, and what follows it.
RecordInput::Record walk(std::string_view& rest, std::string_view& body, std::size_t wanted) {
    if (rest.empty()) return RecordInput::Record::end;
    int32_t length = 0, trailer = 0;
    if (rest.size() < 8) return RecordInput::Record::bad;
    std::memcpy(&length, rest.data(), 4);
    if (length < 0 || rest.size() - 8 < static_cast<std::size_t>(length) ||
        static_cast<std::size_t>(length) < wanted)
        return RecordInput::Record::bad;
    body = rest.substr(4, static_cast<std::size_t>(length));
    rest.remove_prefix(4 + body.size());
    std::memcpy(&trailer, rest.data(), 4);
    rest.remove_prefix(4);
    return trailer == length ? RecordInput::Record::ok : RecordInput::Record::bad;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count) {
    if (count == 0) return 0;
    std::array<std::byte, 32> front{};
    const std::span<std::byte> wanted(front.data(), bytes[0] % 33);
    std::string_view rest = as_text(bytes + 1, count - 1), body;
    RecordInput file;
    require(file.attach(memory_file(rest)) == 0);
    for (RecordInput::Record status = RecordInput::Record::ok; status == RecordInput::Record::ok;) {
        status = file.read_record(wanted);
        require(status == walk(rest, body, wanted.size()));
        if (status == RecordInput::Record::ok)
            require(std::memcmp(wanted.data(), body.data(), wanted.size()) == 0 &&
                    file.record_bytes() == static_cast<int32_t>(body.size()));
    }
    return 0;
}
